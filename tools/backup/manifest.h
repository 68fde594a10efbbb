// SPDX-License-Identifier: GPL-3.0-or-later
// Contents of a backup: its text file MANIFEST. docs/formats/backup.md describes the file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/data/definition/definition.h"

namespace marigold::inner {

inline constexpr const char* kManifestName = "MANIFEST";
// More than any number of files needs.
inline constexpr std::size_t kLongestManifest = std::size_t{16} << 20;

// One file of a backup.
struct BackupPart {
  std::string name;  // "1/BOX.dat": in the backup's directory
  std::uint64_t size = 0;
  std::string checksum;  // SHA-256
};

struct BackupFile {
  std::string name;  // in its definition set
  int path_class = 0;
  FileType type = FileType::kIsam;
  std::string version;       // from its version record; "-" without one
  std::string layout;        // layout_of
  std::int64_t records = 0;  // places of a random file
  std::vector<BackupPart> parts;

  [[nodiscard]] std::string stem() const { return std::to_string(path_class) + "/" + name; }
};

struct BackupClass {
  int number = 0;
  std::string moment;             // "2026-11-22T09:52:33Z"
  std::vector<BackupPart> parts;  // the version record of the class, if any
};

struct BackupManifest {
  std::vector<BackupClass> classes;
  std::vector<BackupFile> files;
  [[nodiscard]] std::vector<const BackupPart*> parts() const;
};

// Returns the record length and the keys of a definition as one word, for comparisons.
std::string layout_of(const FileDefinition& file);

// Whether a file of this name can be in a backup: it is a file name and one word.
bool fits_in_backup(std::string_view name);

std::string manifest_text(const BackupManifest& manifest);

// Returns false and the reason on a failure. Each part occurs once, with the name that its file or
// class determines.
bool parse_manifest(const std::string& text, BackupManifest& manifest, std::string& reason);

}  // namespace marigold::inner
