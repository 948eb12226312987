// The SNMPv3 security primitives over OpenSSL's libcrypto. This is the only
// file of the agent that includes OpenSSL: digests and AES go through the
// EVP interface (both 1.0.x and 1.1+/3.x), DES through the low-level calls,
// because OpenSSL 3's EVP refuses DES without the legacy provider.
#include "security/crypto.h"

// MD5 and DES are deprecated in OpenSSL 3 but are what the protocol needs;
// keep the declarations quiet so the build stays warning-free.
#define OPENSSL_SUPPRESS_DEPRECATED 1

#include <openssl/des.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>

#include <algorithm>

// One digest algorithm: the library's method, the name to fetch it by, its
// input block size (the HMAC pad size) and the MAC length the protocol
// carries.
struct Digest {
  const EVP_MD* (*md)();
  const char* name;
  unsigned blockSize;
  unsigned macLength;
};

namespace {

// Indexed by the AUTH_ numbers.
const Digest kDigests[DIGEST_COUNT] = {
    {EVP_md5, "MD5", 64, 12},          {EVP_sha1, "SHA1", 64, 12},
    {EVP_sha224, "SHA2-224", 64, 16},  {EVP_sha256, "SHA2-256", 64, 24},
    {EVP_sha384, "SHA2-384", 128, 32}, {EVP_sha512, "SHA2-512", 128, 48},
};

// Bytes the password is stretched to, fed in blocks of this size.
constexpr unsigned kStretchBytes = 1048576;
constexpr unsigned kStretchBlock = 64;
// Pad-block half of an unusable digest.
constexpr unsigned kDefaultBlock = 64;
constexpr unsigned kAesIvSize = 16;

unsigned blockOf(const Digest* digest) {
  return digest ? digest->blockSize : kDefaultBlock;
}

// The implementation to hand to EVP_DigestInit_ex. OpenSSL 3 resolves the
// method that EVP_md5() or EVP_sha1() names anew, under a lock, on every
// init, which was a fifth of the work of an authPriv request (two inits per
// HMAC, two HMACs per request); fetching each once and keeping the result
// for the life of the process skips that. Older libraries need no fetch.
const EVP_MD* mdOf(const Digest* digest) {
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
  struct Fetched {
    EVP_MD* md[DIGEST_COUNT];
    Fetched() {
      for (unsigned i = 0; i < DIGEST_COUNT; ++i)
        md[i] = EVP_MD_fetch(nullptr, kDigests[i].name, nullptr);
    }
  };
  static const Fetched fetched;
  const size_t i = static_cast<size_t>(digest - kDigests);
  if (i < DIGEST_COUNT && fetched.md[i]) return fetched.md[i];
#endif
  return digest->md();
}

// AES-128-CFB128, fetched once like the digests.
const EVP_CIPHER* aesCipher() {
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
  static EVP_CIPHER* const fetched = EVP_CIPHER_fetch(nullptr, "AES-128-CFB", nullptr);
  if (fetched) return fetched;
#endif
  return EVP_aes_128_cfb128();
}

// One digest computation; the context is freed with the object.
class Hasher {
 public:
#if OPENSSL_VERSION_NUMBER >= 0x10100000L
  Hasher() : ctx_(EVP_MD_CTX_new()) {}
  ~Hasher() { EVP_MD_CTX_free(ctx_); }
#else
  Hasher() : ctx_(EVP_MD_CTX_create()) {}
  ~Hasher() { EVP_MD_CTX_destroy(ctx_); }
#endif
  Hasher(const Hasher&) = delete;
  Hasher& operator=(const Hasher&) = delete;

