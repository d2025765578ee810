// SPDX-License-Identifier: Apache-2.0
/*
 * uplink_lacp_test.cpp --
 *
 *    The uplink, LACP and LAG extra configuration families without a
 *    switch: values built by their parsers and builders, printed by their
 *    printers, and printers given values that are short or whose counts
 *    lie. Values live in exactly sized buffers, so the sanitizer build
 *    catches any read past a value.
 */

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "listing/listing.h"
#include "printing.h"
#include "props/lacp.h"
#include "props/lag.h"
#include "props/uplink.h"

namespace {

using printing::Bytes;
using printing::Of;
using printing::Print;
using printing::Stderr;

uint32_t U32At(const Bytes &b, size_t offset) {
  return ByteReader(b.data(), static_cast<uint32_t>(b.size())).U32(offset).value_or(0xdeadbeef);
}

// ---------------------------------------------------------------------------
// Uplink lists and teaming policies

TEST(UplinkList, BuiltAndPrintedInBothSlotWidths) {
  const Bytes global = Of(UplinkPortList_Build({"uplink0", "uplink1"}, UPLINK_GLOBAL_SLOT_LEN));
  const Bytes host = Of(UplinkPortList_Build({"uplink0", "uplink1"}, UPLINK_HOST_SLOT_LEN));
  /* A count, then one slot per name: 81 bytes in the global list, 48 in the host list. */
  EXPECT_EQ(global.size(), 166u);
  EXPECT_EQ(host.size(), 100u);
  EXPECT_EQ(U32At(global, 0), 2u);
  EXPECT_EQ(std::string(global.begin() + 85, global.begin() + 93), std::string("uplink1\0", 8));
  EXPECT_EQ(std::string(host.begin() + 52, host.begin() + 60), std::string("uplink1\0", 8));

  EXPECT_EQ(Print(Prop_PrintUplinkPorts, Of(UplinkPortList_Build({}, 81))),
            "\t\tk:\n\t\t\t<none>\n\t\t\tpropType = CONFIG \n");
  /* A count that claims three slots where two fit prints the two. */
  Bytes lying = host;
  lying[0] = 3;
  EXPECT_EQ(Print(Prop_PrintHostUplinkPorts, lying),
            "\t\tk:\n\t\t\tuplink0, uplink1, \n\t\t\tpropType = CONFIG \n");
  EXPECT_EQ(Print(Prop_PrintUplinkPorts, {2, 0}, 0), "\t\tk:\n\t\t\t\n\t\t\tpropType = \n");
}

TEST(Teaming, PolicyOfMinusLIsPrintedAsWritten) {
  const Bytes plain = Of(*TeamingPolicy_Build("uplink0,uplink1", 3, false));
  /* Policy, link selection, reserved, behaviour, active and standby counts, then 81-byte names. */
  ASSERT_EQ(plain.size(), 2616u);
  EXPECT_EQ(U32At(plain, 0), 3u);
  EXPECT_EQ(U32At(plain, 4), 0x280u);
  EXPECT_EQ(U32At(plain, 12), 0x34u);
  EXPECT_EQ(U32At(plain, 16), 2u);
  EXPECT_EQ(U32At(plain, 20), 0u);
  EXPECT_EQ(std::string(plain.begin() + 24 + 81, plain.begin() + 24 + 81 + 8),
            std::string("uplink1\0", 8));
  EXPECT_EQ(Print(Prop_PrintTeamingPolicy, plain),
            "\t\tk:\n\t\t\tload balancing = source virtual port id\n"
            "\t\t\tlink selection = link state up;\n"
            "\t\t\tlink behavior = notify switch; best effort on failure; shotgun on failure;\n"
            "\t\t\tactive = uplink0, uplink1,\n\t\t\tstandby =\n\t\t\tpropType = CONFIG \n");

  /* -c adds beacon probing; a name over 80 characters is cut to 80. */
  const std::string longName(90, 'n');
  const Bytes beacon = Of(*TeamingPolicy_Build(longName.c_str(), 4, true));
  EXPECT_EQ(U32At(beacon, 4), 0x2a0u);
  EXPECT_EQ(Print(Prop_PrintTeamingPolicy, beacon),
            "\t\tk:\n\t\t\tload balancing = first uplink (i.e. explicit)\n"
            "\t\t\tlink selection = link state up; beacon state ok;\n"
            "\t\t\tlink behavior = notify switch; best effort on failure; shotgun on failure;\n"
            "\t\t\tactive = " +
                std::string(80, 'n') + ",\n\t\t\tstandby =\n\t\t\tpropType = CONFIG \n");
}

TEST(Teaming, ListsThatDoNotFitAreRefused) {
  std::string names32;
  for (int i = 0; i < 32; i++) names32 += (i ? ",u" : "u") + std::to_string(i);
  EXPECT_TRUE(TeamingPolicy_Build(names32.c_str(), 3, false));
  const std::string names33 = names32 + ",u32";
  for (const char *list : {"", "a b", "a, b", "a,,b", ",a", "a,", names33.c_str()}) {
    EXPECT_FALSE(TeamingPolicy_Build(list, 3, false)) << list;
  }
}

TEST(Teaming, ShortValuesAndLyingCountsPrintWhatFits) {
  /* Policy 9 has no name; the value ends inside the link-selection word. */
  EXPECT_EQ(Print(Prop_PrintTeamingPolicy, {9, 0, 0, 0, 0x80, 0}, 0),
            "\t\tk:\n\t\t\tload balancing = \n\t\t\tlink selection =\n\t\t\tpropType = \n");
  /* Two active names claimed, one slot present. */
  ByteWriter two(TEAMING_OFF_NAMES + UPLINK_GLOBAL_SLOT_LEN);
  two.PutU32(TEAMING_OFF_ACTIVE_COUNT, 2);
  two.PutText(TEAMING_OFF_NAMES, UPLINK_GLOBAL_SLOT_LEN, "a");
  EXPECT_EQ(Print(Prop_PrintTeamingPolicy, Of(two), 0),
            "\t\tk:\n\t\t\tload balancing = none (all pkts dropped)\n\t\t\tlink selection =\n"
            "\t\t\tlink behavior =\n\t\t\tactive = a,\n\t\t\tpropType = \n");

  /* A logical-switch list claiming two entries and holding one. */
  ByteWriter ls(LS_TEAMING_OFF_ENTRIES + LS_TEAMING_ENTRY_LEN);
  const size_t e = LS_TEAMING_OFF_ENTRIES;
  ls.PutU32(LS_TEAMING_OFF_COUNT, 2);
  ls.PutText(e + LS_TEAMING_ENTRY_OFF_NAME, LS_TEAMING_NAME_LEN, "pol1");
  ls.PutU32(e + LS_TEAMING_ENTRY_OFF_LOAD_BALANCING, 2);
  ls.PutU32(e + LS_TEAMING_ENTRY_OFF_LINK_SELECTION, 0xa0);
  ls.PutU32(e + LS_TEAMING_ENTRY_OFF_LINK_BEHAVIOR, 0x08);
  ls.PutU32(e + LS_TEAMING_ENTRY_OFF_ACTIVE_COUNT, 1);
  ls.PutU32(e + LS_TEAMING_ENTRY_OFF_STANDBY_COUNT, 1);
  ls.PutText(e + LS_TEAMING_ENTRY_OFF_NAMES, UPLINK_GLOBAL_SLOT_LEN, "u0");
  ls.PutText(e + LS_TEAMING_ENTRY_OFF_NAMES + UPLINK_GLOBAL_SLOT_LEN, UPLINK_GLOBAL_SLOT_LEN, "u1");
  EXPECT_EQ(Print(Prop_PrintLogicalSwitchTeaming, Of(ls)),
            "\t\tk:\n\t\t\tpolicy name: pol1\n\t\t\t\tload balancing = source mac address\n"
            "\t\t\t\tlink selection = link state up; beacon state ok;\n"
            "\t\t\t\tlink behavior = rolling failover;\n\t\t\t\tactive = u0,\n"
            "\t\t\t\tstandby = u1,\n\t\t\t\tpropType = CONFIG \n");
  EXPECT_EQ(Print(Prop_PrintLogicalSwitchTeaming, {0, 0, 0, 0}), "\t\tk:\n");
}

// ---------------------------------------------------------------------------
// LACP groups

struct LacpCase {
  std::string text; /* after "v2" */
  uint32_t lagCount;
  ZOR_ReturnStatus status;
  std::string err;
};

TEST(Lacp, ParserRefusesEachBadField) {
  const LacpCase cases[] = {
      {"*lag1;00;2;1;3;", 1, ZOR_OK, ""},
      {"*lag1;123456789012345;0;2;20;", 1, ZOR_OK, ""},
      {"*a;1;20;1;3;*b;2;12;1;3;", 2, ZOR_OK, ""},
      {"*lag1;0;2;1;3;", 1, ZOR_BAD_PARAM, "Lag key shouldn't be 0, reserved for lacp v1\n"},
      {"*lag1;1a;2;1;3;", 1, ZOR_BAD_PARAM, "Lag key should be a digit\n"},
      {"*lag1;1234567890123456;2;1;3;", 1, ZOR_BAD_PARAM, "Lag key can't be longer than 15\n"},
      {"*" + std::string(65, 'x') + ";1;2;1;3;", 1, ZOR_BAD_PARAM,
       "Lag name can't be longer than 64\n"},
      {"*la%g;1;2;1;3;", 1, ZOR_BAD_PARAM, "Lag name can't include %\n"},
      {"*lag1;1;2;3;3;", 1, ZOR_BAD_PARAM,
       "Invalid mode when lacp is enabled, should be 1(active) or 2(passive)\n"},
      {"*lag1;1;2;99999999999999999999;3;", 1, ZOR_BAD_PARAM,
       "Invalid mode when lacp is enabled, should be 1(active) or 2(passive)\n"},
      {"*lag1;1;2;1;0;", 1, ZOR_BAD_PARAM, "Invalid load balance algo.\n"},
      {"*lag1;1;2;1;21;", 1, ZOR_BAD_PARAM, "Invalid load balance algo.\n"},
      /* An empty piece is skipped, so the fields shift and the last is missing. */
      {"*lag1;1;;2;1;", 1, ZOR_BAD_PARAM, "Each field should not be empty\n"},
      {"*lag1;1;33;1;3;", 1, ZOR_NOT_SUPPORTED, "Unsupported number of lag ports 33, range 0-32\n"},
      {"*lag1;1;-1;1;3;", 1, ZOR_NOT_SUPPORTED, "Unsupported number of lag ports -1, range 0-32\n"},
      {"*lag1;1;99999999999999999999;1;3;", 1, ZOR_NOT_SUPPORTED,
       "Unsupported number of lag ports -1, range 0-32\n"},
      {"*a;1;20;1;3;*b;2;13;1;3;", 2, ZOR_NOT_SUPPORTED,
       "Unsupported number of lag ports 33, range 0-32\n"},
  };
  for (const LacpCase &c : cases) {
    Bytes table;
    ZOR_ReturnStatus status = ZOR_OK;
    const std::string err =
        Stderr([&] { status = LacpGroupTable_Parse(c.text.c_str(), c.lagCount, table); });
    EXPECT_EQ(status, c.status) << c.text;
    EXPECT_EQ(err, c.err) << c.text;
    if (status == ZOR_OK) {
      EXPECT_EQ(table.size(), 4 + 93 * c.lagCount) << c.text;
    }
  }
}

TEST(Lacp, PreCheckCountsFieldsBeforeLoadingAnything) {
  const struct {
    const char *text;
    const char *err;
  } cases[] = {
      {"", "Config must begin with *\n"},
      {"lag1;1;2;1;3;", "Config must begin with *\n"},
      {"*lag1;1;2;1;3", "Each LAG should have 5 fields, not 4.\n"},
      {"**lag1;1;2;1;3;", "Each LAG should have 5 fields, not 0.\n"},
      {"*lag1;1;2;1;3;;*x", "Each LAG should have 5 fields, not 6.\n"},
  };
  for (const auto &c : cases) {
    uint32_t count = 0;
    ZOR_ReturnStatus status = ZOR_OK;
    const std::string err = Stderr([&] { status = ValidateLagConfig(c.text, 5, &count); });
    EXPECT_EQ(status, ZOR_BAD_PARAM) << c.text;
    EXPECT_EQ(err, c.err) << c.text;
  }
}

TEST(Lacp, TablePrinterNamesModesAndPoliciesAndStopsAtTheEnd) {
  Bytes table;
  ASSERT_EQ(LacpGroupTable_Parse("*lag1;1;2;1;3;", 1, table), ZOR_OK);
  /* A count, then 93-byte entries: name (65 bytes), key (16), mode, load balance, port number. */
  ASSERT_EQ(table.size(), 97u);
  EXPECT_EQ(U32At(table, 0), 1u);
  EXPECT_EQ(std::string(table.begin() + 4, table.begin() + 9), std::string("lag1\0", 5));
  EXPECT_EQ(std::string(table.begin() + 69, table.begin() + 71), std::string("1\0", 2));
  EXPECT_EQ(U32At(table, 85), 1u);
  EXPECT_EQ(U32At(table, 89), 3u);
  EXPECT_EQ(U32At(table, 93), 2u);
  /* The transcripts list a good table. Mode 7 and policy 25 have no names; a second entry claimed,
   * 10 bytes of it present. */
  table[85] = 7;
  table[89] = 25;
  table[0] = 2;
  table.resize(table.size() + 10);
  EXPECT_EQ(Print(Prop_PrintLacpGroups, table, 0),
            "\t\tk:\n\t\t\tlag name:\t\t\tlag1\n\t\t\tlag key:\t\t\t1\n\t\t\tmode:\t\t\t\tnone\n"
            "\t\t\tload balance policy:\t\tnone\n\t\t\tlag port number:\t\t2\n\n"
            "\t\t\tlag name:\t\t\t\n\t\t\tpropType = \n");
  EXPECT_EQ(Print(Prop_PrintLacpGroups, {0, 0, 0, 0}), "\t\tk:\n\t\t\tpropType = CONFIG \n");
}

TEST(Lacp, PortStatePrinter) {
  const struct {
    Bytes value;
    const char *out;
  } cases[] = {
      {{1, 9, 9, 9, 9, 0, 0, 0}, "\t\tk:\n\t\t\tstatus = enabled\n\t\t\tmode = none\n"},
      {{2, 0, 0, 0, 1, 0, 0, 0}, "\t\tk:\n\t\t\tstatus = disabled\n"},
      {{1}, "\t\tk:\n\t\t\tstatus = enabled\n"},
      {{}, "\t\tk:\n"},
  };
  for (const auto &c : cases) EXPECT_EQ(Print(Prop_PrintPortLacp, c.value), c.out);
}

// ---------------------------------------------------------------------------
// LAG extra configuration

Bytes Merged(const Bytes &stored, const char *text) {
  std::vector<LagConfigEntry> entries;
  if (!stored.empty()) {
    EXPECT_EQ(LagExtraConfig_Decode(stored.data(), static_cast<uint32_t>(stored.size()), entries),
              ZOR_OK);
  }
  EXPECT_EQ(LagExtraConfig_Merge(text, 1, entries), ZOR_OK) << text;
  return Of(LagExtraConfig_Encode(entries));
}

TEST(LagExtra, MergeAddsOrOverwritesItemsAndKeepsTheStoredKey) {
  /* The transcripts list this first value; a second merge rewrites its items. */
  const Bytes first = Merged({}, "lag1;1;1:1,2:uplink0.2,;");
  EXPECT_EQ(first.size(), 194u);
  const Bytes slow = Merged(first, "lag1;9;1:2,;");
  EXPECT_EQ(slow.size(), 194u);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(&slow[4 + 65])), "1");
  const Bytes second = Merged(Merged(slow, "lag1;1;2:uplink1.1,;"), "lag1;1;2:uplink0.1,;");
  EXPECT_EQ(second.size(), 287u);
  /* An existing LAG given an empty item list is written back unchanged. */
  EXPECT_EQ(Merged(second, "lag1;1;;"), second);
  EXPECT_EQ(Print(Prop_PrintLagExtraConfig, second),
            "\t\tk:\n\t\t\tlag name:\t\t\tlag1\n\t\t\tlag timeout:\t\t\tslow\n"
            "\t\t\tport timeout:\t\t\tuplink0/fast\n\t\t\tport timeout:\t\t\tuplink1/fast\n\n"
            "\t\t\tpropType = CONFIG \n");

  /* One byte too many, or an item whose length reaches past the value. */
  std::vector<LagConfigEntry> entries;
  Bytes longer = second;
  longer.push_back(0);
  EXPECT_EQ(
      Stderr([&] { EXPECT_EQ(LagExtraConfig_Decode(longer.data(), 288, entries), ZOR_BAD_PARAM); }),
      "Got invalid memory 287 != 288\n");
  Bytes broken = second;
  broken[4 + 85 + 4] = 0xff; /* len of the first item */
  entries.clear();
  EXPECT_EQ(Stderr([&] {
              EXPECT_EQ(LagExtraConfig_Decode(broken.data(), 287, entries), ZOR_INVALID_DATA);
            }),
            "Invalid config item data\n");
  EXPECT_EQ(Print(Prop_PrintLagExtraConfig, broken),
            "\t\tk:\n\t\t\tlag name:\t\t\tlag1\n\t\t\tunknown config item type\n"
            "\t\t\tpropType = CONFIG \n");
}

