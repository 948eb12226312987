// GetFirstProvider: the first object of another service's list that the
// module's builder accepts, as a read-only record.
//
// getData() walks the list at `path` page by page (no page size is sent)
// and returns the builder's first non-null record; `firstObjId` then holds
// that object's id (0xfe0001, 0xFFFFFFFF when absent). An error reply or the
// end of the list gives no record and leaves `firstObjId` as it was, which
// is 0xFFFFFFFF until some object matched. Cache rule 25/200 ticks; the
// provider owns its record; the process's looper must exist.
#ifndef DATA_GET_FIRST_PROVIDER_H
#define DATA_GET_FIRST_PROVIDER_H

#include <vector>

#include "data/single_provider.h"

namespace tarn {
class message;
}

class GetFirstProvider : public SingleProvider {
 public:
  typedef Data* (*Builder)(const tarn::message&);

  GetFirstProvider(Builder builder, const std::vector<unsigned>& path);
  Data* getData() override;
  bool setData(Data* d) override;  // false: read-only
  // The id of the object found, filling the cache first if needed.
  unsigned getFirstObjId();

  std::vector<unsigned> path;
  Builder builder;
  unsigned firstObjId;
};

#endif
