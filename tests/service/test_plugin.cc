// A plug-in for the loader's tests: its autorun appends a trap maker to the
// daemon's `trapMakers`, so a test sees both that it ran and that it bound
// to the executable's symbols. Built once more without autorun.
#include "service/trap_makers.h"

#ifndef WITHOUT_AUTORUN
namespace {

bool pluginMaker(std::vector<VariableBinding>&, const tarn::message&, OID&,
                 int&, int&) {
  return false;
}

}  // namespace

extern "C" void autorun() { trapMakers.push_back(pluginMaker); }
#endif
