// V3Info: the header and security parameters of one SNMPv3 message.
//
// Filled by InStream::readV3Info from a request (and adjusted by the
// security checks for the reply), or by the trap builder; written back by
// OutStream::writeV3Info. Integers are as decoded (signed 32-bit); strings
// hold raw octets.
#ifndef CODEC_V3_INFO_H
#define CODEC_V3_INFO_H

#include <string>

struct V3Info {
  int msgId = 0;
  int maxSize = 0;
  std::string flags;       // one octet: bit 0 auth, bit 1 priv, bit 2 reportable
  int securityModel = 0;   // 3 for the user-based security model
  std::string engineId;    // authoritative engine ID (internal form)
  int engineBoots = 0;
  int engineTime = 0;
  std::string userName;
  std::string authParams;
  std::string privParams;
  unsigned authParamsPos = 0;  // offset of authParams' contents in the message
  std::string contextEngineId;
  std::string contextName;
};

#endif
