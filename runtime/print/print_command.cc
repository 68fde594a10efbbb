#include "runtime/print/print_command.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "runtime/core/settings.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/command_pipe.h"
#include "runtime/wi/screen_row.h"

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

struct State {
  CommandPipe pipe;
  CommandPipe behind_fax;
  bool faxing = false;
};
State state;

std::string value_of(const char* variable) {
  RuntimeString value;
  settings_read_variable(variable, value);
  return std::string(value.view());
}

// On a screen that is held, the command's messages would stand in the middle of a window.
CommandOutput output_while_on_screen() {
  return open_subsystems().window_system ? CommandOutput::kCollected : CommandOutput::kPassedOn;
}

// The characters that a UTF-8 command writes as those of the windows; "?" for others.
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

// Blanks stand for tabs; blank lines and line ends behind the last line go.
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
  // The command processor itself always starts.
  if (!command_exists(program.c_str())) return ENOENT;
  if (by_name) program = std::string("$").append(place.variable).append(kFaxProgram);
  return state.pipe.start(program.append(kFaxArguments).c_str(), output_while_on_screen());
}

}  // namespace

std::string printer_command(std::string_view name) {
  if (name.starts_with('#')) return std::string("lp -d").append(name.substr(1, kLongestQueue));
  return std::string("dr ").append(name.substr(0, kLongestPrinter));
}

int open_printer(std::string_view name) {
  close_and_tell(state.pipe);
  return state.pipe.start(printer_command(name).c_str(), output_while_on_screen());
}

void write_printer(std::string_view bytes, int& error_flag) {
  error_flag = state.pipe.is_open() ? 0 : 1;
  // A command that no longer reads is not noticed here; its status tells.
  if (state.pipe.is_open()) static_cast<void>(state.pipe.write(bytes));
}

int close_printer() {
  return close_and_tell(state.pipe);
}

int open_fax() {
  if (!std::exchange(state.faxing, true)) state.behind_fax = std::move(state.pipe);
  close_and_tell(state.pipe);
  int failed = ENOENT;
  for (const FaxPlace& place : kFaxPlaces) {
    failed = start_fax(place);
    if (failed == 0) break;
  }
  return failed;
}

int close_fax() {
  const int status = close_and_tell(state.pipe);
  if (std::exchange(state.faxing, false)) state.pipe = std::move(state.behind_fax);
  return status;
}

}  // namespace marigold
