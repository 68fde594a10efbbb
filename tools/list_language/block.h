// SPDX-License-Identifier: GPL-3.0-or-later
// The lines of a block, as its author writes them, compiled into its instructions.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/files/block_code.h"
#include "tools/list_language/line.h"

namespace marigold {

// How many elements the fields of records have, by their names; of a definition set.
using KnownFields = std::map<std::string, int, std::less<>>;

struct BlockSetting {
  BlockKind kind = BlockKind::kBody;
  bool raw = false;  // nothing is added to what the lines say
  int pitch = 10;    // of the list
  int start_column = 1;
  const KnownFields* fields = nullptr;  // null: any field may be meant
};

class BlockCompiler {
 public:
  explicit BlockCompiler(const BlockSetting& setting);

  // The lines in their order. What is wrong is noted, and compiling goes on.
  void page_line(SourceLine& line);
  void if_line(SourceLine& line);  // behind the word
  void end_line(SourceLine& line);

  // The end of the block: its bytes. `line` is the last one, for what is missing there.
  std::string finish(SourceLine& line);

  // For a line that cannot be read: those behind it keep their numbers.
  void skip_line() { ++lines_; }

  [[nodiscard]] int lines() const { return lines_; }

 private:
  // The pitch that printing has reached, as far as that can be known here.
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
  std::string text_;               // not yet an instruction
  std::vector<Open> open_;
  std::vector<Label> jumps_;  // that lead to a label
  std::map<std::string, std::size_t, std::less<>> labels_;
  Pitch pitch_;
  bool pitch_touched_ = false;
  bool bold_ = false;
  int lines_ = 0;
  int position_ = 0;  // characters on the line so far
  int limit_ = 0;     // that fit on it
  std::optional<std::size_t> beyond_;
};

}  // namespace marigold
