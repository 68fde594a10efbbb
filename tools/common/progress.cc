// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/progress.h"

#include <optional>

#include "runtime/core/terminal_text.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/stream.h"

namespace marigold::inner {
namespace {

constexpr std::chrono::seconds kPatience{1};
constexpr std::chrono::milliseconds kPause{200};
constexpr const char* kClearLine = "\r\033[K";

struct State {
  std::optional<Progress> rebuild;  // the running one
};
State state;

void show_rebuild(const std::string& base, std::uint64_t done, std::uint64_t all) {
  if (!state.rebuild.has_value()) state.rebuild.emplace(base + ": rebuilding the indexes");
  state.rebuild->at(done, all);
  if (done == all) state.rebuild.reset();
}

}  // namespace

Progress::Progress(const std::string& what)
    : what_(error_text(what, LineEnds::kShown)),
      terminal_(stream_is_terminal(Stream::kError)),
      next_(Clock::now() + kPatience) {}

void Progress::show(const std::string& how_far) {
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kPause;
  shown_ = true;
  stream_write(Stream::kError, kClearLine + what_ + ": " + how_far);
}

void Progress::hide() {
  if (shown_) stream_write(Stream::kError, kClearLine);
  shown_ = false;
}

void progress_of_rebuilds() {
  is_watch_rebuilds(show_rebuild);
}

}  // namespace marigold::inner
