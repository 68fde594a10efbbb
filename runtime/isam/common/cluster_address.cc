// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/cluster_address.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace marigold::inner {
namespace {

constexpr std::array<std::string_view, 2> kSchemes = {"postgresql://", "postgres://"};
constexpr std::string_view kUnreserved =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~$";

std::size_t scheme_length(std::string_view name) {
  for (const std::string_view scheme : kSchemes) {
    if (name.starts_with(scheme)) return scheme.size();
  }
  return 0;
}

// Parts of an address: [0, path) names the servers, [path, options) begins with a slash.
struct Cuts {
  std::size_t path;
  std::size_t options;
};

Cuts cut(std::string_view address) {
  const std::size_t options = std::min(address.find('?'), address.size());
  const std::size_t path = address.substr(0, options).find('/', scheme_length(address));
  return {std::min(path, options), options};
}

std::string encoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (kUnreserved.find(character) != std::string_view::npos) {
      result += character;
    } else {
      result.append({'%', kDigits[byte / 16U], kDigits[byte % 16U]});
    }
  }
  return result;
}

// Returns false for a % without two digits after it, and for a zero byte.
bool decode(std::string_view text, std::string& result) {
  result.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = static_cast<unsigned char>(text[i]);
    if (text[i] == '%') {
      const char* const digits = text.data() + i + 1;
      if (i + 2 >= text.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
        return false;
      i += 2;
    }
    if (byte == 0) return false;
    result += static_cast<char>(byte);
  }
  return true;
}

bool parse_number(std::string_view text, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number >= 0;
}

// Whether an option of libpq is a secret; it decodes the names of options.
bool is_secret(std::string_view name) {
  std::string decoded;
  return decode(name, decoded) && (decoded == "password" || decoded == "sslpassword");
}

// Takes an option of the engine. Returns whether it is one; `reason` for a wrong value.
bool take_option(std::string_view name, std::string_view value, ClusterAddress& parsed,
                 std::string& reason) {
  bool right = true;
  if (name == "reconnect") {
    right = parse_number(value, parsed.reconnect);
  } else if (name == "read_ahead") {
    right = parse_number(value, parsed.read_ahead);
  } else if (name == "durability") {
    parsed.each = value == "each";
    right = parsed.each || value == "flush";
  } else {
    return false;
  }
  if (!right) reason = "option " + std::string(name) + " has no such value";
  return true;
}

// Returns the options that are left for libpq, with a question mark before them.
std::string take_options(std::string_view options, ClusterAddress& parsed, std::string& reason) {
  std::string left;
  while (options.size() > 1) {
    options.remove_prefix(1);  // ? or &
    const std::string_view option = options.substr(0, options.find('&'));
    options.remove_prefix(option.size());
    const std::string_view name = option.substr(0, option.find('='));
    const std::string_view value = option.substr(std::min(name.size() + 1, option.size()));
    if (is_secret(name)) reason = "a password has no place in an address; put it into ~/.pgpass";
    if (take_option(name, value, parsed, reason)) continue;
    left.append(left.empty() ? "?" : "&").append(option);
  }
  return left;
}

std::string_view user_of(std::string_view servers) {
  const std::size_t end = servers.rfind('@');
  const std::size_t begin = scheme_length(servers);
  return end == std::string_view::npos ? "" : servers.substr(begin, end - begin);
}

}  // namespace

bool is_cluster_address(std::string_view name) {
  return scheme_length(name) > 0;
}

std::string cluster_join(std::string_view directory, std::string_view file) {
  const std::size_t options = cut(directory).options;
  std::string path(directory.substr(0, options));
  while (path.ends_with('/'))
    path.pop_back();
  return path + "/" + encoded(file) + std::string(directory.substr(options));
}

std::string cluster_directory(std::string_view address) {
  const std::size_t options = cut(address).options;
  const std::string_view path = address.substr(0, options);
  return std::string(path.substr(0, path.rfind('/'))) + std::string(address.substr(options));
}

std::string cluster_file_name(std::string_view address) {
  const std::string_view path = address.substr(0, cut(address).options);
  std::string name;
  decode(path.substr(path.rfind('/') + 1), name);
  return name;
}

std::string cluster_shown(std::string_view address) {
  std::string shown(address);
  // Whatever a mistake makes of the rest, a password stands between these two.
  const std::size_t colon = address.find(':', scheme_length(address));
  const std::size_t end = address.rfind('@');
  if (end != std::string_view::npos && colon < end)
    shown.replace(colon + 1, end - colon - 1, "***");
  for (std::size_t at = cut(shown).options; at < shown.size(); at = shown.find('&', at + 1)) {
    const std::size_t name = at + 1;
    const std::size_t value = shown.find('=', name) + 1;
    if (value == 0) break;
    if (is_secret(std::string_view(shown).substr(name, value - 1 - name)))
      shown.replace(value, std::min(shown.find('&', value), shown.size()) - value, "***");
  }
  return shown;
}

std::string cluster_parse(std::string_view address, ClusterAddress& parsed) {
  parsed = ClusterAddress{};
  const auto [path_begin, options_begin] = cut(address);
  const std::string_view servers = address.substr(0, path_begin);
  if (user_of(servers).find(':') != std::string_view::npos)
    return "a password has no place in an address; put it into ~/.pgpass";
  const std::string_view path = address.substr(path_begin, options_begin - path_begin);
  const std::size_t schema = path.find('/', 1);
  const std::size_t file = schema == std::string_view::npos ? schema : path.find('/', schema + 1);
  if (file == std::string_view::npos || path.find('/', file + 1) != std::string_view::npos)
    return "an address is postgresql://HOSTS/DATABASE/SCHEMA";
  std::string database;
  if (!decode(path.substr(1, schema - 1), database) ||
      !decode(path.substr(schema + 1, file - schema - 1), parsed.schema) ||
      !decode(path.substr(file + 1), parsed.file))
    return "a % stands before two hexadecimal digits";
  if (database.empty() || parsed.schema.empty() || parsed.file.empty())
    return "an address is postgresql://HOSTS/DATABASE/SCHEMA";
  std::string reason;
  const std::string options = take_options(address.substr(options_begin), parsed, reason);
  parsed.server = std::string(servers) + std::string(path.substr(0, schema)) + options;
  std::string hosts;
  decode(servers.substr(std::max(scheme_length(servers), servers.rfind('@') + 1)), hosts);
  parsed.place = (hosts.empty() ? "the local server" : hosts) + ", database " + database;
  return reason;
}

}  // namespace marigold::inner
