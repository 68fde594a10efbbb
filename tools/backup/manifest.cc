// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/manifest.h"

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <sstream>

#include "runtime/data/access/isam_access.h"
#include "tools/common/checksum.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kFirstLine = "marigold-backup 1";
constexpr int kLastClass = 30;
constexpr std::size_t kChecksumLength = 64;

std::string part_line(const BackupPart& part) {
  return "part " + part.name + " " + std::to_string(part.size) + " " + part.checksum + "\n";
}

bool is_checksum(const std::string& text) {
  return text.size() == kChecksumLength &&
         text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

class Parser {
 public:
  explicit Parser(BackupManifest& manifest) : manifest_(manifest) {}

  bool line(const std::string& text) {
    std::istringstream words(text);
    std::string kind;
    words >> kind;
    const bool taken = kind == "class"  ? take_class_line(words)
                       : kind == "file" ? take_file(words)
                       : kind == "part" ? take_part(words)
                                        : false;
    std::string more;
    return taken && !(words >> more);
  }

 private:
  bool take_class_line(std::istream& words) {
    BackupClass one;
    if (!(words >> one.number >> one.moment) || one.number < 0 || one.number > kLastClass)
      return false;
    const auto same = [&](const BackupClass& other) { return other.number == one.number; };
    if (std::ranges::any_of(manifest_.classes, same)) return false;
    manifest_.classes.push_back(std::move(one));
    in_file_ = false;
    return true;
  }

  bool take_file(std::istream& words) {
    BackupFile file;
    std::string type;
    if (manifest_.classes.empty() || !(words >> file.name >> type)) return false;
    if (!(words >> file.version >> file.layout >> file.records)) return false;
    if ((type != "keyed" && type != "random") || !fits_in_backup(file.name)) return false;
    if (file.records < 0 || !names_.insert(file.name).second) return false;
    file.type = type == "keyed" ? FileType::kIsam : FileType::kRandom;
    file.path_class = manifest_.classes.back().number;
    manifest_.files.push_back(std::move(file));
    in_file_ = true;
    return true;
  }

  // No name comes from outside: a part has one of the few names that its owner determines.
  [[nodiscard]] bool is_expected(const std::string& name) const {
    if (manifest_.classes.empty()) return false;
    if (!in_file_) return name == std::to_string(manifest_.classes.back().number) + "/PATHCONV.ver";
    const BackupFile& file = manifest_.files.back();
    if (name == file.stem() + ".ver") return true;
    return file.type == FileType::kIsam
               ? name == file.stem() + ".dat" || name == file.stem() + ".idx"
               : name == file.stem();
  }

  bool take_part(std::istream& words) {
    BackupPart part;
    if (!(words >> part.name >> part.size >> part.checksum)) return false;
    if (!is_checksum(part.checksum) || !is_expected(part.name)) return false;
    if (!parts_.insert(part.name).second) return false;
    (in_file_ ? manifest_.files.back().parts : manifest_.classes.back().parts)
        .push_back(std::move(part));
    return true;
  }

  BackupManifest& manifest_;
  bool in_file_ = false;
  std::set<std::string> names_;
  std::set<std::string> parts_;
};

// A backup of a file has all of its parts.
bool has_its_parts(const BackupFile& file) {
  const auto has = [&file](const std::string& name) {
    return std::ranges::any_of(file.parts, [&](const auto& part) { return part.name == name; });
  };
  const std::string stem = file.stem();
  const bool data =
      file.type == FileType::kIsam ? has(stem + ".dat") && has(stem + ".idx") : has(stem);
  return data && has(stem + ".ver") == (file.version != "-");
}

}  // namespace

std::vector<const BackupPart*> BackupManifest::parts() const {
  std::vector<const BackupPart*> all;
  for (const BackupClass& one : classes) {
    for (const BackupPart& part : one.parts)
      all.push_back(&part);
  }
  for (const BackupFile& file : files) {
    for (const BackupPart& part : file.parts)
      all.push_back(&part);
  }
  return all;
}

std::string layout_of(const FileDefinition& file) {
  std::string word = std::to_string(file.record_length);
  if (file.type != FileType::kIsam) return word;
  for (int number = 1; number <= file.keys.key_count; ++number) {
    const KeyDescription key = isam_key(file, number);
    word += key.flags == kIsDuplicatesAllowed ? ":d" : ":u";
    for (const KeyPart& part :
         std::span(key.parts).first(static_cast<std::size_t>(key.part_count))) {
      word.append(",").append(std::to_string(part.start));
      word.append("+").append(std::to_string(part.length));
      word.append("/").append(std::to_string(part.type));
    }
  }
  return word;
}

bool fits_in_backup(std::string_view name) {
  const auto fits = [](char one) { return static_cast<unsigned char>(one) > ' ' && one != '/'; };
  return !name.empty() && name.front() != '.' && std::ranges::all_of(name, fits);
}

std::string manifest_text(const BackupManifest& manifest) {
  std::string text(kFirstLine);
  text += '\n';
  for (const BackupClass& one : manifest.classes) {
    text.append("class ").append(std::to_string(one.number)).append(" ");
    text.append(one.moment).append("\n");
    for (const BackupPart& part : one.parts)
      text += part_line(part);
    for (const BackupFile& file : manifest.files) {
      if (file.path_class != one.number) continue;
      text += "file " + file.name + (file.type == FileType::kIsam ? " keyed " : " random ") +
              file.version + " " + file.layout + " " + std::to_string(file.records) + "\n";
      for (const BackupPart& part : file.parts)
        text += part_line(part);
    }
  }
  Checksum checksum;
  checksum.add(text);
  return text + "end " + checksum.take() + "\n";
}

bool parse_manifest(const std::string& text, BackupManifest& manifest, std::string& reason) {
  const std::size_t end = text.rfind("\nend ");
  const std::string lines = text.substr(0, end == std::string::npos ? 0 : end + 1);
  Checksum checksum;
  checksum.add(lines);
  if (end == std::string::npos || text.substr(end + 1) != "end " + checksum.take() + "\n") {
    reason = "is damaged, or not the manifest of a backup";
    return false;
  }
  Parser parser(manifest);
  std::istringstream input(lines);
  std::string line;
  bool good = std::getline(input, line) && line == kFirstLine;
  int number = 1;
  while (good && std::getline(input, line)) {
    ++number;
    good = parser.line(line);
  }
  if (!good) {
    reason = "line " + std::to_string(number) + " is of another version, or damaged";
    return false;
  }
  const auto whole = std::ranges::find_if_not(manifest.files, has_its_parts);
  if (whole == manifest.files.end()) return true;
  reason = whole->name + " is not whole in it";
  return false;
}

}  // namespace marigold::inner
