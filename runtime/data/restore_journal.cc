#include "runtime/data/half_restored.h"

#include <filesystem>
#include <sstream>

#include "runtime/platform/file.h"

namespace marigold {
namespace {

struct Journal {
  std::string run;
  std::string counting;  // the path of the journal that counts
  std::string rest;      // lines: "old NAME" or "new NAME", and others
};

// False when there is none that is whole: then nothing was replaced.
bool read_journal(const std::string& path, Journal& journal) {
  std::string text;
  if (!file_exists(path.c_str())) return false;
  if (file_read(path.c_str(), text) != 0 || !text.ends_with("\nend\n")) return false;
  std::istringstream lines(text);
  std::getline(lines, journal.run);
  std::getline(lines, journal.counting);
  journal.rest = "\n" + text.substr(static_cast<std::size_t>(lines.tellg()));
  return true;
}

bool names(const Journal& journal, const std::string& file) {
  for (const std::string head : {"\nold ", "\nnew "}) {
    for (const char* behind : {"\n", ".dat\n", ".idx\n"}) {
      if (journal.rest.find(head + file + behind) != std::string::npos) return true;
    }
  }
  return false;
}

}  // namespace

bool is_half_restored(const std::string& base) {
  const std::filesystem::path path(base);
  Journal journal;
  Journal counting;
  return read_journal((path.parent_path() / kRestoreJournal).string(), journal) &&
         names(journal, path.filename().string()) && read_journal(journal.counting, counting) &&
         counting.run == journal.run;
}

}  // namespace marigold
