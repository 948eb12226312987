#include "security/crypto.h"

#include <gtest/gtest.h>

#include "tests/hex.h"

namespace {

using Bytes = std::vector<unsigned char>;

// RFC 3414 A.3.1 / A.3.2 (engine 00..02), an empty password (empty key,
// the engine ID alone localized) and one whose length does not divide 64.
TEST(Crypto, PasswordToKeyAndLocalisation) {
  const std::string engine = unhexString("000000000000000000000002");
  struct {
    unsigned protocol;
    const char *password, *key, *localized;
  } cases[] = {
      {AUTH_MD5, "maplesyrup", "9faf3283884e92834ebc9847d8edd963",
       "526f5eed9fcce26f8964c2930787d82b"},
      {AUTH_SHA1, "maplesyrup", "9fb5cc0381497b3793528939ff788d5d79145211",
       "6695febc9288e36282235fc7151f128497b38f3f"},
      {AUTH_MD5, "", "", "768fb32dcd075dfa5863ffebc4b751c7"},
      {AUTH_SHA1, "", "", "7a5836fe287e11ac39ee88d3c0794916d50b73c3"},
      {AUTH_MD5, "abc", "992d2d55392e2045ee1e0711ca73c6eb", nullptr},
      {AUTH_SHA1, "abc", "a73b9f27faa08a02ff4d3fe25dcc0249f9d903a0", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    Bytes key = passwordToAKey(c.password, c.protocol);
    EXPECT_EQ(hex(key, ""), c.key);
    EXPECT_EQ(key, passwordToAKey(c.password, methods[c.protocol]));
    if (c.localized) {
      EXPECT_EQ(hex(aKeyToBKey(key, engine, c.protocol), ""), c.localized);
    }
  }
  EXPECT_TRUE(passwordToAKey("maplesyrup", 2u).empty());
  EXPECT_TRUE(aKeyToBKey(Bytes{1}, engine, 7u).empty());
}

// RFC 2202 HMAC vectors through the key's pad blocks. The data is also
// digested with a 4-byte field inserted after 3 bytes: the field counts as
// zeros and comes back unchanged.
TEST(Crypto, DigestMessageIsHmacWithZeroedField) {
  struct {
    unsigned protocol;
    const char *key, *data, *mac;
  } cases[] = {
      {AUTH_MD5, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", "4869205468657265",
       "9294727a3638bb1c13f48ef8158bfc9d"},
      {AUTH_MD5, "4a656665",
       "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
       "750c783e6ab0b503eaa86e310a5db738"},
      {AUTH_SHA1, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b",
       "4869205468657265", "b617318655057264e28bc0b6fb378c8ef146be00"},
      {AUTH_SHA1, "4a656665",
       "7768617420646f2079612077616e7420666f72206e6f7468696e673f",
       "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mac);
    const Bytes pads = bKeyToDKey(unhex(c.key), c.protocol);
    Bytes digest, msg = unhex(c.data), zeroed = msg, expected;
    ASSERT_TRUE(digestMessage(digest, msg, pads, 0, 0, c.protocol));
    EXPECT_EQ(hex(digest, ""), c.mac);
    msg.insert(msg.begin() + 3, {0xde, 0xad, 0xbe, 0xef});
    zeroed.insert(zeroed.begin() + 3, 4, 0);
    const Bytes before = msg;
    ASSERT_TRUE(digestMessage(expected, zeroed, pads, 0, 0, c.protocol));
    ASSERT_TRUE(digestMessage(digest, msg, pads, 3, 4, c.protocol));
    EXPECT_EQ(digest, expected);
    EXPECT_EQ(msg, before);
  }
  // Keys longer than 64 bytes are cut, not hashed.
  EXPECT_EQ(bKeyToDKey(Bytes(70, 0x11), AUTH_SHA1),
            bKeyToDKey(Bytes(64, 0x11), 0u));
}

TEST(Crypto, DigestMessageRefusesBadInput) {
  const Bytes pads = bKeyToDKey({}, AUTH_MD5);
  Bytes digest{1}, msg(10, 7);
  EXPECT_FALSE(digestMessage(digest, msg, {}, 0, 0, AUTH_MD5));  // no pads
  EXPECT_TRUE(digest.empty());
  EXPECT_FALSE(digestMessage(digest, msg, pads, 8, 3, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 11, 0, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 0, 0, 5u));
  EXPECT_EQ(msg, Bytes(10, 7));
}

// Known answers from `openssl enc -des-cbc -nopad -provider legacy` with
// K = key bytes 0-7 and IV = key bytes 8-15 XOR salt = f0e1d2c2bafe9edc.
TEST(Crypto, DesCbcKnownAnswer) {
  const Bytes key = unhex("0123456789abcdeff0e1d2c3b4a59687");
  const std::string salt = unhexString("000000010e5b085b");
  struct {
    const char *plain, *cipher;
  } cases[] = {
      {"534e4d5076332073636f7065642050445505050505050505",
       "492b3ccab38259b46d81a4b7edf74550afc980dd5eb6fc32"},
      // A partial last block is enciphered zero-filled, then cut back.
      {"534e4d5076332073636f7065", "492b3ccab38259b4e6cd6f7f"},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::string out, back;
    cryptMessageDES(salt, key, unhexString(c.plain), out, 1);
    EXPECT_EQ(out, unhexString(c.cipher));
    cryptMessageDES(salt, key, out, back, 0);
    EXPECT_EQ(back.size(), out.size());
    if (out.size() % 8 == 0) {
      EXPECT_EQ(back, unhexString(c.plain));
    }
  }
  std::string out = "stale";
  cryptMessageDES(salt, unhex("01020304050607"), "12345678", out, 1);
  EXPECT_TRUE(out.empty());  // key shorter than 8 bytes
}

}  // namespace
