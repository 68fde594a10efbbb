// SPDX-License-Identifier: GPL-3.0-or-later
// Turns stored lists into a source. Shows a block as lines of a page if these compile to the same
// block again, else instruction by instruction.

#include <algorithm>
#include <array>
#include <optional>
#include <set>

#include "runtime/texte/code_set.h"
#include "tools/list_language/source.h"
#include "tools/list_language/writer.h"

namespace marigold::inner {
namespace {

bool is_place(const Instruction& instruction, PlaceMode mode, std::int32_t line) {
  Instruction place{.code = BlockCode::kPlace};
  place.values[0].integer = static_cast<std::int32_t>(mode);
  place.values[1].integer = line;
  place.values[2].integer = static_cast<std::int32_t>(PlaceMode::kAbsolute);
  place.values[3].integer = 1;
  return instruction == place;
}

// ---- Instruction by instruction

std::vector<std::string> raw_lines(const BlockInstructions& code) {
  std::set<std::size_t> targets;
  for (const Instruction& instruction : code) {
    if (instruction.code == BlockCode::kJump) targets.insert(instruction.target);
  }
  const auto label = [](std::size_t at) {
    return std::string(" L").append(std::to_string(at + 1)).append("}");
  };
  std::vector<std::string> lines;
  for (std::size_t at = 0; at <= code.size(); ++at) {
    if (targets.contains(at)) lines.push_back(std::string("|{at").append(label(at)));
    if (at == code.size()) break;
    const Instruction& instruction = code[at];
    if (instruction.code != BlockCode::kJump) {
      lines.push_back(std::string("|").append(written_item(instruction)));
      continue;
    }
    lines.push_back(std::string("|{jump ")
                        .append(instruction.negated ? "not " : "")
                        .append(written_variable(instruction.text, instruction.generation))
                        .append(label(instruction.target)));
  }
  return lines;
}

// ---- As lines of a page

class PageLines {
 public:
  PageLines(const BlockInstructions& code, BlockKind kind, int pitch)
      : code_(code), body_(kind == BlockKind::kBody), usual_(pitch), pitch_(pitch) {}

  // Returns nothing if the instructions do not have this form. The returned lines may still be
  // wrong: the caller compiles them for comparison.
  std::optional<std::vector<std::string>> lines() {
    if (body_ && !code_.empty()) {
      if (!is_place(code_[0], PlaceMode::kCurrent, 0)) return std::nullopt;
      at_ = 1;
    }
    while (at_ < code_.size() && fits_) {
      close_conditions();
      if (at_line_start()) {
        begin_line();
      } else {
        take_item();
      }
    }
    close_conditions();
    finish_line();
    if (!fits_ || !open_.empty()) return std::nullopt;
    return aligned();
  }

 private:
  struct Line {
    std::string margin;
    std::string text;
    bool is_control = false;  // if or end, without text of the page
  };
  struct Open {
    std::size_t target = 0;
    bool within_line = false;
    bool in_margin = false;
  };

  [[nodiscard]] bool is(std::size_t at, BlockCode code) const {
    return at < code_.size() && code_[at].code == code;
  }
  // Whether a line ends (body) or begins (header, footer) here.
  [[nodiscard]] bool is_boundary(std::size_t at) const {
    if (at >= code_.size()) return false;
    return body_ ? is_place(code_[at], PlaceMode::kCurrentPlus, 1)
                 : code_[at].code == BlockCode::kPlace &&
                       is_place(code_[at], PlaceMode::kAbsolute, code_[at].values[1].integer);
  }
  // Returns the pitch that both instructions set here; 0 for other instructions.
  [[nodiscard]] int pitch_pair(std::size_t at) const {
    if (!is(at, BlockCode::kPitch) || !is(at + 1, BlockCode::kColumnPitch)) return 0;
    const BlockValue& pitch = code_[at].values[0];
    const bool pair = pitch == code_[at + 1].values[0] && pitch.kind == BlockValue::Kind::kInteger;
    return pair ? pitch.integer : 0;
  }

  // In a body each line ends with its move. In other blocks the pitch and the conditions of the
  // next line come before the next move.
  [[nodiscard]] bool at_line_start() const {
    if (body_) return !in_line_;
    std::size_t at = at_;
    if (pitch_pair(at) != 0) at += 2;
    if (at == code_.size()) return true;
    while (is(at, BlockCode::kJump))
      ++at;
    if (pitch_pair(at) != 0) at += 2;
    if (is(at, BlockCode::kJump)) ++at;
    return is_boundary(at);
  }

