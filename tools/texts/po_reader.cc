// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/po_file.h"

#include <gettext-po.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <memory>
#include <optional>
#include <type_traits>

#include "runtime/core/new_files.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/scratch_file.h"
#include "tools/texts/po_charset.h"

namespace marigold::inner {
namespace {

// Destination of the library's handlers, which are plain functions. Set during one call of the
// library.
struct Reading {
  const std::string* path = nullptr;
  Problems* problems = nullptr;
  int complaint_line = 0;
  std::jmp_buf abandon;
};
Reading reading;

void note_problem(int severity, const char* file, std::size_t line, std::string_view text) {
  const bool has_line = file != nullptr && line != static_cast<std::size_t>(-1);
  reading.complaint_line = has_line ? static_cast<int>(line) : 0;
  // Warnings concern other uses of PO files, or the charset, which this module judges itself.
  if (severity == PO_SEVERITY_WARNING || reading.problems == nullptr) return;
  const std::string place =
      has_line ? at_line(*reading.path, reading.complaint_line) : *reading.path + ": ";
  reading.problems->push_back(place + std::string(text.substr(0, text.find('\n'))));
}

void on_complaint(int severity, po_message_t, const char* file, std::size_t line, std::size_t, int,
                  const char* text) {
  note_problem(severity, file, line, text);
  // The library forbids a return from this handler.
  if (severity == PO_SEVERITY_FATAL_ERROR) std::longjmp(reading.abandon, 1);
}

// The complaint names two messages; the user has to correct the first one.
void on_double_complaint(int severity, po_message_t message, const char* file, std::size_t line,
                         std::size_t column, int multiline, const char* text, po_message_t,
                         const char*, std::size_t, std::size_t, int, const char*) {
  on_complaint(severity, message, file, line, column, multiline, text);
}

constexpr po_xerror_handler kHandler = {on_complaint, on_double_complaint};

struct Freer {
  void operator()(po_file_t file) const { po_file_free(file); }
  void operator()(po_message_iterator_t messages) const { po_message_iterator_free(messages); }
};
using LibraryFile = std::unique_ptr<std::remove_pointer_t<po_file_t>, Freer>;
using LibraryMessages = std::unique_ptr<std::remove_pointer_t<po_message_iterator_t>, Freer>;

po_file_t read_or_abandon(const char* path) {
  // The jump skips only C frames of the library.
  if (setjmp(reading.abandon) != 0) return nullptr;
  return po_file_read(path, &kHandler);
}

// The library gives the place of a message only with a complaint about it. So this function
// provokes a complaint, by a translation that lacks the directive of its id. The message is
// unusable afterwards.
int spoil_for_line(po_message_t message) {
  reading.problems = nullptr;
  reading.complaint_line = 0;
  po_message_set_msgid_plural(message, nullptr);
  po_message_set_msgid(message, "%d");
  po_message_set_msgstr(message, "");
  po_message_set_format(message, "c-format", 1);
  po_message_check_format(message, &kHandler);
  return reading.complaint_line;
}

// Returns the low byte of the escape whose backslash is at the position, or nothing without an
// escape.
std::optional<unsigned> number_of_escape(std::string_view line, std::size_t position) {
  const std::string_view behind = line.substr(position + 1);
  const bool hexadecimal = behind.starts_with('x');
  const std::string_view digit_set = hexadecimal ? "0123456789abcdefABCDEF" : "01234567";
  constexpr std::size_t kMostOctalDigits = 3;
  constexpr std::size_t kHexDigitsOfByte = 2;
  std::string_view digits = behind.substr(hexadecimal ? 1 : 0);
  digits = digits.substr(0, digits.find_first_not_of(digit_set));
  if (!hexadecimal) digits = digits.substr(0, kMostOctalDigits);
  if (hexadecimal && digits.size() > kHexDigitsOfByte) {
    digits.remove_prefix(digits.size() - kHexDigitsOfByte);  // any number may follow
  }
  if (digits.empty()) return std::nullopt;
  constexpr unsigned kByte = 0xFF;
  return std::strtoul(std::string(digits).c_str(), nullptr, hexadecimal ? 16 : 8) & kByte;
}

bool has_zero_byte(std::string_view line) {
  if (line.find('\0') != std::string_view::npos) return true;
  if (line.starts_with('#')) return false;
  for (std::size_t at = line.find('\\'); at < line.size(); at = line.find('\\', at + 2)) {
    if (number_of_escape(line, at) == 0U) return true;
  }
  return false;
}

// Finds faults that the library ignores silently: it ends texts at their first zero byte, and reads
// a file whose lines end with carriage returns alone as a single line, a comment.
bool look_at_bytes(const std::string& path, std::string_view bytes, Problems& problems) {
  for (int number = 1; !bytes.empty(); ++number) {
    std::string_view line = bytes.substr(0, bytes.find('\n'));
    bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
    while (line.ends_with('\r'))
      line.remove_suffix(1);
    const auto complain = [&](const char* what) {
      problems.push_back(at_line(path, number) + what);
    };
    if (number == 1 && line.starts_with("\xEF\xBB\xBF")) complain("begins with a byte order mark");
    if (has_zero_byte(line)) complain("zero byte in a text");
    if (line.find('\r') != std::string_view::npos)
      complain("a carriage return inside a line; lines end with a line feed");
  }
  return problems.empty();
}

// Authors write "#. empty" in the template, which passes it on to every translation; a translator
// writes "# empty".
std::string all_comments(po_message_t message) {
  std::string lines;
  for (const char* comments :
       {po_message_comments(message), po_message_extracted_comments(message)})
    lines += comments;
  return lines;
}

std::vector<std::string> split_comments(std::string_view comments) {
  std::vector<std::string> lines;
  while (!comments.empty()) {
    std::string_view line = comments.substr(0, comments.find('\n'));
    comments.remove_prefix(std::min(line.size() + 1, comments.size()));
    // Editors leave blanks at the ends of lines, and files of other systems have a carriage return
    // there.
    constexpr std::string_view kBlanks = " \t\r";
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    lines.emplace_back(line.substr(0, line.find_last_not_of(kBlanks) + 1));
  }
  return lines;
}

std::string describe_wrong_character(const PoCharset& charset) {
  return "a character is not " + charset.name() + ", the charset of the file";
}

std::string header_field(const char* header, const char* name) {
  const std::unique_ptr<char, decltype(&std::free)> field(po_header_field(header, name),
                                                          &std::free);
  return field == nullptr ? "" : field.get();
}

// Turns the library's messages into entries, each converted to UTF-8.
class Collector {
 public:
  // `escaped` is the charset by which the file was made readable; without a name if it was not
  // needed.
  Collector(const PoCharset& escaped, PoFile& file, Problems& problems)
      : escaped_(escaped), file_(file), problems_(problems) {}

