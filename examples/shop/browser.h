// SPDX-License-Identifier: GPL-3.0-or-later
// A list of the records of a file that the operator can see in several orders, with the keys that
// work there in the row above the status line.
#pragma once

#include <marigold/menus.h>
#include <marigold/record_lists.h>

#include <memory>
#include <span>
#include <string>

namespace shop {

inline constexpr int kKeyF2 = marigold::kKeyF1 + 1;
inline constexpr int kKeyF3 = marigold::kKeyF1 + 2;
inline constexpr int kKeyF5 = marigold::kKeyF1 + 4;
inline constexpr int kKeyF6 = marigold::kKeyF1 + 5;
inline constexpr int kKeyF7 = marigold::kKeyF1 + 6;

// One order of the records: a key of the file, and a title that names it.
struct BrowserOrder {
  int key;
  const char* title;  // id
};

struct BrowserLayout {
  marigold::DataFile* file;
  std::span<const BrowserOrder> orders;
  std::span<const marigold::RecordColumn> columns;
  const char* keys;  // id of the row that names the keys
  const char* help_key;
  int fixed_parts = 0;  // as in RecordListLayout
  int row = 3;
  int rows = 15;
};

// The last row of the screen while it lives: who works with which file.
class StatusRow {
 public:
  explicit StatusRow(const char* task, const marigold::DataFile* counted = nullptr);
  StatusRow(const StatusRow&) = delete;
  StatusRow& operator=(const StatusRow&) = delete;
  ~StatusRow();

  void show();

 private:
  const char* task_;
  const marigold::DataFile* counted_;
  std::string operator_;
  int window_ = 0;
};

// Whether a key leaves a list or a mask.
inline bool leaves(int code) {
  return code == marigold::kKeyEscape || code == marigold::kKeyStart;
}

class Browser {
 public:
  explicit Browser(const BrowserLayout& layout);
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;
  ~Browser();

  // As RecordList::run; F3 changes the order and is not returned.
  int run();
  // Lets the operator choose a record with Enter: it is in the file's buffer then. False if the
  // operator leaves the list.
  bool choose();
  // As RecordList::go_to_record, for a record that was just written.
  void go_to_record() { list_->go_to_record(); }

 private:
  void show_list();

  BrowserLayout layout_;
  std::string title_;
  std::size_t order_ = 0;
  int keys_window_ = 0;
  std::unique_ptr<marigold::RecordList> list_;
};

}  // namespace shop
