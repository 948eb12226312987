// ObjectAugmentTable: records fetched per object; see the header.
#include "data/object_augment_table.h"

#include <utility>

#include "data/data.h"
#include "data/exchange.h"
#include "platform/errors.h"

ObjectAugmentTable::ObjectAugmentTable(Table* base, IdOf idOf, Builder build,
                                       std::vector<unsigned> path, unsigned maxCount,
                                       unsigned accessTimeout, unsigned maxAge)
    : AugmentProxyTable(base),
      CacheUpdateTimeout(accessTimeout, maxAge),
      idOf(idOf),
      build(build),
      path(std::move(path)),
      maxCount(maxCount) {}

// Frees the cached records; this class's own clearCache is meant here.
ObjectAugmentTable::~ObjectAugmentTable() {
  // cppcheck-suppress virtualCallInConstructor
  ObjectAugmentTable::clearCache();
}

Data* ObjectAugmentTable::augment(const OID&, Data* baseRecord) {
  accessData();
  const unsigned id = idOf(baseRecord);
  Data*& r = records[id];
  if (r) return r;
  const tarn::message reply = getObject(path, id, maxCount);
  r = build(tarn::isError(reply) ? tarn::message() : reply);
  return r;
}

void ObjectAugmentTable::clearCache() {
  for (auto& entry : records) delete entry.second;
  records.clear();
}

void ObjectAugmentTable::updateCache() {}
