// CommunityKeep: community registry, its bus commands and its persistence.
#include "security/community_keep.h"

#include <algorithm>

#include "platform/codes.h"
#include "platform/errors.h"
#include "security/community_fields.h"
#include "security/crypto.h"
#include "security/v3_server_info.h"

CommunityKeep* communityKeep = nullptr;

namespace {

using tarn::be32_id;
using tarn::bool_id;
using tarn::string_id;
using tarn::u32_id;

const u32_id kId(tarn::kFieldObjId);
const u32_id kCmd(tarn::kFieldCmd);
const u32_id kNext(tarn::kFieldStart);
const tarn::message_array_id kList(tarn::kFieldObjList);

const char* const kStorePath = "/tarn/store/snmp-communities";
const char* const kDefaultCommunity = "mallow";
const unsigned kPageMax = 20;

}  // namespace

void CommunityKeep::Item::setCfg(const tarn::message& msg) {
  name = msg.get(communityf::NAME, name);
  address = msg.get(communityf::ADDRESS, address);
  netmask = msg.get(communityf::NETMASK, netmask);
  readAccess = msg.get(communityf::READ, readAccess);
  writeAccess = msg.get(communityf::WRITE, writeAccess);
  authPassword = msg.get(communityf::AUTH_PASSWORD, authPassword);
  privPassword = msg.get(communityf::PRIV_PASSWORD, privPassword);
  authProtocol = msg.get(communityf::AUTH_PROTOCOL, authProtocol);
  privProtocol = msg.get(communityf::PRIV_PROTOCOL, privProtocol);
  // While the registry is loaded at start the engine ID is not known yet;
  // the agent derives all keys once it has read its settings.
  if (v3Engine) regenerateKeys();
  security = static_cast<int>(msg.get(communityf::SECURITY, static_cast<unsigned>(security)));
}

void CommunityKeep::Item::setAllCfg(const tarn::message& msg) {
  id = msg.get(kId, id);
  setCfg(msg);
}

tarn::message CommunityKeep::Item::getCfg() const {
  tarn::message m;
  m.insert(kId, id);
  m.insert(communityf::NAME, name);
  m.insert(communityf::ADDRESS, address);
  m.insert(communityf::NETMASK, netmask);
  m.insert(communityf::READ, readAccess);
  m.insert(communityf::WRITE, writeAccess);
  m.insert(communityf::AUTH_PASSWORD, authPassword);
  m.insert(communityf::PRIV_PASSWORD, privPassword);
  m.insert(communityf::AUTH_PROTOCOL, authProtocol);
  m.insert(communityf::PRIV_PROTOCOL, privProtocol);
  m.insert(communityf::SECURITY, static_cast<unsigned>(security));
  return m;
}

void CommunityKeep::Item::regenerateKeys() {
  const std::string engineId = v3Engine ? v3Engine->engineId : std::string();
  authKey = bKeyToDKey(
      aKeyToBKey(passwordToAKey(authPassword, authProtocol), engineId, authProtocol),
      authProtocol);
  privKey = aKeyToBKey(passwordToAKey(privPassword, authProtocol), engineId, authProtocol);
}

CommunityKeep::CommunityKeep() : store_(kStorePath, 5), ids_(0, 0xFFFFFFFE) {}

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
  item->name = kDefaultCommunity;
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
  missing.insert(kId, id);
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
  if (msg.has(communityf::NAME)) {
    const Item* other = findItem(msg.get(communityf::NAME, std::string()));
    if (other && other->id != id)
      return tarn::errorMsg(tarn::kErrConflict, "community with such name already exists");
  }
  tarn::message undo = item->getCfg();
  item->setCfg(msg);
  store_.set(id, item->getCfg());
  notifyChange(id, msg);
  undo.insert(kCmd, static_cast<unsigned>(tarn::kCmdSetObj));
  sendUndo(msg, undo, "changed snmp community settings");
  return tarn::message();
}

tarn::message CommunityKeep::cmdAddObj(const tarn::message& msg) {
  if (!msg.has(communityf::NAME)) return tarn::errorMsg(tarn::kErrMissingField, "missing community name");
  const std::string name = msg.get(communityf::NAME, std::string());
  if (name.empty()) return tarn::errorMsg(tarn::kErrConflict, "empty script name");
  if (findItem(name))
    return tarn::errorMsg(tarn::kErrConflict, "community with such name already exists");
  const unsigned id = msg.has(kId) ? ids_.allocate(msg.get(kId, 0u)) : ids_.allocate();
  Item* item = new Item;
  item->setAllCfg(msg);
  item->id = id;
  items_.push_back(item);
  store_.set(id, item->getCfg());
  notifyChange(id, msg);
  tarn::message undo;
  undo.insert(kCmd, static_cast<unsigned>(tarn::kCmdRemoveObj));
  undo.insert(kId, id);
  sendUndo(msg, undo, "new snmp community created");
  tarn::message reply;
  reply.insert(kId, id);
  return reply;
}

tarn::message CommunityKeep::cmdRemoveObj(const tarn::message& msg, unsigned id) {
  iterator it = find(id);
  if (it == items_.end()) return tarn::errorMsg(tarn::kErrNoObject, "");
  tarn::message undo = (*it)->getCfg();
  undo.insert(kCmd, static_cast<unsigned>(tarn::kCmdAddObj));
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
  const unsigned page = (count >= 1 && count <= kPageMax) ? count : kPageMax;
  tarn::message reply;
  tarn::flat_list& list = reply[kList];
  for (; it != items_.end() && list.size() < page; ++it)
    list.push_back((*it)->getCfg());
  if (it != items_.end()) reply.insert(kNext, (*it)->id);
  return reply;
}
