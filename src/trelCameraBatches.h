#ifndef trelCameraBatches_h
#define trelCameraBatches_h

#include <cstdint>
#include <vector>

#include "trelGridTable.h"

class trelSimulationResult;
class trelStateArchive;

/** A cell of the surface that a camera sees. */
struct trelSeenCell
{
  trelGridId Grid;
  std::size_t Cell;
  double Weight;  ///< 1/sr: what a unit of weight that leaves there adds to the camera's total
};

/** All that a camera sees, which is the number of a detector from 0. */
struct trelCameraCells
{
  int Detector;
  std::vector<trelSeenCell> Cells;
};

/**
 * @class   trelCameraBatches
 * @brief   the totals of cameras batch by batch, and their errors
 *
 * The total T of a picture, its mean radiance times the area of the detector, is linear in the
 * weights E that leave through the cells: T = sum of w E with w = n a / (pi A), n the pixels of
 * area a that see a cell of area A. So a batch has its total without a picture of its own, from w,
 * which is found once. Pixels are correlated, as cells are: the error of T does not follow from
 * theirs.
 *
 * A batch is a row of numbers: by wavelength index and camera.
 */
class trelCameraBatches
{
public:
  /** What the state of a run calls the rows. */
  static constexpr const char* StateOfRows = "cameras_by_batch";

  /** No batches, of cameras that see this at each of so many wavelengths. May throw. */
  void Prepare(std::vector<trelCameraCells> cameras, std::size_t spectra);
  void Clear() { *this = {}; }
  /** Takes a batch, whose cells are raw weights. May throw. */
  void Take(const trelSimulationResult& batch);
  /** Passes the rows of @p batches batches, if there are cameras. May throw. */
  void PassState(std::int64_t batches, trelStateArchive& archive);

  /** The totals of a camera in the batches; none if the detector is no camera. May throw. */
  std::vector<double> List(std::size_t spectrum, int detector) const;
  /** The standard error of their mean; NaN unless two batches have something. */
  double FindError(std::size_t spectrum, int detector) const;

private:
  std::vector<trelCameraCells> Cameras;
  std::size_t NumberOfSpectra = 0;
  std::vector<std::vector<double>> Rows;
};

#endif
