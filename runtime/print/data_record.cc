#include "runtime/print/data_record.h"

#include "runtime/data/field_access.h"

namespace marigold {
namespace {

// The numbers of all sizes as one.
bool get_number(const FieldDefinition& field, int element, const char* record, double& number) {
  std::int16_t small = 0;
  std::int32_t large = 0;
  if (field_get(field, element, record, small) == kFieldDone)
    number = small;
  else if (field_get(field, element, record, large) == kFieldDone)
    number = large;
  else
    return field_get(field, element, record, number) == kFieldDone;
  return true;
}

}  // namespace

bool DataRecord::get(std::string_view field_name, int element, ListFieldValue& value) const {
  const FieldDefinition* field = file_.find_field(field_name);
  if (field == nullptr || !file_.open) return false;
  const char* record = file_.record.data();
  value = {.mask = field->mask};
  value.is_number = get_number(*field, element, record, value.number);
  return value.is_number || field_get(*field, element, record, value.text) == kFieldDone;
}

}  // namespace marigold
