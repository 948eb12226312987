// DataRawPacker: byte vectors served through the string family.
#include "data/data_packers.h"

#include "engine/context.h"

void DataRawPacker::pack(Context& ctx, const Data* d) const {
  static const unsigned char kNone = 0;  // a valid pointer for no bytes
  const std::vector<unsigned char>& bytes = d->*member_;
  ctx.out.add(bytes.empty() ? &kNone : bytes.data(),
              static_cast<unsigned>(bytes.size()), type);
}

std::string DataRawPacker::get(const Data* d) const {
  const std::vector<unsigned char>& bytes = d->*member_;
  return std::string(bytes.begin(), bytes.end());
}

void DataRawPacker::set(Data* d, const std::string& value) {
  (d->*member_).assign(value.begin(), value.end());
}
