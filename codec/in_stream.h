// InStream: the BER reader of one received SNMP datagram.
//
// A cursor that only moves forward plus a stack of sequence ends. The
// reader is deliberately lenient about identifier octets: every getter skips
// the identifier without looking at it; the caller decides by context (or by
// peeking with getType) what comes next. Every getter is bounds-checked
// against the end of data, whatever the bytes: on failure it writes one line
// "SNMP InStream: <text>" through diag::out, returns false (or -1) and leaves
// the cursor wherever the failure found it. Nothing throws.
//
// The SNMPv3 members (readV3Info and the rest) are implemented by the
// security layer; when they return true after getVersion() gave 3, the cursor
// stands at the PDU element of the scoped PDU, exactly where a v1/v2c message
// stands after its community string.
#ifndef CODEC_IN_STREAM_H
#define CODEC_IN_STREAM_H

#include <string>
#include <vector>

#include "codec/oid.h"
#include "codec/uber_stream.h"
#include "codec/v3_info.h"

struct V3ServerInfo;

class InStream : public UberStream {
 public:
  // Copies `length` bytes; cursor at the first, empty stack, no V3Info.
  InStream(const unsigned char* bytes, unsigned length);
  ~InStream();
  InStream(const InStream&) = delete;
  InStream& operator=(const InStream&) = delete;

  // Empties the stack and puts the cursor back at the first byte.
  void reset();

  // Identifier octet at the cursor without moving; -1 at the end of data.
  int getType() const;
  // Length at the cursor; -1 on error (indefinite, too long, truncated).
  int getLen();
  bool getInt(int* out);                         // INTEGER and 32-bit unsigned types
  bool get64(unsigned long long* out);           // Counter64
  bool getString(std::string* out);
  bool getOID(OID* out);                         // replaces *out only on success
  bool getNull();
  bool getBits(std::vector<unsigned char>* out); // unused-bits octet first

  // Skips identifier, reads length, pushes the end; the length or -1.
  int enterSeq();
  // Pops the innermost end and moves the cursor there.
  void exitSeq();
  // At the end of data or at the innermost pushed end.
  bool isSeqEnd() const;
  // First call: enters the message sequence and reads the version (-1 on
  // failure); later calls return the cached value without reading.
  int getVersion();

  // --- SNMPv3 (implemented by the security layer) ---
  bool readV3Info(int& v3_err);
  // Checks and decrypts with the user's keys; false only when the message
  // does not decode. Afterwards securityLevel (and the V3Info) is what the
  // reply goes out with: none when the digest or decryption check failed.
  bool decryptAndCheckSignature(int& v3_err,
                                const std::vector<unsigned char>& authKey,
                                unsigned authProtocol,
                                const std::vector<unsigned char>& privKey,
                                unsigned privProtocol,
                                const V3ServerInfo& server);
  void clearAuthPrivInfo();
  // The header record of a v3 message (null before readV3Info); owned.
  V3Info* v3Info() const { return v3info_; }

  unsigned position() const { return cursor_; }

 private:
  // Skips the identifier octet and reads a non-negative length.
  bool header(unsigned* len);
  // Octets between the cursor and the end of data (0 if the security layer
  // left the cursor beyond a shortened message).
  unsigned remaining() const {
    const size_t size = data.size();
    return cursor_ < size ? static_cast<unsigned>(size - cursor_) : 0;
  }

  std::vector<unsigned> seqEnds_;
  unsigned cursor_ = 0;
  int version_ = -1;
  bool versionRead_ = false;
  V3Info* v3info_ = nullptr;
};

#endif
