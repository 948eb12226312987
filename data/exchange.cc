// Blocking exchanges on the process's looper; see data/exchange.h.
#include "data/exchange.h"

#include "platform/codes.h"
#include "platform/looper.h"

tarn::message exchange(tarn::message request) {
  return tarn::getLooper()->exchangeMessage(request, static_cast<int>(kExchangeTimeoutMs));
}

tarn::message exchangeCmd(tarn::message request, unsigned cmd) {
  return tarn::getLooper()->exchangeCmd(request, cmd, kExchangeTimeoutMs);
}

tarn::message getObject(const std::vector<unsigned>& path, unsigned id, unsigned maxCount) {
  tarn::message request = tarn::command(path, tarn::kCmdGetObj);
  request.insert(tarn::u32_id(tarn::kFieldObjId), id);
  if (maxCount != 0) request.insert(tarn::u32_id(tarn::kFieldMaxCount), maxCount);
  return exchange(request);
}

void subscribe(const std::vector<unsigned>& path, unsigned code, const tarn::message& filter) {
  tarn::getLooper()->subscribe(path, code, filter);
}

void unsubscribe(const std::vector<unsigned>& path, unsigned code, const tarn::message& filter) {
  tarn::getLooper()->unsubscribe(path, code, filter);
}
