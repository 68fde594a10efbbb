// SPDX-License-Identifier: GPL-3.0-or-later
// Calls each library of others as the programs do. Leaves its files in the folder of the variable
// FILES; OTHERS is the folder in which the same program on another system has left its own.
#include <archive.h>
#include <archive_entry.h>
#include <csv.h>
#include <gdbm.h>
#include <gtest/gtest.h>
#include <hpdf.h>
#include <nettle/sha2.h>

extern "C" {
#include <ndbm.h>
}

#include <CLI/CLI.hpp>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace {

namespace fs = std::filesystem;

// Not through std::string, whose code page would be the system's.
fs::path in(const char* variable, std::string_view name) {
  const char* folder = std::getenv(variable);
  return fs::path(folder == nullptr ? "." : folder) / std::u8string(name.begin(), name.end());
}

std::string utf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Whether the program has run on another system before.
bool has_others() {
  const char* others = std::getenv("OTHERS");
  return others != nullptr && *others != '\0';
}

void expect_same(std::string_view name) {
  if (!has_others()) return;
  EXPECT_FALSE(contents(in("OTHERS", name)).empty()) << name;
  EXPECT_TRUE(contents(in("FILES", name)) == contents(in("OTHERS", name))) << name << " differs";
}

datum as_datum(std::string& bytes) {
  return {bytes.data(), static_cast<int>(bytes.size())};
}

std::string text_of(int number) {
  return std::string(static_cast<std::size_t>(number % 700), 'x');
}

void write_database(const fs::path& path, int count) {
  constexpr int kBlock = 4096;  // not that of the file system
  GDBM_FILE store = gdbm_open(utf8(path).c_str(), kBlock, GDBM_NEWDB | GDBM_NOLOCK, 0666, nullptr);
  ASSERT_NE(store, nullptr) << gdbm_strerror(gdbm_errno);
  for (int i = 0; i < count; ++i) {
    std::string key = "TEXT\r\n" + std::to_string(i);
    std::string value = text_of(i);
    ASSERT_EQ(gdbm_store(store, as_datum(key), as_datum(value), GDBM_INSERT), 0);
  }
  EXPECT_EQ(gdbm_sync(store), 0);
  EXPECT_EQ(gdbm_close(store), 0);
}

void expect_texts(DBM* store, int count) {
  for (int i = 0; i < count; ++i) {
    std::string key = "TEXT\r\n" + std::to_string(i);
    const datum value = dbm_fetch(store, as_datum(key));
    ASSERT_NE(value.dptr, nullptr) << i;
    EXPECT_EQ(std::string_view(value.dptr, static_cast<std::size_t>(value.dsize)), text_of(i));
  }
}

// Enough texts for several buckets and directories.
constexpr int kTexts = 3000;

DBM* open_database(const char* folder, std::string_view name, int flags) {
  std::string path = utf8(in(folder, name));
  return dbm_open(path.data(), flags, 0666);
}

constexpr int kReadOnly = 0;
constexpr int kReadWrite = 2;

TEST(Libraries, DatabasesAreTheSame) {
  write_database(in("FILES", "t\xc3\xa4xte.pag"), kTexts);
  DBM* store = open_database("FILES", "t\xc3\xa4xte", kReadWrite);  // makes the companion
  ASSERT_NE(store, nullptr) << gdbm_strerror(gdbm_errno);
  dbm_close(store);
  expect_same("t\xc3\xa4xte.pag");
  expect_same("t\xc3\xa4xte.dir");
  store = open_database(has_others() ? "OTHERS" : "FILES", "t\xc3\xa4xte", kReadOnly);
  ASSERT_NE(store, nullptr) << gdbm_strerror(gdbm_errno);
  expect_texts(store, kTexts);
  dbm_close(store);
}

TEST(Libraries, DatabasesAreReadableWhileTheyAreReplaced) {
  write_database(in("FILES", "read.pag"), kTexts);
  DBM* store = open_database("FILES", "read", kReadWrite);
  ASSERT_NE(store, nullptr) << gdbm_strerror(gdbm_errno);
  for (const auto& [from, to] :
       {std::pair("read.pag", "old.pag"), std::pair("read.dir", "old.dir")}) {
    std::error_code failed;
    fs::rename(in("FILES", from), in("FILES", to), failed);
    EXPECT_FALSE(failed) << from << ": " << failed.message();
  }
  write_database(in("FILES", "read.pag"), 10);
  expect_texts(store, kTexts);
  EXPECT_TRUE(fs::remove(in("FILES", "old.pag")));
  dbm_close(store);
  EXPECT_FALSE(fs::exists(in("FILES", "old.pag")));
}

TEST(Libraries, CsvKeepsQuotesAndLineEnds) {
  csv_parser parser;
  ASSERT_EQ(csv_init(&parser, CSV_STRICT), 0);
  constexpr std::string_view kLine = "1,\"a \"\"b\"\"\r\nc\",\xc3\xa4\r\n";
  std::string cells;
  const auto cell = [](void* bytes, std::size_t size, void* out) {
    static_cast<std::string*>(out)->append(static_cast<char*>(bytes), size).append("|");
  };
  EXPECT_EQ(csv_parse(&parser, kLine.data(), kLine.size(), cell, nullptr, &cells), kLine.size());
  csv_free(&parser);
  EXPECT_EQ(cells, "1|a \"b\"\r\nc|\xc3\xa4|");
}

