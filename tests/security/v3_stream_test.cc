// SNMPv3 header, privacy and authentication through the streams: our own
// messages round-tripped, requests captured from net-snmp, hostile input.
#include <gtest/gtest.h>

#include <algorithm>

#include "codec/diag.h"
#include "codec/in_stream.h"
#include "codec/out_stream.h"
#include "security/crypto.h"
#include "security/engine_id.h"
#include "security/v3_errors.h"
#include "security/v3_server_info.h"
#include "tests/hex.h"

namespace {

using Bytes = std::vector<unsigned char>;

unsigned gUptime = 0;
unsigned testUptime() { return gUptime; }

struct Keys {
  Bytes auth;  // pad blocks
  Bytes priv;  // localized key
};
Keys keysFor(unsigned protocol, const std::string& authPass,
             const std::string& privPass, const std::string& engine) {
  return {bKeyToDKey(
              aKeyToBKey(passwordToAKey(authPass, protocol), engine, protocol),
              protocol),
          aKeyToBKey(passwordToAKey(privPass, protocol), engine, protocol)};
}

class V3Stream : public ::testing::Test {
 protected:
  void SetUp() override {
    v3Uptime = testUptime;
    gUptime = 1000 + 5000;  // engine time 5000
    server = {7, 1000, 15, formatEngineID("router")};
    info.msgId = 77;
    info.maxSize = 65507;
    info.securityModel = 3;
    info.engineId = info.contextEngineId = server.engineId;
    info.engineBoots = 7;
    info.engineTime = 5000;
    info.userName = "alice";
    info.authParams = std::string(12, '\0');
    info.privParams = makeSalt(7);
  }
  void TearDown() override { v3Uptime = systemUptimeSeconds; }

  // A GetRequest of sysDescr.0 carrying a string value of `valueLen` bytes
  // (long values make endSeq insert length octets).
  Bytes build(int level, const Keys& k, unsigned protocol, size_t valueLen,
              unsigned priv = PRIV_DES) {
    static const char* const kFlags[] = {"\x04", "\x05", "\x07"};
    info.flags = kFlags[level];
    OutStream out;
    out.securityLevel = level;
    out.startSeq(0x30);
    out.add(3, 0x02);
    out.writeV3Info(&info);
    out.startSeq(0xA0);
    out.add(1234, 0x02);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(0x30);
    out.addVarBind({OID("1.3.6.1.2.1.1.1.0"), 4, std::string(valueLen, 'x')});
    out.endSeq();
    out.endSeq();
    out.cryptPacket(&info, k.priv, priv);
    out.endSeq();
    out.signPacket(&info, k.auth, protocol);
    return out.data;
  }

  // Reads a message through the security checks; true if both succeed.
  bool check(InStream& in, int& err, const Keys& k, unsigned protocol,
             unsigned priv = PRIV_DES) {
    err = v3err::NONE;
    return in.getVersion() == 3 && in.readV3Info(err) &&
           in.decryptAndCheckSignature(err, k.auth, protocol, k.priv, priv,
                                       server);
  }

  // Expects the cursor at a GetRequest for `name` and returns its value.
  static std::string readPdu(InStream& in, const char* name) {
    int skip;
    OID oid;
    std::string value;
    EXPECT_EQ(in.getType(), 0xA0);
    EXPECT_GE(in.enterSeq(), 0);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(in.getInt(&skip)) << "PDU integer " << i;
    EXPECT_GE(in.enterSeq(), 0);
    EXPECT_GE(in.enterSeq(), 0);
    EXPECT_TRUE(in.getOID(&oid));
    EXPECT_EQ(oid, OID(name));
    if (in.getType() == 0x04) {
      EXPECT_TRUE(in.getString(&value));
    }
    return value;
  }

