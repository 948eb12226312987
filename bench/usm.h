// SNMPv3 user-based security for the load generator: key localisation,
// authPriv messages and the checking of their replies (digest, decryption,
// PDU), with HMAC-MD5-96 + DES-CBC or HMAC-SHA-256-192 + AES-128-CFB.
// Header-only; every function is inline.
#ifndef BENCH_USM_H
#define BENCH_USM_H

// DES is deprecated in OpenSSL 3 but is what the protocol needs.
#define OPENSSL_SUPPRESS_DEPRECATED 1

#include <openssl/des.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstdint>
#include <string>

#include "bench/ber.h"

namespace bench {

// ---- SNMPv3 user-based security ---------------------------------------------

// The password-to-key algorithm with the auth protocol's hash `md`: a
// megabyte of the repeated password hashed, then localised to the engine.
inline Bytes passwordToKey(const EVP_MD* md, const std::string& password, const Bytes& engineId) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  EVP_DigestInit_ex(ctx, md, nullptr);
  unsigned char chunk[64];
  size_t at = 0;
  for (size_t done = 0; done < 1048576; done += 64) {
    for (int i = 0; i < 64; ++i) chunk[i] = static_cast<unsigned char>(password[at++ % password.size()]);
    EVP_DigestUpdate(ctx, chunk, 64);
  }
  unsigned char ku[EVP_MAX_MD_SIZE];
  unsigned n = 0;
  EVP_DigestFinal_ex(ctx, ku, &n);
  EVP_MD_CTX_free(ctx);
  Bytes k(reinterpret_cast<char*>(ku), n);
  Bytes material = k + engineId + k;
  unsigned char kul[EVP_MAX_MD_SIZE];
  EVP_Digest(material.data(), material.size(), kul, &n, md, nullptr);
  return Bytes(reinterpret_cast<char*>(kul), n);
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

// AES-128 in CFB128 mode; the IV is engine boots, engine time (both
// big-endian, of the message's security parameters) and the 8-octet salt.
inline Bytes aesCfb(const Bytes& key, long boots, long time, const Bytes& salt, const Bytes& in,
                    bool encrypt) {
  unsigned char iv[16];
  for (int i = 0; i < 4; ++i) {
    iv[i] = static_cast<unsigned char>((boots >> (24 - 8 * i)) & 0xff);
    iv[4 + i] = static_cast<unsigned char>((time >> (24 - 8 * i)) & 0xff);
  }
  for (int i = 0; i < 8; ++i) iv[8 + i] = static_cast<unsigned char>(salt[i]);
  EVP_CIPHER_CTX* c = EVP_CIPHER_CTX_new();
  EVP_CipherInit_ex(c, EVP_aes_128_cfb128(), nullptr, reinterpret_cast<const unsigned char*>(key.data()),
                    iv, encrypt ? 1 : 0);
  Bytes out(in.size(), '\0');
  int n = 0;
  EVP_CipherUpdate(c, reinterpret_cast<unsigned char*>(&out[0]), &n,
                   reinterpret_cast<const unsigned char*>(in.data()), static_cast<int>(in.size()));
  EVP_CIPHER_CTX_free(c);
  return out;
}

struct V3 {
  std::string user, authPass, privPass;
  const EVP_MD* md = EVP_md5();  // EVP_sha256() for HMAC-SHA-256-192
  size_t macLength = 12;         // 24 for HMAC-SHA-256-192
  bool aes = false;              // AES-128-CFB, else DES-CBC
  Bytes engineId, authKey, privKey;
  long boots = 0, time = 0;
  double discoveredAt = 0;
  uint32_t saltCounter = 0;
};

inline Bytes mac(const V3& v, const Bytes& msg) {
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned len = 0;
  HMAC(v.md, v.authKey.data(), static_cast<int>(v.authKey.size()),
       reinterpret_cast<const unsigned char*>(msg.data()), msg.size(), md, &len);
  return Bytes(reinterpret_cast<char*>(md), v.macLength);
}

inline Bytes privacy(const V3& v, long boots, long time, const Bytes& salt, const Bytes& in,
                     bool encrypt) {
  return v.aes ? aesCfb(v.privKey.substr(0, 16), boots, time, salt, in, encrypt)
               : desCbc(v.privKey, salt, in, encrypt);
}

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
  if (!v->aes) plain.append((8 - plain.size() % 8) % 8, '\0');
  Bytes data = tlv(0x04, privacy(*v, v->boots, engineTime, salt, plain, true));
  const Bytes zeros(v->macLength, '\0');
  Bytes msg = tlv(0x30, intMin(3) + header + securityParams(*v, engineTime, zeros, salt) + data);
  size_t at = msg.find(tlv(0x04, zeros) + tlv(0x04, salt));
  msg.replace(at + 2, v->macLength, mac(*v, msg));
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
  if (auth.size() != v->macLength || priv.size() != 8) return false;
  Bytes whole(reinterpret_cast<const char*>(b), n);
  size_t at = whole.find(tlv(0x04, auth) + tlv(0x04, priv));
  if (at == Bytes::npos) return false;
  whole.replace(at + 2, v->macLength, Bytes(v->macLength, '\0'));
  if (mac(*v, whole) != auth) return false;
  Bytes cipher;
  if (!r.octets(&cipher) || (!v->aes && cipher.size() % 8 != 0)) return false;
  Bytes plain = privacy(*v, boots, time, priv, cipher, false);
  Reader p(reinterpret_cast<const unsigned char*>(plain.data()), plain.size());
  Bytes ctxEngine, ctxName;
  return p.enter(0x30) && p.octets(&ctxEngine) && p.octets(&ctxName) && readPdu(&p, pduTag, a);
}

}  // namespace bench

#endif
