// The release of the runtime and its programs, as --version shows it.
#pragma once

namespace marigold {

// "1.62": a constant text.
const char* library_version();

}  // namespace marigold
