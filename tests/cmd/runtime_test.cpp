// SPDX-License-Identifier: Apache-2.0
/*
 * runtime_test.cpp --
 *
 *    The listing of the run-time values that the host writes: set through
 *    zorcored's control interface on a kernel switch and listed in kernel
 *    mode.
 */

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string RV = "RUNTIME VOLATILE ";

class RuntimeValues : public KernelSwitchTest<7> {};

TEST_F(RuntimeValues, ListingDecodesWhatTheHostWrote) {
  CtlOk("set-prop dvs0 globalPropList com.corvane.common.upgrade u8:2");
  CtlOk("set-prop dvs0 globalPropList com.corvane.common.portset.mtu i32:9000 CONFIG");
  CtlOk("set-prop dvs0 globalPropList com.corvane.common.serviceinstance str:serviceinstances/");
  CtlOk(
      "set-prop dvs0 hostPropList com.corvane.common.host.volatile.overlay.status "
      "u32:2,str:tunnel");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.volatile.status u64:3,zero:8,u32:7,str:vm-a");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.volatile.ptstatus u8:0,zero:7,u64:3");
  CtlOk(
      "set-prop dvs0 7 com.corvane.common.port.statistics "
      "u64:1,u64:2,u64:3,u64:4,u64:5,u64:6,u64:7,u64:8,u64:9,u64:10,u64:11,u64:12,u64:13,"
      "u64:14,u64:15,u64:16");
  CtlOk(
      "set-prop dvs0 7 com.corvane.common.port.volatile.vlanchkresult "
      "u16:1,u16:1,u16:1,u16:100,u16:200,u16:200");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.volatile.mtuchkresult u16:1,u16:1,u16:1500");
  CtlOk(
      "set-prop dvs0 7 com.corvane.common.port.serviceprofile "
      "'str:<serviceprofiles><od><k>name</k><v>web</v></od></serviceprofiles>'");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.volatile.cleanupBarrier i32:-1");

  const std::string statistics =
      "\t\tcom.corvane.common.port.statistics:\n"
      "\t\t\tpktsInUnicast = 1\n\t\t\tbytesInUnicast = 2\n\t\t\tpktsInMulticast = 3\n"
      "\t\t\tbytesInMulticast = 4\n\t\t\tpktsInBroadcast = 5\n\t\t\tbytesInBroadcast = 6\n"
      "\t\t\tpktsOutUnicast = 7\n\t\t\tbytesOutUnicast = 8\n\t\t\tpktsOutMulticast = 9\n"
      "\t\t\tbytesOutMulticast = 10\n\t\t\tpktsOutBroadcast = 11\n\t\t\tbytesOutBroadcast = 12\n"
      "\t\t\tpktsInDropped = 13\n\t\t\tpktsOutDropped = 14\n\t\t\tpktsInException = 15\n"
      "\t\t\tpktsOutException = 16\n\t\t\tpropType = " +
      RV + "\n";
  const std::string expected =
      Switch(DVS0_ID, "dvs0") + "\t\tcom.corvane.common.upgrade = 2, \tpropType = " + RV + "\n" +
      Text("com.corvane.common.portset.mtu", "9000") +
      "\t\t\tcom.corvane.common.serviceinstance:\n\t\t\tEmpty Configuration\n\t\t\tpropType = " +
      RV + "\n" + HOST_LIST + "\t\tcom.corvane.common.host.volatile.overlay.status = red tunnel, " +
      "\tpropType = " + RV + "\n" + NewPort("7") +
      "\t\tcom.corvane.common.port.volatile.status = inUse linkUp portID=7 vm-a propType = " + RV +
      "\n" +
      "\t\tcom.corvane.common.port.volatile.ptstatus = noPassthruReason=3, \tpropType = " + RV +
      "\n" + statistics + "\t\tTrunked VLAN:1-100\n\t\tUntrunked VLAN:200\n" +
      "\t\tBad MTU result!\n" +
      "\t\t\tcom.corvane.common.port.serviceprofile:\n\t\t\tService Profiles\n"
      "\t\t\tProfile 1:\n\t\t\t\tname = web\n\t\t\tpropType = " +
      RV + "\n" + Text("com.corvane.common.port.volatile.cleanupBarrier", "-1", RV);
  CheckKernel({{"-l dvs0", 0, expected, ""}});
}

}  // namespace
