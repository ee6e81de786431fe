#include "trelTissueMap.h"

#include <iterator>

#include "trelBoxSearch.h"
#include "trelChord.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelMemory.h"
#include "trelTissueOverlap.h"

/** How often the grid of safe distances asks about a body at most. */
static constexpr double maximumOfQuestions = 5e7;

/** So many are all asked where none is near. Of more that is left out. */
static constexpr std::size_t fewBodies = 50;

/** What rounding makes of positions and distances, as a part of the coordinates' size. */
static constexpr double rounding = 1e-12;

bool trelTissueMap::Build(const trelMedium& medium, double cells)
{
  *this = {};
  return FitsInMemory([&] {
    const bool complete =
        medium.GetShapeIsTetrahedron() ? TakeMesh(medium.GetTetrahedron()) : TakeBodies(medium);
    if (!complete) return false;
    WidenBoxes();
    TakeConvexOutermost();
    FindOnlyMesh();
    if (Mesh) {
      FillGridOfMesh();
    } else {
      constexpr double half = 0.5;
      do {
        LayOutGrid(cells);
        ListNearBodies();
        cells *= half;
      } while (Near.CountVisits() > maximumOfQuestions && cells > 1.0);
      FillGrid();
    }
    return true;
  });
}

void trelTissueMap::AddBody(const trelShapeObject& shape, std::int32_t tissue)
{
  Bodies.push_back({&shape, tissue, shape.GetTraits().IsMesh(), shape.GetBox()});
}

bool trelTissueMap::TakeMesh(const trelMCTetrahedron* mesh)
{
  if (!mesh || mesh->IsEmpty() || !mesh->PrepareCrossings(1)) return false;
  Mesh = mesh;
  HasMeshes = true;
  AddBody(*mesh, 0);
  for (std::int32_t region = 0; region < mesh->GetNumberOfRegions(); ++region)
    Measures.push_back(mesh->ComputeMeasureOfRegion(region));
  Rivals.assign(Measures.size(), 1);
  return true;
}

/** A shape that is missing or empty holds nothing. May throw std::bad_alloc. */
bool trelTissueMap::TakeBodies(const trelMedium& medium)
{
  const trelShapeObject* outer = medium.GetOuterShape();
  if (!outer || outer->IsEmpty()) return false;
  Planar = outer->GetTraits().IsPlanar();
  std::int32_t tissue = -1;
  for (const trelTissue* item : ItemsOf<trelTissue>(medium.GetTissues())) {
    ++tissue;
    Measures.push_back(0.0);
    const trelShapeObject* shape = item->GetShape();
    if (!shape || shape->IsEmpty()) continue;
    if (!shape->PrepareCrossings(1)) return false;
    // A body turned inside out, or of no number, has none.
    Measures.back() = std::max(0.0, shape->ComputeMeasure());
    AddBody(*shape, tissue);
    HasMeshes = HasMeshes || Bodies.back().IsMesh;
  }
  RankBodies(medium.GetOutermostTissueIndex());
  return true;
}

/** The smallest first, of equals within a millionth the earlier, the outermost last. */
void trelTissueMap::RankBodies(std::int32_t outermost)
{
  constexpr double equal = 1e-6;
  const auto measure = [&](const Body& body) { return GetMeasure(body.Tissue); };
  std::sort(Bodies.begin(), Bodies.end(), [&](const Body& a, const Body& b) {
    if ((a.Tissue == outermost) != (b.Tissue == outermost)) return b.Tissue == outermost;
    return std::make_pair(measure(a), a.Tissue) < std::make_pair(measure(b), b.Tissue);
  });
  const auto last = std::prev(Bodies.end());
  for (auto first = Bodies.begin(); first != last;) {
    const auto next = std::find_if(std::next(first), last, [&](const Body& body) {
      return measure(body) > (1.0 + equal) * measure(*first);
    });
    std::sort(first, next, [](const Body& a, const Body& b) { return a.Tissue < b.Tissue; });
    first = next;
  }
  Rivals.assign(Measures.size(), 0);
  for (std::size_t rank = 0; rank < Bodies.size(); ++rank)
    Rivals[static_cast<std::size_t>(Bodies[rank].Tissue)] = rank + 1;
}

