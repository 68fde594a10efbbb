// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_print.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/platform/path.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/system_error.h"
#include "runtime/print/output/display_record.h"
#include "runtime/print/output/screen_output.h"

namespace marigold::inner {
namespace {

// Number of pieces read at once.
constexpr std::size_t kReadPieces = 512;

void tell_failed(int failed) {
  const std::string text =
      path_join(screen_output_directory(), kPrinterFile) + ": " + system_error_text(failed);
  user_interface().message(text.c_str(), "");
}

void tell_no_printer() {
  user_interface().message("Drucker nicht bereit !", "");
}

// Returns false if printing ends before the last byte.
bool print_pieces(const ViewerJob& job, std::span<const char> bytes) {
  while (!bytes.empty()) {
    if (job.aborted != nullptr && job.aborted()) return false;
    const std::size_t count = std::min(bytes.size(), kPrintPiece);
    if (job.print == nullptr || job.print(bytes.first(count)) != 0) {
      tell_no_printer();
      return false;
    }
    bytes = bytes.subspan(count);
  }
  return true;
}

void print_file(const ViewerJob& job, const RecordFile& file) {
  std::vector<char> bytes(kReadPieces * kPrintPiece);
  std::uint64_t offset = 0;
  std::size_t count = bytes.size();
  while (count == bytes.size()) {
    if (const int failed = file.read(offset, bytes, count)) return tell_failed(failed);
    if (!print_pieces(job, {bytes.data(), count})) return;
    offset += count;
  }
}

}  // namespace

void viewer_print(const ViewerJob& job) {
  const RecordFile& file = screen_output_printer();
  if (!file.is_open()) return tell_failed(ENOENT);
  if (job.begin_print != nullptr && job.begin_print() != 0) return tell_no_printer();
  print_file(job, file);
  if (job.end_print != nullptr) job.end_print();
}

}  // namespace marigold::inner
