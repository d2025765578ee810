/*
 * listing_test.cpp --
 *
 *    The default printers, the flags text, the printer lookup and the port
 *    and switch lines of the listing. Values live in exactly sized buffers
 *    so that the sanitizer build catches any read past a value.
 */

#include "listing/listing.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

std::string Capture(const std::function<void()> &print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

std::string HexDump(const char *key, const Bytes &value, int32_t flags) {
  return Capture([&] {
    Prop_PrintHexDump(key, value.empty() ? nullptr : value.data(),
                      static_cast<uint32_t>(value.size()), flags);
  });
}

std::string Print(const char *key, const Bytes &value, int32_t flags) {
  return Capture([&] {
    Prop_Print(key, value.empty() ? nullptr : value.data(), static_cast<uint32_t>(value.size()),
               flags);
  });
}

Bytes Text(const char *text, bool withNul) {
  Bytes bytes(text, text + strlen(text));
  if (withNul) {
    bytes.push_back(0);
  }
  return bytes;
}

/* Restores listingHighVersion after each test. */
class ListingTest : public testing::Test {
 protected:
  void TearDown() override { listingHighVersion = false; }
};

// ---------------------------------------------------------------------------
// Prop_FlagsToString

struct FlagsCase {
  int32_t flags;
  const char *text;
};

TEST(PropFlagsToString, NamesBitsInTableOrder) {
  const FlagsCase cases[] = {
      {0, ""},
      {0x10, "CONFIG "},
      {0x30, "CONFIG RUNTIME "},
      {0x10 | 0x04 | static_cast<int32_t>(0x80000000u), "CONFIG VOLATILE NO_SYNC"},
      {static_cast<int32_t>(0x80000000u), "NO_SYNC"},
      {0x08 | 0x04, "VOLATILE POLICY "},
      {0x80 | 0x40, "NO_REPLICATE NO_SET_LOCAL_CALLBACK "},
      // Unnamed bits are not shown.
      {0x01 | 0x02 | 0x100 | 0x40000000, ""},
      {0x10 | 0x200, "CONFIG "},
  };
  for (const auto &c : cases) {
    char text[PROP_FLAGS_TEXT_LEN];
    Prop_FlagsToString(c.flags, text);
    EXPECT_STREQ(text, c.text) << "flags 0x" << std::hex << c.flags;
  }
}

TEST(PropFlagsToString, AllBitsAreCutAtTheBufferWithoutOverrun) {
  struct {
    char text[PROP_FLAGS_TEXT_LEN];
    char guard[16];
  } buffer;
  memset(&buffer, 'G', sizeof buffer);
  Prop_FlagsToString(-1, buffer.text);
  EXPECT_STREQ(buffer.text, "CONFIG RUNTIME VOLATILE POLICY NO_REPLICATE NO_SET_LOCAL_CALLBA");
  EXPECT_EQ(strlen(buffer.text), static_cast<size_t>(PROP_FLAGS_TEXT_LEN - 1));
  for (char c : buffer.guard) {
    EXPECT_EQ(c, 'G');
  }
}

TEST(PropFlagsToString, EmptiesTheBufferFirstAndIgnoresNoBuffer) {
  char text[PROP_FLAGS_TEXT_LEN];
  strcpy(text, "stale words");
  Prop_FlagsToString(0, text);
  EXPECT_STREQ(text, "");
  Prop_FlagsToString(0x10, nullptr);  // must not crash
}

// ---------------------------------------------------------------------------
// Prop_PrintHexDump and Prop_PrintString

struct DumpCase {
  const char *what;
  Bytes value;
  int32_t flags;
  const char *output;
};

TEST(PropPrintHexDump, FormatsAndFoldsTrailingZeros) {
  const DumpCase cases[] = {
      {"one then three zeros",
       {1, 0, 0, 0},
       0x10,
       "\t\tk = 0x 1. 0 <repeats 3 times>\n\t\t\tpropType = CONFIG \n"},
      {"eight zeros", Bytes(8, 0), 0, "\t\tk = 0x 0. 0 <repeats 7 times>\n\t\t\tpropType = \n"},
      {"two zeros fold to one entry", {0, 0}, 0, "\t\tk = 0x 0. 0\n\t\t\tpropType = \n"},
      {"zero then printable: nothing folded",
       {0x00, 0x61},
       0,
       "\t\tk = 0x 0.61\n\t\t\tpropType = \n"},
      {"printable text without NUL", Text("abc", false), 0x30,
       "\t\tk = 0x61.62.63\n\t\t\tpropType = CONFIG RUNTIME \n"},
      {"one nonzero byte", {5}, 0, "\t\tk = 0x 5\n\t\t\tpropType = \n"},
      {"high bytes", {0xff, 0x80, 0x0a}, 0, "\t\tk = 0xff.80. a\n\t\t\tpropType = \n"},
      {"inner zeros kept", {1, 0, 0, 2}, 0, "\t\tk = 0x 1. 0. 0. 2\n\t\t\tpropType = \n"},
      {"text with two NULs is not a text",
       {'a', 'b', 0, 0},
       0,
       "\t\tk = 0x61.62. 0 <repeats 2 times>\n\t\t\tpropType = \n"},
      {"NUL inside the text",
       {'a', 'b', 0, 'c', 0},
       0,
       "\t\tk = 0x61.62. 0.63. 0\n\t\t\tpropType = \n"},
      {"unprintable before the NUL", {'a', 0x07, 0}, 0, "\t\tk = 0x61. 7. 0\n\t\t\tpropType = \n"},
      {"empty value", {}, 0x04, "\t\tk = <empty>\n\t\t\tpropType = VOLATILE \n"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(HexDump("k", c.value, c.flags), c.output) << c.what;
  }
}

TEST(PropPrintHexDump, HandsNulTerminatedTextsToTheStringPrinter) {
  const DumpCase cases[] = {
      {"two characters and NUL", Text("ab", true), 0x10, "\t\tk = ab , \tpropType = CONFIG \n"},
      {"one NUL byte is the empty text", {0}, 0, "\t\tk =  , \tpropType = \n"},
      {"blank and tilde are printable", Text(" ~", true), 0, "\t\tk =  ~ , \tpropType = \n"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(HexDump("k", c.value, c.flags), c.output) << c.what;
  }
}

TEST(PropPrintString, ReadsNoFurtherThanTheValue) {
  const DumpCase cases[] = {
      {"stops at the first NUL", {'a', 'b', 0, 'c', 'd'}, 0, "\t\tk = ab , \tpropType = \n"},
      {"no NUL: the whole value", Text("abc", false), 0, "\t\tk = abc , \tpropType = \n"},
      {"empty value", {}, 0x10, "\t\tk =  , \tpropType = CONFIG \n"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(Capture([&] {
                Prop_PrintString("k", c.value.empty() ? nullptr : c.value.data(),
                                 static_cast<uint32_t>(c.value.size()), c.flags);
              }),
              c.output)
        << c.what;
  }
}

// ---------------------------------------------------------------------------
// Prop_Print

TEST_F(ListingTest, PrintMatchesKeysExactly) {
  const Bytes abc = Text("abc", false);
  // The text row prints the bytes as they are; the hex dump would not.
  EXPECT_EQ(Print("com.corvane.common.host.volatile.dvsID", abc, 0),
            "\t\tcom.corvane.common.host.volatile.dvsID = abc , \tpropType = \n");
  // A prefix, an extension or another case of a key is an unknown key.
  for (const char *key :
       {"com.corvane.common.host.volatile.dvs", "com.corvane.common.host.volatile.dvsIDx",
        "COM.CORVANE.COMMON.HOST.VOLATILE.DVSID", "", "myKey"}) {
    EXPECT_EQ(Print(key, abc, 0), std::string("\t\t") + key + " = 0x61.62.63\n\t\t\tpropType = \n")
        << key;
  }
}

// A switch of the newer layout shows every vswitch and qel key as a hex
// dump, also the keys whose family has a printer of its own; other keys
// keep their printer.
TEST_F(ListingTest, HighVersionDumpsVswitchAndQelKeys) {
  const DumpCase cases[] = {
      {"com.corvane.vswitch.port.vlan",
       {0, 0, 0x64, 0, 0, 0, 0, 0},
       0x10,
       "\t\tcom.corvane.vswitch.port.vlan = 0x 0. 0.64. 0 <repeats 5 times>\n"
       "\t\t\tpropType = CONFIG \n"},
      {"com.corvane.qel.anything",
       {1, 0},
       0,
       "\t\tcom.corvane.qel.anything = 0x 1. 0\n\t\t\tpropType = \n"},
      {"com.corvane.common.host.volatile.dvsID", Text("abc", false), 0,
       "\t\tcom.corvane.common.host.volatile.dvsID = abc , \tpropType = \n"},
  };
  listingHighVersion = true;
  for (const auto &c : cases) {
    EXPECT_EQ(Print(c.what, c.value, c.flags), c.output) << c.what;
  }
}

// ---------------------------------------------------------------------------
// List_Port and List_Switch on records built by hand and by the library

struct PortStateCase {
  uint32_t state;
  const char *line;
};

TEST_F(ListingTest, PortLineCarriesTheStateTag) {
  const PortStateCase cases[] = {
      {0, "\tport 7 (INVALID):\n"},    {1, "\tport 7:\n"},
      {2, "\tport 7 (SHADOW):\n"},     {3, "\tport 7 (ZOMBIE):\n"},
      {4, "\tport 7(LOCAL CACHE):\n"}, {5, "\tport 7 (UNKNOWN):\n"},
      {7, "\tport 7 (UNKNOWN):\n"},    {0xffffffffu, "\tport 7 (UNKNOWN):\n"},
  };
  DVSData *tree = nullptr;
  ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
  DVSSwitch dvs = {};
  for (const auto &c : cases) {
    DVSPort port = {};
    strcpy(port.name, "7");
    port.state = c.state;
    port.data = tree;
    port.dvs = &dvs;
    EXPECT_EQ(Capture([&] { List_Port(&port, nullptr); }), c.line) << "state " << c.state;
  }
  DVSData_Free(tree);
}

TEST_F(ListingTest, PortSetsTheHighVersionFlagFromItsSwitch) {
  DVSData *tree = nullptr;
  ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
  for (uint32_t version : {10u, 99u, 100u, 0xffffffffu}) {
    DVSSwitch dvs = {};
    dvs.version = version;
    DVSPort port = {};
    port.data = tree;
    port.dvs = &dvs;
    listingHighVersion = version <= 99;
    Capture([&] { List_Port(&port, nullptr); });
    EXPECT_EQ(listingHighVersion, version > 99) << "version " << version;
  }
  DVSData_Free(tree);
}

/* A configuration state of two switches, emptied again when the test ends. */
class ListSwitchTest : public ListingTest {
 protected:
  static constexpr const char *kOld = "00 11 22 33 44 55 66 77-88 99 aa bb cc dd ee ff";
  static constexpr const char *kNew = "01 02 03 04 05 06 07 08-09 0a 0b 0c 0d 0e 0f 10";

  void SetUp() override {
    DVSState_ConfigReset();
    ASSERT_EQ(DVSState_SwitchAdd(kOld, "etherswitch", 64, 10), ZOR_OK);
    ASSERT_EQ(DVSState_SwitchAdd(kNew, "vswitch", 128, 100), ZOR_OK);
    const Bytes alias = Text("dvs0", true);
    const Bytes vlan = {1, 0, 0, 0};
    for (const char *sw : {kOld, kNew}) {
      ASSERT_EQ(DVSState_GlobalPropSet(sw, "com.corvane.common.alias", alias.data(), 5, 0x10),
                ZOR_OK);
      ASSERT_EQ(DVSState_HostPropSet(sw, "com.corvane.vswitch.testHostKey", vlan.data(), 4, 0x20),
                ZOR_OK);
      DVSData *tree = nullptr;
      ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
      ASSERT_EQ(DVSData_Update(tree, "com.corvane.vswitch.port.testKey", vlan.data(), 4, 0x10),
                ZOR_OK);
      ASSERT_EQ(DVSState_PortAdd(sw, "7", tree), ZOR_OK);
    }
    DVSState_PortFind(kNew, "7")->state = DVS_PORT_STATE_LOCAL_CACHE;
  }
  void TearDown() override {
    DVSState_ConfigReset();
    ListingTest::TearDown();
  }
};

TEST_F(ListSwitchTest, ListsEverySwitchWithItsListsAndPorts) {
  const std::string out = Capture([] { DVSState_SwitchForEach(List_Switch, nullptr); });
  EXPECT_EQ(out,
            "switch 00 11 22 33 44 55 66 77-88 99 aa bb cc dd ee ff (etherswitch)\n"
            "\tmax ports: 64\n"
            "\tglobal properties:\n"
            "\t\tcom.corvane.common.alias = dvs0 , \tpropType = CONFIG \n"
            "\thost properties:\n"
            "\t\tcom.corvane.vswitch.testHostKey = 0x 1. 0 <repeats 3 times>\n"
            "\t\t\tpropType = RUNTIME \n"
            "\tport 7:\n"
            "\t\tcom.corvane.vswitch.port.testKey = 0x 1. 0 <repeats 3 times>\n"
            "\t\t\tpropType = CONFIG \n"
            "switch 01 02 03 04 05 06 07 08-09 0a 0b 0c 0d 0e 0f 10 (vswitch)\n"
            "\tmax ports: 128\n"
            "\tglobal properties:\n"
            "\t\tcom.corvane.common.alias = dvs0 , \tpropType = CONFIG \n"
            "\thost properties:\n"
            "\t\tcom.corvane.vswitch.testHostKey = 0x 1. 0 <repeats 3 times>\n"
            "\t\t\tpropType = RUNTIME \n"
            "\tport 7(LOCAL CACHE):\n"
            "\t\tcom.corvane.vswitch.port.testKey = 0x 1. 0 <repeats 3 times>\n"
            "\t\t\tpropType = CONFIG \n");
  // The flag follows the last switch walked.
  EXPECT_TRUE(listingHighVersion);
}

TEST_F(ListSwitchTest, ListsOnlyTheWantedSwitchAndStopsAfterIt) {
  char wanted[64];
  strcpy(wanted, kOld);
  bool stop = true;
  EXPECT_EQ(Capture([&] { stop = List_Switch(DVSState_SwitchFind(kNew), wanted); }), "");
  EXPECT_FALSE(stop);
  EXPECT_EQ(Capture([&] {
              stop = List_Switch(DVSState_SwitchFind(kOld), wanted);
            }).rfind("switch 00 11 22 33 44 55 66 77-88 99 aa bb cc dd ee ff (etherswitch)\n", 0),
            0u);
  EXPECT_TRUE(stop);
  // The comparison is exact: another case does not match.
  strcpy(wanted, "00 11 22 33 44 55 66 77-88 99 AA BB CC DD EE FF");
  EXPECT_EQ(Capture([&] { DVSState_SwitchForEach(List_Switch, wanted); }), "");
}

}  // namespace
