// tarn-snmpd: the SNMP agent of the router. Builds the agent in one fixed
// order on the one thread of the process, then hands the thread to the
// platform loop for the rest of its life. Everything is configured over the
// bus and kept in the platform store; there are no options.
#include <string.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "codec/diag.h"
#include "mib/modules.h"
#include "platform/codes.h"
#include "platform/looper.h"
#include "platform/paths.h"
#include "service/plugins.h"
#include "service/snmp_fields.h"
#include "service/snmp_looper.h"
#include "service/trap_makers.h"
#include "version.h"

namespace {

const unsigned kSnmpServiceId = 161;

const char kUsage[] =
    "usage: tarn-snmpd [--version]\n"
    "The router's SNMP agent (service 161 on the platform bus). It takes no\n"
    "other options: settings and communities are set over the bus (tarnctl\n"
    "snmp) and kept in $TARN_ROOT/tarn/store. Plug-ins: $TARN_ROOT/tarn/lib/snmp.\n"
    "Test overrides: TARN_SNMP_PORT (request port, default 161) and\n"
    "TARN_SNMP_TRAP_PORT (trap port, default 162).\n";

// Tells the platform's process manager that the agent is up.
void announceStart() {
  tarn::message m;
  m.insert_vector(tarn::u32_array_id(tarn::kFieldDst), snmpf::PROCESS_MANAGER);
  m.insert(snmpf::STARTED_PROGRAM, snmpf::AGENT_PROGRAM);
  loop->sendCmd(m, snmpf::CMD_STARTED);
}

// sysContact and sysLocation: the agent's own settings.
void readAgentIdent(std::string* contact, std::string* location) {
  const tarn::message config = loop->getConfig();
  *contact = config.get(snmpf::CONTACT, std::string());
  *location = config.get(snmpf::LOCATION, std::string());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
    fputs(kUsage, stdout);
    return 0;
  }
  if (argc > 1 && strcmp(argv[1], "--version") == 0) {
    printf("tarn-snmpd %s\n", kTarnVersion);
    return 0;
  }
  tarn::setDefaultServiceId(kSnmpServiceId);
  diag::err("loop = new SnmpLooper();");
  srand(static_cast<unsigned>(time(nullptr)));
  loop = new SnmpLooper();
  diag::err("loop->init();");
  loop->init();
  buildSystemModule(readAgentIdent);
  buildIpModule();
  buildBridgeModule();
  buildInterfacesModule();
  buildHealthModule();
  loadPlugins(tarn::rootPath("/tarn/lib/snmp"));
  // After the plug-ins, so that their trap makers are asked first.
  trapMakers.push_back(zarrowTrapMaker);
  loop->startSubscribers();
  loop->addTimer(loop, &SnmpLooper::startup, 0);
  announceStart();
  loop->run();
  return 0;
}
