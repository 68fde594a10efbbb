// SPDX-License-Identifier: GPL-3.0-or-later
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

using namespace inner;

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

// Returns null for a handle outside the slots. Open, close and fetch agree on that, so a caller
// that counts slots from 1 gets no text for slot 10 instead of a fault.
Slot* used_slot(int handle) {
  if (handle < 0 || handle >= kTextSlots) return nullptr;
  Slot& slot = state.slots[static_cast<std::size_t>(handle)];
  return slot.open_count == 0 ? nullptr : &slot;
}

int handle_of(const Slot& slot) {
  return static_cast<int>(&slot - state.slots.data());
}

// Finds the database along the search path and gives its path without the extension.
bool find_database(std::string& found, const char* language, const char* name) {
  RuntimeString path;
  const std::string file_name = std::string(name).append(kExtension);
  if (lang_find_file(path, file_name, settings().language_searchpath.view(), language) != 0) {
    return false;
  }
  // An element without "%N" gives the same path for any name, and the path may be shorter than the
  // extension.
  found = path.view().substr(0, path.length() - std::min(path.length(), kExtension.size()));
  if (found.size() > kRuntimeStringCapacity) raise_fatal(kErrorStringTooLong);
  return true;
}

// Time for which a database stays open.
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
  // A free slot has an empty identity. An empty language and name give an empty identity too, which
  // must not match a free slot.
  const auto shared = std::ranges::find(state.slots, identity, &Slot::identity);
  if (shared != state.slots.end() && !identity.empty()) {
    // The user that opened the database for many texts is no longer the last one to close it.
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

void inner::txt_start() {
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

void inner::txt_open_sysdef(const char* /*name*/) {
  // Filling the catalogue fetches every entry. With system calls a run of the command on a
  // translated database was a sixth slower.
  state.system_handle = open_database(nullptr, "textdb", OpenFor::kManyTexts);
}

void inner::txt_close_sysdef() {
  txt_close(state.system_handle);
}

void inner::txt_sysdef_text(SystemText& destination, const char* key, std::string_view fallback) {
  const char* text = fetch_system_text(key);
  const std::string_view found = text == nullptr ? fallback : text;
  // Writes only a text that differs: an unwritten page needs no memory of its own, and most entries
  // of most runs keep their built-in texts.
  if (destination.view() != found) destination.assign_cut(found);
}

void inner::txt_sysdef_char(char& destination, const char* key, char fallback) {
  const char* text = fetch_system_text(key);
  destination = text == nullptr ? fallback : *text;
}

}  // namespace marigold
