#include "trelOuterSurface.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "trelFaceUnitNormal.h"

/** The place of record @p i in an array of records of @p width numbers. */
static std::size_t At(std::int32_t i, std::size_t width)
{
  return static_cast<std::size_t>(i) * width;
}

trelOuterSurface::trelOuterSurface(const trelTetrahedronRecords& mesh) : Mesh(mesh)
{
  const std::vector<EdgeRecord> records = FindEdgeRecords();
  for (std::size_t i = 0, end = 0; i < records.size(); i = end) {
    const auto sameEdge = [&](const EdgeRecord& record) {
      return record.First == records[i].First && record.Second == records[i].Second;
    };
    while (end < records.size() && sameEdge(records[end]))
      ++end;
    if (end - i == 2 && records[i].Face != records[i + 1].Face) continue;
    ++OpenEdges;
    OpenEdge[0] = records[i].First;
    OpenEdge[1] = records[i].Second;
  }
  if (OpenEdges == 0) JoinEdges(records);
}

std::uint32_t* trelOuterSurface::FaceAt(std::int32_t face) const
{
  return Mesh.Faces + At(face, 3);
}

/** Three records for each outer face, sorted by edge, the faces of an edge ascending. */
std::vector<trelOuterSurface::EdgeRecord> trelOuterSurface::FindEdgeRecords()
{
  std::vector<EdgeRecord> records;
  for (std::int32_t face = 0; face < Mesh.NumberOfFaces; ++face) {
    if (Mesh.FaceOwners[At(face, 2) + 1] != -1) continue;
    OuterFaces.push_back(face);
    std::int32_t corner[3];
    std::copy_n(FaceAt(face), 3, corner);
    records.push_back({corner[0], corner[1], face});
    records.push_back({corner[0], corner[2], face});
    records.push_back({corner[1], corner[2], face});
  }
  std::sort(records.begin(), records.end(), [](const EdgeRecord& a, const EdgeRecord& b) {
    return std::tie(a.First, a.Second, a.Face) < std::tie(b.First, b.Second, b.Face);
  });
  return records;
}

/** Makes an edge of each two records of a closed surface, and tells the faces their edges. */
void trelOuterSurface::JoinEdges(const std::vector<EdgeRecord>& records)
{
  Edges.reserve(records.size() / 2);
  FaceEdges.assign(At(Mesh.NumberOfFaces, 3), -1);
  Wound.assign(At(Mesh.NumberOfFaces, 1), 0);
  for (std::size_t i = 0; i < records.size(); i += 2) {
    for (std::size_t k = i; k < i + 2; ++k) {
      std::int32_t* slot = &FaceEdges[At(records[k].Face, 3)];
      while (*slot != -1)
        ++slot;
      *slot = static_cast<std::int32_t>(Edges.size());
    }
    Edges.push_back(
        {records[i].First, records[i].Second, {records[i].Face, records[i + 1].Face}, 0, 0});
  }
}

void trelOuterSurface::Orient()
{
  if (OpenEdges > 0) {
    WindByOwners();
    return;
  }
  for (std::size_t left = OuterFaces.size(); left > 0; --left)
    WindFaceAt(NextEdge());
}

/** The lowest edge with one wound face; with none the lowest unvisited, the seed of a body. */
std::int32_t trelOuterSurface::NextEdge()
{
  while (!OpenFront.empty()) {
    const std::int32_t edge = OpenFront.top();
    OpenFront.pop();
    if (Edges[At(edge, 1)].Visits == 1) return edge;
  }
  while (Edges[At(FirstUnvisited, 1)].Visits != 0)
    ++FirstUnvisited;
  Edge& seed = Edges[At(FirstUnvisited, 1)];
  seed.Direction = OutwardDirection(seed.Faces[0], seed.First, seed.Second);
  return FirstUnvisited;
}

/** Winds the face at @p edge that is not wound yet, so that it begins with the edge. */
void trelOuterSurface::WindFaceAt(std::int32_t edgeNumber)
{
  Edge& edge = Edges[At(edgeNumber, 1)];
  edge.Direction ^= 1;
  if (++edge.Visits == 1) OpenFront.push(edgeNumber);
  const std::int32_t face = edge.Faces[Wound[At(edge.Faces[0], 1)] ? 1 : 0];
  std::int32_t p = edge.First, q = edge.Second;
  const std::int32_t r = ThirdVertex(face, p, q);
  if (edge.Direction == 1) std::swap(p, q);
  const std::int32_t corners[3] = {p, q, r};
  std::copy_n(corners, 3, FaceAt(face));
  Wound[At(face, 1)] = 1;
  VisitEdge(face, q, r);
  VisitEdge(face, r, p);
}

/** The face, now wound, runs along the edge in the direction from @p from to @p to. */
void trelOuterSurface::VisitEdge(std::int32_t face, std::int32_t from, std::int32_t to)
{
  for (std::size_t i = 0; i < 3; ++i) {
    const std::int32_t number = FaceEdges[At(face, 3) + i];
    Edge& edge = Edges[At(number, 1)];
    if (edge.First != std::min(from, to) || edge.Second != std::max(from, to)) continue;
    edge.Direction = from < to ? 0 : 1;
    if (++edge.Visits == 1) OpenFront.push(number);
    return;
  }
}

void trelOuterSurface::WindByOwners()
{
  for (const std::int32_t face : OuterFaces) {
    std::uint32_t* corner = FaceAt(face);
    const auto first = static_cast<std::int32_t>(corner[0]);
    const auto second = static_cast<std::int32_t>(corner[1]);
    if (OutwardDirection(face, first, second) == 0) std::swap(corner[0], corner[1]);
  }
}

/** 1 if the face is seen from outside as it runs from @p first to @p second; 0 if its tetrahedron
 * lies on that side. */
int trelOuterSurface::OutwardDirection(std::int32_t face, std::int32_t first,
                                       std::int32_t second) const
{
  const auto vertexAt = [&](std::int32_t i) { return Mesh.Vertices + At(i, 6); };
  const std::uint32_t* corner = FaceAt(face);
  const std::uint32_t* apex = Mesh.Tetrahedra + At(Mesh.FaceOwners[At(face, 2)], 4);
  // A tetrahedron that names a vertex twice may have no apex: its last vertex stands for it.
  for (int i = 0; i < 3 && std::find(corner, corner + 3, *apex) != corner + 3; ++i)
    ++apex;
  const float* origin = vertexAt(first);
  const float* top = vertexAt(static_cast<std::int32_t>(*apex));
  float normal[3];
  FaceUnitNormal(origin, vertexAt(second), vertexAt(ThirdVertex(face, first, second)), normal);
  float height = 0.0f;
  for (int i = 0; i < 3; ++i)
    height += normal[i] * (top[i] - origin[i]);
  return height <= 0.0f ? 1 : 0;
}

std::int32_t trelOuterSurface::ThirdVertex(std::int32_t face, std::int32_t first,
                                           std::int32_t second) const
{
  const std::uint32_t* corner = FaceAt(face);
  // The corner that is left over, also of a face that names a vertex twice.
  const std::int64_t sum = std::int64_t{corner[0]} + corner[1] + corner[2];
  return static_cast<std::int32_t>(sum - first - second);
}
