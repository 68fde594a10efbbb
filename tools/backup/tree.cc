// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/tree.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "runtime/core/new_files.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "tools/common/checksum.h"

namespace marigold::inner {
namespace {

bool fail(const std::string& path, int error, std::string& reason) {
  reason = file_error(path, error);
  return false;
}

// Made first, locked until the backup is whole, and written last.
std::string manifest_path(const std::string& directory) {
  return path_join(directory, kManifestName);
}

// Whether a manifest without a lock may be that of a live run, which closes a written manifest and
// then renames the directory: some systems refuse to rename one with an open file in it.
bool is_just_written(const RecordFile& manifest, const std::string& path) {
  constexpr auto kMoment = std::chrono::minutes(1);
  std::uint64_t size = 0;
  std::error_code failed;
  const auto changed = std::filesystem::last_write_time(library_path(path), failed);
  if (manifest.size(size) != 0 || failed) return true;
  return size > 0 && std::filesystem::file_time_type::clock::now() - changed < kMoment;
}

// Removes a tree while its manifest is locked. Some systems keep a directory in which a file is
// open, so the rest goes once the manifest is closed.
void remove_with_lock(const std::string& tree, RecordFile& manifest) {
  static_cast<void>(file_remove_tree(tree.c_str()));
  manifest.close();
  static_cast<void>(file_remove_tree(tree.c_str()));
}

// A leftover that cannot be removed may stay: it is in no one's way.
void remove_abandoned(const std::string& path) {
  for (const std::string& left : new_files_abandoned(path)) {
    RecordFile manifest;
    const std::string path_of_manifest = manifest_path(left);
    const int failed = manifest.open_own(path_of_manifest.c_str(), true);
    if (failed == ENOENT) static_cast<void>(file_remove_directory(left.c_str()));
    if (failed == ENOTDIR) static_cast<void>(file_remove(left.c_str()));  // an archive
    if (failed == 0 && manifest.lock(kFileAliveLock, 1, true) == 0 &&
        !is_just_written(manifest, path_of_manifest))
      remove_with_lock(left, manifest);
  }
}

// Makes a directory with a locked manifest. Until the manifest exists another run may remove the
// directory.
int make_locked(const std::string& path, RecordFile& manifest) {
  constexpr int kMostTimes = 10;
  int failed = ENOENT;
  for (int time = 0; failed == ENOENT && time < kMostTimes; ++time) {
    failed = file_make_own_directory(path.c_str());
    if (failed != 0) return failed;
    failed = manifest.create(manifest_path(path).c_str(), NewFileAccess::kOwnerOnly);
  }
  return failed == 0 ? manifest.lock(kFileAliveLock, 1, true) : failed;
}

}  // namespace

BackupTree::BackupTree(const std::string& path)
    : path_(path_without_end(path)), temporary_(new_file_name(path_)) {}

BackupTree::~BackupTree() {
  if (made_) remove();
}

bool BackupTree::make(std::string& reason) {
  std::error_code unknown;
  const std::filesystem::path path = library_path(path_);
  const auto status = std::filesystem::symlink_status(path, unknown);
  const bool empty =
      std::filesystem::is_directory(status) && std::filesystem::is_empty(path, unknown) && !unknown;
  if (std::filesystem::exists(status) && !empty) return fail(path_, EEXIST, reason);
  remove_abandoned(path_);
  const int error = make_locked(temporary_, manifest_);
  made_ = error != EEXIST;
  return error == 0 || fail(path_, error, reason);
}

bool BackupTree::make_class(int path_class, std::string& reason) {
  const int error = file_make_own_directory(path_of(std::to_string(path_class)).c_str());
  return error == 0 || fail(path_, error, reason);
}

bool BackupTree::add_bytes(const std::string& name, const std::string& bytes,
                           const std::string& like, BackupPart& part, std::string& reason) {
  FileWriter file;
  int error = file.make(path_of(name).c_str(), NewFileAccess::kOwnerOnly);
  if (error == 0) error = file.write(bytes);
  if (error == 0) error = file.take_access(like.c_str());
  if (error == 0) error = file.sync();
  if (error == 0) error = file.close();
  return error == 0 ? describe(name, part, reason) : fail(path_join(path_, name), error, reason);
}

bool BackupTree::describe(const std::string& name, BackupPart& part, std::string& reason) const {
  part = {.name = name, .size = 0, .checksum = ""};
  RecordFile file;
  Checksum checksum;
  int error = file.open(path_of(name).c_str(), false);
  if (error == 0) {
    error = read_in_pieces(file, [&](std::string_view bytes) {
      checksum.add(bytes);
      part.size += bytes.size();
      return !stop_signals_pending();
    });
  }
  part.checksum = checksum.take();
  return error == 0 || fail(path_join(path_, name), error == ECANCELED ? EINTR : error, reason);
}

bool BackupTree::finish(const BackupManifest& manifest, std::string& reason) {
  int error = 0;
  for (const BackupClass& one : manifest.classes) {
    const std::string inside = path_of(path_join(std::to_string(one.number), kManifestName));
    if (error == 0) error = file_sync_directory(inside.c_str());
  }
  const std::string path = path_of(kManifestName);
  if (error == 0) error = manifest_.write(0, manifest_text(manifest));
  if (error == 0) error = manifest_.sync();
  if (error == 0) error = file_sync_directory(path.c_str());
  return error == 0 || fail(path_join(path_, kManifestName), error, reason);
}

bool BackupTree::put_in_place(std::string& reason) {
  manifest_.close();
  const int error =
      stop_signals_pending() ? EINTR : file_replace(temporary_.c_str(), path_.c_str());
  if (error != 0) return fail(path_, error, reason);
  made_ = false;
  return true;
}

void BackupTree::remove() {
  remove_with_lock(temporary_, manifest_);
}

void BackupTree::end_if_stopped() {
  if (!stop_signals_pending()) return;
  remove();
  stop_signals_release();  // the signal takes effect here
  stop_signals_hold();
}

}  // namespace marigold::inner
