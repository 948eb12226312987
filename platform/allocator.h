// tarn::Allocator: hands out object ids from [first, last], lowest free
// first. Not persistent: owners mark the ids they load with allocate(id).
#ifndef PLATFORM_ALLOCATOR_H
#define PLATFORM_ALLOCATOR_H

#include <set>

namespace tarn {

class Allocator {
 public:
  static constexpr unsigned kNone = 0xFFFFFFFFu;

  Allocator(unsigned first, unsigned last) : first_(first), last_(last) {}

  // The lowest free id in range, now used; kNone when the range is full.
  unsigned allocate();
  // Marks id used (whether or not it was) and returns it.
  unsigned allocate(unsigned id);
  // Makes id free again; unknown ids are ignored.
  void free(unsigned id);
  bool used(unsigned id) const { return used_.count(id) != 0; }

 private:
  unsigned first_;
  unsigned last_;
  std::set<unsigned> used_;
};

}  // namespace tarn

#endif  // PLATFORM_ALLOCATOR_H
