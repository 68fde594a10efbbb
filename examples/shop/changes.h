// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of several records that are made together or not at all.
//
// All changes of the shop go this way, also those of a single record: a full disk is then a result
// and not the end of the program.
//
// Locks are taken in one order, so that no two operators wait for each other: articles in the order
// of their codes, then the order, the customer, and the number range.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "files.h"

namespace shop {

struct Outcome {
  const char* refused = nullptr;  // id of the reason; null: done
  std::vector<std::string> values = {};
  bool may_try_again = false;  // nothing but a lock or the disk is in the way

  [[nodiscard]] bool done() const { return refused == nullptr; }
};

// Runs `prepare`, which locks the records by lock_record and adds them to the set of changes, and
// carries out the set if `prepare` returns a done outcome. Gives all locks back.
//
// No lock is held while the operator thinks: when a record is locked by another operator for more
// than a second, the runtime's question is asked without any locks, and after "try again"
// `prepare` is called again from the beginning. It must therefore find everything out by itself.
Outcome carry_out(const std::function<Outcome()>& prepare);

// Reads the record of the primary key in the buffer with a lock, for `prepare`.
Outcome lock_record(marigold::DataFile& file);

// Takes the next number of a range ("ORDER") as a part of the set, so that no number is used twice
// and none is lost.
Outcome take_number(const char* range, int& number);

// Tells the operator why nothing was changed.
void tell_refused(const Outcome& outcome);

}  // namespace shop
