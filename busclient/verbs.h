// The bus client's verbs. Each verb is one row of the table: name, argument
// synopsis, one-line summary and the function that runs it. Friendlier
// verbs (say, for the agent's settings and communities) are added as rows
// that build a request and call exchangeAndPrint.
#ifndef BUSCLIENT_VERBS_H
#define BUSCLIENT_VERBS_H

#include <string>
#include <vector>

#include "platform/message.h"

namespace tarnctl {

struct Options {
  bool json = false;
  int timeoutMs = 6000;
};

// Exit statuses.
enum { kExitOk = 0, kExitErrorReply = 1, kExitUsage = 2 };

struct Verb {
  const char* name;
  const char* args;
  const char* summary;
  int (*run)(const Options& opts, const std::vector<std::string>& args);
};

const std::vector<Verb>& verbs();

// Sends request (command cmd) to path, waits for the reply and prints it as
// text or JSON. Returns kExitOk, or kExitErrorReply for an error reply.
int exchangeAndPrint(const Options& opts, const std::vector<uint32_t>& path,
                     uint32_t cmd, tarn::message& request);

// Prints the error reply to `request` (which holds its path and command),
// with tarnctl's note where the reply says too little (busclient/explain.h):
// "error 0xCODE: TEXT" or, as JSON, {"ok":false,"error":{"code":..,
// "text":..[,"note":..]},"fields":[..]}. Returns kExitErrorReply.
int printErrorReply(const Options& opts, const tarn::message& request,
                    const tarn::message& reply);

}  // namespace tarnctl

#endif  // BUSCLIENT_VERBS_H
