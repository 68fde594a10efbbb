// SPDX-License-Identifier: GPL-3.0-or-later
#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "runtime/platform/character_conversion.h"

namespace marigold::inner {

class CharacterConversion::Converter {
 public:
  Converter(const std::string& to, const std::string& from)
      : handle_(iconv_open(to.c_str(), from.c_str())) {}
  ~Converter() {
    if (is_open()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  [[nodiscard]] bool is_open() const {
    constexpr std::intptr_t kFailed = -1;
    return reinterpret_cast<std::intptr_t>(handle_) != kFailed;
  }
  [[nodiscard]] iconv_t handle() const { return handle_; }

 private:
  iconv_t handle_;
};

CharacterConversion::CharacterConversion() = default;
CharacterConversion::~CharacterConversion() = default;
CharacterConversion::CharacterConversion(CharacterConversion&&) noexcept = default;
CharacterConversion& CharacterConversion::operator=(CharacterConversion&&) noexcept = default;

bool CharacterConversion::open(const std::string& to, const std::string& from) {
  auto opened = std::make_unique<Converter>(to, from);
  if (!opened->is_open()) return false;
  converter_ = std::move(opened);
  return true;
}

std::size_t CharacterConversion::convert(std::string_view text, std::string& output) const {
  constexpr std::size_t kChunk = 1024;
  constexpr auto kFailed = static_cast<std::size_t>(-1);
  const iconv_t handle = converter_->handle();
  output.clear();
  iconv(handle, nullptr, nullptr, nullptr, nullptr);
  char* input = const_cast<char*>(text.data());  // the interface dates from before const
  std::size_t input_left = text.size();
  for (bool flushing = false;;) {
    std::array<char, kChunk> chunk;
    char* free_bytes = chunk.data();
    std::size_t free_left = chunk.size();
    const std::size_t result = iconv(handle, flushing ? nullptr : &input,
                                     flushing ? nullptr : &input_left, &free_bytes, &free_left);
    const int error = result == kFailed ? errno : 0;
    output.append(chunk.data(), chunk.size() - free_left);
    if (error == E2BIG) continue;
    if (error != 0) return text.size() - input_left;
    if (result > 0) return 0;  // replaced a character by a similar one, somewhere
    if (flushing) return std::string::npos;
    flushing = true;  // a code set with shifts returns to its first state
  }
}

}  // namespace marigold::inner
