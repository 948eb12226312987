// Host resources: clock record, static rows and registrations.
#include "mib/host_resources.h"

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "mib/system.h"
#include "platform/codes.h"

using namespace packers;
using namespace wire;

namespace {

const OID kStorageOther("1.3.6.1.2.1.25.2.1.1");
const OID kStorageFixedDisk("1.3.6.1.2.1.25.2.1.4");
const OID kDeviceProcessor("1.3.6.1.2.1.25.3.1.3");

// The rows live for the process; their providers copy fresh values in.
StorageRow diskRow, memoryRow;
ProcessorRow processorRow;
GetProvider* resourcesProvider = nullptr;

const SystemResources* currentResources() {
  return static_cast<const SystemResources*>(resourcesProvider->get());
}

Data* refreshDisk() {
  if (const SystemResources* r = currentResources()) {
    diskRow.size = r->diskTotal;
    diskRow.used = r->diskUsed;
  }
  return &diskRow;
}

Data* refreshMemory() {
  if (const SystemResources* r = currentResources()) {
    memoryRow.size = r->memoryTotal;
    memoryRow.used = r->memoryUsed;
  }
  return &memoryRow;
}

Data* refreshProcessor() {
  if (const SystemResources* r = currentResources()) processorRow.load = r->load;
  return &processorRow;
}

}  // namespace

std::vector<unsigned char> dateAndTime(time_t t) {
  struct tm tm;
  localtime_r(&t, &tm);
  unsigned year = static_cast<unsigned>(tm.tm_year + 1900);
  return std::vector<unsigned char>{
      static_cast<unsigned char>(year >> 8), static_cast<unsigned char>(year),
      static_cast<unsigned char>(tm.tm_mon + 1),
      static_cast<unsigned char>(tm.tm_mday),
      static_cast<unsigned char>(tm.tm_hour),
      static_cast<unsigned char>(tm.tm_min),
      static_cast<unsigned char>(tm.tm_sec), 0};
}

Data* ClockRecord::build(const tarn::message& m) {
  ClockRecord* r = new ClockRecord;
  r->date = dateAndTime(static_cast<time_t>(fields::u32(m, svc::sys::kTime)));
  long offset = fields::s32(m, svc::sys::kZoneOffset);
  r->date.push_back(offset < 0 ? '-' : '+');
  if (offset < 0) offset = -offset;
  r->date.push_back(static_cast<unsigned char>(offset / 3600));
  r->date.push_back(static_cast<unsigned char>(offset / 60 % 60));
  return r;
}

HostResourcesModule::HostResourcesModule(GetProvider* resources)
    : clock(ClockRecord::build, svc::sys::kClockPath, tarn::kCmdGet, tarn::kCmdSet),
      disk(refreshDisk),
      memory(refreshMemory),
      processor(refreshProcessor) {
  resourcesProvider = resources;
  diskRow.index = 1;
  diskRow.type = kStorageFixedDisk;
  diskRow.description = "disk";
  memoryRow.index = 2;
  memoryRow.type = kStorageOther;  // not RAM: kept as it has always been
  memoryRow.description = "main memory";
  processorRow.index = 1;
  processorRow.type = kDeviceProcessor;
  storage.addProvider(OID{1}, &disk);
  storage.addProvider(OID{2}, &memory);
  devices.addProvider(OID{1}, &processor);
  processors.addProvider(OID{1}, &processor);

  const OID storageEntry("1.3.6.1.2.1.25.2.3.1");
  addScalarLeaf(OID("1.3.6.1.2.1.25.1.1"), num(&SystemResources::uptime, TIMETICKS), resources);      // hrSystemUptime
  addScalarLeaf(OID("1.3.6.1.2.1.25.1.2"), raw(&ClockRecord::date), &clock);                         // hrSystemDate
  addScalarLeaf(OID("1.3.6.1.2.1.25.2.2"), num(&SystemResources::memoryTotal, INTEGER), resources);  // hrMemorySize
  addColumnarLeaf(storageEntry + 1, num(&StorageRow::index, INTEGER), &storage);                     // hrStorageIndex
  addColumnarLeaf(storageEntry + 2, oid(&StorageRow::type), &storage);                               // hrStorageType
  addColumnarLeaf(storageEntry + 3, str(&StorageRow::description), &storage);                        // hrStorageDescr
  addColumnarLeaf(storageEntry + 4, constNum(1024, INTEGER), &storage);                              // hrStorageAllocationUnits
  addColumnarLeaf(storageEntry + 5, num(&StorageRow::size, INTEGER), &storage);                      // hrStorageSize
  addColumnarLeaf(storageEntry + 6, num(&StorageRow::used, INTEGER), &storage);                      // hrStorageUsed
  addColumnarLeaf(storageEntry + 7, constNum(0, COUNTER32), &storage);                               // hrStorageAllocationFailures
  addColumnarLeaf(OID("1.3.6.1.2.1.25.3.2.1.1"), num(&ProcessorRow::index, INTEGER), &devices);      // hrDeviceIndex
  addColumnarLeaf(OID("1.3.6.1.2.1.25.3.2.1.2"), oid(&ProcessorRow::type), &devices);                // hrDeviceType
  addColumnarLeaf(OID("1.3.6.1.2.1.25.3.3.1.2"), num(&ProcessorRow::load, INTEGER), &processors);    // hrProcessorLoad
}

HostResourcesModule::~HostResourcesModule() { resourcesProvider = nullptr; }
