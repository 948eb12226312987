// site_plugin: an example MIB plug-in for tarn-snmpd, of the kind an
// operator writes for objects of their own. Build it against the installed
// headers (see CMakeLists.txt or Makefile beside it) and copy the .so into
// $TARN_ROOT/tarn/lib/snmp/; the agent loads it at its next start.
//
// It serves, under 1.3.6.1.4.1.40117.250 (use your own enterprise arc):
//   .250.1.0  siteName    OCTET STRING, read-only: a constant
//   .250.2.0  routeCount  Gauge32, read-only: how many routes the routing
//                         service {44, 1} holds, asked over the bus
//   .250.3.0  siteNote    OCTET STRING, read-write: kept in the agent's
//                         memory (empty again after a restart)
// and turns an event into a trap of its own:
//   tarnctl send 161 1 str:2001="door open"
// sends the trap .250.0.1 (SNMPv1: enterprise .250, specific 1) with the
// binding siteAlarm .250.4.0 = "door open".
//
// The agent calls autorun() once, on its only thread, before it serves
// anything; everything registered there lives as long as the process.
// Plug-ins bind to the agent's own functions and globals when they are
// loaded: they link nothing of it themselves.
#include <string>
#include <vector>

#include "engine/plugin_api.h"

namespace {

const OID kSite{1, 3, 6, 1, 4, 1, 40117, 250};

// The records that the packers read: one class per provider, derived from
// Data, with plain fields.
struct Routes : Data {
  int count = 0;
};

struct Notes : Data {
  std::string note;
};

// Asks the routing service how many routes it holds. SingleProvider keeps
// the answer while requests keep coming (a walk asks once) and drops it
// after a short idle time, so the next request asks again.
class RouteCountProvider : public SingleProvider {
 public:
  Data* getData() override {
    tarn::message request;
    request.insert_vector(tarn::u32_array_id(tarn::kFieldDst), 44, 1);
    request.insert(tarn::u32_id(tarn::kFieldCmd), unsigned{tarn::kCmdGetCount});
    // Blocks the agent until the answer, kExchangeTimeoutMs at most; null:
    // no answer, and the request is answered noSuchName.
    const tarn::message reply = exchange(request);
    if (tarn::isError(reply, nullptr, nullptr)) return nullptr;
    Routes* routes = new Routes;
    routes->count = static_cast<int>(reply.get(tarn::u32_id(tarn::kFieldCount), 0u));
    return routes;
  }
  bool setData(Data*) override { return false; }  // read-only
};

// Holds the note in memory. A SET has already written the new value into
// the record when set() is called; there is nothing else to carry out.
class NoteProvider : public DataProvider {
 public:
  Data* get() override { return &notes_; }
  bool set(Data*) override { return true; }

 private:
  Notes notes_;
};

// Trap makers are asked in order, the plug-ins' before the agent's own, and
// the first one that returns true builds the trap. This one takes the
// agent's event command 1 only when it carries field 2001, and leaves every
// other event to the makers after it.
bool siteAlarmTrap(std::vector<VariableBinding>& bindings, const tarn::message& event,
                   OID& trapOid, int& genericTrap, int& specificTrap) {
  if (event.get(tarn::u32_id(tarn::kFieldCmd), 0u) != 1) return false;
  const tarn::string_id alarm(2001);
  if (!event.has(alarm)) return false;
  trapOid = kSite;
  genericTrap = 6;  // enterprise-specific: snmpTrapOID is .250.0.1
  specificTrap = 1;
  VariableBinding text;
  text.oid = kSite + 4 + 0;
  text.type = wire::OCTET_STRING;
  text.value = event.get(alarm, std::string());
  bindings.push_back(text);
  return true;
}

}  // namespace

extern "C" void autorun() {
  // A constant: the leaf owns a packer that always gives the same value.
  // Scalars are registered without their instance arc; the agent serves
  // them at .0.
  addScalarConstStringLeaf(kSite + 1, "example site", wire::OCTET_STRING);

  // A value from another service: the packer picks the field out of the
  // provider's record and encodes it with the given type.
  addScalarLeaf(kSite + 2, new DataNumPacker(field(&Routes::count), wire::GAUGE32),
                new RouteCountProvider);

  // A writable string. The third argument of a string packer is its
  // length as a table index, 0 for scalars. Write access is granted per
  // community (tarnctl snmp community add NAME read=yes write=yes).
  addScalarLeaf(kSite + 3, new DataStringPacker(field(&Notes::note), wire::OCTET_STRING, 0),
                new NoteProvider);

  trapMakers.push_back(siteAlarmTrap);
}
