// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/rules.h"

#include <algorithm>
#include <map>

#include "runtime/texte/format_language.h"
#include "runtime/texte/sysmsg.h"
#include "tools/texts/text_id.h"

namespace marigold::inner {
namespace {

using EntriesById = std::map<std::string_view, const PoEntry*>;

bool counts(const PoEntry& entry, bool use_fuzzy) {
  return entry.has_text() && (use_fuzzy || !entry.fuzzy);
}

EntriesById by_id(const PoFile& file) {
  EntriesById entries;
  for (const PoEntry& entry : file.entries)
    entries.emplace(entry.id, &entry);
  return entries;
}

// Returns an id for a message: unquoted if it is safe to show.
std::string shown(const std::string& id) {
  const std::string quoted = po_quote(id);
  return quoted.size() == id.size() + 2 ? id : quoted;
}

void add(Findings& findings, std::string_view rule, const PoFile& file, const PoEntry& entry,
         const std::string& message) {
  findings.push_back({rule, file.path, entry.line, entry.id, message});
}

// Messages about a single text begin with its id.
void add_fault(Findings& findings, std::string_view rule, const PoFile& file, const PoEntry& entry,
               const std::string& message) {
  add(findings, rule, file, entry, shown(entry.id) + ": " + message);
}

struct FormatFault {
  std::string_view rule;
  std::string message;
};

// The directives of a text that take arguments, as the text has them, and the faults of its format.
struct FormatParts {
  std::vector<std::string_view> directives;
  std::vector<FormatFault> faults;
};

// Returns a directive or escape of a text, its last character whole.
std::string quoted_part(std::string_view text, std::size_t length) {
  const std::size_t last = length - 1;
  return po_quote(text.substr(0, last + character_length(text, last)));
}

void take_directive(std::string_view text, const Directive& directive, FormatParts& parts) {
  switch (directive.kind) {
    case DirectiveKind::kPercent:
      break;
    case DirectiveKind::kEscapedText:
    case DirectiveKind::kConversion:
      parts.directives.push_back(text.substr(0, directive.length));
      break;
    case DirectiveKind::kInvalid:
      parts.faults.push_back(
          {"directive", quoted_part(text, directive.length) + " is not a directive"});
      break;
    case DirectiveKind::kUnfinished:
      parts.faults.push_back({"directive", "the text ends in the directive " + po_quote(text)});
      break;
  }
}

void look_at_escape(std::string_view text, const Escape& escape, FormatParts& parts) {
  if (escape.digits_missing) {
    parts.faults.push_back({"escape", "an escape \\x without hexadecimal digits"});
  } else if (!escape.numeric && !escape.has_letter) {
    parts.faults.push_back({"escape", "the text ends in a backslash"});
  } else if (!escape.numeric && !escape_letter_is_known(escape.letter)) {
    const std::string escaped(text.substr(0, 1 + character_length(text, 1)));
    parts.faults.push_back({"escape", escaped + " is not an escape"});
  }
}

FormatParts take_apart(std::string_view text) {
  FormatParts parts;
  for (;;) {
    text.remove_prefix(std::min(text.find_first_of("%\\"), text.size()));
    if (text.empty()) return parts;
    if (text.front() == '%') {
      const Directive directive = directive_parse(text);
      take_directive(text, directive, parts);
      text.remove_prefix(directive.length);
    } else {
      const Escape escape = escape_parse(text);
      look_at_escape(text, escape, parts);
      text.remove_prefix(escape.length);
    }
  }
}

// Use of arguments by a directive. Flags, widths and digits are the translator's choice; "d" and
// "i" are equal.
struct ArgumentUse {
  bool width_from_argument;
  bool precision_from_argument;
  char conversion;
  bool operator==(const ArgumentUse&) const = default;
};

ArgumentUse use_of(std::string_view text) {
  const Directive directive = directive_parse(text);
  return {directive.width_from_argument, directive.precision_from_argument,
          directive.conversion == 'i' ? 'd' : directive.conversion};
}

void check_size(const PoFile& file, const PoEntry& entry, const CodeSet& code_set,
                Findings& findings) {
  const auto check = [&](std::string_view what, const std::string& text) {
    std::string bytes;
    const std::size_t lacking = code_set.to_bytes(text, bytes);
    if (lacking != std::string::npos) {
      add_fault(findings, "code-set", file, entry, code_set.describe_lacking(text, lacking));
    } else if (bytes.size() > kLongestText) {
      add_fault(findings, "length", file, entry, describe_length(what, bytes.size()));
    }
  };
  check("the id", entry.id);
  check("the text", entry.text);
}

std::size_t characters(std::string_view text) {
  std::size_t number = 0;
  while (!text.empty()) {
    text.remove_prefix(character_length(text, 0));
    ++number;
  }
  return number;
}

struct Blanks {
  std::size_t leading;
  std::size_t trailing;
  bool operator==(const Blanks&) const = default;
};

Blanks blanks_of(std::string_view text) {
  const std::size_t leading = std::min(text.find_first_not_of(' '), text.size());
  const std::size_t end = text.find_last_not_of(' ');
  return {leading, end == std::string_view::npos ? 0 : text.size() - end - 1};
}

// Whether one side of a text of unchanged width keeps the purpose of its blanks. Two or more are
// padding, which a longer word may replace; a single one separates words and stays; a side without
// blanks gets none.
bool padding_may_change(std::size_t built_in, std::size_t translated) {
  if (built_in == 0) return translated == 0;
  return built_in > 1 || translated > 0;
}

bool blanks_fit(std::string_view built_in, std::string_view translated) {
  const Blanks expected = blanks_of(built_in);
  const Blanks found = blanks_of(translated);
  if (found == expected) return true;
  return characters(translated) == built_in.size() &&
         padding_may_change(expected.leading, found.leading) &&
         padding_may_change(expected.trailing, found.trailing);
}

void check_system_text(const PoFile& file, const PoEntry& entry, Findings& findings) {
  const std::string_view key = std::string_view(entry.id).substr(kSystemPrefix.size());
  const CatalogueEntry* known = sysmsg_entry(key);
  if (known == nullptr) {
    add_fault(findings, "catalogue", file, entry, "no entry of the system catalogue");
  } else if (known->character != nullptr) {
    if (characters(entry.text) > 1) {
      add_fault(findings, "catalogue", file, entry,
                "only the first character of " + po_quote(entry.text) + " is used");
    }
  } else if (!blanks_fit(known->built_in, entry.text)) {
    add_fault(findings, "blanks", file, entry,
              "blanks at the ends of " + po_quote(entry.text) + " differ from the built-in text " +
                  po_quote(known->built_in));
  }
}

void check_format(const PoFile& file, const PoEntry& entry, Findings& findings) {
  for (const FormatFault& fault : take_apart(entry.text).faults)
    add_fault(findings, fault.rule, file, entry, fault.message);
}

using Chain = std::map<unsigned, const PoEntry*>;

void check_chain(const PoFile& file, const std::string& id, const Chain& chain,
                 Findings& findings) {
  unsigned expected = 0;
  for (const auto& [number, entry] : chain) {
    const std::string previous = id + (number > 1 ? std::to_string(number - 1) : "");
    if (number != expected) {
      add(findings, "chain", file, *entry,
          po_quote(entry->id) + " is never shown: " + po_quote(previous) + " is missing");
    }
    if (number > 0 && entry->text == entry->id) {
      add(findings, "chain", file, *entry,
          po_quote(entry->id) + " is never shown: a text that is its own id ends the chain");
    }
    expected = number + 1;
  }
}

void check_chains(const PoFile& file, bool use_fuzzy, Findings& findings) {
  std::map<std::string, Chain> chains;
  for (const PoEntry& entry : file.entries) {
    const auto place = chain_place(entry.id);
    if (place && counts(entry, use_fuzzy))
      chains[std::string(place->chain)].emplace(place->number, &entry);
  }
  for (const auto& [id, chain] : chains)
    check_chain(file, id, chain, findings);
}

std::string reference_place(const PoFile& reference, const PoEntry& entry) {
  return " (" + reference.path + ":" + std::to_string(entry.line) + ")";
}

void check_presence(const PoFile& reference, const PoEntry& wanted, const PoFile& file,
                    const PoEntry* entry, Findings& findings) {
  const std::string place = reference_place(reference, wanted);
  const std::string id = po_quote(wanted.id);
  if (entry == nullptr) {
    findings.push_back({"missing", file.path, 1, wanted.id, id + " is missing" + place});
  } else if (!entry->has_text()) {
    add(findings, "untranslated", file, *entry, id + " is not translated" + place);
  } else {
    add(findings, "fuzzy", file, *entry, id + " is fuzzy and would be left out" + place);
  }
}

void compare_directives(const PoFile& reference, const PoEntry& wanted, const PoFile& file,
                        const PoEntry& entry, Findings& findings) {
  const FormatParts expected = take_apart(wanted.text);
  const FormatParts found = take_apart(entry.text);
  // An invalid directive takes an argument too. It is a finding of its own, and the directives
  // after it cannot be judged.
  const auto is_directive_fault = [](const FormatFault& fault) {
    return fault.rule == "directive";
  };
  if (std::ranges::any_of(expected.faults, is_directive_fault) ||
      std::ranges::any_of(found.faults, is_directive_fault))
    return;
  const std::string place = reference_place(reference, wanted);
  const std::size_t both = std::min(expected.directives.size(), found.directives.size());
  for (std::size_t i = 0; i < both; ++i) {
    if (use_of(expected.directives[i]) == use_of(found.directives[i])) continue;
    add_fault(findings, "arguments", file, entry,
              "directive " + std::to_string(i + 1) + " is " + po_quote(found.directives[i]) +
                  ", the reference has " + po_quote(expected.directives[i]) + place);
    return;
  }
  if (expected.directives.size() != found.directives.size()) {
    add_fault(findings, "arguments", file, entry,
              counted(found.directives.size(), "directive") + ", the reference has " +
                  std::to_string(expected.directives.size()) + place);
  }
}

// Whether a text has words that change with the language: two letters in a row outside directives
// and escapes. "%5.2f %%" has none.
bool has_words(std::string_view text) {
  int letters = 0;
  while (!text.empty() && letters < 2) {
    const char character = text.front();
    const bool letter = (character >= 'a' && character <= 'z') ||
                        (character >= 'A' && character <= 'Z') || character < '\0';
    letters = letter ? letters + 1 : 0;
    std::size_t length = 1;
    if (character == '%') length = directive_parse(text).length;
    if (character == '\\') length = escape_parse(text).length;
    text.remove_prefix(length);
  }
  return letters >= 2;
}

// Returns "de" for "de_AT".
std::string_view language_of(const PoFile& file) {
  return std::string_view(file.language).substr(0, file.language.find_first_of("_-.@"));
}

// msgmerge copies the reference's text into a translation that lacks it, and marks it as
// translated.
bool is_copied(const PoFile& reference, const PoEntry& wanted, const PoFile& file,
               const PoEntry& entry) {
  const std::string_view language = language_of(file);
  const bool same_language = !language.empty() && language == language_of(reference);
  return entry.text == wanted.text && has_words(entry.text) && !entry.meant_same && !same_language;
}

bool is_system_text(const PoEntry& entry) {
  return entry.id.starts_with(kSystemPrefix);
}

}  // namespace

void check_texts(const PoFile& file, const CodeSet& code_set, bool use_fuzzy, Findings& findings) {
  for (const PoEntry& entry : file.entries) {
    if (!counts(entry, use_fuzzy)) continue;
    check_size(file, entry, code_set, findings);
    // System texts are no formats: the runtime shows them unchanged.
    if (is_system_text(entry)) {
      check_system_text(file, entry, findings);
    } else {
      check_format(file, entry, findings);
    }
  }
  check_chains(file, use_fuzzy, findings);
}

void check_reference(const PoFile& file, bool use_fuzzy, Findings& findings) {
  for (const PoEntry& entry : file.entries) {
    if (counts(entry, use_fuzzy)) continue;
    const char* reason = entry.has_text() ? " is fuzzy and would be left out" : " has no text";
    add(findings, entry.has_text() ? "fuzzy" : "untranslated", file, entry,
        po_quote(entry.id) + reason);
  }
}

void check_translation(const PoFile& reference, const PoFile& file, bool use_fuzzy,
                       Findings& findings) {
  const EntriesById wanted_ids = by_id(reference);
  const EntriesById ids = by_id(file);
  for (const PoEntry& wanted : reference.entries) {
    if (!counts(wanted, use_fuzzy)) continue;
    const auto found = ids.find(wanted.id);
    const PoEntry* entry = found == ids.end() ? nullptr : found->second;
    if (entry == nullptr || !counts(*entry, use_fuzzy)) {
      check_presence(reference, wanted, file, entry, findings);
    } else if (is_copied(reference, wanted, file, *entry)) {
      add(findings, "copied", file, *entry,
          po_quote(entry->id) + " has the text of the reference" +
              reference_place(reference, wanted) + "; a comment \"# same\" says that it is meant");
    } else if (!is_system_text(wanted)) {
      compare_directives(reference, wanted, file, *entry, findings);
    }
  }
  for (const PoEntry& entry : file.entries) {
    // System texts need no reference: the runtime has a built-in text for each.
    if (is_system_text(entry) || wanted_ids.contains(entry.id)) continue;
    add(findings, "surplus", file, entry,
        po_quote(entry.id) + " is not in the reference (" + reference.path + ")");
  }
}

}  // namespace marigold::inner
