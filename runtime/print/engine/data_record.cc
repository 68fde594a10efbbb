// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/lists.h"

#include "runtime/data/access/field_access.h"

namespace marigold {

using namespace inner;
bool DataRecord::get(std::string_view field_name, int element, ListFieldValue& value) const {
  const FieldDefinition* field = file_.definition.find_field(field_name);
  if (field == nullptr || !file_.open) return false;
  const char* record = file_.record.data();
  value = {.mask = field->mask};
  value.is_number = field_get_number(*field, element, record, value.number) == kFieldDone;
  return value.is_number || field_get(*field, element, record, value.text) == kFieldDone;
}

}  // namespace marigold
