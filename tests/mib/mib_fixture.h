// Test fixture for the MIB modules: fake router services on a local looper,
// an empty registry for the module under test, and helpers that read
// registered objects as requests do and run list builders.
#ifndef TESTS_MIB_MIB_FIXTURE_H
#define TESTS_MIB_MIB_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/context.h"
#include "tests/data/fake_service.h"
#include "tests/data/fakes.h"
#include "tests/hex.h"

class MibTest : public ::testing::Test {
 protected:
  // The value of `instance` of the object at `leaf` as BER hex without the
  // name, or "none" when there is no such instance.
  static std::string value(const OID& leaf, const OID& instance = OID{0}) {
    const unsigned char none = 0;
    Context ctx(&none, 0);
    ctx.leafName = leaf;
    ctx.oid = instance;
    if (!leafs.at(leaf)->get(ctx)) return "none";
    const std::vector<unsigned char>& b = ctx.out.data;
    return hex(std::vector<unsigned char>(b.begin() + 2 + b[1], b.end()));
  }

  FakeBus bus;
  ScopedRegistry registry;
};

// A be32 field value of an address held with the first octet most
// significant: its bytes in memory are the dotted octets.
inline uint32_t be32(unsigned ip) {
  uint32_t v;
  unsigned char* b = reinterpret_cast<unsigned char*>(&v);
  for (int i = 0; i < 4; ++i) b[i] = static_cast<unsigned char>(ip >> (24 - 8 * i));
  return v;
}

// The records a list builder makes of one object; the caller frees them.
template <class R>
std::vector<R*> built(void (*builder)(const tarn::message&, std::vector<Data*>*), const tarn::message& m) {
  std::vector<Data*> out;
  builder(m, &out);
  std::vector<R*> rows;
  for (Data* d : out) rows.push_back(static_cast<R*>(d));
  return rows;
}

template <class R>
void freeAll(const std::vector<R*>& rows) {
  for (R* r : rows) delete r;
}

#endif