TEST(Libraries, DocumentsAreTheSame) {
  HPDF_Doc document = HPDF_New(nullptr, nullptr);
  ASSERT_NE(document, nullptr);
  HPDF_SetCompressionMode(document, HPDF_COMP_ALL);
  HPDF_Page page = HPDF_AddPage(document);
  HPDF_Page_SetSize(page, HPDF_PAGE_SIZE_A4, HPDF_PAGE_PORTRAIT);
  HPDF_Page_BeginText(page);
  HPDF_Page_SetFontAndSize(page, HPDF_GetFont(document, "Courier", "WinAnsiEncoding"), 10);
  HPDF_Page_TextOut(page, 50, 700, "Gr\xfc\xdf Gott");
  HPDF_Page_EndText(page);
  ASSERT_EQ(HPDF_SaveToStream(document), static_cast<HPDF_STATUS>(HPDF_OK));
  std::string bytes(HPDF_GetStreamSize(document), '\0');
  auto size = static_cast<HPDF_UINT32>(bytes.size());
  HPDF_ReadFromStream(document, reinterpret_cast<HPDF_BYTE*>(bytes.data()), &size);
  HPDF_Free(document);
  EXPECT_TRUE(bytes.starts_with("%PDF-") && bytes.ends_with("%%EOF\n"));
  std::ofstream(in("FILES", "page.pdf"), std::ios::binary) << bytes;
  expect_same("page.pdf");
}

struct Free {
  void operator()(archive* one) const { archive_free(one); }
  void operator()(archive_entry* one) const { archive_entry_free(one); }
};

std::string packed(std::string_view name, const std::string& data) {
  const std::unique_ptr<archive, Free> out(archive_write_new());
  EXPECT_EQ(archive_write_add_filter_zstd(out.get()), ARCHIVE_OK);
  EXPECT_EQ(archive_write_set_format_pax_restricted(out.get()), ARCHIVE_OK);
  std::string bytes(data.size() + 65536, '\0');
  std::size_t used = 0;
  EXPECT_EQ(archive_write_open_memory(out.get(), bytes.data(), bytes.size(), &used), ARCHIVE_OK);
  const std::unique_ptr<archive_entry, Free> entry(archive_entry_new());
  archive_entry_copy_pathname(entry.get(), std::string(name).c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(data.size()));
  EXPECT_EQ(archive_write_header(out.get(), entry.get()), ARCHIVE_OK);
  EXPECT_EQ(archive_write_data(out.get(), data.data(), data.size()),
            static_cast<la_ssize_t>(data.size()));
  EXPECT_EQ(archive_write_close(out.get()), ARCHIVE_OK);
  bytes.resize(used);
  return bytes;
}

void expect_packed(const fs::path& file, std::string_view name, const std::string& data) {
  const std::unique_ptr<archive, Free> in_file(archive_read_new());
  ASSERT_EQ(archive_read_support_filter_zstd(in_file.get()), ARCHIVE_OK);
  ASSERT_EQ(archive_read_support_format_tar(in_file.get()), ARCHIVE_OK);
  ASSERT_EQ(archive_read_open_filename(in_file.get(), utf8(file).c_str(), 65536), ARCHIVE_OK)
      << archive_error_string(in_file.get());
  archive_entry* entry = nullptr;
  ASSERT_EQ(archive_read_next_header(in_file.get(), &entry), ARCHIVE_OK);
  EXPECT_EQ(archive_entry_pathname(entry), name);
  std::string read(data.size() + 1, '\0');
  EXPECT_EQ(archive_read_data(in_file.get(), read.data(), read.size()),
            static_cast<la_ssize_t>(data.size()));
  read.pop_back();
  EXPECT_TRUE(read == data);
}

TEST(Libraries, ArchivesAreTheSame) {
  std::string data;
  for (int i = 0; i < 200000; ++i)
    data += std::to_string(i * 7919 % 10007) + "\n";
  const std::string bytes = packed("data/CUSTOMER.DAT", data);
  EXPECT_LT(bytes.size(), data.size() / 2);
  std::ofstream(in("FILES", "backup.tar.zst"), std::ios::binary) << bytes;
  expect_same("backup.tar.zst");
  expect_packed(in("FILES", "backup.tar.zst"), "data/CUSTOMER.DAT", data);
}

// The digest of "abc" is an example of FIPS 180-2.
TEST(Libraries, Sha256IsTheStandards) {
  sha256_ctx state;
  sha256_init(&state);
  sha256_update(&state, 3, reinterpret_cast<const std::uint8_t*>("abc"));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&state, digest.size(), digest.data());
  std::string text;
  for (const unsigned byte : digest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text.append({kDigits[byte >> 4], kDigits[byte & 15]});
  }
  EXPECT_EQ(text, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Libraries, HeadersAndThreadsWork) {
  CLI::App app;
  int count = 0;
  app.add_option("--count", count);
  app.parse("--count 7");
  std::string dumped;
  std::thread([&] { dumped = nlohmann::json({{"count", count}}).dump(); }).join();
  EXPECT_EQ(dumped, "{\"count\":7}");
}

}  // namespace
