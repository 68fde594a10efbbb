// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/startup_files.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

#include "runtime/texte/sysmsg.h"

#include <gdbm.h>
extern "C" {
#include <ndbm.h>
}

namespace marigold::inner::bench {
namespace {

namespace fs = std::filesystem;

using Texts = std::map<std::string, std::string>;

struct Closer {
  void operator()(DBM* store) const { dbm_close(store); }
};

Texts program_texts() {
  Texts texts{{kGreetingId, kGreeting}};
  for (int number = 1; number < kTexts; ++number) {
    const std::string digits = std::to_string(number);
    texts["TEXT_" + digits] = "Text number " + digits + " of the program, with %s and %d in it";
  }
  return texts;
}

Texts with_system_texts(Texts texts) {
  for (const CatalogueEntry& entry : sysmsg_entries()) {
    texts[std::string("SYSDEF.") + entry.key] = "translated " + std::string(entry.built_in);
  }
  return texts;
}

// Returns the bytes of a text with its zero byte, in the store's type: changeable, but never
// changed.
datum as_datum(const std::string& text) {
  return {const_cast<char*>(text.c_str()), static_cast<int>(text.size() + 1)};
}

bool make_database(const fs::path& directory, const Texts& texts) {
  fs::create_directories(directory);
  std::string path = directory / "textdb";
  const std::unique_ptr<DBM, Closer> store(dbm_open(path.data(), O_RDWR | O_CREAT | O_TRUNC, 0644));
  bool done = store != nullptr;
  for (auto text = texts.begin(); done && text != texts.end(); ++text) {
    done = dbm_store(store.get(), as_datum(text->first), as_datum(text->second), DBM_INSERT) == 0;
  }
  if (!done) std::perror(path.c_str());
  return done;
}

bool write_catalogue_source(const fs::path& path, const Texts& texts) {
  std::FILE* source = std::fopen(path.c_str(), "w");
  if (source == nullptr) return false;
  std::fputs("msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n", source);
  for (const auto& [id, text] : texts) {
    std::fprintf(source, "\nmsgid \"%s\"\nmsgstr \"%s\"\n", id.c_str(), text.c_str());
  }
  return std::fclose(source) == 0;
}

bool run_msgfmt(std::string output, std::string source) {
  std::string program = "msgfmt";
  std::string option = "-o";
  char* words[] = {program.data(), option.data(), output.data(), source.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, words[0], nullptr, nullptr, words, environ) != 0) return false;
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}

void make_catalogue(const fs::path& directory, const Texts& texts) {
  const fs::path folder = directory / kCatalogueLanguage / "LC_MESSAGES";
  fs::create_directories(folder);
  const fs::path stem = folder / kDomain;
  const fs::path source = fs::path(stem).replace_extension(".po");
  if (!write_catalogue_source(source, texts) ||
      !run_msgfmt(fs::path(stem).replace_extension(".mo"), source)) {
    std::fputs("startup: no catalogue for gettext: msgfmt (package gettext) failed\n", stderr);
  }
}

}  // namespace

bool startup_files_make(const std::string& directory) {
  try {
    const fs::path locale = fs::path(directory) / "locale";
    const Texts texts = program_texts();
    make_catalogue(fs::path(directory) / kCatalogueDirectory, texts);
    return make_database(locale / kPlainLanguage, texts) &&
           make_database(locale / kTranslatedLanguage, with_system_texts(texts));
  } catch (const fs::filesystem_error& error) {
    std::fprintf(stderr, "startup: %s\n", error.what());
    return false;
  }
}

}  // namespace marigold::inner::bench
