#include "runtime/data/version.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string_view>

#include "runtime/core/user_interface.h"
#include "runtime/data/data_path.h"
#include "runtime/platform/file.h"

namespace marigold {
namespace {

constexpr int kRecordNotWritten = 12;

std::string record_path(const FileDefinition& file) {
  return data_path(file) + ".ver";
}

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// The first word of a text file that is no comment, "" when there is none. Versions are short:
// what lies behind the first bytes is not looked at.
std::string first_word(const std::string& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) return "";
  std::array<char, 4096> bytes{};
  const std::size_t length = std::fread(bytes.data(), 1, bytes.size(), file.get());
  std::string_view rest(bytes.data(), length);
  constexpr std::string_view kBlanks = " \t\r\n";
  for (;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (!rest.starts_with('#')) return std::string(rest.substr(0, rest.find_first_of(kBlanks)));
    rest.remove_prefix(std::min(rest.find('\n'), rest.size()));
  }
}

}  // namespace

std::string version_text(double version) {
  constexpr int kMostDigits = 12;
  constexpr int kMostDecimals = 5;
  if (version == 0) return "0";
  const int digits =
      std::clamp(static_cast<int>(std::log10(std::fabs(version)) + 1), 1, kMostDigits);
  const int decimals = std::min(kMostDigits - digits, kMostDecimals);
  std::array<char, 400> bytes{};
  std::snprintf(bytes.data(), bytes.size(), "%*.*f", digits, decimals, version);
  std::string text = bytes.data();
  if (decimals == 0) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.') || text.ends_with(',')) text.pop_back();
  return text;
}

double version_read_file(const FileDefinition& file) {
  const std::string word = first_word(record_path(file));
  double version = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), version);
  const bool whole = error == std::errc{} && end == word.data() + word.size();
  return whole ? version : -static_cast<double>(file.version);
}

void version_write_file(const FileDefinition& file, double version) {
  const std::string path = record_path(file);
  const std::string fresh = path + ".new";
  if (file_write(fresh.c_str(), version_text(version) + "\n") == 0 &&
      file_sync(fresh.c_str()) == 0 && file_replace(fresh.c_str(), path.c_str()) == 0)
    return;
  file_remove(fresh.c_str());
  raise_fatal(kRecordNotWritten);
}

}  // namespace marigold
