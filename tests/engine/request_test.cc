// Request processing end to end at the datagram level: requests (most of
// them captured from net-snmp's tools) through createReply over a small
// registered MIB, replies compared byte for byte, silent drops with their
// diagnostic lines.
#include "engine/request.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/data_packers.h"
#include "engine/context.h"
#include "platform/message.h"
#include "security/community_fields.h"
#include "security/community_keep.h"
#include "security/crypto.h"
#include "security/engine_id.h"
#include "security/v3_errors.h"
#include "security/v3_server_info.h"
#include "tests/data/fakes.h"
#include "tests/hex.h"
#include "tests/platform/test_root.h"

namespace {

using namespace wire;

struct Uptime : Data { int ticks = 42; };

const OID kDescr{1, 3, 6, 1, 2, 1, 1, 1}, kUptime{1, 3, 6, 1, 2, 1, 1, 3}, kServices{1, 3, 6, 1, 2, 1, 1, 7};

unsigned gUptime = 0;
unsigned testUptime() { return gUptime; }

// 127.0.0.1 and 10.0.1.7 as the socket gives them (network order).
const int kLocalhost = static_cast<int>(htonl(0x7F000001));
const int kOutsider = static_cast<int>(htonl(0x0A000107));

class Request : public ::testing::Test {
 protected:
  Request() : uptimeProvider(&uptime) {
    savedUptime = v3Uptime;
    v3Uptime = testUptime;
    keep.init();  // the default community "mallow"
    communityKeep = &keep;
    add("public", true, false);
    add("private", true, true);
    addScalarConstStringLeaf(kDescr, "router", OCTET_STRING);
    addScalarLeaf(kUptime, new DataNumPacker(field(&Uptime::ticks), INTEGER), &uptimeProvider);
    addScalarConstNumLeaf(kServices, 78, INTEGER);
  }
  ~Request() override {
    communityKeep = nullptr;
    v3Engine = nullptr;
    v3Uptime = savedUptime;
    replyOptions = ReplyOptions();
  }

  void add(const std::string& name, bool read, bool write, unsigned security = 0,
           unsigned address = 0, unsigned netmask = 0, unsigned authProtocol = AUTH_MD5,
           unsigned privProtocol = PRIV_DES) {
    tarn::message m;
    m.insert(communityf::NAME, name);
    m.insert(communityf::READ, read);
    m.insert(communityf::WRITE, write);
    m.insert(communityf::SECURITY, security);
    m.insert(communityf::ADDRESS, address);
    m.insert(communityf::NETMASK, netmask);
    m.insert(communityf::AUTH_PROTOCOL, authProtocol);
    m.insert(communityf::PRIV_PROTOCOL, privProtocol);
    m.insert(communityf::AUTH_PASSWORD, std::string("authpass1234"));
    m.insert(communityf::PRIV_PASSWORD, std::string("privpass5678"));
    ASSERT_TRUE(keep.cmdAddObj(m).has(tarn::u32_id(0xfe0001)));
  }

  // The reply's bytes as hex, or "no reply".
  std::string reply(const std::string& request, int from = kLocalhost) {
    std::vector<unsigned char> bytes = unhex(request);
    Context ctx(bytes.data(), static_cast<unsigned>(bytes.size()));
    return createReply(ctx, from) ? hex(ctx.out.data) : "no reply";
  }

