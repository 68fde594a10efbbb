// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests of data files: a work directory with settings, two defined files, and other
// processes.
#pragma once

#include <set>

#include "runtime/data/access/data_file.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/field_access.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// CUSTOMER: keyed by the LONGINT SNR and by the STRING NAME; path class 4, version 3, 42 bytes.
//   SNR LONGINT at 0, NAME STRING 10 at 4, ZONE INT 3 times at 14 with presets 7, NIL, -1,
//   RATE REAL at 20 with preset 2.5, KIND CHAR at 28 with preset x, SINCE DATE at 29; 33 in all
FileDefinition customer();

// STOCK: the same fields in a random file.
FileDefinition stock();

// Begins a process: both files are defined, nothing is open, fatal errors are reported.
void begin_process();

// Makes a place for data and sets DATA_DIRECTORY to it: the empty directory "data/%p", or, in the
// program of a cluster, new schemas of the shared server.
void begin_data();
extern std::string (*new_data_place)();
bool in_cluster();
// Waits until a server has noticed the end of all dead processes.
extern void (*forget_the_dead)();

// Files of a directory, or of a schema, which has names without suffixes and no version records.
std::set<std::string> data_files_in(int path_class);
void remove_data_file(const std::string& path);

// Version records by their paths. A missing one reads as "".
std::string read_record(const std::string& path);
void write_record(const std::string& path, const std::string& text);
void remove_record(const std::string& path);

// A process that has begun, with its data in a new place.
struct DataTest : testing::Test {
  DataTest();
  ~DataTest() override;
  WorkDirectory directory;
};

// A body of a child, as a body of its own that begins the process, shows the result in the file
// "answer", and stays until it is killed.
void answer_and_stay(bool result);
template <typename Body, typename Method = decltype(&Body::operator())>
struct Staying;
template <typename Body, typename... Parameters>
struct Staying<Body, bool (Body::*)(Parameters...) const> {
  void operator()(Parameters... parameters) const {
    begin_process();
    answer_and_stay(Body()(parameters...));
  }
};

// Another process that has run a body, after begin_process, and lives until it is killed.
class OtherProcess {
 public:
  template <typename Body, typename... Values>
  explicit OtherProcess(Body, const Values&... values) {
    std::filesystem::remove("answer");
    child_ = start_child(Staying<Body>(), values...);
    wait_for_answer();
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  ~OtherProcess() { kill_it(); }
  // Returns when its locks are free.
  void kill_it() {
    child_.kill();
    forget_the_dead();
  }
  // Kills it when this process sleeps next, which must be for so many whole seconds.
  void kill_at_next_sleep(int seconds);
  // Whether the body has returned true.
  [[nodiscard]] bool ready() const { return ready_; }

 private:
  void wait_for_answer();

  Process child_;
  bool ready_ = false;
};

// Runs the body in another process, after begin_process; returns the body's result.
template <typename Body, typename... Values>
bool elsewhere(Body body, const Values&... values) {
  return OtherProcess(body, values...).ready();
}

// Lets this process die after so many steps of the engine; in a cluster, where most of the work is
// done by another process, at some moment.
void die_later(long steps);

// Lets this process die as soon as the journal of a directory, such as "data/4", has a whole set.
void die_when_recorded(const std::string& directory);

// Returns the holders of class 4: "s" and "x", own locks in capitals.
std::string holders();

// Puts a record with this number and name into the buffer.
void fill(DataFile& file, int number, std::string_view name = "");
int write(DataFile& file, int number, std::string_view name = "");
// The result of a keyed read of this number.
int read(DataFile& file, int number, bool lock = false, LockWait wait = LockWait::kWait);

}  // namespace marigold::inner::test
