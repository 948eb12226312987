// The SNMPv3 user-based security primitives: password to key, key
// localisation, HMAC pad blocks, the message digest (HMAC with MD5, SHA-1
// and SHA-2), and the ciphers: DES-CBC and AES-128-CFB128.
//
// The digest algorithms are reached through opaque handles; only crypto.cc
// knows the cryptographic library behind them. Every function works on
// plain byte strings and never throws. A protocol number is an index into
// `methods`; an unknown number behaves like an unusable digest (empty key,
// failed digest). Single-threaded, no shared state besides `methods`.
#ifndef SECURITY_CRYPTO_H
#define SECURITY_CRYPTO_H

#include <string>
#include <vector>

// One digest algorithm. Opaque: defined and used only by crypto.cc.
struct Digest;

// Authentication protocol numbers, indices into `methods`.
constexpr unsigned AUTH_MD5 = 0;
constexpr unsigned AUTH_SHA1 = 1;
constexpr unsigned AUTH_SHA224 = 2;
constexpr unsigned AUTH_SHA256 = 3;
constexpr unsigned AUTH_SHA384 = 4;
constexpr unsigned AUTH_SHA512 = 5;
constexpr unsigned DIGEST_COUNT = 6;

// Privacy protocol numbers. AES-128 is the one value that selects AES;
// every other value means DES.
constexpr unsigned PRIV_DES = 0;
constexpr unsigned PRIV_AES128 = 1;

// The digest table, indexed by the AUTH_ numbers above. Statically
// initialised, so it is ready before any other start-up code runs; the
// entries live for the process.
extern const Digest* const methods[DIGEST_COUNT];

// The digest of a protocol number, or null when the number is unknown.
const Digest* digestOf(unsigned protocol);
// Digest output size in bytes (16 MD5, 20 SHA-1, 28 / 32 / 48 / 64 SHA-2);
// 0 for null.
unsigned digestSize(const Digest* digest);
// Octets of the digest that a message carries as its MAC: 12 for MD5 and
// SHA-1 (HMAC-*-96), 16 / 24 / 32 / 48 for SHA-224 / 256 / 384 / 512;
// 0 for an unknown protocol.
unsigned macLength(unsigned protocol);
// Size of the HMAC pad blocks of a localized key: the inner pad then the
// outer pad, each one digest input block long (64 bytes for MD5, SHA-1,
// SHA-224 and SHA-256, 128 for SHA-384 and SHA-512). An unusable digest
// counts as 64-byte blocks.
unsigned padBlocksSize(const Digest* digest);

// Password key: the digest of 1,048,576 bytes of the password repeated.
// An empty password gives an empty key; so does an unusable digest.
std::vector<unsigned char> passwordToAKey(const std::string& password,
                                          const Digest* digest);
std::vector<unsigned char> passwordToAKey(const std::string& password,
                                          unsigned protocol);

// Localized key: digest(key, engineID, key). An empty key still gives the
// digest of the engine ID alone. Empty when the digest is unusable.
std::vector<unsigned char> aKeyToBKey(const std::vector<unsigned char>& key,
                                      const std::string& engineID,
                                      const Digest* digest);
std::vector<unsigned char> aKeyToBKey(const std::vector<unsigned char>& key,
                                      const std::string& engineID,
                                      unsigned protocol);

// The pad blocks of a localized key (padBlocksSize bytes): the key,
// zero-filled to the digest's block size (cut when longer), XOR 0x36, then
// the same XOR 0x5C.
std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      const Digest* digest);
std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      unsigned protocol);

// HMAC of `message` whose authentication field is the `length` bytes at
// `position`: the field counts as zeros and is restored before returning.
// `digest` receives the full digest (digestSize bytes); callers cut it.
// Returns false, with `digest` empty and `message` untouched, when the pad
// blocks do not have the digest's padBlocksSize, the field lies outside the
// message or the digest is unusable.
bool digestMessage(std::vector<unsigned char>& digest,
                   std::vector<unsigned char>& message,
                   const std::vector<unsigned char>& padBlocks,
                   unsigned position, unsigned length, const Digest* method);
bool digestMessage(std::vector<unsigned char>& digest,
                   std::vector<unsigned char>& message,
                   const std::vector<unsigned char>& padBlocks,
                   unsigned position, unsigned length, unsigned protocol);

// DES-CBC over the whole of `in` (`encrypt` non-zero encrypts, zero
// decrypts); `out` gets as many bytes as `in`. DES key = key bytes 0-7 (no
// parity check), IV = key bytes 8-15 XOR salt bytes 0-7 (missing bytes of
// either count as zero). A key shorter than 8 bytes leaves `out` empty.
// A trailing partial block is processed as if zero-filled and cut back.
void cryptMessageDES(const std::string& salt,
                     const std::vector<unsigned char>& key,
                     const std::string& in, std::string& out, int encrypt);

// AES-128 takes this many key bytes (the first of the localized privacy
// key), and its messages carry a salt of AES_SALT_SIZE octets.
constexpr unsigned AES_KEY_SIZE = 16;
constexpr unsigned AES_SALT_SIZE = 8;
// The 16-byte AES IV of a message: its authoritative engine boots and
// engine time, 4 bytes each in network order, then its 8-octet salt (cut,
// or zero-filled, to 8).
std::string aesIv(int engineBoots, int engineTime, const std::string& salt);

// AES-128 in CFB mode with a 128-bit segment over the whole of `in`
// (`encrypt` non-zero encrypts, zero decrypts): `out` gets as many bytes as
// `in`, no padding. Key = key bytes 0-15; `iv` must be 16 bytes. A shorter
// key or IV, or a failure of the library, leaves `out` empty.
void cryptMessageAES(const std::string& iv,
                     const std::vector<unsigned char>& key,
                     const std::string& in, std::string& out, int encrypt);

#endif
