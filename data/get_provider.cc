// GetProvider: fetch one object, build one record; write it back on SET.
#include "data/get_provider.h"

#include "codec/diag.h"
#include "data/data.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"

namespace {

tarn::message request(unsigned command, const std::vector<unsigned>& path) {
  tarn::message msg;
  msg.insert(tarn::u32_id(tarn::kFieldCmd), command);
  msg.insert(tarn::u32_array_id(tarn::kFieldDst), path);
  return msg;
}

}  // namespace

GetProvider::GetProvider(Builder builder, const std::vector<unsigned>& path,
                         unsigned getCommand, unsigned setCommand)
    : path(path),
      getCommand(getCommand),
      setCommand(setCommand),
      builder(builder) {}

Data* GetProvider::getData() {
  tarn::message msg = request(getCommand, path);
  tarn::message reply = tarn::getLooper()->exchangeMessage(msg, 6000);
  if (tarn::isError(reply)) {
    diag::err("GetProvider::getData error: " + tarn::getError(reply));
    return builder(tarn::message());
  }
  return builder(reply);
}

bool GetProvider::setData(Data* d) {
  tarn::message msg = request(setCommand, path);
  d->reverseBuild(msg);
  return !tarn::isError(tarn::getLooper()->exchangeMessage(msg, 6000));
}
