// SPDX-License-Identifier: GPL-3.0-or-later
// Printing into PDF: every character where a printer would put it. Uses the public face alone,
// since it lies in a library of its own.

#include "marigold/pdf.h"

#include <hpdf.h>

#include <algorithm>
#include <array>
#include <memory>
#include <type_traits>

#include "marigold/output.h"

namespace marigold {
namespace {

// Points: 72 to the inch. A page is A4.
constexpr float kInch = 72;
constexpr float kPageWidth = 595;
constexpr float kPageHeight = 842;
constexpr float kMargin = 18;
constexpr float kLineHeight = 12;      // six lines an inch, as printers have them
constexpr float kCourierWidth = 0.6F;  // of a character, of the font's size
constexpr char kBackspace = 8;

struct Release {
  void operator()(HPDF_Doc document) const { HPDF_Free(document); }
};
using Document = std::unique_ptr<std::remove_pointer_t<HPDF_Doc>, Release>;

struct State {
  Document document;
  HPDF_Font plain = nullptr;
  HPDF_Font bold_font = nullptr;
  HPDF_Page page = nullptr;  // null between pages
  int pages = 0;             // begun so far
  int line = 0;              // of the page, from 0
  float x = 0;               // from the left margin
  std::size_t column = 0;    // from 0
  BeyondPage beyond;         // of the line; no characters: none
  void (*report_beyond)(const BeyondPage& place) = nullptr;
  int pitch = 10;
  bool bold = false;
};
State state;

void note_error(HPDF_STATUS error, HPDF_STATUS detail, void* /*unused*/) {
  print_file_fail("PDF: error " + std::to_string(error) + " of the library, detail " +
                  std::to_string(detail));
}

float character_width() {
  return kInch / static_cast<float>(state.pitch);
}

void begin_page() {
  if (state.page != nullptr) return;
  ++state.pages;
  state.page = HPDF_AddPage(state.document.get());
  HPDF_Page_SetSize(state.page, HPDF_PAGE_SIZE_A4, HPDF_PAGE_PORTRAIT);
}

// Returns the baseline of the line's letters. The lines of a long page are closer together.
float baseline() {
  const float room = (kPageHeight - 2 * kMargin) / static_cast<float>(channel_page_length());
  const float height = std::min(kLineHeight, room);
  constexpr float kBelow = 0.25F;  // part of a line below the baseline
  return kPageHeight - kMargin - height * (static_cast<float>(state.line + 1) - kBelow);
}

void show(std::string_view text) {
  const std::string line(text);
  begin_page();
  HPDF_Page_BeginText(state.page);
  HPDF_Page_SetFontAndSize(state.page, state.bold ? state.bold_font : state.plain,
                           character_width() / kCourierWidth);
  HPDF_Page_TextOut(state.page, kMargin + state.x, baseline(), line.c_str());
  HPDF_Page_EndText(state.page);
}

// Notes characters beyond the right edge of the page. Blanks at the end do not count.
void check_width(std::string_view piece) {
  constexpr float kHair = 0.01F;  // rounding error of many characters
  const float room = kPageWidth - kMargin - state.x + kHair;
  const auto fitting = static_cast<std::size_t>(std::max(room / character_width(), 0.0F));
  const std::size_t size = piece.find_last_not_of(' ') + 1;
  if (size <= fitting) return;
  if (state.beyond.characters == 0)
    state.beyond = {.page = state.pages,
                    .line = state.line + 1,
                    .column = static_cast<int>(state.column + fitting) + 1};
  state.beyond.characters += size - fitting;
}

void end_line() {
  if (state.beyond.characters > 0) state.report_beyond(state.beyond);
  state.beyond = {};
  ++state.line;
  state.x = 0;
  state.column = 0;
}

void text(std::string_view piece) {
  const float width = character_width() * static_cast<float>(piece.size());
  if (piece.front() == kBackspace) {
    state.x -= width;
    state.column -= std::min(state.column, piece.size());
    return;
  }
  if (piece.find_first_not_of(' ') != std::string_view::npos) {
    show(piece);
    check_width(piece);
  }
  state.x += width;
  state.column += piece.size();
}

void control(Marker marker) {
  if (marker == Marker::kPitch10) state.pitch = 10;
  if (marker == Marker::kPitch12) state.pitch = 12;
  if (marker == Marker::kPitch17) state.pitch = 17;
  if (marker == Marker::kBoldOn) state.bold = true;
  if (marker == Marker::kBoldOff) state.bold = false;
}

void end_page() {
  begin_page();
  end_line();
  state.page = nullptr;
  state.line = 0;
}

void write_document() {
  // Failures are noted already; on a failure the library leaves the length unchanged.
  if (HPDF_SaveToStream(state.document.get()) != HPDF_OK) return;
  HPDF_ResetStream(state.document.get());
  std::array<HPDF_BYTE, 4096> bytes{};
  HPDF_UINT32 left = HPDF_GetStreamSize(state.document.get());
  while (left > 0) {
    HPDF_UINT32 length = std::min(left, static_cast<HPDF_UINT32>(bytes.size()));
    const HPDF_STATUS status = HPDF_ReadFromStream(state.document.get(), bytes.data(), &length);
    if ((status != HPDF_OK && status != HPDF_STREAM_EOF) || length == 0)
      return print_file_fail("PDF: the document cannot be taken over");
    print_file_write({reinterpret_cast<const char*>(bytes.data()), length});
    left -= length;
  }
}

int close() {
  // The library refuses a document without a page.
  if (state.pages == 0) begin_page();
  end_line();
  write_document();
  state = {};
  return print_file_close();
}

constexpr OutputDevice kPdfSink{
    .text = text,
    .control = control,
    .end_line = end_line,
    .end_page = end_page,
    .close = close,
};

}  // namespace

const OutputDevice* pdf_sink_open(const std::string& path, void (*beyond)(const BeyondPage& place),
                                  std::string& reason) {
  state = {};
  state.report_beyond = beyond;
  if (!print_file_open(path, reason)) return nullptr;
  state.document.reset(HPDF_New(note_error, nullptr));
  if (state.document == nullptr) {
    reason = "PDF: no memory";
    print_file_fail(reason);
    print_file_close();
    return nullptr;
  }
  HPDF_SetCompressionMode(state.document.get(), HPDF_COMP_ALL);
  state.plain = HPDF_GetFont(state.document.get(), "Courier", "WinAnsiEncoding");
  state.bold_font = HPDF_GetFont(state.document.get(), "Courier-Bold", "WinAnsiEncoding");
  return &kPdfSink;
}

}  // namespace marigold
