#ifndef trelExactLaunch_h
#define trelExactLaunch_h

#include <cstdint>

#include "trelTissueMap.h"
#include "trelVector.h"

class trelLightSource;
class trelShapeObject;
class trelSpectrum;
class trelUniformNumbers;
struct trelTransportModel;

/** What became of a launch. */
enum trelLaunchOutcome
{
  LaunchDone,      ///< the packet is in the medium
  LaunchEscaped,   ///< it starts on the skin, outward, and is gone
  LaunchNotMet,    ///< it starts outside of the medium, or does not meet it
  LaunchReflected  ///< beyond the critical angle: all of it is reflected where it would enter
};

/** A packet as it starts. */
struct trelLaunched
{
  trelVector Position;
  trelVector Direction;      ///< unit vector
  std::int32_t Tissue = -1;  ///< the tissue that it starts in
  double Entering = 1.0;     ///< part of the packet's weight that starts
  double Reflected = 0.0;    ///< part of it that is reflected where it enters
  double Skip = 0.0;         ///< what lies ahead by less, mm, the packet stands on and has passed
  trelVector Normal = {};    ///< of the surface that it enters by; else 0
  trelHit Skin = {};         ///< where it is gone, if it escaped
};

/**
 * @class   trelExactLaunch
 * @brief   starts packets of one entry of a light source by the exact rules
 *
 * Directions are uniform in the solid angle of the source's ranges, start points in the volume of
 * its shape or on its area. With the deflection t from the source's direction dw = |sin t| dt da,
 * so F = (integral of |sin t|) = 1 - cos t is uniform; ranges below 0 and beyond 180 degrees count
 * by the same integral.
 *
 * A packet of an external source starts where its ray enters the medium, and is refracted there by
 * Snell's law about the true normal; "specular" takes the share off that Fresnel's law reflects at
 * its angle of incidence.
 *
 * Prepared before the packets; a launch reads only, and allocates nothing.
 *
 * @sa trelLightSource::LaunchPhoton, which has the classic rules
 */
class trelExactLaunch
{
public:
  /** Takes what the launches need of the source, which is held as long as they go on; @p packets
   *  share the energy of its entry. False if it
   *  can launch nothing: a fluorophore, no shape, no point in it, numbers that are not finite, or
   *  memory ran out. Launches are then not met. */
  bool Prepare(const trelLightSource& source, const trelSpectrum& spectrum, std::int64_t packets,
               const trelTransportModel& model);

  /** Weight of one packet of the entry, energy / packets, in the unit of the energy. */
  double GetPacketWeight() const { return PacketWeight; }

  /** Whether packets enter the medium through its surface. */
  bool IsExternal() const { return External; }

  /** Starts a packet, by the numbers of its stream. Unless it is LaunchDone, @p launched tells
   *  nothing but Reflected; if LaunchEscaped, it is the packet as it leaves. */
  trelLaunchOutcome Launch(const trelTissueMap& map, trelUniformNumbers& numbers,
                           trelLaunched* launched) const
  {
    trelRay ray;
    *launched = {};
    if (!DrawRay(numbers, &ray)) return LaunchNotMet;
    if (!External) {
      launched->Skip = map.GetShortestReach();
      const std::int32_t tissue = map.FindTissueAhead(ray);
      return tissue >= 0 ? StartAt(ray, tissue, launched) : StartOnSkin(ray, map, launched);
    }
    trelTissueChange entry;
    return map.FindEntry(ray, &entry) ? Enter(ray, entry, launched) : LaunchNotMet;
  }

  /** The parts of a launch: a point of the source and a direction, */
  bool DrawRay(trelUniformNumbers& numbers, trelRay* ray) const;
  /** a start in the medium, in the tissue that the ray goes on into: a source may lie on surfaces,
   *  */
  trelLaunchOutcome StartAt(const trelRay& ray, std::int32_t tissue, trelLaunched* launched) const;
  /** one on the skin, from where it is gone without a boundary, */
  trelLaunchOutcome StartOnSkin(const trelRay& ray, const trelTissueMap& map,
                                trelLaunched* launched) const;
  /** and one from outside through the skin. */
  trelLaunchOutcome Enter(const trelRay& ray, const trelTissueChange& entry,
                          trelLaunched* launched) const;

private:
  void PrepareDirections(const trelLightSource& source);
  void TurnAxes(const trelVector& direction);
  trelVector DrawDirection(trelUniformNumbers& numbers) const;
  trelVector FindDirection(double turnsPart, double deflectionPart) const;
  bool DrawPoint(trelUniformNumbers& numbers, trelVector* point) const;
  bool DrawGaussianPoint(trelUniformNumbers& numbers, trelVector* point) const;
  bool TryWideProfile(trelUniformNumbers& numbers, double offset[2]) const;
  bool TryNarrowProfile(trelUniformNumbers& numbers, double offset[2]) const;

  const trelShapeObject* Shape = nullptr;  ///< null: nothing can be launched
  const trelTransportModel* Model = nullptr;
  std::int32_t WavelengthIndex = 0;
  double PacketWeight = 0.0;
  bool External = false;
  bool Specular = false;
  bool Solid = true;
  bool Planar = false;
  double ProfileWidth = 0.0;
  trelVector Center;
  trelVector HalfAxes;
  double AzimuthMin = 0.0, AzimuthSpan = 0.0;        ///< turns
  double DeflectionMin = 0.0, DeflectionSpan = 0.0;  ///< F
  trelVector Axes[3];                                ///< those that the angles count from
  /** All packets start in one direction. */
  bool IsParallel = false;
  trelVector Direction;
};

#endif
