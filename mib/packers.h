// Short makers of the packers that the MIB modules register, so that one
// registration fits one line: num(&Record::field, type) and so on. Each
// returns a new packer that lives for the whole process.
#ifndef MIB_PACKERS_H
#define MIB_PACKERS_H

#include <string>
#include <vector>

#include "codec/oid.h"
#include "codec/wire.h"
#include "data/const_packers.h"
#include "data/data_packers.h"

namespace packers {

template <class R>
Packer* num(int R::*m, unsigned type) {
  return new DataNumPacker(field(m), type);
}
template <class R>
Packer* big(unsigned long long R::*m, unsigned type) {
  return new DataBignumPacker(field(m), type);
}
template <class R>
Packer* str(std::string R::*m) {
  return new DataStringPacker(field(m), wire::OCTET_STRING, 0);
}
template <class R>
Packer* raw(std::vector<unsigned char> R::*m, unsigned keyLength = 0) {
  return new DataRawPacker(field(m), wire::OCTET_STRING, keyLength);
}
template <class R>
Packer* ip(unsigned R::*m) {
  return new DataIPPacker(field(m), wire::IP_ADDRESS);
}
template <class R>
Packer* oid(OID R::*m) {
  return new DataOIDPacker(field(m), wire::OBJECT_ID);
}
inline Packer* constNum(int value, unsigned type) {
  return new ConstNumPacker(value, type);
}
inline Packer* constBig(unsigned long long value, unsigned type) {
  return new ConstBignumPacker(value, type);
}
inline Packer* constOid(const OID& value) {
  return new ConstOIDPacker(value, wire::OBJECT_ID);
}

}  // namespace packers

#endif
