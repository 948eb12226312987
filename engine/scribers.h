// Scribers: the named event subscriptions of the agent.
//
// Each entry starts and stops one subscription to another service's
// notifications (the "interfaces" entry, for instance, follows link changes
// and switches the link trap maker on and off). An entry's position in
// `scribers` is its id in the agent's trap-generator setting; entries are
// appended at start-up by the MIB modules and plug-ins, in registration
// order, and never removed.
#ifndef ENGINE_SCRIBERS_H
#define ENGINE_SCRIBERS_H

#include <string>
#include <vector>

struct Scribers {
  std::string name;          // used in log lines and in the generator list
  void (*subscribe)();       // starts the subscription
  void (*unsubscribe)();     // stops it
};

extern std::vector<Scribers> scribers;

#endif
