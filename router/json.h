// A small JSON reader for model files: integers (no fractions), strings
// with the common escapes, booleans, null, arrays and objects. It reads
// either a whole value into a Json tree, or, so that a file with 100k
// routes never lives in memory as one tree, an array or object one member
// at a time (enter/next/key).
//
// Failures never throw: every call returns false and error() says where
// ("12: expected ':'", the line first).
#ifndef ROUTER_JSON_H
#define ROUTER_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace router {

struct Json {
  enum Type { kNull, kBool, kNumber, kString, kArray, kObject };
  Type type = kNull;
  bool boolean = false;
  bool negative = false;  // numbers: the sign
  uint64_t magnitude = 0; // numbers: the absolute value
  std::string text;       // strings
  std::vector<Json> items;                            // arrays
  std::vector<std::pair<std::string, Json>> members;  // objects, in order

  // The member named key of an object, or null.
  const Json* get(const std::string& key) const;
};

class JsonReader {
 public:
  // The text must outlive the reader.
  explicit JsonReader(std::string_view text) : s_(text) {}

  // Reads one whole value.
  bool value(Json* out);
  // Expects '[' or '{' (open) next and steps into it.
  bool enter(char open);
  // Inside a container closed by close: true in *more when another member
  // follows (after its ',' was taken), false after the close was taken.
  bool next(char close, bool* more);
  // Reads an object member's name and the ':' after it.
  bool key(std::string* out);
  // Peeks at the next value's first character (0 at the end).
  char peek();
  // True when only white space is left.
  bool atEnd();

  const std::string& error() const { return error_; }
  bool fail(const std::string& what);

 private:
  void skipSpace();
  bool string(std::string* out);
  bool number(Json* out);
  bool literal(const char* word);

  std::string_view s_;
  size_t pos_ = 0;
  int depth_ = 0;
  std::vector<bool> first_;  // per open container: no member read yet
  std::string error_;
};

}  // namespace router

#endif  // ROUTER_JSON_H
