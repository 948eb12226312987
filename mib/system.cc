// The system group and the vendor scalar groups: records and registrations.
#include "mib/system.h"

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/exchange.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/host_resources.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "platform/clock.h"
#include "platform/codes.h"

using namespace packers;
using namespace wire;

Data* TheSystem::build(const tarn::message&) {
  diag::err("TheSystem::build");
  return new TheSystem;
}

void TheSystem::reverseBuild(tarn::message&) {
  diag::err("TheSystem::reverseBuild");
  if (!reboot) return;
  diag::err("TheSystem::REBOOT");
  exchange(tarn::command(svc::sys::kPath, svc::sys::kReboot));
}

Data* Ident::build(const tarn::message& m) {
  Ident* r = new Ident;
  r->name = fields::str(m, svc::sys::kName);
  return r;
}

void Ident::reverseBuild(tarn::message& msg) {
  diag::err("Ident::reverseBuild");
  msg.insert(tarn::string_id(svc::sys::kName), name);
}

Data* SystemResources::build(const tarn::message& m) {
  SystemResources* r = new SystemResources;
  r->uptime = static_cast<int>(fields::u32(m, svc::sys::kUptime) * 100);
  r->memoryTotal = static_cast<int>(fields::u32(m, svc::sys::kMemoryTotal));
  r->memoryUsed = static_cast<int>(fields::u32(m, svc::sys::kMemoryTotal) - fields::u32(m, svc::sys::kMemoryFree));
  r->diskTotal = static_cast<int>(fields::u32(m, svc::sys::kDiskTotal));
  r->diskUsed = static_cast<int>(fields::u32(m, svc::sys::kDiskTotal) - fields::u32(m, svc::sys::kDiskFree));
  r->load = static_cast<int>(fields::u32(m, svc::sys::kLoad));
  return r;
}

Data* AgentIdentProvider::getData() {
  AgentIdent* r = new AgentIdent;
  read(&r->contact, &r->location);
  return r;
}

bool AgentIdentProvider::setData(Data*) { return false; }

Data* SoftwareIdent::build(const tarn::message& m) {
  SoftwareIdent* r = new SoftwareIdent;
  r->identifier = fields::str(m, svc::software::kIdentifier);
  r->date = dateAndTime(67);  // fixed by design: the answer has no date
  r->level = static_cast<int>(fields::u32(m, svc::software::kLevel));
  r->upgrade = static_cast<int>(fields::u32(m, svc::software::kUpgrade) + 1);
  return r;
}

void Script::build(const tarn::message& m, std::vector<Data*>* out) {
  diag::err("Script::build");
  Script* r = new Script;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, svc::script::kName);
  out->push_back(r);
}

void Script::reverseBuild(tarn::message& msg) {
  diag::err("Script::reverseBuild");
  msg.insert(tarn::u32_id(tarn::kFieldObjId), static_cast<uint32_t>(id));
  if (run) {
    diag::err("Run, FOREST, run!");
    msg.insert(tarn::u32_id(tarn::kFieldCmd), svc::script::kRun);
  } else {
    msg.insert(tarn::string_id(svc::script::kName), name);
  }
}

void PeerRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  PeerRecord* r = new PeerRecord;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->address = fields::ip(m, svc::peer::kAddress);
  r->hardwareAddress = fields::raw(m, svc::peer::kHardwareAddress);
  r->identity = fields::str(m, svc::peer::kIdentity);
  r->platform = fields::str(m, svc::peer::kPlatform);
  r->version = fields::str(m, svc::peer::kVersion);
  r->interface = fields::str(m, svc::peer::kInterface);
  out->push_back(r);
}

namespace {

const OID kScriptEntry("1.3.6.1.4.1.40117.1.1.8.1.1");
const OID kPeerEntry("1.3.6.1.4.1.40117.1.1.11.1.1");

}  // namespace

