// Record-field packers: the value is a field of the record, named by a
// member pointer of Data (see field() in data/data.h).
//
// get() and set() read and write that field of the record they are given,
// which must be non-null and of the class the member pointer came from.
// Numbers that a DataNumPacker reads are declared `int` in the records.
#ifndef DATA_DATA_PACKERS_H
#define DATA_DATA_PACKERS_H

#include <string>
#include <vector>

#include "codec/oid.h"
#include "data/data.h"
#include "data/packer.h"

class DataStringPacker : public StringPacker {
 public:
  DataStringPacker(std::string Data::*member, unsigned type, unsigned keyLength)
      : StringPacker(type, keyLength), member_(member) {}
  std::string get(const Data* d) const override { return d->*member_; }
  void set(Data* d, const std::string& value) override { d->*member_ = value; }

 private:
  std::string Data::*const member_;
};

// A byte vector served as a string (MAC addresses and other raw octets).
class DataRawPacker : public StringPacker {
 public:
  DataRawPacker(std::vector<unsigned char> Data::*member, unsigned type,
                unsigned keyLength)
      : StringPacker(type, keyLength), member_(member) {}
  // Writes the bytes straight from the record, without a string copy.
  void pack(Context& ctx, const Data* d) const override;
  std::string get(const Data* d) const override;
  void set(Data* d, const std::string& value) override;

 private:
  std::vector<unsigned char> Data::*const member_;
};

class DataNumPacker : public NumPacker {
 public:
  DataNumPacker(int Data::*member, unsigned type)
      : NumPacker(type), member_(member) {}
  int get(const Data* d) const override { return d->*member_; }
  void set(Data* d, int value) override { d->*member_ = value; }

 private:
  int Data::*const member_;
};

class DataBignumPacker : public BignumPacker {
 public:
  DataBignumPacker(unsigned long long Data::*member, unsigned type)
      : BignumPacker(type), member_(member) {}
  unsigned long long get(const Data* d) const override { return d->*member_; }
  void set(Data* d, unsigned long long value) override { d->*member_ = value; }

 private:
  unsigned long long Data::*const member_;
};

class DataOIDPacker : public OIDPacker {
 public:
  DataOIDPacker(OID Data::*member, unsigned type)
      : OIDPacker(type), member_(member) {}
  const OID& get(const Data* d) const override { return d->*member_; }
  void set(Data* d, const OID& value) override { d->*member_ = value; }

 private:
  OID Data::*const member_;
};

class DataIPPacker : public IPPacker {
 public:
  DataIPPacker(unsigned Data::*member, unsigned type)
      : IPPacker(type), member_(member) {}
  unsigned get(const Data* d) const override { return d->*member_; }
  void set(Data* d, unsigned value) override { d->*member_ = value; }

 private:
  unsigned Data::*const member_;
};

#endif
