// SPDX-License-Identifier: GPL-3.0-or-later
// The descriptors of this process, and the frame of every operation.
#pragma once

#include <new>

#include "runtime/isam/common/engine.h"
#include "runtime/isam/common/fatal.h"
#include "runtime/isam/common/reason.h"

namespace marigold::inner::isam {

struct Descriptor {
  OpenIsamPointer file;  // null: free
  const IsamEngine* engine = nullptr;
  bool retired = false;
};

// Returns the descriptor of an open file, also of one that has retired, or null.
Descriptor* held_descriptor_at(int number);
// Returns the open file of a descriptor, or null.
OpenIsam* file_at(int number);

// Sets iserrno for a result other than 0. Returns the result of the interface.
inline int finish(int result) {
  if (result == 0) return 0;
  iserrno = result;
  return -1;
}

// Runs an operation, `body() -> result of the interface`, and keeps its only exception (no memory)
// inside the engine.
template <typename Body>
int operation(const char* name, Body body) {
  const OperationScope scope(name);
  forget_reason();
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return finish(kIsNoMemory);
  }
}

// Run an operation, `body(file) -> number for iserrno`, on an open file; the last two need one that
// is open for reading, or writing.
template <typename Body>
int with_file(const char* name, int number, Body body) {
  return operation(name, [&] {
    OpenIsam* const file = file_at(number);
    return finish(file == nullptr ? kIsNotOpen : body(*file));
  });
}

template <typename Body>
int with_readable(const char* name, int number, Body body) {
  return with_file(name, number,
                   [&](OpenIsam& file) { return file.mode().reads ? body(file) : kIsNotOpen; });
}

template <typename Body>
int with_writable(const char* name, int number, Body body) {
  return with_file(name, number,
                   [&](OpenIsam& file) { return file.mode().writes ? body(file) : kIsNotOpen; });
}

}  // namespace marigold::inner::isam
