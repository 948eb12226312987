#include "security/crypto.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/security/hex_util.h"

namespace {

const std::string kRfcEngine = unhexString("000000000000000000000002");

// RFC 3414 A.3.1 / A.3.2, plus an empty password (empty key, localisation
// of the engine ID alone) and a password whose length does not divide 64.
struct KeyCase {
  unsigned protocol;
  const char* password;
  const char* key;
  const char* localized;
};
const KeyCase kKeyCases[] = {
    {AUTH_MD5, "maplesyrup", "9faf3283884e92834ebc9847d8edd963",
     "526f5eed9fcce26f8964c2930787d82b"},
    {AUTH_SHA1, "maplesyrup", "9fb5cc0381497b3793528939ff788d5d79145211",
     "6695febc9288e36282235fc7151f128497b38f3f"},
    {AUTH_MD5, "", "", "768fb32dcd075dfa5863ffebc4b751c7"},
    {AUTH_SHA1, "", "", "7a5836fe287e11ac39ee88d3c0794916d50b73c3"},
    {AUTH_MD5, "abc", "992d2d55392e2045ee1e0711ca73c6eb", nullptr},
    {AUTH_SHA1, "abc", "a73b9f27faa08a02ff4d3fe25dcc0249f9d903a0", nullptr},
};

TEST(Crypto, PasswordToKeyAndLocalisation) {
  for (const KeyCase& c : kKeyCases) {
    SCOPED_TRACE(std::string(c.password) + " protocol " +
                 std::to_string(c.protocol));
    std::vector<unsigned char> key = passwordToAKey(c.password, c.protocol);
    EXPECT_EQ(hex(key), c.key);
    EXPECT_EQ(key, passwordToAKey(c.password, methods[c.protocol]));
    if (c.localized) {
      EXPECT_EQ(hex(aKeyToBKey(key, kRfcEngine, c.protocol)), c.localized);
    }
  }
}

TEST(Crypto, UnknownProtocolGivesNothing) {
  EXPECT_EQ(digestOf(2), nullptr);
  EXPECT_TRUE(passwordToAKey("maplesyrup", 2u).empty());
  EXPECT_TRUE(aKeyToBKey(unhex("01"), kRfcEngine, 7u).empty());
  EXPECT_EQ(digestSize(methods[AUTH_MD5]), 16u);
  EXPECT_EQ(digestSize(methods[AUTH_SHA1]), 20u);
}

TEST(Crypto, PadBlocks) {
  std::vector<unsigned char> pads = bKeyToDKey(unhex("01ff"), AUTH_MD5);
  ASSERT_EQ(pads.size(), PAD_BLOCKS_SIZE);
  EXPECT_EQ(pads[0], 0x37);
  EXPECT_EQ(pads[1], 0xc9);
  EXPECT_EQ(pads[2], 0x36);
  EXPECT_EQ(pads[64], 0x5d);
  EXPECT_EQ(pads[65], 0xa3);
  EXPECT_EQ(pads[127], 0x5c);
  // Longer keys are cut, not hashed.
  std::vector<unsigned char> longKey(70, 0x11);
  EXPECT_EQ(bKeyToDKey(longKey, AUTH_SHA1)[63], 0x11 ^ 0x36);
}

// RFC 2202 HMAC vectors, computed with the key's pad blocks. The message is
// framed by 3 bytes on each side with a 4-byte field in the middle that must
// count as zeros, and come back unchanged.
struct HmacCase {
  unsigned protocol;
  const char* key;
  const char* data;
  const char* mac;
};
const HmacCase kHmacCases[] = {
    {AUTH_MD5, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265",
     "9294727a3638bb1c13f48ef8158bfc9d"},
    {AUTH_MD5, "4a656665",
     "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
     "750c783e6ab0b503eaa86e310a5db738"},
    {AUTH_SHA1, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265",
     "b617318655057264e28bc0b6fb378c8ef146be00"},
    {AUTH_SHA1, "4a656665",
     "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
     "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
};

TEST(Crypto, DigestMessageIsHmacWithZeroedField) {
  for (const HmacCase& c : kHmacCases) {
    SCOPED_TRACE(c.mac);
    std::vector<unsigned char> pads = bKeyToDKey(unhex(c.key), c.protocol);
    std::vector<unsigned char> digest;
    std::vector<unsigned char> msg = unhex(c.data);
    ASSERT_TRUE(digestMessage(digest, msg, pads, 0, 0, c.protocol));
    EXPECT_EQ(hex(digest), c.mac);

    // The same data with a filled field: the field is hashed as zeros.
    std::vector<unsigned char> framed = unhex(c.data);
    framed.insert(framed.begin() + 3, {0xde, 0xad, 0xbe, 0xef});
    std::vector<unsigned char> zeroed = unhex(c.data);
    zeroed.insert(zeroed.begin() + 3, 4, 0);
    const std::vector<unsigned char> before = framed;
    std::vector<unsigned char> expected;
    ASSERT_TRUE(digestMessage(expected, zeroed, pads, 0, 0, c.protocol));
    ASSERT_TRUE(digestMessage(digest, framed, pads, 3, 4, c.protocol));
    EXPECT_EQ(digest, expected);
    EXPECT_EQ(framed, before);
  }
}

TEST(Crypto, DigestMessageRefusesBadInput) {
  std::vector<unsigned char> digest{1}, msg(10, 7);
  const std::vector<unsigned char> pads = bKeyToDKey({}, AUTH_MD5);
  EXPECT_FALSE(digestMessage(digest, msg, {}, 0, 0, AUTH_MD5));
  EXPECT_TRUE(digest.empty());
  EXPECT_FALSE(digestMessage(digest, msg, pads, 8, 3, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 11, 0, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 0, 0, 5u));
  EXPECT_EQ(msg, std::vector<unsigned char>(10, 7));
  EXPECT_TRUE(digestMessage(digest, msg, pads, 10, 0, AUTH_MD5));
}

// Known answers from `openssl enc -des-cbc -nopad` (legacy provider) with
// K = key bytes 0-7 and IV = key bytes 8-15 XOR salt.
TEST(Crypto, DesCbcKnownAnswer) {
  const std::vector<unsigned char> key =
      unhex("0123456789abcdef f0e1d2c3b4a59687");
  const std::string salt = unhexString("000000010e5b085b");
  struct {
    const char* plain;
    const char* cipher;
  } cases[] = {
      {"534e4d5076332073636f7065642050445505050505050505",
       "492b3ccab38259b46d81a4b7edf74550afc980dd5eb6fc32"},
      // A partial last block is enciphered zero-filled and cut back.
      {"534e4d5076332073636f7065", "492b3ccab38259b4e6cd6f7f"},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::string out, back;
    cryptMessageDES(salt, key, unhexString(c.plain), out, 1);
    EXPECT_EQ(hex(out), c.cipher);
    cryptMessageDES(salt, key, out, back, 0);
    if (out.size() % 8 == 0) {
      EXPECT_EQ(hex(back), c.plain);
    }
    EXPECT_EQ(back.size(), out.size());
  }
  std::string out = "stale";
  cryptMessageDES(salt, unhex("01020304050607"), "12345678", out, 1);
  EXPECT_TRUE(out.empty());
}

// Password to key runs for every user at start and on each engine ID
// change; it must stay far below a second for both digests.
TEST(Crypto, PasswordToKeyIsFast) {
  auto start = std::chrono::steady_clock::now();
  for (unsigned p = 0; p < DIGEST_COUNT; ++p)
    ASSERT_FALSE(passwordToAKey("a longer pass phrase", p).empty());
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                std::chrono::steady_clock::now() - start)
                .count();
  EXPECT_LT(ms, 500);
}

}  // namespace