/** May make the box of a planar shape that of an endless prism, since no one looks at z there. */
void trelTissueMap::WidenBoxes()
{
  trelVector extent = Outermost().Box.High - Outermost().Box.Low;
  if (Planar) extent.Z = 0.0;
  Diagonal = Length(extent);
  const double margin = Margin = ComputeMargin();
  for (Body& body : Bodies) {
    body.Box.Low = body.Box.Low - trelVector{margin, margin, margin};
    body.Box.High = body.Box.High + trelVector{margin, margin, margin};
    if (!Planar) continue;
    body.Box.Low.Z = -HUGE_VAL;
    body.Box.High.Z = HUGE_VAL;
  }
}

void trelTissueMap::FindOnlyMesh()
{
  if (Mesh) OnlyMesh = &Mesh->GetCrossings();
  const bool isInside = Bodies.size() == 2 && Convex.IsKnown && Bodies.front().IsMesh;
  if (isInside)
    OnlyMesh = &static_cast<const trelTraceableMesh*>(Bodies.front().Shape)->GetCrossings();
}

/** Of a convex shape with room beside what rounding takes. */
void trelTissueMap::TakeConvexOutermost()
{
  const trelShapeObject& shape = *Outermost().Shape;
  const trelShapeTraits& traits = shape.GetTraits();
  if (!traits.Convex || Planar) return;
  const trelBox box = shape.GetBox();
  const double margin = 2.0 * Margin;
  double shrink = 1.0;
  for (int axis = 0; axis < 3; ++axis) {
    const double half = 0.5 * (box.High[axis] - box.Low[axis]);
    if (!(half > 2.0 * margin)) return;
    Convex.Center[axis] = 0.5 * (box.High[axis] + box.Low[axis]);
    Convex.HalfAxes[axis] = half - margin;
    Convex.Inverse[axis] = 1.0 / half;
    if (axis < traits.CurvedAxes) shrink = std::min(shrink, 1.0 - margin / half);
  }
  Convex.CurvedAxes = traits.CurvedAxes;
  Convex.Limit = shrink * shrink;
  Convex.IsKnown = true;
}

/** What rounding may make of a distance between points of the medium, mm. */
double trelTissueMap::ComputeMargin() const
{
  double farthest = Diagonal;
  for (int a = 0; a < (Planar ? 2 : 3); ++a)
    farthest =
        std::max({farthest, std::fabs(Outermost().Box.Low[a]), std::fabs(Outermost().Box.High[a])});
  return rounding * farthest;
}

double trelTissueMap::ReachOf(const Body& body) const
{
  return (body.IsMesh ? ReachOfMeshes : ReachOfShapes) * Diagonal;
}

/** Calls @p visit with those of the first @p rivals bodies, by rank and without the outermost, that
 *  may come within @p distance of the point, and perhaps others, until it answers true. True if
 *  none was left out. */
template <class Visit>
bool trelTissueMap::VisitBodies(const trelVector& point, double distance, std::size_t rivals,
                                Visit visit) const
{
  constexpr std::size_t few = 3;  // sooner visited than looked up
  rivals = std::min(rivals, Bodies.size() - 1);
  trelVector cell;
  if (rivals <= few || !(distance < Nearness) || !FindCell(point, &cell)) {
    for (std::size_t rank = 0; rank < rivals; ++rank)
      if (visit(Bodies[rank])) break;
    return true;
  }
  for (const std::int32_t rank :
       Near.GetTissues(static_cast<std::ptrdiff_t>(cell.X), static_cast<std::ptrdiff_t>(cell.Y),
                       static_cast<std::ptrdiff_t>(cell.Z))) {
    const auto i = static_cast<std::size_t>(rank);
    if (i >= rivals || visit(Bodies[i])) break;
  }
  return false;
}

/** The tissue of the first body that @p holds says holds the point; -1 if the outermost does not.
 */
template <class Question>
std::int32_t trelTissueMap::FindFirstHolder(const trelVector& point, Question holds) const
{
  if (!holds(Outermost())) return -1;
  std::int32_t tissue = Outermost().Tissue;
  VisitBodies(point, 0.0, Bodies.size(), [&](const Body& body) {
    if (!holds(body)) return false;
    tissue = body.Tissue;
    return true;
  });
  return tissue;
}

