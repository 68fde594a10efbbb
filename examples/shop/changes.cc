// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes.h"

#include <marigold/windows.h>

#include <chrono>
#include <thread>

#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

// Most locks of other operators last as long as a set of changes takes to reach the disk.
constexpr int kQuietAttempts = 10;
constexpr std::chrono::milliseconds kPause{100};

struct State {
  bool (*ask)(const char* text, const char* help_key) = nullptr;  // the runtime's own question
  int attempts = 0;
  bool again = false;
};

State state;

bool ask_without_locks(const char* text, const char* help_key) {
  if (++state.attempts <= kQuietAttempts) {
    std::this_thread::sleep_for(kPause);
    return true;
  }
  release_files();
  state.attempts = 0;
  // The question takes the left half of the last row; no status line may stand beside its answers.
  int blank = 0;
  create_w(blank, kScreenRows, kScreenColumns / 2 + 1, 1, kScreenColumns / 2, true);
  p_active_w(blank);
  state.again = state.ask(text, help_key);
  p_destroy_w(blank);
  return false;  // the locks are gone, so carry_out begins again
}

class QuestionsWithoutLocks {
 public:
  QuestionsWithoutLocks() {
    state = {.ask = user_interface().ask_for_lock};
    user_interface().ask_for_lock = ask_without_locks;
  }
  QuestionsWithoutLocks(const QuestionsWithoutLocks&) = delete;
  QuestionsWithoutLocks& operator=(const QuestionsWithoutLocks&) = delete;
  ~QuestionsWithoutLocks() { user_interface().ask_for_lock = state.ask; }
};

constexpr const char* kLocked = "REFUSED_LOCKED";

Outcome commit() {
  const int result = changes_commit(LockWait::kAsk);
  if (result == kDataDone) return {};
  if (result == kDataLocked) return {.refused = kLocked, .may_try_again = true};
  // The runtime has shown the system's reason.
  return {.refused = "REFUSED_SYSTEM", .may_try_again = true};
}

}  // namespace

Outcome carry_out(const std::function<Outcome()>& prepare) {
  const QuestionsWithoutLocks questions;
  for (;;) {
    state.again = false;
    changes_begin();
    Outcome outcome = prepare();
    if (outcome.done()) outcome = commit();
    changes_drop();
    release_files();
    if (!state.again) return outcome;
  }
}

Outcome lock_record(DataFile& file) {
  const int result = data_read(file, kPrimary, true, LockWait::kAsk);
  if (result == kDataLocked) return {.refused = kLocked, .may_try_again = true};
  if (result == kDataNotFound) return {.refused = "REFUSED_GONE"};
  return {};
}

Outcome take_number(const char* range, int& number) {
  data_put_text(numbers(), "RANGE", range);
  Outcome outcome = lock_record(numbers());
  if (!outcome.done()) {
    if (!outcome.may_try_again) outcome = {.refused = "REFUSED_NUMBERS", .values = {range}};
    return outcome;
  }
  number = data_get_long(numbers(), "NEXT");
  data_put_long(numbers(), "NEXT", number + 1);
  changes_write(numbers());
  return {};
}

void tell_refused(const Outcome& outcome) {
  warn(outcome.refused, outcome.values);
}

}  // namespace shop
