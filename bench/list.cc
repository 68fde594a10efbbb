// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of printing a long list, up to its bytes.
//
//   list_bench [PAGES=100000] [DIRECTORY [TARGET]]
//
// A list of 66 lines a page: a header of two lines, 56 lines with a number, a name, a town and an
// amount by masks, a footer with a carried total. Prints CSV:
// target,pages,seconds,pages_per_s,bytes,peak_kib. Targets: `device` a printer that takes the bytes
// and does nothing, `command` the printer pipe to `cat >/dev/null`, `screen` the files of the
// viewer, `write` the same number of bytes in the same pieces and nothing else: the system's share
// of the time. `write` runs first, in memory that has been unused for a while, and again after each
// `screen`: a virtual machine may have returned its free memory, and getting it back takes longer
// than printing. Then `pr` and `groff -Tlatin1` paginate the same lines from a file (groff a tenth
// of them); their peak is not known. A peak can only grow, so a list of a tenth of the pages is
// printed first.

#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "marigold/lists.h"
#include "marigold/output.h"
#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/platform/record_file.h"
#include "runtime/print/files/block_code.h"
#include "runtime/print/files/block_store.h"
#include "runtime/print/files/list_files.h"
#include "runtime/print/output/display_record.h"
#include "runtime/print/output/output_device.h"
#include "runtime/print/output/print_defaults.h"
#include "runtime/print/output/screen_output.h"

namespace marigold::inner::bench {
namespace {

using enum BlockCode;

constexpr int kLinesOfBody = 56;

[[noreturn]] void die(const char* what) {
  std::fprintf(stderr, "list_bench: %s\n", what);
  std::exit(1);
}

double wall_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

long peak_kib() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return used.ru_maxrss;
}

// ---- The list

Instruction place(int line_mode, int line) {
  return {.code = kPlace,
          .values = {{{.integer = line_mode}, {.integer = line}, {.integer = 1}, {.integer = 1}}}};
}
Instruction words(std::string_view text) {
  return {.code = kText, .text = text};
}
Instruction field(std::string_view name, std::string_view mask, int total) {
  return {
      .code = kField, .text = name, .alignment = Alignment::kMask, .mask = mask, .total = total};
}

const BlockInstructions kHeader = {place(1, 1),
                                   words("Customers and their balances, page "),
                                   {.code = kPage, .mask = "######0"},
                                   place(1, 2),
                                   words("-----------------------------------------------------")};
const BlockInstructions kLine = {place(2, 0), field("NUMBER", "#####0", 0),
                                 words("  "), {.code = kField, .text = "NAME", .width = 24},
                                 words("  "), {.code = kField, .text = "TOWN", .width = 16},
                                 words("  "), field("BALANCE", "-###.##0,00", 1),
                                 place(3, 1)};
const BlockInstructions kFooter = {place(1, 1), words("carried over "),
                                   words("\5UEBERTRAG,1,-###.###.###.##0,00\5")};

void write_block(const char* name, const BlockInstructions& block, int footer_lines,
                 std::string& code) {
  DataFile& file = data_file(kPlainListFiles.blocks);
  data_clear_record(file);
  data_put_text(file, "LISTE", "BENCH");
  data_put_text(file, "BLOCK", name);
  data_put_long(file, "OFF", static_cast<std::int32_t>(kBlockStoreHeader + code.size()));
  data_put_integer(file, "ZEIL", static_cast<std::int16_t>(footer_lines));
  data_write(file);
  encode_block(block, code);
}

void write_list() {
  list_files_define();
  data_open(kPlainListFiles.blocks, LockWait::kTell);
  std::string code;
  write_block("HEADER", kHeader, 0, code);
  write_block("LINE", kLine, 0, code);
  write_block("FOOTER", kFooter, 1, code);
  data_open(kPlainListFiles.lists, LockWait::kTell);
  DataFile& lists = data_file(kPlainListFiles.lists);
  data_put_text(lists, "LISTE", "BENCH");
  data_put_integer(lists, "PL", 66);
  data_put_integer(lists, "LZ", kLinesOfBody + 3);
  data_write(lists);
  data_close_all();
  const std::string store = block_store_of(code);
  std::ofstream("DRUCK.BIN", std::ios::binary).write(store.data(), static_cast<long>(store.size()));
}

// The values of the records exist before any measurement.
const std::string& name_of(int record) {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> made;
    for (int number = 0; number < 1000; ++number)
      for (const char* name : {"Anna Berger ", "Mario Cerny ", "Eva Dobler ", "Josef Egger "})
        made.push_back(name + std::to_string(number));
    return made;
  }();
  return names[static_cast<std::size_t>(record) % names.size()];
}

void print_list(int pages, bool* complete) {
  static const char* const kTowns[] = {"Wien", "Graz", "Linz"};
  if (list_open("BENCH") != kListDone) die("the list does not open");
  list_set_header("HEADER");
  list_set_footer("FOOTER");
  for (int record = 0; record < pages * kLinesOfBody; ++record) {
    list_set("NUMBER", record % 1000000);  // within the room of its mask
    list_set("NAME", name_of(record));
    list_set("TOWN", kTowns[record % 3]);
    list_set("BALANCE", record % 100000 / 100.0);
    list_print("LINE");
  }
  if (list_page() != pages) die("not the number of pages");
  list_close(complete);
}