std::int32_t trelTissueMap::FindTissue(const trelVector& point) const
{
  if (Bodies.empty()) return -1;
  if (Mesh) return Mesh->FindRegionExactly(point);
  return FindFirstHolder(point, [&](const Body& body) {
    return IsInBox(body.Box, point) && body.Shape->Holds(point);
  });
}

/** The tissue at a point of the ray; meshes are asked about another one. Of the body @p crossed it
 * is known whether the point is in it. */
std::int32_t trelTissueMap::FindTissueOn(const trelRay& ray, double at, double atOfMeshes,
                                         const Body* crossed, bool isIn) const
{
  if (Bodies.empty()) return -1;
  if (Mesh) return Mesh->FindRegionOn(ray, atOfMeshes);
  return FindFirstHolder(ray.At(at), [&](const Body& body) {
    if (&body == crossed) return isIn;
    const double place = body.IsMesh ? atOfMeshes : at;
    return IsInBox(body.Box, ray.At(place)) && body.Shape->HoldsOn(ray, place);
  });
}

std::int32_t trelTissueMap::FindTissueAhead(const trelRay& ray) const
{
  const double at = GetShortestReach();
  if (Bodies.empty() || Mesh) return FindTissueOn(ray, at);
  return FindFirstHolder(ray.At(at), [&](const Body& body) {
    trelHit end;
    // Where a ray touches a curved surface rounding may say that its next point lies inside.
    return IsInBox(body.Box, ray.At(at)) && body.Shape->HoldsOn(ray, at) &&
           (body.IsMesh || body.Shape->FindCrossing(ray, at, HUGE_VAL, &end));
  });
}

std::int32_t trelTissueMap::FindTissueLeft(const trelRay& ray, trelTissueChange* change) const
{
  const double reach = ReachOfShapes * Diagonal, reachOfMeshes = ReachOfMeshes * Diagonal;
  const std::int32_t tissue = FindTissueOn(ray, -reach, -reachOfMeshes);
  if (tissue < 0) return -1;
  *change = {};
  MakeChangeBefore(ray, HasMeshes ? reachOfMeshes : reach, change);
  return tissue;
}

/** The body whose surface the ray crosses first, of the first @p rivals and the outermost; null if
 *  it crosses none. Where two are crossed at one place the outermost comes first. */
const trelTissueMap::Body* trelTissueMap::FindFirstCrossing(const trelRay& ray, std::size_t rivals,
                                                            double after, double limit,
                                                            trelHit* hit, bool within,
                                                            std::int32_t* behind) const
{
  const Body* first = nullptr;
  if (Mesh) return Mesh->FindRegionCrossing(ray, after, limit, hit, behind) ? &Outermost() : first;
  const trelBoxSearch search(ray, after);
  double end = limit;
  const auto ask = [&](const Body& body) {
    const double last = first ? std::min(hit->Distance, end) : end;
    trelHit next;
    const bool isMet =
        !search.Misses(body.Box, last) && body.Shape->FindCrossing(ray, after, last, &next);
    if (isMet && (!first || next.Distance < hit->Distance)) {
      *hit = next;
      first = &body;
    }
    return false;
  };
  if (!within) ask(Outermost());
  const Body* const outer = first;
  if (first) limit = hit->Distance;
  const double piece = GetPieceOfWay(limit - after, rivals);
  for (double begin = after; first == outer && begin < limit; begin += piece) {
    end = std::min(begin + piece, limit);
    VisitBodies(ray.At(begin), end - begin, rivals, ask);
  }
  return first;
}

/** From the hit on @p first: turns the normal along the ray, finds the tissue behind all that lies
 *  at the place, the reach that this took and, of the outermost shape, the face. @p region is the
 * one that the crossing of a tetrahedral mesh leads into, if it is known. */
