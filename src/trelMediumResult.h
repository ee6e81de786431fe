#ifndef trelMediumResult_h
#define trelMediumResult_h

#include <cstdint>

#include "trelAbsorbedTotals.h"
#include "trelFlyTimes.h"
#include "trelGridSet.h"
#include "trelMeshSurface.h"
#include "trelResultGetters.h"
#include "trelSimulationObject.h"
#include "trelTimeTotals.h"

class trelMCTetrahedron;
class trelShapeObject;
class trelSimulationParameter;

/** The domains of a record that are made and finished together: one, or four in the frequency
 *  domain. */
struct trelGridDomains
{
  trelGridDomain First;
  trelGridDomain Last;
};

/**
 * @class   trelMediumResult
 * @brief   what the packets of one spectrum entry leave behind in and on the medium
 *
 * The absorption over the region of interest and the transmittance over the boundary, each in the
 * domains that are on, with totals, counters and the specular reflectance. Which grids exist
 * follows from the table of grids, the outer shape and the coordinate types; every other grid is
 * null, which callers must test for.
 *
 * During a run all threads add to the cells and to the two counters atomically; sizes and pointers
 * do not change. After the run Finalize() turns raw sums of weight into densities in place, once,
 * while the totals keep the raw sums.
 *
 * Each operation that has the name of a domain is a thin entry into code that serves all domains.
 */
class trelMediumResult : public trelSimulationObject
{
  trelTypeMacro(trelMediumResult, trelSimulationObject)

public:
  trelMediumResult() = default;
  ~trelMediumResult() override;

  /**
   * Makes the grids of the domains that are on, as @p parameter wants them. False after a report if
   * memory is short or a coordinate type does not fit the outer shape; what was made stays until
   * ReleaseResults(). May be called again: the grids are rebuilt.
   */
  bool Initialize(const trelSimulationParameter* parameter);
  /** Copies window and flags. False after a report if the copy of a mesh does not fit in memory. */
  bool InitializeRoi(const trelSimulationParameter* parameter);

  /** Frees the grids of the domain and, if they are to be saved, makes them anew. */
  bool InitializeCWAbsorption(const trelSimulationParameter* parameter);
  bool InitializeTDAbsorption(const trelSimulationParameter* parameter);
  bool InitializeFDAbsorption(const trelSimulationParameter* parameter);
  bool InitializeCWTransmittance(const trelSimulationParameter* parameter);
  bool InitializeTDTransmittance(const trelSimulationParameter* parameter);
  bool InitializeFDTransmittance(const trelSimulationParameter* parameter);
  /** Makes the table of fly times, a zeroed row for each packet to be launched, if it is wanted. A
   *  table that exists is zeroed, or kept if none is wanted any more. */
  bool InitializePhotonFlyTimes(const trelSimulationParameter* parameter);
  /** Makes room for the faces of a mesh medium and sets its counts, ahead of the grids; the caller
   *  fills the faces. False after a report if there is not so much memory. */
  bool AllocateMeshFaces(std::int32_t faces, std::int32_t vertices, bool isTetraMesh);

  /** Frees the table of fly times alone. */
  void ReleaseFlyTimes() { PhotonFlyTimes.Release(); }
  /** Frees all grids, the table of fly times and the faces of a mesh. */
  virtual void ReleaseResults();

  /** Sums, measures, fluence if @p fluenceRate, amplitude and phase, in this order. Exactly once.
   *  Under the exact rules measures are the true ones, and grids of fluence hold it already. */
  void Finalize(const trelSimulationParameter* parameter, bool fluenceRate);
  /** Of a record whose cells are standard errors of raw sums: makes them those of the densities, as
   *  Finalize() does under the exact rules. Those of mesh vertices, whose faces are correlated, are
   *  NaN. */
  void FinalizeErrors();
  /** Under the exact rules: puts the raw sums of the grids into totals that are 0. */
  void SumTotals();
  /** Calls @p visit with the first and the number of each array of totals. */
  template <class Visit>
  void VisitTotals(Visit visit)
  {
    visit(Totals, std::size_t{NumberOfTotals});
    TimeTotals.VisitTotals(Window.Time.Count, visit);
  }

  /** The raw sums of the grids of a domain into its totals. */
  void SumCWAbsorption() { Grids[GridCW].Sum(GridAbsorption, Totals); }
  void SumCWTransmittance() { Grids[GridCW].Sum(GridTransmittance, Totals); }
  void SumTDAbsorption() { TimeTotals.Sum(GridAbsorption, Grids[GridTD]); }
  void SumTDTransmittance() { TimeTotals.Sum(GridTransmittance, Grids[GridTD]); }

