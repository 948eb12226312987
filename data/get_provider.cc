// GetProvider: fetch one object, build one record; write it back on SET.
#include "data/get_provider.h"

#include "codec/diag.h"
#include "data/data.h"
#include "data/exchange.h"
#include "platform/codes.h"
#include "platform/errors.h"

GetProvider::GetProvider(Builder builder, const std::vector<unsigned>& path,
                         unsigned getCommand, unsigned setCommand)
    : path(path),
      getCommand(getCommand),
      setCommand(setCommand),
      builder(builder) {}

Data* GetProvider::getData() {
  tarn::message msg = tarn::command(path, getCommand);
  tarn::message reply = exchange(msg);
  if (tarn::isError(reply)) {
    diag::err("GetProvider::getData error: " + tarn::getError(reply));
    return builder(tarn::message());
  }
  return builder(reply);
}

bool GetProvider::setData(Data* d) {
  tarn::message msg = tarn::command(path, setCommand);
  d->reverseBuild(msg);
  return !tarn::isError(exchange(msg));
}
