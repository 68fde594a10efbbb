// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/report.h"

#include <new>
#include <stdexcept>

#include "runtime/core/terminal_text.h"
#include "runtime/platform/stream.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

struct State {
  std::string file = "marigold";
};
State state;

}  // namespace

void report(std::string_view line) {
  std::string whole = error_text(line, LineEnds::kShown);
  whole += '\n';
  stream_write(Stream::kError, whole);  // standard error itself has failed
}

int report_unusable(const Problems& problems) {
  for (const std::string& problem : problems)
    report(problem);
  return kExitUnusable;
}

void working_on(std::string_view path) {
  state.file = path;
}

int report_failure(const std::exception& failure) {
  const bool memory = dynamic_cast<const std::bad_alloc*>(&failure) != nullptr ||
                      dynamic_cast<const std::length_error*>(&failure) != nullptr;
  return report_unusable({state.file + ": " + (memory ? "out of memory" : failure.what())});
}

std::string at_line(std::string_view file, int line) {
  return std::string(file) + ":" + std::to_string(line) + ": ";
}

std::string counted(std::size_t number, std::string_view noun) {
  return std::to_string(number) + " " + std::string(noun) + (number == 1 ? "" : "s");
}

int write_output(std::string_view bytes, int status) {
  const int error = write_visible(bytes);
  if (error == 0) return status;
  report("standard output: " + system_error_text(error));
  return kExitUnusable;
}

}  // namespace marigold::inner
