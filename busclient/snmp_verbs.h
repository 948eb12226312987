// The bus client's "snmp" verb: friendly forms of the SNMP agent's
// commands (settings, communities, trap generators, events), so an operator
// need not know field numbers. Passwords are sent as given and listed only
// as "(set)".
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
