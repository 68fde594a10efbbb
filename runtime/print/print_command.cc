#include "runtime/print/print_command.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "runtime/core/runtime_string.h"
#include "runtime/platform/command_pipe.h"

namespace marigold {
namespace {

constexpr std::size_t kLongestQueue = 245;
constexpr std::size_t kLongestPrinter = 247;

// Where the fax product may be, in the order in which it is looked for. The first place is named by
// the environment, and the command processor puts the name in.
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

// A path of any length: as a setting, one of 250 characters would end the process.
std::string value_of(const char* variable) {
  const char* const value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

// The command processor itself always starts, so its search is made before. Without a PATH it has
// one of its own.
bool in_search_path(std::string_view program) {
  if (std::getenv("PATH") == nullptr) return true;
  const std::string directories = value_of("PATH");
  std::string_view left = directories;
  for (;;) {
    const std::size_t end = std::min(left.find(':'), left.size());
    const std::string_view directory = end == 0 ? "." : left.substr(0, end);
    if (command_exists(std::string(directory).append("/").append(program).c_str())) return true;
    if (end == left.size()) return false;
    left.remove_prefix(end + 1);
  }
}

int start(const std::string& command) {
  state.feed.lost = false;
  return state.feed.pipe.start(command.c_str());
}

int start_fax(const FaxPlace& place) {
  const bool by_name = place.variable != nullptr;
  std::string program = by_name ? value_of(place.variable) : std::string(place.directory);
  program.append(kFaxProgram);
  if (program.size() > kLongestString) return ENAMETOOLONG;
  if (!command_exists(program.c_str())) return ENOENT;
  // In quotes: its directory may have blanks in its name.
  if (by_name) program = std::string("\"$").append(place.variable).append("\"").append(kFaxProgram);
  return start(program.append(kFaxArguments));
}

}  // namespace

std::string printer_command(std::string_view name) {
  if (name.starts_with('#')) return std::string("lp -d").append(name.substr(1, kLongestQueue));
  return std::string("dr ").append(name.substr(0, kLongestPrinter));
}

int open_printer(std::string_view name) {
  const std::string command = printer_command(name);
  state.feed.pipe.close();
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
  return state.feed.pipe.close();
}

int open_fax() {
  if (!std::exchange(state.faxing, true)) state.behind_fax = std::exchange(state.feed, {});
  int failed = ENOENT;
  for (const FaxPlace& place : kFaxPlaces) {
    const int here = start_fax(place);
    if (here == 0) return 0;
    if (failed == ENOENT) failed = here;
  }
  return failed;
}

int close_fax() {
  const int status = state.feed.pipe.close();
  if (std::exchange(state.faxing, false)) state.feed = std::exchange(state.behind_fax, {});
  return status;
}

}  // namespace marigold