  tarn_test::TempRoot root;
  ScopedRegistry registry;
  unsigned (*savedUptime)();
  CommunityKeep keep;
  Uptime uptime;
  FixedProvider uptimeProvider;
  diag::Capture capture;
};

// Requests captured from net-snmp 5.9.3 (request ids as they were sent).
const char kGetDescrV1[] =  // snmpget -v1 -c public sysDescr.0
    "302902010004067075626c6963a01c020447066dbf020100020100300e300c06082b06"
    "0102010101000500";
const char kGetThreeV2[] =  // snmpget -v2c -c public sysDescr.0 sysObjectID.0 sysServices.0
    "304502010104067075626c6963a03802045ed3fecd020100020100302a300c06082b06"
    "0102010101000500300c06082b060102010102000500300c06082b060102010107000500";
const char kNextSystemV2[] =  // snmpgetnext -v2c -c public system
    "302702010104067075626c6963a11a020472c85bb5020100020100300c300a06062b06"
    "010201010500";
const char kNextLastV1[] =  // snmpgetnext -v1 -c public sysServices.0
    "302902010004067075626c6963a11c02044b5f42fc020100020100300e300c06082b06"
    "0102010107000500";
const char kSetPrivateV2[] =  // snmpset -v2c -c private sysUpTime.0 i 7
    "302b020101040770726976617465a31d020441ab5bba020100020100300f300d06082b"
    "06010201010300020107";
const char kSetTwoPublicV1[] =  // snmpset -v1 -c public sysUpTime.0 i 7 sysServices.0 i 1
    "303902010004067075626c6963a32c020445b9a405020100020100301e300d06082b06"
    "010201010300020107300d06082b06010201010700020101";
const char kBulkV2[] =  // snmpbulkget -v2c -c public system
    "302702010104067075626c6963a51a020444a0a49c02010002010a300c300a06062b06"
    "010201010500";

// The binding sysDescr.0 = "router" as the agent writes it.
const char kDescrBinding[] = "3012 06082b06010201010100 0406726f75746572";

// Header variants of the captured v1 GET: version byte, community name
// (same length as "public").
std::string variant(size_t at, const char* bytes) {
  std::string r = kGetDescrV1;
  return r.replace(at, strlen(bytes), bytes);
}

TEST_F(Request, AnswersOrStaysSilent) {
  add("office", true, false, 0, htonl(0x0A000000), htonl(0xFFFFFF00));
  add("secure", true, false, 1);
  add("noread", false, false);
  const int inOffice = static_cast<int>(htonl(0x0A000007));
  const std::string descr = kDescrBinding, silent = "no reply", refused = " authentification failed\n";
  struct Case { const char* name; std::string request; int from; std::string reply; std::string err; } cases[] = {
      {"v1 get", kGetDescrV1, kLocalhost,
       "302f 020100 04067075626c6963 a222 020447066dbf 020100 020100 3014" + descr, ""},
      // The second name does not exist: status 2, index 2, the third unread.
      {"v2c get stops at the first failure", kGetThreeV2, kLocalhost,
       "303d 020101 04067075626c6963 a230 02045ed3fecd 020102 020102 3022" + descr +
           "300c 06082b06010201010200 0500", ""},
      {"v2c getnext into the group", kNextSystemV2, kLocalhost,
       "302f 020101 04067075626c6963 a222 020472c85bb5 020100 020100 3014" + descr, ""},
      // No endOfMibView, also for v2c: noSuchName at index 1.
      {"getnext past the last leaf", kNextLastV1, kLocalhost,
       "3029 020100 04067075626c6963 a21c 02044b5f42fc 020102 020101 300e 300c 06082b06010201010700 0500", ""},
      // The value is read back from the record after the SET.
      {"set by a writer", kSetPrivateV2, kLocalhost,
       "302b 020101 040770726976617465 a21d 020441ab5bba 020100 020100 300f 300d 06082b06010201010300 020107",
       "snmpSet found 1.3.6.1.2.1.1.3\n"},
      // readOnly with error index 0 and only the first binding, as NULL.
      {"set without write access", kSetTwoPublicV1, kLocalhost,
       "3029 020100 04067075626c6963 a21c 020445b9a405 020104 020100 300e 300c 06082b06010201010300 0500", ""},
      // noSuchName at index 1, the binding echoed as NULL.
      {"get without read access", variant(14, "6e6f72656164"), kLocalhost,
       "3029 020100 04066e6f72656164 a21c 020447066dbf 020102 020101 300e 300c 06082b06010201010100 0500", ""},
      // The reply carries the request's version.
      {"version 2 is answered like 1", variant(8, "02"), kLocalhost,
       "302f 020102 04067075626c6963 a222 020447066dbf 020100 020100 3014" + descr, ""},
      {"community in its network", variant(14, "6f6666696365"), inOffice,
       "302f 020100 04066f6666696365 a222 020447066dbf 020100 020100 3014" + descr, ""},
      {"getbulk is dropped", kBulkV2, kLocalhost, silent, "unknown request command\n"},
      {"version 4", variant(8, "04"), kLocalhost, silent, "version not supported\n"},
      {"unknown community", variant(14, "707562000000"), kLocalhost, silent, refused},
      {"garbage", "0102", kLocalhost, silent, ""},
      {"community outside its network", variant(14, "6f6666696365"), kOutsider, silent, refused},
      // An entry that demands v3 security is no community.
      {"community demanding security", variant(14, "736563757265"), kLocalhost, silent, refused},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    capture.clear();
    EXPECT_EQ(reply(c.request, c.from), c.reply == silent ? silent : hex(unhex(c.reply)));
    EXPECT_EQ(capture.err(), c.err);
  }
  EXPECT_EQ(uptime.ticks, 7);  // the writer's SET reached the record
}

// --- GetBulk and the exception values (both settings on) ---

// A BER element as hex: identifier, definite length, contents (hex).
std::string tlv(unsigned tag, const std::string& contents) {
  const size_t n = unhex(contents).size();
  char head[32];
  if (n < 128) {
    snprintf(head, sizeof head, "%02x%02zx", tag, n);
  } else if (n < 256) {
    snprintf(head, sizeof head, "%02x81%02zx", tag, n);
  } else {
    snprintf(head, sizeof head, "%02x82%04zx", tag, n);
  }
  return head + contents;
}

std::string integer(int v) {
  std::vector<unsigned char> b;
  for (int n = 4; n-- > 0;) b.push_back(static_cast<unsigned char>(static_cast<unsigned>(v) >> (8 * n)));
  while (b.size() > 1 && ((b[0] == 0 && b[1] < 0x80) || (b[0] == 0xFF && b[1] >= 0x80))) b.erase(b.begin());
  return tlv(INTEGER, hex(b, ""));
}

// A whole message with request id 1 (community "public" unless given in
// hex); for a request `a` and `b` are non-repeaters and max-repetitions
// (GetBulk) or zeros, for a reply the error status and index.
std::string message(int version, unsigned pduType, int a, int b, const std::string& bindings,
                    const std::string& community = "7075626c6963") {
  return tlv(SEQUENCE, integer(version) + tlv(OCTET_STRING, community) +
                           tlv(pduType, integer(1) + integer(a) + integer(b) + tlv(SEQUENCE, bindings)));
}

std::string binding(const std::string& name, const std::string& value = "0500") {
  return tlv(SEQUENCE, name + value);
}

const std::string kSystem = "06062b0601020101", kDescr0 = "06082b06010201010100",
                  kObjectId0 = "06082b06010201010200", kUptime0 = "06082b06010201010300",
                  kUptime5 = "06082b06010201010305", kOctets0 = "06082b06010201010500",
                  kServices0 = "06082b06010201010700";
const std::string kNoread = "6e6f72656164";
const std::string kDescrIs = "0406726f75746572", kUptimeIs = "02012a", kOctetsIs = "460105",
                  kServicesIs = "02014e";

std::string repeated(const std::string& binding, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += binding;
  return all;
}

// Each row: the request, the reply built by hand from the rules of the
// protocol, and the diagnostic. Counter64 object 1.3.6.1.2.1.1.5.0 added.
TEST_F(Request, BulkAndExceptions) {
  struct Octets : Data { unsigned long long count = 5; } octets;
  FixedProvider octetsProvider(&octets);
  addScalarLeaf(OID{1, 3, 6, 1, 2, 1, 1, 5}, new DataBignumPacker(field(&Octets::count), COUNTER64),
                &octetsProvider);
  replyOptions.bulk = replyOptions.exceptions = true;
  const std::string silent = "no reply", descr = binding(kDescr0, kDescrIs), uptime = binding(kUptime0, kUptimeIs),
                    counter = binding(kOctets0, kOctetsIs), services = binding(kServices0, kServicesIs);
  // 2000 repeaters of "system": one round (40000 octets) fits, two do not.
  // 4000 non-repeaters (80000 octets) do not fit at all.
  const std::string many = repeated(binding(kSystem), 2000), tooMany = repeated(binding(kSystem), 4000);
  struct Case { const char* name; std::string request, reply, err; } cases[] = {
      {"v2c get reports each missing name and keeps the others",
       message(1, GET_REQUEST, 0, 0, binding(kDescr0) + binding(kObjectId0) + binding(kUptime5) + binding(kServices0)),
       message(1, GET_RESPONSE, 0, 0,
               descr + binding(kObjectId0, "8000") + binding(kUptime5, "8100") + services), ""},
      {"v2c get of a Counter64", message(1, GET_REQUEST, 0, 0, binding(kOctets0)),
       message(1, GET_RESPONSE, 0, 0, counter), ""},
      {"v2c getnext past the end", message(1, GET_NEXT_REQUEST, 0, 0, binding(kUptime0) + binding(kServices0)),
       message(1, GET_RESPONSE, 0, 0, counter + binding(kServices0, "8200")), ""},
      {"v1 get of a Counter64 is noSuchName", message(0, GET_REQUEST, 0, 0, binding(kDescr0) + binding(kOctets0)),
       message(0, GET_RESPONSE, NO_SUCH_NAME, 2, descr + binding(kOctets0)), ""},
      {"v1 getnext steps over a Counter64", message(0, GET_NEXT_REQUEST, 0, 0, binding(kUptime0)),
       message(0, GET_RESPONSE, 0, 0, services), ""},
      {"v1 has no exception values", message(0, GET_NEXT_REQUEST, 0, 0, binding(kServices0)),
       message(0, GET_RESPONSE, NO_SUCH_NAME, 1, binding(kServices0)), ""},
      {"bulk: one non-repeater, three rounds",
       message(1, GET_BULK_REQUEST, 1, 3, binding(kDescr0) + binding(kSystem)),
       message(1, GET_RESPONSE, 0, 0, uptime + descr + uptime + counter), ""},
      {"bulk: rounds end when every repeater has ended",
       message(1, GET_BULK_REQUEST, 0, 0x7FFFFFFF, binding(kUptime0) + binding(kOctets0)),
       message(1, GET_RESPONSE, 0, 0,
               counter + services + services + binding(kServices0, "8200") + binding(kServices0, "8200") +
                   binding(kServices0, "8200")), ""},
      {"bulk: negative counts are zero", message(1, GET_BULK_REQUEST, -1, -5, binding(kSystem)),
       message(1, GET_RESPONSE, 0, 0, ""), ""},
      {"bulk: more non-repeaters than names", message(1, GET_BULK_REQUEST, 5, 2, binding(kSystem) + binding(kServices0)),
       message(1, GET_RESPONSE, 0, 0, descr + binding(kServices0, "8200")), ""},
      {"bulk: cut to whole rounds", message(1, GET_BULK_REQUEST, 0, 2, many),
       message(1, GET_RESPONSE, 0, 0, repeated(descr, 2000)), ""},
      {"bulk: tooBig when the non-repeaters do not fit", message(1, GET_BULK_REQUEST, 4000, 1, tooMany),
       message(1, GET_RESPONSE, TOO_BIG, 0, ""), ""},
      {"bulk without read access", message(1, GET_BULK_REQUEST, 0, 1, binding(kSystem), kNoread),
       message(1, GET_RESPONSE, NO_SUCH_NAME, 1, binding(kSystem), kNoread), ""},
      {"v1 bulk is dropped", message(0, GET_BULK_REQUEST, 0, 1, binding(kSystem)), silent,
       "unknown request command\n"},
  };
  add("noread", false, false);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    capture.clear();
    const std::string got = reply(c.request);
    EXPECT_EQ(got, c.reply == silent ? silent : hex(unhex(c.reply)));
    EXPECT_EQ(capture.err(), c.err);
    EXPECT_LE(unhex(got).size(), MAX_MESSAGE);
  }
}