SystemModule::SystemModule(AgentIdentReader readAgentIdent)
    : resources(SystemResources::build, svc::sys::kResourcesPath, tarn::kCmdGet, tarn::kCmdSet),
      ident(Ident::build, svc::sys::kIdentPath, tarn::kCmdGet, tarn::kCmdSet),
      agent(readAgentIdent),
      software(SoftwareIdent::build, svc::software::kPath, tarn::kCmdGet, tarn::kCmdSet),
      control(TheSystem::build, svc::sys::kResourcesPath, tarn::kCmdGet, tarn::kCmdSet),
      scriptTable(&scripts),
      scriptId(field(&Script::id), INTEGER),
      peerTable(&peers),
      peerId(field(&PeerRecord::id), INTEGER) {
  scripts.addSource(Script::build, svc::script::kPath);
  scriptTable.addIndex(&scriptId);
  peers.addSource(PeerRecord::build, svc::peer::kPath);
  peerTable.addIndex(&peerId);
  Leaf* reboot = new ScalarLeaf(num(&TheSystem::reboot, INTEGER), &control);
  const OID vendor("1.3.6.1.4.1.40117.1.1");

  addScalarConstStringLeaf(OID("1.3.6.1.2.1.1.1"), "router", OCTET_STRING);                 // sysDescr
  addScalarConstOIDLeaf(OID("1.3.6.1.2.1.1.2"), OID("1.3.6.1.4.1.40117.1"), OBJECT_ID);     // sysObjectID
  addScalarLeaf(OID("1.3.6.1.2.1.1.3"), num(&SystemResources::uptime, TIMETICKS), &resources); // sysUpTime
  addScalarLeaf(OID("1.3.6.1.2.1.1.4"), str(&AgentIdent::contact), &agent);                 // sysContact
  addScalarLeaf(OID("1.3.6.1.2.1.1.5"), str(&Ident::name), &ident);                         // sysName
  addScalarLeaf(OID("1.3.6.1.2.1.1.6"), str(&AgentIdent::location), &agent);                // sysLocation
  addScalarConstNumLeaf(OID("1.3.6.1.2.1.1.7"), 78, INTEGER);                               // sysServices
  addScalarLeaf(vendor + OID{4, 1}, str(&SoftwareIdent::identifier), &software);            // tarnSoftwareId
  addScalarLeaf(vendor + OID{4, 2}, raw(&SoftwareIdent::date), &software);                  // tarnSoftwareDate
  addScalarLeaf(vendor + OID{4, 3}, num(&SoftwareIdent::level, INTEGER), &software);        // tarnSoftwareLevel
  addScalarConstStringLeaf(vendor + OID{4, 4}, tarn::getOSVersion(), OCTET_STRING);         // tarnSoftwareOsVersion
  addScalarLeaf(vendor + OID{4, 5}, num(&SoftwareIdent::upgrade, INTEGER), &software);      // tarnSoftwareUpgrade
  // Registered twice, as it always has been; with the one leaf both times
  // the object exists once.
  addLeaf(vendor + OID{7, 1}, reboot);                                                      // tarnControlReboot
  addLeaf(vendor + OID{7, 1}, reboot);                                                      // tarnControlReboot
  addColumnarLeaf(kScriptEntry + 2, str(&Script::name), &scriptTable);                      // tarnScriptName
  addColumnarLeaf(kScriptEntry + 3, num(&Script::run, INTEGER), &scriptTable);              // tarnScriptRun
  addColumnarLeaf(kPeerEntry + 2, ip(&PeerRecord::address), &peerTable);                    // tarnPeerAddress
  addColumnarLeaf(kPeerEntry + 3, raw(&PeerRecord::hardwareAddress), &peerTable);           // tarnPeerMacAddress
  addColumnarLeaf(kPeerEntry + 4, str(&PeerRecord::identity), &peerTable);                  // tarnPeerIdentity
  addColumnarLeaf(kPeerEntry + 5, str(&PeerRecord::platform), &peerTable);                  // tarnPeerPlatform
  addColumnarLeaf(kPeerEntry + 6, str(&PeerRecord::version), &peerTable);                   // tarnPeerVersion
  addColumnarLeaf(kPeerEntry + 7, str(&PeerRecord::interface), &peerTable);                 // tarnPeerInterface
}

namespace {

// Made once at start-up and kept for the life of the process.
SystemModule* systemModule;
HostResourcesModule* hostResourcesModule;

}  // namespace

void buildSystemModule(AgentIdentReader readAgentIdent) {
  systemModule = new SystemModule(readAgentIdent);
  hostResourcesModule = new HostResourcesModule(&systemModule->resources);
}
