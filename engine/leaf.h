// Leaf: one registered MIB object (a scalar or a table column) answering
// for every instance below its OID.
//
// The request handlers cut the leaf's OID from the request name (ctx.oid is
// then the instance; during SET it is the full name) and set ctx.leafName
// to the leaf's OID. Each operation returns true when it wrote a complete
// variable binding (name and value) into ctx.out, false when the instance
// does not exist here, with nothing written. A failed SET inside a provider
// or table is not reported: the binding is answered with the record's value.
// Leaves do not own their packer, provider or table; all live for the
// whole process.
#ifndef ENGINE_LEAF_H
#define ENGINE_LEAF_H

struct Context;
class DataProvider;
class Packer;
class Table;

class Leaf {
 public:
  explicit Leaf(Packer* packer) : packer(packer) {}
  virtual bool get(Context& ctx) = 0;
  virtual bool getNext(Context& ctx) = 0;
  virtual bool set(Context& ctx) = 0;
  virtual ~Leaf();

  Packer* packer;
};

// A scalar: the one instance .0, its record from a provider. Without a
// provider the packer must be a constant one; a SET then succeeds and
// answers with the unchanged constant.
class ScalarLeaf : public Leaf {
 public:
  ScalarLeaf(Packer* packer, DataProvider* provider)
      : Leaf(packer), provider(provider) {}
  bool get(Context& ctx) override;
  bool getNext(Context& ctx) override;
  bool set(Context& ctx) override;

  DataProvider* provider;  // may be null

 private:
  // Writes leafName.0 and the value; false when the provider has no record.
  bool answer(Context& ctx);
};

// A table column: the instance is the row index.
class ColumnarLeaf : public Leaf {
 public:
  ColumnarLeaf(Packer* packer, Table* table) : Leaf(packer), table(table) {}
  bool get(Context& ctx) override;
  bool getNext(Context& ctx) override;
  bool set(Context& ctx) override;

  Table* table;  // never null
};

#endif