  bool init(const Digest* digest) {
    ok_ = ctx_ && digest && EVP_DigestInit_ex(ctx_, mdOf(digest), nullptr) == 1;
    return ok_;
  }
  void update(const void* bytes, size_t len) {
    if (ok_ && len > 0) ok_ = EVP_DigestUpdate(ctx_, bytes, len) == 1;
  }
  // The digest, or an empty vector if any step failed.
  std::vector<unsigned char> final() {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned len = 0;
    if (!ok_ || EVP_DigestFinal_ex(ctx_, md, &len) != 1) return {};
    ok_ = false;
    return std::vector<unsigned char>(md, md + len);
  }

 private:
  EVP_MD_CTX* ctx_;
  bool ok_ = false;
};

}  // namespace

const Digest* const methods[DIGEST_COUNT] = {
    &kDigests[AUTH_MD5],    &kDigests[AUTH_SHA1],   &kDigests[AUTH_SHA224],
    &kDigests[AUTH_SHA256], &kDigests[AUTH_SHA384], &kDigests[AUTH_SHA512]};

const Digest* digestOf(unsigned protocol) {
  return protocol < DIGEST_COUNT ? methods[protocol] : nullptr;
}

unsigned digestSize(const Digest* digest) {
  return digest ? static_cast<unsigned>(EVP_MD_size(digest->md())) : 0;
}

unsigned macLength(unsigned protocol) {
  const Digest* digest = digestOf(protocol);
  return digest ? digest->macLength : 0;
}

unsigned padBlocksSize(const Digest* digest) { return 2 * blockOf(digest); }

std::vector<unsigned char> passwordToAKey(const std::string& password,
                                          const Digest* digest) {
  if (password.empty()) return {};
  Hasher h;
  if (!h.init(digest)) return {};
  // The password repeated to cover any 64-byte window that starts inside its
  // first copy: block i is the window at (i * 64) mod length.
  const size_t len = password.size();
  std::string cycle;
  cycle.reserve(len + kStretchBlock);
  while (cycle.size() < len + kStretchBlock) cycle += password;
  size_t start = 0;
  for (unsigned fed = 0; fed < kStretchBytes; fed += kStretchBlock) {
    h.update(cycle.data() + start, kStretchBlock);
    start = (start + kStretchBlock) % len;
  }
  return h.final();
}

std::vector<unsigned char> passwordToAKey(const std::string& password,
                                          unsigned protocol) {
  return passwordToAKey(password, digestOf(protocol));
}

std::vector<unsigned char> aKeyToBKey(const std::vector<unsigned char>& key,
                                      const std::string& engineID,
                                      const Digest* digest) {
  Hasher h;
  if (!h.init(digest)) return {};
  h.update(key.data(), key.size());
  h.update(engineID.data(), engineID.size());
  h.update(key.data(), key.size());
  return h.final();
}

std::vector<unsigned char> aKeyToBKey(const std::vector<unsigned char>& key,
                                      const std::string& engineID,
                                      unsigned protocol) {
  return aKeyToBKey(key, engineID, digestOf(protocol));
}

std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      const Digest* digest) {
  const unsigned half = blockOf(digest);
  std::vector<unsigned char> pads(2 * half);
  for (unsigned i = 0; i < half; ++i) {
    const unsigned char k = i < key.size() ? key[i] : 0;
    pads[i] = k ^ 0x36;
    pads[half + i] = k ^ 0x5C;
  }
  return pads;
}

std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      unsigned protocol) {
  return bKeyToDKey(key, digestOf(protocol));
}

bool digestMessage(std::vector<unsigned char>& digest,
                   std::vector<unsigned char>& message,
                   const std::vector<unsigned char>& padBlocks,
                   unsigned position, unsigned length, const Digest* method) {
  digest.clear();
  const unsigned half = blockOf(method);
  if (!method || padBlocks.size() != 2 * half || position > message.size() ||
      length > message.size() - position)
    return false;
  // The field is hashed as zeros; keep its bytes to put them back.
  auto field = message.begin() + position;
  const std::vector<unsigned char> saved(field, field + length);
  std::fill(field, field + length, 0);

  Hasher h;
  std::vector<unsigned char> inner;
  if (h.init(method)) {
    h.update(padBlocks.data(), half);
    h.update(message.data(), message.size());
    inner = h.final();
  }
  if (!inner.empty() && h.init(method)) {
    h.update(padBlocks.data() + half, half);
    h.update(inner.data(), inner.size());
    digest = h.final();
  }
  std::copy(saved.begin(), saved.end(), message.begin() + position);
  return !digest.empty();
}

