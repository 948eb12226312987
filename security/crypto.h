// The SNMPv3 user-based security primitives: password to key, key
// localisation, HMAC pad blocks, the message digest (HMAC-MD5 / HMAC-SHA-1)
// and the DES-CBC cipher.
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
constexpr unsigned DIGEST_COUNT = 2;

// The digest table: index 0 MD5, index 1 SHA-1. Statically initialised, so
// it is ready before any other start-up code runs; the entries live for the
// process.
extern const Digest* const methods[DIGEST_COUNT];

// The digest of a protocol number, or null when the number is unknown.
const Digest* digestOf(unsigned protocol);
// Digest output size in bytes (16 MD5, 20 SHA-1); 0 for null.
unsigned digestSize(const Digest* digest);

// Size of the HMAC pad blocks of a localized key: 64 bytes inner pad, then
// 64 bytes outer pad.
constexpr unsigned PAD_BLOCKS_SIZE = 128;

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

// The 128 pad-block bytes of a localized key: key (zero-filled to 64 bytes,
// cut when longer) XOR 0x36, then the same XOR 0x5C. The digest does not
// change the result; both forms exist to match the other derivation steps.
std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      const Digest* digest);
std::vector<unsigned char> bKeyToDKey(const std::vector<unsigned char>& key,
                                      unsigned protocol);

// HMAC of `message` whose authentication field is the `length` bytes at
// `position`: the field counts as zeros and is restored before returning.
// `digest` receives the full digest (16 or 20 bytes); callers cut it.
// Returns false, with `digest` empty and `message` untouched, when the pad
// blocks are not 128 bytes, the field lies outside the message or the
// digest is unusable.
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

#endif
