// SPDX-License-Identifier: Apache-2.0
/*
 * vlan_test.cpp --
 *
 *    Transcripts of -v (port VLAN policy and priority) and -V (private-VLAN
 *    map) in file mode and kernel mode, the listing of what they wrote, the
 *    volatile VLAN that the kernel reports, and kernel writes that fail.
 */

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string VS_PRIORITY = "com.corvane.vswitch.port.priority";
const std::string PVLAN_MAP_LINES =
    "\t\t\t(100, 101) - isolated\n\t\t\t(100, 102) - community\n\t\t\t(100, 100) - promiscuous\n";
const std::string PVLAN_MAP_OUT =
    "scanning 3 entries\n"
    "pvlan map entry: primary=100, secondary=101, type=2\n"
    "pvlan map entry: primary=100, secondary=102, type=3\n"
    "pvlan map entry: primary=100, secondary=100, type=1\n";

class VlanFile : public FileSwitchTest<7> {
 protected:
};

TEST_F(VlanFile, SetsPolicyPriorityAndMapByClass) {
  const std::string bad = "bad vlan specification: ',' outside the range field: ";
  Check({
      {"-f $F -a --className etherswitch dvs1", 0, "", NK},
      {"-f $F -A -p 3 dvs1", 0, "", NK},
      {"-f $F -v '10;t5;100-200,300' -p 7 dvs0", 0, "", NK},
      {"-f $F -v '20;x2p' -p 3 dvs1", 0, "bad flag/priority character: x\n", NK},
      {"-f $F -V '100,101,i;100,102,c;100,100,p' dvs0", 0, PVLAN_MAP_OUT, NK},
      {"-f $F -V 1,2 dvs1", 0, "scanning 0 entries\n", NK},
      /* Refused before anything is written: the listing below shows none of these. */
      {"-f $F -v 5 -p 9 dvs0", 3, "", NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F -v '10,20;t' -p 7 dvs0", 7, "", NK + bad + "10,20;t\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F -V '1,2,i,3,4,c' dvs0", 7, "scanning 2 entries\n",
       NK + "bad pvlan map: entry 1 is not ended by ';'\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F -V 100,101,x dvs0", 255, "scanning 1 entries\nbad mapping type: x",
       NK + OP_FAILED + "0xffffffff\n"},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0") + Decoded("com.corvane.vswitch.pvlanMap:", PVLAN_MAP_LINES) +
           HOST_LIST +
           NewPortWithVlan(
               "7", VSWITCH_VLAN,
               Decoded(VSWITCH_VLAN + " = Guest VLAN tagging", "\t\t\tranges = 100-200 300\n")) +
           Hex(VS_PRIORITY, "0x 5. 0 <repeats 3 times>") + Switch(DVS1_ID, "dvs1", "etherswitch") +
           Decoded("com.corvane.etherswitch.pvlanMap:", "") + HOST_LIST +
           NewPortWithVlan("3", ETHER_VLAN, Decoded(ETHER_VLAN + " = PVLAN 20", "")) +
           Hex("com.corvane.etherswitch.port.priority", "0x 2. 0 <repeats 3 times>"),
       ""},
  });
}

class VlanKernel : public KernelSwitchTest<7> {};

TEST_F(VlanKernel, WritesTheKernelListsTheVolatileVlanAndReportsFailedWrites) {
  const std::string guest = Decoded(VSWITCH_VLAN + " = Guest VLAN tagging", "\t\t\tranges = 0\n");
  CheckKernel({
      {"-v '10;t;' -p 7 dvs0", 0, "", ""},
      {"-r " + VSWITCH_VLAN + " -p 7 dvs0", 0, guest, ""},
      {"-v 5 -p 9 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"-v '1;,' -p 7 dvs0", 7, "",
       "bad vlan specification: ',' outside the range field: 1;,\n" + OP_FAILED + "0xbad0007\n"},
      {"-V '100,101,i;100,102,c;100,100,p' dvs0", 0, PVLAN_MAP_OUT, ""},
  });
  CtlOk(
      "set-prop dvs0 7 com.corvane.common.port.volatile.vlan u16:12,u16:2,u16:5,u16:5,u16:6,u16:8");
  CheckKernel({
      {"-l dvs0", 0,
       Switch(DVS0_ID, "dvs0") + Decoded("com.corvane.vswitch.pvlanMap:", PVLAN_MAP_LINES) +
           HOST_LIST + NewPortWithVlan("7", VSWITCH_VLAN, guest) +
           Decoded("com.corvane.common.port.volatile.vlan = VLAN 12", "\t\t\tranges = 5 6-8\n",
                   "RUNTIME VOLATILE "),
       ""},
  });

  /* The priority is written first and its failure is not reported; the policy still goes in. */
  CtlOk("fail PortDataSet 0xbad0017 1");
  CheckKernel({
      {"-v '30;4' -p 7 dvs0", 0, "", ""},
      {"-r " + VSWITCH_VLAN + " -p 7 dvs0", 0, Decoded(VSWITCH_VLAN + " = VLAN 30", ""), ""},
      {"-r " + VS_PRIORITY + " -p 7 dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
  });
  CtlOk("fail PortDataSet 0xbad0017");
  CtlOk("fail GlobalPropSet 0xbad0001");
  CheckKernel({
      {"-v 40 -p 7 dvs0", 23, "", OP_FAILED + "0xbad0017\n"},
      {"-V 1,2,p dvs0", 1, "scanning 1 entries\npvlan map entry: primary=1, secondary=2, type=1\n",
       OP_FAILED + "0xbad0001\n"},
  });
}

}  // namespace
