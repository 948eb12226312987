// SnmpLooper: the agent's service object, the process's one tarn::Looper,
// reachable everywhere through `loop`.
//
// It owns the agent's settings and their persistence (object 0 of the store
// "/tarn/store/snmpd"), answers the bus commands that read and change them,
// opens the SNMP UDP socket (port 161, IP_PKTINFO) while SNMP is enabled,
// has every request datagram answered by createReply and sends the reply from
// the address the request came to. It registers the community registry as
// handler 1, holds the SNMPv3 engine state and sends traps. Created once by
// main and never deleted.
#ifndef SERVICE_SNMP_LOOPER_H
#define SERVICE_SNMP_LOOPER_H

#include <string>
#include <vector>

#include "platform/looper.h"
#include "platform/store.h"
#include "security/v3_server_info.h"
#include "service/snmp_fields.h"

class SnmpLooper : public tarn::Looper {
 public:
  SnmpLooper();
  ~SnmpLooper() override;

  // Loads the settings (incrementing and storing engine boots first),
  // derives the community keys, and opens the socket when enabled.
  void init();
  // Fields 4, 2, 3, 10, 14, 16, 18, 17, 19, 13, 1, then 22 and 23, in that
  // order.
  tarn::message getConfig();

  tarn::message cmdGet(const tarn::message& msg) override;
  tarn::message cmdSet(const tarn::message& msg) override;
  tarn::message cmdUnknown(const tarn::message& msg, unsigned cmd) override;
  tarn::message getObject(unsigned id) override;

  void enable();
  void disable();
  void receive(int fd, unsigned events);
  // The one-shot start-up step: sends the start trap when configured.
  void startup();
  // Subscribes the event sources listed in the trap-generator setting.
  void startSubscribers();
  void send_trap(const tarn::message& msg);

  tarn::Store store;
  int sock = 0;
  bool open = false;
  V3ServerInfo engine;
  std::string trapCommunityName = "mallow";
  std::string contact;
  std::string location;
  unsigned startTicks = 0;
  unsigned trapCommunityId = snmpf::NO_COMMUNITY;
  unsigned trapVersion = 0;
  unsigned trapTarget = 0;  // IPv4, network order
  std::vector<unsigned> trapGenerators;
  bool enabled = false;
};

extern SnmpLooper* loop;

#endif
