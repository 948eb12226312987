// The system group and the vendor scalar groups: records and registrations.
#include "mib/system.h"

#include "codec/diag.h"
#include "codec/wire.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/host_resources.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/looper.h"
#include "service/snmp_looper.h"

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
  tarn::message msg = tarn::command({24}, 5);
  tarn::getLooper()->exchangeMessage(msg, 6000);
}

Data* Ident::build(const tarn::message& m) {
  Ident* r = new Ident;
  r->name = fields::str(m, 12);
  return r;
}

void Ident::reverseBuild(tarn::message& msg) {
  diag::err("Ident::reverseBuild");
  msg.insert(tarn::string_id(12), name);
}

Data* SystemResources::build(const tarn::message& m) {
  SystemResources* r = new SystemResources;
  r->uptime = static_cast<int>(fields::u32(m, 1) * 100);
  r->memoryTotal = static_cast<int>(fields::u32(m, 2));
  r->memoryUsed = static_cast<int>(fields::u32(m, 2) - fields::u32(m, 3));
  r->diskTotal = static_cast<int>(fields::u32(m, 10));
  r->diskUsed = static_cast<int>(fields::u32(m, 10) - fields::u32(m, 11));
  r->load = static_cast<int>(fields::u32(m, 6));
  return r;
}

Data* AgentIdentProvider::getData() {
  tarn::message config = loop->getConfig();
  AgentIdent* r = new AgentIdent;
  r->contact = fields::str(config, 2);
  r->location = fields::str(config, 3);
  return r;
}

bool AgentIdentProvider::setData(Data*) { return false; }

Data* SoftwareIdent::build(const tarn::message& m) {
  SoftwareIdent* r = new SoftwareIdent;
  r->identifier = fields::str(m, 1);
  r->date = dateAndTime(67);  // fixed by design: the answer has no date
  r->level = static_cast<int>(fields::u32(m, 4));
  r->upgrade = static_cast<int>(fields::u32(m, 9) + 1);
  return r;
}

void Script::build(const tarn::message& m, std::vector<Data*>* out) {
  diag::err("Script::build");
  Script* r = new Script;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, 102);
  out->push_back(r);
}

void Script::reverseBuild(tarn::message& msg) {
  diag::err("Script::reverseBuild");
  msg.insert(tarn::u32_id(tarn::kFieldObjId), static_cast<uint32_t>(id));
  if (run) {
    diag::err("Run, FOREST, run!");
    msg.insert(tarn::u32_id(tarn::kFieldCmd), 1);  // run instead of change
  } else {
    msg.insert(tarn::string_id(102), name);
  }
}

void PeerRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  PeerRecord* r = new PeerRecord;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->address = fields::ip(m, 1);
  r->hardwareAddress = fields::raw(m, 2);
  r->first = fields::str(m, 7);
  r->second = fields::str(m, 8);
  r->third = fields::str(m, 6);
  r->fourth = fields::str(m, 11);
  out->push_back(r);
}

namespace {

const OID kScriptEntry("1.3.6.1.4.1.40117.1.1.8.1.1");
const OID kPeerEntry("1.3.6.1.4.1.40117.1.1.11.1.1");

}  // namespace

SystemModule::SystemModule()
    : resources(SystemResources::build, {24, 2}, tarn::kCmdGet, tarn::kCmdSet),
      ident(Ident::build, {24, 1}, tarn::kCmdGet, tarn::kCmdSet),
      software(SoftwareIdent::build, {65}, tarn::kCmdGet, tarn::kCmdSet),
      control(TheSystem::build, {24, 2}, tarn::kCmdGet, tarn::kCmdSet),
      scriptTable(&scripts),
      scriptId(field(&Script::id), INTEGER),
      peerTable(&peers),
      peerId(field(&PeerRecord::id), INTEGER) {
  scripts.addSource(Script::build, {48, 101});
  scriptTable.addIndex(&scriptId);
  peers.addSource(PeerRecord::build, {10, 1});
  peerTable.addIndex(&peerId);
  Leaf* reboot = new ScalarLeaf(num(&TheSystem::reboot, INTEGER), &control);

  addScalarConstStringLeaf(OID("1.3.6.1.2.1.1.1"), "router", OCTET_STRING);
  addScalarConstOIDLeaf(OID("1.3.6.1.2.1.1.2"), OID("1.3.6.1.4.1.40117.1"), OBJECT_ID);
  addScalarLeaf(OID("1.3.6.1.2.1.1.3"), num(&SystemResources::uptime, TIMETICKS), &resources);
  addScalarLeaf(OID("1.3.6.1.2.1.1.4"), str(&AgentIdent::contact), &agent);
  addScalarLeaf(OID("1.3.6.1.2.1.1.5"), str(&Ident::name), &ident);
  addScalarLeaf(OID("1.3.6.1.2.1.1.6"), str(&AgentIdent::location), &agent);
  addScalarConstNumLeaf(OID("1.3.6.1.2.1.1.7"), 78, INTEGER);
  addScalarLeaf(OID("1.3.6.1.4.1.40117.1.1.4.1"), str(&SoftwareIdent::identifier), &software);
  addScalarLeaf(OID("1.3.6.1.4.1.40117.1.1.4.2"), raw(&SoftwareIdent::date), &software);
  addScalarLeaf(OID("1.3.6.1.4.1.40117.1.1.4.3"), num(&SoftwareIdent::level, INTEGER), &software);
  addScalarConstStringLeaf(OID("1.3.6.1.4.1.40117.1.1.4.4"), tarn::getOSVersion(), OCTET_STRING);
  addScalarLeaf(OID("1.3.6.1.4.1.40117.1.1.4.5"), num(&SoftwareIdent::upgrade, INTEGER), &software);
  // Registered twice, as it always has been; with the one leaf both times
  // the object exists once.
  addLeaf(OID("1.3.6.1.4.1.40117.1.1.7.1"), reboot);
  addLeaf(OID("1.3.6.1.4.1.40117.1.1.7.1"), reboot);
  addColumnarLeaf(kScriptEntry + 2, str(&Script::name), &scriptTable);
  addColumnarLeaf(kScriptEntry + 3, num(&Script::run, INTEGER), &scriptTable);
  addColumnarLeaf(kPeerEntry + 2, ip(&PeerRecord::address), &peerTable);
  addColumnarLeaf(kPeerEntry + 3, raw(&PeerRecord::hardwareAddress), &peerTable);
  addColumnarLeaf(kPeerEntry + 4, str(&PeerRecord::first), &peerTable);
  addColumnarLeaf(kPeerEntry + 5, str(&PeerRecord::second), &peerTable);
  addColumnarLeaf(kPeerEntry + 6, str(&PeerRecord::third), &peerTable);
  addColumnarLeaf(kPeerEntry + 7, str(&PeerRecord::fourth), &peerTable);
}

namespace {

// Made once at start-up and kept for the life of the process.
SystemModule* systemModule;
HostResourcesModule* hostResourcesModule;

}  // namespace

void buildSystemModule() {
  systemModule = new SystemModule;
  hostResourcesModule = new HostResourcesModule(&systemModule->resources);
}
