// Bits of the SNMPv3 message flags octet.
#ifndef SECURITY_V3_FLAGS_H
#define SECURITY_V3_FLAGS_H

namespace v3flags {

constexpr unsigned AUTH = 0x01;
constexpr unsigned PRIV = 0x02;
constexpr unsigned REPORTABLE = 0x04;  // never consulted

}  // namespace v3flags

#endif
