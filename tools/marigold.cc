// marigold: the tool of those who write, translate and operate what the Marigold runtime works
// with.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <iostream>

#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"
#include "tools/data_options.h"
#include "tools/lists_options.h"
#include "tools/report.h"
#include "tools/texts_options.h"

namespace {

std::string usage_error(const CLI::App*, const CLI::Error& error) {
  return std::string("marigold: ") + error.what() + "\nRun with --help for the usage.\n";
}

int run(int argc, char** argv) {
  int status = marigold::kExitClean;
  CLI::App tool("Author's and operator's tool of the Marigold runtime", "marigold");
  tool.set_version_flag("--version", "marigold " MARIGOLD_VERSION);
  tool.failure_message(usage_error);
  tool.require_subcommand(1);
  marigold::texts_register(tool, status);
  marigold::data_register(tool, status);
  marigold::lists_register(tool, status);
  try {
    tool.parse(argc, argv);
  } catch (const CLI::ParseError& outcome) {  // asking for help is one, too
    const bool asked = tool.exit(outcome) == 0;
    status = asked && std::cout.flush().good() ? marigold::kExitClean : marigold::kExitUnusable;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  marigold::stream_start();
  marigold::syserr_start();
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {  // out of memory
    marigold::report(std::string("marigold: ") + failure.what());
    return marigold::kExitUnusable;
  }
}
