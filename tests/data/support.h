// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests of data files: a work directory with settings, two defined files, and other
// processes.
#pragma once

#include <sys/types.h>

#include <array>
#include <functional>

#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
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

// A process that has begun, with its data in data/N.
struct DataTest : testing::Test {
  DataTest();
  ~DataTest() override;
  WorkDirectory directory;
};

// Runs the body in another process, after begin_process; returns the body's result.
bool elsewhere(const std::function<bool()>& body);

// Another process that has run a body and lives until it is killed.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<bool()>& body);
  ~OtherProcess() { kill_it(); }
  void kill_it();
  [[nodiscard]] bool ready() const { return ready_; }

 private:
  pid_t child_ = -1;
  bool ready_ = false;
};

// Puts a record with this number and name into the buffer.
void fill(DataFile& file, int number, std::string_view name = "");
int write(DataFile& file, int number, std::string_view name = "");
// The result of a keyed read of this number.
int read(DataFile& file, int number, bool lock = false, LockWait wait = LockWait::kWait);

}  // namespace marigold::inner::test
