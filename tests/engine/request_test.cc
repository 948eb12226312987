// Request processing end to end at the datagram level: requests (most of
// them captured from net-snmp's tools) through createReply over a small
// registered MIB, replies compared byte for byte, silent drops with their
// diagnostic lines.
#include "engine/request.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/data_packers.h"
#include "engine/context.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "platform/message.h"
#include "security/community_keep.h"
#include "security/crypto.h"
#include "security/engine_id.h"
#include "security/v3_errors.h"
#include "security/v3_server_info.h"
#include "tests/data/fakes.h"
#include "tests/codec/hex.h"
#include "tests/platform/test_root.h"

namespace {

using namespace wire;

struct Uptime : Data {
  int ticks = 42;
};

const OID kDescr{1, 3, 6, 1, 2, 1, 1, 1};
const OID kUptime{1, 3, 6, 1, 2, 1, 1, 3};
const OID kServices{1, 3, 6, 1, 2, 1, 1, 7};

unsigned gUptime = 0;
unsigned testUptime() { return gUptime; }

// 127.0.0.1 and 10.0.1.7 as the socket gives them (network order).
const int kLocalhost = static_cast<int>(htonl(0x7F000001));
const int kOutsider = static_cast<int>(htonl(0x0A000107));

class Request : public ::testing::Test {
 protected:
  Request() : uptimeProvider(&uptime) {}

  void SetUp() override {
    saved.swap(leafs);
    savedUptime = v3Uptime;
    v3Uptime = testUptime;
    keep = new CommunityKeep;
    keep->init();  // the default community "mallow"
    communityKeep = keep;
    add("public", true, false);
    add("private", true, true);
    addScalarConstStringLeaf(kDescr, "router", OCTET_STRING);
    addScalarLeaf(kUptime, new DataNumPacker(field(&Uptime::ticks), INTEGER),
                  &uptimeProvider);
    addScalarConstNumLeaf(kServices, 78, INTEGER);
  }

  void TearDown() override {
    for (auto& entry : leafs) {
      delete entry.second->packer;
      delete entry.second;
    }
    leafs.swap(saved);
    communityKeep = nullptr;
    delete keep;
    v3Engine = nullptr;
    v3Uptime = savedUptime;
  }

  void add(const std::string& name, bool read, bool write, unsigned security = 0,
           unsigned address = 0, unsigned netmask = 0) {
    tarn::message m;
    m.insert(tarn::string_id(5), name);
    m.insert(tarn::bool_id(6), read);
    m.insert(tarn::bool_id(7), write);
    m.insert(tarn::u32_id(15), security);
    m.insert(tarn::be32_id(8), address);
    m.insert(tarn::be32_id(9), netmask);
    m.insert(tarn::string_id(11), std::string("authpass1234"));
    m.insert(tarn::string_id(12), std::string("privpass5678"));
    ASSERT_TRUE(keep->cmdAddObj(m).has(tarn::u32_id(0xfe0001)));
  }

  // The reply's bytes as hex, or "no reply".
  std::string reply(const std::string& request, int from = kLocalhost) {
    std::vector<unsigned char> bytes = hex(request);
    Context ctx(bytes.data(), static_cast<unsigned>(bytes.size()));
    if (!createReply(ctx, from)) return "no reply";
    return toHex(ctx.out.data);
  }

