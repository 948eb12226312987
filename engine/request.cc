// createReply: decode one request message, authenticate it, answer its
// bindings. See engine/request.h for the contract.
#include "engine/request.h"

#include <algorithm>
#include <string>
#include <vector>

#include "codec/diag.h"
#include "codec/wire.h"
#include "engine/context.h"
#include "engine/v2_replies.h"
#include "security/community_keep.h"
#include "security/v3_errors.h"
#include "security/v3_server_info.h"

ReplyOptions replyOptions;

namespace {

// The security material a version 3 message is checked, encrypted and
// signed with: the user's, or empty for an unknown user.
struct UserKeys {
  const std::vector<unsigned char>* authKey = &none;
  const std::vector<unsigned char>* privKey = &none;
  unsigned authProtocol = 0, privProtocol = 0;
  static const std::vector<unsigned char> none;
};
const std::vector<unsigned char> UserKeys::none;

// Reads and checks the community of a version 0-2 message and writes it
// into the reply.
bool readCommunity(Context& ctx, unsigned address) {
  if (!ctx.in.getString(&ctx.community) ||
      communityKeep->getSecurity(ctx.community) != 0 ||
      !communityKeep->check(ctx.community, address)) {
    diag::err(" authentification failed");
    return false;
  }
  ctx.out.add(ctx.community, wire::OCTET_STRING);
  return true;
}

// Reads the SNMPv3 header, checks digest, window and engine ID, decrypts,
// and writes the reply's header. `v3_err` ends as the error to report, or
// v3err::NONE.
bool readV3(Context& ctx, unsigned address, UserKeys& keys, int& v3_err) {
  v3_err = v3err::NONE;
  if (!v3Engine) return false;
  if (!ctx.in.readV3Info(v3_err)) {
    diag::err("!ctx.in.readV3Info(v3_err)");
    return false;
  }
  const V3Info* info = ctx.in.v3Info();
  ctx.community = info ? info->userName : std::string();
  if (communityKeep->getSecurity(ctx.community) > ctx.in.securityLevel)
    v3_err = v3err::UNSUPPORTED_SEC_LEVEL;
  if (const CommunityKeep::Item* item = communityKeep->findItem(ctx.community)) {
    keys.authKey = &item->authKey;
    keys.authProtocol = item->authProtocol;
    keys.privKey = &item->privKey;
    keys.privProtocol = item->privProtocol;
  }
  if (!ctx.in.decryptAndCheckSignature(v3_err, *keys.authKey, keys.authProtocol,
                                       *keys.privKey, keys.privProtocol, *v3Engine)) {
    diag::err("decryptAndCheckSignature failed");
    return false;
  }
  ctx.out.securityLevel = ctx.in.securityLevel;
  if (v3_err == v3err::NONE && !communityKeep->check(ctx.community, address)) {
    // An unknown user or refused source gets an unauthenticated report.
    ctx.in.clearAuthPrivInfo();
    ctx.out.securityLevel = wire::LEVEL_NONE;
    v3_err = v3err::UNKNOWN_USER_NAME;
  }
  if (v3_err != v3err::NONE) {
    ++Context::v3counters[v3_err];
    ctx.reportCode = v3_err;
  }
  ctx.out.writeV3Info(ctx.in.v3Info());
  return true;
}

}  // namespace

