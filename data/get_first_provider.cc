// GetFirstProvider: the first accepted object of a list.
#include "data/get_first_provider.h"

#include "data/get_all_provider.h"

GetFirstProvider::GetFirstProvider(Builder builder,
                                   const std::vector<unsigned>& path)
    : path(path), builder(builder), firstObjId(0xFFFFFFFF) {}

Data* GetFirstProvider::getData() {
  Data* found = nullptr;
  tarn::message msg = getAllRequest(path);
  walkPages(msg, [this, &found](const tarn::message& object) {
    found = builder(object);
    if (!found) return true;
    firstObjId = object.get(tarn::u32_id(tarn::kFieldObjId), 0xFFFFFFFF);
    return false;
  });
  return found;
}

bool GetFirstProvider::setData(Data*) { return false; }

unsigned GetFirstProvider::getFirstObjId() {
  accessData();
  return firstObjId;
}