  void begin_line() {
    finish_line();
    if (const int pitch = pitch_pair(at_); pitch != 0) {
      pitch_ = pitch;
      at_ += 2;
      if (at_ == code_.size()) return;  // back to the list's pitch
    }
    if (is(at_, BlockCode::kJump) && covers_lines(at_)) {
      open_lines();
      if (!open_.back().in_margin) return;
    }
    if (!body_) {
      fits_ = fits_ && is_boundary(at_);
      ++at_;
    }
    in_line_ = true;
    if (is(at_, BlockCode::kBoldOn)) {
      bold_ = margin_bold_ = true;
      ++at_;
    }
  }

  // Whether a jump skips whole lines.
  [[nodiscard]] bool covers_lines(std::size_t at) const {
    const std::size_t target = code_[at].target;
    if (body_) return is_boundary(target - 1);
    return is_boundary(at + 1) || is(at + 1, BlockCode::kJump) || pitch_pair(at + 1) != 0;
  }

  void open_lines() {
    const Instruction& jump = code_[at_];
    std::size_t boundaries = 0;
    bool plain = true;  // all can follow a condition in a margin
    for (std::size_t at = at_ + 1; at < jump.target; ++at) {
      boundaries += is_boundary(at) ? 1U : 0U;
      plain = plain && (body_ || at > at_ + 1 || is_boundary(at));
    }
    plain = plain && pitch_pair(at_ + 1) == 0;
    const bool margin = boundaries == 1 && plain;
    const std::string name = written_variable(jump.text, jump.generation);
    push({.target = jump.target, .in_margin = margin});
    if (margin) {
      condition_ = std::string(jump.negated ? "?" : "?!").append(name);
    } else {
      lines_.push_back({.margin = {},
                        .text = std::string(jump.negated ? "if " : "if not ").append(name),
                        .is_control = true});
    }
    ++at_;
  }

  void push(const Open& open) {
    fits_ = fits_ && (open_.empty() || open.target <= open_.back().target);
    open_.push_back(open);
  }

  void close_conditions() {
    for (; !open_.empty() && open_.back().target == at_; open_.pop_back()) {
      const Open& open = open_.back();
      if (open.within_line) {
        item("{end}");
      } else {
        finish_line();
        if (!open.in_margin) lines_.push_back({.margin = {}, .text = "end", .is_control = true});
      }
    }
  }

  void item(const std::string& text) {
    text_ += text;
    behind_text_ = false;
  }

  void take_item() {
    const Instruction& instruction = code_[at_];
    if (body_ && is_boundary(at_)) {
      ++at_;
      return finish_line();
    }
    ++at_;
    switch (instruction.code) {
      case BlockCode::kJump:
        push({.target = instruction.target, .within_line = true});
        return item(std::string(instruction.negated ? "{if " : "{if not ")
                        .append(written_variable(instruction.text, instruction.generation))
                        .append("}"));
      case BlockCode::kText:
        if (behind_text_) return item(written_item(instruction));
        text_ += written_text(instruction.text);
        behind_text_ = true;
        fits_ = fits_ && !instruction.text.empty();
        return;
      case BlockCode::kBoldOff:
        return bold_off();
      case BlockCode::kBoldOn:
        bold_ = true;
        return item("{b}");
      default:
        return item(written_item(instruction));
    }
  }

  // Bold print pauses for a move and ends with its line: neither needs an item.
  void bold_off() {
    const bool pauses = is(at_, BlockCode::kPlace) && is(at_ + 1, BlockCode::kBoldOn);
    if (bold_ && pauses) {
      item(written_item(code_[at_]));
      at_ += 2;
      return;
    }
    const bool line_ends = body_ ? is_boundary(at_) : at_ == code_.size() || at_line_start();
    if (!line_ends) {
      // The text is bold, not the line.
      if (margin_bold_) text_.insert(0, "{b}");
      margin_bold_ = false;
      item("{/b}");
    }
    bold_ = false;
  }

  void finish_line() {
    if (!in_line_) return;
    const bool empty = text_.empty();
    std::string margin = margin_bold_ && !empty ? "b" : "";
    const auto add = [&margin](const std::string& part) {
      margin.append(margin.empty() ? "" : " ").append(part);
    };
    if (pitch_ != usual_ && !empty) add(std::to_string(pitch_));
    if (!condition_.empty()) add(condition_);
    // Editors remove blanks at the end of a line.
    if (text_.ends_with(' ')) {
      text_.pop_back();
      text_ += "{#20}";
    }
    lines_.push_back({.margin = margin, .text = text_});
    text_.clear();
    condition_.clear();
    in_line_ = bold_ = margin_bold_ = behind_text_ = false;
  }

