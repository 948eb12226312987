// RowIndex: the rows of one table, ordered by index, held compactly.
//
// A table of a million routes cannot afford an ordered map of OIDs: a map
// node, a heap block per key and 4 bytes per arc come to some 150 bytes a
// row. RowIndex packs each row into a byte arena instead: the index arcs in
// an order-keeping variable-length code (one byte for an arc below 248, up
// to five for larger ones) followed by the record pointer, and keeps the
// rows' positions, 4 bytes each, sorted by those bytes. A route's 13-arc
// index costs 13 bytes plus 13 of overhead.
//
// Rows are appended in any order. A later row replaces an earlier one with
// the same index, and a row with a null record removes the index. Appending
// is cheap; the first lookup after appends sorts (skipped when the rows came
// in index order, as most services list them) and drops replaced rows.
// Lookups compare bytes, and the code keeps OID order: arc by arc,
// unsigned, a prefix before its extensions.
//
// Records are not owned. clear() gives every byte back. An index whose code
// would pass kMaxKeyBytes (3277 arcs or more, far beyond any table's index)
// is kept under the empty index, like any other row without a usable index.
#ifndef DATA_ROW_INDEX_H
#define DATA_ROW_INDEX_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "codec/oid.h"

class Data;

class RowIndex {
 public:
  static constexpr size_t kMaxKeyBytes = 16383;  // a two-byte length

  RowIndex() = default;
  ~RowIndex();
  RowIndex(const RowIndex&) = delete;
  RowIndex& operator=(const RowIndex&) = delete;

  // Adds or replaces the row of `key`; a null `d` removes it.
  void append(const OID& key, Data* d);
  // Forgets every row and frees the memory.
  void clear();

  // The record of exactly `key`, or null.
  Data* find(const OID& key);
  // The first row whose index sorts strictly after `key`: its index into
  // `next` and its record; null (and `next` untouched) at the end.
  Data* findNext(const OID& key, OID* next);
  size_t size();

 private:
  struct Entry {
    const uint8_t* key;
    size_t keyLength;
    Data* record;
  };

  // Sorts the rows appended since the last lookup into place.
  void settle();
  Entry entry(uint32_t ref) const;
  // The reference of the row after `ref` in the arena.
  uint32_t following(uint32_t ref) const;
  // Position of the first row whose key is not below `key`; `after` moves
  // past an equal one.
  size_t lowerBound(const std::string& key, bool after) const;

  static constexpr uint32_t kChunkBits = 16;
  static constexpr size_t kChunkSize = size_t(1) << kChunkBits;

  // The arena: rows back to back, never across a chunk boundary, in chunks
  // from bulkAllocate(). A row's reference is its chunk number <<
  // kChunkBits | its offset.
  std::vector<uint8_t*> chunks_;
  std::vector<uint32_t> chunkEnds_;  // bytes taken in each chunk
  // References of the live rows in key order, up to the last settle.
  std::vector<uint32_t> order_;
  uint32_t appended_ = 0;  // rows in the arena
  uint32_t settled_ = 0;   // rows of the arena that `order_` accounts for
  uint32_t pending_ = 0;   // the first row appended after the last settle
  // Every row since the last settle is non-null and sorts after the one
  // before it, the first after the largest settled one: settling is then
  // a plain append.
  bool inOrder_ = true;
  bool haveLast_ = false;
  uint32_t last_ = 0;    // the row the next append must sort after
  std::string scratch_;  // the code of the key being appended or looked up
};

#endif
