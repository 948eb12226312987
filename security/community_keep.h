// CommunityKeep: the registry of communities, which are also the SNMPv3
// users.
//
// Each entry says from which source addresses a request may come, whether it
// may read and write, and for SNMPv3 at which security level and with which
// passwords. The registry is bus handler 1 of the agent (snmp::ID_COMMUNITIES):
// other services list, add, change and remove entries with the standard
// object commands, and every change is stored at once in
// "/tarn/store/snmp-communities" (one object per community, keyed by id),
// announced to subscribers and recorded with an undo step. Passwords are kept
// in plain text in the store (mode 0600); the derived keys live in memory
// only and never appear in diagnostics.
//
// Lookups by name are exact and case-sensitive and take the first match in
// item order. The one registry is reached through `communityKeep`; it lives
// for the whole process.
#ifndef SECURITY_COMMUNITY_KEEP_H
#define SECURITY_COMMUNITY_KEEP_H

#include <string>
#include <vector>

#include "platform/allocator.h"
#include "platform/handler.h"
#include "platform/store.h"

namespace snmp {
constexpr unsigned ID_COMMUNITIES = 1;  // bus handler id of the registry
}

class CommunityKeep : public tarn::Handler {
 public:
  struct Item {
    unsigned id = 0xFFFFFFFF;
    std::string name;
    unsigned address = 0;  // IPv4, network order
    unsigned netmask = 0;  // IPv4, network order
    bool readAccess = false;
    bool writeAccess = false;
    int security = 0;           // 0 none, 1 authentication, 2 auth + privacy
    unsigned authProtocol = 0;  // index into `methods`: 0 MD5, 1 SHA-1, 2-5 SHA-2
    std::vector<unsigned char> authKey;  // HMAC pad blocks, derived
    unsigned privProtocol = 0;  // 1 AES-128; any other value DES
    std::vector<unsigned char> privKey;  // localized key, derived
    std::string authPassword;
    std::string privPassword;

    // Takes fields 5, 8, 9, 6, 7, 11, 12, 20, 21 when present, derives the
    // keys again once the agent's engine exists, then takes field 15.
    void setCfg(const tarn::message& msg);
    // The id from 0xfe0001 (kept if absent), then setCfg.
    void setAllCfg(const tarn::message& msg);
    // 0xfe0001, 5, 8, 9, 6, 7, 11, 12, 20, 21, 15, in that order.
    tarn::message getCfg() const;
    // Derives both keys from the passwords and the agent's engine ID with
    // the authentication protocol's digest.
    void regenerateKeys();
  };
  typedef std::vector<Item*>::iterator iterator;

  // Opens the store; init() loads it.
  CommunityKeep();
  ~CommunityKeep() override;

  // Loads the stored communities, or creates and stores the default one,
  // "mallow" (read-only, any source, no security), when the store is empty.
  void init();

  iterator find(unsigned id);
  iterator find(const std::string& name);
  iterator end() { return items_.end(); }
  Item* findItem(unsigned id);
  Item* findItem(const std::string& name);
  const std::vector<Item*>& items() const { return items_; }

  // An entry of that name exists and admits the address
  // ((address ^ entry address) & netmask == 0).
  bool check(const std::string& name, unsigned address);
  bool canRead(const std::string& name);
  bool canWrite(const std::string& name);
  // The security the entry demands; 0 for an unknown name.
  int getSecurity(const std::string& name);
  // Derives every entry's keys again, if the agent has an engine ID.
  void regenerateKeys();

  tarn::message getObject(unsigned id) override;
  tarn::message cmdGetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdSetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdGetAll(const tarn::message& msg, unsigned start,
                          unsigned count) override;
  tarn::message cmdAddObj(const tarn::message& msg) override;
  tarn::message cmdRemoveObj(const tarn::message& msg, unsigned id) override;

 private:
  tarn::Store store_;
  tarn::Allocator ids_;
  std::vector<Item*> items_;  // owned, in load or add order
};

extern CommunityKeep* communityKeep;

#endif
