#ifndef trelDataObject_h
#define trelDataObject_h

#include "trelObject.h"

/**
 * @class   trelDataObject
 * @brief   what passes between stages: a mesh, the parsed model, a result
 */
class trelDataObject : public trelObject
{
  trelTypeMacro(trelDataObject, trelObject)

public:
  ~trelDataObject() override;

  /** Lets go of all the data held. */
  virtual void ClearModel() {}
  /** A code for the kind of data; 7 unless a mesh class says otherwise. */
  virtual int GetDataType() const { return 7; }
  /** Memory in use; 0 but for a triangle mesh. */
  virtual unsigned long GetActualMemorySize() const { return 0; }
  virtual void ShallowCopy(trelDataObject* /*source*/) {}
  virtual void DeepCopy(trelDataObject* /*source*/) {}
};

#endif
