// SPDX-License-Identifier: GPL-3.0-or-later
// JSON in the form of this tool: one object a line, with its members in the order of insertion.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace marigold {

using OrderedJson = nlohmann::ordered_json;

// Paths and names may have any encoding; bytes that are not UTF-8 are replaced.
inline std::string as_json_line(const OrderedJson& object) {
  return object.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

}  // namespace marigold
