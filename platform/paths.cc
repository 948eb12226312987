// Platform path mapping and directory creation.
#include "platform/paths.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>

namespace tarn {

namespace {

// The system layout: where the platform's own directories are on the
// host's root. Run-time files (the bus sockets) go where the system keeps
// them, emptied at boot; the state survives reboots.
struct SystemDir {
  const char* platform;
  const char* system;
} const kSystemDirs[] = {
    {"/tarn/run", "/run/tarn"},
    {"/tarn/store", "/var/lib/tarn/store"},
    {"/tarn/log", "/var/lib/tarn/log"},
};

std::string systemPath(const std::string& platformPath) {
  for (const SystemDir& d : kSystemDirs) {
    const std::string dir(d.platform);
    if (platformPath.compare(0, dir.size(), dir) == 0 &&
        (platformPath.size() == dir.size() || platformPath[dir.size()] == '/')) {
      return d.system + platformPath.substr(dir.size());
    }
  }
  return platformPath;
}

}  // namespace

std::string rootPath(const std::string& platformPath) {
  const char* root = getenv("TARN_ROOT");
  if (!root || !*root) return systemPath(platformPath);
  std::string r(root);
  while (r.size() > 1 && r.back() == '/') r.pop_back();
  if (r == "/") return systemPath(platformPath);
  if (!platformPath.empty() && platformPath[0] != '/') r += '/';
  return r + platformPath;
}

bool makeDirs(const std::string& dir, mode_t mode) {
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  std::string parent = dirName(dir);
  if (parent != dir && !parent.empty() && !makeDirs(parent, 0755)) {
    return false;
  }
  if (mkdir(dir.c_str(), mode) == 0) {
    chmod(dir.c_str(), mode);  // mkdir's mode is masked by the umask
    return true;
  }
  return errno == EEXIST;
}

std::string dirName(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string busSocketPath(unsigned service) {
  return rootPath("/tarn/run/bus/" + std::to_string(service) + ".sock");
}

}  // namespace tarn