  /** Cells over their measure; the faces and vertices of a mesh are settled with transmittance. */
  void NormalizeCWAbsorption();
  void NormalizeTDAbsorption();
  void NormalizeFDAbsorption();
  void NormalizeCWTransmittance();
  void NormalizeTDTransmittance();
  void NormalizeFDTransmittance();

  /** Absorbed power density (per mm^2 or mm^3) into fluence rate; see trelFluence. */
  void ConvertToFluence(const trelSimulationParameter* parameter);
  /** Amplitude and phase of all pairs: degrees, -90 to 90, the quadrant is not recovered; under the
   *  exact rules -180 to 180. A lag is positive. */
  void ComputeAmplitudeAndPhase();
  /** The extreme cells of the domains that are on; nothing but a look at them. */
  void ComputeRanges();

  /** The grid @p id of @p domain, null if it does not exist. */
  trelGrid* GetGrid(trelGridDomain domain, trelGridId id) const { return Grids[domain].Get(id); }
  const trelGridSet& GetGrids(trelGridDomain domain) const { return Grids[domain]; }

  /** What is absorbed, under the exact rules if the absorption grids take fluence; else empty. */
  const trelAbsorbedTotals& GetAbsorbedTotals() const { return AbsorbedTotals; }

  /** The bins, the time gates and the shape that the grids belong to. */
  const trelGridWindow& GetWindow() const { return Window; }
  /** Number of time bins; 0 unless the time domain is on. */
  std::int32_t GetCountTD() const { return Window.Time.Count; }
  /** Half-lengths of the outer shape, mm. */
  double GetHalfAxisX() const { return Window.HalfAxis[0]; }
  double GetHalfAxisY() const { return Window.HalfAxis[1]; }
  double GetHalfAxisZ() const { return Window.HalfAxis[2]; }

  /** The faces of a mesh medium; counts of 0 and null for other shapes. */
  std::int32_t GetCountMeshFace() const { return Mesh.GetCountMeshFace(); }
  std::int32_t GetCountMeshVertex() const { return Mesh.GetCountMeshVertex(); }
  bool GetIsTetraMesh() const { return Mesh.GetIsTetraMesh(); }
  trelMeshFace* GetMeshFaces() const { return Mesh.GetMeshFaces(); }
  std::uint8_t* GetMeshFaceOnBoundary() const { return Mesh.GetMeshFaceOnBoundary(); }

  /** Copies of the parameter's flags; before Initialize() no domain and both outputs. */
  bool GetDomainCW() const { return DomainCW; }
  bool GetDomainTD() const { return DomainTD; }
  bool GetDomainFD() const { return DomainFD; }
  bool GetAbsorptionOutput() const { return AbsorptionOutput; }
  bool GetTransmittanceOutput() const { return TransmittanceOutput; }

  /** The raw sums of the continuous-wave domain: weight in units of the sources' energy. */
  double GetTotal(trelGridTotal total) const { return Totals[total]; }
  double GetTotalAbsorption2D() const { return Totals[TotalOfAbsorption2D]; }
  double GetTotalAbsorption3D() const { return Totals[TotalOfAbsorption3D]; }
  double GetTotalTransmittance2D() const { return Totals[TotalOfTransmittance2D]; }
  double GetTotalTransmittance3D() const { return Totals[TotalOfTransmittance3D]; }

  /** The raw sums of the time domain: arrays of a sum for each bin, null if not allocated, and
   * scalars over all bins. */
  const trelTimeTotals& GetTimeTotals() const { return TimeTotals; }
  double* GetTDAbsorption2D() const { return TimeTotals.GetTotals(TotalOfAbsorption2D); }
  double* GetTDAbsorption3D() const { return TimeTotals.GetTotals(TotalOfAbsorption3D); }
  double* GetTDTransmittance2D() const { return TimeTotals.GetTotals(TotalOfTransmittance2D); }
  double* GetTDTransmittance3D() const { return TimeTotals.GetTotals(TotalOfTransmittance3D); }
  double GetTotalTDAbsorption2D() const { return TimeTotals.GetSum(TotalOfAbsorption2D); }
  double GetTotalTDAbsorption3D() const { return TimeTotals.GetSum(TotalOfAbsorption3D); }
  double GetTotalTDTransmittance2D() const { return TimeTotals.GetSum(TotalOfTransmittance2D); }
  double GetTotalTDTransmittance3D() const { return TimeTotals.GetSum(TotalOfTransmittance3D); }

  /** The extreme cells of a domain after ComputeRanges(). */
  const trelGridRange& GetRange(trelGridDomain domain, trelGridKind kind) const
  {
    return Ranges[domain][kind];
  }

