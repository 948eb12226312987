// CacheUpdateTimeout: the timing rule of a provider's cache.
//
// A cache is filled on the first read and kept while it is read at least
// once every `accessTimeout` clock ticks, and for at most `maxAge` ticks
// after it was filled, both counted from the end of the fill; a re-check
// timer armed with delay `accessTimeout` drops it once it is idle or too
// old, and the next read fills it again. Ticks are 100 Hz ticks of the
// monotonic clock, and all differences are taken modulo 2^32, so the clock
// wrapping around is harmless. The cache is marked filled before
// updateCache() runs and stays so even when the fill yields nothing: a
// failed fill is not retried until the timer drops it.
//
// The clock and the timer are reached through cacheTimerHooks, so tests can
// drive a manual clock and fire the timer by hand; the platform binding
// installs the real timer calls.
#ifndef DATA_CACHE_UPDATE_TIMEOUT_H
#define DATA_CACHE_UPDATE_TIMEOUT_H

class CacheUpdateTimeout {
 public:
  // Both in clock ticks; the cache starts empty with no timer.
  CacheUpdateTimeout(unsigned accessTimeout, unsigned maxAge);
  virtual void updateCache() = 0;  // fill the cache
  virtual void clearCache() = 0;   // drop the cache
  // Cancels a pending timer, so a cache may be destroyed while armed
  // (providers live for the whole process; tests do not).
  virtual ~CacheUpdateTimeout();

  // Replaces both limits; a pending timer keeps its delay.
  void setTimeouts(unsigned accessTimeout, unsigned maxAge);
  // Call at every read of the cached data: records the access and fills an
  // empty cache.
  void accessData();
  // The re-check timer's callback.
  void invalidateDataTimer();
  // Drops the cache now and cancels the timer.
  void invalidateData();

 protected:
  unsigned lastAccess;     // ticks at the latest access
  unsigned filledAt;       // ticks at the end of the latest fill
  bool cached;             // the cache holds (possibly empty) data
  bool timerArmed;         // the re-check timer is pending
  unsigned accessTimeout;  // longest idle time; also the re-check delay
  unsigned maxAge;         // longest life of one fill
};

// Where the cache rule meets the platform. `ticks` returns 100 Hz ticks;
// `arm` asks for invalidateDataTimer() on the cache after `delay` (the
// number is handed to the platform timer as is); `disarm` cancels it.
// Defaults: the monotonic clock and no timer at all (caches are never dropped);
// cache_timer_tarn.cc installs the platform's timer calls at static
// initialisation. Tests swap in their own and restore the saved hooks.
struct CacheTimerHooks {
  unsigned (*ticks)();
  void (*arm)(CacheUpdateTimeout* cache, unsigned delay);
  void (*disarm)(CacheUpdateTimeout* cache);
};
extern CacheTimerHooks cacheTimerHooks;

#endif
