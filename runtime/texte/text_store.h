// One text database file: a read-only GNU dbm store of ids and texts, each stored with its zero
// byte.
#pragma once

#include <memory>
#include <string>

// The store's handle type is an unnamed struct, which cannot be declared ahead; its header does not
// know C++.
#include <gdbm.h>
extern "C" {
#include <ndbm.h>
}

#include "runtime/platform/mapping_guard.h"

namespace marigold {

class TextStore {
 public:
  // Opens the files `path`.pag and `path`.dir. They are read by calls of the system: a file that is
  // cut while it is open is a damaged store, and does not end the process by a signal. False when
  // that fails; then errno tells why ("No such file or directory": the .dir file is missing;
  // "Invalid argument": one of the two is not a store's).
  bool open(const std::string& path);

  // The same, to be closed again soon after many texts were fetched: these come from the file's
  // mapped pages, under a guard (see mapping_guard.h). A file that was cut meanwhile is found out
  // at the latest by read_by_calls() or close(), and is a damaged store as in fetch().
  bool open_for_many(const std::string& path);

  // Ends that, for one who keeps the store open: all is as after open().
  void read_by_calls();
  void close();

  // The text of an id, zero-terminated, or null when there is none. The next fetch releases it. A
  // text that was stored without its zero byte ends where its bytes end. A damaged store ends the
  // process: "gdbm fatal: REASON." on standard error and status -1, since what is missing from a
  // damaged store cannot be told from what was never there.
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

}  // namespace marigold
