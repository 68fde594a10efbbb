// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/text_store.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"

namespace marigold::inner {
namespace {

constexpr int kReadOnly = 0;  // O_RDONLY of the system, and 0 on all of them

// Has an effect only if the library makes a file.
constexpr int kFileMode = 0666;

// Bytes of the .dir file: the name of the store and its version.
constexpr std::int64_t kCompanionSize = 16;

// Checks the .dir file before the library opens the store. If that file is missing or not the
// library's own (a link to the .pag file, from old installations), the library replaces it by an
// empty file, which no later open accepts.
bool companion_is_good(const std::string& path) {
  const std::int64_t size = file_size(path.c_str());
  if (size == kCompanionSize) return true;
  std::string bytes;
  const int error = size < 0 ? file_read(path.c_str(), bytes) : EINVAL;
  errno = error == 0 ? EINVAL : error;  // 0: another process has just changed it
  return false;
}

[[noreturn]] void end_with_store_fault(gdbm_error reason) {
  user_interface().hand_terminal_back();
  std::fprintf(stderr, "gdbm fatal: %s.\n", gdbm_strerror(reason));
  std::exit(-1);
}

}  // namespace

bool TextStore::open_mapped(const std::string& path) {
  if (!companion_is_good(path + ".dir")) return false;
  std::string changeable = path;  // the library's interface is older than const
  errno = 0;
  store_.reset(dbm_open(changeable.data(), kReadOnly, kFileMode));
  if (store_ == nullptr && errno == 0) errno = EINVAL;
  return store_ != nullptr;
}

bool TextStore::open(const std::string& path) {
  if (!open_mapped(path)) return false;
  // Opening has touched no mapped page yet, so the guard can begin here.
  if (!stop_mapping()) guard_ = std::make_unique<MappingGuard>(gdbm_fdesc(store_->file));
  return true;
}

bool TextStore::open_for_many(const std::string& path) {
  if (!open_mapped(path)) return false;
  guard_ = std::make_unique<MappingGuard>(gdbm_fdesc(store_->file));
  return true;
}

bool TextStore::stop_mapping() {
  int mapped = 0;
  return gdbm_setopt(store_->file, GDBM_SETMMAP, &mapped, sizeof mapped) == 0;
}

void TextStore::end_if_cut() {
  if (guard_ != nullptr && guard_->file_is_shorter()) end_with_store_fault(GDBM_FILE_EOF);
}

void TextStore::read_by_calls() {
  end_if_cut();
  if (guard_ != nullptr && stop_mapping()) guard_.reset();
}

void TextStore::close() {
  end_if_cut();
  store_.reset();
  guard_.reset();
}

const char* TextStore::fetch(const char* id) {
  const std::size_t key_length = std::strlen(id) + 1;
  const datum value =
      dbm_fetch(store_.get(), datum{const_cast<char*>(id), static_cast<int>(key_length)});
  if (guard_ != nullptr && MappingGuard::was_hit()) end_with_store_fault(GDBM_FILE_EOF);
  if (value.dptr == nullptr) {
    const auto error = static_cast<gdbm_error>(dbm_error(store_.get()));
    if (error != GDBM_NO_ERROR) end_with_store_fault(error);
    return nullptr;
  }
  const auto size = static_cast<std::size_t>(value.dsize);
  if (std::memchr(value.dptr, '\0', size) != nullptr) return value.dptr;
  unterminated_.assign(value.dptr, size);
  return unterminated_.c_str();
}

}  // namespace marigold::inner
