// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/screen_text.h"

#include <array>

#include "runtime/core/user_interface.h"

namespace marigold::inner {
namespace {

// Whether the database has a text for the id.
bool find(const char* id, std::string& text) {
  if (textdb_module_text(text, id) != id) return true;
  return textdb_text(text, id) != id;
}

}  // namespace

std::string screen_text(const char* id) {
  std::string text;
  if (id != nullptr) find(id, text);
  return text;
}

std::string screen_text_or(const char* id, const char* built_in) {
  std::string text;
  return find(id, text) ? text : built_in;
}

std::string with_values(std::string text, TextValues values) {
  constexpr std::string_view kPlace = "%s";
  std::size_t place = 0;
  for (const std::string_view value : values) {
    place = text.find(kPlace, place);
    if (place == std::string::npos) break;
    text.replace(place, kPlace.size(), value);
    place += value.size();
  }
  return text;
}

bool screen_confirm(const std::string& question) {
  const std::string no = screen_text_or("NO", "No");
  const std::string yes = screen_text_or("YES", "Yes");
  const std::array<const char*, 2> answers{no.c_str(), yes.c_str()};
  return user_interface().choose(question.c_str(), answers, "") == 1;
}

std::vector<std::string> screen_text_lines(const char* id) {
  std::vector<std::string> lines;
  std::string text;
  if (id == nullptr || *id == '\0') return lines;
  if (find(id, text)) {
    lines.push_back(text);
    return lines;
  }
  const std::string chain = std::string(id) + "+";
  for (std::string next = chain; find(next.c_str(), text);) {
    lines.push_back(text);
    next = chain + std::to_string(lines.size());
  }
  return lines;
}

}  // namespace marigold::inner
