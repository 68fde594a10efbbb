#include "runtime/texte/text_store.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/core/user_interface.h"
#include "runtime/platform/file.h"

namespace marigold {
namespace {

constexpr int kReadOnly = 0;  // O_RDONLY of the system, and 0 on all of them

// Matters only where the store makes a file.
constexpr int kFileMode = 0666;

// The name of the store and its version.
constexpr std::int64_t kCompanionSize = 16;

// Asked to read a store whose companion is missing or not of its making (a link to the .pag file,
// from old installations), the library puts an empty file in its place, which no later open
// accepts. So it is not asked.
bool companion_is_good(const std::string& path) {
  const std::int64_t size = file_size(path.c_str());
  if (size == kCompanionSize) return true;
  errno = size < 0 ? ENOENT : EINVAL;
  return false;
}

[[noreturn]] void end_with_store_fault(DBM* store) {
  user_interface().hand_terminal_back();
  std::fprintf(stderr, "gdbm fatal: %s.\n", gdbm_strerror(dbm_error(store)));
  std::exit(-1);
}

}  // namespace

bool TextStore::open(const std::string& path) {
  if (!companion_is_good(path + ".dir")) return false;
  std::string changeable = path;  // the store's interface dates from before const
  errno = 0;
  store_.reset(dbm_open(changeable.data(), kReadOnly, kFileMode));
  if (store_ == nullptr && errno == 0) errno = EINVAL;
  return store_ != nullptr;
}

void TextStore::close() {
  store_.reset();
}

const char* TextStore::fetch(const char* id) {
  const std::size_t key_length = std::strlen(id) + 1;
  const datum value =
      dbm_fetch(store_.get(), datum{const_cast<char*>(id), static_cast<int>(key_length)});
  if (value.dptr == nullptr) {
    if (dbm_error(store_.get()) != 0) end_with_store_fault(store_.get());
    return nullptr;
  }
  const auto size = static_cast<std::size_t>(value.dsize);
  if (std::memchr(value.dptr, '\0', size) != nullptr) return value.dptr;
  unterminated_.assign(value.dptr, size);
  return unterminated_.c_str();
}

}  // namespace marigold
