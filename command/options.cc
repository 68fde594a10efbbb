// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/options.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "command/message.h"

namespace marigold::inner {
namespace {

using Words = std::span<char* const>;

constexpr char kRejected = '?';
constexpr std::string_view kLettersAlone = "?vn";
constexpr char kLetterWithArgument = 't';

bool is_option_word(const char* word) {
  return word[0] == '-' && word[1] != '\0';
}

// Takes the argument of an option: the rest of its word, or else the next word. Null without one.
const char* take_argument(const char* rest, Words& words) {
  if (*rest != '\0') return rest;
  if (words.empty()) return nullptr;
  const char* next = words.front();
  words = words.subspan(1);
  return next;
}

// Returns the letter, or, after a message, kRejected.
char checked_letter(const char* program, char letter) {
  if (letter == kLetterWithArgument || kLettersAlone.find(letter) != std::string_view::npos) {
    return letter;
  }
  std::fprintf(stderr, "%s: unknown option, -%s\n", shown(program).c_str(),
               shown({&letter, 1}).c_str());
  return kRejected;
}

// Takes one word of options, "-nv" or "-tNAME"; `words` are those after it.
void parse_word(const char* program, const char* letters, Words& words, Options& options) {
  while (*letters != '\0') {
    switch (checked_letter(program, *letters++)) {
      case 'n':
        options.final_newline = false;
        break;
      case 'v':
        options.verbose = true;
        break;
      case kLetterWithArgument:
        if (const char* name = take_argument(letters, words)) {
          options.text_file = name;
        } else {
          std::fprintf(stderr, "%s: argument missing for -%c\n", shown(program).c_str(),
                       kLetterWithArgument);
          ++options.errors;
        }
        return;
      default:
        ++options.errors;
    }
  }
}

}  // namespace

Options options_parse(Words command_line) {
  Options options;
  const char* program = command_line.front();
  Words words = command_line.subspan(1);
  while (!words.empty() && is_option_word(words.front())) {
    const char* word = words.front();
    words = words.subspan(1);
    if (std::strcmp(word, "--") == 0) break;
    parse_word(program, word + 1, words, options);
  }
  options.words = words;
  return options;
}

}  // namespace marigold::inner
