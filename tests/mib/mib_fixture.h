// Test fixture for the MIB modules: fake router services on a local looper,
// an empty registry for the module under test (restored afterwards, with
// every leaf and packer registered meanwhile freed), and helpers that read
// registered objects as requests do.
#ifndef TESTS_MIB_MIB_FIXTURE_H
#define TESTS_MIB_MIB_FIXTURE_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "data/packer.h"
#include "data/table.h"
#include "engine/context.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "tests/data/fake_service.h"
#include "tests/hex.h"

class MibTest : public ::testing::Test {
 protected:
  MibTest() { saved.swap(leafs); }
  ~MibTest() override {
    freeLeaves();
    leafs.swap(saved);
  }
  static void freeLeaves() {
    for (auto& entry : leafs) {
      delete entry.second->packer;
      delete entry.second;
    }
    leafs.clear();
  }

  // The value of `instance` of the object at `leaf` as BER hex without the
  // name, or "none" when there is no such instance.
  static std::string value(const OID& leaf, const OID& instance) {
    const unsigned char none = 0;
    Context ctx(&none, 0);
    ctx.leafName = leaf;
    ctx.oid = instance;
    if (!leafs.at(leaf)->get(ctx)) return "none";
    const std::vector<unsigned char>& b = ctx.out.data;
    return hex(std::vector<unsigned char>(b.begin() + 2 + b[1], b.end()));
  }
  static std::string scalar(const char* oid) { return value(OID(oid), OID{0}); }

  // The row indexes of a column's table in walk order: ".1 .2".
  static std::string walk(const OID& column) {
    std::string rows;
    Table* t = static_cast<ColumnarLeaf*>(leafs.at(column))->table;
    for (Table::Row r = t->getNext(OID()); r.second; r = t->getNext(r.first))
      rows += (rows.empty() ? "" : " ") + r.first.str();
    return rows;
  }

  FakeBus bus;
  std::map<OID, Leaf*> saved;
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
std::vector<R*> built(void (*builder)(const tarn::message&, std::vector<Data*>*),
                      const tarn::message& m) {
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
