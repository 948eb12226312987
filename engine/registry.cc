// The MIB registry and its registration functions.
#include "engine/registry.h"

#include "data/const_packers.h"
#include "engine/leaf.h"

std::map<OID, Leaf*> leafs;

void addLeaf(const OID& oid, Leaf* leaf) { leafs[oid] = leaf; }

void addScalarLeaf(const OID& oid, Packer* packer, DataProvider* provider) {
  addLeaf(oid, new ScalarLeaf(packer, provider));
}

void addColumnarLeaf(const OID& oid, Packer* packer, Table* table) {
  addLeaf(oid, new ColumnarLeaf(packer, table));
}

void addScalarConstNumLeaf(const OID& oid, int value, unsigned type) {
  addScalarLeaf(oid, new ConstNumPacker(value, type), nullptr);
}

void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned type) {
  addScalarLeaf(oid, new ConstOIDPacker(value, type), nullptr);
}

void addScalarConstStringLeaf(const OID& oid, const std::string& value,
                              unsigned type) {
  addScalarLeaf(oid, new ConstStringPacker(value, type, 0), nullptr);
}
