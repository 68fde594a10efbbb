#include "runtime/print/viewer_print.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/platform/record_file.h"
#include "runtime/print/display_record.h"

namespace marigold {
namespace {

// So many pieces are read at once.
constexpr std::size_t kReadPieces = 512;

void tell_failed(int failed) {
  const std::string text =
      std::string(kPrinterFile) + ": " + std::generic_category().message(failed);
  user_interface().message(text.c_str(), "");
}

// False when printing is over before its end.
bool print_pieces(const ViewerJob& job, std::span<const char> bytes) {
  while (!bytes.empty()) {
    if (job.aborted != nullptr && job.aborted()) return false;
    const std::size_t count = std::min(bytes.size(), kPrintPiece);
    if (job.print == nullptr || job.print(bytes.first(count)) != 0) {
      user_interface().message("Drucker nicht bereit !", "");
      return false;
    }
    bytes = bytes.subspan(count);
  }
  return true;
}

}  // namespace

void viewer_print(const ViewerJob& job) {
  RecordFile file;
  if (const int failed = file.open(kPrinterFile, false)) return tell_failed(failed);
  std::vector<char> bytes(kReadPieces * kPrintPiece);
  std::uint64_t offset = 0;
  std::size_t count = bytes.size();
  while (count == bytes.size()) {
    if (const int failed = file.read(offset, bytes, count)) return tell_failed(failed);
    if (!print_pieces(job, {bytes.data(), count})) return;
    offset += count;
  }
}

}  // namespace marigold
