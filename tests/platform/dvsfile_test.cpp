// SPDX-License-Identifier: Apache-2.0
// Tests of plain configuration files below the command line: reads of
// missing and odd paths and of foreign files, status texts and the string
// helpers. The command tests cover edits, replacement and round trips.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "dvslib.h"

namespace {

class DvsFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/dvsfile_test.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override {
    DVSState_ConfigReset();
    std::filesystem::remove_all(dir_);
  }
  std::string Path(const char *name) const { return dir_ + "/" + name; }
  std::string dir_;
};

TEST_F(DvsFileTest, MissingOrUnreadablePathsFailWithAStatus) {
  void *data = nullptr;
  uint32_t len = 0;
  int32_t offset = -1;
  EXPECT_EQ(DVSFile_ReadClassical(Path("absent.db").c_str(), &data, &len, &offset), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSFile_ReadClassical(dir_.c_str(), &data, &len, &offset), ZOR_NOT_REGULAR_FILE);
  EXPECT_EQ(DVSFile_ReadClassical("", &data, &len, &offset), ZOR_BAD_PARAM);
  // Failed reads create nothing.
  EXPECT_TRUE(std::filesystem::is_empty(dir_));
  // A directory component that is a file.
  std::ofstream(Path("plain")) << "x";
  EXPECT_EQ(DVSFile_WriteClassical(Path("plain/sub.db").c_str(), "x", 1, 1), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSFile_WriteClassical(Path("nodir/sub.db").c_str(), "x", 1, 1), ZOR_NOT_FOUND);
}

// A file whose header is foreign is not read whole: the reader hands over
// the header alone, which is all the deserialiser needs to refuse it.
TEST_F(DvsFileTest, ForeignFilesAreNotReadWhole) {
  std::string path = Path("foreign.db");
  {
    std::ofstream out(path, std::ios::binary);
    out << "#!/bin/sh\necho not a configuration\n";
    out.seekp((64 << 20) - 1);
    out.put('\0');
  }
  void *data = nullptr;
  uint32_t len = 0;
  ASSERT_EQ(DVSFile_ReadClassical(path.c_str(), &data, &len, nullptr), ZOR_OK);
  EXPECT_EQ(len, 16u);
  EXPECT_EQ(DVSState_ConfigDeserialize(data, len), ZOR_NOT_A_CONFIG);
  free(data);
}

TEST(StatusText, EveryStatusHasItsOwnText) {
  const ZOR_ReturnStatus all[] = {
      ZOR_OK,           ZOR_FAILURE,     ZOR_NOT_FOUND,         ZOR_ALREADY_EXISTS,
      ZOR_BAD_PARAM,    ZOR_NO_MEMORY,   ZOR_NO_RESOURCES,      ZOR_NOT_SUPPORTED,
      ZOR_INVALID_DATA, ZOR_NO_KERNEL,   ZOR_TIMEOUT,           ZOR_CHANNEL_ERROR,
      ZOR_NOT_A_CONFIG, ZOR_BAD_VERSION, ZOR_TRUNCATED,         ZOR_BAD_CHECKSUM,
      ZOR_IO_ERROR,     ZOR_TOO_LARGE,   ZOR_PERMISSION_DENIED, ZOR_NOT_REGULAR_FILE,
      ZOR_LOCKED};
  std::set<std::string> texts;
  for (ZOR_ReturnStatus s : all) texts.insert(ZOR_ReturnStatusToString(s));
  EXPECT_EQ(texts.size(), std::size(all));
  EXPECT_STREQ(ZOR_ReturnStatusToString(0x12345), "Unknown status");
}

TEST(StrUtilities, TruncateAndTerminate) {
  char buf[8];
  Str_Strcpy(buf, "abcdefghij", sizeof buf);
  EXPECT_STREQ(buf, "abcdefg");
  Str_Strcpy(buf, "ab", sizeof buf);
  Str_Strcat(buf, "cdefghij", sizeof buf);
  EXPECT_STREQ(buf, "abcdefg");
  Str_Strcat(buf, "x", sizeof buf);
  EXPECT_STREQ(buf, "abcdefg");
  char field[4] = {'z', 'z', 'z', 'z'};
  EXPECT_FALSE(Unicode_CopyBytes(field, "abcd", sizeof field, 0, 0));
  EXPECT_TRUE(Unicode_CopyBytes(field, "abc", sizeof field, 0, 0));
  EXPECT_STREQ(field, "abc");
}

}  // namespace
