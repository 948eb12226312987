// ObjectAugmentTable: an AugmentProxyTable whose records are fetched from a
// service one object at a time, for data that a service hands out per
// object only (an interface's traffic counters, for instance).
//
// The first read of a base row sends one get object to `path` for the id
// `idOf` gives of the row's record (with `maxCount` when not 0), builds
// this table's record from the answer, and keeps it; the cache rule
// (accessTimeout and maxAge, see data/cache_update_timeout.h) drops them
// all. A failed fetch keeps the record `build` makes of an empty message
// until then. Owns its records; the base table is not owned.
#ifndef DATA_OBJECT_AUGMENT_TABLE_H
#define DATA_OBJECT_AUGMENT_TABLE_H

#include <map>
#include <vector>

#include "data/augment_proxy_table.h"
#include "data/cache_update_timeout.h"
#include "platform/message.h"

class ObjectAugmentTable : public AugmentProxyTable, public CacheUpdateTimeout {
 public:
  typedef Data* (*Builder)(const tarn::message& object);  // never null
  typedef unsigned (*IdOf)(const Data* baseRecord);

  ObjectAugmentTable(Table* base, IdOf idOf, Builder build, std::vector<unsigned> path,
                     unsigned maxCount, unsigned accessTimeout, unsigned maxAge);
  ~ObjectAugmentTable() override;
  Data* augment(const OID& index, Data* baseRecord) override;
  void clearCache() override;   // deletes the records
  void updateCache() override;  // nothing: records are fetched one by one

 private:
  IdOf idOf;
  Builder build;
  std::vector<unsigned> path;
  unsigned maxCount;
  std::map<unsigned, Data*> records;
};

#endif
