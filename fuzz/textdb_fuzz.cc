// SPDX-License-Identifier: GPL-3.0-or-later
// The text database on any bytes: an input is the .pag file.
//
// Promised: opening fails with a reason, or every fetch gives a terminated text, nothing, or the
// fault that ends the process. In the fuzzer the end of the process is an exception: the program is
// linked so that calls of exit come here (see CMakeLists.txt).

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "fuzz/fuzz_input.h"
#include "runtime/texte/text_store.h"

namespace {

constexpr int kFaultStatus = -1;

struct ProcessEnd {
  int status;
};

// Distinguishes the store's calls of exit from the fuzzer's own.
bool in_store = false;

}  // namespace

extern "C" [[noreturn]] void __real_exit(int status);
extern "C" [[noreturn]] void __wrap_exit(int status);
void __wrap_exit(int status) {
  if (in_store) throw ProcessEnd{status};
  __real_exit(status);
}

namespace marigold::inner::fuzz {
namespace {

// Ids of the seed's texts, an id that the seed lacks, and the empty id.
constexpr const char* kIds[] = {"GREET",   "GREET+", "GREET+1", "LONG", "SYSDEF.systxt_back",
                                "MISSING", ""};

std::string directory;

std::string store_path() {
  return directory + "/textdb";
}

// Makes an empty store. Its .dir file stays and fits every .pag file.
void make_store() {
  std::string path = store_path();
  DBM* store = dbm_open(path.data(), O_RDWR | O_CREAT, 0600);
  require(store != nullptr);
  dbm_close(store);
}

void remove_directory() {
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
}

// Overwrites the file in place: some file systems write a file to the disk that is truncated first.
void write_file(const std::string& path, const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(path.c_str(), "r+b");
  require(file != nullptr);
  require(size == 0 || std::fwrite(data, 1, size, file) == size);
  require(std::fclose(file) == 0);
  std::filesystem::resize_file(path, size);
}

void read_texts(const std::string& path, std::size_t file_size) {
  TextStore store;
  if (!store.open(path)) {
    require(errno != 0);
    return;
  }
  for (const char* id : kIds) {
    const char* text = store.fetch(id);
    require(text == nullptr || std::strlen(text) <= file_size);
  }
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  using marigold::inner::fuzz::directory;
  directory = std::filesystem::temp_directory_path() / "textdb_fuzz-XXXXXX";
  marigold::inner::fuzz::require(mkdtemp(directory.data()) != nullptr);
  std::atexit(marigold::inner::fuzz::remove_directory);
  marigold::inner::fuzz::make_store();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = marigold::inner::fuzz::store_path();
  marigold::inner::fuzz::write_file(path + ".pag", data, size);
  in_store = true;
  try {
    marigold::inner::fuzz::read_texts(path, size);
  } catch (const ProcessEnd& end) {
    marigold::inner::fuzz::require(end.status == kFaultStatus);
  }
  in_store = false;
  return 0;
}
