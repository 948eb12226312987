// busbench: the cost of one bus exchange beside the floor that the kernel
// sets for it, measured in one run.
//
//   busbench [--seconds S] [--rounds N] [--pages 5,100,1000]
//
// For each page size P, two child processes serve the same request:
//   floor  a plain ping-pong over a Unix stream socket: blocking write of
//          the request frame, blocking reads until the whole reply frame is
//          in; the server does the same the other way round. The frames are
//          the very bytes the bus sends for that get-all and its reply.
//   bus    tarn::Looper::exchangeMessage of a get-all asking for P objects,
//          as the agent's providers send it, to a tarn::Looper whose
//          cmdGetAll answers P route objects (the shape tarn-routerd
//          serves, cut from a list of flat objects as tarn-routerd cuts
//          them).
// Rounds alternate floor and bus, so a shared machine's load falls on both
// alike. Each round prints one line of key=value pairs (wall µs per
// exchange, and the CPU both processes spent per exchange); then one line
// per page size with the medians and the ratio bus / floor:
//   bus: page=5 floor_us=9.8 exchange_us=14.1 ratio=1.44 ...
// Needs no root; the sockets live under a temporary TARN_ROOT.
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/codes.h"
#include "platform/looper.h"
#include "platform/paths.h"
#include "platform/wire.h"

using namespace tarn;

namespace {

const unsigned kService = 44, kHandler = 1, kClient = 161;

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec * 1e-9;
}

