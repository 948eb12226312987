// Notes on error replies.
#include "busclient/explain.h"

#include <stdlib.h>
#include <sys/stat.h>

#include "platform/codes.h"
#include "platform/paths.h"

namespace tarnctl {

namespace {

const uint32_t kAgent = 161;
const uint32_t kCommunities = 1;

// Replies of the agent's community registry, by code and text, and what
// they mean there. `%` stands for the object id of the request.
const struct {
  uint32_t cmd;  // 0: any command
  unsigned code;
  const char* text;
  const char* note;
} kCommunityNotes[] = {
    {0, tarn::kErrNoObject, "", "no community has id %"},
    {tarn::kCmdGetAll, tarn::kErrNoStart, "", "no community has id %, where the list was to start"},
    {tarn::kCmdAddObj, tarn::kErrConflict, "empty script name",
     "that is: the community name is empty; give it a name"},
};

// What the platform's common codes mean, for replies without a text.
const struct {
  unsigned code;
  const char* note;
} kCodeNotes[] = {
    {tarn::kErrNoObject, "no such object"},
    {tarn::kErrMissingField, "a required field is missing"},
    {tarn::kErrConflict, "the request conflicts with what the service holds"},
    {tarn::kErrNoStart, "no object to start the list at"},
    {tarn::kErrDenied, "permission denied"},
};

// Where tarnctl looked for the service, and how to look elsewhere.
std::string socketNote(uint32_t service) {
  const std::string path = tarn::busSocketPath(service);
  const char* root = getenv("TARN_ROOT");
  struct stat st;
  std::string note =
      stat(path.c_str(), &st) == 0
          ? path + " refuses the connection (service not running, or not yours to reach)"
          : "nothing listens at " + path;
  if (root && *root) return note + "; TARN_ROOT=" + root;
  return note + "; TARN_ROOT is unset: set it to the root the services run under, "
                "e.g. TARN_ROOT=.run/root in the source tree after scripts/run";
}

std::string substituteId(const char* note, uint32_t id) {
  std::string s(note);
  const size_t at = s.find('%');
  if (at != std::string::npos) s.replace(at, 1, std::to_string(id));
  return s;
}

}  // namespace

std::string explainError(const tarn::message& request, unsigned code,
                         const std::string& text) {
  const std::vector<uint32_t>& path = request.get(tarn::u32_array_id(tarn::kFieldDst));
  const uint32_t cmd = request.get(tarn::u32_id(tarn::kFieldCmd), 0u);
  std::string note;
  if (code == tarn::kErrNoService && !path.empty()) {
    note = socketNote(path[0]);
  } else if (path.size() == 2 && path[0] == kAgent && path[1] == kCommunities) {
    const uint32_t id = request.get(tarn::u32_id(cmd == tarn::kCmdGetAll ? tarn::kFieldStart
                                                                         : tarn::kFieldObjId),
                                    0u);
    for (const auto& n : kCommunityNotes) {
      if ((n.cmd == 0 || n.cmd == cmd) && n.code == code && text == n.text) {
        note = substituteId(n.note, id);
        break;
      }
    }
  }
  if (note.empty() && text.empty()) {
    for (const auto& n : kCodeNotes) {
      if (n.code == code) note = n.note;
    }
  }
  if (note.empty()) return text;
  return text.empty() ? note : text + " (" + note + ")";
}

}  // namespace tarnctl
