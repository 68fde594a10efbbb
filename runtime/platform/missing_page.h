// Pages of mapped files that cannot be had when they are touched: somebody has cut the file, the
// disk is full where the page would have to be written, or it cannot be read. The system sends
// SIGBUS then, which would end the process.
//
// Without further ado a page of this process alone takes the missing one's place, with what the
// file has there or zeros, and the file's object says that it was hit (MappedFile::was_hit): what
// has been read since may not be the file's, and what has been stored may not be in it. Files that
// only read what they check can go on like that until the next moment at which they look.
#pragma once

namespace marigold {

// Runs the body, and leaves it where it touches a missing page, as if it had died there: false
// then, and nothing of the view has changed. Nothing on its way may have to be destroyed. May be
// called within a body.
bool run_until_missing_page(void (*body)(void* context), void* context);

template <typename Body>
bool run_until_missing_page(Body& body) {
  return run_until_missing_page([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

}  // namespace marigold
