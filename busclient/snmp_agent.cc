// Exchanges with the SNMP agent.
#include "busclient/snmp_agent.h"

#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "security/community_fields.h"
#include "service/snmp_fields.h"

namespace tarnctl {

bool askAgent(const Options& opts, uint32_t handler, uint32_t cmd, tarn::message& request,
              tarn::message* reply) {
  request.insert(tarn::u32_array_id(tarn::kFieldDst), tarn::u32_vector(kAgent, handler));
  request.insert(tarn::u32_id(tarn::kFieldCmd), cmd);
  *reply = tarn::getLooper()->exchangeMessage(request, opts.timeoutMs);
  if (!tarn::isError(*reply)) return true;
  printErrorReply(opts, request, *reply);
  return false;
}

bool fetchSettings(const Options& opts, tarn::message* settings) {
  tarn::message request;
  return askAgent(opts, kSettingsHandler, tarn::kCmdGet, request, settings);
}

bool fetchCommunities(const Options& opts, std::vector<tarn::message>* communities) {
  communities->clear();
  uint32_t start = snmpf::NO_COMMUNITY;
  do {
    tarn::message request, reply;
    if (start != snmpf::NO_COMMUNITY) request.insert(tarn::u32_id(tarn::kFieldStart), start);
    if (!askAgent(opts, kCommunitiesHandler, tarn::kCmdGetAll, request, &reply)) return false;
    for (tarn::flat_view flat :
         reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
      communities->push_back(tarn::message(flat));
    }
    start = reply.get(tarn::u32_id(tarn::kFieldStart), snmpf::NO_COMMUNITY);
  } while (start != snmpf::NO_COMMUNITY);
  return true;
}

bool fetchGenerators(const Options& opts, std::vector<Named>* generators) {
  tarn::message request, reply;
  if (!askAgent(opts, kSettingsHandler, snmpf::CMD_GENERATORS, request, &reply)) return false;
  generators->clear();
  for (tarn::flat_view flat : reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
    const tarn::message g(flat);
    generators->push_back({g.get(tarn::u32_id(tarn::kFieldObjId), 0u),
                           g.get(tarn::string_id(tarn::kFieldName), std::string())});
  }
  return true;
}

std::vector<Named> communityNames(const std::vector<tarn::message>& communities) {
  std::vector<Named> names;
  for (const tarn::message& c : communities) {
    names.push_back({idOf(c), c.get(communityf::NAME, std::string())});
  }
  return names;
}

uint32_t idOf(const tarn::message& community) {
  return community.get(tarn::u32_id(tarn::kFieldObjId), 0u);
}

}  // namespace tarnctl
