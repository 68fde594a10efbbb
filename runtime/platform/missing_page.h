// SPDX-License-Identifier: GPL-3.0-or-later
// Missing pages of mapped files: the system cannot provide a page because another process has cut
// the file, because the disk is full, or because the page cannot be read. The system then sends
// SIGBUS, which would end the process.
//
// Outside run_until_missing_page a private page of this process replaces the missing one, with the
// file's bytes or zeros, and the file's object notes it (MappedFile::was_hit). Bytes read since may
// not be the file's, and bytes stored since may not be in the file. A reader that verifies its
// bytes can go on until it next asks for was_hit.
#pragma once

namespace marigold::inner {

// Runs the body, and leaves it at the first missing page that it touches, as if it had ended there.
// Returns false then, and the view has not changed. The jump runs no destructors, so the body must
// need none. May be called within a body.
bool run_until_missing_page(void (*body)(void* context), void* context);

template <typename Body>
bool run_until_missing_page(Body& body) {
  return run_until_missing_page([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

}  // namespace marigold::inner
