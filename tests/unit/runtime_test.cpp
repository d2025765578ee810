// SPDX-License-Identifier: Apache-2.0
/*
 * runtime_test.cpp --
 *
 *    The printers of run-time state values on values built by hand: every
 *    layout in full, cut short, and the service text walk on well-formed
 *    and broken texts. Values live in exactly sized buffers so that the
 *    sanitizer build catches any read past them.
 */

#include "listing/runtime.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "printing.h"

namespace {

using printing::Bytes;

std::string Print(PropPrinter print, const Bytes &value) {
  return printing::Print(print, value, 0x24);
}

/* A service text with its NUL. */
Bytes Text(const std::string &text) {
  Bytes bytes(text.begin(), text.end());
  bytes.push_back(0);
  return bytes;
}

/* A port status: bits, port ID and name. */
Bytes PortStatus(uint8_t bits, uint8_t id, const char *name) {
  Bytes value(20 + strlen(name) + 1, 0xee);
  memset(value.data(), 0, 8);
  value[0] = bits;
  memset(value.data() + 16, 0, 4);
  value[16] = id;
  memcpy(value.data() + 20, name, strlen(name) + 1);
  return value;
}

struct PrintCase {
  const char *what;
  PropPrinter print;
  Bytes value;
  std::string out;
};

const std::string TYPE = "propType = RUNTIME VOLATILE \n";

TEST(RuntimePrint, FixedLayouts) {
  /* Two counters and part of a third; the second is above 2^63. */
  const Bytes stats = {1, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0x80, 3, 0};
  const std::vector<PrintCase> cases = {
      {"negative integer", Prop_PrintInt, {0xfe, 0xff, 0xff, 0xff, 9}, "\t\tk = -2 , \t" + TYPE},
      {"integer cut short", Prop_PrintInt, {1, 0}, "\t\tk = \n"},
      {"no code 256",
       Prop_PrintLinkStatus,
       {2, 0, 0, 1},
       "\t\tk =\n\t\t\tlink up; unknown speed/duplex 256\n\t\t\t" + TYPE},
      {"link status without code", Prop_PrintLinkStatus, {1, 0, 64}, "\t\tk =\n\t\t\tlink up;\n"},
      {"port in use, link up, blocked", Prop_PrintPortStatus, PortStatus(7, 9, "vm-a"),
       "\t\tk = inUse linkUp blocked portID=9 vm-a " + TYPE},
      {"free port ignores the rest", Prop_PrintPortStatus, PortStatus(6, 9, "x"), "\t\tk = free\n"},
      {"port name without NUL",
       Prop_PrintPortStatus,
       {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 'a', 'b'},
       "\t\tk = inUse portID=5 ab " + TYPE},
      {"port status without ID",
       Prop_PrintPortStatus,
       {1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
       "\t\tk = inUse\n"},
      {"port status cut in its bits", Prop_PrintPortStatus, {1, 0, 0}, "\t\tk =\n"},
      {"passthru active", Prop_PrintPassthruStatus, {0x08}, "\t\tk = passthru, \t" + TYPE},
      {"statistics cut short", Prop_PrintStatistics, stats,
       "\t\tk:\n\t\t\tpktsInUnicast = 1\n\t\t\tbytesInUnicast = 9223372036854775824\n"},
  };
  for (const PrintCase &c : cases) {
    EXPECT_EQ(Print(c.print, c.value), c.out) << c.what;
  }
}

TEST(RuntimePrint, ServiceTextWalk) {
  const std::string head = "\t\t\tk:\n";
  const std::string type = "\t\t\t" + TYPE;
  const std::string profile =
      "<serviceprofiles>\n <od> <k>name</k><v>web</v><k>port s</k><v>80</v></od>"
      "<od><k>n</k><v>db</v></od></serviceprofiles>";
  const std::string noClose = "<serviceprofiles><od><k>a</k><v>b</v></od>";
  const std::string longTag = "<serviceprofiles><" + std::string(32, 't') + ">";
  const std::string key127 = "<serviceinstances><od><k>" + std::string(127, 'k') + "</k>";
  const std::string key128 = "<serviceinstances><od><k>" + std::string(128, 'k') + "</k>";
  const std::vector<PrintCase> cases = {
      {"two profiles", Prop_PrintServiceProfiles, Text(profile),
       head +
           "\t\t\tService Profiles\n\t\t\tProfile 1:\n\t\t\t\tname = web\n"
           "\t\t\t\tports = 80\n\t\t\tProfile 2:\n\t\t\t\tn = db\n" +
           type},
      {"empty profile list", Prop_PrintServiceProfiles, Text("serviceprofiles/"),
       head + "\t\t\tempty\n" + type},
      {"no closing tag", Prop_PrintServiceProfiles, Text(noClose),
       head + "\t\t\tService Profiles\n\t\t\tProfile 1:\n\t\t\t\ta = b\n" + noClose + "\n" + type},
      {"tag of 32 characters", Prop_PrintServiceProfiles, Text(longTag),
       head + "\t\t\tService Profiles\n" + longTag + "\n" + type},
      {"key of 127 characters", Prop_PrintServiceInstances, Text(key127),
       head + "\t\t\tService Instances\n\t\t\tInstance 1:\n\t\t\t\t" + std::string(127, 'k') +
           " = " + key127 + "\n" + type},
      {"key of 128 characters", Prop_PrintServiceInstances, Text(key128),
       head + "\t\t\tService Instances\n\t\t\tInstance 1:\n" + key128 + "\n" + type},
      {"text without NUL, ending in a tag",
       Prop_PrintServiceProfiles,
       {'<', 'o', 'd'},
       head + "\t\t\tProfile 1:\n<od\n" + type},
      {"empty value", Prop_PrintServiceProfiles, {}, head + "\n" + type},
  };
  for (const PrintCase &c : cases) {
    EXPECT_EQ(Print(c.print, c.value), c.out) << c.what;
  }
}

}  // namespace
