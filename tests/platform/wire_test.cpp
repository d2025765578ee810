// SPDX-License-Identifier: Apache-2.0
// Tests of the platform's little-endian codec at the edges of a block: a
// field that ends past the block is refused and nothing is read or written.

#include "core/wire.h"

#include <gtest/gtest.h>
#include <stdint.h>

#include <string>

namespace {

std::string Hex(const uint8_t *p, size_t n) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < n; i++) {
    s += digits[p[i] >> 4];
    s += digits[p[i] & 15];
  }
  return s;
}

TEST(WireCodec, FixedOffsetFieldsStayInsideTheBlock) {
  uint8_t block[10] = {};
  // The last fields that fit end exactly at the block's end.
  EXPECT_TRUE(zor::PutU16(block, sizeof block, 0, 0x0102));
  EXPECT_TRUE(zor::PutU64(block, sizeof block, 2, 0x030405060708090aull));
  EXPECT_EQ(Hex(block, sizeof block), "02010a09080706050403");
  EXPECT_TRUE(zor::PutU32(block, sizeof block, 6, 0xa0b0c0d0u));
  EXPECT_EQ(Hex(block, sizeof block), "02010a090807d0c0b0a0");

  // One byte further, an offset past the end, or one whose sum overflows: refused, untouched.
  EXPECT_FALSE(zor::PutU32(block, sizeof block, 7, 0xffffffffu));
  EXPECT_FALSE(zor::PutU16(block, sizeof block, 11, 0xffff));
  EXPECT_FALSE(zor::PutU64(block, sizeof block, SIZE_MAX - 3, ~0ull));
  EXPECT_EQ(Hex(block, sizeof block), "02010a090807d0c0b0a0");

  uint16_t v16 = 7;
  uint32_t v32 = 7;
  uint64_t v64 = 7;
  EXPECT_TRUE(zor::GetU16(block, sizeof block, 8, &v16));
  EXPECT_EQ(v16, 0xa0b0u);
  EXPECT_TRUE(zor::GetU64(block, sizeof block, 0, &v64));
  EXPECT_EQ(v64, 0xc0d00708090a0102ull);
  v16 = 7;
  v64 = 7;
  EXPECT_FALSE(zor::GetU16(block, sizeof block, 9, &v16));
  EXPECT_FALSE(zor::GetU32(block, sizeof block, SIZE_MAX - 1, &v32));
  EXPECT_FALSE(zor::GetU64(block, sizeof block, 3, &v64));
  EXPECT_FALSE(zor::GetU32(nullptr, 0, 0, &v32));
  EXPECT_EQ(v16, 7u);
  EXPECT_EQ(v32, 7u);
  EXPECT_EQ(v64, 7u);
}

TEST(WireCodec, AShortReadConsumesNothingAndFailsTheReader) {
  const uint8_t bytes[] = {1, 2, 3, 4, 5};
  zor::WireReader r(bytes, sizeof bytes);
  EXPECT_EQ(r.U64(), 0u);
  EXPECT_FALSE(r.Ok());
  EXPECT_EQ(r.Remaining(), sizeof bytes);
  EXPECT_EQ(r.Position(), bytes);
  // Later reads fail too, even those that would fit.
  EXPECT_EQ(r.U8(), 0u);
  EXPECT_EQ(r.U32(), 0u);
  EXPECT_EQ(r.Remaining(), sizeof bytes);
}

}  // namespace
