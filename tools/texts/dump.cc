// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "runtime/core/output_file.h"
#include "runtime/texte/code_set.h"
#include "tools/texts/commands.h"
#include "tools/texts/po_file.h"
#include "tools/texts/text_database.h"
#include "tools/texts/text_id.h"

namespace marigold::inner {
namespace {

// Turns records into entries, and reports each record that PO cannot hold exactly.
class EntryMaker {
 public:
  EntryMaker(const std::string& database, const CodeSet& code_set)
      : database_(database), code_set_(code_set) {}

  void take(const TextRecord& record) {
    PoEntry entry;
    const std::string_view key = without_zero(record.key);
    const std::string_view text = without_zero(record.value);
    if (key.size() == record.key.size()) {
      return leave_out(key, "the key has no zero byte after it, so no reader finds it");
    }
    if (key.empty()) return leave_out(key, "the empty id is that of the header in a PO file");
    if (!convert(key, key, entry.id) || !convert(key, text, entry.text)) return;
    if (text.size() == record.value.size()) {
      complain(key, "the text has no zero byte after it; written as if it had one");
    }
    entries_.push_back(std::move(entry));
  }

  std::vector<PoEntry>& entries() { return entries_; }
  [[nodiscard]] const Problems& problems() const { return problems_; }

 private:
  static std::string_view without_zero(const std::string& bytes) {
    std::string_view text = bytes;
    if (text.ends_with('\0')) text.remove_suffix(1);
    return text;
  }

  bool convert(std::string_view key, std::string_view bytes, std::string& text) {
    constexpr char kRefused[] = {'\0', kPoSeparator};
    const std::size_t refused = bytes.find_first_of(std::string_view(kRefused, sizeof kRefused));
    if (refused != std::string_view::npos) {
      leave_out(key, "a PO file cannot hold the byte " + std::to_string(bytes[refused]));
      return false;
    }
    if (code_set_.to_text(bytes, text) == std::string::npos) return true;
    leave_out(key, "its bytes are not text in the code set " + code_set_.name());
    return false;
  }

  void leave_out(std::string_view key, const std::string& reason) {
    complain(key, "left out: " + reason);
  }

  // Shows bytes beyond ASCII by their numbers, because their meaning is the thing in doubt.
  void complain(std::string_view key, const std::string& what) {
    std::string shown;
    for (const char character : key) {
      const auto byte = static_cast<unsigned char>(character);
      constexpr unsigned char kLastAscii = 0x7F;
      if (byte <= kLastAscii) {
        shown += character;
      } else {
        shown.append("<").append(std::to_string(byte)).append(">");
      }
    }
    problems_.push_back(database_ + ": " + po_quote(shown) + ": " + what);
  }

  const std::string& database_;
  const CodeSet& code_set_;
  std::vector<PoEntry> entries_;
  Problems problems_;
};

}  // namespace

int texts_dump(const TextsDump& options) {
  CodeSet code_set;
  std::string reason;
  if (!code_set.open(options.code_set, reason)) return report_unusable({"marigold: " + reason});
  const std::string database = text_database_path(options.database);
  std::vector<TextRecord> records;
  if (!text_database_read(database, records, reason)) return report_unusable({reason});
  EntryMaker maker(database, code_set);
  for (const TextRecord& record : records)
    maker.take(record);
  std::ranges::sort(maker.entries(), listed_before, &PoEntry::id);
  const int status = maker.problems().empty() ? kExitClean : kExitFindings;
  for (const std::string& problem : maker.problems())
    report(problem);
  const std::string file = po_format(maker.entries());
  if (options.output.empty()) return write_output(file, status);
  return write_file(options.output, file, reason) ? status : report_unusable({reason});
}

}  // namespace marigold::inner