  [[nodiscard]] std::vector<std::string> aligned() const {
    std::size_t widest = 0;
    for (const Line& line : lines_)
      widest = std::max(widest, line.margin.size());
    std::vector<std::string> result;
    for (const Line& line : lines_) {
      const std::string blanks(widest - line.margin.size(), ' ');
      result.push_back(line.is_control ? line.text : line.margin + blanks + "|" + line.text);
    }
    return result;
  }

  const BlockInstructions& code_;
  bool body_;
  int usual_;
  int pitch_;
  std::size_t at_ = 0;
  bool fits_ = true;
  std::vector<Open> open_;
  std::vector<Line> lines_;
  // State of the current line.
  bool in_line_ = false;
  std::string text_;
  std::string condition_;
  bool margin_bold_ = false;
  bool bold_ = false;
  bool behind_text_ = false;  // another text would join the one just shown
};

// ---- Blocks and lists

std::string head_of_list(const StoredList& list) {
  std::string text = "list " + written_name(list.name, NameKind::kList) + "\n";
  text += "  PL " + std::to_string(list.page_length) + " EZ " + std::to_string(list.first_line) +
          " LZ " + std::to_string(list.last_line) + " ES " + std::to_string(list.start_column) +
          " CPI " + std::to_string(list.pitch) + "\n";
  if (!list.output_name.empty()) text += "  NAME " + written_quoted(list.output_name, '\'') + "\n";
  if (!list.abort_text.empty()) text += "  ABRTXT " + written_quoted(list.abort_text, '\'') + "\n";
  return text;
}

std::string attribute(const char* word, int value, int usual) {
  if (value == usual) return {};
  return std::string(" ").append(word).append(" ").append(std::to_string(value));
}

std::string head_of_block(const StoredBlock& block, BlockKind kind, bool raw, int lines) {
  constexpr std::array<const char*, 3> kKinds = {"body ", "header ", "footer "};
  std::string text = kKinds.at(static_cast<std::size_t>(kind)) +
                     written_name(block.name, NameKind::kList) + (raw ? " raw" : "");
  if (block.same == 'J') {
    text += " same";
  } else if (block.same != 'N') {
    text += " SAME " + written_quoted({&block.same, block.same == '\0' ? 0U : 1U}, '\'');
  }
  text += attribute("REP", block.repeat, 0);
  text += attribute("ZEIL", block.footer_lines, kind == BlockKind::kFooter && !raw ? lines : 0);
  return text + attribute("BLEN", block.length, raw ? 0 : lines) + "\n";
}

std::string as_source(const StoredBlock& block, BlockKind kind, bool raw,
                      const std::vector<std::string>& lines) {
  const auto is_of_page = [](const std::string& line) {
    return line != "end" && !line.starts_with("if ");
  };
  const auto count = static_cast<int>(std::ranges::count_if(lines, is_of_page));
  std::string text = head_of_block(block, kind, raw, count);
  for (const std::string& line : lines)
    text += line + "\n";
  return latin1_as_utf8(text);
}

bool gives_again(const std::string& source, const StoredBlock& block, const StoredList& list) {
  StoredList frame = list;
  frame.blocks.clear();
  const CompiledSource again = compile_lists(latin1_as_utf8(head_of_list(frame)) + source, nullptr);
  return !again.has_errors() && again.lists.size() == 1 &&
         again.lists[0].list.blocks == std::vector<StoredBlock>{block};
}

}  // namespace

std::string show_block(const StoredBlock& block, const StoredList& list) {
  BlockInstructions code;
  std::string reason;
  if (!decode_block(block.code, 0, code, reason)) return {};
  // The files do not have the kind of a block; a footer has lines in its record.
  for (const BlockKind kind : {BlockKind::kBody, BlockKind::kFooter, BlockKind::kHeader}) {
    if (kind == BlockKind::kFooter && block.footer_lines == 0) continue;
    const auto lines = PageLines(code, kind, list.pitch).lines();
    if (!lines) continue;
    std::string source = as_source(block, kind, false, *lines);
    if (gives_again(source, block, list)) return source;
  }
  return as_source(block, BlockKind::kBody, true, raw_lines(code));
}

std::string show_list(const StoredList& list) {
  std::string text = latin1_as_utf8(head_of_list(list));
  for (const StoredBlock& block : list.blocks)
    text.append("\n").append(show_block(block, list));
  return text;
}

}  // namespace marigold::inner
