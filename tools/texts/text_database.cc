// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/text_database.h"

#include <gdbm.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "runtime/core/new_files.h"
#include "runtime/platform/stop_signals.h"
#include "tools/common/report.h"

namespace marigold::inner {
namespace {

struct Closer {
  void operator()(GDBM_FILE store) const { gdbm_close(store); }
};
using Store = std::unique_ptr<std::remove_pointer_t<GDBM_FILE>, Closer>;

std::string store_error(const std::string& path, gdbm_error code, int system_error) {
  std::string message = path + ": " + gdbm_strerror(code);
  if (gdbm_check_syserr(code) != 0) message.append(": ").append(std::strerror(system_error));
  return message;
}

// The store's interface lacks const.
datum as_datum(const std::string& bytes) {
  return {const_cast<char*>(bytes.data()), static_cast<int>(bytes.size())};
}

bool store_all(GDBM_FILE store, const std::string& path, std::span<const TextRecord> records,
               std::string& reason) {
  for (const TextRecord& record : records) {
    if (stop_signals_pending()) {
      reason = file_error(path, EINTR);
      return false;
    }
    if (gdbm_store(store, as_datum(record.key), as_datum(record.value), GDBM_INSERT) != 0) {
      reason = store_error(path, gdbm_last_errno(store), errno);
      return false;
    }
  }
  // Closing the store would not report a failed write.
  if (gdbm_sync(store) == 0) return true;
  reason = store_error(path, gdbm_last_errno(store), errno);
  return false;
}

// Fills a store in the file that was made for it.
bool fill_store(const FileWriter& file, const std::string& path,
                std::span<const TextRecord> records, std::string& reason) {
  const LibraryFile shared = file.share();
  if (shared < 0) {
    reason = file_error(path, errno);
    return false;
  }
  constexpr int kFlags = GDBM_NEWDB | GDBM_NOLOCK | GDBM_CLOERROR;
  constexpr int kBlockSize = 4096;  // not the system's: the same texts are the same bytes on any
  errno = 0;
  const Store store(gdbm_fd_open(shared, path.c_str(), kBlockSize, kFlags, nullptr));
  if (store != nullptr) return store_all(store.get(), path, records, reason);
  reason = store_error(path, gdbm_errno, errno);
  return false;
}

// The contents of the companion: a word and the version of the library.
std::string companion_contents() {
  std::string bytes = "GDBM";
  for (const int number : {GDBM_VERSION_MAJOR, GDBM_VERSION_MINOR, GDBM_VERSION_PATCH}) {
    for (const int shift : {24, 16, 8, 0})
      bytes += static_cast<char>(number >> shift & 0xFF);
  }
  return bytes;
}

// The database being read, for the function that the store calls when it cannot go on. That
// function gets only the reason, and must not return.
struct ReadState {
  std::string file;
};
ReadState reading;

[[noreturn]] void end_with_store_fault(const char* reason) {
  report(reading.file + ": " + reason);
  std::_Exit(kExitUnusable);
}

}  // namespace

std::string text_database_path(std::string_view given) {
  for (const std::string_view suffix : {".pag", ".dir"}) {
    if (given.ends_with(suffix)) given.remove_suffix(suffix.size());
  }
  return std::string(given);
}

bool text_database_write(const std::string& path, std::span<const TextRecord> records,
                         std::string& reason) {
  working_on(path);
  NewFiles files(path);
  if (!files.make_directories(reason)) return false;
  // A reader looks for .pag, opens it and then .dir; if .dir is missing, the store leaves an empty
  // one, which no later reader accepts. So .dir is installed first. Between the two steps a reader
  // has the old .pag with the new .dir, which is harmless: .dir holds only the store's name and
  // version, and all texts are in .pag.
  FileWriter companion;
  FileWriter store;
  if (!files.make(".dir", companion, reason) || !files.make(".pag", store, reason)) return false;
  if (const int error = companion.write(companion_contents())) {
    reason = file_error(path + ".dir", error);
    return false;
  }
  return fill_store(store, path, records, reason) && files.finish(".dir", companion, reason) &&
         files.finish(".pag", store, reason) && files.put_in_place(reason);
}

bool text_database_read(const std::string& path, std::vector<TextRecord>& records,
                        std::string& reason) {
  working_on(path);
  // Not through the ndbm interface: it needs .dir, and spoils a database that has lost it (see
  // text_database_write).
  const std::string& file = reading.file = path + ".pag";
  errno = 0;
  // Not mapped, so that a file that is cut meanwhile is a damaged file and not a signal.
  constexpr int kFlags = GDBM_READER | GDBM_NOMMAP;
  const Store store(gdbm_open(file.c_str(), 0, kFlags, 0, end_with_store_fault));
  if (store == nullptr) {
    reason = store_error(file, gdbm_errno, errno);
    return false;
  }
  using Bytes = std::unique_ptr<char, decltype(&std::free)>;
  const auto to_string = [](const Bytes& bytes, int size) {
    return std::string(bytes.get(), static_cast<std::size_t>(size));
  };
  for (datum key = gdbm_firstkey(store.get()); key.dptr != nullptr;) {
    const Bytes key_bytes(key.dptr, &std::free);
    const datum value = gdbm_fetch(store.get(), key);
    const Bytes value_bytes(value.dptr, &std::free);
    if (value.dptr == nullptr) break;
    records.push_back({to_string(key_bytes, key.dsize), to_string(value_bytes, value.dsize)});
    key = gdbm_nextkey(store.get(), key);
  }
  const gdbm_error end = gdbm_last_errno(store.get());
  if (end == GDBM_ITEM_NOT_FOUND) return true;
  reason = store_error(file, end, errno);
  return false;
}

}  // namespace marigold::inner
