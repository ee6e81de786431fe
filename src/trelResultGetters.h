#ifndef trelResultGetters_h
#define trelResultGetters_h

#include "trelGridTable.h"

/**
 * @file trelResultGetters.h
 * The getters by name of the two records that have grids, made of the tables of trelGridTable.h.
 * Each record ends with its list, above which it says what they return. The values are members of
 * the record.
 */

/** A getter of the record, which reads its member @p value. */
#define TREL_GETTER(type, name, value) \
  type name() const                    \
  {                                    \
    return value;                      \
  }

/** The getters of a row of each table: of a grid in all domains, of an axis, of the total of a
 *  surface, of the flag of a face. */
#define TREL_GRID_GETTERS(name, ...)                                   \
  TREL_GETTER(trelGrid*, Get##name, GetGrid(GridCW, name))             \
  TREL_GETTER(trelGrid*, GetTD##name, GetGrid(GridTD, name))           \
  TREL_GETTER(trelGrid*, GetFD##name##Real, GetGrid(GridFDReal, name)) \
  TREL_GETTER(trelGrid*, GetFD##name##Imag, GetGrid(GridFDImag, name)) \
  TREL_GETTER(trelGrid*, GetFD##name##Amp, GetGrid(GridFDAmp, name))   \
  TREL_GETTER(trelGrid*, GetFD##name##Pha, GetGrid(GridFDPha, name))
#define TREL_WINDOW_AXES(AXIS) AXIS(X) AXIS(Y) AXIS(Z) AXIS(R) AXIS(A) AXIS(D)
#define TREL_AXIS_GETTERS(axis)                                                \
  TREL_GETTER(double, GetRoi##axis##Min, Window.Bins[Grid##axis].Minimum)      \
  TREL_GETTER(double, GetRoi##axis##Max, Window.Bins[Grid##axis].Maximum)      \
  TREL_GETTER(double, GetSeparation##axis, Window.Bins[Grid##axis].Separation) \
  TREL_GETTER(std::int32_t, GetCount##axis, Window.Bins[Grid##axis].Count)
#define TREL_TOTAL_GETTERS(name)                                            \
  TREL_GETTER(double, GetTransmittance##name##Total, Totals[TotalOf##name]) \
  TREL_GETTER(double*, GetTDTransmittance##name##Total, TimeTotals.GetTotals(TotalOf##name))
#define TREL_SAVE_GETTER(name) TREL_GETTER(bool, GetSave##name, Save[Save##name])

/** The list of trelMediumResult. */
// clang-format off
#define TREL_MEDIUM_RESULT_GETTERS           \
  TREL_ALL_GRIDS(TREL_GRID_GETTERS)          \
  TREL_WINDOW_AXES(TREL_AXIS_GETTERS)        \
  TREL_SURFACE_TOTALS_2D(TREL_TOTAL_GETTERS) \
  TREL_SURFACE_TOTALS_3D(TREL_TOTAL_GETTERS) \
  TREL_SAVE_FLAGS(TREL_SAVE_GETTER)
// clang-format on

/** The getters of a grid and of a total of a fibre detector, and the endings of its grids. */
#define TREL_FIBER_GRID_GETTER(ending) \
  TREL_GETTER(trelGrid*, GetFiber##ending, GetGrid(Transmittance##ending))
#define TREL_FIBER_TOTAL_GETTER(name) \
  TREL_GETTER(double, GetFiber##name##Total, FiberTotals[TotalOf##name])
#define TREL_FIBER_GRIDS_2D(GRID) GRID(Side) GRID(Up) GRID(Down) GRID(Left) GRID(Right)
#define TREL_FIBER_CURVED_GRIDS(GRID) GRID(SideAZ) GRID(SideDA) GRID(TopRA) GRID(BottomRA)
#define TREL_FIBER_END_GRIDS(GRID) GRID(TopXY) GRID(BottomXY)
#define TREL_FIBER_BOX_GRIDS(GRID) GRID(FrontYZ) GRID(BackYZ) GRID(LeftXZ) GRID(RightXZ)

/** The list of trelDetectorResult. */
#define TREL_DETECTOR_RESULT_GETTERS              \
  TREL_FIBER_GRIDS_2D(TREL_FIBER_GRID_GETTER)     \
  TREL_FIBER_CURVED_GRIDS(TREL_FIBER_GRID_GETTER) \
  TREL_FIBER_END_GRIDS(TREL_FIBER_GRID_GETTER)    \
  TREL_FIBER_BOX_GRIDS(TREL_FIBER_GRID_GETTER)    \
  TREL_SURFACE_TOTALS_2D(TREL_FIBER_TOTAL_GETTER) \
  TREL_OUTLINE_TOTALS(TREL_FIBER_TOTAL_GETTER)    \
  TREL_BOX_TOTALS(TREL_FIBER_TOTAL_GETTER)

#endif
