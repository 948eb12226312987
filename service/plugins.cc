// loadPlugins: the walk of the plug-in directory tree.
#include "service/plugins.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include "codec/diag.h"

namespace {

const size_t kMaxDirLength = 128;

bool isPluginName(const std::string& name) {
  return name.size() >= 4 && name.compare(name.size() - 3, 3, ".so") == 0;
}

void openPlugin(const std::string& path) {
  // RTLD_NOW without RTLD_GLOBAL: a plug-in binds to the daemon's symbols
  // but its own stay private to it.
  void* handle = dlopen(path.c_str(), RTLD_NOW);
  if (handle == nullptr) {
    const char* why = dlerror();
    diag::err("failed dlopen: " + path + ":\n" + (why ? why : ""));
    return;
  }
  diag::err("plugin loaded: " + path);
  void* entry = dlsym(handle, "autorun");
  if (entry == nullptr) {
    diag::err("plugin " + path + " has no symbol autorun");
    return;
  }
  reinterpret_cast<void (*)()>(entry)();
}

}  // namespace

void loadPlugins(const std::string& dir) {
  if (dir.size() > kMaxDirLength) {
    diag::err(
        "Refusing to search for snmp plugins in following directory, because "
        "it's path is longer than 128 characters (recursive symlink?):\n" +
        dir);
    return;
  }
  DIR* d = opendir(dir.c_str());
  if (d == nullptr) return;
  while (const dirent* entry = readdir(d)) {
    const std::string name = entry->d_name;
    if (name.empty() || name[0] == '.') continue;
    const std::string path = dir + "/" + name;
    struct stat st;
    // Deliberately ends this directory's walk (a dangling link, say).
    if (stat(path.c_str(), &st) != 0) break;
    if (S_ISDIR(st.st_mode)) {
      loadPlugins(path);
      continue;
    }
    if (!S_ISREG(st.st_mode) || !isPluginName(name)) continue;
    openPlugin(path);
  }
  closedir(d);
}
