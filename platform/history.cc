// Appending to the change history.
#include "platform/history.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "platform/diag.h"
#include "platform/paths.h"
#include "platform/wire.h"

namespace tarn {

namespace {
bool appendFile(const std::string& path, const bytes& data) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  // One write: O_APPEND keeps concurrent writers' records whole.
  bool ok = write(fd, data.data(), data.size()) ==
            static_cast<ssize_t>(data.size());
  close(fd);
  return ok;
}
}  // namespace

void appendHistory(unsigned service, const std::string& description,
                   const message& undo) {
  std::string dir = rootPath("/tarn/log");
  if (!makeDirs(dir, 0700)) {
    diag("tarn: cannot create " + dir);
    return;
  }
  char stamp[32];
  time_t now = time(nullptr);
  struct tm tm;
  gmtime_r(&now, &tm);
  strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &tm);
  std::string line = std::string(stamp) + " " + std::to_string(service) +
                     " " + description + "\n";
  bytes frame;
  wire::put32(frame, 0);
  undo.appendFlat(frame);
  wire::set32(frame, 0, static_cast<uint32_t>(frame.size() - 4));
  if (!appendFile(dir + "/history", bytes(line.begin(), line.end())) ||
      !appendFile(dir + "/history.undo", frame)) {
    diag("tarn: cannot append to " + dir + "/history");
  }
}

}  // namespace tarn
