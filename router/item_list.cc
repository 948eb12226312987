// Sorted flat objects and the paging of get-all replies.
#include "router/item_list.h"

#include <algorithm>

#include "platform/codes.h"

namespace router {

void ItemList::add(uint32_t id, const tarn::message& m) {
  items_.push_back(Item{id, tarn::flat_message(m)});
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
    items_[i].flat = tarn::flat_message(m);
  }
}

tarn::message decode(const Item& item) {
  tarn::message m;
  tarn::message::parse(item.flat.data(), item.flat.size(), &m);
  return m;
}

tarn::message pageOf(const ItemList& list, uint32_t start, uint32_t count,
                     tarn::message (*trim)(const tarn::message&)) {
  if (count == 0 || count == 0xFFFFFFFFu) count = kDefaultPage;
  if (count > kMaxPage) count = kMaxPage;
  tarn::message reply;
  std::vector<tarn::flat_message>& page =
      reply[tarn::message_array_id(tarn::kFieldObjList)];
  size_t i = list.lowerBound(start);
  size_t end = std::min(list.size(), i + count);
  page.reserve(end - i);
  for (; i < end; ++i) {
    if (trim) {
      page.push_back(tarn::flat_message(trim(decode(list.at(i)))));
    } else {
      page.push_back(list.at(i).flat);
    }
  }
  if (end < list.size()) {
    reply.insert(tarn::u32_id(tarn::kFieldStart), list.at(end).id);
  }
  return reply;
}

}  // namespace router
