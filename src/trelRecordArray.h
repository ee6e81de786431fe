#ifndef trelRecordArray_h
#define trelRecordArray_h

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

/**
 * @class   trelRecordArray
 * @brief   records of Width numbers side by side, with a count and a capacity
 *
 * It never throws: an allocation that fails leaves records and count as they were. Records that
 * nobody wrote are zero.
 */
template <class Number, int Width>
class trelRecordArray
{
public:
  /** The numbers of all records; null while there are none. */
  const Number* GetData() const { return Numbers.get(); }
  Number* GetData() { return Numbers.get(); }
  const Number* GetRecord(std::int32_t i) const { return Numbers.get() + PlaceOf(i); }
  Number* GetRecord(std::int32_t i) { return Numbers.get() + PlaceOf(i); }
  std::int32_t GetCount() const { return Count; }

  /** Frees all records. */
  void Clear()
  {
    Numbers.reset();
    Count = Capacity = Allocated = 0;
  }

  /** Makes room for exactly @p count records, keeping the head of the old ones; false if that
   * fails. An unchanged count keeps the array. */
  bool SetCount(std::int32_t count)
  {
    if (count == Count) return true;
    if (count < 0 || !Allocate(count)) return false;
    Count = Capacity = count;
    return true;
  }

  /** Adds a record. A full array first grows by GrowthStep; if that fails, the raised capacity
   * stays and the next call tries again. */
  bool Append(const Number* record)
  {
    if (Count == Capacity) {
      if (Capacity > INT32_MAX - GrowthStep) return false;
      Capacity += GrowthStep;
    }
    if (Count == Allocated && !Allocate(Capacity)) return false;
    std::copy_n(record, Width, GetRecord(Count));
    ++Count;
    return true;
  }

private:
  /** By how many records a full array grows: meshes are large, and appends are many. */
  static constexpr std::int32_t GrowthStep = 100000;

  static std::size_t PlaceOf(std::int32_t i) { return static_cast<std::size_t>(i) * Width; }

  bool Allocate(std::int32_t records)
  {
    const std::size_t size = static_cast<std::size_t>(records) * Width;
    std::unique_ptr<Number[]> next(new (std::nothrow) Number[size]());
    if (!next) return false;
    std::copy_n(Numbers.get(), static_cast<std::size_t>(std::min(Count, records)) * Width,
                next.get());
    Numbers = std::move(next);
    Allocated = records;
    return true;
  }

  std::unique_ptr<Number[]> Numbers;
  std::int32_t Count = 0;
  std::int32_t Capacity = 0;
  std::int32_t Allocated = 0;
};

#endif