  V3ServerInfo server;
  V3Info info;
};

// Every authentication protocol with the MAC length it carries, and both
// ciphers. A reply's salt is new: DES's starts with our boots, AES's counts
// up by one per message.
TEST_F(V3Stream, RoundTripEverySizeAndLevel) {
  const auto counter = [](const std::string& salt) {
    unsigned long long value = 0;
    for (char ch : salt) value = value << 8 | static_cast<unsigned char>(ch);
    return value;
  };
  std::string lastAesSalt;
  for (unsigned protocol = 0; protocol < DIGEST_COUNT; ++protocol) {
    const Keys k = keysFor(protocol, "authpass1", "privpass1", server.engineId);
    info.authParams = std::string(macLength(protocol), '\0');
    for (unsigned priv : {PRIV_DES, PRIV_AES128}) {
      for (int level : {0, 1, 2}) {
        for (size_t valueLen : {3, 120, 200, 400}) {
          SCOPED_TRACE(testing::Message() << protocol << " " << priv << " " << level << " "
                                          << valueLen);
          Bytes msg = build(level, k, protocol, valueLen, priv);
          InStream in(msg.data(), static_cast<unsigned>(msg.size()));
          int err;
          ASSERT_TRUE(check(in, err, k, protocol, priv));
          EXPECT_EQ(err, v3err::NONE);
          EXPECT_EQ(in.securityLevel, level);
          const V3Info& got = *in.v3Info();
          EXPECT_EQ(got.msgId, 77);
          EXPECT_EQ(got.userName, "alice");
          EXPECT_EQ(got.engineBoots, 7);
          EXPECT_EQ(got.engineTime, 5000);
          EXPECT_EQ(got.contextEngineId, server.engineId);
          EXPECT_EQ(readPdu(in, "1.3.6.1.2.1.1.1.0"), std::string(valueLen, 'x'));
          if (level < 2) continue;
          // DES pads with 5s to whole blocks; AES does not pad.
          const Bytes pad(in.data.begin() + in.position(), in.data.end());
          ASSERT_EQ(got.privParams.size(), 8u);
          if (priv == PRIV_DES) {
            EXPECT_LT(pad.size(), 8u);
            EXPECT_EQ(pad, Bytes(pad.size(), 5));
            EXPECT_EQ(got.privParams.substr(0, 4), std::string("\0\0\0\7", 4));
          } else {
            EXPECT_TRUE(pad.empty());
            if (!lastAesSalt.empty()) {
              EXPECT_EQ(counter(got.privParams), counter(lastAesSalt) + 1);
            }
            lastAesSalt = got.privParams;
          }
        }
      }
    }
  }
}

// Security failures of a signed and encrypted message, with the error each
// raises and the level its reply goes out at; the message still decodes so
// that a report can be built. The window is one-sided (a time ahead of ours
// fails). The digest is compared over the received authentication
// parameters from 12 octets up to the whole digest; shorter ones fail even
// when they are the digest's first octets. A failed digest or decryption
// check (AES salt not 8 octets) leaves the reply unsigned and unencrypted,
// and is found before the time window and the decryption; such a message
// is not decrypted, a stand-in PDU is read instead. (The window's edge and
// a wrong key: the net-snmp captures below.)
TEST_F(V3Stream, SecurityFailures) {
  using namespace v3err;
  const Keys good = keysFor(AUTH_MD5, "authpass1", "priv1", server.engineId);
  const int PRIV = 2, NO = 0;
  struct {
    int boots, time;
    const char* engine;
    size_t authLen;
    unsigned priv;
    size_t saltLen;
    int err, level;
  } cases[] = {
      {7, 5000, "router", 12, PRIV_DES, 8, NONE, PRIV},
      {7, 5001, "router", 12, PRIV_DES, 8, NOT_IN_TIME_WINDOW, PRIV},  // ahead
      {8, 5000, "router", 12, PRIV_DES, 8, NOT_IN_TIME_WINDOW, PRIV},
      {7, 5000, "other", 12, PRIV_DES, 8, UNKNOWN_ENGINE_ID, PRIV},
      {7, 5000, "router", 16, PRIV_DES, 8, NONE, PRIV},
      {7, 5000, "router", 11, PRIV_DES, 8, WRONG_DIGEST, NO},
      {7, 5000, "router", 1, PRIV_DES, 8, WRONG_DIGEST, NO},
      {7, 5000, "router", 0, PRIV_DES, 8, WRONG_DIGEST, NO},
      {7, 5000, "router", 20, PRIV_DES, 8, WRONG_DIGEST, NO},  // > MD5 size
      {7, 5001, "router", 0, PRIV_DES, 8, WRONG_DIGEST, NO},
      {7, 5000, "router", 12, PRIV_AES128, 8, NONE, PRIV},
      {7, 5000, "router", 12, PRIV_AES128, 7, DECRYPTION_ERROR, NO},
      {7, 5000, "router", 12, PRIV_AES128, 0, DECRYPTION_ERROR, NO},
      {7, 5000, "router", 12, PRIV_AES128, 9, DECRYPTION_ERROR, NO},
      {7, 5000, "router", 1, PRIV_AES128, 7, WRONG_DIGEST, NO},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.time << c.engine << c.authLen << " " << c.priv
                                    << c.saltLen);
    info.engineBoots = c.boots;
    info.engineTime = c.time;
    info.engineId = info.contextEngineId = formatEngineID(c.engine);
    info.authParams = std::string(c.authLen, '\0');
    info.privParams = std::string(c.saltLen, '\x42');
    Bytes msg = build(2, good, AUTH_MD5, 10, c.priv);
    InStream in(msg.data(), static_cast<unsigned>(msg.size()));
    int err;
    ASSERT_TRUE(check(in, err, good, AUTH_MD5, c.priv));
    EXPECT_EQ(err, c.err);
    EXPECT_EQ(in.securityLevel, c.level);
    const V3Info& got = *in.v3Info();
    EXPECT_EQ(got.engineId, server.engineId);
    EXPECT_EQ(got.contextEngineId, server.engineId);
    EXPECT_EQ(got.flags[0] & 3, c.level == PRIV ? 3 : 0);
    EXPECT_EQ(got.authParams.empty(), c.level == NO);
    EXPECT_EQ(got.privParams.size(), c.level == PRIV ? 8u : 0u);
    if (c.level == NO) {
      // Read in place of the PDU: a GetRequest, request id 0, no bindings,
      // for the report.
      int id = -1, skip;
      EXPECT_EQ(in.getType(), 0xA0);
      EXPECT_GE(in.enterSeq(), 0);
      EXPECT_TRUE(in.getInt(&id));
      EXPECT_TRUE(in.getInt(&skip));
      EXPECT_TRUE(in.getInt(&skip));
      EXPECT_EQ(in.enterSeq(), 0);
      EXPECT_EQ(id, 0);
    } else {
      EXPECT_EQ(readPdu(in, "1.3.6.1.2.1.1.1.0"), "xxxxxxxxxx");
    }
  }
}

