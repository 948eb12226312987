// SNMP wire constants: BER identifier octets, PDU tags, protocol versions
// and error-status values, each in one place with its meaning.
#ifndef CODEC_WIRE_H
#define CODEC_WIRE_H

namespace wire {

// Universal and application types (one-octet identifiers).
constexpr unsigned INTEGER = 0x02;
constexpr unsigned OCTET_STRING = 0x04;
constexpr unsigned NULL_TYPE = 0x05;
constexpr unsigned OBJECT_ID = 0x06;
constexpr unsigned SEQUENCE = 0x30;
constexpr unsigned IP_ADDRESS = 0x40;
constexpr unsigned COUNTER32 = 0x41;
constexpr unsigned GAUGE32 = 0x42;
constexpr unsigned TIMETICKS = 0x43;
constexpr unsigned COUNTER64 = 0x46;

// SNMPv2 exception values: a binding's value when its object does not
// exist, its instance does not, or a GETNEXT ran past the last object.
// Context-specific primitives, always of length 0.
constexpr unsigned NO_SUCH_OBJECT = 0x80;
constexpr unsigned NO_SUCH_INSTANCE = 0x81;
constexpr unsigned END_OF_MIB_VIEW = 0x82;

// PDU tags.
constexpr unsigned GET_REQUEST = 0xA0;
constexpr unsigned GET_NEXT_REQUEST = 0xA1;
constexpr unsigned GET_RESPONSE = 0xA2;
constexpr unsigned SET_REQUEST = 0xA3;
constexpr unsigned TRAP_V1 = 0xA4;
constexpr unsigned GET_BULK_REQUEST = 0xA5;
constexpr unsigned TRAP_V2 = 0xA7;
constexpr unsigned REPORT = 0xA8;

// Message versions as carried in the header INTEGER.
constexpr int VERSION_1 = 0;
constexpr int VERSION_2C = 1;
constexpr int VERSION_3 = 3;

// Error-status values the agent sends.
constexpr int NO_ERROR = 0;
constexpr int TOO_BIG = 1;
constexpr int NO_SUCH_NAME = 2;
constexpr int READ_ONLY = 4;
constexpr int GEN_ERR = 5;

// The largest message the agent sends: the most a UDP datagram over IPv4
// carries (65535 less the 20-octet IP and 8-octet UDP headers).
constexpr unsigned MAX_MESSAGE = 65507;

// Security levels carried by both streams (from the SNMPv3 message flags).
constexpr int LEVEL_NONE = 0;
constexpr int LEVEL_AUTH = 1;
constexpr int LEVEL_PRIV = 2;

}  // namespace wire

#endif
