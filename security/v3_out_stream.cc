// SNMPv3 writing of a reply or trap: the header and security parameters,
// encryption of the scoped PDU and the signature.
//
// Calling order: startSeq (message) and the version; writeV3Info; the PDU;
// cryptPacket; endSeq (message); signPacket. writeV3Info records where the
// authentication parameters' contents and the scoped PDU start
// (authParamsPos, scopedPduPos); endSeq keeps both up to date when it
// inserts length octets before them. Nothing here fails loudly: a missing
// header record or an unusable key leaves the message unsigned or the
// ciphertext empty, and the manager drops it.
#include <algorithm>
#include <string>

#include "codec/out_stream.h"
#include "codec/wire.h"
#include "security/crypto.h"

namespace {
// DES works on 8-byte blocks; the scoped PDU is padded with this byte.
// AES in CFB mode needs no padding.
constexpr unsigned kDesBlock = 8;
constexpr char kPadByte = 5;
}  // namespace

void OutStream::writeV3Info(const V3Info* info) {
  if (!info) return;
  startSeq(wire::SEQUENCE);
  add(info->msgId, wire::INTEGER);
  add(info->maxSize, wire::INTEGER);
  add(info->flags, wire::OCTET_STRING);
  add(info->securityModel, wire::INTEGER);
  endSeq();

  // The security parameters sequence is encoded on its own and wrapped in an
  // octet string; its endSeq moves the recorded offset inside it.
  OutStream params;
  params.startSeq(wire::SEQUENCE);
  params.add(info->engineId, wire::OCTET_STRING);
  params.add(info->engineBoots, wire::INTEGER);
  params.add(info->engineTime, wire::INTEGER);
  params.add(info->userName, wire::OCTET_STRING);
  params.add(info->authParams, wire::OCTET_STRING);
  params.authParamsPos =
      static_cast<unsigned>(params.data.size() - info->authParams.size());
  params.add(info->privParams, wire::OCTET_STRING);
  params.endSeq();
  add(params.data.data(), static_cast<unsigned>(params.data.size()),
      wire::OCTET_STRING);
  authParamsPos = static_cast<unsigned>(data.size() - params.data.size()) +
                  params.authParamsPos;

  scopedPduPos = static_cast<unsigned>(data.size());
  startSeq(wire::SEQUENCE);
  add(info->contextEngineId, wire::OCTET_STRING);
  add(info->contextName, wire::OCTET_STRING);
}

void OutStream::cryptPacket(const V3Info* info,
                            const std::vector<unsigned char>& privKey,
                            unsigned privProtocol) {
  endSeq();  // the scoped PDU
  if (securityLevel != wire::LEVEL_PRIV || !info || scopedPduPos == 0 ||
      scopedPduPos >= data.size())
    return;
  std::string plain(data.begin() + scopedPduPos, data.end());
  std::string cipher;
  if (privProtocol == PRIV_AES128) {
    cryptMessageAES(aesIv(info->engineBoots, info->engineTime, info->privParams),
                    privKey, plain, cipher, 1);
  } else {
    plain.append((kDesBlock - plain.size() % kDesBlock) % kDesBlock, kPadByte);
    cryptMessageDES(info->privParams, privKey, plain, cipher, 1);
  }
  data.resize(scopedPduPos);
  add(cipher, wire::OCTET_STRING);
}

void OutStream::signPacket(const V3Info* info,
                           const std::vector<unsigned char>& authKey,
                           unsigned authProtocol) {
  if (securityLevel < wire::LEVEL_AUTH || !info || authParamsPos == 0) return;
  // As many digest bytes as the area holds: the protocol's MAC length for
  // traps, the request's length for replies.
  const unsigned len = static_cast<unsigned>(info->authParams.size());
  if (authParamsPos > data.size() || len > data.size() - authParamsPos) return;
  auto area = data.begin() + authParamsPos;
  std::fill(area, area + len, 0);
  std::vector<unsigned char> digest;
  if (!digestMessage(digest, data, authKey, authParamsPos, len, authProtocol))
    return;
  std::copy_n(digest.begin(), std::min<size_t>(len, digest.size()), area);
}
