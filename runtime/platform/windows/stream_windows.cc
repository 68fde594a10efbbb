// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/stream.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

constexpr DWORD kStandard[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};

HANDLE handle_of_stream(Stream stream) {
  return GetStdHandle(kStandard[static_cast<int>(stream)]);
}

// Number of bytes of `bytes` that end with a whole character of UTF-8, at most `most`.
std::size_t whole_characters(std::string_view bytes, std::size_t most) {
  if (bytes.size() <= most) return bytes.size();
  std::size_t length = most;
  const auto continues = [&](std::size_t at) {
    return (static_cast<unsigned char>(bytes[at]) & 0xC0U) == 0x80U;
  };
  while (length > most - 3 && continues(length))
    --length;
  return length;
}

// A console shows characters, whatever its code page: texts in UTF-8, and all others as ISO 8859-1.
int write_to_console(HANDLE console, std::string_view bytes) {
  constexpr std::size_t kPiece = 4096;
  constexpr UINT kLatin1 = 28591;
  while (!bytes.empty()) {
    std::array<wchar_t, kPiece> wide;
    const std::size_t count = whole_characters(bytes, kPiece);
    const auto length = static_cast<int>(count);
    int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), length,
                                    wide.data(), kPiece);
    if (units == 0)
      units = MultiByteToWideChar(kLatin1, 0, bytes.data(), length, wide.data(), kPiece);
    DWORD written = 0;
    if (units == 0 ||
        WriteConsoleW(console, wide.data(), static_cast<DWORD>(units), &written, nullptr) == 0)
      return windows_error();
    bytes.remove_prefix(count);
  }
  return 0;
}

}  // namespace

// The C library's streams write bytes as they are, as on other systems.
void stream_start() {
  for (int number = 0; number < 3; ++number) {
    const HANDLE handle = GetStdHandle(kStandard[number]);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
      const DWORD access =
          number == static_cast<int>(Stream::kError) ? GENERIC_WRITE : GENERIC_READ;
      SetStdHandle(kStandard[number],
                   CreateFileW(L"NUL", access, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    }
    _setmode(number, _O_BINARY);
  }
}

int stream_write(Stream stream, std::string_view bytes) {
  const HANDLE handle = handle_of_stream(stream);
  if (stream_is_terminal(stream)) return write_to_console(handle, bytes);
  constexpr std::size_t kMost = std::size_t{1} << 20;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(bytes.size(), kMost));
    if (WriteFile(handle, bytes.data(), count, &written, nullptr) == 0) return windows_error();
    if (written == 0) Sleep(1);  // a pipe that does not block is full
    bytes.remove_prefix(written);
  }
  return 0;
}

bool stream_is_terminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handle_of_stream(stream), &mode) != 0;
}

}  // namespace marigold::inner
