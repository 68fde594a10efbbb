// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/options.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "runtime/texte/code_set.h"
#include "tools/texts/commands.h"

namespace marigold::inner {
namespace {

void add_code_set(CLI::App& command, std::string& code_set) {
  command
      .add_option("--code-set", code_set,
                  "Code set of the database: 8859 (ISO 8859-1), 8859-15, 1252, ... or a name that "
                  "iconv knows. Default: that of LANGUAGE_IDENTIFIER")
      ->type_name("NAME");
}

// Sets the default of an option that the command line lacks.
void complete_code_set(std::string& code_set) {
  if (code_set.empty()) code_set = code_set_of_environment();
}

void add_use_fuzzy(CLI::App& command, bool& use_fuzzy) {
  command.add_flag("--use-fuzzy", use_fuzzy, "Take texts that are marked fuzzy as well");
}

void register_build(CLI::App& texts, int& status) {
  CLI::App* command = texts.add_subcommand("build", "Build a text database from PO files");
  const auto options = std::make_shared<TextsBuild>();
  command->add_option("IN.po", options->inputs, "PO files: msgid is the id, msgstr the text")
      ->required()
      ->type_name("");
  command
      ->add_option("-o,--output", options->output,
                   "The database: the files DIR/textdb.pag and DIR/textdb.dir. Missing directories "
                   "are made")
      ->required()
      ->type_name("DIR/textdb");
  add_code_set(*command, options->code_set);
  add_use_fuzzy(*command, options->use_fuzzy);
  command->add_flag("--force", options->force,
                    "Replace a database that has texts by one that has none");
  command->add_flag("-v,--verbose", options->verbose, "Report the number of texts in the database");
  command->footer(
      "Example:\n"
      "  marigold texts build german_system.po german_at.po -o locale/german/at/textdb\n");
  command->callback([options, &status] {
    complete_code_set(options->code_set);
    status = texts_build(*options);
  });
}

void register_dump(CLI::App& texts, int& status) {
  CLI::App* command = texts.add_subcommand("dump", "Write a text database as a PO file in UTF-8");
  const auto options = std::make_shared<TextsDump>();
  command->add_option("DIR/textdb", options->database, "The database")->required()->type_name("");
  command->add_option("-o,--output", options->output, "Write to this file, not standard output")
      ->type_name("FILE");
  add_code_set(*command, options->code_set);
  command->footer(
      "Exit status 1: some records cannot stand in a PO file; standard error names them.\n"
      "Example:\n"
      "  marigold texts dump locale/german/at/textdb -o german_at.po\n");
  command->callback([options, &status] {
    complete_code_set(options->code_set);
    status = texts_dump(*options);
  });
}

void register_template(CLI::App& texts, int& status) {
  CLI::App* command =
      texts.add_subcommand("template", "Write a PO template for translations of a reference");
  const auto options = std::make_shared<TextsTemplate>();
  CLI::Option* reference = command->add_option("REFERENCE.po", options->reference,
                                               "The texts to be translated; they become comments");
  reference->type_name("");
  command->add_option("-o,--output", options->output, "Write to this file, not standard output")
      ->type_name("FILE.pot");
  CLI::Option* system = command->add_flag("--system", options->system,
                                          "The texts of the runtime itself as well, or alone");
  command->footer(
      "Example:\n"
      "  marigold texts template english.po -o texts.pot\n"
      "  msgmerge --update german.po texts.pot\n");
  command->callback([options, reference, system, &status] {
    if (reference->count() + system->count() == 0) throw CLI::RequiredError("REFERENCE.po");
    status = texts_template(*options);
  });
}

void register_check(CLI::App& texts, int& status) {
  CLI::App* command = texts.add_subcommand(
      "check", "Look for faults in PO files, and for differences between languages");
  const auto options = std::make_shared<TextsCheck>();
  command->add_option("REFERENCE.po", options->reference, "The language that the others follow")
      ->required()
      ->type_name("");
  command->add_option("OTHER.po", options->others, "Translations, each compared with the reference")
      ->type_name("");
  add_code_set(*command, options->code_set);
  add_use_fuzzy(*command, options->use_fuzzy);
  command->add_flag("--json", options->json, "Write each finding as a JSON object on a line");
  command->add_flag("-v,--verbose", options->verbose, "Report also when nothing is found");
  command->footer(
      "Exit status 0: nothing found; 1: findings, on standard output; 2: a file cannot be read.\n"
      "Example:\n"
      "  marigold texts check english.po german_de.po german_at.po\n");
  command->callback([options, &status] {
    complete_code_set(options->code_set);
    status = texts_check(*options);
  });
}

}  // namespace

void texts_register(CLI::App& tool, int& status) {
  CLI::App* texts = tool.add_subcommand("texts", "Text databases: build, dump, check, template");
  texts->require_subcommand(1);
  register_build(*texts, status);
  register_dump(*texts, status);
  register_check(*texts, status);
  register_template(*texts, status);
}

}  // namespace marigold::inner
