#include "security/crypto.h"

#include <gtest/gtest.h>

#include "tests/hex.h"

namespace {

using Bytes = std::vector<unsigned char>;

// RFC 3414 A.3.1 / A.3.2 (engine 00..02), an empty password (empty key,
// the engine ID alone localized) and one whose length does not divide 64.
// RFC 7860 publishes no vectors for SHA-2: those rows were computed
// independently with Python's hashlib (the same megabyte of password, then
// H(key, engine ID, key)).
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
      {AUTH_SHA224, "maplesyrup", "282a5867ee9aac639ad59df9572c7d3ac0fbc13a905b6df07dbbf00b",
       "0bd8827c6e29f8065e08e09237f177e410f69b90e1782be682075674"},
      {AUTH_SHA256, "maplesyrup",
       "ab51014d1e077f6017df2b12bee5f5aa72993177e9bb569c4dff5a4ca0b4afac",
       "8982e0e549e866db361a6b625d84cccc11162d453ee8ce3a6445c2d6776f0f8b"},
      {AUTH_SHA384, "maplesyrup",
       "e06eccdf2c68a06ed034723c9c26e0db3b669e1e2efed49150b55377a2e98f383c86fb836857444654b287c93f51ff64",
       "3b298f16164a11184279d5432bf169e2d2a48307de02b3d3f7e2b4f36eb6f0455a53689a3937eea07319a633d2ccba78"},
      {AUTH_SHA512, "maplesyrup",
       "7e4396de5aadc77be853819b98c9406265b3a9c37cc3176569847a4e4f6fba63"
       "dd3a73d04924d31a63f95a601f9385af6be4ed1b37f87d040f7c6ed6f8d38a91",
       "22a5a36cedfcc085807a128d7bc6c2382167ad6c0dbc5fdff856740f3d84c099"
       "ad1ea87a8db096714d9788bd544047c9021e4229ce27e4c0a69250adfcffbb0b"},
      {AUTH_SHA256, "", "", "bafec505d21053585fed7c82fde61abf6e38fa90589839fec28dc5cb74f0f1b7"},
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
  EXPECT_TRUE(passwordToAKey("maplesyrup", DIGEST_COUNT).empty());
  EXPECT_TRUE(aKeyToBKey(Bytes{1}, engine, 7u).empty());
}

