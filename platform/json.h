// The JSON reader of the programs that take JSON files (tarn-routerd's
// model files, tarnctl's import files) and the value it reads, which
// tarnctl also builds for its output.
//
// Numbers are whole (a fraction or an exponent is refused), kept as a sign
// and a 64-bit magnitude. Strings are octet strings; \u escapes read as
// UTF-8, a surrogate pair as the one character it names, a lone surrogate
// is refused. Containers nest at most 64 deep.
//
// The reader reads either a whole value into a JsonValue tree, or, so that
// a model of a million routes never lives in memory as one tree, an array
// or object one member at a time (enter/next/key).
//
// Failures never throw: every call returns false and error() says where,
// the line first ("12: expected ':'"). The first failure is the one kept.
#ifndef PLATFORM_JSON_H
#define PLATFORM_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn {

struct JsonValue {
  enum Type { kNull, kBool, kNumber, kString, kArray, kObject };
  Type type = kNull;
  bool boolean = false;
  bool negative = false;   // numbers: the sign
  uint64_t magnitude = 0;  // numbers: the absolute value
  std::string text;        // strings
  std::vector<JsonValue> items;                            // arrays
  std::vector<std::pair<std::string, JsonValue>> members;  // objects, in order

  static JsonValue of(bool b);
  static JsonValue of(uint64_t n);
  static JsonValue of(const std::string& s);
  static JsonValue array();
  static JsonValue object();
  // Appends a member (objects) and returns it.
  JsonValue& add(const std::string& key, JsonValue v);
  // The first member named key of an object, or null.
  const JsonValue* get(const std::string& key) const;
};

// What a reader refuses beyond malformed JSON, for a reader that expects
// neither. Both off: any whole number reads, and an object keeps every
// member of a name given twice.
struct JsonRules {
  bool refuseNegative = false;        // "negative number"
  bool refuseDuplicateNames = false;  // "member \"x\" given twice"; whole
                                      // values only, not enter/next/key
};

class JsonReader {
 public:
  // The text must outlive the reader.
  explicit JsonReader(std::string_view text, JsonRules rules = JsonRules())
      : s_(text), rules_(rules) {}

  // Reads one whole value.
  bool value(JsonValue* out);
  // Expects '[' or '{' (open) next and steps into it.
  bool enter(char open);
  // Inside a container closed by close: true in *more when another member
  // follows (after its ',' was taken), false after the close was taken.
  bool next(char close, bool* more);
  // Reads an object member's name and the ':' after it.
  bool key(std::string* out);
  // True when only white space is left.
  bool atEnd();

  const std::string& error() const { return error_; }
  // Records what at the current line, unless a failure is already kept;
  // returns false.
  bool fail(const std::string& what);

 private:
  void skipSpace();
  char peek();
  bool name(std::string* out);
  bool colon();
  bool string(std::string* out);
  bool hex4(unsigned* out);
  bool number(JsonValue* out);
  bool literal(const char* word);

  std::string_view s_;
  JsonRules rules_;
  size_t pos_ = 0;
  int depth_ = 0;
  std::vector<bool> first_;  // per open container: no member read yet
  std::string error_;
};

// Reads a text that holds one whole value and nothing after it. False with
// *err set ("3: expected ':'") on a failure.
bool parseJson(std::string_view text, const JsonRules& rules, JsonValue* out,
               std::string* err);

}  // namespace tarn

#endif  // PLATFORM_JSON_H
