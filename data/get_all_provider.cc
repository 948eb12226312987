// GetAllProvider: paged fills, counts and writes over the sources.
#include "data/get_all_provider.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "codec/diag.h"
#include "data/data.h"

tarn::message getAllRequest(const std::vector<unsigned>& path) {
  return tarn::command(path, tarn::kCmdGetAll);
}

GetAllProvider::GetAllProvider() : CacheUpdateTimeout(25, 200) {}

GetAllProvider::~GetAllProvider() {
  for (Data* d : records) delete d;
}

void GetAllProvider::addSource(Builder builder,
                               const std::vector<unsigned>& path,
                               unsigned pageSize) {
  sources.push_back(Source{path, builder, pageSize});
}

bool GetAllProvider::setData(Data* d) {
  bool accepted = false;
  for (const Source& s : sources) {
    tarn::message msg = tarn::command(s.path, tarn::kCmdSetObj);
    d->reverseBuild(msg);
    tarn::message reply = exchange(msg);
    if (tarn::isError(reply)) {
      diag::err(tarn::getError(reply));
    } else {
      accepted = true;
    }
  }
  return accepted;
}

void GetAllProvider::subscribe(TableProviderClient* client) {
  clients.push_back(client);
}

void GetAllProvider::updateTables() { accessData(); }

bool GetAllProvider::getCountCMD(unsigned& n) {
  n = 0;
  for (const Source& s : sources) {
    tarn::message msg = tarn::command(s.path, tarn::kCmdGetCount);
    tarn::message reply = exchange(msg);
    if (tarn::isError(reply) || !reply.has(tarn::u32_id(tarn::kFieldCount)))
      return false;
    n += reply.get(tarn::u32_id(tarn::kFieldCount), 0);
  }
  return true;
}

namespace {

// Fillings of at least this many records give their memory back to the
// system when dropped; glibc would otherwise keep the freed heap for the
// next filling, and a router's other processes need it meanwhile.
constexpr size_t kTrimAfterRecords = 10000;

}  // namespace

void GetAllProvider::clearCache() {
  for (TableProviderClient* c : clients) c->clear();
  for (Data* d : records) delete d;
  size_t dropped = records.size();
  records.clear();
#ifdef __GLIBC__
  if (dropped >= kTrimAfterRecords) malloc_trim(0);
#else
  (void)dropped;
#endif
}

void GetAllProvider::updateCache() {
  for (const Source& s : sources) {
    tarn::message msg = getAllRequest(s.path);
    msg.insert(tarn::u32_id(tarn::kFieldMaxCount), s.pageSize);
    Builder builder = s.builder;
    RecordList* out = &records;
    std::vector<Data*> made;  // one object's records
    walkPages(msg, [builder, out, &made](const tarn::message& object) {
      builder(object, &made);
      for (Data* d : made) out->push_back(d);
      made.clear();
      return true;
    });
    // Every record so far, also the earlier sources' again: tables replace
    // rows by key, so the repetition changes nothing.
    for (TableProviderClient* c : clients) {
      for (Data* d : records) c->change(d);
    }
  }
}
