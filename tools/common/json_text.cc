// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/json_text.h"

#include <nlohmann/json.hpp>

namespace marigold::inner {
namespace {

using Value = nlohmann::ordered_json;

std::string written(const Value& value) {
  return value.dump(-1, ' ', false, Value::error_handler_t::replace);
}

}  // namespace

Json::Json() : value_(std::make_unique<Value>()) {}
Json::Json(bool value) : value_(std::make_unique<Value>(value)) {}
Json::Json(double value) : value_(std::make_unique<Value>(value)) {}
Json::Json(std::int64_t value) : value_(std::make_unique<Value>(value)) {}
Json::Json(std::uint64_t value) : value_(std::make_unique<Value>(value)) {}
Json::Json(std::string_view text) : value_(std::make_unique<Value>(text)) {}
Json::Json(const Json& other) : value_(std::make_unique<Value>(*other.value_)) {}
Json::Json(Json&& other) noexcept = default;
Json::~Json() = default;

Json& Json::operator=(Json other) noexcept {
  value_ = std::move(other.value_);
  return *this;
}

Json Json::object(std::initializer_list<std::pair<const char*, Json>> members) {
  Json made;
  *made.value_ = Value::object();
  for (const auto& [name, value] : members)
    made.set(name, value);
  return made;
}

Json Json::array() {
  Json made;
  *made.value_ = Value::array();
  return made;
}

void Json::set(const char* name, const Json& value) {
  (*value_)[name] = *value.value_;
}

void Json::update(const Json& other) {
  value_->update(*other.value_);
}

void Json::push_back(const Json& element) {
  value_->push_back(*element.value_);
}

std::string Json::line() const {
  return written(*value_) + "\n";
}

std::string as_json_string(std::string_view text) {
  return written(Value(text));
}

}  // namespace marigold::inner
