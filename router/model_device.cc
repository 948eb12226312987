// Loading the model file, one list element at a time, and changing it.
#include "router/model_device.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "router/schema.h"

namespace router {

using tarn::JsonReader;
using tarn::JsonValue;

namespace {

// State bits from the running and disabled fields, keeping other bits.
uint32_t stateOf(const tarn::message& m) {
  uint32_t state = m.get(tarn::u32_id(kIfState), 0) &
                   ~(kStateAdminUp | kStateRunning);
  if (!m.get(tarn::bool_id(kDisabled), false)) state |= kStateAdminUp;
  if (m.get(tarn::bool_id(kIfRunning), false)) state |= kStateRunning;
  return state;
}

// Reads one object of section s into *obj (and an interface's counters
// into *counters). False with the reader's error set.
bool readObject(JsonReader& r, const Section& s, tarn::message* obj,
                tarn::message* counters) {
  JsonValue v;
  if (!r.value(&v)) return false;
  if (v.type != JsonValue::kObject) return r.fail("expected an object");
  std::string error;
  for (const auto& m : v.members) {
    if (s.path == kInterfaces && m.first == "counters") {
      if (m.second.type != JsonValue::kObject) return r.fail("expected an object");
      for (const auto& c : m.second.members) {
        if (!setField(counters, counterFields(), c.first, c.second, &error)) {
          return r.fail(error);
        }
      }
    } else if (!setField(obj, s.fields, m.first, m.second, &error)) {
      return r.fail(error);
    }
  }
  if (s.path == kInterfaces) {
    if (!obj->has(tarn::u32_id(kIfFlags))) obj->insert(tarn::u32_id(kIfFlags), 0);
    if (!obj->has(tarn::u32_id(kIfState))) {
      obj->insert(tarn::u32_id(kIfState), stateOf(*obj));
    }
  }
  return true;
}

}  // namespace

ModelDevice::ModelDevice() : startedMs_(tarn::nowMs()) {}

bool ModelDevice::load(const std::string& file, std::string* error) {
  // The file is mapped, not read: a model of a million routes is over
  // 100 MB, and a copy of it would only double the peak memory.
  int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat st;
  if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    if (fd >= 0) close(fd);
    *error = "cannot read " + file;
    return false;
  }
  const size_t size = static_cast<size_t>(st.st_size);
  void* text = size ? mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0) : nullptr;
  close(fd);
  if (text == MAP_FAILED) {
    *error = "cannot read " + file;
    return false;
  }
  if (text) madvise(text, size, MADV_SEQUENTIAL);
  bool ok = parse(std::string_view(static_cast<const char*>(text), size), error);
  if (text) munmap(text, size);
  if (!ok) *error = file + ":" + *error;
  return ok;
}

bool ModelDevice::parse(std::string_view text, std::string* error) {
  JsonReader r(text);
  bool more = false;
  bool ok = r.enter('{');
  while (ok && r.next('}', &more) && more) {
    std::string key;
    if (!r.key(&key)) break;
    const Section* s = nullptr;
    for (const Section& c : sections()) {
      if (key == c.key) s = &c;
    }
    if (!s) {
      ok = r.fail("unknown section \"" + key + "\"");
      break;
    }
    if (!s->list) {
      tarn::message obj, unused;
      ok = readObject(r, *s, &obj, &unused);
      settings_[s->path] = obj;
      continue;
    }
    ItemList& list = lists_[s->path];
    uint32_t lastId = 0;
    ok = r.enter('[');
    while (ok && r.next(']', &more) && more) {
      tarn::message obj, counters;
      if (!readObject(r, *s, &obj, &counters)) {
        ok = false;
        break;
      }
      // Objects without an id follow the one before them.
      lastId = obj.get(tarn::u32_id(tarn::kFieldObjId), lastId + 1);
      obj.insert(tarn::u32_id(tarn::kFieldObjId), lastId);
      if (!counters.empty()) counters_[lastId] = counters;
      list.add(lastId, obj);
    }
    uint32_t dup = 0;
    if (ok && !list.sort(&dup)) {
      ok = r.fail("id " + std::to_string(dup) + " twice in \"" + key + "\"");
    }
  }
  if (ok && !r.atEnd()) r.fail("text after the model");
  if (!r.error().empty()) {
    *error = r.error();
    return false;
  }
  for (const Section& s : sections()) {  // every path answers, maybe empty
    if (s.list) {
      lists_[s.path];
    } else {
      settings_[s.path];
    }
  }
  return true;
}

