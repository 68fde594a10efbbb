// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/usage_error.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <vector>

namespace marigold::inner {
namespace {

using Names = std::vector<std::string>;

// Returns the least number of slips that turn one word into the other.
std::size_t slips_between(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> least(from.size() + 1,
                                              std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      std::size_t& slips = least[i][j];
      if (i == 0 || j == 0) {
        slips = i + j;
        continue;
      }
      const std::size_t wrong = from[i - 1] == to[j - 1] ? 0 : 1;
      slips = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + wrong});
      const bool exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (exchanged) slips = std::min(slips, least[i - 2][j - 2] + 1);
    }
  }
  return least[from.size()][to.size()];
}

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

}  // namespace

std::string nearest_name(std::string_view word, std::span<const std::string> names) {
  constexpr std::size_t kMostSlips = 3;
  constexpr std::size_t kLettersASlip = 3;
  std::string nearest;
  std::size_t fewest = kMostSlips + 1;
  for (const std::string& name : names) {
    const std::size_t bound = (std::max(word.size(), name.size()) + 1) / kLettersASlip;
    const std::size_t slips = slips_between(word, name);
    if (slips > bound || slips >= fewest) continue;
    fewest = slips;
    nearest = name;
  }
  return nearest;
}

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

}  // namespace marigold::inner
