// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/source.h"

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <system_error>

#include "runtime/core/new_files.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "tools/common/checksum.h"

namespace marigold::inner {
namespace {

namespace fs = std::filesystem;

// One file that is passed to a sink.
class CheckedPart {
 public:
  CheckedPart(const BackupPart& part, PartSink& sink) : part_(part), sink_(sink) {}

  bool begin(const std::string& path, std::string& reason) {
    return sink_.begin(part_, path, reason);
  }
  bool write(std::string_view bytes, std::string& reason) {
    size_ += bytes.size();
    if (size_ > part_.size) return differs("is longer than the manifest says", reason);
    checksum_.add(bytes);
    return sink_.write(bytes, reason);
  }
  bool finish(std::string& reason) {
    if (size_ < part_.size) return differs("is shorter than the manifest says", reason);
    if (checksum_.take() != part_.checksum)
      return differs("its checksum is not that of the manifest", reason);
    return sink_.finish(reason);
  }
  // Whether the failure lies in the file, not in the sink.
  [[nodiscard]] bool differs() const { return differs_; }

 private:
  bool differs(const char* how, std::string& reason) {
    differs_ = true;
    reason = how;
    return false;
  }

  const BackupPart& part_;
  PartSink& sink_;
  Checksum checksum_;
  std::uint64_t size_ = 0;
  bool differs_ = false;
};

// ---- Directories

class BackupDirectory : public BackupSource {
 public:
  explicit BackupDirectory(std::string path) : path_(std::move(path)) {}

  bool open(std::string& problem) {
    const std::string at = path_join(path_, kManifestName);
    std::string text;
    std::string reason;
    if (const int failed = file_read(at.c_str(), text, kLongestManifest)) {
      problem = file_error(at, failed);
    } else if (!parse_manifest(text, manifest_, reason)) {
      problem = at + ": " + reason;
    }
    return problem.empty();
  }

  bool read(PartSink& sink, Problems& problems) override {
    find_additional(problems);
    for (const BackupPart* part : manifest_.parts()) {
      if (!read_part(*part, sink, problems)) return false;
    }
    return problems.empty();
  }

 private:
  // Returns false if further reading makes no sense.
  bool read_part(const BackupPart& part, PartSink& sink, Problems& problems) {
    const std::string path = path_join(path_, part.name);
    RecordFile file;
    CheckedPart checked(part, sink);
    std::string reason;
    if (const int failed = file.open(path.c_str(), false)) {
      problems.push_back(file_error(path, failed));
      return true;
    }
    if (!checked.begin(path, reason)) {
      problems.push_back(reason);
      return false;
    }
    const int failed =
        read_in_pieces(file, [&](std::string_view bytes) { return checked.write(bytes, reason); });
    if (failed == 0 && checked.finish(reason)) return true;
    if (failed != 0 && failed != ECANCELED) reason = file_error(path, failed);
    const bool of_file = checked.differs() || (failed != 0 && failed != ECANCELED);
    problems.push_back(checked.differs() ? path + ": " + reason : reason);
    return of_file;
  }

  void find_additional(Problems& problems) {
    std::map<std::string, bool> known = {{kManifestName, true}};
    for (const BackupClass& one : manifest_.classes)
      known[std::to_string(one.number)] = false;
    for (const BackupPart* part : manifest_.parts())
      known[part->name] = true;
    std::error_code error;
    for (fs::recursive_directory_iterator at(library_path(path_), error), end; !error && at != end;
         at.increment(error)) {
      const std::string name = path_of_library(at->path().lexically_relative(library_path(path_)));
      const auto found = known.find(name);
      std::error_code unknown;
      const bool directory = fs::is_directory(at->symlink_status(unknown));
      if (found == known.end() || found->second == directory) {
        problems.push_back(path_of_library(at->path()) + ": is not in the manifest");
        if (directory) at.disable_recursion_pending();
      }
    }
    if (error) problems.push_back(path_ + ": " + error.message());
  }

  std::string path_;
};

// ---- Archives

struct FreeArchive {
  void operator()(archive* one) const { archive_free(one); }
};

class BackupArchive : public BackupSource {
 public:
  explicit BackupArchive(std::string path) : path_(std::move(path)) {}

  bool open(std::string& problem) {
    std::string text;
    archive_entry* entry = nullptr;
    if (!rewind(problem)) return false;
    if (!next(entry, problem)) return false;
    if (entry == nullptr || name_of(entry) != kManifestName || !is_plain(entry))
      return fail(problem, "does not begin with the manifest of a backup");
    if (size_of(entry) > kLongestManifest) return fail(problem, "its manifest is too long");
    const auto append = [&text](std::string_view bytes) {
      text += bytes;
      return text.size() <= kLongestManifest;
    };
    if (!read_data(append, problem)) return false;  // never above its size
    std::string reason;
    return parse_manifest(text, manifest_, reason) || fail(problem, "its manifest " + reason);
  }

