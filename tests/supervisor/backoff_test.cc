// Restart pacing (doubling, the cap, the reset after a steady run), the
// texts the event lines are made of, and the agent's error lines split as
// they come through the pipe.
#include "supervisor/backoff.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>

#include <vector>

#include "supervisor/agent_output.h"

namespace supervisor {
namespace {

TEST(BackoffTest, DelaysAndTexts) {
  const uint64_t steps[][2] = {  // {ran ms, delay ms}
      {5, 100},   {5, 200},   {5, 400},     {29999, 800}, {5, 1600},   {5, 3200},
      {5, 6400},  {5, 10000}, {5, 10000},   {30000, 100},  // a steady run starts over
      {5, 200},   {600000, 100},
  };
  Backoff b;
  for (const auto& s : steps) EXPECT_EQ(s[1], b.next(s[0])) << "after running " << s[0];
  Backoff capped(300, 1000, 30000);  // the cap below double the last step
  for (unsigned want : {300u, 600u, 1000u, 1000u}) EXPECT_EQ(want, capped.next(0));
  EXPECT_EQ("killed by signal 11 (Segmentation fault)", describeExit(SIGSEGV | 0x80));  // core
  const std::pair<unsigned, const char*> secs[] = {{6400, "6.4"}, {10000, "10"}, {0, "0"}};
  for (const auto& c : secs) EXPECT_EQ(c.second, seconds(c.first));
  EXPECT_EQ("tarn-snmpd (pid 7) cannot open UDP port 161: errno 98 (Address already in use)",
            describeSocketFailure("tarn-snmpd (pid 7)", 161, EADDRINUSE));
}

TEST(AgentOutputTest, LinesAsTheyArriveInPieces) {
  // Pieces read from the pipe, and the lines given after each.
  const std::pair<const char*, std::vector<std::string>> steps[] = {
      {"loop = new ", {}},
      {"SnmpLooper();\ncannot create", {"loop = new SnmpLooper();"}},
      {" service connection\n\nplugin", {"cannot create service connection", ""}},
      {"\n", {"plugin"}},
  };
  LineSplitter s;
  std::vector<std::string> got;
  auto line = [&](const std::string& l) { got.push_back(l); };
  for (const auto& step : steps) {
    got.clear();
    s.feed(step.first, strlen(step.first), line);
    EXPECT_EQ(step.second, got) << step.first;
  }
  got.clear();
  s.feed("no end", 6, line);
  s.finish(line);  // the stream ended within a line
  EXPECT_EQ(std::vector<std::string>{"no end"}, got);
}

}  // namespace
}  // namespace supervisor
