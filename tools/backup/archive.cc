// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <memory>

#include "runtime/core/new_files.h"
#include "tools/common/checksum.h"
#include "tools/common/progress.h"

namespace marigold::inner {
namespace {

struct Free {
  void operator()(archive* one) const { archive_free(one); }
  void operator()(archive_entry* one) const { archive_entry_free(one); }
};
using Archive = std::unique_ptr<archive, Free>;
using Entry = std::unique_ptr<archive_entry, Free>;

int error_of(archive* one) {
  const int number = archive_errno(one);
  return number > 0 ? number : EIO;
}

class ArchiveWriter {
 public:
  ArchiveWriter() : out_(archive_write_new()), disk_(archive_read_disk_new()) {}

  int open(FileWriter& file) {
    if (out_ == nullptr || disk_ == nullptr) return ENOMEM;
    archive_read_disk_set_standard_lookup(disk_.get());
    // A library without zstd would call a program of its own choice for the compression.
    if (archive_write_add_filter_zstd(out_.get()) != ARCHIVE_OK) return ENOTSUP;
    if (archive_write_set_format_pax_restricted(out_.get()) != ARCHIVE_OK)
      return error_of(out_.get());
    archive_write_set_bytes_in_last_block(out_.get(), 1);
    out_file_ = &file;
    return archive_write_open(out_.get(), this, nullptr, write_some, nullptr) == ARCHIVE_OK
               ? 0
               : error_of(out_.get());
  }

  int add(const std::string& path, const std::string& name) {
    RecordFile file;
    if (const int failed = file.open(path.c_str(), false)) return failed;
    const Entry entry(archive_entry_new());
    if (entry == nullptr) return ENOMEM;
    archive_entry_copy_sourcepath(entry.get(), path.c_str());
    if (archive_read_disk_entry_from_file(disk_.get(), entry.get(), -1, nullptr) < ARCHIVE_WARN)
      return error_of(disk_.get());
    archive_entry_copy_pathname(entry.get(), name.c_str());
    if (archive_write_header(out_.get(), entry.get()) != ARCHIVE_OK) return error_of(out_.get());
    int failed = 0;
    const int not_read = read_in_pieces(file, [&](std::string_view bytes) {
      failed = stop_signals_pending() ? EINTR : write(bytes);
      return failed == 0;
    });
    return failed != 0 ? failed : not_read;
  }

  int close() { return archive_write_close(out_.get()) == ARCHIVE_OK ? 0 : error_of(out_.get()); }

 private:
  int write(std::string_view bytes) {
    const la_ssize_t count = archive_write_data(out_.get(), bytes.data(), bytes.size());
    if (count < 0) return error_of(out_.get());
    return static_cast<std::size_t>(count) == bytes.size() ? 0 : EIO;
  }

  static la_ssize_t write_some(archive* out, void* self, const void* bytes, std::size_t count) {
    auto* writer = static_cast<ArchiveWriter*>(self);
    const int failed = writer->out_file_->write({static_cast<const char*>(bytes), count});
    if (failed == 0) return static_cast<la_ssize_t>(count);
    archive_set_error(out, failed, "not written");
    return -1;
  }

  Archive out_;
  Archive disk_;
  FileWriter* out_file_ = nullptr;
};

int write_all(const BackupTree& tree, const BackupManifest& manifest, FileWriter& file,
              const std::string& path) {
  Progress progress(path);
  ArchiveWriter writer;
  int failed = writer.open(file);
  if (failed == 0) failed = writer.add(tree.path_of(kManifestName), kManifestName);
  const auto parts = manifest.parts();
  for (std::size_t i = 0; failed == 0 && i < parts.size(); ++i) {
    progress.at(i, parts.size());
    failed = writer.add(tree.path_of(parts[i]->name), parts[i]->name);
  }
  const int not_closed = writer.close();
  return failed == 0 ? not_closed : failed;
}

}  // namespace

bool write_archive(const BackupTree& tree, const BackupManifest& manifest, const std::string& path,
                   std::string& reason) {
  NewFiles fresh(path);
  FileWriter file;
  if (!fresh.make("", file, reason)) return false;
  if (const int failed = write_all(tree, manifest, file, path)) {
    reason = file_error(path, failed);
    return false;
  }
  // For its owner only: in a backup's directory the directory protects the files.
  int failed = file.sync();
  if (failed == 0) failed = file.close();
  if (failed != 0) reason = file_error(path, failed);
  return failed == 0 && fresh.put_in_place(reason);
}

}  // namespace marigold::inner