bool digestMessage(std::vector<unsigned char>& digest,
                   std::vector<unsigned char>& message,
                   const std::vector<unsigned char>& padBlocks,
                   unsigned position, unsigned length, unsigned protocol) {
  return digestMessage(digest, message, padBlocks, position, length,
                       digestOf(protocol));
}

void cryptMessageDES(const std::string& salt,
                     const std::vector<unsigned char>& key,
                     const std::string& in, std::string& out, int encrypt) {
  out.clear();
  if (key.size() < 8) return;
  DES_cblock desKey;
  DES_cblock iv;
  for (unsigned i = 0; i < 8; ++i) {
    desKey[i] = key[i];
    const unsigned char k = 8 + i < key.size() ? key[8 + i] : 0;
    const unsigned char s =
        i < salt.size() ? static_cast<unsigned char>(salt[i]) : 0;
    iv[i] = k ^ s;
  }
  DES_key_schedule schedule;
  DES_set_key_unchecked(&desKey, &schedule);

  // DES_cbc_encrypt reads and writes whole blocks: work on a zero-filled
  // copy rounded up to 8 bytes, then cut back to the input's length.
  const size_t rounded = (in.size() + 7) / 8 * 8;
  std::vector<unsigned char> src(in.begin(), in.end());
  src.resize(rounded, 0);
  std::vector<unsigned char> dst(rounded, 0);
  if (rounded > 0)
    DES_cbc_encrypt(src.data(), dst.data(), static_cast<long>(rounded),
                    &schedule, &iv, encrypt ? DES_ENCRYPT : DES_DECRYPT);
  out.assign(reinterpret_cast<const char*>(dst.data()), in.size());
}

std::string aesIv(int engineBoots, int engineTime, const std::string& salt) {
  std::string iv(kAesIvSize, '\0');
  const unsigned boots = static_cast<unsigned>(engineBoots);
  const unsigned time = static_cast<unsigned>(engineTime);
  for (unsigned i = 0; i < 4; ++i) {
    iv[i] = static_cast<char>(boots >> (24 - 8 * i) & 0xFF);
    iv[4 + i] = static_cast<char>(time >> (24 - 8 * i) & 0xFF);
  }
  for (unsigned i = 0; i < AES_SALT_SIZE && i < salt.size(); ++i) iv[8 + i] = salt[i];
  return iv;
}

void cryptMessageAES(const std::string& iv,
                     const std::vector<unsigned char>& key,
                     const std::string& in, std::string& out, int encrypt) {
  out.clear();
  if (key.size() < AES_KEY_SIZE || iv.size() != kAesIvSize) return;
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  if (!ctx) return;
  // CFB is a stream mode: the output is exactly as long as the input, and
  // the final call adds nothing.
  std::vector<unsigned char> dst(in.size() + kAesIvSize);
  int len = 0, tail = 0;
  const bool ok =
      EVP_CipherInit_ex(ctx, aesCipher(), nullptr, key.data(),
                        reinterpret_cast<const unsigned char*>(iv.data()),
                        encrypt ? 1 : 0) == 1 &&
      EVP_CipherUpdate(ctx, dst.data(), &len,
                       reinterpret_cast<const unsigned char*>(in.data()),
                       static_cast<int>(in.size())) == 1 &&
      EVP_CipherFinal_ex(ctx, dst.data() + len, &tail) == 1 &&
      static_cast<size_t>(len + tail) == in.size();
  EVP_CIPHER_CTX_free(ctx);
  if (ok) out.assign(reinterpret_cast<const char*>(dst.data()), in.size());
}
