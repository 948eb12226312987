// The built-in trap makers: the start trap, the vendor event and the
// interface link changes.
#include "service/trap_makers.h"

#include <string>

#include "codec/wire.h"
#include "platform/codes.h"
#include "service/snmp_fields.h"

std::vector<TrapMaker> trapMakers;
std::map<unsigned, unsigned> linkStates;

namespace {

const OID WARM_START{1, 3, 6, 1, 6, 3, 1, 1, 5, 2};
const OID LINK_DOWN{1, 3, 6, 1, 6, 3, 1, 1, 5, 3};
const OID LINK_UP{1, 3, 6, 1, 6, 3, 1, 1, 5, 4};
const OID VENDOR_EVENT{1, 3, 6, 1, 4, 1, 40117, 1, 1, 9};
// Bare column OIDs, without an instance suffix: receivers have always been
// given them this way.
const OID IF_INDEX{1, 3, 6, 1, 2, 1, 2, 2, 1, 1};
const OID IF_ADMIN_STATUS{1, 3, 6, 1, 2, 1, 2, 2, 1, 7};
const OID IF_OPER_STATUS{1, 3, 6, 1, 2, 1, 2, 2, 1, 8};

// The interface service's link-change events.
const tarn::u32_id IF_STATE(0x10003);
const unsigned ADMIN_UP = 0x100;
const unsigned RUNNING = 0x400;
const unsigned INTERFACE_SERVICE = 20;
const unsigned INTERFACE_LIST = 0;

VariableBinding integer(const OID& name, const std::string& value) {
  VariableBinding vb;
  vb.oid = name;
  vb.type = wire::INTEGER;
  vb.value = value;
  return vb;
}

}  // namespace

bool startupTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                      OID& trapOid, int& genericTrap, int& specificTrap) {
  trapOid = WARM_START;
  genericTrap = 1;
  specificTrap = 0;
  return true;
}

bool zarrowTrapMaker(std::vector<VariableBinding>& bindings,
                     const tarn::message& event, OID& trapOid,
                     int& genericTrap, int& specificTrap) {
  if (event.get(tarn::u32_id(tarn::kFieldCmd), 0u) != snmpf::CMD_EVENT) return false;
  trapOid = VENDOR_EVENT;
  genericTrap = 6;
  specificTrap = 1;
  if (event.has(snmpf::EVENT_OID) && event.has(snmpf::EVENT_TYPE)) {
    const unsigned type = event.get(snmpf::EVENT_TYPE, 0u);
    if (event.has(snmpf::EVENT_VALUE) || type == wire::NULL_TYPE) {
      VariableBinding vb;
      vb.oid = OID(event.get(snmpf::EVENT_OID, std::string()));
      vb.type = type;
      vb.value = event.get(snmpf::EVENT_VALUE, std::string());
      bindings.push_back(vb);
    }
  }
  return true;
}

bool linkTrapMaker(std::vector<VariableBinding>& bindings,
                   const tarn::message& event, OID& trapOid, int& genericTrap,
                   int& specificTrap) {
  const std::vector<uint32_t>& source =
      event.get(tarn::u32_array_id(tarn::kFieldSrc));
  if (source.size() != 2 || source[0] != INTERFACE_SERVICE ||
      source[1] != INTERFACE_LIST) {
    return false;
  }
  const tarn::u32_id objectId(tarn::kFieldObjId);
  if (!event.has(IF_STATE) || !event.has(objectId)) return false;
  const unsigned id = event.get(objectId, 0u);
  const unsigned state = event.get(IF_STATE, 0u) & (ADMIN_UP | RUNNING);
  std::map<unsigned, unsigned>::iterator known = linkStates.find(id);
  if (known != linkStates.end() && known->second == state) return false;
  linkStates[id] = state;
  const bool up = (state & ADMIN_UP) != 0;
  trapOid = up ? LINK_UP : LINK_DOWN;
  genericTrap = up ? 3 : 2;
  specificTrap = 0;
  bindings.push_back(integer(IF_INDEX, std::to_string(id)));
  bindings.push_back(integer(IF_ADMIN_STATUS, up ? "1" : "2"));
  bindings.push_back(integer(IF_OPER_STATUS, (state & RUNNING) ? "1" : "2"));
  return true;
}
