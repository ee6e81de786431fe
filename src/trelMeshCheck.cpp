#include "trelMeshCheck.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

#include "trelMCTetrahedron.h"
#include "trelTraceableMesh.h"

/** Sets of vertices that grow together (union by path halving). */
class trelMeshCheckParts
{
public:
  explicit trelMeshCheckParts(std::size_t number) : Parent(number), IsUsed(number)
  {
    std::iota(Parent.begin(), Parent.end(), 0u);
  }
  void Join(std::uint32_t a, std::uint32_t b)
  {
    IsUsed[a] = IsUsed[b] = 1;
    Parent[Find(a)] = Find(b);
  }
  int Count()
  {
    int parts = 0;
    for (std::uint32_t v = 0; v < Parent.size(); ++v)
      parts += IsUsed[v] && Find(v) == v ? 1 : 0;
    return parts;
  }

private:
  std::uint32_t Find(std::uint32_t v)
  {
    while (Parent[v] != v)
      v = Parent[v] = Parent[Parent[v]];
    return v;
  }
  std::vector<std::uint32_t> Parent;
  std::vector<char> IsUsed;
};

/** For each vertex the first one at the same position; NaN stays by itself. */
static std::vector<std::uint32_t> MergeVertices(const trelTraceableMesh& mesh)
{
  const trelTraceableVertex* vertices = mesh.GetVertexArray();
  const auto key = [&](std::uint32_t v) {
    return std::make_tuple(vertices[v].X, vertices[v].Y, vertices[v].Z);
  };
  std::vector<std::uint32_t> order(mesh.GetNumberOfVertices()), first(order.size());
  std::iota(order.begin(), order.end(), 0u);
  std::iota(first.begin(), first.end(), 0u);
  const auto isNaN = [&](std::uint32_t v) {
    return std::isnan(vertices[v].X + vertices[v].Y + vertices[v].Z);
  };
  order.erase(std::remove_if(order.begin(), order.end(), isNaN), order.end());
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return std::make_pair(key(a), a) < std::make_pair(key(b), b);
  });
  for (std::size_t i = 1; i < order.size(); ++i) {
    if (key(order[i]) == key(order[i - 1])) first[order[i]] = first[order[i - 1]];
  }
  return first;
}

/** An edge of a triangle, and whether the triangle runs from the lower vertex to the higher. */
struct trelMeshCheckEdge
{
  std::uint32_t Low, High;
  bool IsForward;

  bool operator<(const trelMeshCheckEdge& other) const
  {
    return std::tie(Low, High) < std::tie(other.Low, other.High);
  }
};

static void CountEdges(std::vector<trelMeshCheckEdge>& edges, trelMeshCheck& check)
{
  std::sort(edges.begin(), edges.end());
  for (auto edge = edges.begin(); edge != edges.end();) {
    const auto next = std::upper_bound(edge, edges.end(), *edge);
    const auto triangles = std::distance(edge, next);
    if (triangles == 1) ++check.OpenEdges;
    if (triangles > 2) ++check.NonManifoldEdges;
    if (triangles == 2 && edge->IsForward == (edge + 1)->IsForward) ++check.Inverted;
    edge = next;
  }
}

/** The smallest height over that of a regular triangle of the longest edge. */
static bool IsNeedle(const trelVector corners[3], double area)
{
  double longest = 0.0;
  for (int c = 0; c < 3; ++c)
    longest = std::max(longest, Length(corners[(c + 1) % 3] - corners[c]));
  const double height = 2.0 * area / longest;
  return !(height >= trelMeshCheck::NeedleRatio * longest * std::sqrt(0.75));
}

trelMeshCheck CheckSurface(const trelTraceableMesh& mesh)
{
  trelMeshCheck check;
  check.File = mesh.GetFilePath();
  check.Vertices = mesh.GetNumberOfVertices();
  check.Triangles = mesh.GetNumberOfTriangles();
  check.Box = mesh.GetBox();
  const std::vector<std::uint32_t> first = MergeVertices(mesh);
  trelMeshCheckParts parts(first.size());
  std::vector<trelMeshCheckEdge> edges;
  edges.reserve(3 * std::size_t{check.Triangles});
  for (std::uint32_t t = 0; t < check.Triangles; ++t) {
    const trelTraceableTriangle& triangle = mesh.GetTriangleArray()[t];
    trelVector corners[3];
    for (int c = 0; c < 3; ++c) {
      const std::uint32_t a = first[triangle.Vertices[c]];
      const std::uint32_t b = first[triangle.Vertices[(c + 1) % 3]];
      corners[c] = mesh.GetVertexArray()[a].Position() - check.Box.Low;
      if (a != b) edges.push_back({std::min(a, b), std::max(a, b), a < b});
      parts.Join(a, b);
    }
    if (IsNeedle(corners, triangle.Area)) ++check.Needles;
    check.Volume += Dot(corners[0], Cross(corners[1], corners[2])) / 6.0;
  }
  check.Volume = std::fabs(check.Volume);
  CountEdges(edges, check);
  check.Bodies = parts.Count();
  return check;
}

trelMeshCheck CheckTetrahedra(const trelMCTetrahedron& mesh)
{
  trelMeshCheck check;
  check.File = mesh.GetFilePath();
  check.Vertices = mesh.GetNumberOfVertices();
  check.Triangles = mesh.GetNumberOfTriangles();
  check.Elements = mesh.GetNumberOfTetrahedra();
  check.Regions = mesh.GetNumberOfRegions();
  check.Box = mesh.GetBox();
  trelMeshCheckParts parts(check.Vertices);
  std::size_t negative = 0;
  for (std::uint32_t t = 0; t < check.Elements; ++t) {
    const auto& vertices = mesh.GetTetrahedron(t);
    const trelVector origin = mesh.GetVertexArray()[vertices[0]].Position();
    trelVector sides[3];
    double longest = 0.0;
    for (int c = 0; c < 3; ++c) {
      parts.Join(vertices[0], vertices[c + 1]);
      sides[c] = mesh.GetVertexArray()[vertices[c + 1]].Position() - origin;
      longest = std::max(longest, Length(sides[c]));
    }
    const double volume = Dot(sides[0], Cross(sides[1], sides[2])) / 6.0;
    check.Volume += std::fabs(volume);
    negative += volume < 0.0 ? 1 : 0;
    // A regular one has the volume a^3 / (6 sqrt(2)).
    const double regular = longest * longest * longest / (6.0 * std::sqrt(2.0));
    if (!(std::fabs(volume) >= trelMeshCheck::NeedleRatio * regular)) ++check.Needles;
  }
  check.Inverted = std::min(negative, check.Elements - negative);
  check.Bodies = parts.Count();
  return check;
}
