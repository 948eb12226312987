// Platform path mapping and directory creation.
#include "platform/paths.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>

namespace tarn {

std::string rootPath(const std::string& platformPath) {
  const char* root = getenv("TARN_ROOT");
  if (!root || !*root) return platformPath;
  std::string r(root);
  while (r.size() > 1 && r.back() == '/') r.pop_back();
  if (r == "/") return platformPath;
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
