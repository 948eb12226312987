// Device: what the bus handlers of tarn-routerd read and change. A backend
// (the host this runs on, or a model read from a file) keeps the lists and
// settings objects of every path in fields.h; the handlers only page, look
// up and forward.
//
// Lists are returned in ascending id order; the pointer stays valid until
// the next call on the device. Changes answer with the bus reply to send:
// empty on success, tarn::errorMsg otherwise. Link changes (from the kernel,
// or made on a model) are reported to the observer set with onLink.
#ifndef ROUTER_DEVICE_H
#define ROUTER_DEVICE_H

#include <cstdint>
#include <functional>

#include "platform/message.h"
#include "router/fields.h"
#include "router/item_list.h"

namespace router {

// What the operator allowed on the command line.
struct Options {
  bool allowReboot = false;
  bool allowScripts = false;
  bool allowHostname = false;
};

class Device {
 public:
  // id, flags (0x10002) and state bits (0x10003) of the changed interface.
  typedef std::function<void(uint32_t id, uint32_t flags, uint32_t state)>
      LinkObserver;

  virtual ~Device() {}

  // The objects of list path p, or null if p is not a list.
  virtual const ItemList* list(Path p) = 0;
  // The same, for one page of a get-all; continuing when the request names
  // where it goes on (a walk's later pages). A backend that re-reads its
  // lists serves a walk that keeps going from the reading it began with, so
  // that numbering stays the same from page to page.
  virtual const ItemList* listToPage(Path p, bool /*continuing*/) {
    return list(p);
  }
  // The settings object of p into *out; false if p has none.
  virtual bool settings(Path p, tarn::message* out) = 0;
  // Applies the fields of request to the settings of p.
  virtual tarn::message setSettings(Path p, const tarn::message& request) = 0;
  // Applies the fields of request to object id of list p.
  virtual tarn::message setObject(Path p, uint32_t id,
                                  const tarn::message& request) = 0;
  // Adds the traffic counters of interface id to *out; false if unknown.
  virtual bool counters(uint32_t id, tarn::message* out) = 0;
  // Changes an interface's running/disabled state (from kCmdSetLink).
  virtual tarn::message setLink(uint32_t id, const tarn::message& request) = 0;
  // Runs script id; reboots. Called only when the operator allowed it.
  virtual tarn::message runScript(uint32_t id) = 0;
  virtual tarn::message reboot() = 0;

  void onLink(LinkObserver o) { observer_ = std::move(o); }

 protected:
  void linkChanged(uint32_t id, uint32_t flags, uint32_t state) {
    if (observer_) observer_(id, flags, state);
  }

 private:
  LinkObserver observer_;
};

// Copies the object fields of request (everything but the envelope and the
// object id) into *obj, replacing fields that are there.
void mergeFields(const tarn::message& request, tarn::message* obj);

// IPv4 helpers: a be32 field value holds the address in network order.
uint32_t be32FromHost(uint32_t hostOrder);
uint32_t hostFromBe32(uint32_t be);
uint32_t be32FromBytes(const uint8_t* b);  // four bytes in dotted order

}  // namespace router

#endif  // ROUTER_DEVICE_H
