// SPDX-License-Identifier: GPL-3.0-or-later
#include "browser.h"

#include "files.h"
#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

constexpr int kKeysRow = 23;

}  // namespace

StatusRow::StatusRow(const char* task, const DataFile* counted)
    : task_(task), counted_(counted), operator_(operator_name()) {
  show();
}

StatusRow::~StatusRow() {
  p_destroy_w(window_);
}

void StatusRow::show() {
  status_line_show(window_,
                   {.operator_name = operator_.c_str(), .file = task_, .counted = counted_});
}

Browser::Browser(const BrowserLayout& layout) : layout_(layout) {
  create_w(keys_window_, kKeysRow, 1, 1, kScreenColumns, true);
  p_printstr(keys_window_, 1, 2, text(layout.keys).c_str());
  p_active_w(keys_window_);
  show_list();
}

Browser::~Browser() {
  list_.reset();
  p_destroy_w(keys_window_);
}

void Browser::show_list() {
  list_.reset();
  const BrowserOrder& order = layout_.orders[order_];
  list_ = std::make_unique<RecordList>(RecordListLayout{.file = layout_.file,
                                                        .key = order.key,
                                                        .fixed_parts = layout_.fixed_parts,
                                                        .title = order.title,
                                                        .row = layout_.row,
                                                        .column = 1,
                                                        .rows = layout_.rows,
                                                        .columns = layout_.columns,
                                                        .help_key = layout_.help_key});
}

int Browser::run() {
  for (;;) {
    const int code = list_->run();
    if (code != kKeyF3 || layout_.orders.size() < 2) return code;
    order_ = (order_ + 1) % layout_.orders.size();
    show_list();
    list_->go_to_record();  // stays on the same record
  }
}

bool Browser::choose() {
  int code = run();
  while (code != kKeyEnter && !leaves(code))
    code = run();
  return code == kKeyEnter;
}

}  // namespace shop
