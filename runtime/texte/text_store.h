// SPDX-License-Identifier: GPL-3.0-or-later
// One text database file: a read-only GNU dbm store of ids and texts, each stored with its zero
// byte.
#pragma once

#include <memory>
#include <string>

// The library's handle type is an unnamed struct, which cannot be declared ahead; the library's
// header has no C++ linkage of its own.
#include <gdbm.h>
extern "C" {
#include <ndbm.h>
}

#include "runtime/platform/mapping_guard.h"

namespace marigold::inner {

class TextStore {
 public:
  // Opens the files `path`.pag and `path`.dir, and reads them by system calls: a file that another
  // process cuts meanwhile is a damaged store, and raises no signal. Returns false on failure;
  // errno then has the reason ("No such file or directory": the .dir file is missing; "Invalid
  // argument": one of the two files is not a store's).
  bool open(const std::string& path);

  // Opens a store for a short time and many texts: fetch() reads the file's mapped pages, under a
  // guard (see mapping_guard.h). read_by_calls() and close() detect at the latest that the file was
  // cut meanwhile; the store is then damaged as in fetch().
  bool open_for_many(const std::string& path);

  // Ends the mapping for a user that keeps the store open: the store is then as after open().
  void read_by_calls();
  void close();

  // Returns the text of an id, zero-terminated, or null for an unknown id. The next fetch releases
  // the text. A text stored without its zero byte ends with its last byte. A damaged store ends the
  // process with "gdbm fatal: REASON." on standard error and status -1, because a lost text would
  // look like an unknown id.
  const char* fetch(const char* id);

 private:
  struct Closer {
    void operator()(DBM* store) const { dbm_close(store); }
  };
  bool open_mapped(const std::string& path);
  bool stop_mapping();
  void end_if_cut();

  std::unique_ptr<MappingGuard> guard_;  // while the file is mapped
  std::unique_ptr<DBM, Closer> store_;
  std::string unterminated_;  // the last text fetched, if it had no zero byte of its own
};

}  // namespace marigold::inner
