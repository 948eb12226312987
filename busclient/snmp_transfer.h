// tarnctl snmp export and import: the agent's settings and communities as
// one readable JSON file, and back.
//
//   {
//     "settings": {"enabled": true, "contact": "noc", ..., "trap-community": "traps", ...},
//     "communities": [
//       {"id": 0, "name": "mallow", "read": true, ..., "priv-protocol": "des"},
//       ...
//     ]
//   }
//
// The keys are those of `tarnctl snmp set` and `community add`, their values
// as tarnctl shows them (addresses dotted, protocols by name, the trap
// community and the trap generators by name). engine-boots is left out: the
// agent counts its own starts. Passwords are written only with
// --passwords. Communities are written in id order.
//
// Import makes the agent match the file: "settings" sets the keys it holds;
// "communities", when present, is the whole list: communities of other ids
// are removed, the others changed or added with the file's ids. A community
// without a password key keeps the password the agent has for it, if the
// agent has a community of that id and name. Every value is checked against
// the rules of busclient/snmp_keys.h, and the whole file against the agent
// as it is, before the first change; a refused file changes nothing (exit
// 2). The changes are ordered so that the agent has no reason to refuse
// one (removals first; renames that would clash pass through a temporary
// name); should it refuse one all the same (another client changed it
// meanwhile), tarnctl says which changes had been made.
#ifndef BUSCLIENT_SNMP_TRANSFER_H
#define BUSCLIENT_SNMP_TRANSFER_H

#include <string>
#include <vector>

#include "busclient/verbs.h"

namespace tarnctl {

// tarnctl snmp export [--passwords]: the file on standard output.
int exportAgent(const Options& opts, const std::vector<std::string>& args);
// tarnctl snmp import [--dry-run] FILE|-: --dry-run prints the changes it
// would make, one a line, and makes none.
int importAgent(const Options& opts, const std::vector<std::string>& args);

}  // namespace tarnctl

#endif  // BUSCLIENT_SNMP_TRANSFER_H
