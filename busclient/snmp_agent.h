// The SNMP agent (service 161) as the snmp verbs see it: one exchange with
// its settings handler (0) or its community registry (1), and what the
// verbs read before they change anything: the settings, every community
// (all pages) and the trap generators. Each call that fails has printed
// the error reply (printErrorReply) and returns false.
#ifndef BUSCLIENT_SNMP_AGENT_H
#define BUSCLIENT_SNMP_AGENT_H

#include <cstdint>
#include <vector>

#include "busclient/snmp_keys.h"
#include "busclient/verbs.h"
#include "platform/message.h"

namespace tarnctl {

const uint32_t kAgent = 161;
const uint32_t kSettingsHandler = 0;
const uint32_t kCommunitiesHandler = 1;

// Sends `request` with command `cmd` to the agent's handler; the reply in
// *reply.
bool askAgent(const Options& opts, uint32_t handler, uint32_t cmd, tarn::message& request,
              tarn::message* reply);

bool fetchSettings(const Options& opts, tarn::message* settings);
// Every community as the agent lists it (its fields, id included), in the
// agent's order.
bool fetchCommunities(const Options& opts, std::vector<tarn::message>* communities);
bool fetchGenerators(const Options& opts, std::vector<Named>* generators);

// The ids and names of communities.
std::vector<Named> communityNames(const std::vector<tarn::message>& communities);
// The object id of a community.
uint32_t idOf(const tarn::message& community);

}  // namespace tarnctl

#endif  // BUSCLIENT_SNMP_AGENT_H