// ---- Targets

std::uint64_t bytes = 0;

const OutputDevice kNullPrinter{
    .text = [](std::string_view text) { bytes += text.size(); },
    .control = [](Marker) {},
    .end_line = [] { bytes += 2; },
    .end_page = [] {},
    .close = [] { return 0; },
};

void row(const char* target, int pages, double seconds) {
  std::printf("%s,%d,%.3f,%.0f,%llu,%ld\n", target, pages, seconds, pages / seconds,
              static_cast<unsigned long long>(bytes), peak_kib());
  std::fflush(stdout);
}

void to_device(int pages) {
  bytes = 0;
  list_to_device(&kNullPrinter);
  const double start = wall_now();
  bool complete = false;
  print_list(pages, &complete);
  row("device", pages, wall_now() - start);
  list_to_device(nullptr);
}

void to_command(int pages) {
  const double start = wall_now();
  if (open_printer("null") != 0) die("the printer does not open");
  bool complete = false;
  print_list(pages, &complete);
  if (close_printer() != 0 || !complete) die("the printer command failed");
  row("command", pages, wall_now() - start);
}

// Writes as many bytes as the target before it.
void write_only(int pages) {
  const std::vector<char> piece(65536, ' ');
  const double start = wall_now();
  RecordFile file;
  if (file.create("bytes") != 0) die("no file");
  for (std::uint64_t written = 0; written < bytes; written += piece.size())
    if (file.write(written, piece) != 0) die("the file cannot be written");
  file.close();
  row("write", pages, wall_now() - start);
  std::filesystem::remove("bytes");
}

// Without the viewer, which would wait for a key.
void to_screen(int pages) {
  const double start = wall_now();
  screen_output_start();
  bool complete = false;
  list_to_device(&kScreenDevice);
  print_list(pages, &complete);
  const double seconds = wall_now() - start;
  bytes = std::filesystem::file_size(kPrinterFile) + std::filesystem::file_size(kDisplayFile);
  row("screen", pages, seconds);
  list_to_device(nullptr);
  screen_output_remove();
}

void to_screen_and_write(int pages) {
  to_screen(pages / 10);
  bytes = bytes / static_cast<std::uint64_t>(pages / 10) * static_cast<std::uint64_t>(pages);
  write_only(pages);
  for (int turn = 0; turn < 2; ++turn) {
    to_screen(pages);
    write_only(pages);
  }
}

void to_others(int pages) {
  std::ofstream lines("lines.txt");
  for (int record = 0; record < pages * kLinesOfBody; ++record) {
    char line[128];
    std::snprintf(line, sizeof line, "%6d  %-24s  %-16s  %11.2f\n", record, name_of(record).c_str(),
                  "Wien", record % 100000 / 100.0);
    lines << line;
  }
  lines.close();
  const auto run = [&](const char* name, int count, const std::string& command) {
    const double start = wall_now();
    if (std::system(command.c_str()) != 0) die(name);
    row(name, count, wall_now() - start);
  };
  bytes = 0;
  run("pr", pages, "pr -l 66 lines.txt >/dev/null");
  const std::string head = "(printf '.pl 66v\\n.nf\\n'; head -n ";
  run("groff", pages / 10,
      head + std::to_string(pages / 10 * kLinesOfBody) + " lines.txt) | groff -Tlatin1 >/dev/null");
}

void run(int pages, const std::string& only) {
  std::ofstream("dr") << "#!/bin/sh\nexec cat >/dev/null\n";
  chmod("dr", 0755);
  const char* path = getenv("PATH");
  setenv("PATH", std::string(".:").append(path == nullptr ? "" : path).c_str(), 1);
  setenv("DATA_DIRECTORY", ".", 1);
  setenv("PRINT_DIRECTORY", ".", 1);
  settings_read();
  print_defaults_set({});
  write_list();
  std::puts("target,pages,seconds,pages_per_s,bytes,peak_kib");
  const auto wanted = [&](const char* target) { return only.empty() || only == target; };
  for (const int count : {pages / 10, pages}) {
    if (wanted("device")) to_device(count);
    if (wanted("command")) to_command(count);
  }
  if (wanted("screen")) to_screen_and_write(pages);
  if (wanted("others")) to_others(pages);
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int count, char** arguments) {
  const int pages = count > 1 ? std::atoi(arguments[1]) : 100000;
  const std::filesystem::path parent = count > 2 ? arguments[2] : "/tmp";
  std::string directory = (parent / "list_bench.XXXXXX").string();
  if (pages < 10 || mkdtemp(directory.data()) == nullptr) return 1;
  std::filesystem::current_path(directory);
  marigold::inner::bench::run(pages, count > 3 ? arguments[3] : "");
  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
  return 0;
}
