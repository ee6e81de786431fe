#include "trelSurfaceElement.h"

#include <algorithm>
#include <cmath>

#include "trelTraceableMesh.h"

/** Degrees into radians. */
static double Radians(double degrees)
{
  return degrees * PiSingle / 180.0;
}

/** The bin of @p q, which may not exist. What no integer can hold has a bin that cannot exist. */
static std::int32_t IndexOf(const trelGridBins& bins, double q)
{
  constexpr double limit = 2147483647.0;
  const double index = (q - bins.Minimum) / bins.Separation;
  return std::fabs(index) < limit ? static_cast<std::int32_t>(index) : -2147483647;
}

/** The azimuth of the point (dx, dy) at distance r, degrees, with pi of 32 bits throughout. */
static double AzimuthOfSinglePi(double dx, double dy, double r)
{
  constexpr double twoPiSingle = 6.2831854820251465;
  const double angle = std::acos(dx / r);
  return (dy < 0.0 ? twoPiSingle - angle : angle) * 180.0 / PiSingle;
}

static void SetVector(double v[3], double x, double y, double z)
{
  v[0] = x;
  v[1] = y;
  v[2] = z;
}

// The normal at offset e from the centre of x^2/a^2 + y^2/b^2 + ... = 1 is its gradient (x/a^2,
// ...) over the length s of that. Squares, quotients and s are 32-bit floats; the last digits of
// images depend on it.

static float SquareSingle(double v)
{
  return static_cast<float>(v * v);
}

/** s on an ellipsoid, from x^2 / a^4 and the like. */
static float GradientOfEllipsoid(const double e[3], const double halfAxes[3])
{
  float sum = 0.0f;
  for (int k = 0; k < 3; ++k) {
    const float square = SquareSingle(halfAxes[k]);
    sum += SquareSingle(e[k]) / (square * square);
  }
  return std::sqrt(sum);
}

/** s on the side of a cylinder, from (x / a^2)^2 and the like. */
static float GradientOfCylinder(const double e[2], const double halfAxes[2])
{
  const float x = static_cast<float>(e[0]) / SquareSingle(halfAxes[0]);
  const float y = static_cast<float>(e[1]) / SquareSingle(halfAxes[1]);
  return std::sqrt(x * x + y * y);
}

static double NormalComponent(double e, double halfAxis, double s)
{
  return e / (SquareSingle(halfAxis) * s);
}

bool MakeEllipsoidElement(const trelGridWindow& window, const double hit[3],
                          SurfaceElement* element)
{
  std::int32_t d = 0;
  std::int32_t a = 0;
  if (!LocateBinsDA(window, hit, &d, &a)) return false;
  const trelGridBins& deflection = window.Bins[GridD];
  const trelGridBins& azimuth = window.Bins[GridA];
  const double dm = Radians(deflection.Midpoint(d));
  const double am = Radians(azimuth.Midpoint(a));
  const double* h = window.HalfAxis;
  const double e[3] = {h[0] * std::sin(dm) * std::cos(am), h[1] * std::sin(dm) * std::sin(am),
                       h[2] * std::cos(dm)};
  element->Index[0] = d;
  element->Index[1] = a;
  for (int k = 0; k < 3; ++k)
    element->Center[k] = window.Center[k] + e[k];
  const double length = std::sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]);
  element->Area = length * length * std::sin(dm) * Radians(deflection.Separation) *
                  (PiSingle * azimuth.Separation / 180.0);
  const double s = GradientOfEllipsoid(e, h);
  for (int k = 0; k < 3; ++k)
    element->Normal[k] = NormalComponent(e[k], h[k], s);
  return true;
}

