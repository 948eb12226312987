// tarn-routerd: stands in for the router's services that the SNMP agent
// reads (interfaces, addresses, ARP, routes, bridge, system, health,
// software, scripts, peers), serving either this host's real state or a
// model device read from a JSON file. One process, one socket per service.
#include <signal.h>
#include <string.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <set>
#include <vector>

#include "platform/diag.h"
#include "platform/looper.h"
#include "router/handlers.h"
#include "router/host_device.h"
#include "router/model_device.h"
#include "router/schema.h"
#include "version.h"

namespace {

const char kUsage[] =
    "usage: tarn-routerd (--host | --model FILE) [--allow-reboot]\n"
    "                    [--allow-scripts] [--allow-hostname]\n"
    "       tarn-routerd --version\n"
    "\n"
    "Answers on the bus ($TARN_ROOT/tarn/run/bus) for the router services\n"
    "the SNMP agent reads: {20,0} interfaces, {20,1} addresses, {20,8} ARP,\n"
    "{20,9} {20,12} vendor tables, {16,3} forwarding database, {44,1}\n"
    "routes, {24,0} clock (and reboot), {24,1} identity, {24,2} resources,\n"
    "{12,1} health, {65} software, {48,101} scripts, {10,1} peers.\n"
    "\n"
    "  --host            serve this machine (its network namespace)\n"
    "  --model FILE      serve the device described in FILE (JSON)\n"
    "  --allow-reboot    let the reboot command (5 on {24}) reboot\n"
    "  --allow-scripts   let command 1 on {48,101} run scripts\n"
    "  --allow-hostname  let a set on {24,1} change the host name\n"
    "\n"
    "Examples:\n"
    "  tarn-routerd --host\n"
    "  tarn-routerd --model router/models/small-router.json --allow-scripts\n"
    "  TARN_ROOT=/tmp/r tarn-routerd --model big.json &\n"
    "  tarnctl list 44/1                                  every route\n"
    "  tarnctl send 20/0 getobj u32:0xfe0001=2            one interface\n"
    "  tarnctl send 20/0 0x10005 u32:0xfe0001=2 bool:0x1000e=0\n"
    "                             (model) take interface 2's link down\n";

struct Stop {
  tarn::Looper* looper;
  int fd;
  void onSignal(int, unsigned) {
    signalfd_siginfo info;
    while (read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    }
    looper->shutdown();
  }
};

}  // namespace

int main(int argc, char** argv) {
  router::Options options;
  std::string model;
  bool host = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--host") {
      host = true;
    } else if (a == "--model" && i + 1 < argc) {
      model = argv[++i];
    } else if (a == "--allow-reboot") {
      options.allowReboot = true;
    } else if (a == "--allow-scripts") {
      options.allowScripts = true;
    } else if (a == "--allow-hostname") {
      options.allowHostname = true;
    } else if (a == "--help" || a == "-h") {
      std::cout << kUsage;
      return 0;
    } else if (a == "--version") {
      std::cout << "tarn-routerd " << kTarnVersion << "\n";
      return 0;
    } else {
      std::cerr << "tarn-routerd: unknown option " << a << "\n" << kUsage;
      return 2;
    }
  }
  if (host == !model.empty()) {
    std::cerr << "tarn-routerd: give exactly one of --host and --model\n"
              << kUsage;
    return 2;
  }

  std::unique_ptr<router::Device> device;
  if (host) {
    std::unique_ptr<router::HostDevice> h(new router::HostDevice(options));
    std::string error;
    if (!h->open(&error)) {
      std::cerr << "tarn-routerd: " << error << "\n";
      return 1;
    }
    device = std::move(h);
  } else {
    std::unique_ptr<router::ModelDevice> m(new router::ModelDevice());
    std::string error;
    if (!m->load(model, &error)) {
      std::cerr << "tarn-routerd: " << error << "\n";
      return 1;
    }
    device = std::move(m);
  }

  // Serves no id of its own: every service below gets its socket.
  tarn::Looper looper(0, tarn::kLooperClientOnly);
  std::vector<std::unique_ptr<tarn::Handler>> handlers;
  std::set<unsigned> services;
  for (const router::Section& s : router::sections()) {
    tarn::Handler* h;
    if (s.path == router::kInterfaces) {
      h = new router::InterfaceHandler(device.get(), &options);
    } else if (s.list) {
      h = new router::ListHandler(device.get(), s.path, &options);
    } else {
      h = new router::SettingsHandler(device.get(), s.path, &options);
    }
    handlers.emplace_back(h);
    looper.addHandler(s.path.service, s.path.handler, h);
    services.insert(s.path.service);
  }
  for (unsigned s : services) {
    if (!looper.serve(s)) {
      std::cerr << "tarn-routerd: cannot serve service " << s << "\n";
      return 1;
    }
  }
  if (host) static_cast<router::HostDevice*>(device.get())->watchLinks(&looper);

  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  Stop stop{&looper, signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC)};
  if (stop.fd >= 0) looper.addSocket(stop.fd, &stop, &Stop::onSignal, 1);
  looper.run();
  if (stop.fd >= 0) close(stop.fd);
  return 0;
}