TEST_F(V3Stream, FlagsAndClearing) {
  Bytes msg = build(0, {}, AUTH_MD5, 1);
  // 30 L 02 01 03 30 L 02 01 4D 02 03 00 FF E3 04 01 <flags>
  const size_t flagsAt = 17;
  ASSERT_EQ(msg[flagsAt - 2], 0x04);
  ASSERT_EQ(msg[flagsAt - 1], 0x01);
  struct {
    unsigned char flags;
    int level, err;
  } cases[] = {{0x04, 0, v3err::NONE},
               {0x01, 1, v3err::NONE},
               {0x03, 2, v3err::NONE},
               {0x02, 0, v3err::UNSUPPORTED_SEC_LEVEL},
               {0x06, 0, v3err::UNSUPPORTED_SEC_LEVEL}};
  for (const auto& c : cases) {
    msg[flagsAt] = c.flags;
    InStream in(msg.data(), static_cast<unsigned>(msg.size()));
    int err = v3err::NONE;
    ASSERT_EQ(in.getVersion(), 3);
    ASSERT_TRUE(in.readV3Info(err));
    EXPECT_EQ(in.securityLevel, c.level);
    EXPECT_EQ(err, c.err);
    in.clearAuthPrivInfo();
    EXPECT_EQ(in.v3Info()->flags[0], c.flags & 0x04);
    EXPECT_TRUE(in.v3Info()->authParams.empty());
    EXPECT_TRUE(in.v3Info()->privParams.empty());
  }
}

