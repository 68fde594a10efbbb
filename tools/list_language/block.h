// SPDX-License-Identifier: GPL-3.0-or-later
// Compiles the lines of a block, as its author writes them, into its instructions.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/files/block_code.h"
#include "tools/list_language/line.h"

namespace marigold::inner {

// Numbers of elements of the fields of a definition set, by field name.
using KnownFields = std::map<std::string, int, std::less<>>;

struct BlockSetting {
  BlockKind kind = BlockKind::kBody;
  bool raw = false;  // adds nothing to the lines' instructions
  int pitch = 10;    // of the list
  int start_column = 1;
  const KnownFields* fields = nullptr;  // null: every field is accepted
};

class BlockCompiler {
 public:
  explicit BlockCompiler(const BlockSetting& setting);

  // Compile the lines in their order. A fault is noted, and compiling goes on.
  void page_line(SourceLine& line);
  void if_line(SourceLine& line);  // after the word
  void end_line(SourceLine& line);

  // Ends the block and returns its bytes. `line` is the last line, for notes about missing ends.
  std::string finish(SourceLine& line);

  // Counts a line that cannot be compiled, so that the lines after it keep their numbers.
  void skip_line() { ++lines_; }

  [[nodiscard]] int lines() const { return lines_; }

 private:
  // Pitch of the printer at this point, as far as the compiler knows it.
  struct Pitch {
    std::optional<int> text;
    std::optional<int> columns;
    bool operator==(const Pitch&) const = default;
  };
  struct Open {
    std::size_t jump = 0;
    bool within_line = false;
    bool bold = false;
    Pitch pitch = {};
    int position = 0;
    int line = 0;
    std::size_t place = 0;
  };
  struct Margin {
    bool bold = false;
    int pitch = 0;
    bool condition = false;
    Instruction jump = {};
  };
  struct Label {
    std::string name;
    std::size_t jump = 0;
    int line = 0;
    std::size_t place = 0;
  };
  using Handler = bool (BlockCompiler::*)(SourceLine&);
  struct Word {
    std::string_view word;
    Handler handler;
  };
  static const Word kWords[];

  void start();
  bool margin(SourceLine& line, Margin& margin);
  bool margin_part(SourceLine& line, Margin& margin);
  void items(SourceLine& line);
  void text_character(SourceLine& line);
  void end_of_line(SourceLine& line);
  void check_width(SourceLine& line) const;

  void item(SourceLine& line);
  bool item_inside(SourceLine& line);
  bool bytes_item(SourceLine& line);
  bool marker_item(SourceLine& line);
  bool quoted_item(SourceLine& line);
  bool field_item(SourceLine& line, std::size_t leading);
  bool field_options(SourceLine& line, Instruction& field, bool& has_width, bool& has_alignment);
  bool draw_field(SourceLine& line, Instruction& field, std::size_t leading, std::size_t trailing,
                  bool has_width, bool has_alignment);
  void check_field(SourceLine& line, std::size_t place, const Instruction& field);
  bool page_item(SourceLine& line);
  bool date_item(SourceLine& line);
  bool long_date_item(SourceLine& line);
  bool register_item(SourceLine& line);
  bool eject_item(SourceLine& line);
  bool bold_item(SourceLine& line);
  bool pitch_item(SourceLine& line);
  bool columns_item(SourceLine& line);
  bool place_item(SourceLine& line);
  bool if_item(SourceLine& line);
  bool end_item(SourceLine& line);
  bool jump_item(SourceLine& line);
  bool at_item(SourceLine& line);
  bool code_item(SourceLine& line);

  bool number_item(SourceLine& line, BlockCode code);
  bool simple_item(SourceLine& line, BlockCode code, int width);
  bool position(SourceLine& line, BlockValue& mode, BlockValue& where);
  bool value(SourceLine& line, BlockValue& value);
  bool plain_value(SourceLine& line, BlockValue& value);
  bool variable(SourceLine& line, std::string_view& name, std::int32_t& number);
  bool generation(SourceLine& line, std::int32_t& generation);
  bool condition(SourceLine& line, Instruction& jump);
  bool mask(SourceLine& line, std::string_view& mask);

  void open(SourceLine& line, const Instruction& jump, bool within_line);
  void close(SourceLine& line);
  void flush();
  void add(const Instruction& instruction);
  void add_place(const BlockValue& line_mode, std::int32_t line);
  void add_pitch(int pitch);
  void switch_bold(bool on);
  void advance(SourceLine& line, std::size_t characters);
  std::string_view keep(std::string_view text);

  BlockSetting setting_;
  BlockInstructions code_;
  std::deque<std::string> texts_;  // of the instructions
  std::string text_;               // text without an instruction so far
  std::vector<Open> open_;
  std::vector<Label> jumps_;  // those to a label
  std::map<std::string, std::size_t, std::less<>> labels_;
  Pitch pitch_;
  bool pitch_touched_ = false;
  bool bold_ = false;
  int lines_ = 0;
  int position_ = 0;  // characters of the line so far
  int limit_ = 0;     // most characters of the line
  std::optional<std::size_t> beyond_;
};

}  // namespace marigold::inner
