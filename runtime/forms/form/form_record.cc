// SPDX-License-Identifier: GPL-3.0-or-later
// Records that the user changes and adds in forms, beside other users. No lock is kept while the
// user types.

#include <algorithm>
#include <string>
#include <vector>

#include "marigold/forms.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_handle.h"
#include "runtime/forms/form/form_check.h"
#include "runtime/forms/form/form_entry.h"
#include "runtime/forms/form/form_items.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kRefused = -1;  // a result of its own beside those of changes_run

using Record = std::vector<char>;

// The bytes of an element.
struct Part {
  std::ptrdiff_t offset;
  std::ptrdiff_t size;

  [[nodiscard]] bool same(const Record& one, const Record& other) const {
    return std::equal(one.begin() + offset, one.begin() + offset + size, other.begin() + offset);
  }
  void copy(const Record& from, Record& to) const {
    std::copy_n(from.begin() + offset, size, to.begin() + offset);
  }
};

// Nothing for a field without a data field, or with one that the file lacks: form_run reports that.
Part part_of(const Form& form, const FormField& field) {
  const FieldDefinition* definition = form.file->definition.find_field(field.field);
  if (definition == nullptr) return {};
  return {.offset = definition->offset + (field.element - 1) * definition->size,
          .size = definition->size};
}

bool is_in_primary_key(const Form& form, const Part& part) {
  const KeyDefinition& key = form.file->definition.keys.keys.front();
  return std::any_of(key.segments.begin(), key.segments.begin() + key.segment_count,
                     [&part](const KeySegment& segment) {
                       return segment.start < part.offset + part.size &&
                              part.offset < segment.start + segment.length;
                     });
}

// A changed key would be another record, and the old one would stay.
void require_fixed_key(const Form& form) {
  for (const FormField& field : form.fields) {
    const bool shown_only = field.read_only || field.compute != nullptr;
    if (!shown_only && is_in_primary_key(form, part_of(form, field)))
      form_fatal(form, &field, "it is a part of the primary key, which cannot be changed",
                 kErrorFieldType);
  }
}

// Puts what the user has changed into the record as it is now. Returns "", or the reason if
// somebody else has changed the same field.
std::string merge(const Form& form, const Record& before, const Record& wanted) {
  Record& now = form.file->record;
  for (const FormField& field : form.fields) {
    const Part part = part_of(form, field);
    if (part.same(before, wanted)) continue;
    if (!part.same(now, before) && !part.same(now, wanted))
      return form_fault(field, form_message(kFormOther));
    part.copy(wanted, now);
  }
  return "";
}

int run_and_tell(const std::function<std::string()>& prepare) {
  std::string reason;
  const int result = changes_run([&] {
    reason = prepare();
    return reason.empty() ? kDataDone : kRefused;
  });
  if (result == kDataLocked) reason = form_message(kFormLocked);
  if (result != kDataLocked && result != kRefused) reason = form_message(kFormNotStored);
  if (result != kDataDone) user_interface().warning(reason.c_str());
  return result;
}

// Reads the record of the primary key in the buffer with a lock. A lock of somebody else needs no
// words: changes_run asks.
bool lock_record(DataFile& file) {
  return data_read(file, 1, true, LockWait::kAsk) == kDataDone;
}

}  // namespace

bool form_change_records(const std::function<std::string()>& prepare) {
  return run_and_tell(prepare) == kDataDone;
}

bool form_edit_record(Form& form) {
  require_fixed_key(form);
  DataFile& file = *form.file;
  const Record before = file.record;
  for (; form_run(form) == kKeyEnter; form.start = form.left_at) {
    const Record wanted = file.record;
    if (wanted == before) return false;
    const int result = run_and_tell([&] {
      file.record = before;
      if (!lock_record(file)) return form_message(kFormGone);
      std::string reason = merge(form, before, wanted);
      if (reason.empty()) changes_write(file);
      return reason;
    });
    if (result == kDataDone || result == kRefused) return result == kDataDone;
    file.record = wanted;
  }
  file.record = before;
  return false;
}

bool form_add_record(Form& form, const std::function<std::string()>& put_key) {
  DataFile& file = *form.file;
  for (; form_run(form) == kKeyEnter; form.start = form.left_at) {
    const Record wanted = file.record;
    const auto prepare = [&] {
      file.record = wanted;
      std::string reason = put_key ? put_key() : "";
      if (!reason.empty()) return reason;
      const Record record = file.record;
      if (lock_record(file)) return form_message(kFormTaken);
      file.record = record;
      changes_write(file);
      return reason;
    };
    if (form_change_records(prepare)) return true;
    file.record = wanted;
  }
  return false;
}

}  // namespace marigold