// GetRequests for sysDescr.0 / sysName.0 sent by net-snmp 5.9.3's snmpget
// (-v3 -l authPriv ... 127.0.0.1:PORT OID) to a responder that answered its
// discovery probe with the engine ID, boots and time below.
struct Captured {
  unsigned protocol, priv;
  const char *user, *authPass, *privPass, *engineHex;
  int boots, time;
  const char *oid, *hex;
} const kCaptured[] = {
    {AUTH_MD5, PRIV_DES, "alice", "authpass1234", "privpass5678",
     "80009cb504726f75746572", 7, 1234, "1.3.6.1.2.1.1.1.0",
     "307f0201033011020424d1c3d2020300ffe304010702010304353033040b80009cb504"
     "726f75746572020107020204d20405616c696365040cd34fd8c930e4cdcfc9d6b3da04"
     "080000000196a251910430c9410f534e2bb4d3ea86d145311db5711159171367"
     "91e32594d3ca3c1b0b711c8d1658953e9b5cb4aaedd9d712de3279"},
    {AUTH_SHA1, PRIV_DES, "bob", "shaauthpass", "shaprivpass", "80009cb504726f75746572",
     3, 100000, "1.3.6.1.2.1.1.5.0",
     "307e020103301102043e3944e7020300ffe304010702010304343032040b80009cb504"
     "726f7574657202010302030186a00403626f62040c6e536cffb534bd6a6ec7a4f30408"
     "00000001efe9f98c04308b9f805d7cb4d122efe31ef5f3aa81e7cfd0495aca016cf105"
     "c34fddd93b448fdc14cb93527e8c29c4c418e30814539a"},
    // -a SHA-256 -x AES: a 24-octet MAC, an 8-octet salt, no padding.
    {AUTH_SHA256, PRIV_AES128, "carol", "authpass1234", "privpass5678",
     "80009cb504726f75746572", 7, 1234, "1.3.6.1.2.1.1.1.0",
     "30818a020103301102041c202af2020300ffe30401070201030441303f040b80009cb5"
     "04726f75746572020107020204d204056361726f6c0418bc85b247554ac02816b6a8c6"
     "7ea3f84fa7318feb0d9c8f340408b53bd1cbfa39ad90042f0160d491f6b851703400e4"
     "9a0935275494e5f46dd2ae8f3c71cc4226bcd4078dfb5e78a6398ba20456c95b25c443"
     "56"},
};

TEST_F(V3Stream, NetSnmpRequestsAuthenticateAndDecrypt) {
  for (const Captured& c : kCaptured) {
    SCOPED_TRACE(c.user);
    server.engineId = unhexString(c.engineHex);
    server.engineBoots = c.boots;
    const Keys k = keysFor(c.protocol, c.authPass, c.privPass, server.engineId);
    const Bytes msg = unhex(c.hex);
    // In the window, just out of it, and with a key one bit off (then the
    // PDU is not decrypted).
    for (unsigned lag : {0u, 15u, 16u, 99u}) {
      gUptime = server.startUptime + c.time + (lag == 99 ? 0 : lag);
      Keys used = k;
      if (lag == 99) used.auth[0] ^= 1;
      InStream in(msg.data(), static_cast<unsigned>(msg.size()));
      int err;
      ASSERT_TRUE(check(in, err, used, c.protocol, c.priv));
      EXPECT_EQ(err, lag <= 15   ? v3err::NONE
                     : lag == 16 ? v3err::NOT_IN_TIME_WINDOW
                                 : v3err::WRONG_DIGEST);
      EXPECT_EQ(in.v3Info()->userName, c.user);
      if (lag != 99) readPdu(in, c.oid);
    }
  }
}

TEST_F(V3Stream, HostileInputFailsCleanly) {
  diag::Capture quiet;
  const Captured& c = kCaptured[0];
  server.engineId = unhexString(c.engineHex);
  const Keys k = keysFor(c.protocol, c.authPass, c.privPass, server.engineId);
  const Bytes msg = unhex(c.hex);
  const Bytes plain = build(1, k, c.protocol, 20);
  for (const Bytes* whole : {&msg, &plain}) {
    for (size_t n = 0; n < whole->size(); ++n) {
      InStream in(whole->data(), static_cast<unsigned>(n));
      int err;
      EXPECT_FALSE(check(in, err, k, c.protocol)) << n;
    }
  }
  // Ciphertexts that are no whole number of blocks, or empty, signed again
  // so that they are decrypted: the scoped PDU does not decode, and nothing
  // reads out of bounds.
  const size_t cipherAt = msg.size() - 50;  // 04 30, then 48 bytes
  const size_t macAt = 57;                  // after 04 0c
  ASSERT_EQ(msg[cipherAt], 0x04);
  ASSERT_EQ(msg[macAt - 1], 0x0c);
  for (unsigned len : {13u, 7u, 1u, 0u}) {
    Bytes cut(msg.begin(), msg.begin() + cipherAt + 2 + len), mac;
    cut[1] = static_cast<unsigned char>(cut.size() - 2);
    cut[cipherAt + 1] = static_cast<unsigned char>(len);
    ASSERT_TRUE(digestMessage(mac, cut, k.auth, macAt, 12, c.protocol));
    std::copy_n(mac.begin(), 12, cut.begin() + macAt);
    InStream in(cut.data(), static_cast<unsigned>(cut.size()));
    int err;
    EXPECT_FALSE(check(in, err, k, c.protocol)) << len;
  }
}

}  // namespace
