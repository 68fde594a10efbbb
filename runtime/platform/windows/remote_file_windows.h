// SPDX-License-Identifier: GPL-3.0-or-later
// A seam for tests: whether a file lies on a network drive.
#pragma once

namespace marigold::inner {

// Asked in the place of the system for each file that is to be mapped, if set. Null in every program
// but tests.
extern bool (*remote_file_hook)();

}  // namespace marigold::inner
