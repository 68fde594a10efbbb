// Standard output of commands that show what stands in files.
#pragma once

#include <string_view>

namespace marigold {

// As write_output (see report.h); on a terminal control characters but for line ends and tabs are
// made visible.
int write_visible_output(std::string_view bytes, int status);

}  // namespace marigold
