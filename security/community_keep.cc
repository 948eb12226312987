// CommunityKeep: community registry, its bus commands and its persistence.
#include "security/community_keep.h"

#include <algorithm>

#include "engine/request.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "security/crypto.h"
#include "security/v3_server_info.h"

CommunityKeep* communityKeep = nullptr;

namespace {

using tarn::be32_id;
using tarn::bool_id;
using tarn::string_id;
using tarn::u32_id;

// Fields of a community in bus messages and in the store.
const string_id F_NAME(5);
const bool_id F_READ(6);
const bool_id F_WRITE(7);
const be32_id F_ADDRESS(8);
const be32_id F_NETMASK(9);
const string_id F_AUTH_PASSWORD(11);
const string_id F_PRIV_PASSWORD(12);
const u32_id F_SECURITY(15);
const u32_id F_AUTH_PROTOCOL(20);
const u32_id F_PRIV_PROTOCOL(21);
const u32_id F_ID(tarn::kFieldObjId);
const u32_id F_CMD(tarn::kFieldCmd);
const u32_id F_NEXT(tarn::kFieldStart);
const tarn::message_array_id F_LIST(tarn::kFieldObjList);

const char* const STORE_PATH = "/tarn/store/snmp-communities";
const char* const DEFAULT_COMMUNITY = "mallow";
const unsigned PAGE_MAX = 20;

}  // namespace

void CommunityKeep::Item::setCfg(const tarn::message& msg) {
  name = msg.get(F_NAME, name);
  address = msg.get(F_ADDRESS, address);
  netmask = msg.get(F_NETMASK, netmask);
  readAccess = msg.get(F_READ, readAccess);
  writeAccess = msg.get(F_WRITE, writeAccess);
  authPassword = msg.get(F_AUTH_PASSWORD, authPassword);
  privPassword = msg.get(F_PRIV_PASSWORD, privPassword);
  authProtocol = msg.get(F_AUTH_PROTOCOL, authProtocol);
  privProtocol = msg.get(F_PRIV_PROTOCOL, privProtocol);
  // While the registry is loaded at start the engine ID is not known yet;
  // the agent derives all keys once it has read its settings.
  if (v3Engine) regenerateKeys();
  security = static_cast<int>(msg.get(F_SECURITY, static_cast<unsigned>(security)));
}

void CommunityKeep::Item::setAllCfg(const tarn::message& msg) {
  id = msg.get(F_ID, id);
  setCfg(msg);
}

tarn::message CommunityKeep::Item::getCfg() const {
  tarn::message m;
  m.insert(F_ID, id);
  m.insert(F_NAME, name);
  m.insert(F_ADDRESS, address);
  m.insert(F_NETMASK, netmask);
  m.insert(F_READ, readAccess);
  m.insert(F_WRITE, writeAccess);
  m.insert(F_AUTH_PASSWORD, authPassword);
  m.insert(F_PRIV_PASSWORD, privPassword);
  m.insert(F_AUTH_PROTOCOL, authProtocol);
  m.insert(F_PRIV_PROTOCOL, privProtocol);
  m.insert(F_SECURITY, static_cast<unsigned>(security));
  return m;
}

void CommunityKeep::Item::regenerateKeys() {
  const std::string engineId = v3Engine ? v3Engine->engineId : std::string();
  authKey = bKeyToDKey(
      aKeyToBKey(passwordToAKey(authPassword, authProtocol), engineId, authProtocol),
      authProtocol);
  privKey = aKeyToBKey(passwordToAKey(privPassword, authProtocol), engineId, authProtocol);
}

CommunityKeep::CommunityKeep() : store_(STORE_PATH, 5), ids_(0, 0xFFFFFFFE) {}

CommunityKeep::~CommunityKeep() {
  for (Item* item : items_) delete item;
}

void CommunityKeep::init() {
  if (store_.size() != 0) {
    for (const auto& entry : store_) {
      Item* item = new Item;
      item->setAllCfg(entry.second);
      items_.push_back(item);
      ids_.allocate(entry.first);
    }
    return;
  }
  Item* item = new Item;
  item->id = ids_.allocate(0);
  item->name = DEFAULT_COMMUNITY;
  item->readAccess = true;
  store_.set(item->id, item->getCfg());
  items_.push_back(item);
}

CommunityKeep::iterator CommunityKeep::find(unsigned id) {
  return std::find_if(items_.begin(), items_.end(),
                      [id](const Item* i) { return i->id == id; });
}

CommunityKeep::iterator CommunityKeep::find(const std::string& name) {
  return std::find_if(items_.begin(), items_.end(),
                      [&name](const Item* i) { return i->name == name; });
}

CommunityKeep::Item* CommunityKeep::findItem(unsigned id) {
  iterator it = find(id);
  return it == items_.end() ? nullptr : *it;
}

