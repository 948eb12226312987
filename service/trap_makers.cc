// The agent service's trap makers: the start trap and the vendor event.
#include "service/trap_makers.h"

#include "codec/wire.h"
#include "platform/codes.h"
#include "service/snmp_fields.h"

namespace {

const OID kWarmStart{1, 3, 6, 1, 6, 3, 1, 1, 5, 2};
const OID kVendorEvent{1, 3, 6, 1, 4, 1, 40117, 1, 1, 9};

}  // namespace

bool startupTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                      OID& trapOid, int& genericTrap, int& specificTrap) {
  trapOid = kWarmStart;
  genericTrap = 1;
  specificTrap = 0;
  return true;
}

bool zarrowTrapMaker(std::vector<VariableBinding>& bindings,
                     const tarn::message& event, OID& trapOid,
                     int& genericTrap, int& specificTrap) {
  if (event.get(tarn::u32_id(tarn::kFieldCmd), 0u) != snmpf::CMD_EVENT) return false;
  trapOid = kVendorEvent;
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