  void collect(po_file_t source) {
    const char* header = po_file_domain_header(source, nullptr);
    open_charset(header == nullptr ? "" : header);
    for (const char* const* domain = po_file_domains(source); *domain != nullptr; ++domain)
      collect_domain(source, *domain);
  }

 private:
  void open_charset(const char* header) {
    file_.language = header_field(header, "Language");
    constexpr std::string_view kLabel = "charset=";
    const std::string field = header_field(header, "Content-Type");
    const std::size_t label = field.find(kLabel);
    std::string name;
    if (label != std::string::npos) {
      name = field.substr(label + kLabel.size());
      name.resize(std::min(name.find_first_of(" \t\r\n;"), name.size()));
    }
    const bool placeholder = name == "CHARSET";  // in an unfilled template
    known_ = charset_.open(placeholder || name.empty() ? "ASCII" : name);
  }

  // Returns the reason why the header's charset is unusable; empty if it is usable.
  [[nodiscard]] std::string reason_to_refuse_charset() const {
    const std::string charset = "the charset \"" + charset_.name() + "\" ";
    if (!known_) return charset + "is not known";
    // Only a header that is spread over several strings hides its charset from po_charset_named.
    const bool unexpected = charset_.hides_ascii() && charset_.name() != escaped_.name();
    return unexpected ? charset + "is not on one line with its label" : "";
  }

  void collect_domain(po_file_t source, const char* domain) {
    const LibraryMessages messages(po_message_iterator(source, domain));
    while (po_message_t message = po_next_message(messages.get())) {
      if (po_message_is_obsolete(message) != 0) continue;
      const char* refused = reason_to_refuse(message, domain);
      const bool header = *po_message_msgid(message) == '\0';
      PoEntry entry;
      entry.fuzzy = po_message_is_fuzzy(message) != 0;
      const std::string comments = all_comments(message);
      const std::string id = po_message_msgid(message);
      const std::string text = po_message_msgstr(message);
      entry.line = spoil_for_line(message);
      if (refused != nullptr) {
        complain(entry, refused);
      } else if (header) {
        if (const std::string why = reason_to_refuse_charset(); !why.empty()) complain(entry, why);
      } else if (known_ && convert(entry, id, entry.id) && convert(entry, text, entry.text)) {
        take_comments(entry, comments);
        file_.entries.push_back(std::move(entry));
      }
    }
  }

