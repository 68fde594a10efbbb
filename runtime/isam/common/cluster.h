// SPDX-License-Identifier: GPL-3.0-or-later
// Operations that only files of a database cluster have. A pair of files on a disk has files of the
// system beside it for the same purposes.
//
// Results as in isam.h: 0, or -1 with the reason in `iserrno`. The addresses are those of
// cluster_address.h.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/common/isam.h"

namespace marigold::inner {

// Whether an open file lies in a cluster.
bool iscluster(int number);

// ---- Short texts beside the files of a schema, such as version records. A text is read and written
// whole, and durable when it is written.

// 2: there is no such text.
int istext_read(const std::string& address, std::string& text);
int istext_write(const std::string& address, const std::string& text);

// ---- Directory of a schema

// Gives the names of all files, sorted. Empty if the schema does not exist.
int islist(const std::string& directory, std::vector<std::string>& files);

// A step of an exchange.
struct IsExchange {
  enum class Kind {
    kRename,      // the file `from` gets the name `to`; a file of that name is removed
    kRenameNew,   // the same, and 17 if there is a file of that name
    kRemove,      // the file `from` is removed, if there is one
    kRemoveText,  // the same for a text
    kWriteText,   // the text `from` becomes `text`
  };
  Kind kind;
  std::string from;  // an address
  std::string to = {};
  std::string text = {};
};

// Does all steps or none, durably. All addresses lie in one schema. 2: there is no file `from` to
// rename. 17: see kRenameNew. 113 when another process has one of the files open; this process may
// have them open exclusively, and can only close them then.
int isexchange(std::span<const IsExchange> steps);

// ---- SQL

// Gives the name of an open file's table, quoted, with its schema.
int istable(int number, std::string& name);
// Runs statements in the database of an open file, as one transaction. After a lost connection they
// run again, whether or not they were done. 120: the server refuses one.
int issql(int number, const std::string& statements);

// ---- Users of a file

struct IsHolder {
  long process = 0;
  std::string host;
  bool exclusive = false;
  bool operator==(const IsHolder&) const = default;
};

// Gives the processes that have the file open, in the order of their hosts and numbers.
int isholders(const std::string& address, std::vector<IsHolder>& holders);

// ---- Many records at once

// A change of a set: as by ISWRITE, or ISREPLACE where the primary key has a record; or as by
// ISDELETE, where a missing record counts as deleted.
struct IsSetChange {
  int number = -1;  // of an open file
  bool deletes = false;
  const char* record = nullptr;
};

// Carries out all changes in this order or none, durably. `locked` is the index of the change that
// 107 is for. 102: the files lie in different databases.
int isset(std::span<const IsSetChange> changes, std::size_t& locked);

// Adds the records that `next` puts into its buffer until it returns false, all or none. The file is
// open exclusively (106). 100: two records have the same value of a key without duplicates. EINTR
// when `watch`, called now and then with the number of records, returns false.
int isload(int number, const std::function<bool(char* record)>& next,
           const std::function<bool(std::uint64_t records)>& watch);

// Removes the indexes of a file that is open exclusively (106), or makes them. Without them only
// isload may follow, which is then much faster, and reports no 100; that comes when they are made.
int isindexes(int number, bool wanted);

}  // namespace marigold::inner
