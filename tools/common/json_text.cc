// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/json_text.h"

#include <nlohmann/json.hpp>

namespace marigold {

std::string as_json_line(const OrderedJson& object) {
  return object.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

std::string as_json_string(std::string_view text) {
  return OrderedJson(text).dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

}  // namespace marigold
