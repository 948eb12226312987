// Field ids of a community (an SNMPv3 user is a community with security
// settings) in the agent's bus messages (handler 1 of service 161) and in
// its store. Shared by the agent, the bus client and the tests, so it is
// header-only and depends on nothing but the platform's message kinds.
#ifndef SECURITY_COMMUNITY_FIELDS_H
#define SECURITY_COMMUNITY_FIELDS_H

#include "platform/message.h"

namespace communityf {

constexpr tarn::string_id NAME(5);
constexpr tarn::bool_id READ(6);
constexpr tarn::bool_id WRITE(7);
constexpr tarn::be32_id ADDRESS(8);   // IPv4, network order; 0 = any
constexpr tarn::be32_id NETMASK(9);
constexpr tarn::string_id AUTH_PASSWORD(11);
constexpr tarn::string_id PRIV_PASSWORD(12);
constexpr tarn::u32_id SECURITY(15);       // 0 noAuthNoPriv, 1 authNoPriv, 2 authPriv
constexpr tarn::u32_id AUTH_PROTOCOL(20);  // 0 MD5, 1 SHA, 2-5 SHA-224/256/384/512
constexpr tarn::u32_id PRIV_PROTOCOL(21);  // 0 DES, 1 AES; any other value DES

}  // namespace communityf

#endif
