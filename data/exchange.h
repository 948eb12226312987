// Talking to the router services from the agent's providers, builders and
// event sources: blocking exchanges while a request is being answered, and
// subscriptions to a service's notifications.
//
// Each exchange sends one request on the process's looper (which must
// exist) and waits at most kExchangeTimeoutMs for its reply; the loop
// serves nothing else meanwhile. A service that does not answer in time,
// or cannot be reached, gives the looper's error reply (tarn::isError).
#ifndef DATA_EXCHANGE_H
#define DATA_EXCHANGE_H

#include <vector>

#include "platform/message.h"

// How long one exchange may block the agent.
constexpr unsigned kExchangeTimeoutMs = 6000;

// `request` as it stands (destination and command already in it).
tarn::message exchange(tarn::message request);
// `request` sent with command `cmd`.
tarn::message exchangeCmd(tarn::message request, unsigned cmd);
// Get object: the object `id` of the list at `path`; with `maxCount`, the
// request carries it (the page size some services want even here).
tarn::message getObject(const std::vector<unsigned>& path, unsigned id, unsigned maxCount = 0);

// Starts (stops) delivery of the service at `path`'s notifications with
// code `code` whose fields match `filter` to the agent, which hands them to
// the trap makers (engine/trap_makers.h).
void subscribe(const std::vector<unsigned>& path, unsigned code, const tarn::message& filter);
void unsubscribe(const std::vector<unsigned>& path, unsigned code, const tarn::message& filter);

#endif
