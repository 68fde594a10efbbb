// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/row_stream.h"

#include <algorithm>
#include <utility>

#include "runtime/isam/cluster/connection.h"

namespace marigold::inner::isam {
namespace {

// Before the first row: a signature, flags, and the length of an extension, which is 0.
constexpr std::size_t kHead = 19;

// Takes a big-endian number from the front of the bytes, which are enough.
std::uint64_t take_number(std::string_view& bytes, std::size_t size) {
  std::uint64_t number = 0;
  for (const char byte : bytes.substr(0, size))
    number = number << 8 | static_cast<unsigned char>(byte);
  bytes.remove_prefix(size);
  return number;
}

}  // namespace

bool RowStream::begin(Connection& connection, const std::string& query, std::size_t limit) {
  forget();
  if (connection.copy_out_begin("COPY (" + query + ") TO STDOUT (FORMAT binary)", *this) != 0)
    return false;
  limit_ = limit;
  at_head_ = true;
  return true;
}

// What the connection has still to get, it gets with its next work.
void RowStream::end() {
  if (connection_ != nullptr) connection_->forget_reader();
  connection_ = nullptr;
  kept_.clear();
  next_kept_ = 0;
}

void RowStream::forget() {
  end();
  rows_ = 0;
  limit_ = 0;
}

bool RowStream::next_message() {
  if (next_kept_ < kept_.size()) {
    message_ = std::move(kept_[next_kept_++]);
    return true;
  }
  return connection_ != nullptr && connection_->copy_out(message_);
}

// A message is a row; the last one only tells that there are no more.
bool RowStream::parse(std::int64_t& number, std::string_view& bytes) {
  constexpr std::size_t kBefore = 2 + 4 + 8 + 4;  // the number of fields, lengths, the number
  std::string_view rest = message_;
  if (std::exchange(at_head_, false)) rest.remove_prefix(std::min(kHead, rest.size()));
  if (rest.size() < kBefore || take_number(rest, 2) != 2 || take_number(rest, 4) != 8) return false;
  number = static_cast<std::int64_t>(take_number(rest, 8));
  if (take_number(rest, 4) != rest.size()) return false;
  bytes = rest;
  return true;
}

bool RowStream::next(std::int64_t& number, std::string_view& bytes) {
  if (next_message() && parse(number, bytes)) {
    ++rows_;
    return true;
  }
  end();
  return false;
}

}  // namespace marigold::inner::isam
