// TableProvider: the source that fills MapTables; TableProviderClient: what
// such a source tells a table.
//
// A provider refills its clients with clear() followed by change() for each
// record; it owns the records, the clients only point at them, and it calls
// clear() on every client before it deletes the records.
#ifndef DATA_TABLE_PROVIDER_H
#define DATA_TABLE_PROVIDER_H

class Data;

class TableProviderClient {
 public:
  virtual void clear() = 0;          // forget all rows
  virtual void change(Data* d) = 0;  // insert or replace the row of d
  virtual void remove(Data* d) = 0;  // drop the row of d
  virtual ~TableProviderClient();
};

class TableProvider {
 public:
  // Carries out a SET on a row's record; true when it was done.
  virtual bool setData(Data* d) = 0;
  // Registers a table to be told of rows; the table is not owned.
  virtual void subscribe(TableProviderClient* client) = 0;
  // Brings the subscribed tables up to date; called before every lookup.
  virtual void updateTables() = 0;
  // The row count without filling the tables, when the source can give it:
  // true and `n` set. The base version cannot: false.
  virtual bool getCountCMD(unsigned& n);
  virtual ~TableProvider();
};

#endif
