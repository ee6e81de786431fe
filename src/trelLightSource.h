#ifndef trelLightSource_h
#define trelLightSource_h

#include <cstdint>

#include "trelGeometryTolerance.h"
#include "trelModelTypes.h"
#include "trelSimulationObject.h"
#include "trelVector.h"

class trelLaunchContext;
class trelList;
class trelObjectDisplay;
class trelPhoton;
class trelShapeObject;
class trelSpectrum;

/**
 * @class   trelLightSource
 * @brief   a shape from which packets start: where, in which direction, with what weight
 *
 * All sampling takes its numbers from the launching thread's stream, the direction's ahead of the
 * position's. A launch changes nothing in the source, so that all threads may launch at once. The
 * frame of the shape is parallel to the axes, with the shape's centre (cx, cy, cz) and half-axes
 * (a, b, c).
 */
class trelLightSource final : public trelSimulationObject
{
  trelTypeMacro(trelLightSource, trelSimulationObject)

public:
  trelLightSource();
  ~trelLightSource() override;

  /** Lets go of shape, spectra and display; the list is null after it. */
  virtual void ClearModel();

  /** The source's shape, held by reference; null until set, setting null is ignored. */
  void SetShape(trelShapeObject* shape);
  trelShapeObject* GetShape() const { return Shape; }

  /** What the source emits, an entry for each wavelength in their order. The source takes the list
   *  over with its items; the items of a former list are released. */
  void SetSpectra(trelList* spectra);
  trelList* GetSpectra() const { return Spectra; }
  /** Entry @p i, from 0; null when there is none. */
  trelSpectrum* GetSpectrum(int i) const;

  /** Number of packets of the last entry with this wavelength; 0 when none has it. */
  std::uint32_t GetNumberOfPhotonsAt(std::uint32_t wavelength) const;
  /** Counts the packets of all entries anew. */
  std::uint64_t ComputePhotonTotal();

  /** Whether the source lies in the medium, default true; else packets start on the skin. */
  void SetInternal(bool internal) { Internal = internal; }
  bool IsInternal() const { return Internal; }
  /** Whether start points fill the shape, default true, or lie on its surface. */
  void SetSolid(bool solid) { Solid = solid; }
  bool IsSolid() const { return Solid; }
  /** Whether packets can be launched at all, default true. */
  void SetLaunchable(bool launchable) { Launchable = launchable; }
  bool IsLaunchable() const { return Launchable; }
  /** Whether the start weight takes specular reflection off, default false. */
  void SetSpecular(bool specular) { Specular = specular; }
  bool IsSpecular() const { return Specular; }
  /** What makes the source shine, default LuminousBioluminescence. */
  trelSetGetMacro(enum LuminousType, LuminousType)

  /** Range of the azimuth of the start direction, given in degrees, kept in radians; default 0 to
   *  360. */
  void SetAzimuthRange(double min, double max);
  void GetAzimuthRange(double* min, double* max) const;
  /** Range of the deflection of the start direction from +z, given in degrees, kept in radians;
   *  default 0 to 180. */
  void SetDeflectionRange(double min, double max);
  void GetDeflectionRange(double* min, double* max) const;

  // What the exact rules alone know.

  /** About what the angles count, a unit vector, default +z. */
  void SetDirection(const trelVector& direction) { Direction = Normalized(direction); }
  const trelVector& GetDirection() const { return Direction; }
  /** Start points of a solid disc lie by exp(-2 r^2 / ProfileWidth^2) and not evenly; mm, above 0;
   *  default 0, evenly. */
  trelSetGetMacro(double, ProfileWidth)

  /** How a viewer draws it; never null. */
  trelObjectDisplay* GetDisplay() const { return Display; }

  /**
   * Starts a packet: resets @p photon, samples direction and start position, and sets weight and
   * wavelength from @p spectrum. False when the source cannot give a direction or a position; the
   * packet is then not to be traced.
   */
  bool LaunchPhoton(trelLaunchContext* monteCarlo, trelPhoton* photon,
                    trelSpectrum* spectrum) const;

  /**
   * A direction within the ranges: planar shapes draw the azimuth, solids the azimuth and then the
   * deflection. The deflection is uniform in the angle and not in its cosine, so that the poles get
   * more than an isotropic source would send there. False for a shape that cannot be a source.
   */
  bool SampleDirection(trelLaunchContext* monteCarlo, trelPhoton* photon) const;

  /** A position by the kind of light, Internal and Solid; emission sources are never launched. */
  bool SampleStartPosition(trelLaunchContext* monteCarlo, trelPhoton* photon) const;

  /** A point of the shape, see trelShapeObject::SampleVolume. */
  bool SampleVolume(trelLaunchContext* monteCarlo, trelPhoton* photon) const;

  /** A point on the surface of the shape, see trelShapeObject::SampleSurface. */
  bool SampleSurface(trelLaunchContext* monteCarlo, trelPhoton* photon) const;

  /**
   * Puts a packet of a source outside of the medium on the medium's skin: a point of the source is
   * moved along the packet's direction to where it meets the outermost shape, and the packet is in
   * the outermost tissue. False when it does not meet it within a whole width of the medium.
   */
  bool SampleExternalEntry(trelLaunchContext* monteCarlo, trelPhoton* photon) const;

  /** Weight, wavelength and wavelength index from the spectrum. */
  void InitializePhoton(trelLaunchContext* monteCarlo, trelPhoton* photon,
                        trelSpectrum* spectrum) const;

private:
  trelShapeObject* Shape = nullptr;
  trelList* Spectra;
  std::uint64_t PhotonTotal = 0;
  trelObjectDisplay* Display;
  bool Internal = true;
  bool Solid = true;
  bool Launchable = true;
  bool Specular = false;
  enum LuminousType LuminousType = LuminousBioluminescence;
  double AzimuthMin = 0.0;
  double AzimuthMax = 2.0 * Pi;
  double DeflectionMin = 0.0;
  double DeflectionMax = Pi;
  trelVector Direction = {0.0, 0.0, 1.0};
  double ProfileWidth = 0.0;
};

#endif
