// Sorted flat objects and the paging of get-all replies.
#include "router/item_list.h"

#include <string.h>

#include <algorithm>

#include "platform/codes.h"

namespace router {

namespace {
// Objects are packed into blocks of this size; a larger one gets its own.
const size_t kBlock = 1 << 20;
}  // namespace

const uint8_t* ItemList::keep(const uint8_t* flat, size_t size) {
  if (size > blockLeft_) {
    const size_t block = std::max(kBlock, size);
    blocks_.emplace_back(new uint8_t[block]);
    next_ = blocks_.back().get();
    blockLeft_ = block;
  }
  uint8_t* at = next_;
  if (size) memcpy(at, flat, size);
  next_ += size;
  blockLeft_ -= size;
  return at;
}

void ItemList::clear() {
  items_.clear();
  blocks_.clear();
  next_ = nullptr;
  blockLeft_ = 0;
}

void ItemList::add(uint32_t id, const tarn::message& m) {
  m.flatten(scratch_);
  addFlat(id, scratch_.data(), scratch_.size());
}

void ItemList::addFlat(uint32_t id, const uint8_t* flat, size_t size) {
  items_.push_back(Item{id, static_cast<uint32_t>(size), keep(flat, size)});
}

bool ItemList::sort(uint32_t* dup) {
  std::stable_sort(items_.begin(), items_.end(),
                   [](const Item& a, const Item& b) { return a.id < b.id; });
  for (size_t i = 1; i < items_.size(); ++i) {
    if (items_[i].id == items_[i - 1].id) {
      if (dup) *dup = items_[i].id;
      return false;
    }
  }
  return true;
}

size_t ItemList::lowerBound(uint32_t id) const {
  return std::lower_bound(items_.begin(), items_.end(), id,
                          [](const Item& a, uint32_t v) { return a.id < v; }) -
         items_.begin();
}

const Item* ItemList::find(uint32_t id) const {
  size_t i = lowerBound(id);
  return i < items_.size() && items_[i].id == id ? &items_[i] : nullptr;
}

void ItemList::replace(uint32_t id, const tarn::message& m) {
  size_t i = lowerBound(id);
  if (i < items_.size() && items_[i].id == id) {
    // The old bytes stay unused in their block: changes are rare.
    m.flatten(scratch_);
    items_[i].size = static_cast<uint32_t>(scratch_.size());
    items_[i].data = keep(scratch_.data(), scratch_.size());
  }
}

tarn::message decode(const Item& item) {
  tarn::message m;
  tarn::message::parse(item.data, item.size, &m);
  return m;
}

tarn::message pageOf(const ItemList& list, uint32_t start, uint32_t count,
                     tarn::message (*trim)(const tarn::message&)) {
  if (count == 0 || count == 0xFFFFFFFFu) count = kDefaultPage;
  if (count > kMaxPage) count = kMaxPage;
  tarn::message reply;
  tarn::flat_list& page = reply[tarn::message_array_id(tarn::kFieldObjList)];
  size_t i = list.lowerBound(start);
  size_t end = std::min(list.size(), i + count);
  if (!trim) {
    // The page's buffer in one allocation: each object and its length.
    size_t size = 0;
    for (size_t k = i; k < end; ++k) size += 4 + list.at(k).size;
    page.reserve_bytes(size);
  }
  for (; i < end; ++i) {
    if (trim) {
      page.push_back(trim(decode(list.at(i))));
    } else {
      const Item& item = list.at(i);
      page.push_back(tarn::flat_view(item.data, item.size));
    }
  }
  if (end < list.size()) {
    reply.insert(tarn::u32_id(tarn::kFieldStart), list.at(end).id);
  }
  return reply;
}

}  // namespace router
