#include "trelReadState.h"

void trelReadState::Begin()
{
  SpectrumNum = LightSourceNum = TissueNum = DetectorNum = 0;
  WavelengthList.clear();
  ReaderErrorText.clear();
}
