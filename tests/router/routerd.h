// Test helper: runs tarn-routerd (built beside the test binary) as a child
// process under the test's TARN_ROOT, optionally in a fresh network
// namespace prepared by a shell script, and talks to it over the bus as a
// client service that also keeps the notifications it receives.
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

inline std::string readAll(const std::string& path) {
  std::stringstream ss;
  ss << std::ifstream(path).rdbuf();
  return ss.str();
}

// A file of the build folder, e.g. "router/tarn-routerd".
inline std::string built(const std::string& rel) {
  char exe[4096] = {0};
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string dir(exe, n > 0 ? static_cast<size_t>(n) : 0);
  return dir.substr(0, dir.rfind('/')) + "/../" + rel;
}

// The test's end of the bus: service 750.
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
  // Every object of a list, walked in pages of `page` (0: no page size).
  std::vector<tarn::message> walk(unsigned service, unsigned handler, unsigned page,
                                  unsigned cmd = tarn::kCmdGetAll) {
    std::vector<tarn::message> all;
    tarn::message req;
    if (page) req.insert(tarn::u32_id(tarn::kFieldMaxCount), page);
    for (int round = 0; round < 100000; ++round) {
      tarn::message r = ask(service, handler, cmd, req);
      for (const auto& f : r.get(tarn::message_array_id(tarn::kFieldObjList))) all.emplace_back(f);
      if (!r.has(tarn::u32_id(tarn::kFieldStart))) break;
      req.insert(tarn::u32_id(tarn::kFieldStart), r.get(tarn::u32_id(tarn::kFieldStart), 0));
    }
    return all;
  }
  std::vector<tarn::message> events;
};

// Exit status of the child when it may not make a network namespace.
const int kNoNetns = 3;

// One tarn-routerd child, stopped with the object. Its diagnostics go to
// <root>/routerd.log.
class Routerd {
 public:
  Routerd(const std::string& root, std::vector<std::string> args,
          const std::string& netnsSetup = "")
      : log_(root + "/routerd.log") {
    pid_ = fork();
    if (pid_ == 0) {
      dup2(open(log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      if (!netnsSetup.empty()) {
        if (unshare(CLONE_NEWNET) != 0) _exit(kNoNetns);
        if (system(("bash -ec '" + netnsSetup + "' >&2").c_str()) != 0) _exit(4);
      }
      std::string bin = built("router/tarn-routerd");
      std::vector<char*> argv{&bin[0]};
      for (std::string& a : args) argv.push_back(&a[0]);
      argv.push_back(nullptr);
      execv(bin.c_str(), argv.data());
      _exit(5);
    }
  }
  ~Routerd() { stop(); }

  // Waits until every service answers; false if the child ended (its exit
  // status then in exitStatus()).
  bool ready(Client& c) {
    for (uint64_t end = tarn::nowMs() + 15000; tarn::nowMs() < end; usleep(20000)) {
      if (!tarn::isError(c.ask(65, 0, tarn::kCmdGet)) &&
          !tarn::isError(c.ask(10, 1, tarn::kCmdGetCount))) {
        return true;
      }
      int status;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return false;
      }
    }
    return false;
  }
  // Stops the child (SIGTERM); its exit status, -1 if it had ended already.
  int stop() {
    if (pid_ <= 0) return -1;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  // The output of a shell command run in the child's network namespace.
  std::string output(const std::string& cmd) const {
    std::string out;
    FILE* p = popen(("nsenter -t " + std::to_string(pid_) + " -n " + cmd).c_str(), "r");
    char buf[4096];
    for (size_t n; p && (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    if (p) pclose(p);
    return out;
  }
  pid_t pid() const { return pid_; }
  int exitStatus() const { return exitStatus_; }
  std::string log() const { return readAll(log_); }

 private:
  std::string log_;
  pid_t pid_;
  int exitStatus_ = -1;
};

}  // namespace router_test

#endif  // TESTS_ROUTER_ROUTERD_H_
