#include "runtime/texte/txt.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/language.h"
#include "runtime/texte/text_store.h"

namespace marigold {
namespace {

constexpr int kNoHandle = -1;
constexpr std::string_view kExtension = ".pag";
constexpr std::string_view kSystemPrefix = "SYSDEF.";

struct Slot {
  int open_count = 0;    // 0: free
  std::string identity;  // language identifier and name joined; empty in a free slot
  TextStore store;
};

struct State {
  bool settings_read = false;
  std::array<Slot, kTextSlots> slots;
  int system_handle = kNoHandle;
};

State state;

// Handles run from 0 to one past the last slot: there the table behaves as if it had one more slot
// that is never filled. Open, close and fetch agree on it, and callers that count slots from 1 get
// nothing instead of a fault.
Slot* used_slot(int handle) {
  if (handle < 0 || handle >= kTextSlots) return nullptr;
  Slot& slot = state.slots[static_cast<std::size_t>(handle)];
  return slot.open_count == 0 ? nullptr : &slot;
}

int handle_of(const Slot& slot) {
  return static_cast<int>(&slot - state.slots.data());
}

// Finds the database along the search path; the path comes without its extension.
bool find_database(std::string& found, const char* language, const char* name) {
  RuntimeString path;
  const std::string file_name = std::string(name).append(kExtension);
  if (lang_find_file(path, file_name, settings().language_searchpath.view(), language) != 0) {
    return false;
  }
  // An element without "%N" can have won with any name, however short.
  found = path.view().substr(0, path.length() - std::min(path.length(), kExtension.size()));
  if (found.size() > kRuntimeStringCapacity) raise_fatal(kErrorStringTooLong);
  return true;
}

// How long a database stays open.
enum class OpenFor { kLong, kManyTexts };

int open_in_free_slot(const std::string& path, std::string identity, OpenFor how) {
  const auto slot = std::ranges::find(state.slots, 0, &Slot::open_count);
  if (slot == state.slots.end()) {
    user_interface().message("txt_open(): too many databases", "");
    return kNoHandle;
  }
  TextStore& store = slot->store;
  if (!(how == OpenFor::kLong ? store.open(path) : store.open_for_many(path))) {
    const std::string reason = std::strerror(errno);
    user_interface().message((path.empty() ? reason : path + ": " + reason).c_str(), "");
    return kNoHandle;
  }
  slot->identity = std::move(identity);
  slot->open_count = 1;
  return handle_of(*slot);
}

int open_database(const char* language, const char* name, OpenFor how) {
  if (!state.settings_read) {
    settings_read();
    state.settings_read = true;
  }
  if (language == nullptr) language = settings().language_identifier.c_str();
  std::string identity = std::string(language).append(name);
  // A free slot has no identity, so an empty one, which names no database, must not find it.
  const auto shared = std::ranges::find(state.slots, identity, &Slot::identity);
  if (shared != state.slots.end() && !identity.empty()) {
    // The one who opened it for many texts is no longer the one who closes it.
    shared->store.read_by_calls();
    ++shared->open_count;
    return handle_of(*shared);
  }
  std::string path;
  if (!find_database(path, language, name)) return kNoHandle;
  return open_in_free_slot(path, std::move(identity), how);
}

const char* fetch_system_text(const char* key) {
  return txt_fetch(state.system_handle, std::string(kSystemPrefix).append(key).c_str());
}

}  // namespace

void txt_start() {
  state = State{};
}

int txt_open(const char* language, const char* name) {
  return open_database(language, name, OpenFor::kLong);
}

void txt_close(int handle) {
  Slot* slot = used_slot(handle);
  if (slot == nullptr || --slot->open_count > 0) return;
  slot->store.close();
  slot->identity.clear();
}

const char* txt_fetch(int handle, const char* id) {
  Slot* slot = used_slot(handle);
  return slot == nullptr ? nullptr : slot->store.fetch(id);
}

void txt_open_sysdef(const char* /*name*/) {
  // Filling the catalogue fetches every entry; by calls of the system that made a run of the
  // command on a translated database a sixth slower.
  state.system_handle = open_database(nullptr, "textdb", OpenFor::kManyTexts);
}

void txt_close_sysdef() {
  txt_close(state.system_handle);
}

void txt_sysdef_text(SystemText& destination, const char* key, std::string_view fallback) {
  const char* text = fetch_system_text(key);
  const std::string_view found = text == nullptr ? fallback : text;
  // What is not written needs no page of its own: most entries of most runs stay as they are built.
  if (destination.view() != found) destination.assign_cut(found);
}

void txt_sysdef_char(char& destination, const char* key, char fallback) {
  const char* text = fetch_system_text(key);
  destination = text == nullptr ? fallback : *text;
}

}  // namespace marigold
