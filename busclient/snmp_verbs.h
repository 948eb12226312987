// The bus client's "snmp" verb: friendly forms of the SNMP agent's
// commands (settings, communities, trap generators, events), so an operator
// need not know field numbers. Passwords are sent as given and listed only
// as "(set)".
#ifndef BUSCLIENT_SNMP_VERBS_H_
#define BUSCLIENT_SNMP_VERBS_H_

#include <string>
#include <vector>

#include "busclient/verbs.h"

namespace tarnctl {

extern const char SNMP_ARGS[];
extern const char SNMP_SUMMARY[];
int verbSnmp(const Options& opts, const std::vector<std::string>& args);

}  // namespace tarnctl

#endif  // BUSCLIENT_SNMP_VERBS_H_
