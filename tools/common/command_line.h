// SPDX-License-Identifier: GPL-3.0-or-later
// Describes a tool's commands, words and options, parses its command line and runs the chosen
// command.
//
// All variables that words and options set outlive the parsing. Names, help and value names are
// copied. The source behind this header is the only one that knows the parser: its templates take
// longer to compile than all commands.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace marigold::inner {

// A word or an option of a command. A copy refers to the same one; valid as long as the tool.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option* option) : option_(option) {}

  CommandOption& required();
  CommandOption& excludes(CommandOption other);
  // Accepts only integers from `lowest` to `highest`.
  CommandOption& range(int lowest, int highest);
  // Sets the variable to this value and shows it in the help.
  CommandOption& initial(const char* value);
  // Of an option with several values: it has one or up to `most` of them.
  CommandOption& at_most(int most);
  // Of an option with several values: it has one each time that it is given.
  CommandOption& repeated();

  // Returns true if the command line has it; known when the command runs.
  [[nodiscard]] bool given() const;

 private:
  CLI::Option* option_;
};

// A command, or a group of commands. A copy refers to the same one; valid as long as the tool.
class Command {
 public:
  // Adds a group, which does nothing by itself: the user chooses one of its commands.
  Command group(const char* name, const char* help);
  Command command(const char* name, const char* help);

  // Adds a word that is known by its place; with a list all words up to the next one's.
  CommandOption word(const char* name, std::string& value, const char* help);
  CommandOption word(const char* name, std::vector<std::string>& values, const char* help);
  CommandOption word(const char* name, int& value, const char* help);

  // Adds an option, "--set" or "-o,--output", whose value is called `value_name` in the help.
  CommandOption option(const char* name, const char* value_name, std::string& value,
                       const char* help);
  CommandOption option(const char* name, const char* value_name, std::optional<std::string>& value,
                       const char* help);
  CommandOption option(const char* name, const char* value_name, std::vector<std::string>& values,
                       const char* help);
  CommandOption option(const char* name, const char* value_name, int& value, const char* help);

  // Adds an option without a value, which sets a variable or calls a function.
  CommandOption flag(const char* name, bool& set, const char* help);
  CommandOption flag(const char* name, std::function<void()> chosen, const char* help);

  // Ends the command's help.
  void footer(const char* text);
  // Runs the command and returns its exit status (report.h).
  void action(std::function<int()> action);

 protected:
  Command(CLI::App* app, int* status) : app_(app), status_(status) {}

 private:
  CLI::App* app_;
  int* status_;  // of the tool
};

// The tool itself, a group of commands.
class Tool : public Command {
 public:
  // `version`: printed for --version.
  Tool(const char* name, const char* help, const std::string& version);
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;
  ~Tool();

  // Parses the command line, runs the chosen command and returns its exit status; kExitClean after
  // help or the version. Wrong usage is reported: names the unknown word and a known one that the
  // user may have meant.
  int run(int argc, char** argv);

 private:
  struct State;
  explicit Tool(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

}  // namespace marigold::inner
