// SPDX-License-Identifier: GPL-3.0-or-later
// The two temporary files of screen output, and the records of the one that the viewer shows. Their
// look: docs/formats/screen-output.md.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace marigold::inner {

// Names of files in the current directory.
inline constexpr const char* kPrinterFile = "DRUCK.TMP";  // the printer's bytes
inline constexpr const char* kDisplayFile = "VIDEO.TMP";  // display records

inline constexpr std::size_t kDisplayColumns = 250;

// Switches within a line; each takes a byte of the line and no column of the screen.
inline constexpr char kHighlightOn = 1;
inline constexpr char kHighlightOff = 2;

inline constexpr char kWithHighlight = 'X';
inline constexpr char kWithoutHighlight = ' ';

// The record's form in the file: 253 bytes.
struct DisplayRecord {
  std::array<char, kDisplayColumns> text;  // filled up with blanks
  char flag = kWithoutHighlight;           // whether a switch is in the text
  std::array<char, 2> line_end = {'\r', '\n'};
};
inline constexpr std::size_t kDisplayRecordSize = 253;
static_assert(sizeof(DisplayRecord) == kDisplayRecordSize);

// Shown in place of a list that did not fit on the disk. The umlaut is a byte of the national 7-bit
// set, as in all texts of printing.
inline constexpr std::string_view kDiskFullText =
    "DISKETTE/LAUFWERK VOLL: BEIM ERSTELLEN DER TEMPOR[REN DATEIEN !!!";

// Returns a record with this text, cut or filled up with blanks.
constexpr DisplayRecord display_record(std::string_view text) {
  DisplayRecord record;
  record.text.fill(' ');
  text.copy(record.text.data(), record.text.size());
  return record;
}

}  // namespace marigold::inner
