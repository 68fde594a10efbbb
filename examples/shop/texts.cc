// SPDX-License-Identifier: GPL-3.0-or-later
#include "texts.h"

#include <marigold/code_sets.h>
#include <marigold/core.h>
#include <marigold/texts.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace shop {
namespace {

// Windows show ISO 8859-1 everywhere. Standard error is the terminal's own, whose character set is
// the locale's.
bool terminal_is_utf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string locale = value;
    return locale.find("UTF-8") != std::string::npos || locale.find("utf8") != std::string::npos;
  }
  return false;
}

}  // namespace

std::string text(const char* id, const Values& values) {
  std::string result;
  if (marigold::textdb_module_text(result, id) == id) marigold::textdb_text(result, id);
  std::size_t place = 0;
  for (const std::string& value : values) {
    place = result.find("%s", place);
    if (place == std::string::npos) break;
    result.replace(place, 2, value);
    place += value.size();
  }
  return result;
}

std::string money_text(double amount) {
  const std::string edited = marigold::edit_number("-###.###.##0,00", amount);
  return edited.substr(edited.find_first_not_of(' '));
}

std::string day_text(int date) {
  return marigold::date_text(date).c_str();
}

int order_of_day(int date) {
  const int sorted = marigold::date_to_sort_layout(date);
  return sorted < 700000 ? sorted + 1000000 : sorted;
}

void tell(const char* id, const Values& values) {
  marigold::user_interface().message(text(id, values).c_str(), "");
}

void warn(const char* id, const Values& values) {
  marigold::user_interface().warning(text(id, values).c_str());
}

bool confirm(const char* question, const Values& values) {
  const std::string no = text("NO");
  const std::string yes = text("YES");
  const std::array<const char*, 2> answers{no.c_str(), yes.c_str()};
  return marigold::user_interface().choose(text(question, values).c_str(), answers, "") == 1;
}

void tell_below_the_screen(const std::string& sentence) {
  marigold::user_interface().hand_terminal_back();
  const std::string shown = terminal_is_utf8() ? marigold::latin1_as_utf8(sentence) : sentence;
  std::fprintf(stderr, "%s\n", shown.c_str());
}

}  // namespace shop