// --- SNMPv3 ---

// A discovery probe sent by net-snmp's snmpget -v3 (no engine ID, no user).
const char kDiscovery[] =
    "303e02010330110204231df007020300ffe30401040201030410300e0400020100020100"
    "040004000400301404000400a00e020427c3109b0201000201003000";

// snmpget -v3 -l authPriv -u alice -a MD5 -A authpass1234 -x DES
// -X privpass5678 sysDescr.0, after discovery of engine "router" (text
// form), boots 7, time 1234.
const char kAliceGet[] =
    "307f0201033011020424d1c3d2020300ffe304010702010304353033040b80009cb504"
    "726f75746572020107020204d20405616c696365040cd34fd8c930e4cdcfc9d6b3da04"
    "080000000196a251910430c9410f534e2bb4d3ea86d145311db5711159171367"
    "91e32594d3ca3c1b0b711c8d1658953e9b5cb4aaedd9d712de3279";

// kAliceGet with the last octet of its authentication parameters changed.
const std::string kAliceWrongDigest = [] {
  std::string r = kAliceGet;
  return r.replace(r.find("b3da04"), 4, "b3db");
}();

// As kAliceGet, for carol with -a SHA-256 -x AES (a 24-octet MAC).
const char kCarolGet[] =
    "30818a020103301102041c202af2020300ffe30401070201030441303f040b80009cb5"
    "04726f75746572020107020204d204056361726f6c0418bc85b247554ac02816b6a8c6"
    "7ea3f84fa7318feb0d9c8f340408b53bd1cbfa39ad90042f0160d491f6b851703400e4"
    "9a0935275494e5f46dd2ae8f3c71cc4226bcd4078dfb5e78a6398ba20456c95b25c443"
    "56";

