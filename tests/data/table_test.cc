// MapTable: key order, key collapse, unkeyable rows, refused SET and count.
#include <gtest/gtest.h>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/data_packers.h"
#include "data/map_table.h"
#include "tests/data/fakes.h"

namespace {

struct Entry : Data {
  Entry(int id, const std::string& name) : id(id), name(name) {}
  int id;
  std::string name;
};

// Indexes compare as unsigned arcs; of two rows with one key the later wins.
TEST(MapTable, KeyOrderDuplicatesAndUnkeyableRows) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataNumPacker id(field(&Entry::id), wire::INTEGER);
  table.addIndex(&id);
  Entry *r30 = provider.add(new Entry(30, "")), *r2 = provider.add(new Entry(2, ""));
  provider.add(new Entry(10, ""));
  Entry* r10 = provider.add(new Entry(10, ""));
  struct Lookup { OID from, next; Data* nextRec; Data* exact; } cases[] = {
      {OID(), OID{2}, r2, nullptr},
      {OID{2}, OID{10}, r10, r2},
      {OID{5}, OID{10}, r10, nullptr},
      {OID{10, 0}, OID{30}, r30, nullptr},
      {OID{30}, OID(), nullptr, r30},
      {OID{4000000000u}, OID(), nullptr, nullptr},
  };
  for (const Lookup& c : cases) {
    EXPECT_EQ(table.getNext(c.from), Table::Row(c.next, c.nextRec)) << c.from.dotted();
    EXPECT_EQ(table.get(c.from), c.exact) << c.from.dotted();
  }
  EXPECT_EQ(provider.updates, 12);  // every lookup brings the table up to date
  EXPECT_EQ(table.count(), 3u);
  provider.cheapCount = 42;  // the provider's own count is preferred
  EXPECT_EQ(table.count(), 42u);
  // The provider accepted the write; the table reports failure all the same.
  EXPECT_FALSE(table.set(OID{2}, r2));
  EXPECT_EQ(provider.sets, std::vector<Data*>{r2});
  // A row without a valid key is counted but never walked.
  FakeTableProvider macs;
  MapTable byMac(&macs);
  DataStringPacker mac(field(&Entry::name), wire::OCTET_STRING, 6);
  byMac.addIndex(&mac);
  macs.add(new Entry(1, "12345"));
  diag::Capture capture;
  EXPECT_EQ(byMac.getNext(OID()).second, nullptr);
  EXPECT_EQ(byMac.count(), 1u);
  EXPECT_EQ(capture.err(), "inconsistent key length\n");
}

}  // namespace
