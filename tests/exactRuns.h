#ifndef exactRuns_h
#define exactRuns_h

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <functional>
#include <iomanip>
#include <set>
#include <string>
#include <vector>

#include "meshSamples.h"
#include "testModel.h"
#include "testTools.h"
#include "trelExactLaunch.h"
#include "trelExactMonteCarlo.h"
#include "trelExactSteps.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"

/**
 * @file exactRuns.h
 * Runs by the exact rules, whole ones and packet by packet, and the meshes that they fly through.
 */

/** A run by the exact rules; holds the results. */
class ExactRun
{
public:
  explicit ExactRun(TestModel& model, std::uint64_t seed = 1, std::int64_t batches = 1,
                    double absorptionError = 0.0)
  {
    model->SetRules(RulesExact);
    Ran.SetInput(model.Get());
    Ran.SetSeed(seed);
    Ran.SetBatches(batches);
    Ran.GetGoal().Set({"absorbed"}, absorptionError);
    EXPECT_TRUE(Ran.Update());
  }
  trelSimulationResult* operator->() { return Ran.GetOutput(); }
  const trelMediumResult& operator[](int i) { return *Ran.GetOutput()->GetMediumResult(i); }
  const trelExactSummary& GetSummary() const { return Ran.GetSummary(); }
  const trelBatchStatistics& GetStatistics() const { return Ran.GetStatistics(); }
  const trelLedger& GetLedger() const { return Ran.GetLedger(); }
  std::vector<trelLedgerLine> ListLedger(std::size_t i) const { return Ran.ListLedger(i); }

private:
  trelExactMonteCarlo Ran;
};

/** How a packet ended. */
struct Flight
{
  trelVector Position, Direction;
  double Time = 0.0, Weight = 0.0;  ///< ps; 0 unless it left the medium
  int Reflections = 0;
  bool Launched = false;
};

/** The packets of the first source and spectrum of a model, one at a time and without scores: each
 *  with the numbers that it has in a run with seed 1. */
class ExactFlights
{
public:
  /** Told of each step: the packet before and after it. */
  using Visit = std::function<void(const trelExactPacket&, const trelExactPacket&)>;

  explicit ExactFlights(const ModelOf& build, SimulationDimension dimension = Dimension3D)
      : Model(DOT, dimension)
  {
    build(Model);
    Model->SetRules(RulesExact);
    Model->SetSaveAbsorption(false);
    Model->SetSaveTransmittance(false);
    Model->PrepareGeometry();
    EXPECT_TRUE(Exact.Resolve(*Model.Get()));
    const trelSpectrum& spectrum = *Model->GetLightSource(0)->GetSpectrum(0);
    EXPECT_TRUE(
        Launch.Prepare(*Model->GetLightSource(0), spectrum, spectrum.GetPhotonNumber(), Exact));
    Count = static_cast<std::uint64_t>(spectrum.GetPhotonNumber());
    Tally.Ledger.Resize(1, Exact.GetLedgerSizes());
    Tally.Record = &Tally.Ledger.Records[0];
  }

  Flight Fly(std::uint64_t number, const Visit& visit = nullptr)
  {
    trelPacketNumbers numbers;
    numbers.Start(1, 0, number);
    trelLaunched start;
    if (Launch.Launch(Exact.Map, numbers, &start) != LaunchDone) return {};
    return Follow(start, numbers, visit);
  }

  /** A packet along a ray from within the medium. */
  Flight FlyAlong(const trelRay& ray, const Visit& visit = nullptr)
  {
    trelPacketNumbers numbers;
    numbers.Start(1, 0, 0);
    trelLaunched start;
    start.Position = ray.Origin;
    start.Direction = ray.Direction;
    start.Skip = Exact.Map.GetShortestReach();
    start.Tissue = Exact.Map.FindTissueOn(ray, start.Skip);
    return Follow(start, numbers, visit);
  }

  std::vector<Flight> FlyAll()
  {
    std::vector<Flight> flights;
    for (std::uint64_t i = 0; i < Count; ++i)
      flights.push_back(Fly(i));
    return flights;
  }

  /** Asks the shapes at each segment, whatever is known of the distance to them. */
  void TakeNoShortcut()
  {
    Shortcuts = false;
    Exact.HasMarkers = true;
  }