// snmpget -v3 -l noAuthNoPriv -u nobody -e <our engine ID> sysDescr.0
const char kNobodyGet[] =
    "30680201033011020465d5b975020300ffe30401040201030421301f040b80009cb504"
    "726f7574657202010002010004066e6f626f647904000400302d040b80009cb504726f"
    "757465720400a01c02043b2469a9020100020100300e300c06082b0601020101010005"
    "00";

class RequestV3 : public Request {
 protected:
  RequestV3() {
    engine.engineId = formatEngineID("router");
    engine.engineBoots = 7;
    engine.startUptime = 100;
    v3Engine = &engine;
    // alice may come from 127.0.0.1 only.
    add("alice", true, false, 2, htonl(0x7F000001), 0xFFFFFFFF);
    add("carol", true, false, 2, 0, 0, AUTH_SHA256, PRIV_AES128);
    keep.regenerateKeys();
  }

  // Decodes a reply as the manager would, with its user's keys; returns the
  // reply PDU's tag and leaves the cursor at the first binding's value,
  // its name in *name.
  int readReply(const std::string& replyHex, OID* name) {
    replyBytes = unhex(replyHex);
    in.reset(new InStream(replyBytes.data(), static_cast<unsigned>(replyBytes.size())));
    int err = v3err::NONE, v;
    EXPECT_EQ(in->getVersion(), 3);
    EXPECT_TRUE(in->readV3Info(err));
    CommunityKeep::Item none;
    const CommunityKeep::Item* user = keep.findItem(in->v3Info()->userName);
    if (!in->securityLevel || !user) user = &none;
    EXPECT_TRUE(in->decryptAndCheckSignature(err, user->authKey, user->authProtocol, user->privKey,
                                             user->privProtocol, engine));
    EXPECT_EQ(err, v3err::NONE);
    const int tag = in->getType();
    in->enterSeq();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(in->getInt(&v)) << "PDU integer " << i;
    in->enterSeq();
    in->enterSeq();
    EXPECT_TRUE(in->getOID(name));
    return tag;
  }

