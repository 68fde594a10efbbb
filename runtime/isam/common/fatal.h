// SPDX-License-Identifier: GPL-3.0-or-later
// Ends a process in whose memory the engine found an inconsistency.
#pragma once

#include <string>

namespace marigold::inner::isam {

// Notes an operation of the engine as active while the object lives; the report lists the
// operations, outermost first. The name is static.
class OperationScope {
 public:
  explicit OperationScope(const char* name);
  ~OperationScope();
  OperationScope(const OperationScope&) = delete;
  OperationScope& operator=(const OperationScope&) = delete;
};

// Reports on standard error and in "disam.err" of the current directory, and ends the process. A
// damaged file is an error number (105), never fatal.
[[noreturn]] void fatal_inconsistency(const std::string& base, const char* module, int line);

}  // namespace marigold::inner::isam
