// DataProvider: hands out the current record of a scalar group and takes a
// changed record back on SET. ProxyDataProvider: a provider that asks a
// plain function each time.
//
// A provider keeps ownership of the records it hands out; a caller must not
// keep the pointer beyond the request it serves.
#ifndef DATA_DATA_PROVIDER_H
#define DATA_DATA_PROVIDER_H

class Data;

class DataProvider {
 public:
  // The current record, or null when none can be had.
  virtual Data* get() = 0;
  // Takes back a record that get() returned and a SET changed; true when
  // the change was carried out.
  virtual bool set(Data* d) = 0;
  virtual ~DataProvider();
};

// Calls `make` on every get() and returns its result as is. The function
// keeps ownership of what it returns (typically a static record). Read-only.
class ProxyDataProvider : public DataProvider {
 public:
  explicit ProxyDataProvider(Data* (*make)());
  Data* get() override;
  bool set(Data* d) override;  // false

 private:
  Data* (*make_)();
};

#endif
