// SNMPv3 reading of a received message: the header and the user-based
// security parameters, then decryption, the engine ID, time-window and
// digest checks.
//
// A failure to decode returns false (the request is dropped without reply).
// A security failure is not a decoding failure: it records the first error
// code in v3_err, the read goes on, and the caller answers with a report.
#include <algorithm>
#include <string>

#include "codec/in_stream.h"
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

bool InStream::decryptAndCheckSignature(
    int& v3_err, const std::vector<unsigned char>& authKey,
    unsigned authProtocol, const std::vector<unsigned char>& privKey,
    unsigned /*privProtocol: DES is the only cipher*/,
    const V3ServerInfo& server) {
  if (!v3info_) return false;
  V3Info& info = *v3info_;

  const bool encrypted = securityLevel == wire::LEVEL_PRIV;
  if (encrypted) {
    // The digest covers the message as received: keep it, then go on
    // reading in the message up to the ciphertext followed by the plaintext.
    received_ = data;
    const unsigned start = cursor_;
    std::string cipher, plain;
    if (!getString(&cipher)) return false;
    cryptMessageDES(info.privParams, privKey, cipher, plain, 0);
    data.resize(start);
    data.insert(data.end(), plain.begin(), plain.end());
    cursor_ = start;
    info.privParams = makeSalt(server.engineBoots);  // the reply's salt
  }

  if (enterSeq() < 0 || !getString(&info.contextEngineId) ||
      !getString(&info.contextName))
    return false;

  const unsigned now = engineTime(server);
  if (info.engineId != server.engineId) {
    // The report teaches the manager our engine ID.
    info.engineId = server.engineId;
    info.contextEngineId = server.engineId;
    raiseV3Error(v3_err, v3err::UNKNOWN_ENGINE_ID);
  }

  if (securityLevel >= wire::LEVEL_AUTH) {
    // One-sided on purpose: a time ahead of ours wraps to a huge difference.
    if (info.engineBoots != server.engineBoots ||
        now - static_cast<unsigned>(info.engineTime) > server.timeWindow)
      raiseV3Error(v3_err, v3err::NOT_IN_TIME_WINDOW);

    // Compared over the received length, however long the manager sent it.
    std::vector<unsigned char>& message = encrypted ? received_ : data;
    const std::string& got = info.authParams;
    std::vector<unsigned char> digest;
    const bool ok =
        digestMessage(digest, message, authKey, info.authParamsPos,
                      static_cast<unsigned>(got.size()), authProtocol);
    if (digest.size() > got.size()) digest.resize(got.size());
    if (!ok || digest.size() != got.size() ||
        !std::equal(digest.begin(), digest.end(),
                    reinterpret_cast<const unsigned char*>(got.data())))
      raiseV3Error(v3_err, v3err::WRONG_DIGEST);
  }

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
