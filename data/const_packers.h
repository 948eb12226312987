// Constant packers: a value fixed at registration, one class per family.
//
// get() returns the constant whatever the record (which may be null);
// set() does nothing, so a SET on a constant object leaves it unchanged and
// the reply carries the constant.
#ifndef DATA_CONST_PACKERS_H
#define DATA_CONST_PACKERS_H

#include <string>

#include "codec/oid.h"
#include "data/packer.h"

class ConstStringPacker : public StringPacker {
 public:
  ConstStringPacker(const std::string& value, unsigned type, unsigned keyLength)
      : StringPacker(type, keyLength), value_(value) {}
  std::string get(const Data*) const override { return value_; }
  void set(Data*, const std::string&) override {}

 private:
  const std::string value_;
};

class ConstNumPacker : public NumPacker {
 public:
  ConstNumPacker(int value, unsigned type) : NumPacker(type), value_(value) {}
  int get(const Data*) const override { return value_; }
  void set(Data*, int) override {}

 private:
  const int value_;
};

class ConstBignumPacker : public BignumPacker {
 public:
  ConstBignumPacker(unsigned long long value, unsigned type)
      : BignumPacker(type), value_(value) {}
  unsigned long long get(const Data*) const override { return value_; }
  void set(Data*, unsigned long long) override {}

 private:
  const unsigned long long value_;
};

class ConstOIDPacker : public OIDPacker {
 public:
  ConstOIDPacker(const OID& value, unsigned type)
      : OIDPacker(type), value_(value) {}
  const OID& get(const Data*) const override { return value_; }
  void set(Data*, const OID&) override {}

 private:
  const OID value_;
};

class ConstIPPacker : public IPPacker {
 public:
  ConstIPPacker(unsigned value, unsigned type)
      : IPPacker(type), value_(value) {}
  unsigned get(const Data*) const override { return value_; }
  void set(Data*, unsigned) override {}

 private:
  const unsigned value_;
};

#endif
