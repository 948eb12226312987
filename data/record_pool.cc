// RecordPool: slots cut from large blocks, a free list, and the blocks
// given back when the last slot is.
#include "data/record_pool.h"

#include <stdlib.h>
#include <sys/mman.h>

#include "codec/diag.h"

void* bulkAllocate(size_t bytes) {
  // Straight from the system: freed, the pages go back at once, whatever
  // else the heap holds around them.
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) {
    diag::err("out of memory");
    abort();
  }
  return p;
}

void bulkRelease(void* block, size_t bytes) { munmap(block, bytes); }

RecordPool::RecordPool(size_t slotSize)
    : slotSize_((slotSize + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*)) {}

RecordPool::~RecordPool() {
  for (void* b : blocks_) bulkRelease(b, kBlockBytes);
}

void* RecordPool::allocate() {
  ++live_;
  if (freeList_ != nullptr) {
    void* slot = freeList_;
    freeList_ = *static_cast<void**>(slot);
    return slot;
  }
  if (unused_ == 0) {
    blocks_.push_back(bulkAllocate(kBlockBytes));
    unused_ = kBlockBytes / slotSize_;
  }
  // Slots are handed out in order, so a block's pages are touched only as
  // they are needed.
  char* block = static_cast<char*>(blocks_.back());
  return block + (kBlockBytes / slotSize_ - unused_--) * slotSize_;
}

void RecordPool::release(void* slot) {
  if (--live_ == 0) {
    for (void* b : blocks_) bulkRelease(b, kBlockBytes);
    std::vector<void*>().swap(blocks_);
    freeList_ = nullptr;
    unused_ = 0;
    return;
  }
  *static_cast<void**>(slot) = freeList_;
  freeList_ = slot;
}

void RecordList::push_back(Data* d) {
  if (size_ == blocks_.size() * kPerBlock) {
    blocks_.push_back(static_cast<Data**>(bulkAllocate(kBlockBytes)));
  }
  blocks_[size_ / kPerBlock][size_ % kPerBlock] = d;
  ++size_;
}

void RecordList::clear() {
  for (Data** b : blocks_) bulkRelease(b, kBlockBytes);
  std::vector<Data**>().swap(blocks_);
  size_ = 0;
}
