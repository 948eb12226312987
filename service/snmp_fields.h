// Field ids and command codes of the agent's own bus handler (handler 0 of
// service 161): its settings message, the trap event fields and the
// service-specific commands. Shared by the agent and the bus client, so it
// is header-only and depends on nothing but the platform's message kinds.
#ifndef SERVICE_SNMP_FIELDS_H
#define SERVICE_SNMP_FIELDS_H

#include "platform/message.h"

namespace snmpf {

// Settings (object 0 of "/tarn/store/snmpd"; body of get and set).
constexpr tarn::bool_id ENABLED(1);
constexpr tarn::string_id CONTACT(2);
constexpr tarn::string_id LOCATION(3);
constexpr tarn::string_id TRAP_COMMUNITY(4);  // name; kept, not used
constexpr tarn::string_id ENGINE_ID(10);      // text form
constexpr tarn::u32_id BOOTS(13);
constexpr tarn::u32_id TIME_WINDOW(14);       // seconds
constexpr tarn::be32_id TRAP_TARGET(16);      // IPv4, network order; 0 = none
constexpr tarn::u32_id TRAP_COMMUNITY_ID(17); // 0xFFFFFFFF = none
constexpr tarn::u32_id TRAP_VERSION(18);      // 0 v1, 1 v2c, 3 v3
constexpr tarn::u32_array_id TRAP_GENERATORS(19);
constexpr tarn::bool_id BULK(22);        // answer GetBulk (v2c, v3)
constexpr tarn::bool_id EXCEPTIONS(23);  // v2 exception values; no Counter64 in v1

// The vendor event (command 1): one optional binding.
constexpr tarn::string_id EVENT_OID(1001);    // dotted text
constexpr tarn::u32_id EVENT_TYPE(1002);      // BER identifier octet value
constexpr tarn::string_id EVENT_VALUE(1003);  // value as text

// Service-specific commands.
constexpr unsigned CMD_EVENT = 1;           // vendor event -> trap
constexpr unsigned CMD_TRAP = 0xfe000b;     // event -> trap
constexpr unsigned CMD_LINK = 0x10004;      // link change -> trap
constexpr unsigned CMD_GENERATORS = 100;    // list the trap generators

constexpr unsigned NO_COMMUNITY = 0xFFFFFFFF;

// The start trap's generator id in the trap-generator setting.
constexpr unsigned START_TRAP_GENERATOR = 0xABC0001;

// The start announcement to the platform's process manager: command
// CMD_STARTED to {PROCESS_MANAGER} naming the program that is up.
constexpr unsigned PROCESS_MANAGER = 1;
constexpr unsigned CMD_STARTED = 3;
constexpr tarn::u32_id STARTED_PROGRAM(5);
constexpr unsigned AGENT_PROGRAM = 34;  // the agent's number among the programs

// The longest engine ID text (setting 10) in octets: on the wire it follows
// a 5-octet prefix, and the whole may be at most 32 octets.
constexpr unsigned ENGINE_ID_MAX_TEXT = 27;

}  // namespace snmpf

#endif
