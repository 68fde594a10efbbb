// SPDX-License-Identifier: GPL-3.0-or-later
// Text databases as files: a pair NAME.pag and NAME.dir, written whole and read whole.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace marigold::inner {

// A record with the bytes of the store, zero bytes included.
struct TextRecord {
  std::string key;
  std::string value;
};

// Returns the path of a database without its suffix, for a user's "DIR/textdb" or the name of one
// of its files.
std::string text_database_path(std::string_view given);

// Builds the database in place of an existing one, which stays as it is until the new one is whole.
// Makes missing directories. Keys may not repeat. The same records in the same order give the same
// bytes. Returns false and the reason when the database cannot be written, or a signal asks the
// process to end; then nothing has changed.
bool text_database_write(const std::string& path, std::span<const TextRecord> records,
                         std::string& reason);

// Reads all records, in no particular order. Works without the companion .dir file. Returns false
// and the reason when the database cannot be opened or is damaged; the records read until then are
// kept.
bool text_database_read(const std::string& path, std::vector<TextRecord>& records,
                        std::string& reason);

}  // namespace marigold::inner
