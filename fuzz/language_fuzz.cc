// SPDX-License-Identifier: GPL-3.0-or-later
// The search for language-dependent files with any identifier, search path template and file name:
// the first three lines of an input.
// Promised: fields are never empty and have no separator; the elements cover the template; every
// output keeps its limit; only a text that is too long leads to a system error.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"
#include "runtime/texte/language.h"

namespace marigold::inner::fuzz {
namespace {

constexpr int kStringTooLong = 38;

// The disk search covers only templates of at most so many elements, to stay fast.
constexpr std::ptrdiff_t kMostSearched = 3;

struct FatalError {
  int number;
};

void throw_number(int number) {
  throw FatalError{number};
}

struct Input {
  std::string identifier;
  std::string path_template;
  std::string name;
};

void check_field(const RuntimeString& field) {
  require(!field.empty());
  require(field.view().find_first_of("._") == std::string_view::npos);
}

void check_split(const Input& input) {
  const LanguageFields fields = lang_split_identifier(input.identifier);
  check_field(fields.language);
  check_field(fields.territory);
  check_field(fields.code_set);
}

void check_name(std::string_view element, std::string_view name) {
  RuntimeString path;
  lang_subst_name(path, element, name);
  require(path.length() <= kLongestString);
  if (element.find("%N") == std::string_view::npos) {
    require(path.view() == element.substr(0, kLongestString));
  }
}

std::ptrdiff_t count_elements(std::string_view path_template) {
  const bool open_end = !path_template.empty() && path_template.back() != ';';
  return std::ranges::count(path_template, ';') + (open_end ? 1 : 0);
}

void check_elements(const Input& input) {
  RuntimeString element;
  std::ptrdiff_t count = 0;
  for (std::size_t position = 0; position < input.path_template.size(); ++count) {
    const std::size_t before = position;
    lang_expand_element(element, input.path_template, input.identifier, position);
    require(position > before && position <= input.path_template.size());
    check_name(element.view(), input.name);
  }
  require(count == count_elements(input.path_template));
}

void check_list(const Input& input) {
  RuntimeString list;
  lang_path_list(list, input.path_template, input.identifier);
  require(list.length() < kRuntimeStringCapacity);
  require(list.empty() || list.view().back() == ';');
}

void check_search(const Input& input) {
  if (count_elements(input.path_template) > kMostSearched) return;
  RuntimeString path;
  RuntimeString directory;
  const int found = lang_find_file(path, input.name, input.path_template, input.identifier);
  require(found == 0 ? file_readable(path.c_str()) : found == -1 && path.empty());
  require(lang_find_dir(directory, input.name, input.path_template, input.identifier) == found);
  require(found == 0 || directory.empty());
}

using Check = void (*)(const Input&);

void run(Check check, const Input& input) {
  // Fields and elements can be too long only if one of these is.
  const bool may_fail = input.identifier.size() > kRuntimeStringCapacity ||
                        input.path_template.find('%') != std::string::npos ||
                        input.path_template.size() > kRuntimeStringCapacity;
  try {
    check(input);
  } catch (const FatalError& error) {
    require(error.number == kStringTooLong && may_fail);
  }
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace marigold::inner::fuzz;
  marigold::user_interface().fatal = throw_number;
  std::vector<std::string> lines = split_lines(data, size);
  lines.resize(3);
  const Input input{lines[0], lines[1], lines[2]};
  for (const Check check : {check_split, check_elements, check_list, check_search}) {
    run(check, input);
  }
  return 0;
}