static void MakeCylinderSide(const trelGridWindow& window, double degrees, const double hit[3],
                             SurfaceElement* element)
{
  const trelGridBins& azimuth = window.Bins[GridA];
  const trelGridBins& z = window.Bins[GridZ];
  element->Index[0] = IndexOf(azimuth, degrees);
  element->Index[1] = IndexOf(z, hit[2]);
  const double am = Radians(azimuth.Midpoint(element->Index[0]));
  const double a = window.HalfAxis[0];
  const double b = window.HalfAxis[1];
  const double e[2] = {a * std::cos(am), b * std::sin(am)};
  SetVector(element->Center, e[0] + window.Center[0], e[1] + window.Center[1],
            z.Midpoint(element->Index[1]));
  const double s = GradientOfCylinder(e, window.HalfAxis);
  SetVector(element->Normal, NormalComponent(e[0], a, s), NormalComponent(e[1], b, s), 0.0);
  element->Area = std::max(a, b) * azimuth.Separation * PiSingle / 180.0 * z.Separation;
}

void MakeCylinderElement(const trelGridWindow& window, CoordinateType coordinate,
                         const double hit[3], int face, SurfaceElement* element)
{
  const double dx = hit[0] - window.Center[0];
  const double dy = hit[1] - window.Center[1];
  const double r = std::sqrt(dx * dx + dy * dy);
  const double degrees = AzimuthOfSinglePi(dx, dy, r);
  if (face != 0 && face != 1) return MakeCylinderSide(window, degrees, hit, element);
  SetVector(element->Normal, 0.0, 0.0, face == 0 ? 1.0 : -1.0);
  const bool isPolar = coordinate == CoordinateCylindrical;
  const trelGridBins& first = window.Bins[isPolar ? GridR : GridX];
  const trelGridBins& second = window.Bins[isPolar ? GridA : GridY];
  element->Index[0] = IndexOf(first, isPolar ? r : hit[0]);
  element->Index[1] = IndexOf(second, isPolar ? degrees : hit[1]);
  const double u = first.Midpoint(element->Index[0]);
  const double v = second.Midpoint(element->Index[1]);
  if (isPolar) {
    const double am = Radians(v);
    SetVector(element->Center, u * std::cos(am) + window.Center[0],
              u * std::sin(am) + window.Center[1], hit[2]);
    // The same area at every radius; images depend on it.
    element->Area = PiSingle * first.Separation * first.Separation * second.Separation / 360.0;
  } else {
    SetVector(element->Center, u, v, hit[2]);
    element->Area = second.Separation * first.Separation;
  }
}

void MakeCubeElement(const trelGridWindow& window, const double hit[3], int face,
                     SurfaceElement* element)
{
  static constexpr struct
  {
    trelGridAxis InPlane[2];
    double Normal[3];
  } faces[] = {{{GridY, GridZ}, {1, 0, 0}},  {{GridY, GridZ}, {-1, 0, 0}},
               {{GridX, GridZ}, {0, -1, 0}}, {{GridX, GridZ}, {0, 1, 0}},
               {{GridX, GridY}, {0, 0, 1}},  {{GridX, GridY}, {0, 0, -1}}};
  if (face < 0 || face >= 6) return;
  std::copy_n(hit, 3, element->Center);
  std::copy_n(faces[face].Normal, 3, element->Normal);
  element->Area = 1.0;
  for (int k = 0; k < 2; ++k) {
    const trelGridAxis axis = faces[face].InPlane[k];
    const trelGridBins& bins = window.Bins[axis];
    element->Index[k] = IndexOf(bins, hit[axis]);
    element->Center[axis] = bins.Midpoint(element->Index[k]);
    element->Area *= bins.Separation;
  }
}

void MakeMeshElement(const trelTraceableMesh& mesh, int face, SurfaceElement* element)
{
  if (face < 0 || static_cast<std::uint32_t>(face) >= mesh.GetNumberOfTriangles()) return;
  const trelTraceableTriangle& triangle = mesh.GetTriangleArray()[face];
  const trelTraceableVertex* vertices = mesh.GetVertexArray();
  const trelTraceableVertex& a = vertices[triangle.Vertices[0]];
  const trelTraceableVertex& b = vertices[triangle.Vertices[1]];
  const trelTraceableVertex& c = vertices[triangle.Vertices[2]];
  SetVector(element->Center, (a.X + b.X + c.X) / 3.0, (a.Y + b.Y + c.Y) / 3.0,
            (a.Z + b.Z + c.Z) / 3.0);
  std::copy_n(triangle.Normal, 3, element->Normal);
  element->Area = triangle.Area;
}
