// CacheUpdateTimeout: the cache rule, on the hooks' clock and timer.
#include "data/cache_update_timeout.h"

#include <time.h>

#include <cstdint>

namespace {

// 100 Hz ticks, as times() counts them, read from the coarse monotonic
// clock: that is a vDSO call, where times() is a system call, and every
// read of a cached object asks for the time.
unsigned systemTicks() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
  return static_cast<unsigned>(static_cast<uint64_t>(ts.tv_sec) * 100u +
                               static_cast<uint64_t>(ts.tv_nsec) / 10000000u);
}

void noTimer(CacheUpdateTimeout*, unsigned) {}
void noCancel(CacheUpdateTimeout*) {}

}  // namespace

CacheTimerHooks cacheTimerHooks = {systemTicks, noTimer, noCancel};

CacheUpdateTimeout::CacheUpdateTimeout(unsigned accessTimeout, unsigned maxAge)
    : lastAccess(0),
      filledAt(0),
      cached(false),
      timerArmed(false),
      accessTimeout(accessTimeout),
      maxAge(maxAge) {}

CacheUpdateTimeout::~CacheUpdateTimeout() {
  if (timerArmed) cacheTimerHooks.disarm(this);
}

void CacheUpdateTimeout::setTimeouts(unsigned access, unsigned age) {
  accessTimeout = access;
  maxAge = age;
}

void CacheUpdateTimeout::accessData() {
  unsigned now = cacheTimerHooks.ticks();
  lastAccess = now;
  if (cached) return;
  cached = true;  // before the fill: a failed fill is not retried at once
  updateCache();
  // Age and idleness count from the end of the fill: a table that takes
  // longer to fill than maxAge (a full routing table over a slow service)
  // is then still served to the reads that follow, instead of being
  // dropped at the first re-check and filled again for every walk.
  filledAt = lastAccess = cacheTimerHooks.ticks();
  cacheTimerHooks.arm(this, accessTimeout);
  timerArmed = true;
}

void CacheUpdateTimeout::invalidateDataTimer() {
  unsigned now = cacheTimerHooks.ticks();
  if (now - lastAccess < accessTimeout && now - filledAt < maxAge) {
    cacheTimerHooks.arm(this, accessTimeout);
    return;
  }
  clearCache();
  cached = false;
  timerArmed = false;
}

void CacheUpdateTimeout::invalidateData() {
  if (timerArmed) cacheTimerHooks.disarm(this);
  clearCache();
  cached = false;
  timerArmed = false;
}
