// What several commands of "marigold data" show in the same way.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "runtime/data/lock_file.h"

namespace marigold {

using OrderedJson = nlohmann::ordered_json;

// Paths and names may be in any encoding; what is no UTF-8 is replaced.
inline std::string as_json_line(const OrderedJson& object) {
  return object.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

// "process 4711 on pult3, shared"
std::string describe_holder(const LockHolder& holder);
OrderedJson holder_as_json(const LockHolder& holder);

}  // namespace marigold
