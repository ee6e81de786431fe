#include "trelTetrahedron.h"

#include <omp.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "trelMemory.h"
#include "trelOuterSurface.h"
#include "trelThreads.h"

/** A face of a tetrahedron, vertex indices ascending. */
struct trelTetrahedronFace
{
  std::uint32_t Corners[3];
  std::int32_t Owner;

  bool IsSameFace(const trelTetrahedronFace& other) const
  {
    return std::equal(Corners, Corners + 3, other.Corners);
  }
};

/** A face that bounds a region: the place of its first record, and its second owner or -1. */
struct trelKeptFace
{
  std::size_t Record;
  std::int32_t SecondOwner;
};

trelTetrahedron::~trelTetrahedron()
{
  DebugMacro("trelTetrahedron", "Destructing trelTetrahedron!");
}

void trelTetrahedron::ClearModel()
{
  trelMesh::ClearModel();
  Tetrahedra.Clear();
  FaceOwners.Clear();
  Regions.Clear();
  NumberOfRegions = 0;
}

bool trelTetrahedron::SetNumberOfFaces(std::int32_t n)
{
  const std::int32_t before = FaceOwners.GetCount();
  if (FaceOwners.SetCount(n)) {
    if (trelMesh::SetNumberOfFaces(n)) return true;
    FaceOwners.SetCount(before);
    return false;
  }
  ErrorMacro("your face data's memory is not right allocated");
  return false;
}

bool trelTetrahedron::SetNumberOfTetrahedra(std::int32_t n)
{
  const std::int32_t before = Regions.GetCount();
  if (Regions.SetCount(n)) {
    if (Tetrahedra.SetCount(n)) return true;
    Regions.SetCount(before);
  }
  ErrorMacro("your face data's memory is not right allocated");
  return false;
}

/** All faces of all tetrahedra, equal ones side by side, in the order of their tetrahedra. */
static std::vector<trelTetrahedronFace> SortedFaces(const std::uint32_t* tetrahedra,
                                                    std::int32_t count, int threads)
{
  static constexpr int corners[4][3] = {{0, 1, 2}, {0, 1, 3}, {0, 2, 3}, {1, 2, 3}};
  std::vector<trelTetrahedronFace> faces(static_cast<std::size_t>(count) * 4);
#pragma omp parallel for num_threads(threads)
  for (std::int32_t t = 0; t < count; ++t) {
    const std::size_t first = static_cast<std::size_t>(t) * 4;
    std::uint32_t sorted[4];
    std::copy_n(tetrahedra + first, 4, sorted);
    std::sort(sorted, sorted + 4);
    for (std::size_t i = 0; i < 4; ++i) {
      for (int k = 0; k < 3; ++k)
        faces[first + i].Corners[k] = sorted[corners[i][k]];
      faces[first + i].Owner = t;
    }
  }
  std::sort(faces.begin(), faces.end(),
            [](const trelTetrahedronFace& a, const trelTetrahedronFace& b) {
              return std::tie(a.Corners[0], a.Corners[1], a.Corners[2], a.Owner) <
                     std::tie(b.Corners[0], b.Corners[1], b.Corners[2], b.Owner);
            });
  return faces;
}

/** Those of the sorted faces that have one owner, or two of different regions. */
static std::vector<trelKeptFace> BoundaryFaces(const std::vector<trelTetrahedronFace>& faces,
                                               const std::int32_t* regions)
{
  std::vector<trelKeptFace> kept;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    const bool shared = i + 1 < faces.size() && faces[i].IsSameFace(faces[i + 1]);
    if (!shared)
      kept.push_back({i, -1});
    else if (regions[faces[i].Owner] != regions[faces[i + 1].Owner])
      kept.push_back({i, faces[i + 1].Owner});
    if (shared) ++i;
  }
  return kept;
}

bool trelTetrahedron::BuildFaces()
{
  bool built = false;
  const bool fits = FitsInMemory([&] {
    if (!KeepBoundaryFaces()) return;
    OrientOuterSurface();
    built = true;
  });
  if (!fits) ErrorMacro("your face data's memory is not right allocated");
  return built;
}

bool trelTetrahedron::KeepBoundaryFaces()
{
  const int threads = StartableThreads(omp_get_max_threads());
  const auto faces = SortedFaces(GetTetrahedronData(), GetNumberOfTetrahedra(), threads);
  const auto kept = BoundaryFaces(faces, GetRegionData());
  // A number beyond the range turns negative, which is refused.
  const auto count = static_cast<std::int32_t>(kept.size());
  if (!SetNumberOfFaces(count)) return false;
#pragma omp parallel for num_threads(threads)
  for (std::int32_t i = 0; i < count; ++i) {
    const trelKeptFace& face = kept[static_cast<std::size_t>(i)];
    std::copy_n(faces[face.Record].Corners, 3, Faces.GetRecord(i));
    FaceOwners.GetRecord(i)[0] = faces[face.Record].Owner;
    FaceOwners.GetRecord(i)[1] = face.SecondOwner;
  }
  return true;
}

void trelTetrahedron::OrientOuterSurface()
{
  trelOuterSurface surface({Vertices.GetData(), Tetrahedra.GetData(), Faces.GetData(),
                            FaceOwners.GetData(), Faces.GetCount()});
  if (surface.GetNumberOfOpenEdges() > 0)
    WarningMacro("the outer surface isn't closed, points near it may be located wrongly: "
                 << surface.GetNumberOfOpenEdges()
                 << " edge(s) don't join two faces, for example that of vertices "
                 << surface.GetOpenEdge()[0] + 1 << " and " << surface.GetOpenEdge()[1] + 1
                 << " (from 1)");
  surface.Orient();
  ComputeVertexNormals();
}

trelReportErrorMacro(trelTetrahedron)
