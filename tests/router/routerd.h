// Test helper: runs tarn-routerd (built beside the test binary) as a child
// process under the test's TARN_ROOT, optionally in a fresh network
// namespace prepared by a shell script, and talks to it over the bus as a
// client service that can also receive notifications.
#ifndef TESTS_ROUTER_ROUTERD_H_
#define TESTS_ROUTER_ROUTERD_H_

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"

namespace router_test {

// A file next to the test binary's build folder, e.g. "router/tarn-routerd".
inline std::string built(const std::string& rel) {
  char exe[4096] = {0};
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string dir(exe, n > 0 ? static_cast<size_t>(n) : 0);
  dir = dir.substr(0, dir.rfind('/'));
  return dir + "/../" + rel;
}

inline std::string readAll(const std::string& path) {
  std::ifstream in(path);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// The test's end of the bus: service 750, keeping the notifications.
class Client : public tarn::Looper {
 public:
  Client() : tarn::Looper(750) {}
  tarn::message cmdUnknown(const tarn::message& msg, unsigned cmd) override {
    if (cmd == 0x10004) events.push_back(msg);
    return tarn::message();
  }
  // Serves the bus until pred() holds or ms pass; returns pred().
  template <class P>
  bool waitFor(P pred, unsigned ms) {
    uint64_t end = tarn::nowMs() + ms;
    while (!pred() && tarn::nowMs() < end) runOnce(20);
    return pred();
  }
  tarn::message ask(unsigned service, unsigned handler, unsigned cmd,
                    tarn::message m = tarn::message()) {
    m.insert_vector(tarn::u32_array_id(tarn::kFieldDst), service, handler);
    m.insert(tarn::u32_id(tarn::kFieldCmd), cmd);
    return exchangeMessage(m, 5000);
  }
  // Every object of a list, walked in pages of page (0: no page size).
  std::vector<tarn::message> walk(unsigned service, unsigned handler,
                                  unsigned page, unsigned cmd = 0xfe0004) {
    std::vector<tarn::message> all;
    tarn::message req;
    if (page) req.insert(tarn::u32_id(tarn::kFieldMaxCount), page);
    for (int round = 0; round < 100000; ++round) {
      tarn::message r = ask(service, handler, cmd, req);
      if (tarn::isError(r)) break;
      for (const auto& f : r.get(tarn::message_array_id(tarn::kFieldObjList))) {
        all.push_back(tarn::message(f));
      }
      if (!r.has(tarn::u32_id(tarn::kFieldStart))) break;
      req.insert(tarn::u32_id(tarn::kFieldStart),
                 r.get(tarn::u32_id(tarn::kFieldStart), 0));
    }
    return all;
  }
  std::vector<tarn::message> events;
};

// Exit status of the child when it may not make a network namespace.
const int kNoNetns = 3;

// One tarn-routerd child. Its diagnostics go to <root>/routerd.log.
class Routerd {
 public:
  Routerd(const std::string& root, std::vector<std::string> args,
          const std::string& netnsSetup = "")
      : log_(root + "/routerd.log") {
    pid_ = fork();
    if (pid_ == 0) {
      int fd = open(log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(fd, 2);
      if (!netnsSetup.empty()) {
        if (unshare(CLONE_NEWNET) != 0) _exit(kNoNetns);
        std::string cmd = "bash -ec '" + netnsSetup + "' >&2";
        if (system(cmd.c_str()) != 0) _exit(4);
      }
      std::string bin = built("router/tarn-routerd");
      std::vector<char*> argv{const_cast<char*>(bin.c_str())};
      for (std::string& a : args) argv.push_back(&a[0]);
      argv.push_back(nullptr);
      execv(bin.c_str(), argv.data());
      _exit(5);
    }
  }
  ~Routerd() { stop(); }

  // Waits until every service answers; false if the child ended.
  bool ready(Client& c) {
    uint64_t end = tarn::nowMs() + 15000;
    while (tarn::nowMs() < end) {
      if (!tarn::isError(c.ask(65, 0, 0xfe000d)) &&
          !tarn::isError(c.ask(10, 1, 0xfe0015))) {
        return true;
      }
      int status;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return false;
      }
      usleep(20000);
    }
    return false;
  }
  // Stops the child; its exit status (-1 when it had ended already).
  int stop() {
    if (pid_ <= 0) return -1;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  // Runs a shell command in the child's network namespace.
  int inNetns(const std::string& cmd) const {
    std::string full = "nsenter -t " + std::to_string(pid_) + " -n " + cmd;
    return system(full.c_str());
  }
  std::string output(const std::string& cmd) const {
    std::string full = "nsenter -t " + std::to_string(pid_) + " -n " + cmd;
    std::string out;
    FILE* p = popen(full.c_str(), "r");
    char buf[4096];
    size_t n;
    while (p && (n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    if (p) pclose(p);
    return out;
  }
  pid_t pid() const { return pid_; }
  // The exit status of a child that ended before it was ready.
  int exitStatus() const { return exitStatus_; }
  std::string log() const { return readAll(log_); }

 private:
  std::string log_;
  pid_t pid_;
  int exitStatus_ = -1;
};

}  // namespace router_test

#endif  // TESTS_ROUTER_ROUTERD_H_
