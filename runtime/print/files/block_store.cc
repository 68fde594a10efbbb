// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/block_store.h"

#include <array>
#include <cstring>

#include "runtime/platform/named_file.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kMagic = "MGBLOCKS";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kVersionAt = 8;
constexpr std::size_t kChecksumAt = 12;

std::uint32_t number_at(std::string_view bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;)
    number = number << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  return number;
}

void append_number(std::string& bytes, std::uint32_t number) {
  for (int i = 0; i < 4; ++i)
    bytes += static_cast<char>(number >> 8 * i & 0xFF);
}

// CRC-32 with the reflected polynomial 0xEDB88320.
constexpr std::array<std::uint32_t, 256> kCrcTable = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit)
      value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320U : value >> 1;
    table.at(byte) = value;
  }
  return table;
}();

std::uint32_t checksum(std::string_view bytes) {
  std::uint32_t value = 0xFFFFFFFFU;
  for (const char byte : bytes)
    value = value >> 8 ^ kCrcTable.at((value ^ static_cast<std::uint8_t>(byte)) & 0xFF);
  return ~value;
}

const char* fault_of(std::string_view store) {
  if (store.size() < kBlockStoreHeader || !store.starts_with(kMagic)) return "not a block store";
  if (number_at(store, kVersionAt) != kVersion) return "a block store of another version";
  const std::string_view blocks = store.substr(kBlockStoreHeader);
  return number_at(store, kChecksumAt) == checksum(blocks) ? nullptr : "a damaged block store";
}

}  // namespace

bool block_store_read(const char* path, std::string& store, std::string& reason) {
  if (const int failed = file_read(path, store, kLargestBlockStore)) {
    reason = system_error_text(failed);
    return false;
  }
  const char* fault = fault_of(store);
  if (fault != nullptr) reason = fault;
  return fault == nullptr;
}

std::string block_store_of(std::string_view blocks) {
  std::string store(kMagic);
  append_number(store, kVersion);
  append_number(store, checksum(blocks));
  return store.append(blocks);
}

}  // namespace marigold::inner
