// The router services as the MIB modules see them: each bus path they
// read, and each answer field, by name. One namespace per service answer;
// docs/mib.md gives the kind of every field and what the modules make of
// it. The stand-in router (router/fields.h) keeps its own names on
// purpose, so that it stays an independent check of these.
#ifndef MIB_SERVICE_FIELDS_H
#define MIB_SERVICE_FIELDS_H

#include <vector>

#include "platform/codes.h"

namespace svc {

// Flags every service may set on a listed object.
constexpr unsigned kDynamic = 0xfe0007;   // bool: learned, not configured
constexpr unsigned kInvalid = 0xfe0008;   // bool: present but not in use
constexpr unsigned kDisabled = 0xfe000a;  // bool: switched off

// {20, 0}: the interface list, and its link-change events.
namespace iface {
inline const std::vector<unsigned> kPath{20, 0};
constexpr unsigned kKind = 0x10001;        // u32: ifType/ifSpeed row
constexpr unsigned kLinkFlags = 0x10002;   // u32: kNoLinkState
constexpr unsigned kState = 0x10003;       // u32: state bits
constexpr unsigned kName = 0x10006;        // string
constexpr unsigned kRunning = 0x1000e;     // bool
constexpr unsigned kMtu = 0x10064;         // u32
constexpr unsigned kInDiscards = 0x100f8;  // u32
constexpr unsigned kOutDiscards = 0x100f9; // u32
constexpr unsigned kInErrors = 0x100fa;    // u32
constexpr unsigned kOutErrors = 0x100fb;   // u32
constexpr unsigned kInOctets = 0x100fc;    // u64
constexpr unsigned kOutOctets = 0x100fd;   // u64
constexpr unsigned kInPackets = 0x100fe;   // u64
constexpr unsigned kOutPackets = 0x100ff;  // u64
constexpr unsigned kHardwareAddress = 1001;  // raw
constexpr unsigned kLinkRate = 1010;       // u32: 0 10M, 1 100M, 2 1G
constexpr unsigned kParent = 2002;         // u32: interface id
constexpr unsigned kBridgeKind = 12;       // kKind of a bridge
constexpr unsigned kBridgePriority = 2;    // u32, on a bridge
constexpr unsigned kListLinks = 1;         // command: the link-state snapshot
constexpr unsigned kLinkEvent = 0x10004;   // notification code of a link change
// Bits of kLinkFlags and of kState.
constexpr unsigned kNoLinkState = 0x80;  // of kLinkFlags
constexpr unsigned kAdminUp = 0x100;
constexpr unsigned kLinkRunning = 0x400;
constexpr unsigned kRememberedState = 0x10103;  // the bits a snapshot keeps
}  // namespace iface

// {20, 1}: IPv4 addresses.
namespace address {
inline const std::vector<unsigned> kPath{20, 1};
constexpr unsigned kAddress = 1;    // be32
constexpr unsigned kNetMask = 3;    // be32
constexpr unsigned kInterface = 5;  // u32
}  // namespace address

// {20, 8}: the ARP table.
namespace arp {
inline const std::vector<unsigned> kPath{20, 8};
constexpr unsigned kAddress = 1;          // be32
constexpr unsigned kHardwareAddress = 2;  // raw
constexpr unsigned kInterface = 3;        // u32
}  // namespace arp

// {20, 9} and {20, 12}: the vendor address tables.
namespace vendor21 {
inline const std::vector<unsigned> kPath{20, 9};
constexpr unsigned kName = 2;            // string
constexpr unsigned kAddress3 = 101;      // be32
constexpr unsigned kAddress4 = 103;      // be32
constexpr unsigned kNumber = 104;        // u32
constexpr unsigned kAddressPair = 105;   // u32 array of two be32
constexpr unsigned kSecondCounter = 200; // u64
constexpr unsigned kFourthCounter = 201; // u32
constexpr unsigned kFirstCounter = 300;  // u64
constexpr unsigned kThirdCounter = 301;  // u32
}  // namespace vendor21
namespace vendor22 {
inline const std::vector<unsigned> kPath{20, 12};
constexpr unsigned kNumber = 1;          // u32
constexpr unsigned kName = 2;            // string
constexpr unsigned kLabel = 12;          // raw, NUL-padded
constexpr unsigned kSecondCounter = 200; // u64
constexpr unsigned kFourthCounter = 201; // u32
}  // namespace vendor22

// {16, 3}: the bridge forwarding database.
namespace fdb {
inline const std::vector<unsigned> kPath{16, 3};
constexpr unsigned kPort = 1;     // u32
constexpr unsigned kAddress = 2;  // raw
constexpr unsigned kStatic = 4;   // u32: 0 learned
constexpr unsigned kBridge = 5;   // u32: interface id of the bridge
}  // namespace fdb

// {44, 1}: the routing table.
namespace route {
inline const std::vector<unsigned> kPath{44, 1};
constexpr unsigned kDestination = 1;  // be32
constexpr unsigned kMask = 2;         // be32
constexpr unsigned kNextHop = 3;      // be32, of a route without gateways
constexpr unsigned kGateways = 4;     // u32 array of be32
constexpr unsigned kInterfaces = 5;   // u32 array
constexpr unsigned kActive = 6;       // u32 array, 0 = inactive gateway
constexpr unsigned kKind = 7;         // u32
constexpr unsigned kMetric = 8;       // u32
}  // namespace route

// {24}: the system service. {24, 0} clock, {24, 1} identity, {24, 2}
// resources (also the object a reboot SET writes).
namespace sys {
inline const std::vector<unsigned> kPath{24};
inline const std::vector<unsigned> kClockPath{24, 0};
inline const std::vector<unsigned> kIdentPath{24, 1};
inline const std::vector<unsigned> kResourcesPath{24, 2};
constexpr unsigned kReboot = 5;        // command to kPath
constexpr unsigned kTime = 7;          // u32, seconds since the epoch (clock)
constexpr unsigned kZoneOffset = 27;   // u32 two's complement, seconds east
constexpr unsigned kName = 12;         // string (identity)
constexpr unsigned kUptime = 1;        // u32, seconds (resources)
constexpr unsigned kMemoryTotal = 2;   // u32, KiB
constexpr unsigned kMemoryFree = 3;    // u32, KiB
constexpr unsigned kLoad = 6;          // u32, percent
constexpr unsigned kDiskTotal = 10;    // u32, KiB
constexpr unsigned kDiskFree = 11;     // u32, KiB
}  // namespace sys

// {65}: the installed software.
namespace software {
inline const std::vector<unsigned> kPath{65};
constexpr unsigned kIdentifier = 1;  // string
constexpr unsigned kLevel = 4;       // u32
constexpr unsigned kUpgrade = 9;     // u32
}  // namespace software

// {12, 1}: health.
namespace health {
inline const std::vector<unsigned> kPath{12, 1};
constexpr unsigned kPowerSource = 12;     // u32
constexpr unsigned kVoltage = 13;         // u32 two's complement
constexpr unsigned kTemperature = 14;     // u32 two's complement, degrees
constexpr unsigned kCpuTemperature = 17;  // u32 two's complement, degrees
}  // namespace health

// {48, 101}: scripts.
namespace script {
inline const std::vector<unsigned> kPath{48, 101};
constexpr unsigned kName = 102;  // string
constexpr unsigned kRun = 1;     // command field value: run, not change
}  // namespace script

// {10, 1}: neighbour discovery peers.
namespace peer {
inline const std::vector<unsigned> kPath{10, 1};
constexpr unsigned kAddress = 1;          // be32
constexpr unsigned kHardwareAddress = 2;  // raw
constexpr unsigned kVersion = 6;          // string
constexpr unsigned kIdentity = 7;         // string
constexpr unsigned kPlatform = 8;         // string
constexpr unsigned kInterface = 11;       // string
}  // namespace peer

}  // namespace svc

#endif
