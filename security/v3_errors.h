// SNMPv3 error codes of the user-based security model.
//
// A request's v3_err holds one of these; it indexes Context::v3counters and
// picks the usmStats object that a report carries (kUsmStats, then
// code + 1, then 0). Only the first error raised for a message counts
// (raiseV3Error), except that request processing forces code 0 when the
// user's security level exceeds the message's.
#ifndef SECURITY_V3_ERRORS_H
#define SECURITY_V3_ERRORS_H

namespace v3err {

constexpr int NONE = -1;                  // no error (0xFFFFFFFF)
constexpr int UNSUPPORTED_SEC_LEVEL = 0;  // usmStatsUnsupportedSecLevels
constexpr int NOT_IN_TIME_WINDOW = 1;     // usmStatsNotInTimeWindows
constexpr int UNKNOWN_USER_NAME = 2;      // usmStatsUnknownUserNames
constexpr int UNKNOWN_ENGINE_ID = 3;      // usmStatsUnknownEngineIDs
constexpr int WRONG_DIGEST = 4;           // usmStatsWrongDigests
// AES privacy parameters that are not 8 octets (DES raises nothing).
constexpr int DECRYPTION_ERROR = 5;       // usmStatsDecryptionErrors
constexpr unsigned COUNT = 6;

}  // namespace v3err

// Sets `v3_err` to `code` unless an earlier error is already recorded.
inline void raiseV3Error(int& v3_err, int code) {
  if (v3_err == v3err::NONE) v3_err = code;
}

#endif
