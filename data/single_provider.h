// SingleProvider: a DataProvider that caches one record under the cache
// rule of CacheUpdateTimeout (25 ticks idle, 200 ticks at most).
//
// Subclasses make a fresh record in getData() and carry out a change in
// setData(). The provider owns the cached record; get() may return null when
// the last fill produced nothing, and keeps doing so without asking again
// until the timer drops the empty cache.
#ifndef DATA_SINGLE_PROVIDER_H
#define DATA_SINGLE_PROVIDER_H

#include "data/cache_update_timeout.h"
#include "data/data_provider.h"

class SingleProvider : public DataProvider, public CacheUpdateTimeout {
 public:
  SingleProvider();
  Data* get() override;        // accessData(), then the cached record
  bool set(Data* d) override;  // setData(d)
  ~SingleProvider() override;
  void clearCache() override;   // deletes the record
  void updateCache() override;  // record = getData()
  // A new record (the caller owns it), or null when none can be had.
  virtual Data* getData() = 0;
  // Carries out a change; true when it was done.
  virtual bool setData(Data* d) = 0;

 protected:
  Data* data;
};

#endif