  std::uint64_t GetCount() const { return Count; }
  const trelLedger& GetLedger() const { return Tally.Ledger; }
  const trelExactModel& GetModel() const { return Exact; }

private:
  Flight Follow(const trelLaunched& start, trelPacketNumbers& numbers, const Visit& visit)
  {
    trelExactPacket packet{};
    packet.Position = start.Position;
    packet.Direction = start.Direction;
    packet.Weight = packet.SourceWeight = packet.Settled = 1.0;
    packet.Depth = trelExactPacket::NotDrawn;
    packet.Skip = start.Skip;
    Exact.Enter(start.Tissue, packet);
    Flight flight;
    for (; !packet.Dead; ++packet.StepCount) {
      const trelExactPacket before = packet;
      if (!Shortcuts) packet.Clear = 0.0;
      TakeExactStep<false>(packet, numbers, Exact, Tally);
      const bool turned = Dot(before.Direction, packet.Direction) < 1.0 - 1e-14;
      flight.Reflections +=
          turned && packet.BoundariesInRow > 0 && before.TissueIndex == packet.TissueIndex;
      if (visit) visit(before, packet);
    }
    flight.Launched = true;
    flight.Position = packet.Position;
    flight.Direction = packet.Direction;
    flight.Time = packet.FlyTime;
    flight.Weight = packet.TissueIndex < 0 ? start.Entering * packet.Weight : 0.0;
    return flight;
  }

  TestModel Model;
  trelExactModel Exact;
  trelExactLaunch Launch;
  trelExactTally Tally{};
  std::uint64_t Count = 0;
  bool Shortcuts = true;
};

/** How far, mm, ps and shares of a packet, two flights end apart. */
inline double Apart(const Flight& a, const Flight& b)
{
  return std::max({Length(a.Position - b.Position), std::fabs(a.Time - b.Time),
                   std::fabs(a.Weight - b.Weight)});
}

/** The same for those packets of two models that leave after at most @p reflections. */
inline double Apart(const std::vector<Flight>& a, const std::vector<Flight>& b, int reflections)
{
  if (a.size() != b.size()) return HUGE_VAL;
  double apart = 0.0;
  std::size_t compared = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::min(a[i].Reflections, b[i].Reflections) > reflections) continue;
    if (a[i].Weight == 0.0 && b[i].Weight == 0.0) continue;
    apart = std::max(apart, Apart(a[i], b[i]));
    ++compared;
  }
  EXPECT_GT(compared, a.size() / 10);
  return apart;
}

/** How many standard errors the mean of a sample lies from @p expected. */
inline double Deviation(const std::vector<double>& sample, double expected)
{
  const Estimate e = EstimateOf(sample);
  return std::fabs(e.Mean - expected) / (e.Error + 1e-12);
}

/** A quantity of each of @p batches records of a run: one for each of as many wavelengths, which
 *  the sources have alike. */
inline std::vector<double> RunRecords(const ModelOf& build, const QuantityOf& quantity,
                                      SimulationDimension dimension = Dimension3D, int batches = 20)
{
  TestModel model(DOT, dimension);
  std::vector<std::uint32_t> wavelengths;
  for (int i = 0; i < batches; ++i)
    wavelengths.push_back(500 + static_cast<std::uint32_t>(i));
  model->SetWavelengths(wavelengths);
  build(model);
  ExactRun run(model);
  EXPECT_EQ(run.GetLedger().CountPackets(LedgerLost), 0u);
  std::vector<double> sample;
  for (int i = 0; i < batches; ++i)
    sample.push_back(quantity(run[i]));
  return sample;
}

/** How many standard errors the mean of a quantity lies from what is expected. */
inline double Deviation(const ModelOf& build, const QuantityOf& quantity, double expected)
{
  return Deviation(RunRecords(build, quantity), expected);
}

inline trelShapeObject* Box(double x, double y, double z, double hx, double hy, double hz)
{
  return MakeShape(ShapeCube, {x, y, z}, {hx, hy, hz});
}

inline trelShapeObject* Ball(const trelVector& at, double radius)
{
  return MakeShape(ShapeEllipsoid, {at.X, at.Y, at.Z}, {radius, radius, radius});
}

