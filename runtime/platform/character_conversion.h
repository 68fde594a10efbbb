// SPDX-License-Identifier: GPL-3.0-or-later
// Conversion of texts between encodings, by the system's converter.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace marigold::inner {

// One direction between two encodings. Names are those of the system's converter ("UTF-8",
// "ISO-8859-15", "CP1252").
class CharacterConversion {
 public:
  CharacterConversion();
  ~CharacterConversion();
  CharacterConversion(CharacterConversion&&) noexcept;
  CharacterConversion& operator=(CharacterConversion&&) noexcept;

  // Returns false if the converter does not know one of the encodings.
  bool open(const std::string& to, const std::string& from);

  // Replaces `output` by the converted bytes. Returns the position of the first character that has
  // no exact counterpart, and `output` is a part then; npos if all have one. Where the converter
  // hides which character it replaced by a similar one, the position is 0.
  std::size_t convert(std::string_view text, std::string& output) const;

 private:
  class Converter;
  std::unique_ptr<Converter> converter_;
};

}  // namespace marigold::inner
