// Field ids and command codes of the agent's own bus handler (handler 0 of
// service 161): its settings message, the trap event fields and the
// service-specific commands. Shared by the agent and the bus client, so it
// is header-only and depends on nothing but the platform's message kinds.
#ifndef SERVICE_SNMP_FIELDS_H
#define SERVICE_SNMP_FIELDS_H

#include "platform/message.h"

namespace snmpf {

// Settings (object 0 of "/tarn/store/snmpd"; body of get and set).
const tarn::bool_id ENABLED(1);
const tarn::string_id CONTACT(2);
const tarn::string_id LOCATION(3);
const tarn::string_id TRAP_COMMUNITY(4);  // name; kept, not used
const tarn::string_id ENGINE_ID(10);      // text form
const tarn::u32_id BOOTS(13);
const tarn::u32_id TIME_WINDOW(14);       // seconds
const tarn::be32_id TRAP_TARGET(16);      // IPv4, network order; 0 = none
const tarn::u32_id TRAP_COMMUNITY_ID(17); // 0xFFFFFFFF = none
const tarn::u32_id TRAP_VERSION(18);      // 0 v1, 1 v2c, 3 v3
const tarn::u32_array_id TRAP_GENERATORS(19);
const tarn::bool_id BULK(22);        // answer GetBulk (v2c, v3)
const tarn::bool_id EXCEPTIONS(23);  // v2 exception values; no Counter64 in v1

// The vendor event (command 1): one optional binding.
const tarn::string_id EVENT_OID(1001);    // dotted text
const tarn::u32_id EVENT_TYPE(1002);      // BER identifier octet value
const tarn::string_id EVENT_VALUE(1003);  // value as text

// Service-specific commands.
constexpr unsigned CMD_EVENT = 1;           // vendor event -> trap
constexpr unsigned CMD_TRAP = 0xfe000b;     // event -> trap
constexpr unsigned CMD_LINK = 0x10004;      // link change -> trap
constexpr unsigned CMD_GENERATORS = 100;    // list the trap generators

constexpr unsigned NO_COMMUNITY = 0xFFFFFFFF;

// The longest engine ID text (setting 10) in octets: on the wire it follows
// a 5-octet prefix, and the whole may be at most 32 octets.
constexpr unsigned ENGINE_ID_MAX_TEXT = 27;

}  // namespace snmpf

#endif
