// SPDX-License-Identifier: GPL-3.0-or-later
// scrivel: writes a text of the language's text database to standard output, formatted with the
// words of the command line.

#include <cstdlib>

#include "command/driver.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"

namespace {

marigold::inner::StandardOutput output;

// A damaged text database ends the process in the middle of a chain; the texts before it are still
// written.
void flush_output() {
  output.flush();
}

}  // namespace

int main(int argc, char** argv) {
  char name[] = "scrivel";
  char* nameless[] = {name, nullptr};
  marigold::inner::stream_start();
  marigold::inner::syserr_start();
  std::atexit(flush_output);
  const bool has_name = argc > 0;
  return marigold::inner::run_command(
      {has_name ? argv : nameless, has_name ? static_cast<std::size_t>(argc) : 1}, output);
}