// utime + stime of a process in seconds.
double cpuOf(pid_t pid) {
  std::ifstream f("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(f, line)) return 0;
  std::stringstream ss(line.substr(line.rfind(')') + 2));
  std::string field;
  double ticks = 0;
  for (int i = 3; i <= 15 && ss >> field; ++i) {
    if (i == 14 || i == 15) ticks += std::atof(field.c_str());
  }
  return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// A route object as tarn-routerd's model serves it.
message route(uint32_t i) {
  message m;
  m.insert(u32_id(kFieldObjId), i);
  m.insert(u32_id(1), 0x64000000u + (i << 8));
  m.insert(u32_id(2), 0xFFFFFF00u);
  m.insert(u32_array_id(4), std::vector<uint32_t>{0x0A000102u});
  m.insert(u32_array_id(5), std::vector<uint32_t>{1 + i % 10});
  m.insert(u32_id(7), 3);
  m.insert(u32_id(8), 1 + i % 16);
  return m;
}

// The service: pages of route objects copied from flat objects.
class Service : public Looper {
 public:
  explicit Service(size_t n) : Looper(kService) {
    for (uint32_t i = 1; i <= n; ++i) list_.push_back(flat_message(route(i)));
    addHandler(kService, kHandler, this);
  }
  message cmdGetAll(const message&, unsigned start, unsigned count) override {
    return page(start == 0xFFFFFFFFu ? 1 : start, count);
  }
  message page(uint32_t start, uint32_t count) const {
    message reply;
    flat_list& out = reply[message_array_id(kFieldObjList)];
    size_t i = start - 1, end = std::min(list_.size(), i + count);
    size_t size = 0;
    for (size_t k = i; k < end; ++k) size += 4 + list_[k].size();
    out.reserve_bytes(size);
    for (; i < end; ++i) out.push_back(list_[i]);
    if (end < list_.size()) reply.insert(u32_id(kFieldStart), end + 1);
    return reply;
  }

 private:
  std::vector<flat_message> list_;
};

message request(uint32_t page) {
  message m;
  m.insert(u32_id(kFieldCmd), kCmdGetAll);
  m.insert_vector(u32_array_id(kFieldDst), kService, kHandler);
  m.insert(u32_id(kFieldMaxCount), page);
  m.insert(u32_id(kFieldStart), 1);
  return m;
}

bytes frameOf(const message& m) {
  bytes f;
  wire::put32(f, 0);
  m.appendFlat(f);
  wire::set32(f, 0, static_cast<uint32_t>(f.size() - 4));
  return f;
}

bool readAll(int fd, uint8_t* p, size_t n) {
  while (n > 0) {
    ssize_t got = read(fd, p, n);
    if (got <= 0) return false;
    p += got;
    n -= static_cast<size_t>(got);
  }
  return true;
}

bool writeAll(int fd, const uint8_t* p, size_t n) {
  while (n > 0) {
    ssize_t put = write(fd, p, n);
    if (put <= 0) return false;
    p += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

int unixSocket(const std::string& path, bool listening) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un a = sockaddr_un();
  a.sun_family = AF_UNIX;
  path.copy(a.sun_path, sizeof a.sun_path - 1);
  sockaddr* sa = reinterpret_cast<sockaddr*>(&a);
  bool ok = listening ? bind(fd, sa, sizeof a) == 0 && listen(fd, 4) == 0
                      : connect(fd, sa, sizeof a) == 0;
  if (!ok) {
    close(fd);
    return -1;
  }
  return fd;
}

// The floor's server: reads a request frame, writes the reply bytes.
void floorServer(int lfd, const bytes& reply) {
  int fd = accept(lfd, nullptr, nullptr);
  std::vector<uint8_t> in(1 << 20);
  uint8_t head[4];
  while (readAll(fd, head, 4)) {
    uint32_t len = wire::get32(head);
    if (len > in.size() || !readAll(fd, in.data(), len)) break;
    if (!writeAll(fd, reply.data(), reply.size())) break;
  }
  _exit(0);
}

struct Result {
  double wallUs, cpuUs;
  long ops;
};

Result runFloor(pid_t server, int fd, const bytes& req, size_t replySize,
                double seconds) {
  std::vector<uint8_t> in(replySize);
  long ops = 0;
  double cpu0 = cpuOf(getpid()) + cpuOf(server), t0 = now(), end = t0 + seconds;
  for (double t = t0; t < end; ++ops) {
    if (!writeAll(fd, req.data(), req.size()) ||
        !readAll(fd, in.data(), replySize)) {
      std::fprintf(stderr, "busbench: floor server went away\n");
      exit(1);
    }
    if ((ops & 63) == 0) t = now();
  }
  double wall = now() - t0, cpu = cpuOf(getpid()) + cpuOf(server) - cpu0;
  return Result{wall * 1e6 / ops, cpu * 1e6 / ops, ops};
}

Result runBus(pid_t server, Looper& client, uint32_t page, double seconds) {
  long ops = 0;
  double cpu0 = cpuOf(getpid()) + cpuOf(server), t0 = now(), end = t0 + seconds;
  for (double t = t0; t < end; ++ops) {
    message m = request(page);
    message r = client.exchangeMessage(m, 6000);
    if (r.get(message_array_id(kFieldObjList)).size() != page) {
      std::fprintf(stderr, "busbench: short page from the service\n");
      exit(1);
    }
    if ((ops & 63) == 0) t = now();
  }
  double wall = now() - t0, cpu = cpuOf(getpid()) + cpuOf(server) - cpu0;
  return Result{wall * 1e6 / ops, cpu * 1e6 / ops, ops};
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  size_t n = v.size();
  return n == 0 ? 0 : n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

}  // namespace

int main(int argc, char** argv) {
  double seconds = 1;
  int rounds = 3;
  std::vector<uint32_t> pages{5, 100, 1000};
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string a = argv[i];
    if (a == "--seconds") {
      seconds = std::atof(argv[i + 1]);
    } else if (a == "--rounds") {
      rounds = std::atoi(argv[i + 1]);
    } else if (a == "--pages") {
      pages.clear();
      std::stringstream ss(argv[i + 1]);
      for (std::string p; std::getline(ss, p, ',');) {
        pages.push_back(static_cast<uint32_t>(std::atoi(p.c_str())));
      }
    } else {
      std::fputs("usage: busbench [--seconds S] [--rounds N] [--pages 5,100]\n",
                 stderr);
      return 2;
    }
  }
  if (argc % 2 == 0) {
    std::fputs("usage: busbench [--seconds S] [--rounds N] [--pages 5,100]\n",
               stderr);
    return 2;
  }
  char dir[] = "/tmp/busbench.XXXXXX";
  if (!mkdtemp(dir)) return 1;
  setenv("TARN_ROOT", dir, 1);
  makeDirs(rootPath("/tarn/run/bus"), 0700);
  signal(SIGPIPE, SIG_IGN);

  for (uint32_t page : pages) {
    const size_t objects = page + 1;  // the page is always cut short
    // The frames the bus sends: the request as exchange() completes it,
    // the reply as the looper completes it.
    message req = request(page);
    req.insert_vector(u32_array_id(kFieldSrc), kClient, 0);
    req.insert(u32_id(kFieldSeq), 1);
    message reply;
    flat_list& out = reply[message_array_id(kFieldObjList)];
    for (uint32_t i = 1; i <= page; ++i) out.push_back(route(i));
    reply.insert(u32_id(kFieldStart), page + 1);
    reply.insert_vector(u32_array_id(kFieldDst), kClient, 0);
    reply.insert_vector(u32_array_id(kFieldSrc), kService, kHandler);
    reply.insert(u32_id(kFieldSeq), 1);
    reply.insert(bool_id(kFieldReply), true);
    const bytes reqFrame = frameOf(req), replyFrame = frameOf(reply);

    const std::string floorPath = std::string(dir) + "/floor.sock";
    unlink(floorPath.c_str());
    int lfd = unixSocket(floorPath, true);
    pid_t floorPid = fork();
    if (floorPid == 0) floorServer(lfd, replyFrame);
    close(lfd);
    int ffd = unixSocket(floorPath, false);

    pid_t busPid = fork();
    if (busPid == 0) {
      Service s(objects);
      s.run();
      _exit(0);
    }
    Looper client(kClient, kLooperClientOnly);
    for (int i = 0; i < 500; ++i) {  // until the service listens
      message m = request(page);
      if (client.exchangeMessage(m, 1000).has(message_array_id(kFieldObjList))) break;
      usleep(10000);
    }

    std::vector<double> floorUs, busUs, floorCpu, busCpu;
    for (int r = 0; r < rounds; ++r) {
      Result f = runFloor(floorPid, ffd, reqFrame, replyFrame.size(), seconds);
      Result b = runBus(busPid, client, page, seconds);
      std::printf("busbench: label=floor-%u round=%d ops=%ld us_per_op=%.2f "
                  "cpu_us_per_op=%.2f request_bytes=%zu reply_bytes=%zu\n",
                  page, r + 1, f.ops, f.wallUs, f.cpuUs, reqFrame.size(),
                  replyFrame.size());
      std::printf("busbench: label=bus-%u round=%d ops=%ld us_per_op=%.2f "
                  "cpu_us_per_op=%.2f\n",
                  page, r + 1, b.ops, b.wallUs, b.cpuUs);
      std::fflush(stdout);
      floorUs.push_back(f.wallUs);
      busUs.push_back(b.wallUs);
      floorCpu.push_back(f.cpuUs);
      busCpu.push_back(b.cpuUs);
    }
    const double fu = median(floorUs), bu = median(busUs);
    std::printf("bus: page=%u request_bytes=%zu reply_bytes=%zu floor_us=%.2f "
                "exchange_us=%.2f ratio=%.2f floor_cpu_us=%.2f "
                "exchange_cpu_us=%.2f\n",
                page, reqFrame.size(), replyFrame.size(), fu, bu, bu / fu,
                median(floorCpu), median(busCpu));
    std::fflush(stdout);
    close(ffd);
    kill(floorPid, SIGTERM);
    kill(busPid, SIGTERM);
    waitpid(floorPid, nullptr, 0);
    waitpid(busPid, nullptr, 0);
  }
  unlink((std::string(dir) + "/floor.sock").c_str());
  std::string cleanup = std::string("rm -rf ") + dir;
  return system(cleanup.c_str()) == 0 ? 0 : 1;
}
