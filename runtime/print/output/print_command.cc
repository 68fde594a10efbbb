// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "marigold/windows.h"
#include "runtime/core/runtime_string.h"
#include "runtime/core/settings.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/command_pipe.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kLongestQueue = 245;
constexpr std::size_t kLongestPrinter = 247;

// Directories of the fax product, in the order of the search. An environment variable names the
// first one, and the command processor inserts its value.
struct FaxPlace {
  const char* variable;
  std::string_view directory;
};
constexpr FaxPlace kFaxPlaces[] = {
    {"FAXROOT", ""}, {nullptr, "/usr/comfax"}, {nullptr, "/home/comfax"}};
constexpr std::string_view kFaxProgram = "/bin/comfaxpr";
constexpr std::string_view kFaxArguments = " -charset german_germany.ascii";

struct Feed {
  CommandPipe pipe;
  bool lost = false;  // the command did not take all bytes
};

struct State {
  Feed feed;
  Feed behind_fax;
  bool faxing = false;
};
State state;

// Returns a path of any length. As a setting, a path of 250 characters would end the process.
std::string value_of(const char* variable) {
  const char* const value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

// The command processor itself always starts, so the runtime looks for the program first. Without a
// PATH the command processor has a default.
bool in_search_path(std::string_view program) {
  if (std::getenv("PATH") == nullptr) return true;
  const std::string directories = value_of("PATH");
  std::string_view left = directories;
  for (;;) {
    const std::size_t end = std::min(left.find(path_list_separator()), left.size());
    const std::string_view directory = end == 0 ? "." : left.substr(0, end);
    if (command_exists(path_join(directory, program).c_str())) return true;
    if (end == left.size()) return false;
    left.remove_prefix(end + 1);
  }
}

// While windows are on the screen, messages of the command would appear in the middle of a window.
CommandOutput output_while_on_screen() {
  return open_subsystems().window_system ? CommandOutput::kCollected : CommandOutput::kPassedOn;
}

int start(const std::string& command) {
  state.feed.lost = false;
  return state.feed.pipe.start(command.c_str(), output_while_on_screen());
}

// Turns the characters of a UTF-8 command into those of the windows; "?" for others.
std::string as_in_windows(std::string_view text) {
  std::string shown;
  for (std::size_t place = 0; place < text.size(); ++place) {
    const auto byte = static_cast<unsigned char>(text[place]);
    const bool latin = (byte == 0xC2U || byte == 0xC3U) && place + 1 < text.size();
    if (latin) {
      const auto second = static_cast<unsigned char>(text[++place]);
      shown += static_cast<char>((byte & 3U) << 6U | (second & 0x3FU));
    } else if (byte < 0x80U || byte >= 0xC0U) {
      shown += byte < 0x80U ? text[place] : '?';
    }
  }
  return shown;
}

// Turns tabs into blanks, and drops blanks and line ends after the last text.
std::string told_output(CommandPipe& pipe) {
  std::string text = pipe.take_output();
  std::erase(text, '\r');
  std::ranges::replace(text, '\t', ' ');
  text.erase(text.find_last_not_of(" \n") + 1);
  const bool converted =
      open_subsystems().window_system && terminal_charset() == TerminalCharset::kUtf8;
  return converted ? as_in_windows(text) : text;
}

int close_and_tell(CommandPipe& pipe) {
  const int status = pipe.close();
  const std::string text = told_output(pipe);
  if (text.empty()) return status;
  const bool one_line = text.size() <= kScreenColumns && text.find('\n') == std::string::npos;
  if (one_line)
    user_interface().message(text.c_str(), "");
  else
    user_interface().warning(text.c_str());
  return status;
}

int start_fax(const FaxPlace& place) {
  const bool by_name = place.variable != nullptr;
  std::string program = by_name ? value_of(place.variable) : std::string(place.directory);
  program.append(kFaxProgram);
  if (program.size() > kLongestString) return ENAMETOOLONG;
  if (!command_exists(program.c_str())) return ENOENT;
  if (by_name) program = command_path(place.variable, kFaxProgram);
  return start(program.append(kFaxArguments));
}

}  // namespace

std::string printer_command(std::string_view name) {
  if (name.starts_with('#')) return std::string("lp -d").append(name.substr(1, kLongestQueue));
  return std::string("dr ").append(name.substr(0, kLongestPrinter));
}

int open_printer(std::string_view name) {
  const std::string command = printer_command(name);
  close_and_tell(state.feed.pipe);
  if (!in_search_path(command.substr(0, command.find(' ')))) return ENOENT;
  return start(command);
}

bool printer_is_open() {
  return state.feed.pipe.is_open();
}

void write_printer(std::string_view bytes, int& error_flag) {
  error_flag = printer_is_open() ? 0 : 1;
  if (printer_is_open() && state.feed.pipe.write(bytes) != 0) state.feed.lost = true;
}

bool printer_takes_bytes() {
  return printer_is_open() && !state.feed.lost;
}

int close_printer() {
  return close_and_tell(state.feed.pipe);
}

int open_fax() {
  if (!std::exchange(state.faxing, true)) state.behind_fax = std::exchange(state.feed, {});
  close_and_tell(state.feed.pipe);
  int failed = ENOENT;
  for (const FaxPlace& place : kFaxPlaces) {
    const int here = start_fax(place);
    if (here == 0) return 0;
    if (failed == ENOENT) failed = here;
  }
  return failed;
}

int close_fax() {
  const int status = close_and_tell(state.feed.pipe);
  if (std::exchange(state.faxing, false)) state.feed = std::exchange(state.behind_fax, {});
  return status;
}

}  // namespace marigold
