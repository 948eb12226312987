// GetProvider: one settings object of another service, fetched over the bus
// and turned into a record by the module's builder; writable.
//
// getData() asks `path` with `getCommand` and hands the reply to `builder`;
// on an error reply (time-out included) it writes "GetProvider::getData
// error: <text>" and still returns the builder's record of an empty message,
// so the object answers with defaults. setData() sends `setCommand` to
// `path` with the record's reverseBuild() fields. Each exchange blocks for at
// most kExchangeTimeoutMs (data/exchange.h). The provider owns
// the records it builds; cache rule 25/200 ticks (SingleProvider).
#ifndef DATA_GET_PROVIDER_H
#define DATA_GET_PROVIDER_H

#include <vector>

#include "data/single_provider.h"

namespace tarn {
class message;
}

class GetProvider : public SingleProvider {
 public:
  typedef Data* (*Builder)(const tarn::message&);

  GetProvider(Builder builder, const std::vector<unsigned>& path,
              unsigned getCommand, unsigned setCommand);
  Data* getData() override;
  bool setData(Data* d) override;  // true unless the reply is an error

  std::vector<unsigned> path;
  unsigned getCommand;
  unsigned setCommand;
  Builder builder;
};

#endif
