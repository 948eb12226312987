// The flat codec: exact bytes of every field kind, and refusal of bad input.
#include "platform/message.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/wire.h"

using namespace tarn;

namespace {

// Builds expected flat bytes piece by piece, integers in native order.
struct B {
  bytes b;
  B& u8(uint8_t v) { b.push_back(v); return *this; }
  B& u32(uint32_t v) { wire::put32(b, v); return *this; }
  B& u64(uint64_t v) { wire::put64(b, v); return *this; }
  B& raw(std::initializer_list<uint8_t> v) { b.insert(b.end(), v); return *this; }
};

message one(const std::function<void(message&)>& fill) {
  message m;
  fill(m);
  return m;
}

struct KindCase { const char* name; message m; bytes expected; };

// Flat bytes of a message with one field of tag `tag`.
B F(uint32_t tag) { return B().u32(1).u32(tag); }

std::vector<KindCase> kindCases() {
  message inner = one([](message& m) { m.insert(u32_id(1), 2); });
  bytes innerFlat = F(0x08000001).u32(2).b;
  B nested = F(0xA8000009).u32(1).u32(innerFlat.size());
  nested.b.insert(nested.b.end(), innerFlat.begin(), innerFlat.end());
  // be32 holds network order: 10.0.0.1 is 0A 00 00 01 on every host.
  const uint32_t addr = wire::get32(B().raw({10, 0, 0, 1}).b.data());
  return {
      {"bool", one([](message& m) { m.insert(bool_id(5), true); }), F(0x00000005).u8(1).b},
      {"u32", one([](message& m) { m.insert(u32_id(0xff0007), 0xfe0002); }), F(0x08ff0007).u32(0xfe0002).b},
      {"be32", one([&](message& m) { m.insert(be32_id(1), addr); }), F(0x08000001).raw({0x0A, 0, 0, 1}).b},
      {"u64", one([](message& m) { m.insert(u64_id(2), 0x1122334455667788ull); }),
       F(0x10000002).u64(0x1122334455667788ull).b},
      {"string", one([](message& m) { m.insert(string_id(3), "ab"); }), F(0x20000003).u32(2).raw({'a', 'b'}).b},
      {"raw", one([](message& m) { m.insert(raw_id(4), bytes{0xde, 0xad}); }), F(0x30000004).u32(2).raw({0xde, 0xad}).b},
      {"bool[]", one([](message& m) { m.insert(bool_array_id(6), {true, false}); }), F(0x80000006).u32(2).raw({1, 0}).b},
      {"u32[]", one([](message& m) { m.insert_vector(u32_array_id(0xff0001), 20, 0); }),
       F(0x88ff0001).u32(2).u32(20).u32(0).b},
      {"u64[]", one([](message& m) { m.insert(u64_array_id(7), {9}); }), F(0x90000007).u32(1).u64(9).b},
      {"string[]", one([](message& m) { m.insert(string_array_id(8), {"x", ""}); }),
       F(0xA0000008).u32(2).u32(1).raw({'x'}).u32(0).b},
      {"message[]", one([&](message& m) { m[message_array_id(9)].push_back(inner); }), nested.b},
      {"raw[]", one([](message& m) { m.insert(raw_array_id(10), {{7}}); }), F(0xB000000A).u32(1).u32(1).raw({7}).b},
  };
}

TEST(Message, ExactBytesAndRoundTripPerKind) {
  for (const KindCase& c : kindCases()) {
    bytes flat, again;
    c.m.flatten(flat);
    EXPECT_EQ(c.expected, flat) << c.name;
    message back;
    ASSERT_TRUE(message::parse(flat.data(), flat.size(), &back)) << c.name;
    back.flatten(again);
    EXPECT_EQ(flat, again) << c.name;
  }
}

// A message array built from messages, from flat bytes (also its own
// elements, whose buffer moves as it grows) and from a message holding the
// list itself reads back element by element and flattens as the bus wants.
TEST(Message, MessageArrayBuildsAndReadsInItsWireForm) {
  message a = one([](message& m) { m.insert(u32_id(1), 2); });
  message b = one([](message& m) { m.insert(string_id(3), "ab"); });
  bytes flatA, flatB;
  a.flatten(flatA);
  b.flatten(flatB);
  message m;
  flat_list& list = m[message_array_id(9)];
  list.push_back(a);
  list.push_back(flatB);
  for (int i = 0; i < 20; ++i) list.push_back(list.front());
  m[message_array_id(9)].push_back(m);

  const flat_list& got = m.get(message_array_id(9));
  ASSERT_EQ(23u, got.size());
  std::vector<bytes> elements;
  for (flat_view v : got) elements.emplace_back(v.data(), v.data() + v.size());
  ASSERT_EQ(23u, elements.size());
  EXPECT_EQ(flatA, elements[0]);
  EXPECT_EQ(flatB, elements[1]);
  EXPECT_EQ(flatA, elements[21]);
  message nested(elements[22]);
  EXPECT_EQ(22u, nested.size(message_array_id(9)));

  B expected = F(0xA8000009).u32(23);
  for (const bytes& e : elements) {
    expected.u32(e.size()).b.insert(expected.b.end(), e.begin(), e.end());
  }
  bytes flat;
  m.flatten(flat);
  EXPECT_EQ(expected.b, flat);
  message back;
  ASSERT_TRUE(message::parse(flat.data(), flat.size(), &back));
  EXPECT_TRUE(back.get(message_array_id(9)) == got);
  flat_list copy = got;
  copy.push_back(a);
  EXPECT_TRUE(copy != got);
}

// A field id met twice in flat input keeps its first place and takes the
// last value, as inserting it twice does.
TEST(Message, RepeatedFieldTakesTheLastValueInItsFirstPlace) {
  const bytes input = B().u32(3).u32(0x08000001).u32(7).u32(0x20000002).u32(1).raw({'x'})
                          .u32(0x08000001).u32(9).b;
  message m;
  ASSERT_TRUE(message::parse(input.data(), input.size(), &m));
  ASSERT_EQ(2u, m.fields().size());
  EXPECT_EQ(0x08000001u, m.fields()[0].id);
  EXPECT_EQ(9u, m.get(u32_id(1), 0));
  EXPECT_EQ("x", m.get(string_id(2), std::string()));
}

TEST(Message, EveryStrictPrefixIsRefused) {
  message m;
  for (const KindCase& c : kindCases()) {
    for (const message::field& f : c.m.fields()) m.insertTagged(f.id, f.v);
  }
  bytes flat;
  m.flatten(flat);
  message out;
  ASSERT_TRUE(message::parse(flat.data(), flat.size(), &out));
  for (size_t n = 0; n < flat.size(); ++n) {
    EXPECT_FALSE(message::parse(flat.data(), n, &out)) << n;
    EXPECT_TRUE(out.empty());
  }
}

TEST(Message, MalformedInputIsRefused) {
  struct Case { const char* name; bytes input; } cases[] = {
      {"field count past end", B().u32(1000).b},
      {"unknown tag", F(0x28000001).u32(0).b},
      {"bool not 0 or 1", F(0x00000001).u8(2).b},
      {"string length past end", F(0x20000001).u32(0xFFFFFFFF).b},
      {"u32 array count past end", F(0x88000001).u32(0x40000000).b},
      {"u64 array count past end", F(0x90000001).u32(3).u64(1).b},
      {"string array count huge", F(0xA0000001).u32(0xFFFFFFFF).b},
      {"nested message invalid", F(0xA8000001).u32(1).u32(4).u32(7).b},
      {"trailing bytes", B().u32(0).u8(0).b},
  };
  for (const Case& c : cases) {
    message out;
    EXPECT_FALSE(message::parse(c.input.data(), c.input.size(), &out)) << c.name;
    message::flat_message flat;
    flat.assign(c.input.begin(), c.input.end());
    EXPECT_TRUE(message(flat).empty()) << c.name;
  }
}

}  // namespace
