// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/texts.h"

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/texte/txt.h"

namespace marigold {

using namespace inner;

namespace {

constexpr const char* kDatabase = "textdb";

struct State {
  int handle = -1;
  std::string module_prefix;
};

State state;

std::string& text_or_key(std::string& output, const char* id, const char* key) {
  const char* text = txt_fetch(state.handle, id);
  return output.assign(text == nullptr ? key : text);
}

}  // namespace

void textdb_setup(const char* module) {
  state.handle = txt_open(settings().language_identifier.c_str(), kDatabase);
  if (state.handle < 0) {
    const std::string text = std::string(systxt_apldefloaderr.view()).append(kDatabase);
    user_interface().warning(text.c_str());
    return;
  }
  state.module_prefix.assign(module).push_back('.');
}

std::string& textdb_text(std::string& output, const char* key) {
  return text_or_key(output, key, key);
}

std::string& textdb_module_text(std::string& output, const char* key) {
  const std::string id = state.module_prefix + key;
  return text_or_key(output, id.c_str(), key);
}

std::string textdb_filled(const char* id, TextValues values) {
  return with_values(screen_text(id), values);
}

void textdb_tell(const char* id, TextValues values) {
  user_interface().message(textdb_filled(id, values).c_str(), "");
}

void textdb_warn(const char* id, TextValues values) {
  user_interface().warning(textdb_filled(id, values).c_str());
}

bool textdb_confirm(const char* id, TextValues values) {
  return screen_confirm(textdb_filled(id, values));
}

}  // namespace marigold
