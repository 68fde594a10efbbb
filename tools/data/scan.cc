// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/named_file.h"
#include "runtime/texte/syserr.h"
#include "tools/common/json_text.h"
#include "tools/common/report.h"
#include "tools/data/commands.h"

namespace marigold::inner {
namespace {

// Greatest length of a token in a message; longer tokens have unbalanced quotes.
constexpr std::size_t kShownOfToken = 40;

struct Finding {
  std::string file;
  int line = 0;
  int number = 0;  // of the system error; 0 for a well-formed definition
  std::string message;
  std::string expected = {};
  std::string found = {};
};

struct Counts {
  std::size_t files = 0;
  std::size_t fields = 0;
  std::size_t keys = 0;
};

struct Result {
  std::string output;
  bool errors = false;
  Problems unreadable;
};

// Returns the token on one line, cut to a readable length.
std::string shown(std::string token) {
  if (token.empty()) return "the end of the set";
  if (token.size() > kShownOfToken) token = token.substr(0, kShownOfToken) + "...";
  std::ranges::replace_if(
      token, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  return "\"" + token + "\"";
}

Finding as_finding(const std::string& path, const ScanError& error) {
  SystemText text;
  syserr_text(text, error.number);
  return {.file = path,
          .line = error.line,
          .number = error.number,
          .message = std::string(text.view()) + ": expected " + error.expected + ", found " +
                     shown(error.found),
          .expected = error.expected,
          .found = error.found};
}

// Returns the reason why a file of this well-formed definition cannot be opened; "" if it can.
std::string hindrance(const FileDefinition& definition) {
  if (definition.type == FileType::kChained) return "";  // no program opens them
  if (definition.used_length >= definition.record_length)
    return "LEN leaves no byte after the fields for the deletion marker";
  if (definition.type == FileType::kIsam && definition.record_length > kIsLongestRecord)
    return "LEN is more than the " + std::to_string(kIsLongestRecord) +
           " bytes that a keyed file takes";
  return "";
}

std::vector<Finding> findings_of(const std::string& path, const DefinitionScan& scan) {
  std::vector<Finding> findings;
  for (const ScanError& error : scan.errors)
    findings.push_back(as_finding(path, error));
  for (const ScannedFile& file : scan.files) {
    const std::string reason = hindrance(*file.definition);
    if (!reason.empty())
      findings.push_back({.file = path,
                          .line = file.line,
                          .message = std::string(file.definition->name.view()) + ": " + reason});
  }
  std::ranges::stable_sort(findings, {}, &Finding::line);
  return findings;
}

std::string written(const Finding& finding, bool json) {
  if (!json) return at_line(finding.file, finding.line) + finding.message + "\n";
  Json object =
      Json::object({{"file", finding.file}, {"line", finding.line}, {"message", finding.message}});
  if (finding.number != 0) {
    object.set("error", finding.number);
    object.set("expected", finding.expected);
    object.set("found", finding.found);
  }
  return object.line();
}

std::string summary(const std::string& path, const DefinitionScan& scan, bool json) {
  Counts counts{.files = scan.files.size()};
  for (const ScannedFile& file : scan.files) {
    counts.fields += file.definition->fields.size();
    counts.keys += static_cast<std::size_t>(file.definition->keys.key_count);
  }
  if (!json)
    return path + ": " + counted(counts.files, "file") + ", " + counted(counts.fields, "field") +
           ", " + counted(counts.keys, "key") + "\n";
  return Json::object({{"file", path},
                       {"files", counts.files},
                       {"fields", counts.fields},
                       {"keys", counts.keys}})
      .line();
}

void scan_set(const std::string& path, bool json, Result& result) {
  std::string text;
  const int error = file_read(path.c_str(), text);
  if (error != 0) {
    result.unreadable.push_back(file_error(path, error));
    return;
  }
  const DefinitionScan scan = scan_definitions(text, AfterScanError::kNextDefinition);
  const std::vector<Finding> findings = findings_of(path, scan);
  for (const Finding& finding : findings)
    result.output += written(finding, json);
  if (scan.errors.empty()) result.output += summary(path, scan, json);
  result.errors = result.errors || !findings.empty();
}

}  // namespace

int data_scan(const DataScan& options) {
  settings_read();
  Result result;
  for (const std::string& set : options.sets)
    scan_set(definition_path_of(set), options.json, result);
  const int status = write_output(result.output, result.errors ? kExitFindings : kExitClean);
  return result.unreadable.empty() ? status : report_unusable(result.unreadable);
}

}  // namespace marigold::inner
