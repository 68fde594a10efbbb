// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/language.h"

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"

namespace marigold {

using namespace inner;

namespace {

// A longer path is cut: st_length measures at most this length.
constexpr std::size_t kLongestPath = kLongestString;

void append_or_fail(RuntimeString& output, std::string_view text) {
  if (!output.append(text)) raise_fatal(kErrorStringTooLong);
}

void default_if_empty(RuntimeString& field, std::string_view text) {
  if (field.empty()) field.assign_cut(text);
}

// Returns the field for the letter after a "%", or null for another letter.
const RuntimeString* placeholder(const LanguageFields& fields, char letter) {
  switch (letter) {
    case 'l':
      return &fields.language;
    case 't':
      return &fields.territory;
    case 'c':
      return &fields.code_set;
    default:
      return nullptr;
  }
}

// The search of lang_find_file and lang_find_dir: gives the first matching element and its path.
int find(RuntimeString& element, RuntimeString& path, std::string_view name,
         std::string_view path_template, std::string_view identifier) {
  for (std::size_t position = 0; position < path_template.size();) {
    lang_expand_element(element, path_template, identifier, position);
    lang_subst_name(path, element.view(), name);
    if (file_readable(path.c_str())) return 0;
  }
  element.clear();
  path.clear();
  return -1;
}

}  // namespace

LanguageFields inner::lang_split_identifier(std::string_view identifier) {
  LanguageFields fields;
  RuntimeString* field = &fields.language;
  bool entered = true;  // a field keeps its old text until its first new character
  for (const char character : identifier) {
    if (character == '.' || character == '_') {
      field = character == '.' ? &fields.code_set : &fields.territory;
      entered = true;
      continue;
    }
    if (entered) field->clear();
    entered = false;
    append_or_fail(*field, {&character, 1});
  }
  default_if_empty(fields.language, kDefaultLanguage);
  default_if_empty(fields.territory, kDefaultTerritory);
  default_if_empty(fields.code_set, kDefaultCodeSet);
  return fields;
}

void inner::lang_expand_element(RuntimeString& output, std::string_view path_template,
                                std::string_view identifier, std::size_t& position) {
  const LanguageFields fields = lang_split_identifier(identifier);
  output.clear();
  while (position < path_template.size()) {
    const char character = path_template[position++];
    if (character == ';') return;
    const bool at_end = position == path_template.size();
    const char letter = character == '%' && !at_end ? path_template[position] : '\0';
    if (letter == 'L') {
      append_or_fail(output, identifier);
      ++position;
    } else if (const RuntimeString* field = placeholder(fields, letter)) {
      append_or_fail(output, field->view());
      ++position;
    } else {
      append_or_fail(output, {&character, 1});
    }
  }
}

void inner::lang_subst_name(RuntimeString& output, std::string_view element,
                            std::string_view name) {
  output.clear();
  while (!element.empty() && output.length() < kLongestPath) {
    const bool is_name = element.starts_with("%N");
    const std::string_view piece = is_name ? name : element.substr(0, 1);
    output.append_cut(piece.substr(0, kLongestPath - output.length()));
    element.remove_prefix(is_name ? 2 : 1);
  }
}

int lang_find_file(RuntimeString& output, std::string_view name, std::string_view path_template,
                   std::string_view identifier) {
  RuntimeString element;
  return find(element, output, name, path_template, identifier);
}

int lang_find_dir(RuntimeString& output, std::string_view name, std::string_view path_template,
                  std::string_view identifier) {
  RuntimeString path;
  return find(output, path, name, path_template, identifier);
}

void inner::lang_path_list(RuntimeString& output, std::string_view path_template,
                           std::string_view identifier) {
  output.clear();
  RuntimeString element;
  for (std::size_t position = 0; position < path_template.size();) {
    lang_expand_element(element, path_template, identifier, position);
    if (element.length() + 1 + output.length() >= kRuntimeStringCapacity) return;
    output.append_cut(element.view());
    output.append_cut(";");
  }
}

}  // namespace marigold
