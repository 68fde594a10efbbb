// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/output_file.h"

#include <cerrno>
#include <filesystem>

#include "runtime/core/terminal_text.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::inner {

bool OutputFile::fail(int error, std::string& reason) const {
  reason = file_error(path_.empty() ? "standard output" : path_, error);
  return false;
}

bool OutputFile::open(const std::string& path, std::string& reason) {
  path_ = path;
  if (path.empty()) return true;
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::status(library_path(path), unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    const int error = file_.open_device(path.c_str());
    return error == 0 || fail(error, reason);
  }
  fresh_ = std::make_unique<NewFiles>(path);
  return fresh_->make("", file_, reason);
}

bool OutputFile::flush(std::string& reason) {
  const int error = file_.write(pending_);
  pending_.clear();
  return error == 0 || fail(error, reason);
}

bool OutputFile::write(std::string_view bytes, std::string& reason) {
  if (path_.empty()) {
    const int error = write_visible(bytes);
    return error == 0 || fail(error, reason);
  }
  if (fresh_ != nullptr && stop_signals_pending()) return fail(EINTR, reason);
  constexpr std::size_t kPieceSize = 65536;
  pending_ += bytes;
  return pending_.size() < kPieceSize || flush(reason);
}

bool OutputFile::finish(std::string& reason) {
  if (path_.empty()) return true;
  if (!flush(reason)) return false;
  if (fresh_ != nullptr) return fresh_->finish("", file_, reason) && fresh_->put_in_place(reason);
  const int error = file_.close();
  return error == 0 || fail(error, reason);
}

bool write_file(const std::string& path, std::string_view bytes, std::string& reason) {
  OutputFile file;
  return file.open(path, reason) && file.write(bytes, reason) && file.finish(reason);
}

}  // namespace marigold::inner
