// SPDX-License-Identifier: GPL-3.0-or-later
// Language identifiers and the search for language-dependent files.
//
// A language identifier has the form language "_" territory "." code set ("english_us.8859"). A
// search path template is a list of elements separated by ";". Placeholders in an element:
//
//   %l   the language          %t   the territory         %c   the code set
//   %L   the whole identifier  %N   the name of the file looked for
//
// A "%" before any other character is a plain character. The search tries elements from the left;
// the first one under which it can open a regular file for reading wins. Paths and elements are
// texts of up to 250 characters.
#pragma once

#include <cstddef>
#include <string_view>

#include "marigold/texts.h"  // IWYU pragma: export
#include "runtime/core/runtime_string.h"

namespace marigold::inner {

// Values of fields that an identifier leaves empty. They are German although the default identifier
// is English: the platform's installations rely on both, so "english" alone means the territory
// "germany".
inline constexpr std::string_view kDefaultLanguage = "german";
inline constexpr std::string_view kDefaultTerritory = "germany";
inline constexpr std::string_view kDefaultCodeSet = "8859";

struct LanguageFields {
  RuntimeString language;
  RuntimeString territory;
  RuntimeString code_set;
};

// Splits an identifier; empty fields take the defaults. If a field comes a second time
// ("en.iso.8859"), its first character there replaces the earlier text. A field of more than 250
// characters is system error 38.
LanguageFields lang_split_identifier(std::string_view identifier);

// Expands the element that begins at `position`, except for "%N", into the output, and moves the
// position after the element and its ";". Position 0 is the first element; after the last element
// the position is the template's length. An element that expands to more than 250 characters is
// system error 38.
void lang_expand_element(RuntimeString& output, std::string_view path_template,
                         std::string_view identifier, std::size_t& position);

// Replaces every "%N" of an expanded element by the name. The output ends after 249 characters, in
// the middle of the name if need be.
void lang_subst_name(RuntimeString& output, std::string_view element, std::string_view name);

// All elements expanded, "%N" left in them, each followed by ";". Stops before the first element
// with which the list would reach 250 characters.
void lang_path_list(RuntimeString& output, std::string_view path_template,
                    std::string_view identifier);

}  // namespace marigold::inner
