// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/code_set.h"
#include "tools/texts/commands.h"
#include "tools/texts/po_file.h"
#include "tools/texts/text_database.h"
#include "tools/texts/text_id.h"

namespace marigold::inner {
namespace {

// The records of the new database, and the facts noted while they are collected.
struct Collection {
  std::map<std::string, std::string> texts;    // in the code set, without their zero bytes
  std::map<std::string, std::string> defined;  // place in its file: "german.po:12"
  Problems problems;
  Problems warnings;
};

class TextCollector {
 public:
  TextCollector(const CodeSet& code_set, bool use_fuzzy, Collection& collection)
      : code_set_(code_set), use_fuzzy_(use_fuzzy), collection_(collection) {}

  void collect(const PoFile& file) {
    std::size_t fuzzy = 0;
    std::size_t untranslated = 0;
    for (const PoEntry& entry : file.entries) {
      if (!entry.has_text()) {
        ++untranslated;
      } else if (entry.fuzzy && !use_fuzzy_) {
        ++fuzzy;
      } else {
        take(file, entry);
      }
    }
    if (fuzzy + untranslated == 0) return;
    collection_.warnings.push_back(file.path + ": " + counted(fuzzy + untranslated, "text") +
                                   " left out: " + std::to_string(fuzzy) + " fuzzy, " +
                                   std::to_string(untranslated) + " not translated");
  }

 private:
  void take(const PoFile& file, const PoEntry& entry) {
    const std::string place = at_line(file.path, entry.line);
    std::string id;
    std::string text;
    if (!convert(place, entry.id, id) || !convert(place, entry.text, text)) return;
    const auto [known, is_new] =
        collection_.defined.emplace(id, file.path + ":" + std::to_string(entry.line));
    if (!is_new) {
      collection_.problems.push_back(place + po_quote(entry.id) + " has a text already (" +
                                     known->second + ")");
      return;
    }
    const std::string whose = place + po_quote(entry.id) + ": ";
    warn_if_long(whose, "the id", id);
    warn_if_long(whose, "the text", text);
    collection_.texts.emplace(std::move(id), std::move(text));
  }

  bool convert(const std::string& place, const std::string& text, std::string& bytes) {
    const std::size_t lacking = code_set_.to_bytes(text, bytes);
    if (lacking == std::string::npos) return true;
    collection_.problems.push_back(place + code_set_.describe_lacking(text, lacking));
    return false;
  }

  void warn_if_long(const std::string& whose, std::string_view what, const std::string& bytes) {
    if (bytes.size() <= kLongestText) return;
    collection_.warnings.push_back(whose + describe_length(what, bytes.size()));
  }

  const CodeSet& code_set_;
  bool use_fuzzy_;
  Collection& collection_;
};

// Returns the records in the order of their ids, so that the order of the PO files does not change
// the bytes of the database.
std::vector<TextRecord> make_records(const std::map<std::string, std::string>& texts) {
  std::vector<TextRecord> records;
  records.reserve(texts.size());
  for (const auto& [id, text] : texts)
    records.push_back({id + '\0', text + '\0'});
  return records;
}

// A directory is a mistake of a user who wants the database in it, not beside it.
bool names_a_database(const std::string& path) {
  std::error_code unknown;
  return library_path(path).has_filename() &&
         !std::filesystem::is_directory(library_path(path), unknown);
}

bool has_text(const std::vector<TextRecord>& records) {
  const auto is_text = [](const TextRecord& record) {
    return record.value.size() > 1;  // more than its zero byte
  };
  return std::ranges::any_of(records, is_text);
}

// Whether texts would be lost: those of an existing database, also of one that cannot be read.
bool database_has_text(const std::string& path) {
  std::vector<TextRecord> records;
  std::string reason;
  return file_exists((path + ".pag").c_str()) &&
         (!text_database_read(path, records, reason) || has_text(records));
}

}  // namespace

int texts_build(const TextsBuild& options) {
  CodeSet code_set;
  std::string reason;
  if (!code_set.open_for_texts(options.code_set, reason))
    return report_unusable({"marigold: " + reason});
  Collection collection;
  TextCollector collector(code_set, options.use_fuzzy, collection);
  for (const std::string& input : options.inputs) {
    PoFile file;
    if (po_load(input, file, collection.problems)) collector.collect(file);
  }
  for (const std::string& warning : collection.warnings)
    report(warning);
  if (!collection.problems.empty()) return report_unusable(collection.problems);
  const std::string path = text_database_path(options.output);
  if (!names_a_database(path)) {
    return report_unusable({options.output + ": is a directory; name the database in it, textdb"});
  }
  const std::vector<TextRecord> records = make_records(collection.texts);
  if (!has_text(records) && !options.force && database_has_text(path)) {
    return report_unusable({path + ": is not replaced: the PO files have no text for it" +
                            " (with --force it becomes an empty database)"});
  }
  if (!text_database_write(path, records, reason)) return report_unusable({reason});
  if (options.verbose || stream_is_terminal(Stream::kError))
    report(path + ": " + counted(records.size(), "text"));
  return kExitClean;
}

}  // namespace marigold::inner
