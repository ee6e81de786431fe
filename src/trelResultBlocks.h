#ifndef trelResultBlocks_h
#define trelResultBlocks_h

#include <vector>

#include "trelResultLabels.h"

class trelDetectorResult;
class trelGridSet;
class trelMediumResult;
class trelResultFile;

/**
 * @file trelResultBlocks.h
 * The blocks that the result files are made of: counts, cells, meshes, detectors, fly times. Time
 * bins are 0 out of the time domain.
 */

/** The grids of @p kind that a file shows of @p result, but for those of a mesh. */
std::vector<trelGridId> FindShownGrids(const trelMediumResult& result, trelGridKind kind,
                                       const trelShownDomains& shown);

/** The line of the counts of a grid, which begins with @p literal. */
void PrintCounts(trelResultFile& file, const trelGridWindow& window, trelGridId grid,
                 const std::string& literal);
/** The same with the names of the counts. */
void PrintCounts(trelResultFile& file, const trelMediumResult& result, trelGridId grid);

/** The cells of one time bin of the indices @p first to @p last of the first axis: a list, or rows
 *  along the last axis. */
void PrintCells(trelResultFile& file, const trelGridSet& grids, trelGridId grid, std::int32_t bin,
                std::int32_t first, std::int32_t last);
/** The label and the cells of one time bin of all that is shown of a grid. */
void PrintGrid(trelResultFile& file, const trelMediumResult& result, trelGridId grid,
               const trelShownDomains& shown, std::int32_t bin);

/** Whether a file shows the vertices and faces of a mesh of @p result. */
bool HasMesh(const trelMediumResult& result, const trelShownDomains& shown);
/** One time bin of all that is shown of vertices and faces. */
void PrintMesh(trelResultFile& file, const trelMediumResult& result, const trelShownDomains& shown,
               std::int32_t bin);

/** A detector; @p number counts from 1, @p dimension is a SimulationDimension. */
void PrintPlaneDetector(trelResultFile& file, const trelDetectorResult& result,
                        std::int32_t number);
void PrintFiberDetector(trelResultFile& file, const trelDetectorResult& result, std::int32_t number,
                        std::int32_t dimension);

/** A fibre detector in the time and the frequency domain. */
void PrintFiberDetectorTD(trelResultFile& file, const trelDetectorResult& result,
                          std::int32_t number);
void PrintFiberDetectorFD(trelResultFile& file, const trelDetectorResult& result,
                          std::int32_t number);

/** The table of fly times, if there is one. */
void PrintFlyTimes(trelResultFile& file, const trelMediumResult& result);

#endif
