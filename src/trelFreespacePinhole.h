#ifndef trelFreespacePinhole_h
#define trelFreespacePinhole_h

#include <array>
#include <vector>

#include "trelCameraBatches.h"
#include "trelFreespaceFilter.h"
#include "trelSurfaceElement.h"

class trelGrid;
class trelPlaneDetector;
class trelShapeObject;
struct trelPinholeView;

/**
 * @class   trelFreespacePinhole
 * @brief   images the surface of the medium on the plane detectors through thin lenses
 *
 * No packets: each pixel, seen through the lens, looks along its chief ray at one point of the
 * surface. With i the image distance, f the focal length, C the centre of the detector and N its
 * normal the lens stands at L = C + i N, and what lies at the object distance o = f i / (i - f)
 * (thin lens) is in focus. The pixel is the patch of the object plane around the point P that it is
 * the image of; its chief ray runs from L through P on to the surface. It takes from the element of
 * the surface there the flux per mm^2 times the Lambert transfer from the element to a patch of
 * unit area at P. The aperture of the lens has no part in it.
 *
 * Under the exact rules a pixel is the radiance of what it sees, flux / pi (1/mm^2/sr), as if all
 * that leaves were Lambertian: the flux is that of the cell of the first point at which the ray
 * from L meets the outermost shape from outside, however far away. All plane detectors are imaged.
 *
 * The surface must have been finished; only the images are written. One ray a pixel, on the calling
 * thread.
 * @sa trelSurfaceElement
 */
class trelFreespacePinhole final : public trelFreespaceFilter
{
  trelTypeMacro(trelFreespacePinhole, trelFreespaceFilter)

public:
  ~trelFreespacePinhole() override;

  /**
   * Fills the images and finishes the records of all detectors. Of n plane detectors the classic
   * rules image those that stand among the first n detectors. False without a report, which is the
   * caller's: if the surface has no continuous-wave transmittance, a detector's normal does not fit
   * its vertical plane, or a stop is requested.
   */
  bool Execute() override;

  /** By the exact rules, of a result that has been initialized, what each camera of @p parameter
   *  sees. One that has no picture sees nothing. Without reports; may throw. */
  static std::vector<trelCameraCells> ListCells(trelSimulationParameter& parameter,
                                                trelSimulationResult& result);

  /** The element of the surface of @p shape at @p hitPoint, which is of @p face. False if it has
   *  none there. A shape without elements leaves @p element as it is. */
  bool GetSurfaceElement(const trelShapeObject* shape, const trelVector& hitPoint, int face,
                         SurfaceElement* element) const;

  /** The flux density, weight per mm^2, of an element for spectrum entry @p spectrumIndex; 0 if its
   *  cell lies outside of the grid or the grid was not saved. */
  double GetSurfaceValue(int spectrumIndex, int face, const SurfaceElement& element) const;

  /**
   * The share of what an element emits per mm^2 that reaches a unit area at @p pixelPoint facing
   * along @p detectorNormal: cos(emission) cos(arrival) area / distance^2, 1/mm^2 times mm^2. It is
   * not divided by pi.
   */
  static double TransferFactor(const trelVector& center, const trelVector& normal, double area,
                               const trelVector& pixelPoint, const trelVector& detectorNormal);

  /**
   * Whether a ray meets the box, by the plane of the box that it can enter through last (A. Woo,
   * "Fast ray-box intersection", Graphics Gems, 1990). @p hitPoint is where; a ray that starts
   * inside hits and leaves it alone.
   */
  static bool RayHitsBox(const trelRay& ray, const trelBox& box, trelVector* hitPoint);

private:
  /** By grid, for each of its cells, how many pixels see it; none of grids that nothing is seen of.
   */
  using PixelCounts = std::array<std::vector<double>, NumberOfGrids>;

  void CollectImages();
  bool ImageDetectors(std::int32_t planes);
  bool ImageDetector(const trelPlaneDetector& detector, int index);
  bool ImagePixels(const trelPinholeView& view, int index);
  bool ImagePixel(const trelPinholeView& view, const trelVector& pixelPoint, int index, int row,
                  int column);
  bool FindSurface(const trelRay& ray, trelHit* hit) const;
  bool IsInMedium(const trelVector& point) const;
  bool ImagePixelExactly(const trelRay& ray, int index, int row, int column);
  bool FindSeenCell(int face, const trelVector& point, trelSeenCell* seen) const;
  std::vector<trelSeenCell> WeighCells(const trelPlaneDetector& detector,
                                       const PixelCounts& pixels) const;
  void CountPixel(std::int64_t pixels);

  std::vector<std::vector<trelGrid*>> Images;  ///< by spectrum and detector, for this run
  PixelCounts* Counts = nullptr;               ///< where pixels are counted, in place of images
  std::int64_t PixelsDone = 0;                 ///< of this run, over all detectors
};

#endif