  /** Packets of this spectrum; sizes the table of fly times. Default 0. */
  void SetPhotonNumber(std::int64_t number) { PhotonNumber = number; }
  std::int64_t GetPhotonNumber() const { return PhotonNumber; }
  /** The wavelength of the spectrum entry. Default 0. */
  void SetSpectrumId(std::int32_t id) { SpectrumId = id; }
  std::int32_t GetSpectrumId() const { return SpectrumId; }
  /** Specular reflectance of the surface of the medium, summed over the sources. Default 0. */
  void SetSpecularReflectance(double reflectance) { SpecularReflectance = reflectance; }
  double GetSpecularReflectance() const { return SpecularReflectance; }

  /** Packets that left the medium, and packets that lost the roulette. */
  std::int64_t GetTransmitPhotonNum() const { return TransmitPhotonNum; }
  std::int64_t GetAbsorpPhotonNum() const { return AbsorpPhotonNum; }
  /** Counts a packet that left. Returns how many left before it, which no other packet gets. */
  std::int64_t IncrementTransmitPhotonNum();
  void IncrementAbsorpPhotonNum();
  /** Sets both where they are counted elsewhere. */
  void SetPacketNumbers(std::int64_t left, std::int64_t lost)
  {
    TransmitPhotonNum = left;
    AbsorpPhotonNum = lost;
  }

  /** The table of fly times, null if there is none, and its length. */
  trelFlyTimeRow* GetPhotonFlyTimes() const { return PhotonFlyTimes.GetRows(); }
  std::int64_t GetNumberOfFlyTimes() const { return PhotonFlyTimes.GetNumberOfRows(); }
  /** Stores a packet that leaves in row @p row, its number among those that left: each packet has
   *  a row of its own. Nothing happens without a table or behind its end. */
  void RecordFlyTime(std::int64_t row, const trelVector& position, double time)
  {
    PhotonFlyTimes.Record(row, position, time);
  }

private:
  bool InitializeGrids(const trelSimulationParameter& parameter, trelGridKind kind,
                       trelGridDomains domains);
  bool AllocateGrids(const trelGridUses& uses, trelGridKind kind, trelGridDomains domains);
  bool AllocateTimeTotals(trelGridKind kind);
  void ReleaseGrids(trelGridKind kind, trelGridDomains domains);
  void CopySaveFlags(const trelSimulationParameter& parameter);
  void TakeElements(const trelSimulationParameter& parameter);
  bool CopyMesh(const trelShapeObject& shape);
  void Normalize(trelGridKind kind, trelGridDomains domains);
  void FinalizeExactly();
  void SumSteadyTotals();
  void SumTotalsByGate();
  void DivideExactly();

  std::int64_t PhotonNumber = 0;
  std::int64_t TransmitPhotonNum = 0;
  std::int64_t AbsorpPhotonNum = 0;
  std::int32_t SpectrumId = 0;
  bool DomainCW = false;
  bool DomainTD = false;
  bool DomainFD = false;
  bool AbsorptionOutput = true;
  bool TransmittanceOutput = true;
  /** By trelSaveFlag; the entry behind the flags is SaveAlways. */
  bool Save[NumberOfSaveFlags + 1] = {};
  double SpecularReflectance = 0.0;

  trelGridWindow Window;
  trelMeshSurface Mesh;
  trelMCTetrahedron* Tetrahedra = nullptr;  ///< whose elements have cells; null if they have none
  trelGridSet Grids[NumberOfGridDomains] = {GridCW,     GridTD,    GridFDReal,
                                            GridFDImag, GridFDAmp, GridFDPha};
  trelRules Rules = RulesClassic;
  bool ScoresFluence = false;  ///< exact rules, and fluence is wanted
  trelAbsorbedTotals AbsorbedTotals;
  double Totals[NumberOfTotals] = {};
  trelTimeTotals TimeTotals;
  trelGridRange Ranges[NumberOfGridDomains][NumberOfGridKinds];
  trelFlyTimes PhotonFlyTimes;

public:
  /**
   * By name: GetAbsorptionXYZ, GetTDAbsorptionXYZ, GetFDAbsorptionXYZReal, ...Imag, ...Amp, ...Pha
   * for every grid, null if it does not exist; GetRoiXMin, GetRoiXMax, GetSeparationX, GetCountX
   * for every axis; GetTransmittanceTopTotal and, an array by time bin, GetTDTransmittanceTopTotal
   * for every surface; GetSaveTop for every face, whether the region of interest reaches it.
   */
  TREL_MEDIUM_RESULT_GETTERS
};

inline std::int64_t trelMediumResult::IncrementTransmitPhotonNum()
{
  std::int64_t before = 0;
#pragma omp atomic capture
  before = TransmitPhotonNum++;
  return before;
}

inline void trelMediumResult::IncrementAbsorpPhotonNum()
{
#pragma omp atomic
  ++AbsorpPhotonNum;
}

#endif
