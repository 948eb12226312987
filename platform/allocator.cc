// Id allocation: walk the used set from first until the first gap.
#include "platform/allocator.h"

namespace tarn {

unsigned Allocator::allocate() {
  unsigned candidate = first_;
  for (auto it = used_.lower_bound(first_); it != used_.end(); ++it) {
    if (*it != candidate) break;
    if (candidate == last_) return kNone;
    ++candidate;
  }
  if (candidate < first_ || candidate > last_) return kNone;
  used_.insert(candidate);
  return candidate;
}

unsigned Allocator::allocate(unsigned id) {
  used_.insert(id);
  return id;
}

void Allocator::free(unsigned id) { used_.erase(id); }

}  // namespace tarn
