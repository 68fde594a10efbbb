// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/list_language/source.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "runtime/texte/code_set.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kEngineEject = "<<NP>>";  // reserved name: it ejects the page

constexpr std::int64_t kLeast = std::numeric_limits<std::int16_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int16_t>::max();

bool is_byte_of_ascii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool is_comment(std::string_view line) {
  const std::size_t first = line.find_first_not_of(" \t");
  return first != std::string_view::npos && line[first] == '#';
}

// Splits a source into lists, blocks and their lines.
class SourceCompiler {
 public:
  SourceCompiler(CompiledSource& result, const KnownFields* fields)
      : result_(result), fields_(fields) {}

  void compile(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      take_line(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    SourceLine end("", number_, result_.notes);
    finish_list(end);
    if (result_.lists.empty() && !result_.has_errors())
      SourceLine("", 1, result_.notes).error("the source has no list");
    std::ranges::stable_sort(result_.notes, {}, &SourceNote::line);
  }

 private:
  // The block in progress.
  struct Block {
    StoredBlock stored;
    BlockSetting setting;
    BlockCompiler compiler;
    int line = 0;
    bool has_length = false;
    bool has_footer_lines = false;
  };
  struct Number {
    std::string_view word;
    std::int16_t StoredList::*value;
  };

  void take_line(std::string_view utf8) {
    ++number_;
    if (utf8.ends_with('\r')) utf8.remove_suffix(1);
    if (is_comment(utf8)) return;
    std::string bytes(utf8);
    if (!std::ranges::all_of(utf8, is_byte_of_ascii)) {
      const std::size_t lacking = code_set().to_bytes(utf8, bytes);
      if (lacking != std::string::npos) return refuse_character(utf8, lacking);
    }
    SourceLine line(bytes, number_, result_.notes);
    line.skip_blanks();
    if (line.at_end()) {
      ++empty_lines_;
      return;
    }
    line.go_to(0);
    take_words(line);
  }

  // Opened for the first line that needs it: most lines are ASCII.
  const CodeSet& code_set() {
    std::string reason;
    if (code_set_.name().empty()) code_set_.open("8859", reason);
    return code_set_;
  }

  void refuse_character(std::string_view utf8, std::size_t place) {
    std::size_t column = 0;
    for (std::size_t at = 0; at < place; at += character_length(utf8, at))
      ++column;
    SourceLine(utf8, number_, result_.notes)
        .error_at(column, "lists are printed in ISO 8859-1, which lacks " +
                              describe_character(utf8, place));
    if (block_) block_->compiler.skip_line();
  }

  // A section begins with its word; a line of a block has "|" after its margin.
  void take_words(SourceLine& line) {
    line.skip_blanks();
    const std::size_t place = line.at();
    const std::string_view word = line.word();
    if (line.next() != '|') {
      if (word == "list") return begin_list(line);
      if (word == "body") return begin_block(line, BlockKind::kBody);
      if (word == "header") return begin_block(line, BlockKind::kHeader);
      if (word == "footer") return begin_block(line, BlockKind::kFooter);
      if (word == "if" || word == "end") return take_condition(line, word == "if");
    }
    line.go_to(place);
    if (block_) {
      take_empty_lines();
      line.go_to(0);
      block_->compiler.page_line(line);
    } else if (in_list_) {
      take_properties(line);
    } else if (!skipping_) {
      line.error("expected \"list\" and the name of a list");
      skipping_ = true;  // reported once
    }
  }

  void take_condition(SourceLine& line, bool begins) {
    if (!block_) {
      line.error_at(0, "if and end belong in a block");
      return;
    }
    take_empty_lines();
    begins ? block_->compiler.if_line(line) : block_->compiler.end_line(line);
  }

  // Empty lines before another line of the block are lines of the page.
  void take_empty_lines() {
    for (; empty_lines_ > 0; --empty_lines_) {
      SourceLine empty("", number_, result_.notes);
      block_->compiler.page_line(empty);
    }
  }

  // ---- Lists

  bool take_name(SourceLine& line, std::string_view what, std::string& name) {
    line.skip_blanks();
    const std::size_t place = line.at();
    if (!line.name("a name", name)) return false;
    return check_text(line, place, what, name, kLongestListName) &&
           (!name.empty() || line.error_at(place, std::string(what) + " has a name"));
  }

  static bool check_text(SourceLine& line, std::size_t place, std::string_view what,
                         const std::string& text, std::size_t most) {
    if (text.size() > most)
      return line.error_at(
          place, std::string(what) + " has at most " + std::to_string(most) + " characters");
    return text.find('\0') == std::string::npos || line.error_at(place, "a zero byte ends a text");
  }

  void begin_list(SourceLine& line) {
    finish_list(line);
    skipping_ = false;
    in_list_ = true;
    has_last_line_ = false;
    block_names_.clear();
    result_.lists.push_back({.line = number_});
    StoredList& list = result_.lists.back().list;
    line.skip_blanks();
    const std::size_t place = line.at();
    if (!take_name(line, "a list", list.name)) return;
    const auto [other, is_new] = list_lines_.try_emplace(list.name, number_);
    if (!is_new)
      line.error_at(place, "this list is in line " + std::to_string(other->second) + " already");
    take_properties(line);
  }

  void take_properties(SourceLine& line) {
    for (line.skip_blanks(); !line.at_end(); line.skip_blanks()) {
      if (!take_property(line)) return;
    }
  }

  bool take_property(SourceLine& line) {
    static constexpr Number kNumbers[] = {{"PL", &StoredList::page_length},
                                          {"ES", &StoredList::start_column},
                                          {"EZ", &StoredList::first_line},
                                          {"LZ", &StoredList::last_line},
                                          {"CPI", &StoredList::pitch}};
    StoredList& list = result_.lists.back().list;
    const std::size_t place = line.at();
    const std::string_view word = line.word();
    const auto* number = std::ranges::find(kNumbers, word, &Number::word);
    if (number != std::end(kNumbers)) {
      has_last_line_ = has_last_line_ || word == "LZ";
      return take_number(line, word, list.*number->value);
    }
    if (word == "NAME") return take_text(line, word, list.output_name, kLongestOutputName);
    if (word == "ABRTXT") return take_text(line, word, list.abort_text, kLongestAbortText);
    line.go_to(place);
    return line.expected("PL, EZ, LZ, ES, CPI, NAME, ABRTXT or a block");
  }

  static bool take_number(SourceLine& line, std::string_view what, std::int16_t& value) {
    std::int64_t number = 0;
    if (!line.integer(what, kLeast, kMost, number)) return false;
    value = static_cast<std::int16_t>(number);
    return true;
  }

  static bool take_text(SourceLine& line, std::string_view what, std::string& text,
                        std::size_t most) {
    line.skip_blanks();
    const std::size_t place = line.at();
    return line.quoted(std::string(what) + " in single quotes", '\'', text) &&
           check_text(line, place, what, text, most);
  }

  // Completes the properties of the list, which the blocks after them need.
  void finish_properties() {
    if (!in_list_) return;
    in_list_ = false;
    SourceList& source = result_.lists.back();
    StoredList& list = source.list;
    if (!has_last_line_) list.last_line = list.page_length;
    SourceLine line("", source.line, result_.notes);
    if (list.page_length < 1) line.warning_at(0, "a page of no lines");
    if (list.first_line < 1) line.warning_at(0, "the first line of a page is 1");
    if (list.first_line > list.last_line)
      line.warning_at(0, "the first line lies after the last one");
    if (list.last_line > list.page_length) line.warning_at(0, "the last line lies below the page");
    if (list.start_column < 1) line.warning_at(0, "the first column of a line is 1");
    if (list.pitch != 10 && list.pitch != 12 && list.pitch != 17)
      line.warning_at(0, "printers have the pitches 10, 12 and 17");
  }

  void finish_list(SourceLine& line) {
    finish_block(line);
    finish_properties();
  }

  // ---- Blocks

  void begin_block(SourceLine& line, BlockKind kind) {
    finish_block(line);
    finish_properties();
    if (result_.lists.empty()) {
      if (!skipping_) line.error_at(0, "a block belongs to a list; none has begun");
      skipping_ = true;
    }
    const StoredList none;
    const StoredList& list = result_.lists.empty() ? none : result_.lists.back().list;
    Block block{.stored = {},
                .setting = {.kind = kind,
                            .pitch = std::clamp<int>(list.pitch, 1, 100),
                            .start_column = list.start_column,
                            .fields = fields_},
                .compiler = BlockCompiler({}),
                .line = number_};
    line.skip_blanks();
    const std::size_t place = line.at();
    if (take_name(line, "a block", block.stored.name)) {
      check_block_name(line, place, block.stored.name);
      for (line.skip_blanks(); !line.at_end(); line.skip_blanks()) {
        if (!take_attribute(line, block)) break;
      }
    }
    block.compiler = BlockCompiler(block.setting);
    block_.emplace(std::move(block));
    empty_lines_ = 0;
  }

  void check_block_name(SourceLine& line, std::size_t place, const std::string& name) {
    if (name == kEngineEject)
      line.warning_at(place, "a block of this name is never printed: it means a new page");
    if (!block_names_.insert(name).second)
      line.error_at(place, "the list has a block of this name already");
  }

  static bool take_attribute(SourceLine& line, Block& block) {
    const std::size_t place = line.at();
    const std::string_view word = line.word();
    if (word == "same") {
      block.stored.same = 'J';
      return true;
    }
    if (word == "raw") {
      block.setting.raw = true;
      return true;
    }
    if (word == "SAME") {
      std::string same;
      if (!take_text(line, "SAME", same, 1)) return false;
      block.stored.same = same.empty() ? '\0' : same.front();
      return true;
    }
    block.has_footer_lines = block.has_footer_lines || word == "ZEIL";
    block.has_length = block.has_length || word == "BLEN";
    if (word == "REP") return take_number(line, word, block.stored.repeat);
    if (word == "ZEIL") return take_number(line, word, block.stored.footer_lines);
    if (word == "BLEN") return take_number(line, word, block.stored.length);
    line.go_to(place);
    return line.expected("same, raw, REP, ZEIL, BLEN or SAME");
  }

  void finish_block(SourceLine& line) {
    empty_lines_ = 0;
    if (!block_) return;
    Block& block = *block_;
    StoredBlock& stored = block.stored;
    stored.code = block.compiler.finish(line);
    SourceLine head("", block.line, result_.notes);
    const bool page = !block.setting.raw;
    if (block.compiler.lines() > kMost) head.error("a block has at most 32767 lines");
    const auto lines = static_cast<std::int16_t>(block.compiler.lines());
    if (page && !block.has_length) stored.length = lines;
    if (page && !block.has_footer_lines && block.setting.kind == BlockKind::kFooter)
      stored.footer_lines = lines;
    if (!result_.lists.empty()) {
      StoredList& list = result_.lists.back().list;
      check_height(head, list, block);
      list.blocks.push_back(std::move(stored));
    }
    block_.reset();
  }

  static void check_height(SourceLine& head, const StoredList& list, const Block& block) {
    const int page = list.last_line - list.first_line + 1;
    if (block.stored.footer_lines >= page && block.stored.footer_lines > 0)
      head.warning_at(0, "the footer leaves no line of the page");
    if (block.setting.kind == BlockKind::kHeader && block.stored.length >= page)
      head.warning_at(0, "the header leaves no line of the page");
    if (block.stored.same == 'J' && block.stored.length > page)
      head.warning_at(0, "the block is longer than a page, and cannot stay on one");
  }

  CompiledSource& result_;
  const KnownFields* fields_;
  CodeSet code_set_;
  int number_ = 0;
  std::unordered_map<std::string, int> list_lines_;
  std::unordered_set<std::string> block_names_;  // of this list
  int empty_lines_ = 0;                          // lines of the block if another one follows
  bool in_list_ = false;                         // and none of its blocks has begun
  bool has_last_line_ = false;                   // "LZ" has been given
  bool skipping_ = false;                        // before the first list; already reported
  std::optional<Block> block_;
};

}  // namespace

bool CompiledSource::has_errors() const {
  return !std::ranges::all_of(notes, &SourceNote::warning);
}

CompiledSource compile_lists(std::string_view text, const KnownFields* fields) {
  CompiledSource result;
  SourceCompiler(result, fields).compile(text);
  return result;
}

}  // namespace marigold::inner
