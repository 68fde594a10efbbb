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

namespace marigold {

class TextStore {
 public:
  // Opens the files `path`.pag and `path`.dir. False when that fails; then errno tells why ("No
  // such file or directory": the .dir file is missing; "Invalid argument": one of the two is not a
  // store's).
  bool open(const std::string& path);
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
  std::unique_ptr<DBM, Closer> store_;
  std::string unterminated_;  // the last text fetched, if it had no zero byte of its own
};

}  // namespace marigold
