// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/stored_lists.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "runtime/data/access/field_access.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"
#include "runtime/print/files/block_code.h"
#include "runtime/print/files/block_store.h"

namespace marigold::inner {
namespace {

bool fail(std::string& problem, const std::string& path, const std::string& reason) {
  problem = path + ": " + reason;
  return false;
}

// The engine's own error numbers have names but no texts.
bool fail(std::string& problem, const std::string& path, int number) {
  if (number == kIsFileLocked)
    return fail(problem, path, "another process has it open exclusively");
  if (number == kIsBadFile) return fail(problem, path, "is damaged, or no keyed file");
  if (number == kIsDuplicate) return fail(problem, path, "two records have one name");
  const std::string name = iserror_name(number);
  return fail(problem, path, name.empty() ? system_error_text(number) : "unexpected error " + name);
}

// A keyed file, which the destructor closes. This class calls the engine without the access layer
// above it: that layer would end the process where an author needs a message.
class KeyedFile {
 public:
  KeyedFile(const FileDefinition& definition, std::string path)
      : definition_(definition),
        path_(std::move(path)),
        record_(static_cast<std::size_t>(definition.record_length)) {}
  ~KeyedFile() {
    if (number_ >= 0) ISCLOSE(number_);
  }
  KeyedFile(const KeyedFile&) = delete;
  KeyedFile& operator=(const KeyedFile&) = delete;

  bool make(const std::string& like, std::string& problem) {
    number_ = isbuild_like(path_.c_str(), like.c_str(), definition_.record_length,
                           isam_key(definition_, 1), kIsInputOutput | kIsExclusive);
    bool made = number_ >= 0;
    for (int key = 2; made && key <= definition_.keys.key_count; ++key)
      made = ISADDINDEX(number_, isam_key(definition_, key)) == 0;
    return made || fail(problem, path_, iserrno);
  }

  bool write(std::string& problem) {
    return ISWRITE(number_, record_.data()) == 0 || fail(problem, path_, iserrno);
  }

  bool close(std::string& problem) {
    return ISCLOSE(std::exchange(number_, -1)) == 0 || fail(problem, path_, iserrno);
  }

  // Visits all records in the order of the first key.
  bool walk(const std::function<void()>& take, std::string& problem) {
    number_ = ISOPEN(path_.c_str(), kIsInput | kIsReadOnly | kIsManualLock);
    if (number_ < 0) return fail(problem, path_, iserrno);
    IsamInfo info;
    std::string reason;
    if (isinfo(number_, info) != 0) return fail(problem, path_, iserrno);
    if (!isam_fits(definition_, info, reason)) return fail(problem, path_, reason);
    while (ISREAD(number_, record_.data(), kIsNext) == 0) {
      if (record_.back() == 0) take();
    }
    return iserrno == kIsEndOfFile || fail(problem, path_, iserrno);
  }

  // Only a definition set that is not for lists can lack a field: get then returns an empty value,
  // and put does nothing.
  template <typename Value>
  Value get(std::string_view name) const {
    Value value{};
    if (const FieldDefinition* field = definition_.find_field(name))
      field_get(*field, 1, record_.data(), value);
    return value;
  }
  std::string text(std::string_view name) const { return std::string(get<std::string_view>(name)); }
  std::int16_t integer(std::string_view name) const { return get<std::int16_t>(name); }

  template <typename Value>
  void put(std::string_view name, Value value) {
    if (const FieldDefinition* field = definition_.find_field(name))
      field_put(*field, 1, record_.data(), value);
  }
  void clear() { fields_preset(definition_, record_); }

