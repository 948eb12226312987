// ItemList: the objects of one list service, kept flat (serialised) and in
// ascending id order, so that a page is found by binary search and copied
// out without re-encoding. The flat objects are packed one after another in
// large blocks rather than allocated one by one, so a million routes cost
// about 100 bytes each and load without a million allocations.
//
// Pages: a walk asks for up to `count` objects from id `start` on; the page
// starts at the first id not below start (so an object removed between two
// pages does not end the walk) and, when objects remain, names the id of the
// next one as the continuation.
#ifndef ROUTER_ITEM_LIST_H
#define ROUTER_ITEM_LIST_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/message.h"

namespace router {

// One object: its id and where its flat form lies in the list's blocks.
struct Item {
  uint32_t id;
  uint32_t size;
  const uint8_t* data;
};

class ItemList {
 public:
  // Appends an object; call sort() once all are in.
  void add(uint32_t id, const tarn::message& m);
  // Appends an object already flat (whose id field holds id).
  void addFlat(uint32_t id, const uint8_t* flat, size_t size);
  // Orders by id. Returns false and names the id in *dup when two objects
  // share one.
  bool sort(uint32_t* dup);
  void clear();

  size_t size() const { return items_.size(); }
  const Item& at(size_t i) const { return items_[i]; }
  // The object with id, or null.
  const Item* find(uint32_t id) const;
  // Position of the first object whose id is not below id.
  size_t lowerBound(uint32_t id) const;
  // Replaces the object with id (which must exist).
  void replace(uint32_t id, const tarn::message& m);

 private:
  // Copies a flat object into the blocks; returns where it now lies.
  const uint8_t* keep(const uint8_t* flat, size_t size);

  std::vector<Item> items_;
  std::vector<std::unique_ptr<uint8_t[]>> blocks_;
  uint8_t* next_ = nullptr;  // the free end of the last block
  size_t blockLeft_ = 0;     // and how many bytes are free there
  tarn::bytes scratch_;   // the flat form of the object being added
};

// The default and the largest number of objects in one page.
enum : uint32_t { kDefaultPage = 100, kMaxPage = 1000 };

// A get-all reply: 0xfe0002 = the page, 0xfe0003 = next id when cut short.
// trim, when not null, turns each object into the one sent.
tarn::message pageOf(const ItemList& list, uint32_t start, uint32_t count,
                     tarn::message (*trim)(const tarn::message&) = nullptr);

// The object as a message (decoded from its flat form).
tarn::message decode(const Item& item);

}  // namespace router

#endif  // ROUTER_ITEM_LIST_H
