/*
 * vlan_test.cpp --
 *
 *    The VLAN policy and private-VLAN map parsers (text to exact bytes,
 *    messages and refusals) and the three VLAN printers (bytes to exact
 *    listing lines, short values and counts that lie included). Values
 *    handed to the printers live in exactly sized buffers, so the
 *    sanitizer build catches any read past a value.
 */

#include "props/vlan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "listing/listing.h"

namespace {

using Bytes = std::vector<uint8_t>;

/* What a parser printed. */
struct Output {
  std::string out;
  std::string err;
};

template <typename F>
Output Capture(F run) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  run();
  Output o;
  o.err = testing::internal::GetCapturedStderr();
  o.out = testing::internal::GetCapturedStdout();
  return o;
}

std::string PrintWith(PropPrinter printer, const char *key, const Bytes &value, int32_t flags) {
  /* A copy of exactly the value's size, so that a read past it is caught. */
  std::vector<uint8_t> exact(value);
  testing::internal::CaptureStdout();
  printer(key, exact.empty() ? nullptr : exact.data(), static_cast<uint32_t>(exact.size()), flags);
  return testing::internal::GetCapturedStdout();
}

const char VS_VLAN[] = "com.corvane.vswitch.port.vlan";
const char PROP_CONFIG_LINE[] = "\t\t\tpropType = CONFIG \n";

// ---------------------------------------------------------------------------
// -v

struct VlanCase {
  const char *text;
  Bytes policy;
  int priority; /* -1: none */
  const char *out;
};

TEST(VlanPolicyParse, BuildsFlagsRangesAndPriority) {
  const VlanCase cases[] = {
      {"10", {0, 0, 10, 0, 0, 0, 0, 0}, -1, ""},
      {"", {0, 0, 0, 0, 0, 0, 0, 0}, -1, ""},
      /* Tagging without a range field allows every VLAN. */
      {"10;t", {1, 0, 10, 0, 0, 0, 1, 0, 0, 0, 0xfe, 0x0f}, -1, ""},
      {"10;t5;100-200,300", {1, 0, 10, 0, 0, 0, 2, 0, 100, 0, 200, 0, 0x2c, 1, 0x2c, 1}, 5, ""},
      /* An empty range field is one empty item: 0-0. */
      {"10;t;", {1, 0, 10, 0, 0, 0, 1, 0, 0, 0, 0, 0}, -1, ""},
      {"20;P", {2, 0, 20, 0, 0, 0, 0, 0}, -1, ""},
      {"20;Tp", {3, 0, 20, 0, 0, 0, 1, 0, 0, 0, 0xfe, 0x0f}, -1, ""},
      /* Unknown characters are reported and skipped; the last digit wins; 8 and 9 are unknown. */
      {"20;x3", {0, 0, 20, 0, 0, 0, 0, 0}, 3, "bad flag/priority character: x\n"},
      {"20;7p9", {2, 0, 20, 0, 0, 0, 0, 0}, 7, "bad flag/priority character: 9\n"},
      {"20;0", {0, 0, 20, 0, 0, 0, 0, 0}, 0, ""},
      /* Numbers keep their low 16 bits; text that is no number is 0. */
      {"70000;;-1-x,65537", {0, 0, 0x70, 0x11, 0, 0, 2, 0, 0, 0, 1, 0, 1, 0, 1, 0}, -1, ""},
      {"99999999999999999999999", {0, 0, 0xff, 0xff, 0, 0, 0, 0}, -1, ""},
      /* The first '-' of an item splits it; later ';' belong to the range field. */
      {"5;;1-2-3,,7-;9", {0, 0, 5, 0, 0, 0, 3, 0, 1, 0, 2, 0, 0, 0, 0, 0, 7, 0, 0, 0}, -1, ""},
  };
  for (const auto &c : cases) {
    VlanSetting setting;
    ZOR_ReturnStatus status = ZOR_FAILURE;
    const Output o = Capture([&] { status = VlanPolicy_Parse(c.text, setting); });
    EXPECT_EQ(status, ZOR_OK) << c.text;
    EXPECT_EQ(setting.policy, c.policy) << c.text;
    EXPECT_EQ(setting.priority.value_or(-1), c.priority) << c.text;
    EXPECT_EQ(o.out, c.out) << c.text;
    EXPECT_EQ(o.err, "") << c.text;
  }
}

