// SPDX-License-Identifier: GPL-3.0-or-later
// Makes a pair of files beside another one, fills it with records, and installs it in the place of
// the old pair.
//
// Until then both files have names of their own beside the old ones, with the owner, permissions
// and access control lists of these. A data file that is a link is refused (ELOOP), since anybody
// who may write in the directory could let it lead anywhere. An index that is a link is replaced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Results: 0, or the number for iserrno. The caller has the old pair for itself.
class FreshPair {
 public:
  // Removes the leftovers of killed runs beside the old files.
  explicit FreshPair(const OpenRequest& request);
  // Removes the files that were not installed.
  ~FreshPair();
  FreshPair(const FreshPair&) = delete;
  FreshPair& operator=(const FreshPair&) = delete;

  // Makes both files, without a record. 0 as the pair's number draws one.
  int create(std::uint32_t record_length, std::span<const TreeShape> trees, std::uint64_t id);
  // Adds a record after the others, with the sequence that it had, so that equal values of a key
  // keep their order.
  int add(const std::byte* record, std::uint64_t sequence);
  [[nodiscard]] std::uint64_t added() const { return added_; }
  // Makes the trees and closes both files, which are then durable. EINTR when a signal to stop is
  // pending.
  int finish(const IsWatch& watch);

  // Number of records after finish. If two have the same value of a key without duplicates, only
  // the earlier one stays there; if they have the same primary key, only the later one.
  [[nodiscard]] std::uint64_t records() const { return records_; }
  [[nodiscard]] std::uint64_t data_bytes() const { return data_bytes_; }
  [[nodiscard]] std::uint64_t index_bytes() const { return index_bytes_; }

  // Each of the two is one step, durable when it returns 0.
  int install_data();
  int install_index();

 private:
  std::string index_path_;
  std::string data_path_;
  std::string fresh_index_;  // "" once it is installed
  std::string fresh_data_;
  File file_;
  std::uint64_t added_ = 0;
  std::uint64_t records_ = 0;
  std::uint64_t data_bytes_ = 0;
  std::uint64_t index_bytes_ = 0;
};

// Shares a watcher between the two halves of such work: reading the old slots, which counts as one
// part, and making the trees, which count as one part each.
class HalvesWatch {
 public:
  HalvesWatch(const IsWatch& watch, std::size_t trees) : watch_(watch), trees_(trees) {}
  void slot(std::uint64_t number, std::uint64_t all) const {
    constexpr std::uint64_t kSeldom = 4096;
    if (watch_ && number % kSeldom == 0) watch_(number, all * (1 + trees_));
  }
  [[nodiscard]] IsWatch for_trees() const {
    if (!watch_) return {};
    return [this](std::uint64_t done, std::uint64_t all) {
      watch_(all + done * trees_, all * (1 + trees_));
    };
  }

 private:
  const IsWatch& watch_;
  std::uint64_t trees_;
};

}  // namespace marigold::inner::isam
