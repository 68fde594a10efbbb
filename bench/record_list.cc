// SPDX-License-Identifier: GPL-3.0-or-later
// Processor time from a key to the screen that follows it, in a record list over a small file and
// over a large one.
//
//   record_list [RECORDS=1000000] [ROUNDS=200]
//
// The list has 18 rows, in the order of a key in which many records are equal. "changed" is a page
// after another record of the file was changed, so that the list reads all rows again. Prints CSV:
// action,records,rounds,median_us,most_us.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "marigold/record_lists.h"
#include "marigold/texts.h"
#include "runtime/core/settings.h"
#include "runtime/platform/new_file.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"

namespace marigold::inner::bench {
namespace {

constexpr const char* kDefinitions = R"(
BEGINFILE NAME PEOPLE VERSION 1 PATH 1 LEN 100 TYPE ISAM
BEGINFIELD
  FIELD NUMBER   TYPE LONGINT         MASK '######0'  PREVAL 0
  FIELD NAME     TYPE STRING 20                       PREVAL NIL
  FIELD TOWN     TYPE STRING 20                       PREVAL 'Wien'
  FIELD LIMIT    TYPE REAL            MASK '####0,00' PREVAL 1000.00
  FIELD SINCE    TYPE DATE                            PREVAL 010190
ENDFIELD
BEGINKEY
  KEY 1 SEGMENT 1 IS NUMBER
  KEY 2 SEGMENT 1 IS NAME
ENDKEY
ENDFILE
END.
)";

constexpr RecordColumn kColumns[] = {{.title = "Number", .field = "NUMBER"},
                                     {.title = "Name", .field = "NAME"},
                                     {.title = "Town", .field = "TOWN"},
                                     {.title = "Limit", .field = "LIMIT"},
                                     {.title = "Since", .field = "SINCE"}};

// An action is what the user does again and again.
struct Action {
  const char* name;
  std::vector<std::string> keys;  // taken in turn
  bool changes = false;           // a record of the file is changed before each key
};
const Action kActions[] = {
    {"page down", {"\xE0Q"}},     {"page up", {"\xE0I"}},          {"down", {"\xE0P"}},
    {"ends", {"\xE0O", "\xE0G"}}, {"typed", {"h", "q", "b", "x"}}, {"changed", {"\xE0Q"}, true}};

struct Session {
  const Action* action = nullptr;
  DataFile* file = nullptr;
  int rounds = 0;
  int round = 0;
  std::string bytes;  // of the current key
  std::timespec begun{};
  std::vector<double> times;  // us
};
Session session;

double microseconds_since(const std::timespec& begun) {
  std::timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec - begun.tv_sec) * 1e6 +
         static_cast<double>(now.tv_nsec - begun.tv_nsec) / 1e3;
}

void change_a_record() {
  data_put_long(*session.file, "NUMBER", 7);
  data_read(*session.file, 1, false, LockWait::kTell);
  data_write(*session.file);
}

// Escape after the last round.
std::string next_key() {
  const Action& action = *session.action;
  if (session.round > 0) session.times.push_back(microseconds_since(session.begun));
  if (session.round++ == session.rounds) return "\x1B";
  if (action.changes) change_a_record();
  return action.keys[static_cast<std::size_t>(session.round) % action.keys.size()];
}

std::uint8_t read_key() {
  if (session.bytes.empty()) session.bytes = next_key();
  const auto byte = static_cast<std::uint8_t>(session.bytes.front());
  session.bytes.erase(0, 1);
  if (session.bytes.empty()) clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &session.begun);
  return byte;
}

constexpr Console kNoConsole{
    .size = [] {},
    .clear = [] {},
    .write = [](const ConsoleBuffer&) {},
    .place_cursor = [](int, int) {},
    .show_cursor = [](bool) {},
    .read_key = read_key,
    .key_waiting = [] { return false; },
    .keyboard_lost = [] { return false; },
    .leave = [] {},
};

void fill(DataFile& file, int records) {
  for (int number = 1; number <= records; ++number) {
    data_put_long(file, "NUMBER", number);
    data_put_text(file, "NAME", std::string(1, static_cast<char>('a' + number * 7 % 26)) + "ame");
    data_write(file);
  }
}

void measure(DataFile& file, int records, int rounds) {
  for (const Action& action : kActions) {
    session = Session{};
    session.action = &action;
    session.file = &file;
    session.rounds = rounds;
    RecordList list({.file = &file, .key = 2, .title = "People", .rows = 18, .columns = kColumns});
    list.run();
    std::ranges::sort(session.times);
    std::printf("%s,%d,%d,%.1f,%.1f\n", action.name, records, rounds,
                session.times[session.times.size() / 2], session.times.back());
  }
}

int run(int records, int rounds) {
  const std::string folder = std::filesystem::temp_directory_path() / "record_list.bench";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder + "/definitions");
  std::filesystem::current_path(folder);
  if (file_append("definitions/FILEPEOP.DES", kDefinitions) != 0) return 1;
  texte_start(nullptr);
  terminal_reset(&kNoConsole);
  terminal_start();
  wi_start();
  open_subsystems().window_system = true;
  definition_set_load("PEOP");
  DataFile& file = data_file("PEOPLE");
  std::puts("action,records,rounds,median_us,most_us");
  for (const int size : {10, records}) {
    data_set_path(file, folder + "/people" + std::to_string(size));
    data_open(file, LockWait::kTell);
    fill(file, size);
    measure(file, size, rounds);
    data_close(file);
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  const int records = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 200;
  if (records < 10 || rounds < 1) {
    std::fputs("usage: record_list [RECORDS=1000000] [ROUNDS=200]\n", stderr);
    return 2;
  }
  return marigold::inner::bench::run(records, rounds);
}
