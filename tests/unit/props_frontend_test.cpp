// SPDX-License-Identifier: Apache-2.0
/*
 * props_frontend_test.cpp --
 *
 *    Values built without a switch: the bounds of the byte writer and
 *    reader that every value goes through, the initial VLAN policies of a
 *    port and the VLAN range bitmap of the health-check options.
 */

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "props/bytes.h"
#include "props/healthcheck.h"
#include "props/vlan.h"

namespace {

TEST(Bytes, WriterRefusesFieldsPastTheEndAndReaderReportsShortValues) {
  ByteWriter w(7);
  EXPECT_TRUE(w.PutU16(0, 0x0201));
  EXPECT_TRUE(w.PutU32(2, 0x06050403));
  EXPECT_FALSE(w.PutU16(6, 0xffff)); /* one byte short: refused whole */
  EXPECT_FALSE(w.PutText(5, static_cast<size_t>(-1), "x"));
  EXPECT_FALSE(w.Ok());
  EXPECT_EQ(w.Take(), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 0}));

  ByteWriter t(6);
  EXPECT_TRUE(t.PutText(1, 4, "abcdef")); /* cut to width - 1 and a NUL */
  EXPECT_TRUE(t.Ok());
  EXPECT_EQ(t.Take(), (std::vector<uint8_t>{0, 'a', 'b', 'c', 0, 0}));
  EXPECT_FALSE(ByteWriter::TextFits("abcd", 4));
  EXPECT_TRUE(ByteWriter::TextFits("abc", 4));

  const uint8_t value[] = {0xfe, 0xff, 0xff, 0xff, 'h', 'i'};
  const ByteReader r(value, sizeof value);
  EXPECT_EQ(r.I32(0), -2);
  EXPECT_EQ(r.U16(4), 0x6968);
  EXPECT_FALSE(r.U16(5).has_value());
  EXPECT_FALSE(r.U64(0).has_value());
  EXPECT_FALSE(r.U8(static_cast<size_t>(-1)).has_value());
  EXPECT_EQ(r.Text(4, 16), "hi"); /* no NUL: stops at the value's end */
  EXPECT_FALSE(r.Text(6, 1).has_value());
  EXPECT_EQ(ByteReader(nullptr, 4).U8(0), std::nullopt);
}

/* An ordinary port's policy (eight zero bytes) and its key are in every listing of a new port. */
TEST(VlanPolicyInitial, UplinkTrunksOneToFourThousandNinetyFour) {
  /* flags 1, VLAN 0, reserved 0, one range 1-4094; all little-endian u16. */
  const std::vector<uint8_t> expected = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
                                         0x01, 0x00, 0x01, 0x00, 0xfe, 0x0f};
  EXPECT_EQ(VlanPolicy_BuildInitial(true).Take(), expected);
}

/* The VLANs whose bits are set, in ascending order. */
std::vector<int> SetVlans(const uint8_t *bitmap) {
  std::vector<int> vlans;
  for (int v = 0; v < VLAN_BITMAP_LEN * 8; v++) {
    if (bitmap[v / 8] & (1u << (v % 8))) vlans.push_back(v);
  }
  return vlans;
}

struct BitmapCase {
  const char *text;
  int result;
  std::vector<int> vlans; /* when the parse succeeds */
  const char *out;
  const char *err;
};

TEST(VlanBitmapParse, RangesSetBitsAndBadTextsAreRefused) {
  const std::vector<BitmapCase> cases = {
      {"1-10,20",
       0,
       {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 20},
       "set vlan 1 - 10.\nset vlan 20 - 20.\n",
       ""},
      {"0,7,8,4094",
       0,
       {0, 7, 8, 4094},
       "set vlan 0 - 0.\nset vlan 7 - 7.\nset vlan 8 - 8.\n"
       "set vlan 4094 - 4094.\n",
       ""},
      {"", 0, {}, "", ""},
      {"5-", 0, {5}, "set vlan 5 - 5.\n", ""},     /* the '-' with no number: one VLAN */
      {" 3 - 4", 0, {3}, "set vlan 3 - 3.\n", ""}, /* the '-' must follow the number */
      {"9x,12", 0, {9, 12}, "set vlan 9 - 9.\nset vlan 12 - 12.\n", ""},
      {"0-4095", -1, {}, "", "Bad vlan range: from 0 to 4095\n"},
      {"10-5", -1, {}, "", "Bad vlan range: from 10 to 5\n"},
      {"-1", -1, {}, "", "Bad vlan range: from -1 to -1\n"},
      {"abc", -1, {}, "", "Bad vlan range string: abc\n"},
      {"1,x", -1, {}, "set vlan 1 - 1.\n", "Bad vlan range string: x\n"},
      {"1,", 0, {1}, "set vlan 1 - 1.\n", ""},
  };
  for (const BitmapCase &c : cases) {
    SCOPED_TRACE(std::string("text: \"") + c.text + "\"");
    uint8_t bitmap[VLAN_BITMAP_LEN];
    memset(bitmap, 0xa5, sizeof(bitmap));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = VlanBitmap_Parse(c.text, bitmap);
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(out, c.out);
    EXPECT_EQ(err, c.err);
    if (c.result == 0) {
      EXPECT_EQ(SetVlans(bitmap), c.vlans);
    }
  }
}

}  // namespace
