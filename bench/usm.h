// SNMPv3 user-based security for the load generator, MD5 and DES only:
// key localisation, authPriv messages and the checking of their replies
// (digest, decryption, PDU). Header-only; every function is inline.
#ifndef BENCH_USM_H
#define BENCH_USM_H

// MD5 and DES are deprecated in OpenSSL 3 but are what the protocol needs.
#define OPENSSL_SUPPRESS_DEPRECATED 1

#include <openssl/des.h>
#include <openssl/hmac.h>
#include <openssl/md5.h>

#include <cstdint>
#include <string>

#include "bench/ber.h"

namespace bench {

// ---- SNMPv3 user-based security (MD5 / DES) ---------------------------------

inline Bytes passwordToKey(const std::string& password, const Bytes& engineId) {
  MD5_CTX ctx;
  MD5_Init(&ctx);
  unsigned char chunk[64];
  size_t at = 0;
  for (size_t done = 0; done < 1048576; done += 64) {
    for (int i = 0; i < 64; ++i) chunk[i] = static_cast<unsigned char>(password[at++ % password.size()]);
    MD5_Update(&ctx, chunk, 64);
  }
  unsigned char ku[16];
  MD5_Final(ku, &ctx);
  Bytes k(reinterpret_cast<char*>(ku), 16);
  Bytes material = k + engineId + k;
  unsigned char kul[16];
  MD5(reinterpret_cast<const unsigned char*>(material.data()), material.size(), kul);
  return Bytes(reinterpret_cast<char*>(kul), 16);
}

inline Bytes desCbc(const Bytes& key, const Bytes& salt, const Bytes& in, bool encrypt) {
  DES_cblock k, iv;
  for (int i = 0; i < 8; ++i) {
    k[i] = static_cast<unsigned char>(key[i]);
    iv[i] = static_cast<unsigned char>(key[8 + i] ^ salt[i]);
  }
  DES_key_schedule ks;
  DES_set_key_unchecked(&k, &ks);
  Bytes out(in.size(), '\0');
  DES_ncbc_encrypt(reinterpret_cast<const unsigned char*>(in.data()),
                   reinterpret_cast<unsigned char*>(&out[0]), static_cast<long>(in.size()), &ks,
                   &iv, encrypt ? DES_ENCRYPT : DES_DECRYPT);
  return out;
}

inline Bytes hmac12(const Bytes& key, const Bytes& msg) {
  unsigned char md[16];
  unsigned len = 0;
  HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(msg.data()), msg.size(), md, &len);
  return Bytes(reinterpret_cast<char*>(md), 12);
}

struct V3 {
  std::string user, authPass, privPass;
  Bytes engineId, authKey, privKey;
  long boots = 0, time = 0;
  double discoveredAt = 0;
  uint32_t saltCounter = 0;
};

inline Bytes securityParams(const V3& v, long engineTime, const Bytes& auth, const Bytes& priv) {
  return tlv(0x04, tlv(0x30, tlv(0x04, v.engineId) + intMin(v.boots) + intMin(engineTime) +
                                 tlv(0x04, v.user) + tlv(0x04, auth) + tlv(0x04, priv)));
}

// Builds a v3 message; flags 0x04 (reportable, no auth) for discovery,
// 0x07 (authPriv, reportable) otherwise.
inline Bytes v3Message(V3* v, bool secure, uint32_t id, long engineTime, const Bytes& scopedPdu) {
  Bytes header = tlv(0x30, int4(id) + intMin(65507) + tlv(0x04, Bytes(1, secure ? '\x07' : '\x04')) + intMin(3));
  if (!secure) {
    return tlv(0x30, intMin(3) + header + securityParams(*v, 0, Bytes(), Bytes()) + scopedPdu);
  }
  Bytes salt;
  uint32_t counter = v->saltCounter++;
  for (int s = 24; s >= 0; s -= 8) salt.push_back(static_cast<char>((v->boots >> s) & 0xff));
  for (int s = 24; s >= 0; s -= 8) salt.push_back(static_cast<char>((counter >> s) & 0xff));
  Bytes plain = scopedPdu;
  plain.append((8 - plain.size() % 8) % 8, '\0');
  Bytes data = tlv(0x04, desCbc(v->privKey, salt, plain, true));
  const Bytes zeros(12, '\0');
  Bytes msg = tlv(0x30, intMin(3) + header + securityParams(*v, engineTime, zeros, salt) + data);
  size_t at = msg.find(tlv(0x04, zeros) + tlv(0x04, salt));
  Bytes mac = hmac12(v->authKey, msg);
  msg.replace(at + 2, 12, mac);
  return msg;
}

// Parses a v3 reply: checks the digest and decrypts when secure, then
// reads the PDU (0xA2, or 0xA8 when expectReport).
inline bool readV3Reply(V3* v, const unsigned char* b, size_t n, bool secure, int pduTag, Answer* a) {
  Reader r(b, n);
  long version, msgId, maxSize, model;
  Bytes flags, sec;
  if (!r.enter(0x30) || !r.integer(&version) || !r.enter(0x30) || !r.integer(&msgId) ||
      !r.integer(&maxSize) || !r.octets(&flags) || !r.integer(&model) || !r.octets(&sec))
    return false;
  Reader s(reinterpret_cast<const unsigned char*>(sec.data()), sec.size());
  Bytes engineId, user, auth, priv;
  long boots, time;
  if (!s.enter(0x30) || !s.octets(&engineId) || !s.integer(&boots) || !s.integer(&time) ||
      !s.octets(&user) || !s.octets(&auth) || !s.octets(&priv))
    return false;
  if (!secure) {
    v->engineId = engineId;
    v->boots = boots;
    v->time = time;
    return r.enter(0x30) && r.octets(&flags) && r.octets(&flags) && readPdu(&r, pduTag, a);
  }
  if (auth.size() != 12 || priv.size() != 8) return false;
  Bytes whole(reinterpret_cast<const char*>(b), n);
  size_t at = whole.find(tlv(0x04, auth) + tlv(0x04, priv));
  if (at == Bytes::npos) return false;
  whole.replace(at + 2, 12, Bytes(12, '\0'));
  if (hmac12(v->authKey, whole) != auth) return false;
  Bytes cipher;
  if (!r.octets(&cipher) || cipher.size() % 8 != 0) return false;
  Bytes plain = desCbc(v->privKey, priv, cipher, false);
  Reader p(reinterpret_cast<const unsigned char*>(plain.data()), plain.size());
  Bytes ctxEngine, ctxName;
  return p.enter(0x30) && p.octets(&ctxEngine) && p.octets(&ctxName) && readPdu(&p, pduTag, a);
}

}  // namespace bench

#endif
