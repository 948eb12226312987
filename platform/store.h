// tarn::Store: persistent objects (id -> message) kept in one file.
//
// The path is a platform path ("/tarn/store/snmpd"), mapped under TARN_ROOT;
// the directory is created mode 0700 and the file mode 0600 (it holds
// passwords). Every set and remove rewrites the whole file: write
// <file>.tmp, fsync it, rename it over <file>, fsync the directory. When set
// or remove returns true the change is on disk, and after a crash at any
// moment the file holds either the old or the new state.
//
// A file that cannot be parsed is renamed to <file>.corrupt, with one
// diagnostic line, and the store starts empty.
//
// File layout (native byte order, like the bus): "TSTR", u32 version 1,
// u32 object count, then per object u32 id, u32 length, flat message; then a
// u32 FNV-1a checksum of everything before it.
//
// The second constructor argument is accepted for compatibility and has no
// effect.
#ifndef PLATFORM_STORE_H
#define PLATFORM_STORE_H

#include <map>
#include <string>

#include "platform/message.h"

namespace tarn {

class Store {
 public:
  typedef std::map<unsigned, message> Objects;
  typedef Objects::const_iterator const_iterator;

  Store(const std::string& path, unsigned n);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The stored message of id, or an empty one.
  message get(unsigned id) const;
  // Stores m as id and writes the file; false (with a diagnostic) if the
  // file could not be written, in which case memory holds the change but
  // the disk the previous state.
  bool set(unsigned id, const message& m);
  bool remove(unsigned id);

  // Entries in ascending id order: it->first is the id, it->second the
  // message. Iterators stay valid until the entry is removed.
  const_iterator find(unsigned id) const { return objects_.find(id); }
  const_iterator begin() const { return objects_.begin(); }
  const_iterator end() const { return objects_.end(); }
  size_t size() const { return objects_.size(); }
  const std::string& file() const { return file_; }

 private:
  void load();
  bool save();

  std::string file_;
  Objects objects_;
};

}  // namespace tarn

#endif  // PLATFORM_STORE_H
