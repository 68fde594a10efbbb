// SPDX-License-Identifier: GPL-3.0-or-later
// JSON in the form of this tool: one object a line, with its members in the order of insertion.
//
// The JSON library takes seconds to compile in every source that includes it; this type keeps it in
// json_text.cc.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marigold::inner {

class Json {
 public:
  Json();  // null
  Json(bool value);
  Json(double value);
  Json(std::int64_t value);
  Json(std::uint64_t value);
  // Texts may have any encoding; writing replaces bytes that are not UTF-8.
  Json(std::string_view text);
  Json(const char* text) : Json(std::string_view(text)) {}
  Json(const std::string& text) : Json(std::string_view(text)) {}
  template <std::signed_integral Number>
  Json(Number value) : Json(std::int64_t{value}) {}
  template <std::unsigned_integral Number>
  Json(Number value) : Json(std::uint64_t{value}) {}
  template <class Element>
  Json(const std::vector<Element>& elements) : Json(array()) {
    for (const Element& element : elements)
      push_back(element);
  }
  Json(const Json& other);
  Json(Json&& other) noexcept;
  Json& operator=(Json other) noexcept;
  ~Json();

  static Json object(std::initializer_list<std::pair<const char*, Json>> members);
  static Json array();

  // Adds a member to an object, or replaces it.
  void set(const char* name, const Json& value);
  // Adds the members of another object.
  void update(const Json& other);
  // Adds an element to an array.
  void push_back(const Json& element);

  [[nodiscard]] std::string line() const;

 private:
  std::unique_ptr<nlohmann::ordered_json> value_;
};

// Returns the text as a string of JSON, with its quotes.
std::string as_json_string(std::string_view text);

}  // namespace marigold::inner
