// Text of bounded length in place: no allocation, always terminated by a zero byte.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace marigold {

// Holds up to Capacity characters (bytes) and the zero byte after them.
template <std::size_t Capacity>
class TextBuffer {
 public:
  constexpr TextBuffer() = default;
  constexpr explicit TextBuffer(std::string_view text) { assign_cut(text); }

  constexpr void clear() { set_length(0); }

  // Takes the text, or its first Capacity characters. The text may not lie in this buffer.
  constexpr void assign_cut(std::string_view text) {
    clear();
    append_cut(text);
  }
  constexpr void append_cut(std::string_view text) {
    text = text.substr(0, Capacity - length_);
    std::copy(text.begin(), text.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(length_));
    set_length(length_ + text.size());
  }

  // Appends the text whole, or returns false and leaves the buffer as it was.
  [[nodiscard]] constexpr bool append(std::string_view text) {
    if (text.size() > Capacity - length_) return false;
    append_cut(text);
    return true;
  }

  [[nodiscard]] constexpr std::string_view view() const { return {bytes_.data(), length_}; }
  [[nodiscard]] constexpr const char* c_str() const { return bytes_.data(); }
  [[nodiscard]] constexpr std::size_t length() const { return length_; }
  [[nodiscard]] constexpr bool empty() const { return length_ == 0; }

 private:
  constexpr void set_length(std::size_t length) {
    length_ = length;
    bytes_[length] = '\0';
  }

  std::array<char, Capacity + 1> bytes_{};
  std::size_t length_ = 0;
};

}  // namespace marigold
