#ifndef exactShapes_h
#define exactShapes_h

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "meshSamples.h"
#include "modelFixtures.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelPacketNumbers.h"
#include "trelShapeFactory.h"

/**
 * @file exactShapes.h
 * Shapes and meshes for the questions of the exact rules, and numbers to ask them at random.
 */

inline trelPacketNumbers numbers_;

inline double Uniform(double low, double high)
{
  return low + (high - low) * numbers_.NextRandom();
}

inline trelVector PointIn(const trelBox& box)
{
  return {Uniform(box.Low.X, box.High.X), Uniform(box.Low.Y, box.High.Y),
          Uniform(box.Low.Z, box.High.Z)};
}

/** Every fourth along an axis or a diagonal of two; in the plane without z. */
inline trelVector Direction(bool planar)
{
  trelVector d = {Uniform(-1, 1), Uniform(-1, 1), planar ? 0.0 : Uniform(-1, 1)};
  if (Uniform(0, 4) < 1)
    for (int a = 0; a < 3; ++a)
      d[a] = std::round(d[a] * 0.99);
  return Dot(d, d) > 1e-4 ? Normalized(d) : trelVector{0, 1, 0};
}

/** A bar of a square section that is bent to three quarters of a ring. */
inline SurfacePointer Horseshoe(int n)
{
  return MovedCube(n, [](const Point& p) {
    const double r = 3 + p[1], angle = 2.4 * p[0];
    return Point{r * std::cos(angle), r * std::sin(angle), p[2] + 0.3};
  });
}

inline trelMCTriangleMesh* Trace(SurfacePointer surface, bool shuffled = false)
{
  for (int f = 0; shuffled && f < surface->GetNumberOfFaces(); f += 1 + f % 3)
    std::swap(surface->GetFaceData()[3 * f], surface->GetFaceData()[3 * f + 1]);
  auto* mesh = new trelMCTriangleMesh;
  EXPECT_TRUE(mesh->ImportMesh(surface.get()) && mesh->PrepareCrossings(2));
  return mesh;
}

inline SurfacePointer BoxSurface(const trelVector& center, const trelVector& half, int n = 2)
{
  return MovedCube(n, [&](const Point& p) {
    return Point{center.X + p[0] * half.X, center.Y + p[1] * half.Y, center.Z + p[2] * half.Z};
  });
}

/** A ball with a hollow, as one surface. */
inline SurfacePointer HollowBall()
{
  SurfacePointer outer = Sphere(2, 8), inner = Sphere(1.2, 6);
  const auto first = static_cast<std::uint32_t>(outer->GetNumberOfVertices());
  for (int v = 0; v < inner->GetNumberOfVertices(); ++v)
    outer->AddVertex(inner->GetVertexData() + 6 * v);
  for (int f = 0; f < inner->GetNumberOfFaces(); ++f) {
    const std::uint32_t* c = inner->GetFaceData() + 3 * f;
    const std::uint32_t face[3] = {c[0] + first, c[1] + first, c[2] + first};
    outer->AddFace(face);
  }
  return outer;
}

inline trelShapeObject* Make(ShapeType type, const trelVector& c, const trelVector& h)
{
  trelShapeObject* shape = MakeShape(type);
  shape->SetCenter(c.X, c.Y, c.Z);
  shape->SetHalfAxes(h.X, h.Y, h.Z);
  return shape;
}

/** The cube [0, n]^3 of tetrahedra; [from, to)^3 is region 1, the rest region 0. */
inline trelMCTetrahedron* CubeInCube(int n, int from, int to)
{
  CubeGrid grid({{n, n, n}});
  auto* traced = new trelMCTetrahedron;
  EXPECT_TRUE(grid.BuildCore(n, from, to) && traced->ImportMesh(&grid.Mesh));
  return traced;
}

inline trelBox Widened(const trelShapeObject& shape)
{
  const trelBox box = shape.GetBox();
  const trelVector more = 0.2 * (box.High - box.Low);
  return {box.Low - more, box.High + more};
}

#endif
