#ifndef trelPlaneDetector_h
#define trelPlaneDetector_h

#include <cstdint>

#include "trelDetector.h"
#include "trelVector.h"

/**
 * @class   trelPlaneDetector
 * @brief   an imaging plane behind a thin lens, outside of the medium
 *
 * Lengths in mm.
 */
class trelPlaneDetector final : public trelDetector
{
  trelTypeMacro(trelPlaneDetector, trelDetector)

public:
  DetectorType GetDetectorType() const override { return DetectorPlane; }

  /** Centre of the detecting plane, default (15, 60, 323). */
  void SetCenter(const trelVector& center) { Center = center; }
  void SetCenter(double x, double y, double z) { Center = {x, y, z}; }
  trelVector GetCenter() const { return Center; }
  void GetCenter(double* x, double* y, double* z) const;
  void GetCenter(double center[3]) const { GetCenter(&center[0], &center[1], &center[2]); }

  /** Unit normal of the plane, default (0, 0, -1); stored as given. */
  void SetNormal(const trelVector& normal) { Normal = normal; }
  void SetNormal(double x, double y, double z) { Normal = {x, y, z}; }
  trelVector GetNormal() const { return Normal; }
  void GetNormal(double* x, double* y, double* z) const;

  /** Width and height, default 27.6 by 27.6. */
  void SetSize(double width, double height);
  void GetSize(double* width, double* height) const;

  /** Pixels along width and height, default 512 by 512. */
  void SetResolution(std::int32_t columns, std::int32_t rows);
  void GetResolution(std::int32_t* columns, std::int32_t* rows) const;

  /** Focal length of the lens, default 55. */
  trelSetGetMacro(double, FocalLength)
  /** Distance from the lens to the detecting plane, default 72.5403. */
  trelSetGetMacro(double, ImageDistance)
  /** How far in front of the lens things are in focus: f i / (i - f), by the thin lens. */
  double GetObjectDistance() const
  {
    return FocalLength * ImageDistance / (ImageDistance - FocalLength);
  }
  /** The coordinate plane that the detector's orientation is measured from, default PlaneXZ. */
  trelSetGetMacro(enum VerticalPlane, VerticalPlane)
  /** Radius of the lens, default 26. */
  trelSetGetMacro(double, LensRadius)

private:
  trelVector Center = {15.0, 60.0, 323.0};
  trelVector Normal = {0.0, 0.0, -1.0};
  double Size[2] = {27.6, 27.6};
  std::int32_t Resolution[2] = {512, 512};
  double FocalLength = 55.0;
  double ImageDistance = 72.5403;
  enum VerticalPlane VerticalPlane = PlaneXZ;
  double LensRadius = 26.0;
};

#endif
