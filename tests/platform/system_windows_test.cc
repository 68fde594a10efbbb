// SPDX-License-Identifier: GPL-3.0-or-later
// Access lists, views and network drives, which are the system's own.

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <cerrno>
#include <utility>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/remote_file_windows.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

// The rights that a file's access list gives, as text.
std::string rights_of(const char* path) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  char* text = nullptr;
  EXPECT_EQ(GetNamedSecurityInfoA(path, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                  nullptr, nullptr, &descriptor),
            0U);
  EXPECT_NE(ConvertSecurityDescriptorToStringSecurityDescriptorA(
                descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr),
            0);
  const std::string rights = text;
  LocalFree(text);
  LocalFree(descriptor);
  return rights;
}

void set_rights(const char* path, const char* rights) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1,
                                                                 &descriptor, nullptr),
            0);
  ASSERT_NE(SetFileSecurityA(path, DACL_SECURITY_INFORMATION, descriptor), 0);
  LocalFree(descriptor);
}

TEST(NewFileTest, TheAccessListGoesAlong) {
  const WorkDirectory directory;
  write_file("any", "");
  const std::string before = rights_of("any");
  std::vector<std::string> seen = {before};
  for (const char* rights : {"D:P(A;;FA;;;BA)(A;;FR;;;WD)", "D:P(A;;FA;;;BA)", "D:P(A;;FA;;;WD)"}) {
    write_file("file", "old");
    set_rights("file", rights);
    seen.push_back(rights_of("file"));
    EXPECT_EQ(file_put("file", "new"), 0);
    EXPECT_EQ(read_file("file"), "new");
    EXPECT_EQ(rights_of("file"), seen.back()) << rights;
    ASSERT_EQ(file_remove("file"), 0);
  }
  EXPECT_NE(seen[1], seen[2]) << "the list counts";
  EXPECT_EQ(file_put("new", "new"), 0);
  EXPECT_EQ(rights_of("new"), before) << "a new file has what its directory gives";
}

TEST(NewFileTest, AProgramKeepsTheFileThatItHasOpen) {
  const WorkDirectory directory;
  write_file("file", "old");
  RecordFile opened;
  ASSERT_EQ(opened.open("file", true), 0);
  EXPECT_EQ(file_put("file", "new file"), 0);
  EXPECT_FALSE(opened.is_still_at("file"));
  std::string bytes(8, ' ');
  std::size_t count = 0;
  EXPECT_EQ(opened.read(0, bytes, count), 0);
  EXPECT_EQ(bytes.substr(0, count), "old");
  EXPECT_EQ(read_file("file"), "new file");
}

TEST(MappedFileTest, NobodyCutsWhatAnotherHasMapped) {
  const WorkDirectory directory;
  MappedFile one;
  MappedFile other;
  EXPECT_EQ(one.create("file") + one.reserve(10'000) + one.map(10'000), 0);
  EXPECT_EQ(other.open("file", FileAccess::kReadWrite) + other.map(10'000), 0);
  EXPECT_EQ(one.truncate(5'000), EBUSY);
  EXPECT_EQ(one.mapped(), 10'000U) << "as before";
  other.unmap();
  EXPECT_EQ(one.truncate(5'000), 0);
  EXPECT_EQ(file_size("file"), 5'000);
}

// Another process gives space back between this one's look at the length and its view.
TEST(MappedFileTest, AFileThatIsCutMeanwhileIsMappedAsItIs) {
  const WorkDirectory directory;
  static bool is_cut = false;
  static MappedFile other;
  MappedFile file;
  EXPECT_EQ(other.create("file") + other.reserve(200'000), 0);
  ASSERT_EQ(file.open("file", FileAccess::kReadWrite), 0);
  file_fault_hook = [](FileCall call) {
    return call == FileCall::kMap && !std::exchange(is_cut, true) ? other.truncate(70'000) : 0;
  };
  EXPECT_EQ(file.map(5'000), 0);
  file_fault_hook = nullptr;
  EXPECT_EQ(file.mapped(), 70'000U);
  other.close();
}

TEST(MappedFileTest, NoFileOfANetworkDriveIsMapped) {
  const WorkDirectory directory;
  write_file("file", "kept");
  remote_file_hook = [] { return true; };
  MappedFile mapped;
  RecordFile records;
  EXPECT_EQ(mapped.open("file", FileAccess::kRead), kOnNetworkDrive);
  EXPECT_EQ(mapped.create("new"), kOnNetworkDrive);
  EXPECT_FALSE(file_exists("new"));
  EXPECT_EQ(records.open("file", true), 0) << "locks and writes are the same on every machine";
  remote_file_hook = nullptr;
  EXPECT_EQ(mapped.open("file", FileAccess::kRead), 0);
  EXPECT_EQ(system_error_text(kOnNetworkDrive), "File is on a network drive");
}

}  // namespace
}  // namespace marigold::inner::test
