// GetAllProvider: all objects of one or more lists of other services, read
// page by page over the bus and fed as records into MapTables.
//
// Each source is a service path with a builder that appends zero or more
// records (made with new) for one listed object. A fill walks every source
// in order and hands the records gathered so far to every client after each
// source; the cache rule is 25/200 ticks. The provider owns the records:
// clearCache() clears the clients before it deletes them. Clients are not
// owned and must stay alive while the provider refills them. Every exchange
// blocks for at most kExchangeTimeoutMs (data/exchange.h); an error reply
// ends that source's walk and keeps what came before it. When a large
// filling is dropped, the freed memory is handed back to the system.
#ifndef DATA_GET_ALL_PROVIDER_H
#define DATA_GET_ALL_PROVIDER_H

#include <vector>

#include "data/cache_update_timeout.h"
#include "data/exchange.h"
#include "data/record_pool.h"
#include "data/table_provider.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/message.h"

class GetAllProvider : public TableProvider, public CacheUpdateTimeout {
 public:
  typedef void (*Builder)(const tarn::message&, std::vector<Data*>*);

  struct Source {
    std::vector<unsigned> path;
    Builder builder;
    unsigned pageSize;
  };

  GetAllProvider();
  void addSource(Builder builder, const std::vector<unsigned>& path,
                 unsigned pageSize = 5);

  // Sends the record's reverseBuild() fields with the set-object command to
  // every source; the error text of each refusal goes to the error stream.
  // True when at least one source accepted.
  bool setData(Data* d) override;
  void subscribe(TableProviderClient* client) override;
  void updateTables() override;  // accessData()
  // The sum of the sources' counts; false when one has none.
  bool getCountCMD(unsigned& n) override;
  ~GetAllProvider() override;  // deletes the records, tells no client
  void clearCache() override;
  void updateCache() override;

  // Not a vector: a million records would pass through a doubling that
  // holds one and a half times their pointers at once.
  RecordList records;
  std::vector<TableProviderClient*> clients;
  std::vector<Source> sources;
};

// Walks a list service page by page: `request` (command get-all, path and,
// if wanted, the page size already set) is sent, each object of the reply's
// page is handed to visit() in order, and while the reply names where the
// next page starts the request is sent again with that start. Ends at an
// error reply, at the last page, or when visit() returns false.
template <class Visit>
void walkPages(tarn::message& request, Visit visit) {
  for (;;) {
    tarn::message reply = exchange(request);
    if (tarn::isError(reply)) return;
    for (tarn::flat_view flat :
         reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
      if (!visit(tarn::message(flat))) return;
    }
    if (!reply.has(tarn::u32_id(tarn::kFieldStart))) return;
    request.insert(tarn::u32_id(tarn::kFieldStart),
                   reply.get(tarn::u32_id(tarn::kFieldStart), 0));
  }
}

// The first request of a paged walk of `path`.
tarn::message getAllRequest(const std::vector<unsigned>& path);

#endif
