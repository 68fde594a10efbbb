// SPDX-License-Identifier: GPL-3.0-or-later
// marigold: the tool for users who write, translate and operate the files of applications.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "marigold/core.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"
#include "tools/common/progress.h"
#include "tools/common/report.h"
#include "tools/common/usage_error.h"
#include "tools/data/options.h"
#include "tools/lists/options.h"
#include "tools/texts/options.h"

namespace {

int run(int argc, char** argv) {
  int status = marigold::inner::kExitClean;
  CLI::App tool("Author's and operator's tool of the Marigold runtime", "marigold");
  tool.set_version_flag("--version", std::string("marigold ") + marigold::library_version());
  tool.require_subcommand(1);
  marigold::inner::texts_register(tool, status);
  marigold::inner::data_register(tool, status);
  marigold::inner::lists_register(tool, status);
  try {
    tool.parse(argc, argv);
  } catch (const CLI::Success& asked) {  // help or the version was asked for
    tool.exit(asked);
    status =
        std::cout.flush().good() ? marigold::inner::kExitClean : marigold::inner::kExitUnusable;
  } catch (const CLI::ParseError& error) {
    status = marigold::inner::report_unusable(
        {marigold::inner::usage_error(tool, error), "Run with --help for the usage."});
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  marigold::inner::stream_start();
  marigold::inner::syserr_start();
  marigold::inner::progress_of_rebuilds();
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {  // out of memory
    return marigold::inner::report_failure(failure);
  }
}