CommunityKeep::Item* CommunityKeep::findItem(const std::string& name) {
  iterator it = find(name);
  return it == items_.end() ? nullptr : *it;
}

bool CommunityKeep::check(const std::string& name, unsigned address) {
  const Item* item = findItem(name);
  return item && ((address ^ item->address) & item->netmask) == 0;
}

bool CommunityKeep::canRead(const std::string& name) {
  const Item* item = findItem(name);
  return item && item->readAccess;
}

bool CommunityKeep::canWrite(const std::string& name) {
  const Item* item = findItem(name);
  return item && item->writeAccess;
}

int CommunityKeep::getSecurity(const std::string& name) {
  const Item* item = findItem(name);
  return item ? item->security : 0;
}

void CommunityKeep::regenerateKeys() {
  if (!v3Engine || v3Engine->engineId.empty()) return;
  for (Item* item : items_) item->regenerateKeys();
}

tarn::message CommunityKeep::getObject(unsigned id) {
  if (const Item* item = findItem(id)) return item->getCfg();
  tarn::message missing;
  missing.insert(F_ID, id);
  missing.insert(u32_id(tarn::kFieldMissing), 1u);
  return missing;
}

tarn::message CommunityKeep::cmdGetObj(const tarn::message&, unsigned id) {
  if (const Item* item = findItem(id)) return item->getCfg();
  return tarn::errorMsg(tarn::kErrNoObject, "");
}

tarn::message CommunityKeep::cmdSetObj(const tarn::message& msg, unsigned id) {
  Item* item = findItem(id);
  if (!item) return tarn::errorMsg(tarn::kErrNoObject, "");
  // Renaming onto another entry's name is refused; an empty name is not.
  if (msg.has(F_NAME)) {
    const Item* other = findItem(msg.get(F_NAME, std::string()));
    if (other && other->id != id)
      return tarn::errorMsg(tarn::kErrConflict, "community with such name already exists");
  }
  tarn::message undo = item->getCfg();
  item->setCfg(msg);
  store_.set(id, item->getCfg());
  notifyChange(id, msg);
  undo.insert(F_CMD, static_cast<unsigned>(tarn::kCmdSetObj));
  sendUndo(msg, undo, "changed snmp community settings");
  return tarn::message();
}

tarn::message CommunityKeep::cmdAddObj(const tarn::message& msg) {
  if (!msg.has(F_NAME)) return tarn::errorMsg(tarn::kErrMissingField, "missing community name");
  const std::string name = msg.get(F_NAME, std::string());
  if (name.empty()) return tarn::errorMsg(tarn::kErrConflict, "empty script name");
  if (findItem(name))
    return tarn::errorMsg(tarn::kErrConflict, "community with such name already exists");
  const unsigned id = msg.has(F_ID) ? ids_.allocate(msg.get(F_ID, 0u)) : ids_.allocate();
  Item* item = new Item;
  item->setAllCfg(msg);
  item->id = id;
  items_.push_back(item);
  store_.set(id, item->getCfg());
  notifyChange(id, msg);
  tarn::message undo;
  undo.insert(F_CMD, static_cast<unsigned>(tarn::kCmdRemoveObj));
  undo.insert(F_ID, id);
  sendUndo(msg, undo, "new snmp community created");
  tarn::message reply;
  reply.insert(F_ID, id);
  return reply;
}

tarn::message CommunityKeep::cmdRemoveObj(const tarn::message& msg, unsigned id) {
  iterator it = find(id);
  if (it == items_.end()) return tarn::errorMsg(tarn::kErrNoObject, "");
  tarn::message undo = (*it)->getCfg();
  undo.insert(F_CMD, static_cast<unsigned>(tarn::kCmdAddObj));
  delete *it;
  items_.erase(it);
  store_.remove(id);
  ids_.free(id);
  notifyChange(id, msg);
  sendUndo(msg, undo, "snmp community removed");
  return tarn::message();
}

tarn::message CommunityKeep::cmdGetAll(const tarn::message&, unsigned start,
                                       unsigned count) {
  iterator it = items_.begin();
  if (start < 0xFFFFFFFF) {
    it = find(start);
    if (it == items_.end()) return tarn::errorMsg(tarn::kErrNoStart, "");
  }
  const unsigned page = (count >= 1 && count <= PAGE_MAX) ? count : PAGE_MAX;
  tarn::message reply;
  std::vector<tarn::flat_message>& list = reply[F_LIST];
  for (; it != items_.end() && list.size() < page; ++it)
    list.push_back(tarn::flat_message((*it)->getCfg()));
  if (it != items_.end()) reply.insert(F_NEXT, (*it)->id);
  return reply;
}
