// SPDX-License-Identifier: GPL-3.0-or-later
// marigold: the tool for users who write, translate and operate the files of applications.

#include <exception>
#include <string>

#include "marigold/core.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"
#include "tools/common/command_line.h"
#include "tools/common/progress.h"
#include "tools/common/report.h"
#include "tools/data/options.h"
#include "tools/lists/options.h"
#include "tools/texts/options.h"

namespace {

int run(int argc, char** argv) {
  marigold::inner::Tool tool("marigold", "Author's and operator's tool of the Marigold runtime",
                             std::string("marigold ") + marigold::library_version());
  marigold::inner::texts_register(tool);
  marigold::inner::data_register(tool);
  marigold::inner::lists_register(tool);
  return tool.run(argc, argv);
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