TEST(VlanPolicyParse, RefusesCommasOutsideTheRangeField) {
  for (const char *text : {"10,20", "1,0;t;5", "10;t,5;7", ",", "1;,"}) {
    VlanSetting setting;
    setting.policy = {9};
    ZOR_ReturnStatus status = ZOR_OK;
    const Output o = Capture([&] { status = VlanPolicy_Parse(text, setting); });
    EXPECT_EQ(status, ZOR_BAD_PARAM) << text;
    EXPECT_EQ(setting.policy, Bytes{9}) << text;
    EXPECT_EQ(o.out, "") << text;
    EXPECT_EQ(o.err,
              std::string("bad vlan specification: ',' outside the range field: ") + text + "\n");
  }
}

TEST(VlanPolicyParse, LongRangeFieldGivesOneRangePerItem) {
  std::string text = "1;t;";
  for (int i = 0; i < 20000; i++) text += std::to_string(i) + "-" + std::to_string(i + 1) + ",";
  VlanSetting setting;
  ASSERT_EQ(VlanPolicy_Parse(text.c_str(), setting), ZOR_OK);
  /* 20000 items and the empty one after the last comma. */
  ASSERT_EQ(setting.policy.size(), 8u + 4u * 20001u);
  const ByteReader r(setting.policy.data(), static_cast<uint32_t>(setting.policy.size()));
  EXPECT_EQ(r.U16(VLAN_POLICY_OFF_RANGE_COUNT), 20001);
  EXPECT_EQ(r.U16(8 + 4 * 19999), 19999);
  EXPECT_EQ(r.U16(8 + 4 * 19999 + 2), 20000);
  EXPECT_EQ(r.U32(8 + 4 * 20000), 0u);
}

// ---------------------------------------------------------------------------
// -V

struct MapCase {
  const char *text;
  ZOR_ReturnStatus status;
  Bytes map; /* when the parse succeeds */
  const char *out;
  const char *err;
};

TEST(PvlanMapParse, BuildsEntriesOrRefuses) {
  const MapCase cases[] = {
      {"100,101,i;100,102,c;100,100,p",
       ZOR_OK,
       {100, 0, 101, 0, 2, 0, 0, 0, 100, 0, 102, 0, 3, 0, 0, 0, 100, 0, 100, 0, 1, 0, 0, 0},
       "scanning 3 entries\n"
       "pvlan map entry: primary=100, secondary=101, type=2\n"
       "pvlan map entry: primary=100, secondary=102, type=3\n"
       "pvlan map entry: primary=100, secondary=100, type=1\n",
       ""},
      /* Fewer than two commas: an empty map. */
      {"1,2", ZOR_OK, {}, "scanning 0 entries\n", ""},
      {"", ZOR_OK, {}, "scanning 0 entries\n", ""},
      /* Only the type's first letter counts; what follows the last entry is ignored. */
      {"70000,x,Isolde;junk",
       ZOR_OK,
       {0x70, 0x11, 0, 0, 2, 0, 0, 0},
       "scanning 1 entries\npvlan map entry: primary=4464, secondary=0, type=2\n",
       ""},
      {"100,101,x",
       static_cast<ZOR_ReturnStatus>(-1),
       {},
       "scanning 1 entries\nbad mapping type: x",
       ""},
      {"1,2,;3,4,c",
       static_cast<ZOR_ReturnStatus>(-1),
       {},
       "scanning 2 entries\nbad mapping type: ",
       ""},
      /* The commas promise entries that the text does not hold. */
      {"1,2,i,3,4,c",
       ZOR_BAD_PARAM,
       {},
       "scanning 2 entries\n",
       "bad pvlan map: entry 1 is not ended by ';'\n"},
      {"1,2,i,,;3,4",
       ZOR_BAD_PARAM,
       {},
       "scanning 2 entries\n",
       "bad pvlan map: entry 2 lacks a ','\n"},
      {",,,,,,",
       static_cast<ZOR_ReturnStatus>(-1),
       {},
       "scanning 3 entries\nbad mapping type: ,,,,",
       ""},
  };
  for (const auto &c : cases) {
    Bytes map = {9};
    ZOR_ReturnStatus status = ZOR_FAILURE;
    const Output o = Capture([&] { status = PvlanMap_Parse(c.text, map); });
    EXPECT_EQ(status, c.status) << c.text;
    EXPECT_EQ(map, c.status == ZOR_OK ? c.map : Bytes{9}) << c.text;
    EXPECT_EQ(o.out, c.out) << c.text;
    EXPECT_EQ(o.err, c.err) << c.text;
  }
}

