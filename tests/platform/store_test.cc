// The store: corrupt files, and crash safety and modes under SIGKILL; and
// where platform paths are, under a root and on the host's own root.
#include "platform/store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <memory>

#include "platform/diag.h"
#include "platform/paths.h"
#include "tests/platform/test_root.h"

using namespace tarn;

namespace {

std::vector<std::string> g_diags;

message value(uint32_t v) {
  message m;
  m.insert(u32_id(1), v);
  m.insert(string_id(2), "secret");
  return m;
}

// Opens the store at path with diagnostics captured in g_diags.
Store* openCapturing(const char* path) {
  g_diags.clear();
  DiagSink old = setDiagSink([](const std::string& line) { g_diags.push_back(line); });
  Store* s = new Store(path, 5);
  setDiagSink(old);
  return s;
}

TEST(Paths, UnderARootOrInTheSystemsDirectories) {
  struct {
    const char* root;  // nullptr: TARN_ROOT unset
    const char* path;
    const char* mapped;
  } const rows[] = {
      {"/tmp/r", "/tarn/store/snmpd", "/tmp/r/tarn/store/snmpd"},
      {"/tmp/r/", "/tarn/run/bus/161.sock", "/tmp/r/tarn/run/bus/161.sock"},
      {"/tmp/r", "/tarn/lib/snmp", "/tmp/r/tarn/lib/snmp"},
      {nullptr, "/tarn/store/snmpd", "/var/lib/tarn/store/snmpd"},
      {"", "/tarn/log/history", "/var/lib/tarn/log/history"},
      {"/", "/tarn/run/bus/161.sock", "/run/tarn/bus/161.sock"},
      {"//", "/tarn/run/bus", "/run/tarn/bus"},
      {nullptr, "/tarn/store", "/var/lib/tarn/store"},
      {nullptr, "/tarn/lib/snmp", "/tarn/lib/snmp"},
      {nullptr, "/tarn/runner", "/tarn/runner"},  // only whole directory names
      {nullptr, "/tarn/storeroom/x", "/tarn/storeroom/x"},
  };
  for (const auto& r : rows) {
    r.root ? setenv("TARN_ROOT", r.root, 1) : unsetenv("TARN_ROOT");
    EXPECT_EQ(r.mapped, rootPath(r.path)) << (r.root ? r.root : "(unset)") << " " << r.path;
  }
  unsetenv("TARN_ROOT");
  EXPECT_EQ("/run/tarn/bus/20.sock", busSocketPath(20));
}

TEST(Store, CorruptFileIsMovedAsideAndStoreStartsEmpty) {
  tarn_test::TempRoot root;
  std::string file = root.dir() + "/tarn/store/bad";
  Store("/tarn/store/bad", 5).set(1, value(1));
  {
    std::fstream f(file, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(14).put('\x55');
  }
  std::unique_ptr<Store> s(openCapturing("/tarn/store/bad"));
  EXPECT_EQ(0u, s->size());
  EXPECT_EQ(std::vector<std::string>{"tarn: store " + file + " is corrupt, moved to " + file +
                                     ".corrupt, starting empty"},
            g_diags);
  EXPECT_EQ(0, access((file + ".corrupt").c_str(), F_OK));
}

// A child sets objects in a loop and reports each acknowledged set through
// a pipe; it is killed at an arbitrary moment. The reloaded store must be
// valid and hold at least every acknowledged value.
TEST(Store, SurvivesSigkillWithEveryAcknowledgedSet) {
  tarn_test::TempRoot root;
  const unsigned kObjects = 8;
  int p[2];
  ASSERT_EQ(0, pipe(p));
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(p[0]);
    Store s("/tarn/store/crash", 5);
    for (uint32_t i = 1;; ++i) {
      s.set(i % kObjects, value(i));
      std::string ack = std::to_string(i) + "\n";
      if (write(p[1], ack.data(), ack.size()) < 0) _exit(1);
    }
  }
  close(p[1]);
  FILE* in = fdopen(p[0], "r");
  unsigned acked = 0, target = 40 + static_cast<unsigned>(getpid() % 17);
  std::map<unsigned, unsigned> lastAck;
  for (bool killed = false; fscanf(in, "%u", &acked) == 1;) {
    lastAck[acked % kObjects] = acked;
    if (acked >= target && !killed) killed = kill(pid, SIGKILL) == 0 && waitpid(pid, nullptr, 0) == pid;
  }
  fclose(in);

  std::unique_ptr<Store> s(openCapturing("/tarn/store/crash"));
  EXPECT_TRUE(g_diags.empty());
  for (const auto& kv : lastAck) EXPECT_GE(s->get(kv.first).get(u32_id(1), 0), kv.second) << kv.first;
  // It holds secrets: only the owner reads the file and its directory.
  struct stat st;
  ASSERT_EQ(0, stat((root.dir() + "/tarn/store/crash").c_str(), &st));
  EXPECT_EQ(0600u, st.st_mode & 0777);
  ASSERT_EQ(0, stat((root.dir() + "/tarn/store").c_str(), &st));
  EXPECT_EQ(0700u, st.st_mode & 0777);
}

}  // namespace
