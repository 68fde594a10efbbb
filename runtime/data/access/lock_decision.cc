// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/lock_decision.h"

#include <string>
#include <utility>

#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"
#include "runtime/texte/sysmsg.h"

namespace marigold::inner {
namespace {

constexpr const char* kHelpKey = "__lock_";

// Most locks last as long as a set of changes takes to reach the disk.
constexpr int kPauses = 10;
constexpr int kPauseMilliseconds = 100;

struct State {
  PostponedQuestion* postponed = nullptr;
};

State state;

std::string lock_text(const DataFile& file, LockPhase phase) {
  const bool defined = definition_find(file.definition.name.view()) == &file.definition;
  std::string text(defined ? file.definition.name.view() : "LOCK.$$$");
  text += (phase == LockPhase::kOpening ? systxt_filelock : systxt_reclock).view();
  return text;
}

}  // namespace

bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase) {
  if (result != kDataLocked) return false;
  const std::string text = lock_text(file, phase);
  switch (wait) {
    case LockWait::kTell:
      user_interface().message(text.c_str(), kHelpKey);
      return false;
    case LockWait::kAsk:
      if (state.postponed != nullptr) return state.postponed->wait_or_note(text);
      return user_interface().ask_for_lock(text.c_str(), kHelpKey);
    case LockWait::kTellAndWait:
      user_interface().wait_for_lock(text.c_str());
      return true;
    case LockWait::kWait:
      clock_sleep(1);
      return true;
  }
  return false;
}

PostponedQuestion::PostponedQuestion() : before_(std::exchange(state.postponed, this)) {}

PostponedQuestion::~PostponedQuestion() {
  state.postponed = before_;
}

bool PostponedQuestion::ask() {
  pauses_ = 0;
  return user_interface().ask_for_lock(std::exchange(text_, {}).c_str(), kHelpKey);
}

bool PostponedQuestion::wait_or_note(const std::string& text) {
  if (pauses_ == kPauses) {
    text_ = text;
    return false;
  }
  ++pauses_;
  clock_sleep_milliseconds(kPauseMilliseconds);
  return true;
}

}  // namespace marigold::inner