// ---------------------------------------------------------------------------
// Printers

/* A value and the lines printed before the propType line; the key is "k". */
struct PrintCase {
  const char *what;
  Bytes value;
  const char *lines;
};

void ExpectPrints(PropPrinter printer, const std::vector<PrintCase> &cases) {
  for (const auto &c : cases) {
    EXPECT_EQ(PrintWith(printer, "k", c.value, 0x10), std::string(c.lines) + PROP_CONFIG_LINE)
        << c.what;
  }
}

TEST(VlanPrinters, PortPolicy) {
  ExpectPrints(
      Prop_PrintPortVlan,
      {
          {"guest tagging wins over private",
           {3, 0, 20, 0, 0, 0, 2, 0, 100, 0, 200, 0, 7, 0, 7, 0},
           "\t\tk = Guest VLAN tagging\n\t\t\tranges = 100-200 7\n"},
          {"private", {2, 0, 20, 0, 0, 0, 0, 0}, "\t\tk = PVLAN 20\n"},
          {"plain", {0, 0, 0xff, 0xff, 0, 0, 0, 0}, "\t\tk = VLAN 65535\n"},
          {"unnamed flag", {0x80, 0, 0, 0, 0, 0, 0, 0}, "\t\tk = No VLAN\n"},
          /* Short values and counts that lie: the fields that fit, nothing past the end. */
          {"tagging flag only", {1, 0}, "\t\tk = Guest VLAN tagging\n"},
          {"no VLAN ID", {0, 0, 5}, ""},
          {"no count", {0, 0, 5, 0, 0, 0, 1}, "\t\tk = VLAN 5\n"},
          {"count 3, one and a half ranges",
           {1, 0, 0, 0, 0, 0, 3, 0, 1, 0, 9, 0, 4, 0},
           "\t\tk = Guest VLAN tagging\n\t\t\tranges = 1-9\n"},
          {"empty", {}, ""},
      });
}

TEST(VlanPrinters, VolatileVlan) {
  ExpectPrints(Prop_PrintVolatileVlan,
               {
                   {"VLAN 0 with ranges",
                    {0, 0, 2, 0, 5, 0, 5, 0, 6, 0, 8, 0},
                    "\t\tk = VLAN 0\n\t\t\tranges = 5 6-8\n"},
                   {"count lies", {12, 0, 9, 0, 1, 0, 2}, "\t\tk = VLAN 12\n\t\t\tranges =\n"},
                   {"one byte", {12}, ""},
               });
}

TEST(VlanPrinters, PvlanMap) {
  ExpectPrints(Prop_PrintPvlanMap,
               {
                   {"unknown type and a partial entry",
                    {100, 0, 101, 0, 3, 0, 0, 0, 1, 0, 2, 0, 9, 0, 0, 0, 5, 0, 6, 0},
                    "\t\tk:\n\t\t\t(100, 101) - community\n\t\t\t(1, 2) - unknown\n"},
                   {"empty", {}, "\t\tk:\n"},
               });
}

TEST(VlanPrinters, PrintWhatTheParsersBuild) {
  VlanSetting setting;
  ASSERT_EQ(VlanPolicy_Parse("10;t5;100-200,300", setting), ZOR_OK);
  EXPECT_EQ(PrintWith(Prop_PrintPortVlan, VS_VLAN, setting.policy, 0x10),
            std::string("\t\tcom.corvane.vswitch.port.vlan = Guest VLAN tagging\n"
                        "\t\t\tranges = 100-200 300\n") +
                PROP_CONFIG_LINE);

  Bytes map;
  testing::internal::CaptureStdout();
  const ZOR_ReturnStatus status = PvlanMap_Parse("7,8,P;7,9,i", map);
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(status, ZOR_OK);
  EXPECT_EQ(PrintWith(Prop_PrintPvlanMap, "m", map, 0),
            "\t\tm:\n\t\t\t(7, 8) - promiscuous\n\t\t\t(7, 9) - isolated\n\t\t\tpropType = \n");
}

}  // namespace
