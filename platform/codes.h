// Field numbers and command codes that the platform itself gives meaning to:
// the envelope of every bus message, the common object commands, the
// subscription commands and the error codes of locally made replies.
#ifndef PLATFORM_CODES_H
#define PLATFORM_CODES_H

#include <cstdint>

namespace tarn {

enum : uint32_t {
  // Envelope fields.
  kFieldDst = 0xff0001,      // u32 array: destination path
  kFieldSrc = 0xff0002,      // u32 array: sender's {service, handler}
  kFieldSeq = 0xff0003,      // u32: request that expects a reply
  kFieldReply = 0xff0004,    // bool: true on a reply
  kFieldErrCode = 0xff0005,  // u32: error code of an error reply
  kFieldErrText = 0xff0006,  // string: error text of an error reply
  kFieldCmd = 0xff0007,      // u32: command code

  // Common object fields.
  kFieldObjId = 0xfe0001,
  kFieldObjList = 0xfe0002,
  kFieldStart = 0xfe0003,
  kFieldMaxCount = 0xfe000c,
  kFieldName = 0xfe0010,
  kFieldMissing = 0xfe0013,
  kFieldCount = 0xfe0014,
  kFieldWhat = 0xfe0021,     // u32: notification code of a subscription
  kFieldFilter = 0xfe0022,   // message array: [filter] / [changed object]

  // Commands.
  kCmdGetObj = 0xfe0002,
  kCmdSetObj = 0xfe0003,
  kCmdGetAll = 0xfe0004,
  kCmdAddObj = 0xfe0005,
  kCmdRemoveObj = 0xfe0006,
  kCmdGet = 0xfe000d,
  kCmdSet = 0xfe000e,
  kCmdGetCount = 0xfe0015,
  kCmdSubscribe = 0xfe0020,
  kCmdUnsubscribe = 0xfe0023,
  kCmdChanged = 0xfe0024,    // notifyChange's notification
  // Platform commands without a common code elsewhere.
  kCmdGetPolicies = 0xff0020,
  kCmdReset = 0xff0021,
  kCmdMoveObj = 0xff0022,
  kCmdShutdown = 0xff0023,

  // Error codes.
  kErrNoObject = 0xfe0004,
  kErrMissingField = 0xfe0005,
  kErrConflict = 0xfe0006,
  kErrNoStart = 0xfe000b,
  kErrTimeout = 0xff0010,
  kErrNoService = 0xff0011,
  kErrUnsupported = 0xff0012,
  kErrDenied = 0xff0013,
};

}  // namespace tarn

#endif  // PLATFORM_CODES_H
