// SNMPv3 reading of a received message: the header and the user-based
// security parameters, then decryption, the engine ID, time-window and
// digest checks.
//
// A failure to decode returns false (the request is dropped without reply).
// A security failure is not a decoding failure: it records the first error
// code in v3_err, the read goes on, and the caller answers with a report.
// A message that fails the digest or the decryption check leaves with its
// security cleared (level none), so that its report goes out unsigned.
#include <string>

#include "codec/in_stream.h"
#include "codec/out_stream.h"
#include "codec/wire.h"
#include "security/crypto.h"
#include "security/v3_errors.h"
#include "security/v3_flags.h"
#include "security/v3_server_info.h"

bool InStream::readV3Info(int& v3_err) {
  if (!v3info_) v3info_ = new V3Info;
  V3Info& info = *v3info_;

  // Global data: message id, maximum size, flags, security model.
  if (enterSeq() < 0 || !getInt(&info.msgId) || !getInt(&info.maxSize) ||
      !getString(&info.flags) || !getInt(&info.securityModel))
    return false;
  exitSeq();
  if (info.flags.empty()) return false;

  // The security parameters are an octet string holding a sequence; it is
  // parsed on its own, and the offset of the authentication parameters is
  // carried over to the whole message for the digest check.
  std::string params;
  if (!getString(&params)) return false;
  const unsigned paramsStart = cursor_ - static_cast<unsigned>(params.size());
  InStream sp(reinterpret_cast<const unsigned char*>(params.data()),
              static_cast<unsigned>(params.size()));
  if (sp.enterSeq() < 0 || !sp.getString(&info.engineId) ||
      !sp.getInt(&info.engineBoots) || !sp.getInt(&info.engineTime) ||
      !sp.getString(&info.userName) || !sp.getString(&info.authParams))
    return false;
  info.authParamsPos = paramsStart + sp.position() -
                       static_cast<unsigned>(info.authParams.size());
  if (!sp.getString(&info.privParams)) return false;

  // The reportable bit is not consulted: any error gets a report.
  const unsigned flags = static_cast<unsigned char>(info.flags[0]);
  securityLevel = wire::LEVEL_NONE;
  if (flags & v3flags::AUTH)
    securityLevel = flags & v3flags::PRIV ? wire::LEVEL_PRIV : wire::LEVEL_AUTH;
  else if (flags & v3flags::PRIV)
    raiseV3Error(v3_err, v3err::UNSUPPORTED_SEC_LEVEL);
  return true;
}

namespace {

// Authentication parameters shorter than this never authenticate: the
// shortest MAC of any protocol (HMAC-MD5-96, HMAC-SHA-96) is 12 octets.
constexpr unsigned kMinAuthParams = 12;

// Whether the received authentication parameters are the message's MAC:
// at least kMinAuthParams octets, at most the full digest, and equal to as
// many leading octets of the digest as were received. The comparison takes
// the same time wherever the first difference lies.
bool macMatches(std::vector<unsigned char>& message, const V3Info& info,
                const std::vector<unsigned char>& authKey, unsigned authProtocol) {
  const std::string& got = info.authParams;
  if (got.size() < kMinAuthParams) return false;
  std::vector<unsigned char> digest;
  if (!digestMessage(digest, message, authKey, info.authParamsPos,
                     static_cast<unsigned>(got.size()), authProtocol) ||
      digest.size() < got.size())
    return false;
  unsigned char differ = 0;
  for (size_t i = 0; i < got.size(); ++i)
    differ |= static_cast<unsigned char>(static_cast<unsigned char>(got[i]) ^ digest[i]);
  return differ == 0;
}

// What is read in place of a scoped PDU that is not or cannot be
// decrypted: our context engine ID, the empty context name and a
// GetRequest with request id 0 and no bindings, so that the report can be
// built. (Managers match a report to their request by the message id;
// net-snmp and pysnmp were seen to.)
std::string standInScopedPdu(const std::string& engineId) {
  OutStream pdu;
  pdu.startSeq(wire::SEQUENCE);
  pdu.add(engineId, wire::OCTET_STRING);
  pdu.add(std::string(), wire::OCTET_STRING);
  pdu.startSeq(wire::GET_REQUEST);
  for (int i = 0; i < 3; ++i) pdu.add(0, wire::INTEGER);
  pdu.startSeq(wire::SEQUENCE);
  pdu.endSeq();
  pdu.endSeq();
  pdu.endSeq();
  return std::string(pdu.data.begin(), pdu.data.end());
}

}  // namespace

