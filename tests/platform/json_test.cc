// The JSON reader: values as written, every refusal with its line under
// both sets of rules, and members read one at a time.
#include "platform/json.h"

#include <gtest/gtest.h>

using namespace tarn;

namespace {

const JsonRules kAny;
const JsonRules kStrict = {true, true};

TEST(JsonReader, ReadsValuesAsWritten) {
  JsonValue v;
  std::string err;
  ASSERT_TRUE(parseJson(
      "{\"n\": [-2147483648, 18446744073709551615, 0],\n"
      " \"s\": \"\\u00e9\\ud83d\\ude00\\\"\\n\", \"b\": [true, false, null], \"s\": {}}",
      kAny, &v, &err)) << err;
  ASSERT_EQ(4u, v.members.size());  // a name given twice is kept twice
  const JsonValue& n = v.members[0].second;
  ASSERT_EQ(3u, n.items.size());
  EXPECT_TRUE(n.items[0].negative);
  EXPECT_EQ(2147483648u, n.items[0].magnitude);
  EXPECT_FALSE(n.items[1].negative);
  EXPECT_EQ(UINT64_MAX, n.items[1].magnitude);
  EXPECT_EQ("\xc3\xa9\xf0\x9f\x98\x80\"\n", v.get("s")->text);  // the first "s"
  EXPECT_EQ(JsonValue::kObject, v.members[3].second.type);
  const JsonValue& b = *v.get("b");
  ASSERT_EQ(3u, b.items.size());
  EXPECT_TRUE(b.items[0].boolean);
  EXPECT_EQ(JsonValue::kBool, b.items[1].type);
  EXPECT_EQ(JsonValue::kNull, b.items[2].type);
}

TEST(JsonReader, RefusesWithTheLineAndTheReason) {
  const std::string deep = std::string(65, '[') + std::string(65, ']');
  struct { std::string text; const JsonRules& rules; const char* error; } cases[] = {
      {"", kAny, "1: unexpected end"},
      {"[1,\n2,\n]", kAny, "3: trailing ','"},
      {"{\"a\": 1,\n}", kAny, "2: trailing ','"},
      {"[1 2]", kAny, "1: expected ',' or ']'"},
      {"{\"a\": 1 \"b\": 2}", kAny, "1: expected ',' or '}'"},
      {"{a: 1}", kAny, "1: expected a member name"},
      {"{\"a\" 1}", kAny, "1: expected ':'"},
      {"[tru]", kAny, "1: unexpected character"},
      {"[+1]", kAny, "1: unexpected character"},
      {"1 2", kAny, "1: more after the end of the value"},
      {"[-]", kAny, "1: bad number"},
      {"1.5", kAny, "1: only whole numbers are allowed"},
      {"1e3", kAny, "1: only whole numbers are allowed"},
      {"18446744073709551616", kAny, "1: number too large"},
      {"\"a\tb\"", kAny, "1: control character in string"},
      {"\"\\x\"", kAny, "1: bad escape in string"},
      {"\"\\u12\"", kAny, "1: short \\u escape"},
      {"\"\\u12g4\"", kAny, "1: bad \\u escape"},
      {"\"\\ud83d\"", kAny, "1: lone high surrogate in a \\u escape"},
      {"\"\\ud83d\\u0041\"", kAny, "1: lone high surrogate in a \\u escape"},
      {"\"\\ude00\"", kAny, "1: lone low surrogate in a \\u escape"},
      {"\"abc", kAny, "1: unterminated string"},
      {deep, kAny, "1: nested too deeply"},
      {"[0,\n-1]", kStrict, "2: negative number"},
      {"{\"a\": 1,\n\"a\": 1}", kStrict, "2: member \"a\" given twice"},
      {"{\"a\": {\"a\": 1}, \"b\": [{\"a\": 1}, {\"a\": 2}]}", kStrict, ""},
  };
  for (const auto& c : cases) {
    JsonValue v;
    std::string err;
    EXPECT_EQ(c.error[0] == 0, parseJson(c.text, c.rules, &v, &err)) << c.text;
    EXPECT_EQ(c.error, err) << c.text;
  }
  // Cut anywhere, a text fails with a reason (a model file is mapped, with
  // no terminator after its last byte).
  const std::string whole = "{\"a\": [-1, \"\\u00e9\\ud83d\\ude00\", true, null, {}]}";
  for (size_t n = 0; n < whole.size(); ++n) {
    JsonValue v;
    std::string err;
    EXPECT_FALSE(parseJson(std::string_view(whole).substr(0, n), kAny, &v, &err)) << n;
    EXPECT_FALSE(err.empty()) << n;
  }
}

TEST(JsonReader, ReadsMembersOneAtATimeAndKeepsTheFirstFailure) {
  JsonReader r("{\"a\": [1, {\"x\": 2}],\n\"b\": 3}");
  std::string key;
  bool more = false;
  ASSERT_TRUE(r.enter('{'));
  ASSERT_TRUE(r.next('}', &more) && more);
  ASSERT_TRUE(r.key(&key));
  EXPECT_EQ("a", key);
  ASSERT_TRUE(r.enter('['));
  std::vector<JsonValue::Type> types;
  JsonValue item;
  while (r.next(']', &more) && more && r.value(&item)) types.push_back(item.type);
  EXPECT_EQ((std::vector<JsonValue::Type>{JsonValue::kNumber, JsonValue::kObject}), types);
  ASSERT_TRUE(r.next('}', &more) && more);
  ASSERT_TRUE(r.key(&key));
  EXPECT_FALSE(r.enter('['));
  EXPECT_FALSE(r.fail("a later failure"));
  EXPECT_EQ("2: expected '['", r.error());
}

}  // namespace
