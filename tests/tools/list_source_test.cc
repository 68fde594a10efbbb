// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/list_language/source.h"

#include "tests/print/instructions.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

// Returns the notes of a source, one a line, with line and column only.
std::string notes_of(const std::string& text, const KnownFields* fields = nullptr) {
  std::string result;
  for (const SourceNote& note : compile_lists(text, fields).notes)
    result += as_message("", note).substr(1) + "\n";
  return result;
}

StoredList compiled(const std::string& text) {
  const CompiledSource source = compile_lists(text, nullptr);
  EXPECT_EQ(source.has_errors() ? notes_of(text) : "", "") << text;
  return source.lists.empty() ? StoredList{} : source.lists[0].list;
}

// Returns the instructions of a list's first block, as bytes.
std::string code_of(const std::string& lines, const std::string& head = "body B",
                    const std::string& list = "list L") {
  const StoredList result = compiled(list + "\n" + head + "\n" + lines);
  return result.blocks.empty() ? "" : result.blocks[0].code;
}

// ---- Expected instructions, written one by one

using enum Alignment;
using enum BlockCode;

const Instruction kHere = place(2, 0);
const Instruction kNext = next_line();
const Instruction kBold = only(kBoldOn);
const Instruction kPlain = only(kBoldOff);

Instruction pitch(int pitch) {
  return only(kPitch, pitch);
}
Instruction columns(int pitch) {
  return only(kColumnPitch, pitch);
}
Instruction jump(std::string_view name, bool negated, std::uint32_t target, int generation = 0) {
  return {
      .code = kJump, .text = name, .generation = generation, .negated = negated, .target = target};
}
Instruction field(std::string_view name, int generation, int width, Alignment alignment,
                  std::string_view mask = "", int total = 0, BlockCode code = kField) {
  return {.code = code,
          .text = name,
          .generation = generation,
          .width = width,
          .alignment = alignment,
          .mask = mask,
          .total = total};
}
std::string bytes_of(const BlockInstructions& block) {
  std::string bytes;
  encode_block(block, bytes);
  return bytes;
}

