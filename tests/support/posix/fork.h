// SPDX-License-Identifier: GPL-3.0-or-later
// A child by fork, for tests of what a forked process inherits, or of states of a process that no
// program passes on when it starts another one.
#pragma once

#include <functional>

namespace marigold::inner::test {

// Runs the body in a forked process. Returns what Process::wait returns.
int run_forked(const std::function<void()>& body);

}  // namespace marigold::inner::test
