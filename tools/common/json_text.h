// SPDX-License-Identifier: GPL-3.0-or-later
// JSON as the tool prints it: an object a line, its members in the order in which they were put in.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace marigold {

using OrderedJson = nlohmann::ordered_json;

// Paths and names may be in any encoding; what is no UTF-8 is replaced.
inline std::string as_json_line(const OrderedJson& object) {
  return object.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

}  // namespace marigold
