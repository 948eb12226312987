// The plug-in loader. A plug-in is a shared object named *.so below the
// plug-in directory that exports `extern "C" void autorun()`; it binds to
// the registration interface the daemon exports (leaves, packers,
// providers, tables, `loop`, `trapMakers`, `scribers`) and registers its
// objects and trap makers from autorun, before the event loop runs.
#ifndef SERVICE_PLUGINS_H
#define SERVICE_PLUGINS_H

#include <string>

// Loads every plug-in below `dir` (a real path), depth-first, following
// symbolic links, and runs each one's autorun. Hidden entries are skipped;
// a path longer than 128 characters is refused (the only guard against a
// link that loops back to a parent); an entry whose status cannot be taken
// ends the walk of its directory. Plug-ins stay loaded for the life of the
// process. Reports through diag::err; never fails.
void loadPlugins(const std::string& dir);

#endif