  void take_comments(PoEntry& entry, const std::string& bytes) {
    std::string comments;
    // Up to the first byte that is no text of the charset: a comment is no reason to refuse the
    // file.
    charset_.to_utf8(bytes, comments);
    entry.comments = split_comments(comments);
    const auto say = [&entry](std::string_view word) {
      return std::ranges::find(entry.comments, word) != entry.comments.end();
    };
    entry.meant_empty = say(kMeantEmpty);
    entry.meant_same = say(kMeantSame);
  }

  static const char* reason_to_refuse(po_message_t message, std::string_view domain) {
    if (domain != "messages") return "texts of a text database have no domain";
    if (po_message_msgctxt(message) != nullptr) return "texts of a text database have no context";
    if (po_message_msgid_plural(message) != nullptr)
      return "texts of a text database have no plural forms";
    return nullptr;
  }

  bool convert(const PoEntry& entry, const std::string& bytes, std::string& text) {
    if (charset_.to_utf8(bytes, text) == std::string::npos) return true;
    complain(entry, describe_wrong_character(charset_));
    return false;
  }

  void complain(const PoEntry& entry, const std::string& reason) {
    problems_.push_back(at_line(file_.path, entry.line) + reason);
  }

  const PoCharset& escaped_;
  PoFile& file_;
  Problems& problems_;
  PoCharset charset_;
  bool known_ = false;
};

// Passes the library the file, or a readable copy if the library could not read the file.
LibraryFile read_with_library(const std::string& path, const std::string& bytes, bool is_copy,
                              Problems& problems) {
  ScratchFile copy;
  if (const int error = is_copy ? copy.write(bytes) : 0; error != 0) {
    problems.push_back(
        file_error(copy.path().empty() ? "marigold: temporary file" : copy.path(), error));
    return nullptr;
  }
  reading.path = &path;
  reading.problems = &problems;
  LibraryFile source(read_or_abandon(is_copy ? copy.path().c_str() : path.c_str()));
  if (source == nullptr && problems.empty()) problems.push_back(path + ": cannot be read");
  return source;
}

void load(const std::string& path, PoFile& file, Problems& problems) {
  std::string bytes;
  if (const int error = file_read(path.c_str(), bytes); error != 0) {
    // Pipes are refused, because this function reads the file twice.
    problems.push_back(error == EINVAL ? path + ": is no regular file" : file_error(path, error));
    return;
  }
  PoCharset named;
  PoCharset escaped;
  const bool escape = named.open(po_charset_named(bytes)) && named.hides_ascii();
  if (escape) {
    std::string readable;
    const std::size_t failed = named.escape(bytes, readable);
    if (failed != std::string::npos) {
      problems.push_back(at_line(path, po_line_at(bytes, failed)) +
                         describe_wrong_character(named));
      return;
    }
    bytes = std::move(readable);
  }
  if (!look_at_bytes(path, bytes, problems)) return;
  const LibraryFile source = read_with_library(path, bytes, escape, problems);
  if (problems.empty()) Collector(escape ? named : escaped, file, problems).collect(source.get());
  reading.problems = nullptr;
  reading.path = nullptr;
}

}  // namespace

bool po_load(const std::string& path, PoFile& file, Problems& problems) {
  working_on(path);
  file = PoFile{path, {}};
  Problems found;
  load(path, file, found);
  problems.insert(problems.end(), found.begin(), found.end());
  return found.empty();
}

}  // namespace marigold::inner

#ifdef __SANITIZE_ADDRESS__
// The library never frees the comments that it returns. The sanitizer finds these functions by name
// among the program's visible symbols.
extern "C" {
[[gnu::visibility("default")]] const char* __lsan_default_suppressions();
[[gnu::visibility("default")]] const char* __lsan_default_options();
const char* __lsan_default_suppressions() {
  return "leak:libgettextpo\n";
}
const char* __lsan_default_options() {
  return "print_suppressions=0";
}
}
#endif
