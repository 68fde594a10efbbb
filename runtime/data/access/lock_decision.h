// SPDX-License-Identifier: GPL-3.0-or-later
// Decides how an operation goes on when another process has locked the file or record that it
// needs.
#pragma once

#include <string>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"

namespace marigold::inner {

enum class LockPhase { kOpening = 0, kReading = 1 };

// Whether the caller tries again. Only kDataLocked leads to a further try; any other result is
// final. The function may wait for a second, or for the user. Messages name the file, or LOCK.$$$
// for a file that is not in the list of definitions.
bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase);

// While an object lives, no question is asked (LockWait::kAsk): lock_try_again waits for up to a
// second in all, then notes the question and gives up. The asker gives its locks back before it
// asks. One object at a time; the destructor puts back what was in force.
class PostponedQuestion {
 public:
  PostponedQuestion();
  PostponedQuestion(const PostponedQuestion&) = delete;
  PostponedQuestion& operator=(const PostponedQuestion&) = delete;
  ~PostponedQuestion();

  [[nodiscard]] bool came_up() const { return !text_.empty(); }
  // Asks, and forgets the question. True to try again.
  bool ask();
  // Whether to try again at once; else the question is noted.
  bool wait_or_note(const std::string& text);

 private:
  PostponedQuestion* before_;
  std::string text_;
  int pauses_ = 0;
};

}  // namespace marigold::inner