void trelTissueMap::LookBehind(const trelRay& ray, const Body& first, std::int32_t region,
                               trelTissueChange* change) const
{
  trelHit& hit = change->Hit;
  const bool enters = Dot(hit.Normal, ray.Direction) < 0.0;
  if (enters) hit.Normal = -hit.Normal;
  change->LongestReach = ReachOfGrazing * Diagonal;
  const auto behind = [&](double reach) {
    change->Reach = reach;
    return hit.Distance + change->ReachAlong(ray.Direction);
  };
  const double atOfMeshes = behind(ReachOfMeshes * Diagonal);
  const double at = behind(ReachOf(first));
  trelHit next;
  if (Mesh && region != trelMeshCrossings::NotKnown &&
      !Mesh->FindRegionCrossing(ray, hit.Distance, at, &next)) {
    change->Tissue = region;
    if (region < 0) FindOuterFace(ray, change);
    return;
  }
  // Behind a crossing of a mesh one is on the other side, unless the next one is as near.
  const bool isKnown =
      first.IsMesh && !Mesh && !first.Shape->FindCrossing(ray, hit.Distance, atOfMeshes, &next);
  change->Tissue = FindTissueOn(ray, at, atOfMeshes, isKnown ? &first : nullptr, enters);
  // The longer reach counts where a mesh takes part.
  if (HasMeshes && !first.IsMesh && FindTissueOn(ray, at) != change->Tissue)
    change->Reach = ReachOfMeshes * Diagonal;
  if (change->Tissue < 0 && (&first != &Outermost() || Mesh)) FindOuterFace(ray, change);
}

/** Sets the face of a change that leads out of the medium to that of the outermost body there. */
void trelTissueMap::FindOuterFace(const trelRay& ray, trelTissueChange* change) const
{
  trelHit outer;
  if (Outermost().Shape->FindCrossing(ray, change->Hit.Distance - change->ReachAlong(ray.Direction),
                                      HUGE_VAL, &outer))
    change->Hit.Face = outer.Face;
}

/** The change to another tissue that was passed unseen on the way to @p after: its surface is the
 *  nearest one behind, or, without one, across the ray. */
void trelTissueMap::MakeChangeBefore(const trelRay& ray, double after,
                                     trelTissueChange* change) const
{
  const trelRay back = {ray.At(after), -ray.Direction};
  trelHit behind, outer;
  change->LongestReach = ReachOfGrazing * Diagonal;
  const double limit = 2.0 * change->LongestReach;
  const Body* first = FindFirstCrossing(back, Bodies.size(), 0.0, limit, &behind);
  const bool leaves = change->Tissue < 0;
  const bool found = leaves && Outermost().Shape->FindCrossing(back, 0.0, HUGE_VAL, &outer);
  if (!first) behind = found ? outer : trelHit{0.0, 0, ray.Direction};
  change->Reach = ReachOf(first ? *first : Outermost());
  change->Hit = {after, found ? outer.Face : behind.Face, behind.Normal};
  if (Dot(behind.Normal, ray.Direction) < 0.0) change->Hit.Normal = -behind.Normal;
}

bool trelTissueMap::FindChange(const trelRay& ray, std::int32_t tissue, double after, double limit,
                               trelTissueChange* change, bool known, bool within) const
{
  if (Bodies.empty() || !(after < limit)) return false;
  trelTissueChange found;
  found.Tissue = known ? tissue : FindTissueOn(ray, after);
  if (found.Tissue != tissue) {
    MakeChangeBefore(ray, after, &found);
    *change = found;
    return true;
  }
  const std::size_t rivals = CountRivals(tissue);
  std::int32_t region = trelMeshCrossings::NotKnown;
  while (const Body* first =
             FindFirstCrossing(ray, rivals, after, limit, &found.Hit, within, &region)) {
    LookBehind(ray, *first, region, &found);
    if (found.Tissue != tissue) {
      *change = found;
      return true;
    }
    after = found.Hit.Distance;
  }
  return false;
}

/** Whether the origin of the ray counts as inside: it lies in the outermost body or on its surface,
 *  but not where the ray just enters. */
bool trelTissueMap::StartsInside(const trelRay& ray) const
{
  const Body& outer = Outermost();
  const double reach = ReachOf(outer);
  trelHit hit;
  const bool isNear = outer.Shape->FindCrossing(ray, -reach, reach, &hit);
  if (isNear) return Dot(hit.Normal, ray.Direction) > 0.0;
  return IsInBox(outer.Box, ray.Origin) && outer.Shape->HoldsOn(ray, 0.0);
}