/** The surface of the given cells of a grid with a corner at @p low, two triangles a side. */
inline trelMCTriangleMesh* CellMesh(const std::set<std::array<int, 3>>& cells,
                                    const trelVector& low, const trelVector& size)
{
  trelTriangleMesh surface;
  std::uint32_t count = 0;
  const auto addSide = [&](const std::array<int, 3>& cell, int axis, bool upper) {
    for (int corner = 0; corner < 4; ++corner) {
      std::array<int, 3> p = cell;
      p[axis] += upper;
      p[(axis + 1) % 3] += corner == 1 || corner == 2;
      p[(axis + 2) % 3] += corner >= 2;
      float vertex[6] = {};
      for (int a = 0; a < 3; ++a)
        vertex[a] = static_cast<float>(low[a] + size[a] * p[a]);
      surface.AddVertex(vertex);
    }
    const std::uint32_t b = upper ? 1 : 3, d = upper ? 3 : 1;
    const std::uint32_t faces[2][3] = {{count, count + b, count + 2},
                                       {count, count + 2, count + d}};
    surface.AddFace(faces[0]);
    surface.AddFace(faces[1]);
    count += 4;
  };
  for (const auto& cell : cells) {
    for (int side = 0; side < 6; ++side) {
      std::array<int, 3> next = cell;
      next[side / 2] += side % 2 ? 1 : -1;
      if (cells.count(next) == 0) addSide(cell, side / 2, side % 2);
    }
  }
  auto* mesh = new trelMCTriangleMesh;
  EXPECT_TRUE(mesh->ImportMesh(&surface));
  return mesh;
}

/** A box of triangles. */
inline trelMCTriangleMesh* BoxMesh(const trelVector& at, const trelVector& half)
{
  return CellMesh({{0, 0, 0}}, at - half, 2.0 * half);
}

/** A U along y of 12 x 8 x 8 mm, whose dent is 4 x 8 x 4 mm. */
inline trelMCTriangleMesh* MakeU()
{
  return CellMesh({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 0, 1}, {2, 0, 1}}, {-6, -4, -4}, {4, 8, 4});
}

/** The mesh, which is given away, by way of a file whose facets repeat their corners. */
inline trelMCTriangleMesh* ThroughFile(trelMCTriangleMesh* mesh)
{
  const TemporaryDirectory directory;
  const std::string path = directory.PathOf("mesh.stl");
  std::ofstream file(path);
  file << std::setprecision(9) << "solid\n";
  for (std::uint32_t t = 0; t < mesh->GetNumberOfTriangles(); ++t) {
    file << "facet normal 0 0 0\nouter loop\n";
    for (const std::uint32_t corner : mesh->GetTriangleArray()[t].Vertices) {
      const trelTraceableVertex& v = mesh->GetVertexArray()[corner];
      file << "vertex " << v.X << " " << v.Y << " " << v.Z << "\n";
    }
    file << "endloop\nendfacet\n";
  }
  file << "endsolid\n";
  file.close();
  EXPECT_TRUE(mesh->LoadFromFile(path.c_str()));
  return mesh;
}

/** Makes the medium a box of n^3 cubes of six tetrahedra each, in regions along z of @p layers. */
inline void BuildTetrahedra(TestModel& m, const trelVector& at, const trelVector& half, int n,
                            const std::vector<Optics>& layers)
{
  const int count = static_cast<int>(layers.size());
  CubeGrid grid({{n, n, n}});
  for (int i = 0; i < grid.Mesh.GetNumberOfVertices(); ++i) {
    float* const vertex = grid.Mesh.GetVertexData() + 6 * i;
    for (int a = 0; a < 3; ++a)
      vertex[a] = static_cast<float>(at[a] + half[a] * (2.0 * vertex[a] / n - 1.0));
  }
  for (int t = 0; t < 6 * n * n * n; ++t)
    grid.Mesh.GetRegionData()[t] = t / 6 % n * count / n;
  grid.Mesh.SetNumberOfRegions(count);
  auto* mesh = new trelMCTetrahedron;
  EXPECT_TRUE(grid.Mesh.BuildFaces() && mesh->ImportMesh(&grid.Mesh));
  m->GetMedium()->SetShapeIsTetrahedron(true);
  m->GetMedium()->SetTetrahedron(mesh);
  for (const Optics& optics : layers)
    m.AddTissue(nullptr, optics);
}

#endif
