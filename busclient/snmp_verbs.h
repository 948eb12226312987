// The bus client's "snmp" verb: friendly forms of the SNMP agent's
// commands (settings, communities and users, trap generators, events,
// export and import), so an operator need not know field numbers.
// Communities are named by name or id. A change that the agent would take
// and then silently not act on is refused before anything is sent (exit
// status 2, one line on the error stream naming the key and the rule).
// Passwords are listed only as "(set)" or "(none)", and exported only when
// asked.
#ifndef BUSCLIENT_SNMP_VERBS_H
#define BUSCLIENT_SNMP_VERBS_H

#include <string>
#include <vector>

#include "busclient/verbs.h"

namespace tarnctl {

extern const char kSnmpArgs[];
extern const char kSnmpSummary[];
int verbSnmp(const Options& opts, const std::vector<std::string>& args);

}  // namespace tarnctl

#endif  // BUSCLIENT_SNMP_VERBS_H
