// SPDX-License-Identifier: GPL-3.0-or-later
// File definitions: the description of each data file of an application in a definition set. A
// handle opens the file itself, see data/access/data_handle.h.
//
// The list of definitions is process-wide. Scanning definition sets (definition_set.h) fills the
// list. The process keeps it to its end: a definition in the list neither changes nor moves.
// Offsets, lengths and sizes are in bytes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runtime/core/dictionary.h"

namespace marigold::inner {

inline constexpr std::size_t kDefinitionNameLength = kDictionaryNameLength;
using DefinitionName = DictionaryName;  // of a file or field, cut as a dictionary cuts names

inline constexpr int kMostDefinedKeys = 8;
inline constexpr int kMostKeySegments = 8;
inline constexpr int kLongestDefinedKey = 120;  // bytes of all segments of a key together
inline constexpr int kNoKey = 99;               // FieldDefinition::key_number of a field in no key

enum class FileType : std::int32_t { kIsam = 0, kRandom = 1, kChained = 2 };

// Other tables of the platform use these codes as well. Code 7 is unused in all of them and stays
// unused.
enum class FieldType : std::int32_t {
  kInt = 0,        // "INT", 2 bytes
  kLongint = 1,    // "LONGINT", 4 bytes
  kReal = 2,       // "REAL", 8 bytes
  kChar = 3,       // "CHAR", 1 byte
  kString = 4,     // "STRING", as many bytes as the definition says
  kDate = 5,       // "DATE", 4 bytes, DDMMYY
  kTime = 6,       // "TIME", 4 bytes
  kChainHead = 8,  // "KETTHEAD", 4 bytes: the head of a chain in a chained file
};

// Keyword of each type in the definition language, and the bytes of an element; 0: the definition
// gives the size.
struct FieldTypeRow {
  std::string_view keyword;
  FieldType type;
  std::int32_t size;
};
inline constexpr FieldTypeRow kFieldTypes[] = {
    {"INT", FieldType::kInt, 2},       {"LONGINT", FieldType::kLongint, 4},
    {"REAL", FieldType::kReal, 8},     {"CHAR", FieldType::kChar, 1},
    {"STRING", FieldType::kString, 0}, {"DATE", FieldType::kDate, 4},
    {"TIME", FieldType::kTime, 4},     {"KETTHEAD", FieldType::kChainHead, 4},
};
std::string_view field_type_keyword(FieldType type);

// Value of an element before a program puts one there: a whole number (INT, LONGINT, DATE, TIME,
// KETTHEAD) in the range of the type, a finite floating-point number (REAL), or text (CHAR, STRING)
// of at most as many bytes as the element has.
using Preset = std::variant<std::int32_t, double, std::string>;

struct FieldDefinition {
  DefinitionName name;
  std::int32_t offset = 0;  // of the first element in the record
  FieldType type = FieldType::kInt;
  std::int32_t times = 1;                      // elements
  std::int32_t size = 0;                       // of one element
  std::vector<std::optional<Preset>> presets;  // one for each element; none: zeros
  std::int32_t key_number = kNoKey;            // key (from 1) of the last entry for this field
  std::string mask;  // the text of "MASK"; of a chain head the name of the chained file
};

struct KeySegment {
  std::int32_t start = 0;
  std::int32_t length = 0;  // of one element of the field, also when it has several
  FieldType type = FieldType::kInt;
};

struct KeyDefinition {
  std::int32_t segment_count = 0;
  std::array<KeySegment, kMostKeySegments> segments{};
};

struct KeyTable {
  std::int32_t key_count = 0;
  std::array<KeyDefinition, kMostDefinedKeys> keys{};
};

struct FileDefinition {
  DefinitionName name;
  std::vector<FieldDefinition> fields;  // in the order of the definition
  FileType type = FileType::kIsam;
  std::int32_t used_length = 0;    // of all fields
  std::int32_t record_length = 0;  // "LEN": the fields and, in its last byte, the deletion marker
  std::int32_t version = 0;
  std::int8_t path_class = 0;  // 0 to 30: selects the data directory
  KeyTable keys;               // of keyed files
  bool read_only = false;      // "ACCESS READONLY"

  // The fields by name. The scanner fills this index; definition_add does if it is still empty. The
  // index points into `fields`, so that a definition may be moved but not copied.
  Dictionary<FieldDefinition> field_names;
  // Fills field_names. Returns false when two fields have one name; the first field keeps the name.
  bool index_fields();

  // Returns the field of this name (cut at a blank and after 8 characters), or null.
  [[nodiscard]] const FieldDefinition* find_field(std::string_view field_name) const;
};

// ---- The list

// Forgets all definitions, as at the start of the process. Call it when none of their files is
// open.
void definition_start();

// Returns how often definition_start has run. When the number has changed, anything that a module
// keeps for a definition is void.
unsigned definition_generation();

// Takes a definition into the list, and indexes its fields if they have no index yet. Returns false
// when the list has its name already; the definition is lost then.
bool definition_add(FileDefinition definition);

// Whether a definition set has been loaded, even one that defines nothing.
bool definitions_loaded();
void definitions_mark_loaded();

// Returns the definition of a file name (cut as above), or null.
const FileDefinition* definition_find(std::string_view file_name);

// Returns the definition of a file name. A missing one is system error 1, and the function does not
// return.
const FileDefinition& definition_get(std::string_view file_name);

// Returns all definitions in the order of their names. The order of the sets has no effect.
std::vector<const FileDefinition*> definitions_by_name();

}  // namespace marigold::inner