bool createReply(Context& ctx, int senderAddress) {
  const unsigned address = static_cast<unsigned>(senderAddress);
  const int version = ctx.in.getVersion();
  if (version == -1) return false;
  ctx.out.startSeq(wire::SEQUENCE);
  ctx.out.add(version, wire::INTEGER);

  UserKeys keys;
  int v3_err = v3err::NONE;
  unsigned replyTag = wire::GET_RESPONSE;
  if (version >= 0 && version <= 2) {
    if (!readCommunity(ctx, address)) return false;
  } else if (version == wire::VERSION_3) {
    if (!readV3(ctx, address, keys, v3_err)) return false;
    if (v3_err != v3err::NONE) replyTag = wire::REPORT;
  } else {
    diag::err("version not supported");
    return false;
  }
  const bool report = v3_err != v3err::NONE;

  const int pduType = ctx.in.getType();
  ctx.in.enterSeq();
  ctx.out.startSeq(replyTag);
  int requestId;
  if (!ctx.in.getInt(&requestId)) return false;
  ctx.out.add(requestId, wire::INTEGER);
  if (!ctx.in.getInt(&ctx.requestStatus) || !ctx.in.getInt(&ctx.requestIndex))
    return false;
  ctx.out.addErrorStatus(0);
  ctx.out.addErrorIndex(0);
  ctx.in.enterSeq();
  ctx.out.startSeq(wire::SEQUENCE);

  int status = wire::NO_ERROR;
  unsigned count = 0;
  if (report) {
    status = snmpV3(ctx);
  } else {
    const bool v1 = version == wire::VERSION_1;
    const bool v1Filter = v1 && replyOptions.exceptions;
    int (*handler)(Context&);
    int refusal;
    bool allowed;
    switch (pduType) {
      case wire::GET_REQUEST:
        handler = v1Filter ? snmpGetV1 : snmpGet, refusal = wire::NO_SUCH_NAME;
        allowed = communityKeep->canRead(ctx.community);
        break;
      case wire::GET_NEXT_REQUEST:
        handler = v1Filter ? snmpGetNextV1 : snmpGetNext, refusal = wire::NO_SUCH_NAME;
        allowed = communityKeep->canRead(ctx.community);
        break;
      case wire::SET_REQUEST:
        handler = snmpSet, refusal = wire::READ_ONLY;
        allowed = communityKeep->canWrite(ctx.community);
        break;
      case wire::GET_BULK_REQUEST:
        if (!v1 && replyOptions.bulk) {
          handler = snmpGetNext, refusal = wire::NO_SUCH_NAME;
          allowed = communityKeep->canRead(ctx.community);
          break;
        }
        diag::err("unknown request command");
        return false;
      default:
        diag::err("unknown request command");
        return false;
    }
    // Version 2 replies with exception values, and every GetBulk. A refused
    // community goes the old way below: noSuchName at the first binding.
    const bool v2Reply = pduType == wire::GET_BULK_REQUEST ||
                         (!v1 && replyOptions.exceptions && pduType != wire::SET_REQUEST);
    if (allowed && v2Reply) {
      unsigned maxMessage = wire::MAX_MESSAGE;
      // A version 3 manager states the largest message it takes.
      if (version == wire::VERSION_3 && ctx.in.v3Info())
        maxMessage = std::min(maxMessage,
                              static_cast<unsigned>(std::max(ctx.in.v3Info()->maxSize, 0)));
      if (!answerV2(ctx, pduType, maxMessage, &status)) return false;
    }
    // Otherwise stop at the first failing binding; it goes back as name
    // plus NULL.
    while (!(allowed && v2Reply) && !ctx.in.isSeqEnd() && status == wire::NO_ERROR) {
      ctx.in.enterSeq();
      ctx.out.startSeq(wire::SEQUENCE);
      OID name;
      if (!ctx.in.getOID(&name)) return false;
      ctx.oid = name;
      status = refusal;
      if (allowed) status = handler(ctx);
      if (status != wire::NO_ERROR) {
        ctx.out.addOID(name, wire::OBJECT_ID);
        ctx.out.addNull(wire::NULL_TYPE);
      }
      ++count;
      ctx.in.exitSeq();
      ctx.out.endSeq();
    }
  }

  if (status != wire::NO_ERROR) {
    ctx.out.addErrorStatus(status);
    // A readOnly refusal keeps error index 0.
    if (status == wire::NO_SUCH_NAME) ctx.out.addErrorIndex(count);
  }
  ctx.out.endSeq();  // bindings
  ctx.out.endSeq();  // PDU
  if (version == wire::VERSION_3)
    ctx.out.cryptPacket(ctx.in.v3Info(), *keys.privKey, keys.privProtocol);
  ctx.out.endSeq();  // message
  if (version == wire::VERSION_3)
    ctx.out.signPacket(ctx.in.v3Info(), *keys.authKey, keys.authProtocol);
  return true;
}
