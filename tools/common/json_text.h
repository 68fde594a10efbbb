// SPDX-License-Identifier: GPL-3.0-or-later
// JSON in the form of this tool: one object a line, with its members in the order of insertion.
// Sources that make objects include nlohmann/json.hpp themselves, because it takes seconds to
// compile.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace marigold {

using OrderedJson = nlohmann::ordered_json;

// Returns the object as a line. Paths and names may have any encoding; bytes that are not UTF-8 are
// replaced.
std::string as_json_line(const OrderedJson& object);

// Returns the text as a string of JSON, with its quotes.
std::string as_json_string(std::string_view text);

}  // namespace marigold
