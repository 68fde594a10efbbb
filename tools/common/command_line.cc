// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <iostream>
#include <string_view>
#include <utility>

#include "tools/common/nearest_name.h"
#include "tools/common/report.h"

namespace marigold::inner {
namespace {

using Names = std::vector<std::string>;

Names command_names(const CLI::App& command) {
  Names names;
  for (const CLI::App* each : command.get_subcommands({}))
    names.push_back(each->get_name());
  return names;
}

Names option_names(const CLI::App& command) {
  Names names;
  for (const CLI::Option* each : command.get_options()) {
    for (const std::string& name : each->get_lnames())
      names.push_back("--" + name);
  }
  return names;
}

std::string listed(const Names& names) {
  std::string list;
  for (const std::string& name : names)
    list.append(list.empty() ? "" : ", ").append(name);
  return list;
}

// Returns the words that chose the command: "marigold data".
std::string words_of(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : words_of(*parent) + " ") + command.get_name();
}

const CLI::App& last_command(const CLI::App& tool) {
  const CLI::App* command = &tool;
  while (!command->get_subcommands().empty())
    command = command->get_subcommands().front();
  return *command;
}

std::string unknown(const char* kind, const std::string& word, const Names& names,
                    const std::string& otherwise) {
  const std::string nearest = nearest_name(word, names);
  return std::string("unknown ") + kind + " \"" + word + "\"; " +
         (nearest.empty() ? otherwise : "did you mean \"" + nearest + "\"?");
}

// Returns one line about a command line that could not be parsed.
std::string usage_error(const CLI::App& tool, const CLI::Error& error) {
  const CLI::App& command = last_command(tool);
  const std::string whole = words_of(command);
  const Names commands = command_names(command);
  const Names words = command.remaining();
  const auto is_option = [](const std::string& word) {
    return word.starts_with('-') && word.size() > 1;
  };
  const std::string choice = "its commands are " + listed(commands);
  if (!commands.empty() && words.empty()) return whole + ": a command is missing; " + choice;
  if (!commands.empty() && !is_option(words.front()))
    return whole + ": " + unknown("command", words.front(), commands, choice);
  // Reports an unknown option before other faults: its value counts as a surplus word too.
  if (const auto option = std::ranges::find_if(words, is_option); option != words.end()) {
    const std::string name = option->substr(0, option->find('='));
    return whole + ": " +
           unknown("option", name, option_names(command), "--help lists the options");
  }
  if (!words.empty()) return whole + ": \"" + words.front() + "\" is a word too many";
  return std::string("marigold: ") + error.what();
}

template <typename Value>
CommandOption added(CLI::App* app, const char* name, const char* value_name, Value& value,
                    const char* help) {
  return CommandOption(app->add_option(name, value, help)->type_name(value_name));
}

}  // namespace

CommandOption& CommandOption::required() {
  option_->required();
  return *this;
}

CommandOption& CommandOption::excludes(CommandOption other) {
  option_->excludes(other.option_);
  return *this;
}

CommandOption& CommandOption::range(int lowest, int highest) {
  option_->check(CLI::Range(lowest, highest));
  return *this;
}

CommandOption& CommandOption::initial(const char* value) {
  option_->default_val(value);
  return *this;
}

CommandOption& CommandOption::at_most(int most) {
  option_->expected(1, most);
  return *this;
}

CommandOption& CommandOption::repeated() {
  option_->expected(1)->take_all();
  return *this;
}

bool CommandOption::given() const {
  return option_->count() > 0;
}

Command Command::group(const char* name, const char* help) {
  Command added = command(name, help);
  added.app_->require_subcommand(1);
  return added;
}

Command Command::command(const char* name, const char* help) {
  return {app_->add_subcommand(name, help), status_};
}

CommandOption Command::word(const char* name, std::string& value, const char* help) {
  return added(app_, name, "", value, help);
}

CommandOption Command::word(const char* name, std::vector<std::string>& values, const char* help) {
  return added(app_, name, "", values, help);
}

CommandOption Command::word(const char* name, int& value, const char* help) {
  return added(app_, name, "", value, help);
}

CommandOption Command::option(const char* name, const char* value_name, std::string& value,
                              const char* help) {
  return added(app_, name, value_name, value, help);
}

CommandOption Command::option(const char* name, const char* value_name,
                              std::optional<std::string>& value, const char* help) {
  return added(app_, name, value_name, value, help);
}

CommandOption Command::option(const char* name, const char* value_name,
                              std::vector<std::string>& values, const char* help) {
  return added(app_, name, value_name, values, help);
}

CommandOption Command::option(const char* name, const char* value_name, int& value,
                              const char* help) {
  return added(app_, name, value_name, value, help);
}

CommandOption Command::flag(const char* name, bool& set, const char* help) {
  return CommandOption(app_->add_flag(name, set, help));
}

CommandOption Command::flag(const char* name, std::function<void()> chosen, const char* help) {
  return CommandOption(app_->add_flag_callback(name, std::move(chosen), help));
}

void Command::footer(const char* text) {
  app_->footer(text);
}

void Command::action(std::function<int()> action) {
  app_->callback([action = std::move(action), status = status_] { *status = action(); });
}

struct Tool::State {
  State(const char* name, const char* help) : app(help, name) {}

  CLI::App app;
  int status = kExitClean;
};

Tool::Tool(std::unique_ptr<State> state)
    : Command(&state->app, &state->status), state_(std::move(state)) {}

Tool::Tool(const char* name, const char* help, const std::string& version)
    : Tool(std::make_unique<State>(name, help)) {
  state_->app.set_version_flag("--version", version);
  state_->app.allow_windows_style_options(false);  // "/a/path" is a path on every system
  state_->app.require_subcommand(1);
}

Tool::~Tool() = default;

int Tool::run(int argc, char** argv) {
  CLI::App& app = state_->app;
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {  // help or the version was asked for
    app.exit(asked);
    return std::cout.flush().good() ? kExitClean : kExitUnusable;
  } catch (const CLI::ParseError& error) {
    return report_unusable({usage_error(app, error), "Run with --help for the usage."});
  }
  return state_->status;
}

}  // namespace marigold::inner
