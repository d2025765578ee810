// Tests of plain configuration files: reads of missing and odd paths,
// crash-safe replacement, and the configuration state round trip through a
// file.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "state/dvslib.h"

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

std::string ReadAll(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

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

TEST_F(DvsFileTest, WriteReplacesWholeAndKeepsMode) {
  std::string path = Path("dvs.db");
  ASSERT_EQ(DVSFile_WriteClassical(path.c_str(), "first version", 13, 1), ZOR_OK);
  chmod(path.c_str(), 0600);
  ASSERT_EQ(DVSFile_WriteClassical(path.c_str(), "second", 6, 1), ZOR_OK);
  EXPECT_EQ(ReadAll(path), "second");
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);

  void *data = nullptr;
  uint32_t len = 0;
  int32_t offset = -1;
  ASSERT_EQ(DVSFile_ReadClassical(path.c_str(), &data, &len, &offset), ZOR_OK);
  EXPECT_EQ(std::string(static_cast<char *>(data), len), "second");
  EXPECT_EQ(offset, 0);
  free(data);

  // Nothing but the file is left in the directory: no temporary or lock files.
  int entries = 0;
  for (const auto &e : std::filesystem::directory_iterator(dir_)) {
    (void)e;
    entries++;
  }
  EXPECT_EQ(entries, 1);
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

TEST_F(DvsFileTest, ConfigurationStateRoundTripsThroughAFile) {
  const char *sw = "64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00";
  ASSERT_EQ(DVSState_SwitchAdd(sw, "cswitch", 64, 6), ZOR_OK);
  ASSERT_EQ(DVSState_GlobalPropSet(sw, "com.corvane.common.alias", "dvs0", 5, PROP_CONFIG), ZOR_OK);
  DVSData *tree = nullptr;
  ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
  ASSERT_EQ(DVSState_PortAdd(sw, "7", tree), ZOR_OK);
  uint32_t speed = 9000;
  ASSERT_EQ(DVSState_PortDataSet(DVSState_PortFind(sw, "7"), "speed", &speed, 4, PROP_CONFIG),
            ZOR_OK);
  void *blob = nullptr;
  uint32_t len = 0;
  ASSERT_EQ(DVSState_ConfigSerialize(&blob, &len), ZOR_OK);
  std::string path = Path("dvs.db");
  ASSERT_EQ(DVSFile_WriteClassical(path.c_str(), blob, len, 1), ZOR_OK);
  free(blob);

  DVSState_ConfigReset();
  EXPECT_EQ(DVSState_SwitchFind(sw), nullptr);
  int32_t offset = 0;
  ASSERT_EQ(DVSFile_ReadClassical(path.c_str(), &blob, &len, &offset), ZOR_OK);
  ASSERT_EQ(DVSState_ConfigDeserialize(blob, len), ZOR_OK);
  free(blob);
  DVSSwitch *h = DVSState_SwitchFindByAlias("dvs0");
  ASSERT_NE(h, nullptr);
  EXPECT_STREQ(DVS_SwitchId(h), sw);
  EXPECT_STREQ(DVS_ClassName(h), "cswitch");
  EXPECT_EQ(DVS_GetMaxPorts(h), 64u);
  DVSPort *p = DVSState_PortFind(sw, "7");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->dvs, h);
  EXPECT_EQ(DVSState_PortDataClear(p, "speed"), ZOR_OK);
  EXPECT_EQ(DVSState_PortDataClear(p, "speed"), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSState_GlobalPropClear("no such switch", "k"), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSState_HostPropClear(sw, "k"), ZOR_NOT_FOUND);
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
