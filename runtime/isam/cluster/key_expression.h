// SPDX-License-Identifier: GPL-3.0-or-later
// The bytes of a key as an expression of SQL over the column `record`: what key_from_record in
// key.h makes of a record, made by the server.
#pragma once

#include <string>
#include <string_view>

#include "runtime/isam/common/isam.h"

namespace marigold::inner::isam {

std::string key_expression(const KeyDescription& key);

// Returns bytes as a literal of SQL.
std::string bytes_literal(std::string_view bytes);

}  // namespace marigold::inner::isam
