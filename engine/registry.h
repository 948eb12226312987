// The MIB registry: every served object's leaf under its OID, and the
// registration functions that the MIB modules and plug-ins call at start-up.
//
// A second registration at one OID replaces the first, which is not freed.
// The registry takes the leaves but never frees them, nor the packers,
// providers and tables they point at: all live for the whole process. The
// map is filled before serving starts and only read afterwards.
#ifndef ENGINE_REGISTRY_H
#define ENGINE_REGISTRY_H

#include <map>
#include <string>

#include "codec/oid.h"

class DataProvider;
class Leaf;
class Packer;
class Table;

extern std::map<OID, Leaf*> leafs;

void addLeaf(const OID& oid, Leaf* leaf);
// A scalar (instance .0) whose record comes from `provider` (may be null
// for a constant packer).
void addScalarLeaf(const OID& oid, Packer* packer, DataProvider* provider);
// A table column registered at entry OID + column number.
void addColumnarLeaf(const OID& oid, Packer* packer, Table* table);
// Constant scalars: a new constant packer and no provider.
void addScalarConstNumLeaf(const OID& oid, int value, unsigned type);
void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned type);
void addScalarConstStringLeaf(const OID& oid, const std::string& value,
                              unsigned type);

#endif
