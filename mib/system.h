// The system group (1.3.6.1.2.1.1) and the vendor scalar groups and tables
// under 1.3.6.1.4.1.40117.1.1: software identity (.4), system control (.7),
// scripts (.8) and peers (.11). Records are built from the answers of the
// router services; writable ones write themselves back in reverseBuild().
// Health (.3) has its own module (mib/health.h); host resources are
// registered with this module (mib/host_resources.h).
#ifndef MIB_SYSTEM_H
#define MIB_SYSTEM_H

#include <string>
#include <vector>

#include "data/data.h"
#include "data/data_packers.h"
#include "data/get_all_provider.h"
#include "data/get_provider.h"
#include "data/map_table.h"
#include "data/single_provider.h"

namespace tarn {
class message;
}

// System control: a SET of a non-zero reboot value reboots the device.
struct TheSystem : Data {
  int reboot = 0;
  static Data* build(const tarn::message& m);
  // Sends the reboot command to {24} when reboot is set; adds no field.
  void reverseBuild(tarn::message& msg) override;
};

// The device's name, {24, 1} f 12.
struct Ident : Data {
  std::string name;
  static Data* build(const tarn::message& m);
  void reverseBuild(tarn::message& msg) override;
};

// Uptime, memory, disk and load from {24, 2}. Used amounts are total minus
// free in unsigned 32-bit arithmetic (a free value above the total wraps).
struct SystemResources : Data {
  int uptime = 0;  // hundredths of a second
  int memoryTotal = 0;
  int memoryUsed = 0;
  int diskTotal = 0;
  int diskUsed = 0;
  int load = 0;
  static Data* build(const tarn::message& m);
};

// sysContact and sysLocation, from the agent's own settings.
struct AgentIdent : Data {
  std::string contact;
  std::string location;
};

// Reads sysContact and sysLocation from where the agent keeps them.
typedef void (*AgentIdentReader)(std::string* contact, std::string* location);

// Serves the agent's own contact and location, read through `read` (never
// null); refuses writes, as these values change only through the agent's
// settings command.
class AgentIdentProvider : public SingleProvider {
 public:
  explicit AgentIdentProvider(AgentIdentReader read) : read(read) {}
  Data* getData() override;
  bool setData(Data* d) override;  // false

 private:
  AgentIdentReader read;
};

struct SoftwareIdent : Data {
  std::string identifier;
  std::vector<unsigned char> date;  // DateAndTime of the fixed time 67
  int level = 0;
  int upgrade = 0;
  static Data* build(const tarn::message& m);
};

// A row of the script table; a SET of run runs the script.
struct Script : Data {
  int id = 0;
  int run = 0;
  std::string name;
  static void build(const tarn::message& m, std::vector<Data*>* out);
  void reverseBuild(tarn::message& msg) override;
};

struct PeerRecord : Data {
  int id = 0;
  unsigned address = 0;
  std::vector<unsigned char> hardwareAddress;
  std::string identity, platform, version, interface;
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// The providers and tables of the system and vendor scalar groups; the
// constructor registers their leaves. Made once by buildSystemModule (tests
// make their own), it must outlive the leaves.
struct SystemModule {
  explicit SystemModule(AgentIdentReader readAgentIdent);

  GetProvider resources;  // {24, 2}, shared with host resources
  GetProvider ident;      // {24, 1}
  AgentIdentProvider agent;
  GetProvider software;   // {65}
  GetProvider control;    // {24, 2}, its own cache
  GetAllProvider scripts;
  MapTable scriptTable;
  DataNumPacker scriptId;
  GetAllProvider peers;
  MapTable peerTable;
  DataNumPacker peerId;
};

#endif
