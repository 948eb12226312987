// The plug-in ABI of tarn-snmpd: the one header a MIB plug-in includes.
//
// A plug-in is a shared object with `extern "C" void autorun()`, opened at
// start-up from $TARN_ROOT/tarn/lib/snmp; the agent calls autorun() once,
// on its only thread, before it serves anything. The plug-in links nothing
// of the agent: it binds to the daemon's exported symbols when opened, so
// what this header declares is the interface it may use, and a plug-in
// built against one version's headers runs only with that version.
//
//   registry       addScalarLeaf, addColumnarLeaf, the constant leaves
//                  (engine/registry.h): objects in the agent's tree
//   packers        DataNumPacker, DataStringPacker, ... with field()
//                  (data/data_packers.h): how a record's field is encoded
//   providers      DataProvider, SingleProvider, GetProvider
//                  (data/*provider.h): where a scalar group's record comes from
//   tables         GetAllProvider + MapTable (data/map_table.h): rows from
//                  a list service, indexed by packers
//   exchanges      exchange, exchangeCmd, getObject, subscribe
//                  (data/exchange.h): the router services over the bus
//   trap makers    trapMakers (engine/trap_makers.h): events into traps
//   event sources  scribers (engine/scribers.h): named subscriptions an
//                  operator turns on as trap generators
//
// Everything registered lives as long as the process.
#ifndef ENGINE_PLUGIN_API_H
#define ENGINE_PLUGIN_API_H

#include "codec/oid.h"
#include "codec/out_stream.h"
#include "codec/wire.h"
#include "data/data.h"
#include "data/data_packers.h"
#include "data/data_provider.h"
#include "data/exchange.h"
#include "data/get_all_provider.h"
#include "data/get_provider.h"
#include "data/map_table.h"
#include "data/single_provider.h"
#include "engine/registry.h"
#include "engine/scribers.h"
#include "engine/trap_makers.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/message.h"

#endif
