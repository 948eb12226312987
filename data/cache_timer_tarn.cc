// The cache re-check timer on the platform loop.
//
// Installs, at static initialisation, the hooks through which every
// CacheUpdateTimeout arms and cancels its re-check timer, bound to the
// process's runner (tarn::addTimer / tarn::removeTimer, one-shot timers
// keyed by object and member, so arming again re-arms). Before a runner
// exists (unit tests without a loop) nothing is armed, as with the
// defaults: a cache filled then is kept until invalidateData().
#include "data/cache_update_timeout.h"
#include "platform/runner.h"

namespace {

void armOnLoop(CacheUpdateTimeout* cache, unsigned delay) {
  if (tarn::getRunner() == nullptr) return;
  tarn::addTimer<CacheUpdateTimeout>(
      cache, &CacheUpdateTimeout::invalidateDataTimer, delay);
}

void disarmOnLoop(CacheUpdateTimeout* cache) {
  if (tarn::getRunner() == nullptr) return;
  tarn::removeTimer<CacheUpdateTimeout>(
      cache, &CacheUpdateTimeout::invalidateDataTimer);
}

struct InstallLoopTimers {
  InstallLoopTimers() {
    cacheTimerHooks.arm = armOnLoop;
    cacheTimerHooks.disarm = disarmOnLoop;
  }
} installLoopTimers;

}  // namespace
