// SPDX-License-Identifier: GPL-3.0-or-later
// Lines of CSV or JSON with any bytes, read into records.
//
// The first byte chooses the form; a digit in place of the first line stands for a good header.
// Promised: reading ends; line numbers ascend, and rejected lines have a reason on one line; a
// record's texts end with zeros; every record comes back unchanged from the lines written for it,
// in both forms.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

#include "fuzz/fuzz_input.h"
#include "runtime/data/definition/definition_set.h"
#include "tools/records/record_lines.h"

namespace marigold::inner::fuzz {
namespace {

using Outcome = RecordLines::Outcome;

constexpr std::string_view kSet =
    "BEGINFILE NAME BOX VERSION 1 PATH 1 LEN 50 TYPE ISAM BEGINFIELD\n"
    "FIELD N TYPE LONGINT PREVAL NIL\n"
    "FIELD T TYPE STRING 6 TIMES 2 PREVAL 'x', NIL\n"
    "FIELD C TYPE CHAR PREVAL 'K'\n"
    "FIELD R TYPE REAL TIMES 2 PREVAL 2.5, NIL\n"
    "FIELD D TYPE DATE PREVAL 010190\n"
    "FIELD H TYPE TIME PREVAL 0930\n"
    "FIELD I TYPE INT PREVAL -1\n"
    "ENDFIELD BEGINKEY KEY 1 SEGMENT 1 IS N ENDKEY ENDFILE END.\n";
constexpr std::string_view kHeader = "N,T[1],T[2],C,R[1],R[2],D,H,I\n";

struct State {
  std::unique_ptr<FileDefinition> file;
  CodeSet code_set;
  std::unique_ptr<RecordText> text;
};
State state;

RecordText& text() {
  if (state.text == nullptr) {
    std::string reason;
    state.file = std::move(scan_definitions(kSet, AfterScanError::kStop).files[0].definition);
    require(state.code_set.open("8859", reason));
    state.text = std::make_unique<RecordText>(*state.file, state.code_set);
  }
  return *state.text;
}

std::unique_ptr<RecordLines> lines_of(bool json, std::istream& input) {
  return json ? json_lines(text(), input) : csv_lines(text(), input);
}

void check_comes_back(const std::string& record, bool json) {
  std::string line;
  std::string reason;
  if (!json) text().append_csv_header(line);
  require(json ? text().append_json(record.data(), line, reason)
               : text().append_csv(record.data(), line, reason));
  std::istringstream input(line);
  const auto lines = lines_of(json, input);
  std::string again(record.size(), '\0');
  require(lines->next(again.data(), reason) == Outcome::kRecord && again == record);
  require(lines->next(again.data(), reason) == Outcome::kEnd);
}

void check_lines(bool json, const std::string& bytes) {
  std::istringstream input(bytes);
  const auto lines = lines_of(json, input);
  std::string record(static_cast<std::size_t>(text().file().record_length), '\0');
  int line = 0;
  for (;;) {
    std::string reason;
    const Outcome outcome = lines->next(record.data(), reason);
    if (outcome == Outcome::kEnd) return;
    require(lines->line() > line || (outcome == Outcome::kUnusable && lines->line() >= line));
    line = lines->line();
    require((outcome == Outcome::kRecord) == reason.empty());
    if (outcome == Outcome::kUnusable) return;
    if (outcome == Outcome::kRejected) continue;
    check_comes_back(record, false);
    check_comes_back(record, true);
  }
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool json = data[0] % 2 == 0;
  std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const bool digit = !bytes.empty() && bytes[0] >= '0' && bytes[0] <= '9';
  marigold::inner::fuzz::check_lines(
      json, (digit && !json ? std::string(marigold::inner::fuzz::kHeader) : "") + bytes);
  return 0;
}
