#include "tools/visible_output.h"

#include "runtime/core/terminal_text.h"
#include "runtime/platform/stream.h"
#include "tools/report.h"

namespace marigold {

int write_visible_output(std::string_view bytes, int status) {
  if (!stream_is_terminal(Stream::kOutput)) return write_output(bytes, status);
  return write_output(visible_text(bytes, terminal_charset(), LineEnds::kKept), status);
}

}  // namespace marigold
