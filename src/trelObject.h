#ifndef trelObject_h
#define trelObject_h

#include <cstdint>
#include <iosfwd>

#include "trelObjectMacros.h"

class trelList;

/** The program's name and version; not printed by any path. */
extern const char* const trelLongName;
extern const char* const trelVersion;

/**
 * @class   trelObject
 * @brief   the root of the class tree: name, type test, debug switch, reference count, dependents
 *
 * A new object has a reference count of 0 and belongs to nobody. A holder calls Register() and,
 * when it lets go, UnRegister(); a creator that never registered calls Delete(), which spares an
 * object that somebody else holds. Counts are not atomic: objects are made, handed over and
 * released on the main thread only.
 */
class trelObject
{
public:
  trelObject() = default;
  virtual ~trelObject();
  trelObject(const trelObject&) = delete;
  trelObject& operator=(const trelObject&) = delete;

  /** The class's own name, for example "trelCube". */
  virtual const char* GetClassName() const { return "trelObject"; }

  /** True if @p name is the name of the object's class or of one of its bases. */
  virtual bool IsA(const char* name) const;

  /** Switches the destructors' debug reports on and off. */
  virtual void DebugOn() { Debug = 1; }
  virtual void DebugOff() { Debug = 0; }
  std::int32_t GetDebug() const { return Debug; }

  /** Writes the object's state, a line a field. */
  virtual void PrintSelf(std::ostream& stream) const;

  /** Takes hold of the object; UnRegister() lets go and destroys it if the count falls below 1. */
  void Register() { ++ReferenceCount; }
  void UnRegister();
  /** Destroys the object if nobody holds it; else does nothing. */
  void Delete();
  std::int32_t GetReferenceCount() const { return ReferenceCount; }

  /** Registers @p dependent, a stage whose Execute() NotifyDependents() then calls. */
  void AddDependent(trelObject* dependent);
  /** Tells all dependents that something happened, progress for instance. */
  void NotifyDependents();
  void ReleaseDependents();
  bool HasDependents() const { return Dependents != nullptr; }

protected:
  /** What the object does when one that it depends on notifies it. */
  virtual void OnNotify() {}

private:
  std::int32_t Debug = 0;
  std::int32_t ReferenceCount = 0;
  trelList* Dependents = nullptr;
};

/**
 * Puts @p next in the place of the held pointer @p held: a null or unchanged argument is ignored,
 * the old object is let go, the new one registered. All setters that keep a reference use it.
 */
template <class Object>
void ReplaceReference(Object*& held, Object* next)
{
  if (!next || next == held) return;
  if (held) held->UnRegister();
  held = next;
  held->Register();
}

/** Lets go of the held pointer @p held, if any, and sets it to null. */
template <class Object>
void ReleaseReference(Object*& held)
{
  if (held) held->UnRegister();
  held = nullptr;
}

#endif
