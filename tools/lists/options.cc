// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/lists/options.h"

#include <memory>

#include "tools/lists/commands.h"

namespace marigold::inner {
namespace {

void add_sources(Command command, ListsSources& sources) {
  command.word("SOURCE", sources.paths, "Files with lists and their blocks, in UTF-8").required();
  command.option("--definitions", "SET", sources.definitions,
                 "Warn of fields of records that no file of this definition set has: its name, or "
                 "a path with \"/\" or \".DES\"");
}

void add_own(Command command, bool& own) {
  command.flag("--own", own,
               "The files ILISTEN, IBLOECKE and IDRUCK.BIN, which are searched first");
}

void register_compile(Command lists) {
  Command command =
      lists.command("compile", "Compile lists into the files that applications print from");
  const auto options = std::make_shared<ListsCompile>();
  add_sources(command, options->sources);
  command
      .option("-o,--output", "DIR", options->output,
              "The print directory: LISTEN, BLOECKE and DRUCK.BIN in it. It is made if missing")
      .required();
  add_own(command, options->own);
  command.flag("-v,--verbose", options->verbose, "Report the number of lists in the directory");
  command.footer(
      "A list that the directory has already is replaced whole; lists that the sources do not name\n"
      "stay. After an error nothing has changed.\n"
      "Exit status 0: done; 1: the sources have errors; 2: not done.\n"
      "Example:\n"
      "  marigold lists compile customers.list invoice.list -o print\n");
  command.action([options] { return lists_compile(*options); });
}

void register_check(Command lists) {
  Command command = lists.command("check", "Look for faults in the sources of lists");
  const auto options = std::make_shared<ListsCheck>();
  add_sources(command, options->sources);
  command.footer("Exit status 0: no errors; 1: errors; 2: a source cannot be read.\n");
  command.action([options] { return lists_check(*options); });
}

void register_show(Command lists) {
  Command command = lists.command("show", "Write the sources of compiled lists");
  const auto options = std::make_shared<ListsShow>();
  command.word("DIR", options->directory, "The print directory").required();
  command.word("LIST", options->lists, "Names of lists (default: all)");
  add_own(command, options->own);
  command.flag("--json", options->json, "Write a JSON object for each list, one a line");
  command.footer(
      "Exit status 0: done; 1: blocks that are damaged were left out; 2: not done.\n"
      "Example:\n"
      "  marigold lists show print INVOICE > invoice.list\n");
  command.action([options] { return lists_show(*options); });
}

void add_target(Command command, ListsPrint& options) {
  command.word("LIST", options.list, "Name of the list").required();
  command.option("-d,--directory", "DIR", options.directory,
                 "The print directory (default: PRINT_DIRECTORY)");
  command
      .option("--to", "TARGET", options.to,
              "printer NAME, screen, file [PATH] or pdf [PATH] (default: file; without a path "
              "standard output)")
      .at_most(2);
  command.option("--printer", "NAME", options.printer,
                 "With --to screen: the printer that F4 prints on");
}

void add_values(Command command, ListsPrint& options) {
  const auto values = [&](const char* name, std::vector<std::string>& target, const char* help) {
    command.option(name, "NAME=VALUE", target, help).repeated();
  };
  values("--set", options.variables,
         "A variable; a number when its value is one (01067 is a text)");
  values("--text", options.texts, "A variable with a text, though it may look like a number");
  command.option("--records", "FILE", options.records,
                 "Records as comma-separated values, the first line with the fields' names. Each "
                 "sets variables of these names, too");
}

void add_blocks(Command command, ListsPrint& options) {
  const auto block = [&](const char* name, std::optional<std::string>& target, const char* help) {
    command.option(name, "BLOCK", target, help);
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

void add_page(Command command, ListsPrint& options) {
  const auto lines = [&](const char* name, int& target, const char* help) {
    command.option(name, "N", target, help);
  };
  lines("--first-line", options.first_line, "First print line of a page");
  lines("--last-line", options.last_line, "Last print line of a page");
  lines("--page-length", options.page_length, "Lines of a page");
}

void register_print(Command lists) {
  Command command = lists.command("print", "Print a compiled list with variables and records");
  const auto options = std::make_shared<ListsPrint>();
  add_target(command, *options);
  add_values(command, *options);
  add_blocks(command, *options);
  add_page(command, *options);
  command.footer(
      "Exit status 0: done; 1: records with faults were left out, or something has no room where\n"
      "it is printed; 2: not done.\n"
      "Example:\n"
      "  marigold lists print CUSTOMERS -d print --records customers.csv --line CUSTOMER\n"
      "      --header TOP --to pdf customers.pdf\n");
  command.action([options] { return lists_print(*options); });
}

}  // namespace

void lists_register(Command tool) {
  Command lists = tool.group("lists", "Lists and blocks, from which applications print");
  register_compile(lists);
  register_check(lists);
  register_show(lists);
  register_print(lists);
}

}  // namespace marigold::inner
