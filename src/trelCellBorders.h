#ifndef trelCellBorders_h
#define trelCellBorders_h

#include "trelGridWindow.h"
#include "trelVector.h"

/**
 * @file trelCellBorders.h
 * Where a straight path crosses the borders of bins: one struct for each kind of axis, which says
 * the distances one after the other. They never fall, up to rounding, and are infinite when there
 * are no more. A path of fluence is cut there. Distances are in units of the direction's length.
 */

/** Borders of a coordinate that goes on evenly: x, y, z, time. */
struct trelLineBorders
{
  trelLineBorders() = default;
  /** A coordinate that is @p start first and grows by @p slope in each mm. */
  trelLineBorders(const trelGridBins& bins, double start, double slope);

  double GetNext() const { return Next; }
  void Advance();

private:
  void Compute();

  const trelGridBins* Bins = nullptr;
  double Start = 0.0;
  double Slope = 0.0;
  std::int32_t Border = 0;
  double Next = std::numeric_limits<double>::infinity();
};

/** Rings about an axis along z: inwards as far as the path comes to the axis, then outwards. */
struct trelRingBorders
{
  trelRingBorders() = default;
  /** A path from (@p x, @p y) relative to the axis in the direction (@p dx, @p dy). */
  trelRingBorders(const trelGridBins& bins, double x, double y, double dx, double dy);

  double GetNext() const { return Next; }
  void Advance();

private:
  void Compute();
  double GetRadius() const { return Bins->GetBorder(Border); }

  const trelGridBins* Bins = nullptr;
  double Middle = 0.0;    ///< where the path is nearest to the axis
  double Distance = 0.0;  ///< how near that is, mm
  double Speed = 0.0;     ///< length of the direction across the axis
  bool Inwards = false;
  std::int32_t Border = 0;
  double Next = std::numeric_limits<double>::infinity();
};

/** Azimuths about the axis: half-planes, which the path meets in their order round the axis. */
struct trelAzimuthBorders
{
  trelAzimuthBorders() = default;
  trelAzimuthBorders(const trelGridBins& bins, double x, double y, double dx, double dy);

  double GetNext() const { return Next; }
  void Advance();

private:
  void Compute();

  const trelGridBins* Bins = nullptr;
  double Start = 0.0;   ///< azimuth of the start, degrees, 0 to 360
  double Reach = 0.0;   ///< the angle, rad, that the path turns about the axis on its endless way
  double Scale = 0.0;   ///< distance of the start from the axis over the speed across it
  int Sense = 1;        ///< 1 if the azimuth grows, -1 if it falls
  double Turned = 0.0;  ///< degrees that the border has been carried on by full turns
  std::int32_t Border = 0;
  double Next = std::numeric_limits<double>::infinity();
};

#endif
