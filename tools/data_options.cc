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

}  // namespace

void data_register(CLI::App& tool, int& status) {
  CLI::App* data = tool.add_subcommand("data", "Data files and their definitions: scan");
  data->require_subcommand(1);
  register_scan(*data, status);
}

}  // namespace marigold
