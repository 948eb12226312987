// OutStream: the BER writer of one outgoing SNMP message.
//
// Builds the message front to back. Sequences are opened with a one-octet
// length placeholder and closed by patching it, inserting one or two octets
// when the content is longer than 127. The error-status and error-index
// INTEGERs of a PDU are written once as one-octet placeholders and patched
// later. Only the low 8 bits of `type` are written (one-octet identifiers).
// Encoding problems write one line "SNMP OutStream: <text>" through
// diag::out and leave the element unwritten; the caller is not told.
#ifndef CODEC_OUT_STREAM_H
#define CODEC_OUT_STREAM_H

#include <string>
#include <vector>

#include "codec/oid.h"
#include "codec/uber_stream.h"
#include "codec/v3_info.h"

// One variable binding given as text, as traps build them.
struct VariableBinding {
  OID oid;
  unsigned type = 0;  // identifier octet value
  std::string value;
};

class OutStream : public UberStream {
 public:
  // Room for a typical reply and its nesting (message, PDU, binding list,
  // binding; v3 adds two), so that writing one does not regrow the vectors.
  OutStream() {
    data.reserve(512);
    openSeqs_.reserve(8);
  }

  void addType(unsigned type);
  void addLen(unsigned len);
  void add(int value, unsigned type);                 // signed, 1-4 octets
  void add(unsigned value, unsigned type);            // unsigned, 1-5 octets
  void add(unsigned long long value, unsigned type);  // unsigned, 1-9 octets
  void add(const std::string& value, unsigned type);
  void add(const unsigned char* bytes, unsigned len, unsigned type);
  void addNull(unsigned type);
  void addBits(const unsigned char* bytes, unsigned len, unsigned type);
  void addOID(const OID& oid, unsigned type);
  void startSeq(unsigned type);
  void endSeq();
  void addErrorStatus(unsigned value);
  void addErrorIndex(unsigned value);
  void addByType(const std::string& value, unsigned type);
  void addVarBind(const VariableBinding& vb);

  // The octets written so far: a position that truncate can return to.
  unsigned size() const { return static_cast<unsigned>(data.size()); }
  // Drops everything written after `pos`, which size() gave at a binding
  // boundary inside the innermost open sequence (or inside one binding,
  // after its own start): no sequence opened after `pos` may still be open.
  // This is how a reply that grew too big loses its last bindings whole.
  void truncate(unsigned pos) {
    if (pos < data.size()) data.resize(pos);
  }

  // --- SNMPv3 (implemented by the security layer) ---
  void writeV3Info(const V3Info* info);
  void cryptPacket(const V3Info* info, const std::vector<unsigned char>& privKey,
                   unsigned privProtocol);
  void signPacket(const V3Info* info, const std::vector<unsigned char>& authKey,
                  unsigned authProtocol);

  // Offsets in data kept for the SNMPv3 code; 0 when none. endSeq moves them
  // when it inserts length octets before them.
  unsigned authParamsPos = 0;
  unsigned scopedPduPos = 0;

 private:
  void addOctets(unsigned type, unsigned long long value, unsigned n);
  void patchInteger(unsigned* pos, unsigned value);

  std::vector<unsigned> openSeqs_;  // offsets just after each placeholder
  unsigned errorStatusPos_ = 0;
  unsigned errorIndexPos_ = 0;
};

#endif
