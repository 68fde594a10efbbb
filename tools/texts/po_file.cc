// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/po_file.h"

#include <array>
#include <cstdio>

namespace marigold::inner {
namespace {

// Header of every written file.
constexpr const char* kHeader =
    "msgid \"\"\n"
    "msgstr \"\"\n"
    "\"MIME-Version: 1.0\\n\"\n"
    "\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
    "\"Content-Transfer-Encoding: 8bit\\n\"\n";

}  // namespace

std::string po_quote(std::string_view text) {
  constexpr std::string_view kLetters = "abtnvfr";  // of the control characters from 7 on
  constexpr char kFirstWithLetter = '\a';
  std::string quoted = "\"";
  for (const char character : text) {
    const auto letter = static_cast<std::size_t>(character - kFirstWithLetter);
    if (character == '"' || character == '\\') {
      quoted.append("\\") += character;
    } else if (character >= kFirstWithLetter && letter < kLetters.size()) {
      quoted.append("\\") += kLetters[letter];
    } else if ((character >= '\0' && character < ' ') || character == '\x7F') {
      std::array<char, 8> number{};
      std::snprintf(number.data(), number.size(), "\\%03o", static_cast<unsigned>(character));
      quoted += number.data();
    } else {
      quoted += character;
    }
  }
  return quoted + "\"";
}

std::string po_format(const std::vector<PoEntry>& entries) {
  std::string file = kHeader;
  for (const PoEntry& entry : entries) {
    file += entry.text.empty() ? "\n#. empty\n" : "\n";
    file += "msgid " + po_quote(entry.id) + "\nmsgstr " + po_quote(entry.text) + "\n";
  }
  return file;
}

std::string po_template(const std::vector<PoEntry>& entries) {
  std::string file = kHeader;
  for (const PoEntry& entry : entries) {
    file += '\n';
    for (const std::string& comment : entry.comments) {
      // Each language decides whether a translation may be the same.
      if (comment != kMeantSame)
        file.append(comment.empty() ? "#." : "#. ").append(comment) += '\n';
    }
    if (!entry.text.empty()) file += "#. Text: " + po_quote(entry.text) + "\n";
    file += "msgid " + po_quote(entry.id) + "\nmsgstr \"\"\n";
  }
  return file;
}

}  // namespace marigold::inner