const ItemList* ModelDevice::list(Path p) {
  auto it = lists_.find(p);
  return it == lists_.end() ? nullptr : &it->second;
}

bool ModelDevice::settings(Path p, tarn::message* out) {
  auto it = settings_.find(p);
  if (it == settings_.end()) return false;
  *out = it->second;
  if (p == kClock && !out->has(tarn::u32_id(7))) {
    out->insert(tarn::u32_id(7), static_cast<uint32_t>(time(nullptr)));
  }
  if (p == kResources && !out->has(tarn::u32_id(1))) {
    out->insert(tarn::u32_id(1),
                static_cast<uint32_t>((tarn::nowMs() - startedMs_) / 1000));
  }
  return true;
}

tarn::message ModelDevice::setSettings(Path p, const tarn::message& request) {
  auto it = settings_.find(p);
  if (it == settings_.end()) {
    return tarn::errorMsg(tarn::kErrUnsupported, "no settings here");
  }
  mergeFields(request, &it->second);
  return tarn::message();
}

tarn::message ModelDevice::setObject(Path p, uint32_t id,
                                     const tarn::message& request) {
  auto it = lists_.find(p);
  const Item* item = it == lists_.end() ? nullptr : it->second.find(id);
  if (!item) return tarn::errorMsg(tarn::kErrNoObject, "no such object");
  tarn::message obj = decode(*item);
  uint32_t before = obj.get(tarn::u32_id(kIfState), 0);
  mergeFields(request, &obj);
  if (p == kInterfaces) {
    if (!request.has(tarn::u32_id(kIfState)) &&
        (request.has(tarn::bool_id(kIfRunning)) ||
         request.has(tarn::bool_id(kDisabled)))) {
      obj.insert(tarn::u32_id(kIfState), stateOf(obj));
    }
    uint32_t after = obj.get(tarn::u32_id(kIfState), 0);
    it->second.replace(id, obj);
    if ((after ^ before) & (kStateAdminUp | kStateRunning)) {
      linkChanged(id, obj.get(tarn::u32_id(kIfFlags), 0), after);
    }
    return tarn::message();
  }
  it->second.replace(id, obj);
  return tarn::message();
}

bool ModelDevice::counters(uint32_t id, tarn::message* out) {
  if (!lists_[kInterfaces].find(id)) return false;
  for (const FieldSpec& f : counterFields()) {  // counters not written read 0
    if (f.kind == Kind::kU64) {
      out->insert(tarn::u64_id(f.number), 0);
    } else {
      out->insert(tarn::u32_id(f.number), 0);
    }
  }
  auto it = counters_.find(id);
  if (it != counters_.end()) mergeFields(it->second, out);
  return true;
}

tarn::message ModelDevice::setLink(uint32_t id, const tarn::message& request) {
  tarn::message change;
  for (uint32_t f : {kIfRunning, kDisabled}) {
    if (request.has(tarn::bool_id(f))) {
      change.insert(tarn::bool_id(f), request.get(tarn::bool_id(f), false));
    }
  }
  if (request.has(tarn::u32_id(kIfState))) {
    change.insert(tarn::u32_id(kIfState),
                  request.get(tarn::u32_id(kIfState), 0));
  }
  if (change.empty()) {
    return tarn::errorMsg(tarn::kErrMissingField,
                          "give running (bool 0x1000e), disabled (bool "
                          "0xfe000a) or state (u32 0x10003)");
  }
  return setObject(kInterfaces, id, change);
}

tarn::message ModelDevice::runScript(uint32_t id) {
  if (!lists_[kScripts].find(id)) {
    return tarn::errorMsg(tarn::kErrNoObject, "no such script");
  }
  return tarn::message();
}

tarn::message ModelDevice::reboot() {
  startedMs_ = tarn::nowMs();
  return tarn::message();
}

}  // namespace router
