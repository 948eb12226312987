// Memory for records and rows made by the hundred thousand.
//
// A table of a million routes is a million small records, each a heap
// block with its own 16-byte header, spread among everything else the
// process allocates; when the filling is dropped the freed blocks leave
// holes that the heap keeps. bulkAllocate() takes large blocks straight
// from the system, so that releasing them returns every page, and a
// RecordPool cuts such blocks into equal slots without headers.
//
// A record class opts in by deriving from PooledRecord<Itself> besides
// Data: `new` and `delete` of that class then go through one pool per
// class. The pool gives its blocks back when its last record is deleted,
// which happens when the filling that made them is dropped.
//
// Single-threaded, like the rest of the agent. Out of memory aborts, as
// `new` does.
#ifndef DATA_RECORD_POOL_H
#define DATA_RECORD_POOL_H

#include <stddef.h>

#include <vector>

class Data;

// `bytes` of zeroed memory from the system, never null.
void* bulkAllocate(size_t bytes);
// Gives back a block of bulkAllocate(bytes).
void bulkRelease(void* block, size_t bytes);

class RecordPool {
 public:
  // Slots of `slotSize` bytes (rounded up to pointer alignment).
  explicit RecordPool(size_t slotSize);
  ~RecordPool();
  RecordPool(const RecordPool&) = delete;
  RecordPool& operator=(const RecordPool&) = delete;

  void* allocate();
  // Takes back a slot of allocate(); the last one out frees every block.
  void release(void* slot);
  size_t live() const { return live_; }

 private:
  static constexpr size_t kBlockBytes = 256 * 1024;

  size_t slotSize_;
  std::vector<void*> blocks_;
  void* freeList_ = nullptr;  // released slots, linked through themselves
  size_t unused_ = 0;         // slots of the newest block never handed out
  size_t live_ = 0;
};

// A list of record pointers in blocks from bulkAllocate(): appending never
// copies, and clear() returns every page. Iteration is in append order.
class RecordList {
 public:
  RecordList() = default;
  ~RecordList() { clear(); }
  RecordList(const RecordList&) = delete;
  RecordList& operator=(const RecordList&) = delete;

  void push_back(Data* d);
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  Data* operator[](size_t i) const { return blocks_[i / kPerBlock][i % kPerBlock]; }
  void clear();

  class const_iterator {
   public:
    const_iterator(const RecordList* list, size_t i) : list_(list), i_(i) {}
    Data* operator*() const { return (*list_)[i_]; }
    const_iterator& operator++() {
      ++i_;
      return *this;
    }
    bool operator!=(const const_iterator& o) const { return i_ != o.i_; }

   private:
    const RecordList* list_;
    size_t i_;
  };
  const_iterator begin() const { return const_iterator(this, 0); }
  const_iterator end() const { return const_iterator(this, size_); }

 private:
  static constexpr size_t kBlockBytes = 64 * 1024;
  static constexpr size_t kPerBlock = kBlockBytes / sizeof(void*);

  std::vector<Data**> blocks_;
  size_t size_ = 0;
};

// A class derived from a pooled record, being of another size, takes its
// memory from the heap as usual.
template <class Record>
struct PooledRecord {
  static void* operator new(size_t size) {
    return size == sizeof(Record) ? pool().allocate() : ::operator new(size);
  }
  static void operator delete(void* p, size_t size) {
    if (size == sizeof(Record)) {
      pool().release(p);
    } else {
      ::operator delete(p);
    }
  }

  static RecordPool& pool() {
    static RecordPool* thePool = new RecordPool(sizeof(Record));  // never freed
    return *thePool;
  }
};

#endif