bool trelTissueMap::FindEntry(const trelRay& ray, trelTissueChange* change) const
{
  if (Bodies.empty()) return false;
  // From inside the way back is searched, on which an entry is an exit.
  const bool back = StartsInside(ray);
  const trelRay way = {ray.Origin, back ? -ray.Direction : ray.Direction};
  trelTissueChange entry;
  double after = -ReachOf(Outermost());
  for (; Outermost().Shape->FindCrossing(way, after, HUGE_VAL, &entry.Hit);
       after = entry.Hit.Distance) {
    if (!(Dot(entry.Hit.Normal, ray.Direction) < 0.0)) continue;
    trelTissueChange found = entry;
    if (back) found.Hit.Distance = -found.Hit.Distance;
    LookBehind(ray, Outermost(), trelMeshCrossings::NotKnown, &found);
    if (found.Tissue < 0) continue;
    *change = found;
    return true;
  }
  return false;
}

double trelTissueMap::BoundDistance(const trelVector& point) const
{
  if (Bodies.empty()) return 0.0;
  return BoundInnerDistance(point, Outermost().Shape->BoundDistance(point));
}

/** At most @p bound, of all bodies but the outermost. */
double trelTissueMap::BoundInnerDistance(const trelVector& point, double bound) const
{
  if (!Mesh && Bodies.size() > 1) {
    const std::int32_t tissue = FindTissue(point);
    // Of a point outside nothing is known of where others of its cell lie.
    const std::size_t rivals = tissue < 0 ? Bodies.size() : CountRivals(tissue);
    const auto lower = [&](const Body& body) {
      if (DistanceToBox(body.Box, point) < bound)
        bound = std::min(bound, body.Shape->BoundDistance(point));
      return !(bound > 0.0);
    };
    // What is not near counts only if nothing near does.
    if (!VisitBodies(point, 0.0, rivals, lower) && bound >= Nearness) {
      if (rivals > fewBodies)
        bound = Nearness;
      else
        VisitBodies(point, HUGE_VAL, rivals, lower);
    }
  }
  return std::max(bound - Margin, 0.0);
}

bool trelTissueMap::IsClear(const trelWay& way, std::int32_t tissue, trelClearance* clearance) const
{
  double bound = HUGE_VAL;
  const double length = way.Length + way.Margin;
  bool clear = !Bodies.empty() &&
               (Convex.IsKnown ? StaysWithin(way.To) : Outermost().Shape->IsClear(way, &bound));
  clearance->IsWithin = clear && !Mesh;
  if (clear && Bodies.size() > 1) {
    const auto meets = [&](const Body& body) {
      const double away = DistanceToBoxAlongAxis(body.Box, way.From);
      if (away > length)
        bound = std::min(bound, away);
      else
        clear = body.Shape->IsClear(way, &bound);
      return !clear;
    };
    const std::size_t rivals = CountRivals(tissue);
    const double piece = GetPieceOfWay(length, rivals);
    for (double begin = 0.0; clear && begin < length; begin += piece) {
      const trelVector from = way.From + (begin / length) * (way.To - way.From);
      if (!VisitBodies(from, std::min(piece, length - begin), rivals, meets))
        bound = std::min(bound, Nearness);
    }
  }
  clearance->Radius = bound - Margin;
  return clear;
}

/** Cubes as small as the number of cells allows; in the plane squares. */
void trelTissueMap::LayOutGrid(double cells)
{
  const trelShapeObject& outer = *Outermost().Shape;
  const trelBox box = outer.GetBox();
  // Of a convex body alone there is nothing to tell.
  const double most = Convex.IsKnown && Bodies.size() == 1 ? 1.0 : cells;
  const int axes = Planar ? 2 : 3;
  double step = Diagonal / MostCells;
  if (!(step > 0.0 && step < HUGE_VAL)) return;
  double number = 0.0;
  do {
    step *= 1.02;
    number = 1.0;
    for (int a = 0; a < axes; ++a) {
      Cells[a] = std::max(std::ceil((box.High[a] - box.Low[a]) / step), 1.0);
      number *= Cells[a];
    }
  } while (number > most);
  for (int a = 0; a < axes; ++a) {
    Low[a] = box.Low[a];
    PerStep[a] = 1.0 / step;
  }
  if (Planar) Cells.Z = 1.0;
  Rows = static_cast<std::ptrdiff_t>(Cells.Y);
  Columns = static_cast<std::ptrdiff_t>(Cells.Z);
}

