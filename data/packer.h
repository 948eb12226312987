// Packer: the codec between one value (a record's field or a constant) and
// the SNMP world, and the five value families built on it.
//
// pack() appends the value as one BER element, with the identifier octet
// `type` given at construction (never checked against the family), to the
// reply in ctx.out; unpack() reads the current binding's value from
// ctx.in into the record, whatever its identifier octet, and stores nothing
// when it fails to decode (the stream reports that). getAsKey() and
// setFromKey() turn the value into table-index arcs and back; setFromKey()
// returns the arcs left after this packer's own, or an empty index on
// failure with the record unchanged. Some directions are deliberately not
// inverse of each other; each family says which.
//
// A family implements pack/unpack/getAsKey/setFromKey on top of its get()
// and set(); the constant and record-field packers (const_packers.h,
// data_packers.h) implement only get() and set(). Packers are created once
// at start-up and never freed; a constant packer accepts a null record.
#ifndef DATA_PACKER_H
#define DATA_PACKER_H

#include <string>

#include "codec/oid.h"

struct Context;
class Data;

class Packer {
 public:
  explicit Packer(unsigned type) : type(type) {}
  virtual void pack(Context& ctx, const Data* d) const = 0;
  virtual void unpack(Data* d, Context& ctx) = 0;
  // Defaults for values that cannot index a table: a "BUG: ..." line on
  // the error stream and an empty index.
  virtual OID getAsKey(const Data* d) const;
  // Appends getAsKey(d) to *key. The number and address families do it
  // without a temporary OID: a table's fill calls it for every row.
  virtual void appendKey(const Data* d, OID* key) const;
  virtual OID setFromKey(Data* d, const OID& index);
  virtual ~Packer();

  unsigned type;  // BER identifier octet written by pack()
};

// Byte strings. keyLength 0: the index is the length arc then one arc per
// byte. keyLength n > 0: exactly n arcs, one per byte; a string of another
// length gives "inconsistent key length" and an empty index. setFromKey with
// a fixed keyLength still reads its n arcs as length-prefixed (the first
// byte taken as the length); kept as the system has always done it.
// unpack() logs "unpacked s = <string>" on the error stream.
class StringPacker : public Packer {
 public:
  StringPacker(unsigned type, unsigned keyLength)
      : Packer(type), keyLength(keyLength) {}
  void pack(Context& ctx, const Data* d) const override;
  void unpack(Data* d, Context& ctx) override;
  OID getAsKey(const Data* d) const override;
  OID setFromKey(Data* d, const OID& index) override;
  virtual std::string get(const Data* d) const = 0;
  virtual void set(Data* d, const std::string& value) = 0;

  unsigned keyLength;
};

// Signed 32-bit numbers, packed as signed whatever the type (a Counter32 of
// 0xFFFFFFFF goes out as the one byte FF). The key is one arc: the 32 bits
// read as unsigned.
class NumPacker : public Packer {
 public:
  explicit NumPacker(unsigned type) : Packer(type) {}
  void pack(Context& ctx, const Data* d) const override;
  void unpack(Data* d, Context& ctx) override;
  OID getAsKey(const Data* d) const override;
  void appendKey(const Data* d, OID* key) const override;
  OID setFromKey(Data* d, const OID& index) override;
  virtual int get(const Data* d) const = 0;
  virtual void set(Data* d, int value) = 0;
};

// Unsigned 64-bit numbers (Counter64); not usable as an index.
class BignumPacker : public Packer {
 public:
  explicit BignumPacker(unsigned type) : Packer(type) {}
  void pack(Context& ctx, const Data* d) const override;
  void unpack(Data* d, Context& ctx) override;
  virtual unsigned long long get(const Data* d) const = 0;
  virtual void set(Data* d, unsigned long long value) = 0;
};

// Object identifiers; the key is always length-prefixed.
class OIDPacker : public Packer {
 public:
  explicit OIDPacker(unsigned type) : Packer(type) {}
  void pack(Context& ctx, const Data* d) const override;
  void unpack(Data* d, Context& ctx) override;
  OID getAsKey(const Data* d) const override;
  OID setFromKey(Data* d, const OID& index) override;
  virtual const OID& get(const Data* d) const = 0;
  virtual void set(Data* d, const OID& value) = 0;
};

// IPv4 addresses held with the first octet most significant. pack() and
// getAsKey() put that octet first; setFromKey() puts the first arc in the
// least significant byte (key 10.0.0.1 stores 0x0100000A), kept as the
// system has always done it. unpack() takes only a 4-byte string.
class IPPacker : public Packer {
 public:
  explicit IPPacker(unsigned type) : Packer(type) {}
  void pack(Context& ctx, const Data* d) const override;
  void unpack(Data* d, Context& ctx) override;
  OID getAsKey(const Data* d) const override;
  void appendKey(const Data* d, OID* key) const override;
  OID setFromKey(Data* d, const OID& index) override;
  virtual unsigned get(const Data* d) const = 0;
  virtual void set(Data* d, unsigned value) = 0;
};

#endif
