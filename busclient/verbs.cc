// The verb table of tarnctl and the verbs themselves.
#include "busclient/verbs.h"

#include <iostream>

#include "busclient/explain.h"
#include "busclient/fields.h"
#include "busclient/json.h"
#include "busclient/snmp_verbs.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"

namespace tarnctl {

using tarn::message;

namespace {

// The payload of a reply: everything but the envelope.
message payload(const message& reply) {
  message out;
  for (const message::field& f : reply.fields()) {
    uint32_t n = f.id & tarn::kNumberMask;
    if (n == tarn::kFieldDst || n == tarn::kFieldSrc || n == tarn::kFieldSeq ||
        n == tarn::kFieldReply || n == tarn::kFieldErrCode ||
        n == tarn::kFieldErrText) {
      continue;
    }
    out.insertTagged(f.id, f.v);
  }
  return out;
}

message exchange(const Options& opts, const std::vector<uint32_t>& path,
                 uint32_t cmd, message& request) {
  request.insert(tarn::u32_array_id(tarn::kFieldDst), path);
  request.insert(tarn::u32_id(tarn::kFieldCmd), cmd);
  return tarn::getLooper()->exchangeMessage(request, opts.timeoutMs);
}

void printError(const Options& opts, const message& request, unsigned code,
                const std::string& text, const message& body) {
  const std::string explained = explainError(request, code, text);
  if (opts.json) {
    std::cout << "{\"ok\":false,\"error\":{\"code\":" << code << ",\"text\":";
    writeJsonString(std::cout, text);
    if (explained != text) {
      std::cout << ",\"note\":";
      writeJsonString(std::cout, explained);
    }
    std::cout << "},\"fields\":";
    writeJson(std::cout, body);
    std::cout << "}\n";
  } else {
    char hex[16];
    snprintf(hex, sizeof hex, "0x%x", code);
    std::cout << "error " << hex << ": " << explained << "\n";
  }
}

int printReply(const Options& opts, const message& request, const message& reply) {
  if (tarn::isError(reply)) return printErrorReply(opts, request, reply);
  const message body = payload(reply);
  if (opts.json) {
    std::cout << "{\"ok\":true,\"fields\":";
    writeJson(std::cout, body);
    std::cout << "}\n";
  } else {
    std::cout << body << "\n";
  }
  return kExitOk;
}

bool parseRequest(const std::vector<std::string>& args, size_t first,
                  message* m) {
  for (size_t i = first; i < args.size(); ++i) {
    std::string err;
    if (!parseField(args[i], m, &err)) {
      std::cerr << "tarnctl: " << err << "\n";
      return false;
    }
  }
  return true;
}

int verbSend(const Options& opts, const std::vector<std::string>& args) {
  std::vector<uint32_t> path;
  uint32_t cmd;
  std::string err;
  if (args.size() < 2) {
    std::cerr << "tarnctl: send needs a path and a command\n";
    return kExitUsage;
  }
  if (!parsePath(args[0], &path, &err) || !parseCommand(args[1], &cmd, &err)) {
    std::cerr << "tarnctl: " << err << "\n";
    return kExitUsage;
  }
  message request;
  if (!parseRequest(args, 2, &request)) return kExitUsage;
  return exchangeAndPrint(opts, path, cmd, request);
}

// Walks a get-all list page by page and prints one object per line.
int verbList(const Options& opts, const std::vector<std::string>& args) {
  std::vector<uint32_t> path;
  std::string err;
  if (args.size() != 1 || !parsePath(args[0], &path, &err)) {
    std::cerr << "tarnctl: list needs one path" << (err.empty() ? "" : ": ")
              << err << "\n";
    return kExitUsage;
  }
  uint32_t start = 0;
  bool first = true;
  if (opts.json) std::cout << "{\"ok\":true,\"objects\":[";
  for (int page = 0; page < 100000; ++page) {
    message request;
    // The first page names no start; later pages continue where the
    // previous reply said.
    if (page > 0) request.insert(tarn::u32_id(tarn::kFieldStart), start);
    request.insert(tarn::u32_id(tarn::kFieldMaxCount), 64);
    message reply = exchange(opts, path, tarn::kCmdGetAll, request);
    if (tarn::isError(reply)) {
      if (opts.json) std::cout << "]}\n";
      return printErrorReply(opts, request, reply);
    }
    for (const auto& flat : reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
      message obj(flat);
      if (opts.json) {
        if (!first) std::cout << ',';
        writeJson(std::cout, obj);
      } else {
        std::cout << obj << "\n";
      }
      first = false;
    }
    if (!reply.has(tarn::u32_id(tarn::kFieldStart))) break;
    start = reply.get(tarn::u32_id(tarn::kFieldStart), 0);
  }
  if (opts.json) std::cout << "]}\n";
  return kExitOk;
}

}  // namespace

int exchangeAndPrint(const Options& opts, const std::vector<uint32_t>& path,
                     uint32_t cmd, message& request) {
  const message reply = exchange(opts, path, cmd, request);
  return printReply(opts, request, reply);
}

int printErrorReply(const Options& opts, const message& request, const message& reply) {
  unsigned code = 0;
  std::string text;
  tarn::isError(reply, &code, &text);
  printError(opts, request, code, text, payload(reply));
  return kExitErrorReply;
}

const std::vector<Verb>& verbs() {
  static const std::vector<Verb> table = {
      {"send", "PATH COMMAND [FIELD...]",
       "send a command with typed fields and print the reply", verbSend},
      {"list", "PATH", "list every object of a handler (get-all, paged)",
       verbList},
      {"snmp", kSnmpArgs, kSnmpSummary, verbSnmp},
  };
  return table;
}

}  // namespace tarnctl