/** May throw. */
void trelTissueMap::ListNearBodies()
{
  if (Rows == 0) return;
  constexpr double cells = 4.0;
  const double near = cells / PerStep.X;
  std::vector<trelCellRange> ranges;
  for (const Body& body : Bodies) {
    trelCellRange range = {{0, 0, 0}, {-1, -1, -1}};
    for (int a = 0; a < 3 && &body != &Outermost(); ++a) {
      const auto cellOf = [&](double coordinate) {
        const double cell = PerStep[a] > 0.0 ? (coordinate - Low[a]) * PerStep[a] : 0.0;
        return static_cast<std::ptrdiff_t>(std::clamp(cell, 0.0, Cells[a] - 1.0));
      };
      range.First[a] = cellOf(body.Box.Low[a] - near);
      range.Last[a] = cellOf(body.Box.High[a] + near);
    }
    ranges.push_back(range);
  }
  const std::ptrdiff_t size[3] = {static_cast<std::ptrdiff_t>(Cells.X), Rows, Columns};
  Near.Build(size, ranges);
  Nearness = (1.0 - rounding) * near;
}

/** Bounds at the centres. Those of many cells' length tell no more than shorter ones. May throw. */
void trelTissueMap::FillGrid()
{
  if (Rows == 0) return;
  constexpr double quantaOfCell = 12.0, shortened = 1.0 - 1e-12;
  const double step = 1.0 / PerStep.X;
  Quantum = step / quantaOfCell;
  ToCorner = 0.5 * step * std::sqrt(Planar ? 2.0 : 3.0) + Margin;
  const auto tell = [&](const trelVector& center) {
    const double most = 256.0 * Quantum;
    const double distance =
        Convex.IsKnown ? BoundInnerDistance(center, most) : BoundDistance(center);
    return static_cast<std::uint8_t>(std::min(shortened * distance / Quantum, 255.0));
  };
  const auto size = static_cast<std::ptrdiff_t>(Cells.X);
  Safe.reserve(static_cast<std::size_t>(size * Rows * Columns));
  for (std::ptrdiff_t i = 0; i < size; ++i) {
    for (std::ptrdiff_t j = 0; j < Rows; ++j) {
      for (std::ptrdiff_t k = 0; k < Columns; ++k) {
        const trelVector index = {static_cast<double>(i) + 0.5, static_cast<double>(j) + 0.5,
                                  Planar ? 0.0 : static_cast<double>(k) + 0.5};
        Safe.push_back(tell(Low + step * index));
      }
    }
  }
}

/** The voxels of the mesh know how many around are free. May throw. */
void trelTissueMap::FillGridOfMesh()
{
  const trelMeshCrossings& crossings = Mesh->GetCrossings();
  const trelVoxelTable& table = crossings.GetTable();
  if (table.IsEmpty()) return;
  const int first[3] = {0, 0, 0};
  Low = table.GetBox(first).Low;
  const double inverse = 1.0 / table.GetVoxelSize();
  PerStep = {inverse, inverse, inverse};
  Safe.resize(table.GetNumberOfVoxels());
  for (std::size_t cell = 0; cell < Safe.size(); ++cell)
    Safe[cell] = static_cast<std::uint8_t>(crossings.GetFreeVoxels(cell));
  for (int a = 0; a < 3; ++a)
    Cells[a] = table.GetSize(a);
  Rows = table.GetSize(1);
  Columns = table.GetSize(2);
  Quantum = table.GetVoxelSize() * (1.0 - rounding);
}

std::vector<trelTissueOverlap> trelTissueMap::FindOverlaps(std::int64_t* looked) const
{
  std::vector<trelRankedBody> bodies;
  for (const Body& body : Bodies) {
    bodies.push_back({body.Shape, body.Tissue, body.IsMesh, body.Box, ReachOf(body)});
    // What no point is found of tells nothing.
    if (body.IsMesh && !Mesh) body.Shape->PrepareSampling();
  }
  return FindPartialOverlaps(bodies, Planar ? 2 : 3, looked);
}
