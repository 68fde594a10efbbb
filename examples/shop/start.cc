// SPDX-License-Identifier: GPL-3.0-or-later
#include "start.h"

#include <marigold/data.h>
#include <marigold/texts.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

constexpr int kDataClass = 1;     // PATH in the definitions
constexpr int kCriticalPath = 1;  // PATH 1 in PATHVER.DES
constexpr const char* kListFiles[] = {"DEFAULT.DAT", "LISTEN.dat", "LISTEN.idx", "BLOECKE.dat",
                                      "BLOECKE.idx"};

std::string setting(const char* name, const char* when_empty) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : when_empty;
}

bool is_there(const std::string& directory, const char* name) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::path(directory) / name, ignored);
}

bool has_texts() {
  const int handle = txt_open(nullptr, "textdb");
  const bool found = txt_fetch(handle, "SHOP.TITLE") != nullptr;
  txt_close(handle);
  return found;
}

std::string data_directory() {
  std::string directory = setting("DATA_DIRECTORY", "./data/%p");
  const std::size_t place = directory.find("%p");
  if (place != std::string::npos) directory.replace(place, 2, std::to_string(kDataClass));
  return directory;
}

struct Explanation {
  void (*report)(int number) = nullptr;  // the runtime's
  const char* id = "";
};

Explanation explanation;

// From 1000 on system errors are those of the operating system (marigold_system_errors(3)).
std::string reason_of(int number) {
  constexpr int kOperatingSystem = 1000;
  return number > kOperatingSystem ? std::strerror(number - kOperatingSystem)
                                   : text("FAULT_NUMBER", {std::to_string(number)});
}

void explain_and_report(int number) {
  user_interface().fatal = explanation.report;
  tell_below_the_screen(text(explanation.id, {reason_of(number)}));
  explanation.report(number);
}

// The check wants the directory for itself for a moment. When other shops work there they have it
// too, and the operator must not be asked about them.
bool check_quietly() {
  bool (*const ask)(const char*, const char*) = user_interface().ask_for_lock;
  user_interface().ask_for_lock = [](const char*, const char*) { return false; };
  const bool ready = critical_path_check();
  user_interface().ask_for_lock = ask;
  return ready;
}

}  // namespace

std::string missing_surroundings() {
  if (!has_texts())
    return "shop: No text database with the texts of the shop was found for " +
           setting("LANGUAGE_IDENTIFIER", "english_us.8859") +
           ". Start the shop in its folder, or set LANGUAGE_SEARCHPATH.";
  const std::string definitions = setting("DEFINITION_DIRECTORY", "./definitions");
  if (!is_there(definitions, "FILESHOP.DES"))
    return "shop: " + definitions +
           " has no FILESHOP.DES. Start the shop in its folder, or set DEFINITION_DIRECTORY.";
  const std::string lists = setting("PRINT_DIRECTORY", "./print");
  if (!std::ranges::all_of(kListFiles, [&](const char* name) { return is_there(lists, name); }))
    return "shop: The lists are missing in " + lists +
           ". Compile them (marigold lists compile lists/*.list -o " + lists +
           ") and put DEFAULT.DAT beside them, or set PRINT_DIRECTORY.";
  return "";
}

std::string wrong_version() {
  const std::string directory = data_directory();
  critical_path_set(kCriticalPath, directory);
  for (;;) {
    if (check_quietly()) return "";
    switch (critical_path_state(kCriticalPath)) {
      case CriticalPathState::kInUse:
        // Shared with other shops, which have checked the version; or a conversion is at work, and
        // the runtime shows the operator that the shop waits for its end.
        if (path_lock_try_shared(kDataClass) == kDataDone) return "";
        path_lock_shared(kDataClass);
        path_lock_release(kDataClass);
        break;
      case CriticalPathState::kNew:
        return text("START_NEW", {directory});
      default:
        return text("START_CONVERT", {directory});
    }
  }
}

void explain_faults(const char* id) {
  explanation.id = id;
  if (explanation.report == nullptr)
    explanation.report = std::exchange(user_interface().fatal, explain_and_report);
}

}  // namespace shop