  bool read(PartSink& sink, Problems& problems) override {
    std::map<std::string, const BackupPart*> missing;
    for (const BackupPart* part : manifest_.parts())
      missing[part->name] = part;
    std::string problem;
    archive_entry* entry = nullptr;
    if (!rewind(problem) || !next(entry, problem)) {  // the manifest
      problems.push_back(problem);
      return false;
    }
    for (;;) {
      if (!next(entry, problem)) break;
      if (entry == nullptr) break;
      const auto found = missing.find(name_of(entry));
      if (found == missing.end() || !is_plain(entry)) {
        fail(problem, name_of(entry) + ": is not in the manifest, or comes again");
        break;
      }
      if (!read_part(*found->second, sink, problem)) break;
      missing.erase(found);
    }
    if (!problem.empty()) {
      problems.push_back(problem);
      return false;
    }
    for (const auto& [name, part] : missing)
      problems.push_back(path_ + ": " + name + ": is missing");
    return problems.empty();
  }

 private:
  bool fail(std::string& problem, const std::string& reason) {
    problem = path_ + ": " + reason;
    return false;
  }
  bool fail(std::string& problem) {
    const char* text = archive_error_string(archive_.get());
    return fail(problem, text == nullptr ? "cannot be read" : text);
  }

  bool rewind(std::string& problem) {
    constexpr std::size_t kBlock = std::size_t{1} << 16;
    archive_.reset(archive_read_new());
    if (archive_ == nullptr) return fail(problem, "not enough memory");
    if (archive_read_support_filter_zstd(archive_.get()) != ARCHIVE_OK ||
        archive_read_support_format_tar(archive_.get()) != ARCHIVE_OK ||
        archive_read_open_filename(archive_.get(), path_.c_str(), kBlock) != ARCHIVE_OK)
      return fail(problem);
    return true;
  }

  // Gives null at the end.
  bool next(archive_entry*& entry, std::string& problem) {
    const int result = archive_read_next_header(archive_.get(), &entry);
    if (result == ARCHIVE_EOF) entry = nullptr;
    return result == ARCHIVE_EOF || result == ARCHIVE_OK || result == ARCHIVE_WARN || fail(problem);
  }

  static std::string name_of(archive_entry* entry) {
    const char* name = archive_entry_pathname(entry);
    return name == nullptr ? "" : name;
  }
  static bool is_plain(archive_entry* entry) {
    return archive_entry_filetype(entry) == AE_IFREG && archive_entry_hardlink(entry) == nullptr &&
           archive_entry_symlink(entry) == nullptr && archive_entry_size(entry) >= 0;
  }
  static std::uint64_t size_of(archive_entry* entry) {
    return static_cast<std::uint64_t>(archive_entry_size(entry));
  }

  template <typename Take>
  bool read_data(const Take& take, std::string& problem) {
    std::array<char, 65536> piece{};
    for (;;) {
      const la_ssize_t count = archive_read_data(archive_.get(), piece.data(), piece.size());
      if (count < 0) return fail(problem);
      if (count == 0) return true;
      if (!take(std::string_view(piece.data(), static_cast<std::size_t>(count)))) return false;
    }
  }

  bool read_part(const BackupPart& part, PartSink& sink, std::string& problem) {
    CheckedPart checked(part, sink);
    if (!checked.begin("", problem)) return false;
    const auto write = [&](std::string_view bytes) { return checked.write(bytes, problem); };
    if (read_data(write, problem) && checked.finish(problem)) return true;
    if (checked.differs()) problem.insert(0, path_ + ": " + part.name + ": ");
    return false;
  }

  std::string path_;
  std::unique_ptr<archive, FreeArchive> archive_;
};

template <typename Source>
std::unique_ptr<BackupSource> opened(const std::string& path, std::string& problem) {
  auto source = std::make_unique<Source>(path);
  if (!source->open(problem)) return nullptr;
  return source;
}

}  // namespace

std::unique_ptr<BackupSource> open_backup(const std::string& path, std::string& problem) {
  std::error_code error;
  const fs::file_status status = fs::status(library_path(path), error);
  if (fs::is_directory(status)) return opened<BackupDirectory>(path, problem);
  if (fs::is_regular_file(status)) return opened<BackupArchive>(path, problem);
  problem = file_error(path, fs::exists(status) ? EINVAL : ENOENT);
  return nullptr;
}

}  // namespace marigold::inner
