// Data: the base of every record that providers deliver and packers read.
//
// A MIB module declares one record class per group or table row, derived
// from Data, holding plain fields (int, unsigned, unsigned long long,
// std::string, byte vectors, OID). Packers address those fields through
// member pointers of the base class, made with field(), so one packer class
// serves every record class. Records are owned by their providers.
#ifndef DATA_DATA_H
#define DATA_DATA_H

#include <type_traits>

namespace tarn {
class message;
}

class Data {
 public:
  virtual ~Data();
  // Writes the record's settable fields into a message that asks a service
  // to change them. The base version writes nothing.
  virtual void reverseBuild(tarn::message& msg);
};

// Turns a member pointer of a record class into the member pointer of the
// base that packers hold: new DataNumPacker(field(&IfRow::mtu), wire::INTEGER).
// The packer must then only ever be handed records of that class (or of a
// class derived from it); Data must be a non-virtual, unambiguous base.
template <class T, class Record>
T Data::*field(T Record::*member) {
  static_assert(std::is_base_of<Data, Record>::value,
                "field() takes a member of a record derived from Data");
  return static_cast<T Data::*>(member);
}

#endif
