#ifndef trelPacketLanes_h
#define trelPacketLanes_h

#include <cstdint>

#include "trelExactEvents.h"
#include "trelExactPacket.h"
#include "trelPacketSupplier.h"

/** As many packets as fly side by side at most. */
constexpr int MaximumLanes = 8;

/** What plain steps read and write of the packets, an array of each quantity. */
struct alignas(64) trelLaneState
{
  double X[MaximumLanes], Y[MaximumLanes], Z[MaximumLanes];     ///< position, mm
  double UX[MaximumLanes], UY[MaximumLanes], UZ[MaximumLanes];  ///< direction
  double Weight[MaximumLanes];
  double SourceWeight[MaximumLanes];
  double FlyTime[MaximumLanes];  ///< ps
  double Depth[MaximumLanes];    ///< optical depth to the next interaction; infinite without one
  double Clear[MaximumLanes];    ///< trelExactPacket::Clear
  double Steps[MaximumLanes];    ///< plain steps since the packet was last stored
  double MostSteps[MaximumLanes];
  // Of the tissue, and of the dyes there.
  double Interaction[MaximumLanes];
  double Scattering[MaximumLanes];
  double Anisotropy[MaximumLanes];
  double RefractiveIndex[MaximumLanes];
  std::uint64_t Stream[4][MaximumLanes];  ///< words of the state of each stream
  // The cells that the packet scores in: of the continuous wave, of the first gate, of real and
  // imaginary part, and, where cells take fluence, of what is absorbed in all.
  double* Absorption[MaximumLanes];
  double* Gates[MaximumLanes];
  double* Real[MaximumLanes];
  double* Imaginary[MaximumLanes];
  double* Totals[MaximumLanes];
  double* TotalsOfGates[MaximumLanes];
};

/** How plain steps find the cell of an interaction. */
struct trelLaneGrid
{
  enum Form
  {
    Nothing,  ///< is scored
    Boxes,    ///< x, y, z
    Rings,    ///< r, z
    Sectors,  ///< r, z, azimuth
    Others    ///< asked one by one, as are the edges of those before
  };
  Form Cells = Nothing;
  trelGridBins Bins[3];  ///< in the order of the form
  double Center[2] = {0.0, 0.0};
};

/**
 * @class   trelPacketLanes
 * @brief   several packets of a thread that fly side by side, one in each lane of vector registers
 *
 * A step is plain or it is an event. A plain step meets no surface and ends in an interaction after
 * which the packet goes on: all lanes take it together (trelLaneKernel). A lane whose packet has an
 * event, or starts, or ends, keeps its state; its packet is served alone by the functions of
 * trelExactEvents.h, and flies on beside the others. Each packet has a stream of its own and all
 * operations round alike, so that its path is, bit for bit, the same in any number of lanes and in
 * the loop of trelExactSteps.h, whose steps these are.
 *
 * Not for packets that someone looks at, and not for absorption by tetrahedron.
 */
class trelPacketLanes
{
public:
  trelPacketLanes(const trelExactModel& model, trelExactTally& tally, trelPacketSupplier& supplier);

  /** Whether packets may fly in lanes at all. */
  static bool CanFly(const trelExactModel& model, const trelExactTally& tally);
  // What the steps of all lanes ask for a packet alone.

  /** Starts @p lanes packets. @p steps are those who ask: what they hold stays in memory. */
  void Begin(int lanes, const void* steps);
  /** The lanes with a packet, a bit each. */
  unsigned GetActive() const { return Active; }
  /** Looks at the way of @p length, mm, of which the cell does not tell that it is clear. True if
   *  it is and ends in an interaction without more: then the step is plain. Else what it meets has
   *  been done. */
  bool LooksClear(int lane, double length);
  /** What an interaction leaves of a weak or spent packet; the steps of the lane have counted it.
   */
  void EndOrGoOn(int lane);
  /** Scores an interaction whose cell is not found by plain steps. */
  void Score(int lane, double absorbed, double fluence);
  /** Scores in the time gate, whose number is not found by plain steps: @p value in the cell, and
   * @p absorbed where the cells take fluence. */
  void ScoreInGate(int lane, std::size_t cell, double value, double absorbed);

  trelLaneState State;
  const trelExactModel& Model;
  trelExactTally& Tally;
  trelSafeCells Safe;
  trelConvexBody Convex;
  trelLaneGrid Grid;
  trelGridBins Time;
  std::size_t NumberOfCells = 0;
  bool TakesFluence = false;

private:
  void ResolveGrid();
  void TakeGrid(const trelScoreTable& table);
  void Fill(int lane);
  void Load(int lane);
  void Store(int lane);
  void GoOn(int lane);
  bool IsClearBesideMesh(int lane, double length);
  void SelectRecord(int lane);
  void PointToCells(int lane);

  trelPacketSupplier& Supplier;
  const void* Steps = nullptr;
  unsigned Active = 0;
  trelExactPacket Packets[MaximumLanes];
  trelPacketNumbers Numbers[MaximumLanes];
};

#endif
