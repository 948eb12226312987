// Health: the record builder with its lazy registrations.
#include "mib/health.h"

#include "codec/diag.h"
#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "platform/codes.h"

using namespace packers;

namespace {

HealthModule* current = nullptr;

// The optional objects in their order of registration.
struct Optional {
  unsigned field;
  unsigned suffix;
  const char* name;
  int Health::*member;
} const kOptional[] = {
    {svc::health::kVoltage, 8, "voltage", &Health::voltage},              // tarnHealthVoltage
    {svc::health::kTemperature, 10, "temperature", &Health::temperature},  // tarnHealthTemperature
    {svc::health::kCpuTemperature, 11, "cpu temperature", &Health::cpuTemperature},  // tarnHealthCpuTemperature
};

const OID kHealth("1.3.6.1.4.1.40117.1.1.3");

const char* sourceName(unsigned code) {
  switch (code) {
    case 0: return "aux";
    case 1: return "main";
    case 2: return "none";
    default: return "n/a";
  }
}

}  // namespace

Data* Health::build(const tarn::message& m) {
  for (int i = 0; current && i < 3; ++i) {
    const Optional& o = kOptional[i];
    if (current->registered[i] || !m.has(tarn::u32_id(o.field))) continue;
    addScalarLeaf(kHealth + o.suffix, num(o.member, wire::INTEGER),
                  &current->provider);
    diag::out(std::string("+ ") + o.name);
    current->registered[i] = true;
  }
  Health* r = new Health;
  r->voltage = fields::s32(m, svc::health::kVoltage);
  r->source = sourceName(fields::u32(m, svc::health::kPowerSource, 42));
  // Tenths of a degree, in unsigned arithmetic so that no value overflows.
  const unsigned absent = static_cast<unsigned>(-273);
  r->temperature = static_cast<int>(fields::u32(m, svc::health::kTemperature, absent) * 10);
  r->cpuTemperature = static_cast<int>(fields::u32(m, svc::health::kCpuTemperature, absent) * 10);
  return r;
}

HealthModule::HealthModule()
    : provider(Health::build, svc::health::kPath, tarn::kCmdGet, tarn::kCmdSet) {
  current = this;
  addScalarLeaf(kHealth + 9, str(&Health::source), &provider);  // tarnHealthPowerSource
}

HealthModule::~HealthModule() {
  if (current == this) current = nullptr;
}

namespace {

HealthModule* healthModule;  // kept for the life of the process

}  // namespace

void buildHealthModule() { healthModule = new HealthModule; }
