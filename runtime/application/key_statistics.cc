// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/application/key_statistics.h"

#include <cstdint>

#include "marigold/windows.h"
#include "runtime/core/edit_mask.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {
namespace {

constexpr const char* kDatabase = "TASTENDB";
constexpr const char* kOrder = "HELPID";
constexpr const char* kKeys = "TASTEN";
constexpr int kKeysOfField = 9;
constexpr const char* kMask = "#####0";

struct Counts {
  int records = 0;
  int complete = 0;  // records whose two counts are equal
  int assigned = 0;  // keys with a value above 1
  int keys = 0;      // keys with a value above 0
};

void count_record(const DataFile& file, const FieldDefinition& field, Counts& counts) {
  int keys = 0;
  int assigned = 0;
  for (int index = 1; index <= kKeysOfField; ++index) {
    double value = 0;
    field_get_number(field, index, file.record.data(), value);
    keys += value > 0 ? 1 : 0;
    assigned += value > 1 ? 1 : 0;
  }
  ++counts.records;
  counts.keys += keys;
  counts.assigned += assigned;
  counts.complete += keys == assigned ? 1 : 0;
}

bool count_all(Counts& counts) {
  DataFile* file = data_file_find(kDatabase);
  if (file == nullptr) return false;
  const FieldDefinition* order = file->definition.find_field(kOrder);
  const FieldDefinition* keys = file->definition.find_field(kKeys);
  if (order == nullptr || keys == nullptr || order->key_number == kNoKey) return false;
  if (data_open(*file, LockWait::kTell) != kDataDone) return false;
  for (int found = data_read_first(*file, order->key_number); found == kDataDone;
       found = data_read_next(*file, order->key_number)) {
    count_record(*file, *keys, counts);
  }
  data_close(*file);
  return true;
}

void print_line(int window, int row, const char* text, int count, int of) {
  p_printstr(window, row, 2, text);
  p_printstr(window, row, 17, edit_number(kMask, count).c_str());
  p_printstr(window, row, 26, edit_number(kMask, of).c_str());
}

}  // namespace

void key_statistics() {
  Counts counts;
  if (!count_all(counts)) return;
  const OwnWindow window(5, 20, 6, 40, false);
  print_line(window.number(), 2, "Eingabefelder:         (      )", counts.complete,
             counts.records);
  print_line(window.number(), 4, "Tasten       :         (      )", counts.assigned, counts.keys);
  window.show();
  std::uint8_t character = 0;
  for (int code = 0; code != kKeyEnter && code != kKeyEscape;)
    code = field_key(character);
}

}  // namespace marigold::inner
