#ifndef trelTransportModel_h
#define trelTransportModel_h

#include <cstdint>
#include <vector>

#include "trelModelTypes.h"
#include "trelPacket.h"
#include "trelPhysicsConstants.h"
#include "trelShapeObject.h"

class trelMCTetrahedron;
class trelMedium;
class trelSimulationParameter;

/** Optical coefficients of one tissue at one spectrum, as the packet loop reads them. */
struct trelCoefficients
{
  double Absorption;       ///< mua, 1/mm
  double Scattering;       ///< mus, 1/mm
  double Interaction;      ///< mua + mus, 1/mm
  double Anisotropy;       ///< g
  double RefractiveIndex;  ///< n

  /** Such tissue absorbs nothing and, in space, scatters nothing. */
  bool IsNonInteracting() const { return Interaction <= ClearInteraction; }
};

/**
 * What the packet loop reads of the model, copied once before the run, so that no packet asks an
 * accessor or walks a list. Constant while packets travel.
 */
struct trelTransportModel
{
  /** Copies everything; the geometry must have been prepared. */
  void Resolve(trelSimulationParameter& parameter);

  /** Both indices from 0, not checked. */
  const trelCoefficients& GetCoefficients(std::int32_t tissue, std::int32_t spectrum) const
  {
    return Coefficients[static_cast<std::size_t>(tissue) * NumberOfSpectra + spectrum];
  }
  /** Puts the packet into @p tissue, which there is, with the coefficients at its wavelength. */
  void PlaceIn(std::int32_t tissue, trelPacket& packet) const
  {
    packet.TissueIndex = tissue;
    packet.Here = &GetCoefficients(tissue, packet.WavelengthIndex);
  }
  /** Whether @p tissue is one; a region of a mesh may have none, and counts as outside then. */
  bool IsTissue(std::int32_t tissue) const { return tissue >= 0 && tissue < NumberOfTissues; }

  trelMedium* CachedMedium = nullptr;          ///< answers in which tissue a point lies
  std::vector<trelCoefficients> Coefficients;  ///< by tissue and spectrum, the spectrum innermost
  std::vector<const trelShapeObject*> TissueShapes;  ///< by tissue; null for one without a shape
  std::vector<const trelShapeObject*> FiberShapes;   ///< by detector; null for the other detectors
  bool HasFiberDetectors = false;                    ///< whether steps look for one on their way
  std::int32_t NumberOfSpectra = 0;                  ///< of each tissue in Coefficients
  std::int32_t NumberOfTissues = 0;  ///< in a tetrahedral medium only those that have a region
  std::int32_t OutermostTissue = 0;  ///< from 0; not used in a tetrahedral medium
  bool ShapeIsTetrahedron = false;   ///< the medium is the mesh Tetrahedron
  const trelMCTetrahedron* Tetrahedron = nullptr;  ///< null in a medium of shapes
  SimulationDimension Dimension = DimensionUnset;  ///< decides how packets scatter
  ShapeType MediumShapeType = ShapeCube;           ///< of what bounds the medium
  /** The domains that are on. */
  bool DomainCW = false;
  bool DomainTD = false;
  bool DomainFD = false;
  bool OnlyCW = false;  ///< the continuous-wave domain and no other
  /** What is scored. */
  bool SaveAbsorption = false;
  bool SaveTransmittance = false;
  bool SavePhotonFlyTime = false;
  double Frequency = 0.0;               ///< of the modulation, MHz
  double AmbientRefractiveIndex = 1.0;  ///< around the medium
  std::int32_t StepNumberMax = 0;       ///< a packet ends when it has done more steps
  double FlyTimeMax = 0.0;              ///< ps; a packet ends when it has flown longer

private:
  void CopySettings(const trelSimulationParameter& parameter);
  void CopyTissues();
  void CopyFiberShapes(trelSimulationParameter& parameter);
};

#endif