TEST(ListSourceTest, LinesBecomeInstructions) {
  struct Row {
    std::string lines;
    BlockInstructions expected;
    std::string head = "body B";
  };
  const Row rows[] = {
      // Lines of each kind of block; empty ones in between, not after the last.
      {"|a\n\n|b\n\n", {kHere, words("a"), kNext, kNext, words("b"), kNext}},
      {"|\n", {kHere, kNext}},
      {"|a\n\n|b",
       {place(1, 1, 1, 1), words("a"), place(1, 2, 1, 1), place(1, 3, 1, 1), words("b")},
       "header B"},
      {"|a", {place(1, 1, 1, 1), words("a")}, "footer B"},
      {"|a\n|b{here}", {words("a"), words("b"), place(2, 0, 2, 0)}, "body B raw"},
      {"", {}},
      // Margins.
      {"b|a", {kHere, kBold, words("a"), kPlain, kNext}},
      {"12|a\n12|b\n|c\n17|d",
       {kHere, pitch(12), columns(12), words("a"), kNext, words("b"), kNext, pitch(10), columns(10),
        words("c"), kNext, pitch(17), columns(17), words("d"), kNext, pitch(10), columns(10)}},
      {"?N[2]|a\n|b", {kHere, jump("N", true, 4, 2), words("a"), kNext, words("b"), kNext}},
      {" b 12 ?!'n o' |a",
       {kHere, pitch(12), columns(12), jump("n o", false, 8), kBold, words("a"), kPlain, kNext,
        pitch(10), columns(10)}},
      // Conditions over lines and within one.
      {"if N\n|a\n|b\nend\n|c",
       {kHere, jump("N", true, 6), words("a"), kNext, words("b"), kNext, words("c"), kNext}},
      {"if not N\n|a\nif M\n|b\nend\nend",
       {kHere, jump("N", false, 7), words("a"), kNext, jump("M", true, 7), words("b"), kNext}},
      {"?N|a\n|b",
       {jump("N", true, 3), place(1, 1, 1, 1), words("a"), place(1, 2, 1, 1), words("b")},
       "header B"},
      {"|x{if N}a{end}b", {kHere, words("x"), jump("N", true, 4), words("a"), words("b"), kNext}},
      // A pitch that depends on a condition is set again.
      {"if N\n12|a\nend\n|b",
       {kHere, jump("N", true, 6), pitch(12), columns(12), words("a"), kNext, pitch(10),
        columns(10), words("b"), kNext}},
      // Bold print pauses for moves.
      {"|{b}a{column 40}b{/b}c",
       {kHere, kBold, words("a"), kPlain, place(2, 0, 1, 40), kBold, words("b"), kPlain, words("c"),
        kNext}},
      // Texts.
      {"|{{a}} {#1B41}{@NL}\xC3\xA4{\"\\\"\\x00\\\\\"}{\"\"}b",
       {words("{a} \x1B"
              "A\x05NL\x05\xE4"),
        words(std::string_view("\"\0\\", 3)), words(""), words("b")},
       "body B raw"},
      // Fields: the braces as width, a width, a mask.
      {"|{N}{N    }{   N}{N 7}{N 7 right}{N[-2] #0,00}{N 0,00 total 2}{'n'}{N width -1 mask}",
       {field("N", 0, 0, kLeft), field("N", 0, 7, kLeft), field("N", 0, 6, kRight),
        field("N", 0, 7, kLeft), field("N", 0, 7, kRight), field("N", -2, 5, kMask, "#0,00"),
        field("N", 0, 4, kMask, "0,00", 2), field("n", 0, 0, kLeft), field("N", 0, -1, kMask)},
       "body B raw"},
      {"|{.F}{.F[2] 9 '# }'}{  .F #0}{.F left #0}",
       {field("F", 1, 0, kLeft, "", 0, kRecordField),
        field("F", 2, 9, kMask, "# }", 0, kRecordField),
        field("F", 1, 9, kRight, "#0", 0, kRecordField),
        field("F", 1, 2, kLeft, "#0", 0, kRecordField)},
       "body B raw"},
      // Numbers, dates, other items.
      {"|{page}{page ##0}{register 9 '0'}{date}{longdate}{eject}{b}{b}{/b}{code 99}",
       {masked(kPage, ""), masked(kPage, "##0"), masked(kLastRegister, "0"), only(kShortDate),
        only(kLongDate), only(kEject), kBold, kBold, kPlain, only(static_cast<BlockCode>(99))},
       "body B raw"},
      {"|{pitch 12}{columns -3}{line 5}{line +1 column 1}{column +-2}{line =4 column mode 7 8}",
       {only(kPitch, 12), only(kColumnPitch, -3), place(1, 5, 2, 0), place(3, 1, 1, 1),
        place(2, 0, 3, -2), place(2, 4, 7, 8)},
       "body B raw"},
      {"|{pitch 2.5}{pitch $V[3]}",
       {{.code = kPitch, .values = {BlockValue{.kind = BlockValue::Kind::kNumber, .number = 2.5}}},
        {.code = kPitch,
         .values = {BlockValue{
             .kind = BlockValue::Kind::kVariable, .variable = "V", .generation = 3}}}},
       "body B raw"},
      {"|{jump N A}{jump not M B}x{at A}y\n|{at B}",
       {jump("N", false, 3), jump("M", true, 4), words("x"), words("y")},
       "body B raw"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(code_of(row.lines, row.head), bytes_of(row.expected)) << row.head << "\n"
                                                                    << row.lines;
  // In a list of another pitch no block relies on the pitch after the block before it.
  EXPECT_EQ(code_of("|a\n10|b", "body B", "list L CPI 12"),
            bytes_of({kHere, pitch(12), columns(12), words("a"), kNext, pitch(10), columns(10),
                      words("b"), kNext, pitch(12), columns(12)}));
}

TEST(ListSourceTest, RecordsTakeTheirValuesFromTheSource) {
  const StoredList list = compiled(
      "\xEF\xBB\xBFlist 'L 1' PL 60 EZ 2\r\n  ES 3 CPI 17 NAME 'a\\'b'\r\n"
      "\n# a comment\nABRTXT '\xC3\x9F'\n"
      "body A same REP 4\n|x\n\n|y\n# within\n|z\n"
      "header B SAME ' ' BLEN 9\n|x\nfooter C\n|x\n|y\nfooter D ZEIL 5 SAME ''\n|x\nbody E raw\n|x\n");
  EXPECT_EQ(list.name, "L 1");
  EXPECT_EQ(list.page_length, 60);
  EXPECT_EQ(list.last_line, 60) << "the last one of the page";
  EXPECT_EQ(list.first_line, 2);
  EXPECT_EQ(list.output_name, "a'b");
  EXPECT_EQ(list.abort_text, "\xDF");
  struct Row {
    std::string name;
    char same;
    int repeat, footer_lines, length;
  };
  const Row rows[] = {{"A", 'J', 4, 0, 4},
                      {"B", ' ', 0, 0, 9},
                      {"C", 'N', 0, 2, 2},
                      {"D", '\0', 0, 5, 1},
                      {"E", 'N', 0, 0, 0}};
  ASSERT_EQ(list.blocks.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const StoredBlock& block = list.blocks[i];
    EXPECT_EQ(std::tie(block.name, block.same), std::tie(rows[i].name, rows[i].same));
    EXPECT_EQ(block.repeat, rows[i].repeat) << block.name;
    EXPECT_EQ(block.footer_lines, rows[i].footer_lines) << block.name;
    EXPECT_EQ(block.length, rows[i].length) << block.name;
  }
}

TEST(ListSourceTest, MessagesNameThePlace) {
  struct Row {
    std::string text;  // lines of a block, or a whole source
    std::string notes;
  };
  const std::string wide(137, 'x');
  const Row rows[] = {
      // Sections
      {"nonsense\nmore", "1:1: expected \"list\" and the name of a list\n"},
      {"# only a comment", "1:1: the source has no list\n"},
      {"body B\n|x", "1:1: a block belongs to a list; none has begun\n"},
      {"list L PL x", "1:11: expected PL, found \"x\"\n"},
      {"list L PL 99999", "1:11: PL is from -32768 to 32767\n"},
      {"list L FOO 1",
       "1:8: expected PL, EZ, LZ, ES, CPI, NAME, ABRTXT or a block, found \"FOO\"\n"},
      {"list 'ABCDEFGHIJKLMNOPQRSTU'", "1:6: a list has at most 20 characters\n"},
      {"list L NAME 'x", "1:13: the quote does not end on its line\n"},
      {"list L NAME '\\q'", "1:14: a backslash in quotes is followed by \\, a quote or x\n"},
      {"list L\nlist L", "2:6: this list is in line 1 already\n"},
      {"list L\nbody B\nbody B", "3:6: the list has a block of this name already\n"},
      {"list L\nbody B big", "2:8: expected same, raw, REP, ZEIL, BLEN or SAME, found \"big\"\n"},
      {"list L\nif N", "2:1: if and end belong in a block\n"},
      // Lines and margins
      {"x|a", "3:1: expected \"b\", a pitch, a condition or \"|\" in the margin, found \"x|a\"\n"},
      {"?|a", "3:2: expected a name, found \"|a\"\n"},
      {"|\xE2\x82\xAC",
       "3:2: lists are printed in ISO 8859-1, which lacks \"\xE2\x82\xAC\" (U+20AC)\n"},
      {"|a\tb", "3:3: a tab has no width on paper; write blanks\n"},
      {"|a}b", "3:3: \"}\" without \"{\"; the character itself is written \"}}\"\n"},
      // Items; reading goes on after each
      {"|{foo}{page x}{N 5 5x}",
       "3:3: \"foo\" is no word of this language; a name in small letters needs single quotes\n"
       "3:13: expected \"}\", found \"x\"\n"
       "3:21: expected a width, a mask, left, right, mask or total, found \"x\"\n"},
      {"|{N", "3:4: expected a width, a mask or \"}\", found the end of the line\n"},
      {"|{ N }{N 5 }",
       "3:2: blanks on both sides of a field; it begins or ends there\n"
       "3:7: a field has blanks or a width, not both\n"},
      {"|{N total 5}", "3:11: a carried total is from 1 to 4\n"},
      {"|{code 21}{register 10}",
       "3:8: the code has a word of its own\n3:21: a register is from 0 to 9\n"},
      {"|{#4}", "3:5: expected two hexadecimal digits for each character, found \"}\"\n"},
      {"|{pitch 1x}{pitch}{line x}",
       "3:10: expected \"}\", found \"x\"\n3:18: expected a value, found \"}\"\n"
       "3:25: expected a value\n"},
      // Conditions and jumps
      {"if N\n|a", "3:4: if without end in its block\n"},
      {"|a\nend", "4:1: end without if\n"},
      {"|{if N}a\n|{end}",
       "3:2: {if without {end} on its line\n4:6: {end} without {if on its line\n"},
      {"|{if N}{b}{end}", "3:16: bold print is on or off here, depending on the condition\n"},
      {"|{jump N L}", "3:8: only raw blocks have jumps\n"},
      {"list L\nbody B raw\n|{at L}{jump N L}{jump N M}",
       "3:14: no {at L} follows in this block\n3:24: no {at M} follows in this block\n"},
      {"list L\nbody B raw\nb|x", "3:1: a raw block has nothing in the margin\n"},
      // Legal, but surely wrong
      {"|" + wide,
       "3:138: warning: the line is wider than any paper at its pitch, which takes 136 characters\n"},
      {"12|" + wide + "\n|{column 130}{N 9}\n|{if A}" + wide.substr(60) + "{end}{if B}" +
           wide.substr(60) + "{end}",
       "4:18: warning: the line is wider than any paper at its pitch, which takes 136 characters\n"},
      {"|{@QQ}", "3:4: warning: there is no such marker; printing would end\n"},
      {"11|x", "3:1: warning: printers have the pitches 10, 12 and 17\n"},
      {"list L PL 0",
       "1:1: warning: a page of no lines\n1:1: warning: the first line lies after the last one\n"},
      {"list L PL 20 LZ 30", "1:1: warning: the last line lies below the page\n"},
      {"list L PL 3\nfooter F\n|\n|\n|\nbody B same\n|\n|\n|\n|\n",
       "2:1: warning: the footer leaves no line of the page\n"
       "6:1: warning: the block is longer than a page, and cannot stay on one\n"},
  };
  for (const Row& row : rows) {
    const bool whole = row.text.starts_with("list") || row.text.starts_with("body") ||
                       row.text.starts_with("#") || row.text.starts_with("nonsense");
    EXPECT_EQ(notes_of(whole ? row.text : "list L\nbody B\n" + row.text), row.notes) << row.text;
  }
  const KnownFields fields = {{"NAME", 1}, {"PHONE", 2}};
  EXPECT_EQ(notes_of("list L\nbody B\n|{.NAME}{.PHONE[3]}{.NAEM}{NAEM}", &fields),
            "3:11: warning: the field has elements from 1 to 2\n"
            "3:22: warning: no file of the definition set has a field of this name\n");
}

TEST(ListSourceTest, WhatIsShownIsTheSourceAgain) {
  // An author's source, shown unchanged.
  const std::string own =
      "list L\n  PL 60 EZ 2 LZ 58 ES 4 CPI 10\n  NAME '#laser'\n  ABRTXT 'Schlu\xC3\x9F'\n\n"
      "header H\n"
      "b |Title {page ##0}\n"
      "  |\n"
      "12|a{#20}\n\n"
      "footer F\n"
      "|{@UEBERTRAG,1,#0}\n\n"
      "body B same REP 2\n"
      "b 12 ?N|{.NAME        } {   X} {{ \xC3\xA4{\"own\"}x{column 40}y\n"
      "if not M[2]\n"
      "       |{b}x{/b}y{if N}z{end}\n"
      "if N\n"
      "       |x\n"
      "       |y\n"
      "end\n"
      "end\n\n"
      "body R raw BLEN 7\n"
      "|{jump not N L4}\n"
      "|{jump M L6}\n"
      "|{\"x\"}\n"
      "|{at L4}\n"
      "|{pitch bits 7FF0000000000000}\n"
      "|{line mode $V +0 column =3}\n"s;
  // The last line differs from its shown form; only the other lines are the same.
  const std::string page = own.substr(0, own.find("body R raw"));
  EXPECT_EQ(show_list(compiled(page)), page.substr(0, page.size() - 1));

  // All other instructions come back too.
  for (const char* block : {
           "body B\n?N|a\n?N|b\n|{b}",
           "body B\n|{\"a\"}{\"b\"}{\"\"}{\"c\"}",
           "body B raw\n|{line =0 column 1}a{line +1 column 1}",
           "body B raw\n|{jump N A}a{jump M B}{at A}b{at B}",
           "body B raw\n|{pitch -0.0}{pitch bits FFF8000000000001}{columns 1e300}{line =0}",
           "body B raw\n|{line 1 column 1}{line 3 column 1}x",
           "header B raw\n|{'a}b' -3 '}' total 4 left}{N width -5}{.F[0] 300}{ F[9]}",
           "header B\n12 ?N|a\n  |b\n17|{pitch 5}c",
           "footer B ZEIL 0\n|x",
           "footer B\nif N\n|x\n|y\nend\n|z\n?M|w",
           "body B\nif N\n12|x\nend\n|y\n12|{here}",
           "body '|\\xFF\\x01 ' SAME '\\xE4'\nif 'a|b'\n|{@a b}{#05}{#0505}\nend",
       }) {
    const StoredList list = compiled(std::string("list L CPI 12\n") + block);
    const std::string shown = show_list(list);
    EXPECT_EQ(compiled(shown), list) << shown;
    EXPECT_EQ(show_list(compiled(shown)), shown);
  }
}

}  // namespace
}  // namespace marigold::inner::test
