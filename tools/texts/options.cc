// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/options.h"

#include <memory>

#include "runtime/texte/code_set.h"
#include "tools/common/report.h"
#include "tools/texts/commands.h"

namespace marigold::inner {
namespace {

void add_code_set(Command command, std::string& code_set) {
  command.option("--code-set", "NAME", code_set,
                 "Code set of the database: 8859 (ISO 8859-1), 8859-15, 1252, ... or a name that "
                 "iconv knows. Default: that of LANGUAGE_IDENTIFIER");
}

// Sets the default of an option that the command line lacks.
void complete_code_set(std::string& code_set) {
  if (code_set.empty()) code_set = code_set_of_environment();
}

void add_use_fuzzy(Command command, bool& use_fuzzy) {
  command.flag("--use-fuzzy", use_fuzzy, "Take texts that are marked fuzzy as well");
}

void register_build(Command texts) {
  Command command = texts.command("build", "Build a text database from PO files");
  const auto options = std::make_shared<TextsBuild>();
  command.word("IN.po", options->inputs, "PO files: msgid is the id, msgstr the text").required();
  command
      .option("-o,--output", "DIR/textdb", options->output,
              "The database: the files DIR/textdb.pag and DIR/textdb.dir. Missing directories "
              "are made")
      .required();
  add_code_set(command, options->code_set);
  add_use_fuzzy(command, options->use_fuzzy);
  command.flag("--force", options->force, "Replace a database that has texts by one that has none");
  command.flag("-v,--verbose", options->verbose, "Report the number of texts in the database");
  command.footer(
      "Example:\n"
      "  marigold texts build german_system.po german_at.po -o locale/german/at/textdb\n");
  command.action([options] {
    complete_code_set(options->code_set);
    return texts_build(*options);
  });
}

void register_dump(Command texts) {
  Command command = texts.command("dump", "Write a text database as a PO file in UTF-8");
  const auto options = std::make_shared<TextsDump>();
  command.word("DIR/textdb", options->database, "The database").required();
  command.option("-o,--output", "FILE", options->output, "Write to this file, not standard output");
  add_code_set(command, options->code_set);
  command.footer(
      "Exit status 1: some records cannot stand in a PO file; standard error names them.\n"
      "Example:\n"
      "  marigold texts dump locale/german/at/textdb -o german_at.po\n");
  command.action([options] {
    complete_code_set(options->code_set);
    return texts_dump(*options);
  });
}

void register_template(Command texts) {
  Command command =
      texts.command("template", "Write a PO template for translations of a reference");
  const auto options = std::make_shared<TextsTemplate>();
  CommandOption reference = command.word("REFERENCE.po", options->reference,
                                         "The texts to be translated; they become comments");
  command.option("-o,--output", "FILE.pot", options->output,
                 "Write to this file, not standard output");
  CommandOption system = command.flag("--system", options->system,
                                      "The texts of the runtime itself as well, or alone");
  command.footer(
      "Example:\n"
      "  marigold texts template english.po -o texts.pot\n"
      "  msgmerge --update german.po texts.pot\n");
  command.action([options, reference, system] {
    if (!reference.given() && !system.given())
      return report_unusable(
          {"marigold: REFERENCE.po is required", "Run with --help for the usage."});
    return texts_template(*options);
  });
}

void register_check(Command texts) {
  Command command =
      texts.command("check", "Look for faults in PO files, and for differences between languages");
  const auto options = std::make_shared<TextsCheck>();
  command.word("REFERENCE.po", options->reference, "The language that the others follow")
      .required();
  command.word("OTHER.po", options->others, "Translations, each compared with the reference");
  add_code_set(command, options->code_set);
  add_use_fuzzy(command, options->use_fuzzy);
  command.flag("--json", options->json, "Write each finding as a JSON object on a line");
  command.flag("-v,--verbose", options->verbose, "Report also when nothing is found");
  command.footer(
      "Exit status 0: nothing found; 1: findings, on standard output; 2: a file cannot be read.\n"
      "Example:\n"
      "  marigold texts check english.po german_de.po german_at.po\n");
  command.action([options] {
    complete_code_set(options->code_set);
    return texts_check(*options);
  });
}

}  // namespace

void texts_register(Command tool) {
  Command texts = tool.group("texts", "Text databases: build, dump, check, template");
  register_build(texts);
  register_dump(texts);
  register_check(texts);
  register_template(texts);
}

}  // namespace marigold::inner