  V3ServerInfo engine;
  std::vector<unsigned char> replyBytes;
  std::unique_ptr<InStream> in;
};

// Each reply as the manager decodes it: a report names its counter (the
// count so far as value), in time a GET is answered, the reply carries our
// engine's identity and, when encrypted, a new salt (DES's starts with our
// boots). A report on a wrong digest goes out unauthenticated.
TEST_F(RequestV3, AnswersOrReports) {
  const int NO_REPORT = -1, NO_USER = -1;
  struct Case {
    const char* name; const char* request;
    unsigned lag;  // seconds our clock is ahead of the request's time
    int from, nobody;  // the security demanded by user "nobody"
    int tag, report, level;
  } cases[] = {
      {"discovery", kDiscovery, 0, kLocalhost, NO_USER, REPORT, v3err::UNKNOWN_ENGINE_ID, LEVEL_NONE},
      {"authPriv", kAliceGet, 0, kLocalhost, NO_USER, GET_RESPONSE, NO_REPORT, LEVEL_PRIV},
      {"authPriv SHA-256 AES", kCarolGet, 0, kLocalhost, NO_USER, GET_RESPONSE, NO_REPORT, LEVEL_PRIV},
      {"wrong digest", kAliceWrongDigest.c_str(), 0, kLocalhost, NO_USER, REPORT, v3err::WRONG_DIGEST,
       LEVEL_NONE},
      {"15 s late is in time", kAliceGet, 15, kLocalhost, NO_USER, GET_RESPONSE, NO_REPORT, LEVEL_PRIV},
      {"16 s late", kAliceGet, 16, kLocalhost, NO_USER, REPORT, v3err::NOT_IN_TIME_WINDOW, LEVEL_PRIV},
      // A refused source gets an unauthenticated report, unknown user.
      {"refused source", kAliceGet, 0, kOutsider, NO_USER, REPORT, v3err::UNKNOWN_USER_NAME, LEVEL_NONE},
      {"user without security", kNobodyGet, 0, kLocalhost, 0, GET_RESPONSE, NO_REPORT, LEVEL_NONE},
      {"user demanding authentication", kNobodyGet, 0, kLocalhost, 1, REPORT, v3err::UNSUPPORTED_SEC_LEVEL,
       LEVEL_NONE},
      {"unknown user", kNobodyGet, 0, kLocalhost, NO_USER, REPORT, v3err::UNKNOWN_USER_NAME, LEVEL_NONE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (CommunityKeep::Item* old = keep.findItem("nobody")) keep.cmdRemoveObj(tarn::message(), old->id);
    if (c.nobody != NO_USER) add("nobody", true, false, c.nobody);
    gUptime = 100 + 1234 + c.lag;
    const unsigned counted = c.report == NO_REPORT ? 0 : Context::v3counters[c.report];
    std::string r = reply(c.request, c.from);
    ASSERT_NE(r, "no reply") << capture.err();
    if (c.report != NO_REPORT) {
      EXPECT_EQ(Context::v3counters[c.report], counted + 1);
    }
    OID name;
    EXPECT_EQ(readReply(r, &name), c.tag);
    EXPECT_EQ(in->securityLevel, c.level);
    EXPECT_EQ(in->v3Info()->engineId, engine.engineId);
    EXPECT_EQ(in->v3Info()->engineBoots, 7);
    EXPECT_EQ(in->v3Info()->engineTime, static_cast<int>(1234 + c.lag));
    EXPECT_EQ(in->v3Info()->authParams.size(), c.level == LEVEL_NONE ? 0u
                                               : c.request == kCarolGet ? 24u : 12u);
    if (c.level == LEVEL_PRIV) {
      ASSERT_EQ(in->v3Info()->privParams.size(), 8u);
      if (c.request == kAliceGet) {
        EXPECT_EQ(in->v3Info()->privParams.substr(0, 4), std::string("\0\0\0\7", 4));
      }
    }
    if (c.report == NO_REPORT) {
      std::string value;
      EXPECT_EQ(name, kDescr + 0u);
      EXPECT_TRUE(in->getString(&value));
      EXPECT_EQ(value, "router");
    } else {
      int count = 0;
      EXPECT_EQ(name, OID("1.3.6.1.6.3.15.1.1") + (c.report + 1u) + 0u);
      EXPECT_EQ(in->getType(), static_cast<int>(COUNTER32));
      EXPECT_TRUE(in->getInt(&count));
      EXPECT_EQ(static_cast<unsigned>(count), Context::v3counters[c.report]);
    }
  }
}

// Every strict prefix of a valid request is handled without harm (some are
// answered: the reader is lenient about a sequence longer than the data).
TEST_F(RequestV3, PrefixesOfRequests) {
  replyOptions.bulk = replyOptions.exceptions = true;
  const std::string bulk = message(1, GET_BULK_REQUEST, 1, 3, binding(kDescr0) + binding(kSystem));
  for (const char* request : {kGetThreeV2, kSetPrivateV2, kAliceGet, bulk.c_str()}) {
    std::vector<unsigned char> full = unhex(request);
    for (size_t n = 0; n < full.size(); ++n) {
      Context ctx(full.data(), static_cast<unsigned>(n));
      diag::Capture quiet;
      // Whatever is answered is one whole message.
      if (!createReply(ctx, kLocalhost)) continue;
      InStream reply(ctx.out.data.data(), static_cast<unsigned>(ctx.out.data.size()));
      const int content = reply.enterSeq();
      EXPECT_EQ(content + reply.position(), ctx.out.data.size()) << request << " cut at " << n;
    }
  }
}

}  // namespace
