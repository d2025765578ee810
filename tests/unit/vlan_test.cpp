// SPDX-License-Identifier: Apache-2.0
/*
 * vlan_test.cpp --
 *
 *    The -v and -V parsers (text to exact bytes, messages and refusals,
 *    hostile texts included) and the three VLAN printers (bytes to exact
 *    lines, short values and counts that lie included). Printers get
 *    exactly sized copies, so the sanitizer build catches a read past a
 *    value.
 */

#include "props/vlan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "listing/listing.h"
#include "printing.h"

namespace {

using printing::Bytes;

const ZOR_ReturnStatus FAILED = static_cast<ZOR_ReturnStatus>(-1);
const Bytes UNTOUCHED = {9};

/* Runs a parser; returns its status and what it printed on stdout and stderr. */
template <typename F>
ZOR_ReturnStatus Parse(F run, std::string &out, std::string &err) {
  ZOR_ReturnStatus status = ZOR_OK;
  err = printing::Stderr([&] { out = printing::Stdout([&] { status = run(); }); });
  return status;
}

struct VlanCase {
  const char *text;
  ZOR_ReturnStatus status;
  Bytes policy;
  int priority; /* -1: none */
  const char *out;
};

TEST(VlanParsers, PolicyText) {
  const VlanCase cases[] = {
      {"10", ZOR_OK, {0, 0, 10, 0, 0, 0, 0, 0}, -1, ""},
      {"", ZOR_OK, {0, 0, 0, 0, 0, 0, 0, 0}, -1, ""},
      /* Tagging without a range field allows every VLAN; an empty range field is 0-0. */
      {"10;t", ZOR_OK, {1, 0, 10, 0, 0, 0, 1, 0, 0, 0, 0xfe, 0x0f}, -1, ""},
      {"10;t;", ZOR_OK, {1, 0, 10, 0, 0, 0, 1, 0, 0, 0, 0, 0}, -1, ""},
      {"10;t5;100-200,300", ZOR_OK, {1, 0, 10, 0, 0, 0, 2, 0, 100, 0, 200, 0, 44, 1, 44, 1}, 5, ""},
      /* Unknown characters are reported and skipped; the last digit wins; 8 and 9 are unknown. */
      {"20;x3P", ZOR_OK, {2, 0, 20, 0, 0, 0, 0, 0}, 3, "bad flag/priority character: x\n"},
      {"20;7p9", ZOR_OK, {2, 0, 20, 0, 0, 0, 0, 0}, 7, "bad flag/priority character: 9\n"},
      /* Low 16 bits; no number is 0; the first '-' splits an item; later ';' are range text. */
      {"70000;;-1-x,65537;9",
       ZOR_OK,
       {0, 0, 0x70, 0x11, 0, 0, 2, 0, 0, 0, 1, 0, 1, 0, 1, 0},
       -1,
       ""},
      {"99999999999999999999999", ZOR_OK, {0, 0, 0xff, 0xff, 0, 0, 0, 0}, -1, ""},
      /* A comma outside the range field promises items that field does not hold. */
      {"10,20", ZOR_BAD_PARAM, UNTOUCHED, -1, ""},
      {"10;t,5;7", ZOR_BAD_PARAM, UNTOUCHED, -1, ""},
      {"1;,", ZOR_BAD_PARAM, UNTOUCHED, -1, ""},
  };
  for (const auto &c : cases) {
    VlanSetting setting;
    setting.policy = UNTOUCHED;
    std::string out, err;
    EXPECT_EQ(Parse([&] { return VlanPolicy_Parse(c.text, setting); }, out, err), c.status)
        << c.text;
    EXPECT_EQ(setting.policy, c.policy) << c.text;
    EXPECT_EQ(setting.priority.value_or(-1), c.priority) << c.text;
    EXPECT_EQ(out, c.out) << c.text;
    EXPECT_EQ(err, c.status == ZOR_OK ? ""
                                      : "bad vlan specification: ',' outside the range field: " +
                                            std::string(c.text) + "\n");
  }
}

TEST(VlanParsers, LongRangeField) {
  std::string text = "1;t;";
  for (int i = 0; i < 20000; i++) text += std::to_string(i) + "-" + std::to_string(i + 1) + ",";
  VlanSetting setting;
  ASSERT_EQ(VlanPolicy_Parse(text.c_str(), setting), ZOR_OK);
  /* 20000 items and the empty one after the last comma. */
  ASSERT_EQ(setting.policy.size(), 8u + 4u * 20001u);
  const ByteReader r(setting.policy.data(), static_cast<uint32_t>(setting.policy.size()));
  EXPECT_EQ(r.U16(6), 20001); /* the range count */
  EXPECT_EQ(r.U32(8 + 4 * 19999), 19999u | (20000u << 16));
  EXPECT_EQ(r.U32(8 + 4 * 20000), 0u);
}

struct MapCase {
  const char *text;
  ZOR_ReturnStatus status;
  Bytes map;
  const char *out;
  const char *err;
};

TEST(VlanParsers, PvlanMapText) {
  const MapCase cases[] = {
      {"5,6,c;7,8,P",
       ZOR_OK,
       {5, 0, 6, 0, 3, 0, 0, 0, 7, 0, 8, 0, 1, 0, 0, 0},
       "scanning 2 entries\npvlan map entry: primary=5, secondary=6, type=3\n"
       "pvlan map entry: primary=7, secondary=8, type=1\n",
       ""},
      {"1,2", ZOR_OK, {}, "scanning 0 entries\n", ""},
      /* Only the type's first letter counts; what follows the last entry is ignored. */
      {"70000,x,Isolde;junk",
       ZOR_OK,
       {0x70, 0x11, 0, 0, 2, 0, 0, 0},
       "scanning 1 entries\npvlan map entry: primary=4464, secondary=0, type=2\n",
       ""},
      {"100,101,x", FAILED, UNTOUCHED, "scanning 1 entries\nbad mapping type: x", ""},
      {",,,,,,", FAILED, UNTOUCHED, "scanning 3 entries\nbad mapping type: ,,,,", ""},
      /* Commas inside a type field promise entries that the text does not hold. */
      {"1,2,i,3,4,c", ZOR_BAD_PARAM, UNTOUCHED, "scanning 2 entries\n",
       "bad pvlan map: entry 1 is not ended by ';'\n"},
      {"1,2,i,,;3,4", ZOR_BAD_PARAM, UNTOUCHED, "scanning 2 entries\n",
       "bad pvlan map: entry 2 lacks a ','\n"},
  };
  for (const auto &c : cases) {
    Bytes map = UNTOUCHED;
    std::string out, err;
    EXPECT_EQ(Parse([&] { return PvlanMap_Parse(c.text, map); }, out, err), c.status) << c.text;
    EXPECT_EQ(map, c.map) << c.text;
    EXPECT_EQ(out, c.out) << c.text;
    EXPECT_EQ(err, c.err) << c.text;
  }
}

/* A value and the lines printed before the propType line; the key is "k". */
struct PrintCase {
  Bytes value;
  const char *lines;
};

void ExpectPrints(PropPrinter printer, const std::vector<PrintCase> &cases) {
  for (const auto &c : cases) {
    EXPECT_EQ(printing::Print(printer, c.value),
              std::string(c.lines) + "\t\t\tpropType = CONFIG \n");
  }
}

TEST(VlanPrinters, PolicyVolatileVlanAndMap) {
  ExpectPrints(Prop_PrintPortVlan,
               {
                   /* The transcripts list tagging with ranges, a PVLAN and a VLAN. */
                   {{0, 0, 0xff, 0xff, 0, 0, 0, 0}, "\t\tk = VLAN 65535\n"},
                   {{0x80, 0, 0, 0, 0, 0, 0, 0}, "\t\tk = No VLAN\n"},
                   /* Short values and counts that lie: what fits, nothing past the end. */
                   {{1, 0}, "\t\tk = Guest VLAN tagging\n"},
                   {{0, 0, 5}, ""},
                   {{0, 0, 5, 0, 0, 0, 1}, "\t\tk = VLAN 5\n"},
                   {{1, 0, 0, 0, 0, 0, 3, 0, 1, 0, 9, 0, 4, 0},
                    "\t\tk = Guest VLAN tagging\n\t\t\tranges = 1-9\n"},
                   {{}, ""},
               });
  ExpectPrints(Prop_PrintVolatileVlan,
               {
                   {{12, 0, 9, 0, 1, 0, 2}, "\t\tk = VLAN 12\n\t\t\tranges =\n"},
                   {{12}, ""},
               });
  ExpectPrints(Prop_PrintPvlanMap,
               {
                   {{100, 0, 101, 0, 3, 0, 0, 0, 1, 0, 2, 0, 9, 0, 0, 0, 5, 0, 6, 0},
                    "\t\tk:\n\t\t\t(100, 101) - community\n\t\t\t(1, 2) - unknown\n"},
                   {{}, "\t\tk:\n"},
               });
}

}  // namespace