// RFC 2202 (MD5, SHA-1) and RFC 4231 test cases 1 and 2 (SHA-2) HMAC
// vectors through the key's pad blocks, with the MAC length each protocol
// carries. The data is also digested with a 4-byte field inserted after 3
// bytes: the field counts as zeros and comes back unchanged.
TEST(Crypto, DigestMessageIsHmacWithZeroedField) {
  const char* const hiThere = "4869205468657265";
  const char* const jefe = "7768617420646f2079612077616e7420666f72206e6f7468696e673f";
  const char* const key20 = "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b";
  struct {
    unsigned protocol, macLen, pads;
    const char *key, *data, *mac;
  } cases[] = {
      {AUTH_MD5, 12, 128, "0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b", hiThere,
       "9294727a3638bb1c13f48ef8158bfc9d"},
      {AUTH_MD5, 12, 128, "4a656665", jefe, "750c783e6ab0b503eaa86e310a5db738"},
      {AUTH_SHA1, 12, 128, key20, hiThere, "b617318655057264e28bc0b6fb378c8ef146be00"},
      {AUTH_SHA1, 12, 128, "4a656665", jefe, "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
      {AUTH_SHA224, 16, 128, key20, hiThere,
       "896fb1128abbdf196832107cd49df33f47b4b1169912ba4f53684b22"},
      {AUTH_SHA224, 16, 128, "4a656665", jefe,
       "a30e01098bc6dbbf45690f3a7e9e6d0f8bbea2a39e6148008fd05e44"},
      {AUTH_SHA256, 24, 128, key20, hiThere,
       "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
      {AUTH_SHA256, 24, 128, "4a656665", jefe,
       "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
      {AUTH_SHA384, 32, 256, key20, hiThere,
       "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59c"
       "faea9ea9076ede7f4af152e8b2fa9cb6"},
      {AUTH_SHA384, 32, 256, "4a656665", jefe,
       "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e"
       "8e2240ca5e69e2c78b3239ecfab21649"},
      {AUTH_SHA512, 48, 256, key20, hiThere,
       "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cde"
       "daa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
      {AUTH_SHA512, 48, 256, "4a656665", jefe,
       "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea250554"
       "9758bf75c05a994a6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mac);
    const Bytes pads = bKeyToDKey(unhex(c.key), c.protocol);
    EXPECT_EQ(pads.size(), c.pads);
    EXPECT_EQ(padBlocksSize(methods[c.protocol]), c.pads);
    EXPECT_EQ(macLength(c.protocol), c.macLen);
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
  // Keys longer than the block are cut, not hashed. Pads of one digest's
  // block size do not pass for another's.
  EXPECT_EQ(bKeyToDKey(Bytes(70, 0x11), AUTH_SHA1),
            bKeyToDKey(Bytes(64, 0x11), 0u));
  EXPECT_EQ(bKeyToDKey(Bytes(130, 0x11), AUTH_SHA512),
            bKeyToDKey(Bytes(128, 0x11), AUTH_SHA384));
  Bytes digest, msg(10, 7);
  EXPECT_FALSE(digestMessage(digest, msg, bKeyToDKey({}, AUTH_SHA256), 0, 0, AUTH_SHA384));
  EXPECT_FALSE(digestMessage(digest, msg, bKeyToDKey({}, AUTH_SHA512), 0, 0, AUTH_SHA1));
  EXPECT_EQ(macLength(DIGEST_COUNT), 0u);
}

TEST(Crypto, DigestMessageRefusesBadInput) {
  const Bytes pads = bKeyToDKey({}, AUTH_MD5);
  Bytes digest{1}, msg(10, 7);
  EXPECT_FALSE(digestMessage(digest, msg, {}, 0, 0, AUTH_MD5));  // no pads
  EXPECT_TRUE(digest.empty());
  EXPECT_FALSE(digestMessage(digest, msg, pads, 8, 3, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 11, 0, AUTH_MD5));
  EXPECT_FALSE(digestMessage(digest, msg, pads, 0, 0, DIGEST_COUNT));
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

// NIST SP 800-38A F.3.13 (CFB128-AES128.Encrypt) and F.3.14 (Decrypt),
// with the IV made of boots 00010203, time 04050607 and salt 08..0f. CFB
// needs no padding: a cut plaintext gives the cut ciphertext.
TEST(Crypto, AesCfb128KnownAnswer) {
  const Bytes key = unhex("2b7e151628aed2a6abf7158809cf4f3c" "ffffffff");  // 20 bytes: SHA-1 localized
  const std::string iv = aesIv(0x00010203, 0x04050607, unhexString("08090a0b0c0d0e0f"));
  ASSERT_EQ(iv, unhexString("000102030405060708090a0b0c0d0e0f"));
  struct {
    const char *plain, *cipher;
  } cases[] = {
      {"6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
       "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710",
       "3b3fd92eb72dad20333449f8e83cfb4ac8a64537a0b3a93fcde3cdad9f1ce58b"
       "26751f67a3cbb140b1808cf187a4f4dfc04b05357c5d1c0eeac4c66f9ff7f2e6"},
      {"6bc1bee22e409f96e93d7e117393172aae2d8a57", "3b3fd92eb72dad20333449f8e83cfb4ac8a64537"},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.plain);
    std::string out, back;
    cryptMessageAES(iv, key, unhexString(c.plain), out, 1);
    EXPECT_EQ(out, unhexString(c.cipher));
    cryptMessageAES(iv, key, unhexString(c.cipher), back, 0);
    EXPECT_EQ(back, unhexString(c.plain));
  }
  std::string out = "stale";
  cryptMessageAES(iv, Bytes(key.begin(), key.begin() + 15), "1234", out, 1);
  EXPECT_TRUE(out.empty());  // key shorter than 16 bytes
  out = "stale";
  cryptMessageAES(iv.substr(1), key, "1234", out, 1);
  EXPECT_TRUE(out.empty());  // IV not 16 bytes
}

}  // namespace
