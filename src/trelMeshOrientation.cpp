#include "trelMeshOrientation.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "trelMeshCrossings.h"

/** An edge of a triangle, its lower corner first. */
struct trelWoundEdge
{
  std::uint32_t Low, High, Triangle;
  std::uint8_t Place;
  bool Forward;  ///< whether the triangle runs from Low to High

  bool IsSameEdge(const trelWoundEdge& other) const
  {
    return Low == other.Low && High == other.High;
  }
};

static std::vector<trelWoundEdge> SortedEdges(
    const std::vector<trelMeshOrientation::Corners>& triangles)
{
  std::vector<trelWoundEdge> edges;
  edges.reserve(3 * triangles.size());
  for (std::uint32_t t = 0; t < triangles.size(); ++t) {
    for (std::uint8_t c = 0; c < 3; ++c) {
      const std::uint32_t a = triangles[t][c], b = triangles[t][(c + 1u) % 3];
      if (a != b) edges.push_back({std::min(a, b), std::max(a, b), t, c, a < b});
    }
  }
  std::sort(edges.begin(), edges.end(), [](const trelWoundEdge& a, const trelWoundEdge& b) {
    return std::tie(a.Low, a.High, a.Triangle) < std::tie(b.Low, b.High, b.Triangle);
  });
  return edges;
}

trelMeshOrientation::trelMeshOrientation(const std::vector<Corners>& triangles)
    : Neighbours(triangles.size()), Turns(triangles.size(), 0)
{
  Join(triangles);
  Order.reserve(triangles.size());
  for (std::uint32_t t = 0; t < triangles.size(); ++t) {
    if (Turns[t] != 0) continue;
    Starts.push_back(Order.size());
    Spread(t);
  }
  Starts.push_back(Order.size());
}

void trelMeshOrientation::Join(const std::vector<Corners>& triangles)
{
  for (std::uint32_t t = 0; t < triangles.size(); ++t)
    Neighbours[t].fill(static_cast<std::int32_t>(t));
  const std::vector<trelWoundEdge> edges = SortedEdges(triangles);
  for (std::size_t i = 0, next = 0; i < edges.size(); i = next) {
    while (next < edges.size() && edges[next].IsSameEdge(edges[i]))
      ++next;
    if (next - i != 2) continue;
    const trelWoundEdge &a = edges[i], &b = edges[i + 1];
    const bool alike = a.Forward != b.Forward;
    const auto mark = [&](std::uint32_t t) {
      return alike ? static_cast<std::int32_t>(t) : ~static_cast<std::int32_t>(t);
    };
    Neighbours[a.Triangle][a.Place] = mark(b.Triangle);
    Neighbours[b.Triangle][b.Place] = mark(a.Triangle);
  }
}

/** Winds the body of triangle @p start as that is wound, breadth first. */
void trelMeshOrientation::Spread(std::uint32_t start)
{
  Turns[start] = 1;
  std::size_t next = Order.size();
  Order.push_back(start);
  for (; next < Order.size(); ++next) {
    const std::uint32_t t = Order[next];
    for (const std::int32_t mark : Neighbours[t]) {
      const auto neighbour = static_cast<std::uint32_t>(mark < 0 ? ~mark : mark);
      if (Turns[neighbour] != 0) continue;
      Turns[neighbour] = static_cast<std::int8_t>(mark < 0 ? -Turns[t] : Turns[t]);
      Order.push_back(neighbour);
    }
  }
}

/** 1 if the body looks outward as it is wound, -1 if not. */
int trelMeshOrientation::VoteOfBody(std::size_t body, std::size_t votes,
                                    const trelMeshCrossings& crossings) const
{
  const std::size_t size = Starts[body + 1] - Starts[body];
  int sum = 0;
  for (std::size_t v = 0; v < std::min(votes, size); ++v) {
    const std::uint32_t t = Order[Starts[body] + v * size / std::min(votes, size)];
    const trelVector& normal = crossings.GetTable().GetTriangle(t).Normal;
    int axis = 0;
    for (int a = 1; a < 3; ++a)
      if (std::fabs(normal[a]) > std::fabs(normal[axis])) axis = a;
    const std::ptrdiff_t below = crossings.CountBelow(t, axis);
    if (below < 0 || normal[axis] == 0.0) continue;
    const bool enters = below % 2 == 0;
    const bool outward = enters == (normal[axis] < 0.0);
    sum += outward ? Turns[t] : -Turns[t];
  }
  return sum < 0 ? -1 : 1;
}

std::vector<std::int8_t> trelMeshOrientation::OrientOutward(const trelMeshCrossings& crossings)
{
  // A surface of very many bodies is a heap of loose triangles, and has no outside.
  constexpr std::size_t maximumOfRays = 100000;
  constexpr std::size_t maximumOfVotes = 15;
  const std::size_t bodies = Starts.size() - 1;
  const std::size_t votes =
      std::min(maximumOfVotes, maximumOfRays / std::max<std::size_t>(bodies, 1));
  for (std::size_t body = 0; body < bodies && votes > 0; ++body) {
    if (VoteOfBody(body, votes, crossings) > 0) continue;
    for (std::size_t i = Starts[body]; i < Starts[body + 1]; ++i)
      Turns[Order[i]] = static_cast<std::int8_t>(-Turns[Order[i]]);
  }
  return std::move(Turns);
}