bool InStream::decryptAndCheckSignature(
    int& v3_err, const std::vector<unsigned char>& authKey,
    unsigned authProtocol, const std::vector<unsigned char>& privKey,
    unsigned privProtocol, const V3ServerInfo& server) {
  if (!v3info_) return false;
  V3Info& info = *v3info_;

  // The checks run in the order of RFC 3414 3.2 (engine ID, digest, time
  // window, decryption), so the first error raised is the one it reports.
  // Only an authentic message is decrypted.
  const unsigned now = engineTime(server);
  const bool foreignEngine = info.engineId != server.engineId;
  if (foreignEngine) raiseV3Error(v3_err, v3err::UNKNOWN_ENGINE_ID);

  bool authentic = true;
  if (securityLevel >= wire::LEVEL_AUTH) {
    // Over the message as received, before the scoped PDU is decrypted.
    authentic = macMatches(data, info, authKey, authProtocol);
    if (!authentic) raiseV3Error(v3_err, v3err::WRONG_DIGEST);
    // One-sided on purpose: a time ahead of ours wraps to a huge difference.
    if (info.engineBoots != server.engineBoots ||
        now - static_cast<unsigned>(info.engineTime) > server.timeWindow)
      raiseV3Error(v3_err, v3err::NOT_IN_TIME_WINDOW);
  }

  if (securityLevel == wire::LEVEL_PRIV) {
    // Go on reading in the message up to the ciphertext followed by the
    // plaintext. A message that failed the digest is not decrypted: its
    // report must not depend on the privacy key being right as well.
    const unsigned start = cursor_;
    std::string cipher, plain;
    if (!getString(&cipher)) return false;
    if (!authentic) {
      plain = standInScopedPdu(server.engineId);
    } else if (privProtocol != PRIV_AES128) {
      cryptMessageDES(info.privParams, privKey, cipher, plain, 0);
    } else if (info.privParams.size() == AES_SALT_SIZE) {
      // The IV takes the boots and time the message carries.
      cryptMessageAES(aesIv(info.engineBoots, info.engineTime, info.privParams),
                      privKey, cipher, plain, 0);
    } else {
      raiseV3Error(v3_err, v3err::DECRYPTION_ERROR);
      authentic = false;
      plain = standInScopedPdu(server.engineId);
    }
    data.resize(start);
    data.insert(data.end(), plain.begin(), plain.end());
    cursor_ = start;
  }

  if (enterSeq() < 0 || !getString(&info.contextEngineId) ||
      !getString(&info.contextName))
    return false;

  if (foreignEngine) {
    // The report teaches the manager our engine ID.
    info.engineId = server.engineId;
    info.contextEngineId = server.engineId;
  }
  if (!authentic) {
    // The manager failed to prove the key: the report goes out neither
    // signed nor encrypted (RFC 3414 3.2), which it can read whatever key
    // it holds.
    clearAuthPrivInfo();
    securityLevel = wire::LEVEL_NONE;
  }
  if (securityLevel == wire::LEVEL_PRIV)
    info.privParams = makeSalt(privProtocol, server.engineBoots);  // the reply's
  info.engineBoots = server.engineBoots;
  info.engineTime = static_cast<int>(now);
  return true;
}

void InStream::clearAuthPrivInfo() {
  if (!v3info_) return;
  v3info_->authParams.clear();
  v3info_->privParams.clear();
  if (!v3info_->flags.empty())
    v3info_->flags[0] =
        static_cast<char>(v3info_->flags[0] & ~(v3flags::AUTH | v3flags::PRIV));
}