TEST(LagExtra, ParserRefusesEachBadPiece) {
  const std::string longPort = "lag1;1;2:" + std::string(81, 'p') + ".1,;";
  const std::string longKey = "lag1;1234567890123456;1:1,;";
  const std::string longName = std::string(65, 'n') + ";1;1:1,;";
  const struct {
    std::string text;
    const char *err;
  } cases[] = {
      {"lag1;1;1:0,;", "Invalid timeout value, should be 1(fast) or 2(slow)\n"},
      {"lag1;1;1:3,;", "Invalid timeout value, should be 1(fast) or 2(slow)\n"},
      {"lag1;1;0:1,;", "Invalid configured item\n"},
      {"lag1;1;3:1,;", "Invalid configured item\n"},
      {"lag1;1;99999999999999999999:1,;", "Invalid configured item\n"},
      {"lag1;1;;", "Invalid or duplicated configure items\n"},
      {longPort, "DV port name can't be longer than 80\n"},
      {"lag1;1;1;", "Configured item type should not be empty\n"},
      {"lag1;1;:1,;", "Configured item type is empty\n"},
      {"lag1;1;1:1;", "Configured item value should not be empty\n"},
      {"lag1;1;1:,;", "Configured item value is empty\n"},
      {"lag1;1;2:uplink0,;", "DV port name for port timeout should not be empty\n"},
      {"lag1;1;2:.1,;", "DV port name for port timeout is empty\n"},
      {"lag1;1;2:up.,;", "Port timeout value is empty\n"},
      {"lag1;1;2:up.3,;", "Invalid port timeout value, should be 1(fast) or 2(slow)\n"},
      {";1;1:1,;", "LAG name shouldn't be empty\n"},
      {longName, "LAG name can't be longer than 64\n"},
      {"l%g;1;1:1,;", "LAG name can't include %\n"},
      {"lag1;;1:1,;", "LAG key shouldn't be empty\n"},
      {"lag1;0;1:1,;", "LAG key shouldn't be 0\n"},
      {"lag1;x;1:1,;", "LAG key should be a digit\n"},
      {longKey, "LAG key can't be longer than 15\n"},
  };
  for (const auto &c : cases) {
    std::vector<LagConfigEntry> entries;
    ZOR_ReturnStatus status = ZOR_OK;
    const std::string err =
        Stderr([&] { status = LagExtraConfig_Merge(c.text.c_str(), 1, entries); });
    EXPECT_EQ(status, ZOR_BAD_PARAM) << c.text;
    EXPECT_EQ(err, c.err) << c.text;
  }
}

}  // namespace
