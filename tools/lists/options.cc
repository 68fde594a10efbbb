// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/lists/options.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "tools/lists/commands.h"

namespace marigold::inner {
namespace {

void add_sources(CLI::App& command, ListsSources& sources) {
  command.add_option("SOURCE", sources.paths, "Files with lists and their blocks, in UTF-8")
      ->required()
      ->type_name("");
  command
      .add_option("--definitions", sources.definitions,
                  "Warn of fields of records that no file of this definition set has: its name, or "
                  "a path with \"/\" or \".DES\"")
      ->type_name("SET");
}

void add_own(CLI::App& command, bool& own) {
  command.add_flag("--own", own,
                   "The files ILISTEN, IBLOECKE and IDRUCK.BIN, which are searched first");
}

void register_compile(CLI::App& lists, int& status) {
  CLI::App* command =
      lists.add_subcommand("compile", "Compile lists into the files that applications print from");
  const auto options = std::make_shared<ListsCompile>();
  add_sources(*command, options->sources);
  command
      ->add_option(
          "-o,--output", options->output,
          "The print directory: LISTEN, BLOECKE and DRUCK.BIN in it. It is made if missing")
      ->required()
      ->type_name("DIR");
  add_own(*command, options->own);
  command->add_flag("-v,--verbose", options->verbose,
                    "Report the number of lists in the directory");
  command->footer(
      "A list that the directory has already is replaced whole; lists that the sources do not name\n"
      "stay. After an error nothing has changed.\n"
      "Exit status 0: done; 1: the sources have errors; 2: not done.\n"
      "Example:\n"
      "  marigold lists compile customers.list invoice.list -o print\n");
  command->callback([options, &status] { status = lists_compile(*options); });
}

void register_check(CLI::App& lists, int& status) {
  CLI::App* command = lists.add_subcommand("check", "Look for faults in the sources of lists");
  const auto options = std::make_shared<ListsCheck>();
  add_sources(*command, options->sources);
  command->footer("Exit status 0: no errors; 1: errors; 2: a source cannot be read.\n");
  command->callback([options, &status] { status = lists_check(*options); });
}

void register_show(CLI::App& lists, int& status) {
  CLI::App* command = lists.add_subcommand("show", "Write the sources of compiled lists");
  const auto options = std::make_shared<ListsShow>();
  command->add_option("DIR", options->directory, "The print directory")->required()->type_name("");
  command->add_option("LIST", options->lists, "Names of lists (default: all)")->type_name("");
  add_own(*command, options->own);
  command->add_flag("--json", options->json, "Write a JSON object for each list, one a line");
  command->footer(
      "Exit status 0: done; 1: blocks that are damaged were left out; 2: not done.\n"
      "Example:\n"
      "  marigold lists show print INVOICE > invoice.list\n");
  command->callback([options, &status] { status = lists_show(*options); });
}

void add_target(CLI::App& command, ListsPrint& options) {
  command.add_option("LIST", options.list, "Name of the list")->required()->type_name("");
  command
      .add_option("-d,--directory", options.directory,
                  "The print directory (default: PRINT_DIRECTORY)")
      ->type_name("DIR");
  command
      .add_option("--to", options.to,
                  "printer NAME, screen, file [PATH] or pdf [PATH] (default: file; without a path "
                  "standard output)")
      ->expected(1, 2)
      ->type_name("TARGET");
  command
      .add_option("--printer", options.printer, "With --to screen: the printer that F4 prints on")
      ->type_name("NAME");
}

void add_values(CLI::App& command, ListsPrint& options) {
  const auto values = [&](const char* name, std::vector<std::string>& target, const char* help) {
    command.add_option(name, target, help)->type_name("NAME=VALUE")->expected(1)->take_all();
  };
  values("--set", options.variables,
         "A variable; a number when its value is one (01067 is a text)");
  values("--text", options.texts, "A variable with a text, though it may look like a number");
  command
      .add_option("--records", options.records,
                  "Records as comma-separated values, the first line with the fields' names. Each "
                  "sets variables of these names, too")
      ->type_name("FILE");
}

void add_blocks(CLI::App& command, ListsPrint& options) {
  const auto block = [&](const char* name, std::optional<std::string>& target, const char* help) {
    command.add_option(name, target, help)->type_name("BLOCK");
  };
  block("--header", options.header,
        "Printed at the top of every page (default: HEADER, if there is one; '' for none)");
  block("--footer", options.footer,
        "Printed at the foot of every page (default: FOOTER, as above)");
  block("--start", options.start, "Printed first (default: START, as above)");
  block("--line", options.line,
        "Printed for each record, unless it has a field BLOCK that names one (default: LINE)");
  block("--end", options.end, "Printed last (default: END, as above)");
}

void add_page(CLI::App& command, ListsPrint& options) {
  const auto lines = [&](const char* name, int& target, const char* help) {
    command.add_option(name, target, help)->type_name("N");
  };
  lines("--first-line", options.first_line, "First print line of a page");
  lines("--last-line", options.last_line, "Last print line of a page");
  lines("--page-length", options.page_length, "Lines of a page");
}

void register_print(CLI::App& lists, int& status) {
  CLI::App* command =
      lists.add_subcommand("print", "Print a compiled list with variables and records");
  const auto options = std::make_shared<ListsPrint>();
  add_target(*command, *options);
  add_values(*command, *options);
  add_blocks(*command, *options);
  add_page(*command, *options);
  command->footer(
      "Exit status 0: done; 1: records with faults were left out, or something has no room where\n"
      "it is printed; 2: not done.\n"
      "Example:\n"
      "  marigold lists print CUSTOMERS -d print --records customers.csv --line CUSTOMER\n"
      "      --header TOP --to pdf customers.pdf\n");
  command->callback([options, &status] { status = lists_print(*options); });
}

}  // namespace

void lists_register(CLI::App& tool, int& status) {
  CLI::App* lists = tool.add_subcommand("lists", "Lists and blocks, from which applications print");
  lists->require_subcommand(1);
  register_compile(*lists, status);
  register_check(*lists, status);
  register_show(*lists, status);
  register_print(*lists, status);
}

}  // namespace marigold::inner
