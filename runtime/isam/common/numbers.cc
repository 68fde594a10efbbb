// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstring>

#include "runtime/isam/common/isam.h"

namespace marigold {
namespace {

std::uint32_t load_big_endian(const char* from, int bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < bytes; ++i)
    value = value << 8 | static_cast<unsigned char>(from[i]);
  return value;
}

void store_big_endian(std::uint32_t value, char* to, int bytes) {
  for (int i = bytes - 1; i >= 0; --i, value >>= 8)
    to[i] = static_cast<char>(value & 0xFF);
}

}  // namespace

std::int16_t isld_int2(const char* from) {
  return static_cast<std::int16_t>(load_big_endian(from, 2));
}

std::int32_t isld_int4(const char* from) {
  return static_cast<std::int32_t>(load_big_endian(from, 4));
}

double isld_double(const char* from) {
  double value = 0;
  std::memcpy(&value, from, sizeof value);
  return value;
}

void isst_int2(std::int16_t value, char* to) {
  store_big_endian(static_cast<std::uint16_t>(value), to, 2);
}

void isst_int4(std::int32_t value, char* to) {
  store_big_endian(static_cast<std::uint32_t>(value), to, 4);
}

void isst_double(double value, char* to) {
  std::memcpy(to, &value, sizeof value);
}

}  // namespace marigold
