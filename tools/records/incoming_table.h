// SPDX-License-Identifier: GPL-3.0-or-later
// A new file of a cluster that gets its records under a name which programs do not use. The server
// puts it in place in one step, together with its version record and with other files of the schema.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/common/cluster.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {

class IncomingTable {
 public:
  // The target outlives the object.
  explicit IncomingTable(const DataTarget& target);
  // Removes the file, unless in_place was called.
  ~IncomingTable();
  IncomingTable(const IncomingTable&) = delete;
  IncomingTable& operator=(const IncomingTable&) = delete;

  // Makes the file with all keys, and the rights of the one that it may replace. Removes what a killed
  // run has left; 113 while another run works.
  int begin();
  // Records are written in blocks, in their order.
  int write(const char* record);
  // Makes the indexes. 100: two records have the same primary key.
  int close();

  // Appends the steps of isexchange that put the file in place, which is closed. Without `replace`
  // they fail (17) if the place is taken.
  void append_steps(bool replace, std::vector<IsExchange>& steps) const;
  void in_place() { made_ = false; }
  [[nodiscard]] const std::string& base() const { return base_; }

 private:
  int flush();

  const DataTarget& target_;
  std::string base_;
  std::size_t length_;
  OpenKeyedFile file_;
  bool made_ = false;
  std::vector<char> block_;  // records that are not written yet
};

}  // namespace marigold::inner
