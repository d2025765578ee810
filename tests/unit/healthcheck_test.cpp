// SPDX-License-Identifier: Apache-2.0
/*
 * healthcheck_test.cpp --
 *
 *    The printers of the health-check values and of the per-port check
 *    results, on values built by the range parser and by hand, including
 *    short values and results whose counts disagree with their length.
 */

#include "props/healthcheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "printing.h"

namespace {

using printing::Bytes;
using printing::Print;

/* The bitmap that VlanBitmap_Parse builds from text (its "set vlan" lines are dropped). */
Bytes Bitmap(const char *text) {
  Bytes bitmap(VLAN_BITMAP_LEN);
  printing::Stdout([&] { EXPECT_EQ(VlanBitmap_Parse(text, bitmap.data()), 0) << text; });
  return bitmap;
}

struct PrintCase {
  const char *what;
  PropPrinter print;
  Bytes value;
  std::string out;
};

TEST(HealthCheckPrint, DeployParamAndRanges) {
  Bytes longer = Bitmap("4094");
  longer.push_back(0xff); /* bits past VLAN 4095 are not part of the bitmap */
  const std::string ranges = "\t\tk:\n\t\t\tranges =";
  const std::string policy = "\t\t\tpropType = POLICY \n";
  const std::vector<PrintCase> cases = {
      {"enabled byte other than 1",
       Prop_PrintCheckDeploy,
       {2, 0x1e, 0, 0, 0},
       "\t\tk:\n\t\t\tstatus is Disabled\n\t\t\tinterval is 30 minutes\n"},
      {"deploy cut in its interval",
       Prop_PrintCheckDeploy,
       {1, 5, 0},
       "\t\tk:\n\t\t\tstatus is Enabled\n"},
      {"only four bytes are read", Prop_PrintTeamCheckParam, {0, 0, 0, 0, 1}, "\t\tk: NonIPHASH\n"},
      {"empty parameter", Prop_PrintTeamCheckParam, {}, "\t\tk: NonIPHASH\n"},
      {"VLAN 0 and adjacent items merge", Prop_PrintVlanRanges, Bitmap("0,1,2,7"),
       ranges + " 0-2 7\n" + policy},
      {"no bit set", Prop_PrintVlanRanges, Bitmap(""), ranges + "\n" + policy},
      {"short bitmap", Prop_PrintVlanRanges, {0x80, 0x01}, ranges + " 7-8\n" + policy},
      {"longer value", Prop_PrintVlanRanges, longer, ranges + " 4094\n" + policy},
  };
  for (const PrintCase &c : cases) {
    EXPECT_EQ(Print(c.print, c.value, c.print == Prop_PrintVlanRanges ? 0x08 : 0x10), c.out)
        << c.what;
  }
}

TEST(HealthCheckPrint, ResultsCheckTheirLength) {
  /* A = 1 (1-100), B = 1 (200-200). */
  const Bytes one = {1, 0, 1, 0, 1, 0, 100, 0, 200, 0, 200, 0};
  /* A = 2 (5, 7-9), B = 0. */
  const Bytes two = {2, 0, 0, 0, 5, 0, 5, 0, 7, 0, 9, 0};
  Bytes extra = one;
  extra.resize(16);
  const std::vector<PrintCase> cases = {
      {"MTU words", Prop_PrintMtuCheckResult, one,
       "\t\tAllowed MTU:1-100\n\t\tDisallowed MTU:200\n"},
      {"two in the first list", Prop_PrintVlanCheckResult, two,
       "\t\tTrunked VLAN:5,7-9\n\t\tUntrunked VLAN:\n"},
      {"longer than the counts", Prop_PrintVlanCheckResult, extra, "\t\tBad VLAN result!\n"},
      {"counts that lie",
       Prop_PrintVlanCheckResult,
       {0xff, 0xff, 0xff, 0xff, 1, 0, 1, 0},
       "\t\tBad VLAN result!\n"},
      {"empty", Prop_PrintVlanCheckResult, {}, "\t\tBad VLAN result!\n"},
  };
  for (const PrintCase &c : cases) {
    EXPECT_EQ(Print(c.print, c.value), c.out) << c.what;
  }
}

}  // namespace