 private:
  const FileDefinition& definition_;
  std::string path_;
  std::vector<char> record_;
  int number_ = -1;
};

bool keyed_file_is_there(const std::string& path) {
  return file_exists((path + ".dat").c_str()) || file_exists((path + ".idx").c_str());
}

StoredList list_of(const KeyedFile& file) {
  return {.name = file.text("LISTE"),
          .page_length = file.integer("PL"),
          .start_column = file.integer("ES"),
          .first_line = file.integer("EZ"),
          .last_line = file.integer("LZ"),
          .pitch = file.integer("CPI"),
          .output_name = file.text("NAME"),
          .abort_text = file.text("ABRTXT")};
}

struct PlacedBlock {
  StoredBlock block;
  std::int32_t offset = 0;
};

PlacedBlock block_of(const KeyedFile& file, std::string_view store) {
  const std::string same = file.text("SAME");
  StoredBlock block{.name = file.text("BLOCK"),
                    .same = same.empty() ? '\0' : same.front(),
                    .repeat = file.integer("REP"),
                    .footer_lines = file.integer("ZEIL"),
                    .length = file.integer("BLEN")};
  const auto offset = file.get<std::int32_t>("OFF");
  BlockInstructions instructions;
  if (offset < static_cast<std::int32_t>(kBlockStoreHeader)) {
    block.fault = "its offset lies before the first block of the store";
  } else if (decode_block(store, static_cast<std::uint32_t>(offset), instructions, block.fault)) {
    encode_block(instructions, block.code);
  }
  return {.block = std::move(block), .offset = offset};
}

bool read_blocks(const std::string& directory, const ListFiles& files,
                 std::vector<StoredList>& lists, std::string& problem) {
  const std::string path = list_file_path(directory, files.blocks);
  if (!keyed_file_is_there(path)) return true;
  const std::string store_path = list_file_path(directory, files.store);
  std::string store;
  std::string reason;
  if (!block_store_read(store_path.c_str(), store, reason))
    return fail(problem, store_path, reason);
  KeyedFile file(list_file_definition(files.blocks), path);
  std::vector<std::pair<StoredList*, PlacedBlock>> found;
  std::unordered_map<std::string_view, StoredList*> by_name;
  for (StoredList& list : lists)
    by_name.try_emplace(list.name, &list);
  const auto take = [&] {
    const auto list = by_name.find(file.text("LISTE"));
    if (list != by_name.end()) found.emplace_back(list->second, block_of(file, store));
  };
  if (!file.walk(take, problem)) return false;
  std::ranges::stable_sort(found, {}, [](const auto& block) { return block.second.offset; });
  for (auto& [list, placed] : found)
    list->blocks.push_back(std::move(placed.block));
  return true;
}

bool write_lists(const NewListFile& paths, std::string_view name,
                 const std::vector<StoredList>& lists, std::string& problem) {
  KeyedFile file(list_file_definition(name), paths.path);
  if (!file.make(paths.like, problem)) return false;
  for (const StoredList& list : lists) {
    file.clear();
    file.put("LISTE", std::string_view(list.name));
    file.put("PL", list.page_length);
    file.put("ES", list.start_column);
    file.put("EZ", list.first_line);
    file.put("LZ", list.last_line);
    file.put("CPI", list.pitch);
    file.put("NAME", std::string_view(list.output_name));
    file.put("ABRTXT", std::string_view(list.abort_text));
    if (!file.write(problem)) return false;
  }
  return file.close(problem);
}

// Appends the blocks' bytes to `store`. Their offsets count from the start of the file, header
// included.
bool write_blocks(const NewListFile& paths, std::string_view name,
                  const std::vector<StoredList>& lists, std::string& store, std::string& problem) {
  KeyedFile file(list_file_definition(name), paths.path);
  if (!file.make(paths.like, problem)) return false;
  for (const StoredList& list : lists) {
    for (const StoredBlock& block : list.blocks) {
      const std::size_t offset = kBlockStoreHeader + store.size();
      if (offset + block.code.size() > kLargestBlockStore)
        return fail(problem, paths.path, "the blocks are too long for a block store");
      file.clear();
      file.put("LISTE", std::string_view(list.name));
      file.put("BLOCK", std::string_view(block.name));
      file.put("OFF", static_cast<std::int32_t>(offset));
      file.put("SAME", std::string_view(&block.same, block.same == '\0' ? 0 : 1));
      file.put("REP", block.repeat);
      file.put("ZEIL", block.footer_lines);
      file.put("BLEN", block.length);
      if (!file.write(problem)) return false;
      store += block.code;
    }
  }
  return file.close(problem);
}

}  // namespace

std::string list_file_path(const std::string& directory, std::string_view name) {
  return path_join(directory, name);
}

const FileDefinition& list_file_definition(std::string_view name) {
  if (definition_find(name) == nullptr) list_files_define();
  return definition_get(name);
}

bool stored_lists_read(const std::string& directory, const ListFiles& files,
                       std::vector<StoredList>& lists, std::string& problem) {
  lists.clear();
  const std::string path = list_file_path(directory, files.lists);
  if (!keyed_file_is_there(path)) return true;
  KeyedFile file(list_file_definition(files.lists), path);
  return file.walk([&] { lists.push_back(list_of(file)); }, problem) &&
         read_blocks(directory, files, lists, problem);
}

bool stored_lists_write(const NewListFiles& paths, const ListFiles& files,
                        const std::vector<StoredList>& lists, std::string& problem) {
  std::string blocks;
  if (!write_lists(paths.lists, files.lists, lists, problem) ||
      !write_blocks(paths.blocks, files.blocks, lists, blocks, problem))
    return false;
  const int failed =
      file_put(paths.store.path.c_str(), block_store_of(blocks), paths.store.like.c_str());
  return failed == 0 || fail(problem, paths.store.path, failed);
}

}  // namespace marigold::inner
