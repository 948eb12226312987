// Fuzz target: createReply on whole datagrams, as the service loop calls it.
//
// The agent is set up once: the default community "mallow" (read-only),
// "private" (read and write) and three SNMPv3 users under the engine ID
// "router": alice (authPriv, MD5 and DES), bob (authNoPriv, SHA-1), carol
// (noAuthNoPriv) and dave (authPriv, SHA-256 and AES), with their keys
// derived once. The seeds are real requests
// of net-snmp's tools for these names and passwords, so mutations start
// from messages that pass the digest, decrypt and reach the bindings. The
// engine clock is set so that message times up to 2^30 are in the window
// and later ones are not; boots is 0, as on a first start.
// Every input is answered twice: with the reply options off (the designed
// replies) and with GetBulk and the exception values on.
// FUZZ_VERBOSE=1 prints, per input, whether a reply was made and its
// length, to check that the seeds still reach the bindings.
//
// A small MIB answers: constant, provider-backed and settable scalars of
// every packer kind, so that SET values reach each decoder.
#include <arpa/inet.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "codec/oid.h"
#include "codec/wire.h"
#include "data/data.h"
#include "data/data_packers.h"
#include "data/data_provider.h"
#include "engine/context.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "engine/request.h"
#include "fuzz/fuzz_env.h"
#include "platform/message.h"
#include "security/community_fields.h"
#include "security/community_keep.h"
#include "security/engine_id.h"
#include "security/v3_server_info.h"

namespace {

struct Record : Data {
  int number = 42;
  std::string text = "router";
  OID object{1, 3, 6, 1, 4, 1, 40117};
  unsigned address = 0x0A000001;
  unsigned long long big = 1ULL << 40;
};

// Hands out one record and accepts every change in place.
class OneRecord : public DataProvider {
 public:
  Data* get() override { return &record; }
  bool set(Data*) override { return true; }
  Record record;
};

V3ServerInfo gEngine;
const unsigned kStart = 1000;
unsigned fuzzUptime() { return kStart + (1u << 30); }

void addCommunity(const std::string& name, bool write, unsigned security,
                  unsigned authProtocol, const std::string& auth,
                  const std::string& priv, unsigned privProtocol = 0) {
  tarn::message m;
  m.insert(communityf::NAME, name);
  m.insert(communityf::READ, true);
  m.insert(communityf::WRITE, write);
  m.insert(communityf::SECURITY, security);
  m.insert(communityf::AUTH_PROTOCOL, authProtocol);
  m.insert(communityf::PRIV_PROTOCOL, privProtocol);
  m.insert(communityf::AUTH_PASSWORD, auth);
  m.insert(communityf::PRIV_PASSWORD, priv);
  communityKeep->cmdAddObj(m);
}

void registerMib() {
  using namespace wire;
  static OneRecord provider;
  const OID system{1, 3, 6, 1, 2, 1, 1};
  addScalarConstStringLeaf(system + 1, "router", OCTET_STRING);
  addScalarLeaf(system + 2,
                new DataOIDPacker(field(&Record::object), OBJECT_ID),
                &provider);
  addScalarLeaf(system + 3,
                new DataNumPacker(field(&Record::number), TIMETICKS), &provider);
  addScalarLeaf(system + 4,
                new DataStringPacker(field(&Record::text), OCTET_STRING, 0),
                &provider);
  addScalarLeaf(system + 5,
                new DataIPPacker(field(&Record::address), IP_ADDRESS), &provider);
  addScalarLeaf(system + 6,
                new DataBignumPacker(field(&Record::big), COUNTER64), &provider);
  addScalarConstNumLeaf(system + 7, 78, INTEGER);
}

// The daemon keeps its leaves for life; the fuzzer exits, so it frees them
// before the registry itself goes, or the exit leak check would report them.
void freeMib() {
  for (auto& entry : leafs) {
    delete entry.second->packer;
    delete entry.second;
  }
  leafs.clear();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp();
  gEngine.engineId = formatEngineID("router");
  gEngine.engineBoots = 0;
  gEngine.startUptime = kStart;
  gEngine.timeWindow = 0x7FFFFFFF;
  v3Uptime = fuzzUptime;
  v3Engine = &gEngine;
  communityKeep = new CommunityKeep;  // lives as long as the process
  communityKeep->init();
  addCommunity("private", true, 0, 0, "", "");
  addCommunity("alice", false, 2, 0, "authpass1234", "privpass5678");
  addCommunity("bob", true, 1, 1, "bobauthpass", "");
  addCommunity("carol", false, 0, 0, "", "");
  addCommunity("dave", false, 2, 3, "daveauthpass", "daveprivpass", 1);
  communityKeep->regenerateKeys();
  registerMib();
  atexit(freeMib);
  fuzz::forgetDiagnostics();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The receive buffer holds at most 65536 bytes.
  if (size > 65536) return 0;
  static const bool verbose = getenv("FUZZ_VERBOSE") != nullptr;
  for (const bool on : {false, true}) {
    replyOptions.bulk = replyOptions.exceptions = on;
    Context ctx(data, static_cast<unsigned>(size));
    const bool replied = createReply(ctx, static_cast<int>(htonl(0x7F000001)));
    if (verbose) {
      fprintf(stderr, "reply%s: %s %zu bytes, v3 errors %u %u %u %u %u %u\n",
              on ? " (bulk, exceptions)" : "", replied ? "yes" : "no", ctx.out.data.size(),
              Context::v3counters[0], Context::v3counters[1], Context::v3counters[2],
              Context::v3counters[3], Context::v3counters[4], Context::v3counters[5]);
    }
    fuzz::forgetDiagnostics();
  }
  return 0;
}
