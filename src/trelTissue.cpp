#include "trelTissue.h"

#include "trelList.h"
#include "trelObjectDisplay.h"
#include "trelOpticalParameter.h"
#include "trelShapeObject.h"

static const trelDisplayGroup tissueGroups[trelObjectDisplay::NumberOfGroups] = {
    {1.0f, 1.0f, 1.0f, 0.5f, true, false},
    {1.0f, 1.0f, 1.0f, 0.1f, true, true},
    {1.0f, 1.0f, 1.0f, 0.1f, true, true},
    {1.0f, 1.0f, 1.0f, 0.2f, false, false}};

trelTissue::trelTissue()
    : OpticalParameters(new trelList), Display(new trelObjectDisplay(tissueGroups))
{
  Display->Register();
}

trelTissue::~trelTissue()
{
  trelTissue::ClearModel();
}

void trelTissue::ClearModel()
{
  ReleaseReference(Shape);
  ReleaseList<trelOpticalParameter>(OpticalParameters, &trelObject::UnRegister);
  ReleaseReference(Display);
}

void trelTissue::SetShape(trelShapeObject* shape)
{
  ReplaceReference(Shape, shape);
}

void trelTissue::SetOpticalParameters(trelList* parameters)
{
  if (parameters == OpticalParameters) return;
  ReleaseList<trelOpticalParameter>(OpticalParameters, &trelObject::UnRegister);
  OpticalParameters = parameters;
}

trelOpticalParameter* trelTissue::GetOpticalParameter(int i) const
{
  return OpticalParameters ? OpticalParameters->GetItem<trelOpticalParameter>(i) : nullptr;
}

trelOpticalParameter* trelTissue::GetOpticalParameterByWavelength(std::uint32_t wavelength) const
{
  trelOpticalParameter* last = nullptr;
  if (!OpticalParameters) return last;
  OpticalParameters->InitTraversal();
  while (void* item = OpticalParameters->GetNextItem()) {
    last = static_cast<trelOpticalParameter*>(item);
    if (last->GetWavelength() == wavelength) break;
  }
  return last;
}
