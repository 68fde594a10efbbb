#include "tools/data_options.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "tools/data_commands.h"

namespace marigold {
namespace {

void register_scan(CLI::App& data, int& status) {
  CLI::App* command = data.add_subcommand("scan", "Look for faults in definition sets");
  const auto options = std::make_shared<DataScan>();
  command
      ->add_option("SET", options->sets,
                   "The set DATA is the file FILEDATA.DES in the directory DEFINITION_DIRECTORY "
                   "(default ./definitions). With a \"/\" or \".DES\" at its end it is a path")
      ->required()
      ->type_name("");
  command->add_flag("--json", options->json,
                    "Write each finding and each summary as a JSON object on a line");
  command->footer(
      "Each set is checked by itself. Standard output gets the findings, or how many files, fields\n"
      "and keys a set without errors defines.\n"
      "Exit status 0: no errors; 1: errors; 2: a set cannot be read.\n"
      "Example:\n"
      "  marigold data scan DATA ./new/FILEDATA.DES\n");
  command->callback([options, &status] { status = data_scan(*options); });
}

void register_convert(CLI::App& data, int& status) {
  CLI::App* command =
      data.add_subcommand("convert", "Bring data files to the versions of their definitions");
  const auto options = std::make_shared<DataConvert>();
  command
      ->add_option("SET", options->sets,
                   "All sets that define files of the same directories. As for scan: DATA is "
                   "FILEDATA.DES, with a \"/\" or \".DES\" it is a path")
      ->required()
      ->type_name("");
  constexpr int kLastClass = 30;
  command->add_option("--class", options->path_class, "Only the files of this path class")
      ->check(CLI::Range(0, kLastClass))
      ->type_name("N");
  command->add_flag("--dry-run", options->dry_run,
                    "Show which files would be converted, and what becomes of their fields");
  command->add_flag("--keep-backup", options->keep_backup,
                    "Keep each old file beside the new one, as NAME.version-N");
  command->footer(
      "The steps from version to version are those of FILEVER.DES. Version N of the file KUNDEN is\n"
      "defined in FILEKUNDEN_N.DES: copy a set under that name before you change it.\n"
      "Nobody may use the files meanwhile. Interrupted at any moment, run it again.\n"
      "Exit status 0: all files have their version; 1: not converted, or --dry-run has found\n"
      "something to convert; 2: a set cannot be read, or a file cannot be written.\n"
      "Example:\n"
      "  marigold data convert --dry-run DATA\n");
  command->callback([options, &status] { status = data_convert(*options); });
}

}  // namespace

void data_register(CLI::App& tool, int& status) {
  CLI::App* data = tool.add_subcommand("data", "Data files and their definitions: scan, convert");
  data->require_subcommand(1);
  register_scan(*data, status);
  register_convert(*data, status);
}

}  // namespace marigold
