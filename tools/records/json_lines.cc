// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/common/input_file.h"
#include "tools/common/report.h"
#include "tools/records/record_lines.h"

namespace marigold::inner {
namespace {

using Json = nlohmann::json;

// Takes the values of one object as the parser finds them, without building a tree. Each function
// returns whether to go on; `reason` gives the cause if not.
class ObjectReader {
 public:
  explicit ObjectReader(RecordText& text)
      : text_(text), required_(required_fields(text.file())), seen_(text.columns().size()) {}

  void begin(char* record) {
    record_ = record;
    place_ = Place::kOutside;
    seen_.assign(seen_.size(), false);
    reason_.clear();
  }
  // Call it after all values of the object.
  bool finish();
  [[nodiscard]] const std::string& reason() const { return reason_; }

  // ---- Called by the parser

  bool null() { return fail(name() + "null where a value is expected"); }
  bool boolean(bool /*value*/) { return fail(name() + "true or false where a value is expected"); }
  bool number_integer(Json::number_integer_t value) { return put(std::int64_t{value}); }
  bool number_unsigned(Json::number_unsigned_t value) {
    // A number that no field can hold must not become negative.
    constexpr Json::number_unsigned_t kMost = std::numeric_limits<std::int64_t>::max();
    return value > kMost ? put(static_cast<double>(value)) : put(static_cast<std::int64_t>(value));
  }
  bool number_float(Json::number_float_t value, const Json::string_t& /*text*/) {
    return put(value);
  }
  bool string(const Json::string_t& value) { return put(std::string_view(value)); }
  bool binary(const Json::binary_t& /*value*/) { return false; }  // JSON texts have none
  bool start_object(std::size_t /*elements*/);
  bool key(const Json::string_t& name);
  bool end_object() { return true; }
  bool start_array(std::size_t /*elements*/);
  bool end_array();
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const Json::exception& fault);

 private:
  enum class Place { kOutside, kField, kArray };

  template <typename Value>
  bool put(Value value);
  bool find_field(std::string_view name);
  bool fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }
  [[nodiscard]] std::string name() const {
    return place_ == Place::kOutside ? "" : std::string(text_.field_name(first_)) + ": ";
  }
  [[nodiscard]] int times() const { return text_.columns()[first_].field->times; }

  RecordText& text_;
  std::vector<const FieldDefinition*> required_;
  std::vector<bool> seen_;  // by the field's first column
  char* record_ = nullptr;
  Place place_ = Place::kOutside;
  std::size_t first_ = 0;  // first column of the current field
  int elements_ = 0;       // taken so far
  std::string reason_;
};

template <typename Value>
bool ObjectReader::put(Value value) {
  if (place_ == Place::kOutside) return fail("a value where an object is expected");
  if (place_ == Place::kField && times() > 1)
    return fail(name() + "an array of " + std::to_string(times()) + " elements is expected");
  if (elements_ == times())
    return fail(name() + "there are more than " + std::to_string(times()) + " elements");
  const Column& column = text_.columns()[first_ + static_cast<std::size_t>(elements_)];
  ++elements_;
  return text_.put(column, value, record_, reason_);
}

bool ObjectReader::start_object(std::size_t /*elements*/) {
  if (place_ != Place::kOutside) return fail(name() + "an object where a value is expected");
  return true;
}

// Objects mostly have the fields in the same order, so the search begins after the last field.
bool ObjectReader::find_field(std::string_view name) {
  const std::vector<Column>& columns = text_.columns();
  for (std::size_t tried = 0; tried < columns.size(); ++tried) {
    first_ = first_ + 1 < columns.size() ? first_ + 1 : 0;
    if (columns[first_].index == 1 && text_.field_name(first_) == name) return true;
  }
  return false;
}

bool ObjectReader::key(const Json::string_t& name) {
  elements_ = 0;
  if (!find_field(name)) return fail("there is no field \"" + name + "\"");
  place_ = Place::kField;
  if (seen_[first_]) return fail("the field " + name + " occurs twice");
  seen_[first_] = true;
  return true;
}

bool ObjectReader::start_array(std::size_t /*elements*/) {
  if (place_ == Place::kOutside) return fail("an array where an object is expected");
  if (place_ == Place::kArray || times() == 1)
    return fail(name() + "an array where a value is expected");
  place_ = Place::kArray;
  return true;
}

bool ObjectReader::end_array() {
  if (elements_ < times())
    return fail(name() + counted(static_cast<std::size_t>(elements_), "element") + ", " +
                std::to_string(times()) + " expected");
  place_ = Place::kField;
  return true;
}

bool ObjectReader::parse_error(std::size_t /*position*/, const std::string& /*token*/,
                               const Json::exception& fault) {
  // Drops the library's prefix, and the line number, which is always 1.
  constexpr std::string_view kBeforeColumn = "parse error at line 1, ";
  std::string_view what = fault.what();
  what.remove_prefix(std::min(what.find("] ") + 2, what.size()));
  if (what.starts_with(kBeforeColumn)) what.remove_prefix(kBeforeColumn.size());
  return fail(std::string(what));
}

bool ObjectReader::finish() {
  for (const FieldDefinition* field : required_) {
    const auto& columns = text_.columns();
    const auto column = std::ranges::find(columns, field, &Column::field) - columns.begin();
    if (!seen_[static_cast<std::size_t>(column)])
      return fail("the field " + std::string(text_.field_name(static_cast<std::size_t>(column))) +
                  " of the primary key is missing");
  }
  return true;
}

class JsonLines : public RecordLines {
 public:
  JsonLines(RecordText& text, std::istream& input)
      : input_(input),
        longest_(longest_line_of(text.file().record_length)),
        reader_(text),
        presets_(preset_record(text.file())) {}

  Outcome next(char* record, std::string& reason) override {
    do {
      const LineRead read = read_line(input_, longest_, text_);
      if (read == LineRead::kEnd) return Outcome::kEnd;
      ++line_;
      if (read == LineRead::kTooLong) {
        reason = too_long(longest_);
        return Outcome::kUnusable;
      }
    } while (text_.find_first_not_of(" \t\r") == std::string::npos);
    std::ranges::copy(presets_, record);
    reader_.begin(record);
    if (Json::sax_parse(text_, &reader_) && reader_.finish()) return Outcome::kRecord;
    reason = reader_.reason();
    return Outcome::kRejected;
  }
  [[nodiscard]] int line() const override { return line_; }

 private:
  std::istream& input_;
  std::size_t longest_;
  ObjectReader reader_;
  std::string presets_;
  std::string text_;
  int line_ = 0;
};

}  // namespace

std::unique_ptr<RecordLines> json_lines(RecordText& text, std::istream& input) {
  return std::make_unique<JsonLines>(text, input);
}

}  // namespace marigold::inner
