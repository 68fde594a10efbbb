// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/record_list/record_walk.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

#include "marigold/progress.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/field_access.h"

namespace marigold::inner {
namespace {

const KeyDefinition& key_of(const RecordListLayout& layout) {
  const KeyTable& table = layout.file->definition.keys;
  if (layout.key < 1 || layout.key > table.key_count) data_fatal("", kIsBadKey);
  return table.keys[static_cast<std::size_t>(layout.key - 1)];
}

std::span<const KeySegment> parts_of(const KeyDefinition& key) {
  return std::span(key.segments).first(static_cast<std::size_t>(key.segment_count));
}

bool same_bytes(const KeySegment& part, const std::vector<char>& a, const std::vector<char>& b) {
  return std::memcmp(a.data() + part.start, b.data() + part.start,
                     static_cast<std::size_t>(part.length)) == 0;
}

const FieldDefinition* field_at(const FileDefinition& file, std::int32_t offset) {
  const auto field = std::ranges::find(file.fields, offset, &FieldDefinition::offset);
  return field == file.fields.end() ? nullptr : &*field;
}

}  // namespace

RecordWalk::RecordWalk(const RecordListLayout& layout) : layout_(layout), file_(*layout.file) {
  if (file_.definition.type != FileType::kIsam) raise_fatal(kErrorUnknownType);
  if (!file_.open) data_fatal(file_.definition.name.c_str(), kIsNotOpen);
  const KeyDefinition& key = key_of(layout);
  const int parts = std::clamp(layout.fixed_parts, 0, key.segment_count);
  fixed_.assign(key.segments.begin(), key.segments.begin() + parts);
  fixed_record_ = file_.record;
  for (const KeySegment& part : fixed_)
    fixed_bytes_ += part.length;
  if (parts == key.segment_count) return;
  const KeySegment& part = key.segments[static_cast<std::size_t>(parts)];
  search_ = {part.start, part.length,
             part.type == FieldType::kString || part.type == FieldType::kChar};
  search_field_ = field_at(file_.definition, part.start);
}

bool RecordWalk::is_within() const {
  return std::ranges::all_of(fixed_, [&](const KeySegment& part) {
    return same_bytes(part, file_.record, fixed_record_);
  });
}

bool RecordWalk::has() const {
  return is_within() && (layout_.accepts == nullptr || layout_.accepts(file_, layout_.context));
}

// Passes records that the program does not accept. Past the fixed values there are no more.
bool RecordWalk::go(int found, Step step) {
  Progress progress("LIST.SEARCHING", "Searching");
  for (std::int64_t passed = 0; found == kDataDone; ++passed) {
    if (!is_within()) return false;
    if (layout_.accepts == nullptr || layout_.accepts(file_, layout_.context)) return true;
    if (!progress.go_on(passed)) {
      interrupted_ = true;
      return false;
    }
    found = step(file_, layout_.key);
  }
  return false;
}

void RecordWalk::put_fixed() {
  for (const KeySegment& part : fixed_)
    std::copy_n(fixed_record_.begin() + part.start, part.length, file_.record.begin() + part.start);
}

bool RecordWalk::first() {
  put_fixed();
  return go(fixed_bytes_ == 0 ? is_readfirst(file_, layout_.key)
                              : is_read_from_part(file_, layout_.key, fixed_bytes_),
            is_readnext);
}

bool RecordWalk::last() {
  put_fixed();
  return go(fixed_bytes_ == 0 ? is_readlast(file_, layout_.key)
                              : is_read_up_to_part(file_, layout_.key, fixed_bytes_),
            is_readprev);
}

bool RecordWalk::next() {
  return go(is_readnext(file_, layout_.key), is_readnext);
}

bool RecordWalk::previous() {
  return go(is_readprev(file_, layout_.key), is_readprev);
}

bool RecordWalk::return_to(const IsamPlace& place) {
  return is_return_to_place(file_, place) == kDataDone && has();
}

bool RecordWalk::find_primary() {
  return is_read(file_, 1, false) == kDataDone && has() &&
         is_change_key(file_, layout_.key) == kDataDone;
}

bool RecordWalk::begins_with(std::string_view text) const {
  return std::string_view(file_.record.data() + search_.start, text.size()) == text;
}

// Puts the number into the buffer. False if the field has no room for it.
bool RecordWalk::put_number(const std::string& digits) {
  double value = 0;
  const char* const end = digits.data() + digits.size();
  if (std::from_chars(digits.data(), end, value).ptr != end) return false;
  char* const record = file_.record.data();
  if (search_field_->type == FieldType::kReal)
    return field_put(*search_field_, 1, record, value) == kFieldDone;
  if (search_field_->type == FieldType::kInt) {
    if (std::abs(value) > std::numeric_limits<std::int16_t>::max()) return false;
    return field_put(*search_field_, 1, record, static_cast<std::int16_t>(value)) == kFieldDone;
  }
  if (std::abs(value) > std::numeric_limits<std::int32_t>::max()) return false;
  return field_put(*search_field_, 1, record, static_cast<std::int32_t>(value)) == kFieldDone;
}

bool RecordWalk::find_text(const std::string& text) {
  if (search_field_ == nullptr) return false;
  put_fixed();
  if (!search_.is_text) {
    return put_number(text) &&
           go(is_read_from_part(file_, layout_.key, fixed_bytes_ + search_.length), is_readnext);
  }
  if (text.size() > static_cast<std::size_t>(search_.length)) return false;
  std::ranges::copy(text, file_.record.begin() + search_.start);
  const int bytes = fixed_bytes_ + static_cast<int>(text.size());
  return go(is_read_from_part(file_, layout_.key, bytes), is_readnext) && begins_with(text);
}

std::string RecordWalk::primary_key() const {
  std::string bytes;
  for (const KeySegment& part : parts_of(file_.definition.keys.keys[0]))
    bytes.append(file_.record.data() + part.start, static_cast<std::size_t>(part.length));
  return bytes;
}

void RecordWalk::set_primary_key(std::string_view bytes) {
  for (const KeySegment& part : parts_of(file_.definition.keys.keys[0])) {
    const auto length = static_cast<std::size_t>(part.length);
    std::ranges::copy(bytes.substr(0, length), file_.record.begin() + part.start);
    bytes.remove_prefix(length);
  }
}

bool RecordWalk::take_interruption() {
  return std::exchange(interrupted_, false);
}

}  // namespace marigold::inner
