// ModelDevice: a router described by a JSON file (see docs/router-services.md
// for the format), served exactly as written. Changes made over the bus are
// applied to the model in memory only; the file is never written.
//
// Values the file leaves out and that only make sense live: the clock's
// time (then the current time) and the uptime (then the seconds since the
// model was loaded or last "rebooted"). Interfaces get flags 0 and state
// bits made from "disabled" and "running" unless the file gives them,
// and counters the file does not give read 0.
#ifndef ROUTER_MODEL_DEVICE_H
#define ROUTER_MODEL_DEVICE_H

#include <map>
#include <string>
#include <string_view>

#include "router/device.h"

namespace router {

class ModelDevice : public Device {
 public:
  ModelDevice();
  // Reads the model from file; false with a one-line *error,
  // "<file>:<line>: <reason>", and nothing loaded that may be served.
  bool load(const std::string& file, std::string* error);
  // Reads the model from text (for load and tests); *error is
  // "<line>: <reason>".
  bool parse(std::string_view text, std::string* error);

  const ItemList* list(Path p) override;
  bool settings(Path p, tarn::message* out) override;
  tarn::message setSettings(Path p, const tarn::message& request) override;
  tarn::message setObject(Path p, uint32_t id,
                          const tarn::message& request) override;
  bool counters(uint32_t id, tarn::message* out) override;
  tarn::message setLink(uint32_t id, const tarn::message& request) override;
  tarn::message runScript(uint32_t id) override;
  tarn::message reboot() override;

 private:
  std::map<Path, ItemList> lists_;
  std::map<Path, tarn::message> settings_;
  std::map<uint32_t, tarn::message> counters_;
  uint64_t startedMs_;
};

}  // namespace router

#endif  // ROUTER_MODEL_DEVICE_H
