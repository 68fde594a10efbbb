// A record of a data file, for lists to print its fields.
#pragma once

#include "runtime/data/access/data_handle.h"
#include "runtime/print/engine/list.h"

namespace marigold {

// Numbers, dates and times are printed by the mask of their field's definition when the list has
// none of its own.
class DataRecord : public ListRecord {
 public:
  // The record buffer of an open file: what it holds when a block is printed.
  explicit DataRecord(const DataFile& file) : file_(file) {}

  bool get(std::string_view field, int element, ListFieldValue& value) const override;

 private:
  const DataFile& file_;
};

}  // namespace marigold
