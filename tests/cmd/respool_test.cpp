// SPDX-License-Identifier: Apache-2.0
/*
 * respool_test.cpp --
 *
 *    Transcripts of -k, -K, -z, -j and -H: they always write the kernel's
 *    copy of the switch, so kernel mode lists what they wrote, file mode
 *    beside a running zorcored writes the kernel and leaves the file
 *    alone, and file mode on a host without the kernel module fails with
 *    its status. A running -g prints the event that -H posts.
 */

#include <signal.h>

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string POOLS =
    Decoded("com.corvane.common.respools.list:", "\t\t\tgold\n\t\t\tsilver\n");
const std::string SCHED_ON = Decoded("com.corvane.common.respools.sched:", "\t\t\tactive\n");
const std::string SCHED_OFF = Decoded("com.corvane.common.respools.sched:", "\t\t\tinactive\n");
const std::string YELLOW =
    "\t\tcom.corvane.common.host.volatile.status = yellow uplink lost, \tpropType = CONFIG \n";
const std::string CFG =
    Decoded("com.corvane.common.port.respools.cfg:", "\t\t\tgold:100:50:-1:3\n");
const std::string ASSOC = Decoded("com.corvane.common.port.respool.assoc:", "\t\t\tgold\n");

class RespoolKernel : public KernelTest {};

TEST_F(RespoolKernel, CommandsWriteTheKernelAndTheListingShowsThem) {
  const std::string head = Switch(DVS0_ID, "dvs0");
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"-k 'gold;silver' dvs0", 0, "", ""},
      {"-j activated dvs0", 0, "", ""},
      {"-K gold:100:50:-1:3 -p 7 dvs0", 0, "", ""},
      {"-z gold -p 7 dvs0", 0, "", ""},
      {"-H 'yellow:uplink lost' dvs0", 0, "", ""},
      {"-l dvs0", 0, head + POOLS + SCHED_ON + HOST_LIST + YELLOW + NewPort("7") + CFG + ASSOC, ""},
      /* An empty pool ID removes the association; a second removal finds none. */
      {"-z '' -p 7 dvs0", 0, "", ""},
      {"-z '' -p 7 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"-j deactivate dvs0", 0, "", ""},
      {"-k '' dvs0", 0, "", ""},
      {"-l dvs0", 0,
       head + Decoded("com.corvane.common.respools.list:", "\t\t\t<none>\n") + SCHED_OFF +
           HOST_LIST + YELLOW + NewPort("7") + CFG,
       ""},
  });
  ExpectUsage("-K gold:1:2:3:4 dvs0", "port name not specified.\n", Kernel());
  ExpectUsage("-z gold dvs0", "port name not specified.\n", Kernel());
}

TEST_F(RespoolKernel, BadArgumentsAndFailedWritesAreReported) {
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"-K gold:100:50 -p 7 dvs0", 7, "",
       "Incorrect data format. Expect: pool:resv:share:limit:tag;...\n" + OP_FAILED +
           "0xbad0007\n"},
      {"-K gold:1:2:3:4 -p 9 dvs0", 3, "",
       "Fail to set the network resource pools configuration\n" + OP_FAILED + "0xbad0003\n"},
      {"-z gold -p 9 dvs0", 3, "",
       "Fail to associate to network resource pool gold\n" + OP_FAILED + "0xbad0003\n"},
      {"-l dvs0", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7"), ""},
  });
  CtlOk("fail GlobalPropSet 0xbad0001 2");
  CheckKernel({
      {"-k gold dvs0", 1, "",
       "Fail to set the network resource pools list\n" + OP_FAILED + "0xbad0001\n"},
      {"-j activate dvs0", 1, "",
       "Fail to activate network resource pools scheduling\n" + OP_FAILED + "0xbad0001\n"},
  });
}

TEST_F(RespoolKernel, FileModeWritesTheKernelNotTheFile) {
  MakeFileSwitch({"7"}, "dvs0", Kernel());
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"-f $F -k 'gold;silver' dvs0", 0, "", ""},
      {"-f $F -K gold:100:50:-1:3 -p 7 dvs0", 0, "", ""},
      {"-f $F -H 'yellow:uplink lost' dvs0", 0, "", ""},
      {"-f $F -l dvs0", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7"), ""},
      {"-l dvs0", 0, Switch(DVS0_ID, "dvs0") + POOLS + HOST_LIST + YELLOW + NewPort("7") + CFG, ""},
  });
}

TEST_F(RespoolKernel, HostStatusPostsItsEventEvenWhenTheWriteFails) {
  MakeKernelSwitch();
  Background listener = StartBrakk({"-g"});
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 1; }));
  CheckKernel({{"-H Red dvs0", 7, "", "Invalid color: Red\n" + OP_FAILED + "0xbad0007\n"}});
  CtlOk("fail HostPropSet 0xbad0001 1");
  CheckKernel({
      {"-H yellow:x dvs0", 1, "", "DVSZOR_HostPropSet failed\n" + OP_FAILED + "0xbad0001\n"},
      {"-H green dvs0", 0, "", ""},
  });
  const std::string event =
      "poll returned true\nreceived dvs event HostStatus change: dvswitch " + DVS0_ID + "\n";
  ASSERT_TRUE(WaitUntil([&] { return ReadFile(listener.outPath).size() >= 2 * event.size(); }));
  EXPECT_EQ(StopBackground(listener, SIGTERM), event + event);
}

class RespoolNoKernel : public FileSwitchTest<7> {};

TEST_F(RespoolNoKernel, CommandsFailWithTheKernelsStatus) {
  const std::string noKernel = OP_FAILED + "0xbad0101\n";
  Check({
      {"-f $F -k gold dvs0", 1, "",
       NK + "Fail to set the network resource pools list\n" + noKernel},
      {"-f $F -z '' -p 7 dvs0", 1, "", NK + noKernel},
      {"-f $F -H green dvs0", 1, "failed to post dvs event: No kernel switch module on this host\n",
       NK + "DVSZOR_HostPropSet failed\n" + noKernel},
      /* A bad argument is refused before the kernel is asked. */
      {"-f $F -K gold -p 7 dvs0", 7, "",
       NK + "Incorrect data format.\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F -l dvs0", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7"), NK},
  });
}

}  // namespace
