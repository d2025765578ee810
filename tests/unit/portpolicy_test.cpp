// SPDX-License-Identifier: Apache-2.0
/*
 * portpolicy_test.cpp --
 *
 *    The values that -N, -o and -F build, byte for byte at literal offsets
 *    (independently of the families' headers), and every port-policy
 *    parser fed hostile texts: each one ends with its own refusal or a
 *    value, never with a read past its text (the sanitizer build runs
 *    this too).
 */

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "printing.h"
#include "props/ipfix.h"
#include "props/overlay.h"
#include "props/shaping.h"

namespace {

using printing::Bytes;
using printing::Of;
using printing::Put;
using printing::PutText;

/* Runs f with standard output and error captured; both are dropped. */
template <typename F>
void Quietly(F f) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  f();
  testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
}

TEST(Ipfix, GlobalValuesForBothCollectorFamilies) {
  IpfixGlobal v4;
  ASSERT_EQ(Ipfix_ParseGlobal("1,20,30,70000,1,10.0.0.1:9660,10.0.0.2,101", v4), ZOR_OK);
  Bytes want(36, 0);
  Put(want, 0, 20, 4);
  Put(want, 4, 30, 4);
  want[8] = 10;
  want[11] = 1;
  Put(want, 24, 9660, 2);
  Put(want, 26, 70000, 4); /* unaligned */
  want[30] = 1;
  want[31] = 0;
  Put(want, 32, 101, 4);
  EXPECT_EQ(Of(v4.config), want);
  EXPECT_EQ(Of(v4.switchAddr), (Bytes{10, 0, 0, 2}));
  EXPECT_EQ(v4.enable, 1);

  IpfixGlobal v6;
  ASSERT_EQ(Ipfix_ParseGlobal("1,20,20,0,0,[fe80::1001]:9660", v6), ZOR_OK);
  want.assign(36, 0);
  Put(want, 0, 20, 4);
  Put(want, 4, 20, 4);
  want[8] = 0xfe;
  want[9] = 0x80;
  want[22] = 0x10;
  want[23] = 0x01;
  Put(want, 24, 9660, 2);
  want[31] = 1;
  EXPECT_EQ(Of(v6.config), want);
  EXPECT_EQ(Of(v6.switchAddr), (Bytes{0, 0, 0, 0}));

  /* One number after the collector is the observation domain, not an address. */
  IpfixGlobal domain;
  ASSERT_EQ(Ipfix_ParseGlobal("1,20,20,0,0,10.0.0.1:9660,101", domain), ZOR_OK);
  EXPECT_EQ(Of(domain.config)[32], 101);
  EXPECT_EQ(Of(domain.switchAddr), (Bytes{0, 0, 0, 0}));
}

TEST(Overlay, InstanceAndParameterLists) {
  ByteWriter instances(0);
  ASSERT_EQ(Overlay_Build("1,classA;2,classB", true, instances), ZOR_OK);
  Bytes want(4 + 2 * 36, 0);
  Put(want, 0, 2, 4);
  Put(want, 4, 1, 4);
  PutText(want, 8, "classA");
  Put(want, 40, 2, 4);
  PutText(want, 44, "classB");
  EXPECT_EQ(Of(instances), want);

  ByteWriter params(0);
  ASSERT_EQ(Overlay_Build("1,0x10;2,032;3,0x1ffffffff", false, params), ZOR_OK);
  want.assign(4 + 3 * 12, 0);
  Put(want, 0, 3, 4);
  Put(want, 4, 1, 4);
  Put(want, 8, 16, 8);
  Put(want, 16, 2, 4);
  Put(want, 20, 26, 8);
  Put(want, 28, 3, 4);
  Put(want, 32, 0xffffffff, 8); /* only the low 32 bits are kept */
  EXPECT_EQ(Of(params), want);
}

TEST(Dvfilter, FiltersWithTheirParametersBackToBack) {
  ByteWriter value(0);
  Quietly([&] {
    ASSERT_EQ(Dvfilter_Build("0,filterA,OPEN,1:alpha,2:beta;3,filterB,closed;", value), ZOR_OK);
  });
  Bytes want(4 + 52 + 2 * 260 + 52 + 52, 0);
  Put(want, 0, 3, 4);
  PutText(want, 8, "filterA");
  Put(want, 48, 2, 4);
  Put(want, 52, 1, 4);
  Put(want, 56, 1, 4);
  PutText(want, 60, "alpha");
  Put(want, 316, 2, 4);
  PutText(want, 320, "beta");
  Put(want, 576, 3, 4);
  PutText(want, 580, "filterB");
  /* filterB: no parameters, onFailure close; the text's trailing ';' adds a zero record. */
  EXPECT_EQ(Of(value), want);

  ByteWriter cut(0);
  Quietly([&] {
    ASSERT_EQ(Dvfilter_Build(
                  ("1," + std::string(60, 'n') + ",OPEN,7:" + std::string(300, 'v')).c_str(), cut),
              ZOR_OK);
  });
  const Bytes got = Of(cut);
  ASSERT_EQ(got.size(), 4u + 52 + 260);
  EXPECT_EQ(std::string(got.begin() + 8, got.begin() + 48), std::string(39, 'n') + '\0');
  EXPECT_EQ(std::string(got.begin() + 60, got.begin() + 316), std::string(255, 'v') + '\0');
}

TEST(PortPolicyParsers, HostileTextsAreRefusedOrReadWithinTheirBounds) {
  const std::string many(5000, ',');
  const std::string semis(5000, ';');
  const std::string nines(400, '9');
  const std::vector<std::string> texts = {
      "",
      ",",
      ";",
      ":",
      "[",
      "]",
      "=",
      many,
      semis,
      nines,
      "1," + nines,
      "-1,-1,-1,-1,-1,-1,-1,-1,-1,-1,-1,-1",
      "1,2,3,4,5,[" + std::string(300, ':') + "]:1",
      "1,2,3,4,5,[::1]",
      "1,2,3,4,5,[::1]:",
      "1,2,3,4,5,1.2.3.4:5," + nines,
      "1,2,3,4,5,1.2.3.4:5,1.2.3",
      "0,a,OPEN," + std::string(17 * 4, ','),
      "0,a,OPEN,1:" + std::string(1000, 'x'),
      "1,\xff\xfe;2,\xc0\x80",
      "1,2;3",
      std::string("1,a\0b", 5),
  };
  for (const std::string &text : texts) {
    const char *t = text.c_str();
    Quietly([&] {
      ShaperGroup groups[SHAPER_GROUPS];
      const ZOR_ReturnStatus shaper = Shaper_Parse(t, groups);
      EXPECT_TRUE(shaper == ZOR_OK || shaper == ZOR_BAD_PARAM) << text;
      IpfixGlobal ipfix;
      const ZOR_ReturnStatus global = Ipfix_ParseGlobal(t, ipfix);
      EXPECT_TRUE(global == ZOR_OK || global == ZOR_BAD_PARAM) << text;
      for (bool instanceForm : {true, false}) {
        ByteWriter overlay(0);
        const ZOR_ReturnStatus o = Overlay_Build(t, instanceForm, overlay);
        EXPECT_TRUE(o == ZOR_OK || o == ZOR_BAD_PARAM) << text;
      }
      ByteWriter filter(0);
      const ZOR_ReturnStatus f = Dvfilter_Build(t, filter);
      EXPECT_TRUE(f == ZOR_OK || f == static_cast<ZOR_ReturnStatus>(DVFILTER_PARSE_FAILED)) << text;
    });
  }
}

}  // namespace
