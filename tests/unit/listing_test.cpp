// SPDX-License-Identifier: Apache-2.0
/*
 * listing_test.cpp --
 *
 *    The default printers, the flags text, the printer lookup and the port
 *    line of the listing. Values live in exactly sized buffers
 *    so that the sanitizer build catches any read past a value.
 */

#include "listing/listing.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>
#include <vector>

#include "printing.h"

namespace {

using printing::Bytes;
using printing::Stdout;

std::string HexDump(const char *key, const Bytes &value, int32_t flags) {
  return printing::Print(Prop_PrintHexDump, value, flags, key);
}

std::string Print(const char *key, const Bytes &value, int32_t flags, bool highVersion = false) {
  return printing::Print(Prop_Print, value, flags, key, highVersion);
}

Bytes Text(const char *text, bool withNul) {
  Bytes bytes(text, text + strlen(text));
  if (withNul) {
    bytes.push_back(0);
  }
  return bytes;
}

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
    char text[PROP_FLAGS_TEXT_LEN] = "stale words"; /* emptied first */
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

// ---------------------------------------------------------------------------
// Prop_PrintHexDump and Prop_PrintString

struct DumpCase {
  const char *what;
  Bytes value;
  int32_t flags;
  const char *output;
};

/* Transcripts pin the common dumps ("0x 1. 0 <repeats 3 times>"); these are the edges. */
TEST(PropPrintHexDump, FormatsAndFoldsTrailingZeros) {
  const DumpCase cases[] = {
      {"two zeros fold", {0, 0}, 0, "\t\tk = 0x 0. 0\n\t\t\tpropType = \n"},
      {"zero, printable", {0x00, 0x61}, 0, "\t\tk = 0x 0.61\n\t\t\tpropType = \n"},
      {"inner zeros kept", {1, 0, 0, 2}, 0, "\t\tk = 0x 1. 0. 0. 2\n\t\t\tpropType = \n"},
      {"two NULs",
       {'a', 'b', 0, 0},
       0,
       "\t\tk = 0x61.62. 0 <repeats 2 times>\n\t\t\tpropType = \n"},
      {"inner NUL", {'a', 'b', 0, 'c', 0}, 0, "\t\tk = 0x61.62. 0.63. 0\n\t\t\tpropType = \n"},
      {"unprintable", {'a', 0x07, 0}, 0, "\t\tk = 0x61. 7. 0\n\t\t\tpropType = \n"},
      {"empty value", {}, 0x04, "\t\tk = <empty>\n\t\t\tpropType = VOLATILE \n"},
      /* A text with one NUL, at its end, goes to the string printer. */
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
    EXPECT_EQ(printing::Print(Prop_PrintString, c.value, c.flags), c.output) << c.what;
  }
}

// ---------------------------------------------------------------------------
// Prop_Print

TEST(PropPrint, MatchesKeysExactly) {
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
  // A switch of the newer layout dumps the vswitch keys (the transcripts show it) and no others.
  EXPECT_EQ(Print("com.corvane.common.host.volatile.dvsID", abc, 0, true),
            "\t\tcom.corvane.common.host.volatile.dvsID = abc , \tpropType = \n");
}

// ---------------------------------------------------------------------------
// List_Port on records built by hand (the transcripts list whole switches)

struct PortStateCase {
  uint32_t state;
  const char *line;
};

TEST(ListPort, LineCarriesTheStateTag) {
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
    EXPECT_EQ(Stdout([&] { List_Port(&port, nullptr); }), c.line) << "state " << c.state;
  }
  DVSData_Free(tree);
}

TEST(ListPort, PrintsInTheLayoutOfItsSwitch) {
  /* A VLAN policy of VLAN 5: decoded for a switch up to version 99, dumped above it. */
  const uint8_t policy[] = {0, 0, 5, 0, 0, 0, 0, 0};
  const char *key = "com.corvane.vswitch.port.vlan";
  DVSData *tree = nullptr;
  ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
  ASSERT_EQ(DVSData_Update(tree, key, policy, sizeof policy, PROP_CONFIG), ZOR_OK);
  const struct {
    uint32_t version;
    std::string value;
  } cases[] = {
      {99, " = VLAN 5\n"},
      {100, " = 0x 0. 0. 5. 0 <repeats 5 times>\n"},
      {0xffffffffu, " = 0x 0. 0. 5. 0 <repeats 5 times>\n"},
  };
  for (const auto &c : cases) {
    DVSSwitch dvs = {};
    dvs.version = c.version;
    DVSPort port = {};
    strcpy(port.name, "7");
    port.state = DVS_PORT_STATE_NORMAL;
    port.data = tree;
    port.dvs = &dvs;
    EXPECT_EQ(Stdout([&] { List_Port(&port, nullptr); }),
              "\tport 7:\n\t\t" + std::string(key) + c.value + "\t\t\tpropType = CONFIG \n")
        << "version " << c.version;
  }
  DVSData_Free(tree);
}

// ---------------------------------------------------------------------------
// The printer table

TEST(PropPrinterTable, KeysAreUniqueAndTheDefaultRowIsLast) {
  const std::span<const PropPrinterRow> table = Prop_PrinterTable();
  ASSERT_FALSE(table.empty());
  EXPECT_EQ(table.back().key, nullptr);
  EXPECT_EQ(table.back().printer, Prop_PrintHexDump);
  std::set<std::string> keys;
  for (size_t i = 0; i + 1 < table.size(); i++) {
    ASSERT_NE(table[i].key, nullptr) << "row " << i;
    EXPECT_TRUE(keys.insert(table[i].key).second) << "two rows for " << table[i].key;
  }
}

}  // namespace
