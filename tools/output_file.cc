#include "tools/output_file.h"

#include <cerrno>
#include <filesystem>

#include "runtime/platform/stop_signals.h"
#include "runtime/platform/stream.h"

namespace marigold {

bool OutputFile::fail(int error, std::string& reason) const {
  reason = file_error(path_.empty() ? "marigold: standard output" : path_, error);
  return false;
}

bool OutputFile::open(const std::string& path, std::string& reason) {
  path_ = path;
  if (path.empty()) return true;
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::status(path, unknown);
  std::string name = path;
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) {
    fresh_ = std::make_unique<NewFiles>(path);
    fresh_->add("");
    name = fresh_->temporary_path();
  }
  file_.reset(std::fopen(name.c_str(), "wb"));
  return file_ != nullptr || fail(errno, reason);
}

bool OutputFile::write(std::string_view bytes, std::string& reason) {
  if (path_.empty()) {
    const int error = stream_write(Stream::kOutput, bytes);
    return error == 0 || fail(error, reason);
  }
  if (fresh_ != nullptr && stop_signals_pending()) return fail(EINTR, reason);
  return std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size() ||
         fail(errno, reason);
}

bool OutputFile::finish(std::string& reason) {
  if (path_.empty()) return true;
  if (std::fclose(file_.release()) != 0) return fail(errno, reason);
  return fresh_ == nullptr || fresh_->put_in_place(reason);
}

}  // namespace marigold