  std::map<OID, Leaf*> saved;
  unsigned (*savedUptime)();
  CommunityKeep* keep = nullptr;
  tarn_test::TempRoot root;
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

TEST_F(Request, AnswersOrStaysSilent) {
  struct Case {
    const char* name;
    std::string request;
    std::string reply;
    const char* errLines;
  } cases[] = {
      {"v1 get", kGetDescrV1,
       "302f 020100 04067075626c6963 a222 020447066dbf 020100 020100 3014" +
           std::string(kDescrBinding),
       ""},
      // The second name does not exist: status 2, index 2, the third unread.
      {"v2c get stops at the first failure", kGetThreeV2,
       "303d 020101 04067075626c6963 a230 02045ed3fecd 020102 020102 3022" +
           std::string(kDescrBinding) + "300c 06082b06010201010200 0500",
       ""},
      {"v2c getnext into the group", kNextSystemV2,
       "302f 020101 04067075626c6963 a222 020472c85bb5 020100 020100 3014" +
           std::string(kDescrBinding),
       ""},
      // No endOfMibView, also for v2c: noSuchName at index 1.
      {"getnext past the last leaf", kNextLastV1,
       "3029 020100 04067075626c6963 a21c 02044b5f42fc 020102 020101 300e"
       "300c 06082b06010201010700 0500",
       ""},
      // The value is read back from the record after the SET.
      {"set by a writer", kSetPrivateV2,
       "302b 020101 040770726976617465 a21d 020441ab5bba 020100 020100 300f"
       "300d 06082b06010201010300 020107",
       ""},
      // readOnly with error index 0 and only the first binding, as NULL.
      {"set without write access", kSetTwoPublicV1,
       "3029 020100 04067075626c6963 a21c 020445b9a405 020104 020100 300e"
       "300c 06082b06010201010300 0500",
       ""},
      {"getbulk is dropped", kBulkV2, "no reply", "unknown request command\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    capture.clear();
    EXPECT_EQ(reply(c.request), c.reply == "no reply" ? c.reply : toHex(hex(c.reply)));
    std::string err = capture.err();
    // The SET handler names the leaf it found; that line is checked below.
    if (err.rfind("snmpSet found ", 0) == 0) err.erase(0, err.find('\n') + 1);
    EXPECT_EQ(err, c.errLines);
  }
  EXPECT_EQ(uptime.ticks, 7);  // the writer's SET reached the record
}

TEST_F(Request, SetNamesTheLeafItFound) {
  reply(kSetPrivateV2);
  EXPECT_EQ(capture.err(), "snmpSet found 1.3.6.1.2.1.1.3\n");
}

// Header variants made from the captured v1 GET.
TEST_F(Request, VersionsAndCommunities) {
  std::string v2 = kGetDescrV1, v4 = kGetDescrV1, unknown = kGetDescrV1;
  v2.replace(8, 2, "02");
  v4.replace(8, 2, "04");
  unknown.replace(14, 12, "707562000000");  // "pub\0\0\0"
  struct Case {
    const char* name;
    std::string request;
    int from;
    bool answered;
    const char* err;
  } cases[] = {
      {"version 2 is answered like 1", v2, kLocalhost, true, ""},
      {"version 4", v4, kLocalhost, false, "version not supported\n"},
      {"unknown community", unknown, kLocalhost, false, " authentification failed\n"},
      {"garbage", "0102", kLocalhost, false, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    capture.clear();
    std::string r = reply(c.request, c.from);
    EXPECT_EQ(r != "no reply", c.answered) << r;
    EXPECT_EQ(capture.err(), c.err);
  }
  // The reply carries the request's version.
  EXPECT_EQ(reply(v2).substr(0, 14), "30 2F 02 01 02");
}

TEST_F(Request, CommunityAddressAndSecurityChecks) {
  add("office", true, false, 0, htonl(0x0A000000), htonl(0xFFFFFF00));
  add("secure", true, false, 1);
  std::string office = kGetDescrV1, secure = kGetDescrV1;
  // Same length names: "public" -> "office" / "secure".
  office.replace(14, 12, "6f6666696365");
  secure.replace(14, 12, "736563757265");
  EXPECT_NE(reply(office, static_cast<int>(htonl(0x0A000007))), "no reply");
  EXPECT_EQ(reply(office, kOutsider), "no reply");
  // An entry that demands v3 security is no community.
  EXPECT_EQ(reply(secure), "no reply");
  EXPECT_EQ(capture.err(), " authentification failed\n authentification failed\n");
}

TEST_F(Request, ReadAccessIsRequiredForGet) {
  add("noread", false, false);
  std::string noread = kGetDescrV1;
  noread.replace(14, 12, "6e6f72656164");
  // noSuchName at index 1, the binding echoed as NULL.
  EXPECT_EQ(reply(noread),
            toHex(hex("3029 020100 04066e6f72656164 a21c 020447066dbf 020102 020101"
                      "300e 300c 06082b06010201010100 0500")));
}

// Every strict prefix of a valid request is handled without harm.
TEST_F(Request, PrefixesOfARequest) {
  std::vector<unsigned char> full = hex(kGetThreeV2);
  for (size_t n = 0; n < full.size(); ++n) {
    Context ctx(full.data(), static_cast<unsigned>(n));
    createReply(ctx, kLocalhost);
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

class RequestV3 : public Request {
 protected:
  void SetUp() override {
    Request::SetUp();
    engine.engineId = formatEngineID("router");
    engine.engineBoots = 7;
    engine.startUptime = 100;
    gUptime = 100 + 1234;
    v3Engine = &engine;
    // alice may come from 127.0.0.1 only.
    add("alice", true, false, 2, htonl(0x7F000001), 0xFFFFFFFF);
    keep->regenerateKeys();
  }

  // Decodes a reply as the manager would, with alice's keys, and returns
  // the reply PDU's tag; the cursor is left at the PDU.
  int readReply(const std::string& replyHex, InStream** kept) {
    replyBytes = hex(replyHex);
    InStream* in = new InStream(replyBytes.data(), static_cast<unsigned>(replyBytes.size()));
    *kept = in;
    int err = v3err::NONE;
    EXPECT_EQ(in->getVersion(), 3);
    EXPECT_TRUE(in->readV3Info(err));
    const CommunityKeep::Item* alice = keep->findItem("alice");
    const bool secured = in->securityLevel > 0;
    EXPECT_TRUE(in->decryptAndCheckSignature(
        err, secured ? alice->authKey : std::vector<unsigned char>(), 0,
        secured ? alice->privKey : std::vector<unsigned char>(), 0, engine));
    EXPECT_EQ(err, v3err::NONE);
    return in->getType();
  }

  V3ServerInfo engine;
  std::vector<unsigned char> replyBytes;
};

TEST_F(RequestV3, DiscoveryIsAnsweredWithAReport) {
  const unsigned before = Context::v3counters[v3err::UNKNOWN_ENGINE_ID];
  std::string r = reply(kDiscovery);
  ASSERT_NE(r, "no reply");
  InStream* in;
  EXPECT_EQ(readReply(r, &in), REPORT);
  EXPECT_EQ(in->v3Info()->engineId, engine.engineId);
  EXPECT_EQ(in->v3Info()->engineBoots, 7);
  EXPECT_EQ(in->v3Info()->engineTime, 1234);
  // request id, status, index, then usmStatsUnknownEngineIDs.0.
  int v;
  in->enterSeq();
  EXPECT_TRUE(in->getInt(&v) && in->getInt(&v) && in->getInt(&v));
  in->enterSeq();
  in->enterSeq();
  OID name;
  EXPECT_TRUE(in->getOID(&name));
  EXPECT_EQ(name, OID("1.3.6.1.6.3.15.1.1.4.0"));
  EXPECT_EQ(in->getType(), static_cast<int>(COUNTER32));
  EXPECT_TRUE(in->getInt(&v));
  EXPECT_EQ(static_cast<unsigned>(v), before + 1);
  EXPECT_EQ(Context::v3counters[v3err::UNKNOWN_ENGINE_ID], before + 1);
  delete in;
}

TEST_F(RequestV3, AuthPrivRequestIsAnsweredEncrypted) {
  std::string r = reply(kAliceGet);
  ASSERT_NE(r, "no reply") << capture.err();
  InStream* in;
  EXPECT_EQ(readReply(r, &in), GET_RESPONSE);
  EXPECT_EQ(in->securityLevel, LEVEL_PRIV);
  // The reply's salt is new and starts with our boots.
  ASSERT_EQ(in->v3Info()->privParams.size(), 8u);
  EXPECT_EQ(in->v3Info()->privParams.substr(0, 4), std::string("\0\0\0\7", 4));
  int v;
  in->enterSeq();
  EXPECT_TRUE(in->getInt(&v) && in->getInt(&v) && in->getInt(&v));
  in->enterSeq();
  in->enterSeq();
  OID name;
  std::string value;
  EXPECT_TRUE(in->getOID(&name) && in->getString(&value));
  EXPECT_EQ(value, "router");
  delete in;
}

TEST_F(RequestV3, SecurityFailuresAreReported) {
  struct Case {
    const char* name;
    unsigned lag;  // seconds our clock is ahead of the request's time
    int from;
    int tag, report, level;
  } cases[] = {
      {"15 s late is in time", 15, kLocalhost, GET_RESPONSE, -1, LEVEL_PRIV},
      {"16 s late", 16, kLocalhost, REPORT, v3err::NOT_IN_TIME_WINDOW, LEVEL_PRIV},
      // A refused source gets an unauthenticated report, unknown user.
      {"refused source", 0, kOutsider, REPORT, v3err::UNKNOWN_USER_NAME, LEVEL_NONE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    gUptime = 100 + 1234 + c.lag;
    std::string r = reply(kAliceGet, c.from);
    ASSERT_NE(r, "no reply");
    InStream* in;
    EXPECT_EQ(readReply(r, &in), c.tag);
    EXPECT_EQ(in->securityLevel, c.level);
    if (c.report >= 0) {
      int v;
      OID name;
      in->enterSeq();
      EXPECT_TRUE(in->getInt(&v) && in->getInt(&v) && in->getInt(&v));
      in->enterSeq();
      in->enterSeq();
      EXPECT_TRUE(in->getOID(&name));
      EXPECT_EQ(name, OID("1.3.6.1.6.3.15.1.1") + (c.report + 1u) + 0u);
    }
    delete in;
  }
}

// snmpget -v3 -l noAuthNoPriv -u nobody -e <our engine ID> sysDescr.0
const char kNobodyGet[] =
    "30680201033011020465d5b975020300ffe30401040201030421301f040b80009cb504"
    "726f7574657202010002010004066e6f626f647904000400302d040b80009cb504726f"
    "757465720400a01c02043b2469a9020100020100300e300c06082b0601020101010005"
    "00";

// A noAuthNoPriv request: answered for a user without security, reported
// for a user that demands authentication or an unknown one.
TEST_F(RequestV3, NoAuthRequestByUserSecurity) {
  struct Case {
    const char* name;
    int security;  // -1: no such user
    int tag, report;
  } cases[] = {
      {"user without security", 0, GET_RESPONSE, -1},
      {"user demanding authentication", 1, REPORT, v3err::UNSUPPORTED_SEC_LEVEL},
      {"unknown user", -1, REPORT, v3err::UNKNOWN_USER_NAME},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (CommunityKeep::Item* old = keep->findItem("nobody"))
      keep->cmdRemoveObj(tarn::message(), old->id);
    if (c.security >= 0) add("nobody", true, false, c.security);
    std::string r = reply(kNobodyGet);
    ASSERT_NE(r, "no reply");
    std::vector<unsigned char> bytes = hex(r);
    InStream in(bytes.data(), static_cast<unsigned>(bytes.size()));
    int err = v3err::NONE;
    EXPECT_EQ(in.getVersion(), 3);
    ASSERT_TRUE(in.readV3Info(err));
    EXPECT_EQ(in.securityLevel, LEVEL_NONE);
    ASSERT_TRUE(in.decryptAndCheckSignature(err, {}, 0, {}, 0, engine));
    EXPECT_EQ(in.getType(), c.tag);
    if (c.report < 0) continue;
    int v;
    OID name;
    in.enterSeq();
    EXPECT_TRUE(in.getInt(&v) && in.getInt(&v) && in.getInt(&v));
    in.enterSeq();
    in.enterSeq();
    EXPECT_TRUE(in.getOID(&name));
    EXPECT_EQ(name, OID("1.3.6.1.6.3.15.1.1") + (c.report + 1u) + 0u);
  }
}

}  // namespace
