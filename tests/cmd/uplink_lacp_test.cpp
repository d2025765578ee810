// SPDX-License-Identifier: Apache-2.0
/*
 * uplink_lacp_test.cpp --
 *
 *    Transcripts of the uplink commands (-U, -X, -L), --setLACP and
 *    --configLAG: in file mode on a host without the kernel module, where
 *    the commands that read the kernel fail with its status; in kernel
 *    mode against a private zorcored, with injected failures and port
 *    states set through its control interface; and in file mode beside a
 *    running zorcored.
 */

#include <string>
#include <vector>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string GLOBAL_LIST = "com.corvane.common.uplinkPorts";
const std::string HOST_UPLINKS = "com.corvane.common.host.uplinkPorts";
const std::string LACP = "com.corvane.etherswitch.lacp";
const std::string EXTRA = "com.corvane.common.host.lacp.extraconfig";

/* An uplink list as the listing shows it. */
std::string List(const std::string &key, const std::string &names) {
  return Decoded(key + ":", "\t\t\t" + names + "\n");
}

/* A port made by -U or --setLACP: a new etherswitch port with the uplink VLAN policy. */
std::string UplinkPort(const std::string &name) {
  return NewPortWithVlan(name, ETHER_VLAN,
                         Decoded(ETHER_VLAN + " = Guest VLAN tagging", "\t\t\tranges = 1-4094\n"));
}

std::string Teaming(const std::string &key, const std::string &policy, const std::string &link,
                    const std::string &active) {
  return "\t\t" + key + ":\n\t\t\tload balancing = " + policy + "\n\t\t\tlink selection =" + link +
         "\n\t\t\tlink behavior = notify switch; best effort on failure; shotgun on failure;\n"
         "\t\t\tactive =" +
         active + "\n\t\t\tstandby =\n\t\t\tpropType = CONFIG \n";
}

std::string Lag(const std::string &name, const std::string &key, const std::string &mode,
                const std::string &policy, int ports) {
  return "\t\t\tlag name:\t\t\t" + name + "\n\t\t\tlag key:\t\t\t" + key + "\n\t\t\tmode:\t\t\t\t" +
         mode + "\n\t\t\tload balance policy:\t\t" + policy + "\n\t\t\tlag port number:\t\t" +
         std::to_string(ports) + "\n\n";
}

const std::string EXTRA_LAG1 =
    "\t\t" + EXTRA +
    ":\n\t\t\tlag name:\t\t\tlag1\n\t\t\tlag timeout:\t\t\tfast\n"
    "\t\t\tport timeout:\t\t\tuplink0/slow\n\n\t\t\tpropType = CONFIG \n";

class UplinkFileMode : public TranscriptTest {};

TEST_F(UplinkFileMode, CommandsEditTheFileAndKernelReadsFail) {
  const std::string head = Switch(DVS0_ID, "dvs0", "etherswitch");
  const std::string port7 =
      NewPort("7", ETHER_VLAN) + Teaming("com.corvane.etherswitch.port.teaming",
                                         "first uplink (i.e. explicit)",
                                         " link state up; beacon state ok;", " uplink0, uplink1,");
  const std::string noKernel = NK + OP_FAILED + "0xbad0101\n";
  MakeFileSwitch({}, "-O 5 dvs0");
  Check({
      {"-f $F -U 2 dvs0", 0, "", NK},
      {"-f $F -U 0 dvs0", 255, "Unsupported number of uplink ports 0, outside 1-32\n", NK},
      {"-f $F -U 33 dvs0", 255, "Unsupported number of uplink ports 33, outside 1-32\n", NK},
      {"-f $F -A -p 7 dvs0", 0, "", NK},
      {"-f $F -L uplink0,uplink1 -t 4 -c -p 7 dvs0", 0, "", NK},
      {"-f $F -L uplink0 -p 9 dvs0", 3, "", NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F -l dvs0", 0,
       head + List(GLOBAL_LIST, "uplink0, uplink1") + HOST_LIST +
           List(HOST_UPLINKS, "uplink0, uplink1") + UplinkPort("uplink0") + UplinkPort("uplink1") +
           port7,
       NK},
      /* These read the kernel in file mode too. */
      {"-f $F -X -p uplink1 dvs0", 1, "", noKernel},
      {"-f $F --setLACP 'v2*lag1;1;2;1;3;' dvs0", 1, "", noKernel},
      /* Deleting every LAG of a file clears its lists without the kernel. */
      {"-f $F --setLACP 'v2*' dvs0", 0, "", NK},
      {"-f $F --configLAG '*lag1;1;1:1,2:uplink0.2,;' dvs0", 0, "", NK},
      {"-f $F --configLAG '*lag2;2;;' dvs0", 7, "",
       NK + "Invalid or duplicated configure items\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F --configLAG '*lag2;2;2:" + std::string(81, 'p') + ".1,;' dvs0", 7, "",
       NK + "DV port name can't be longer than 80\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F --configLAG '*lag2' dvs0", 0, "", NK}, /* no LAG: the list is rewritten as it is */
      {"-f $F -l dvs0", 0,
       head + HOST_LIST + EXTRA_LAG1 + UplinkPort("uplink0") + UplinkPort("uplink1") + port7, NK},
      {"-f $F --configLAG '*' dvs0", 0, "", NK},
      {"-f $F --configLAG '*lag2' dvs0", 215, "",
       NK + "Invalid LAG list\n" + OP_FAILED + "0xbad00d7\n"},
  });
  /* Teaming lists that do not fit (the unit test has each kind) end in the usage text and write
   * nothing. */
  std::string names33 = "u0";
  for (int i = 1; i < 33; i++) names33 += ",u" + std::to_string(i);
  ExpectUsage("-f $F -L 'a b' -p 7 dvs0", NK);
  ExpectUsage("-f $F -L " + names33 + " -p 7 dvs0", NK);
  ExpectUsage("-f $F -L uplink0 dvs0", NK + "port name not specified.\n");
  Check({{"-f $F -l dvs0", 0,
          head + HOST_LIST + UplinkPort("uplink0") + UplinkPort("uplink1") + port7, NK}});
}

class UplinkKernelMode : public KernelTest {
 protected:
  /* -r of a global or host property of dvs0, expecting out. */
  Row Read(const std::string &key, const std::string &target, const std::string &out) {
    return {"-r " + key + " -p " + target + " dvs0", 0, out, ""};
  }
};

TEST_F(UplinkKernelMode, UplinkPortsAndTeaming) {
  const Row bothLists02[] = {
      Read(GLOBAL_LIST, "globalPropList", List(GLOBAL_LIST, "uplink0, uplink2")),
      Read(HOST_UPLINKS, "hostPropList", List(HOST_UPLINKS, "uplink0, uplink2"))};
  MakeKernelSwitch({}, "-O 5 dvs0");
  CheckKernel({
      {"-a --className vswitch dvs1", 0, "", ""},
      {"-U 3 dvs0", 0, "", ""},
      {"-X -p uplink1 dvs0", 0, "", ""},
      bothLists02[0],
      bothLists02[1],
      {"-X -p uplink1 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      /* A port in neither list is only removed. */
      {"-A -p 7 dvs0", 0, "", ""},
      {"-X -p 7 dvs0", 0, "", ""},
      {"--cmdExec portcount dvs0", 0, "2\n", ""},
  });
  CtlOk("fail PortRemove 0xbad0001 1");
  CheckKernel({
      {"-X -p uplink2 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      bothLists02[0],
      bothLists02[1],
  });
  /* Without an alias the global list cannot name the port; only the host list loses it. */
  CtlOk("clear-prop dvs0 uplink2 com.corvane.common.port.alias");
  CtlOk("fail HostPropGet 0xbad0001 1");
  CheckKernel({
      {"-X -p uplink2 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"-X -p uplink2 dvs0", 0, "", ""},
      bothLists02[0],
      Read(HOST_UPLINKS, "hostPropList", List(HOST_UPLINKS, "uplink0")),
      /* A vswitch takes the policy on the switch, whatever -p says. */
      {"-L uplink0 -t 1 -p 7 dvs1", 0, "", ""},
      {"-r com.corvane.vswitch.teaming -p globalPropList dvs1", 0,
       Teaming("com.corvane.vswitch.teaming", "source ip address", " link state up;", " uplink0,"),
       ""},
  });
}

TEST_F(UplinkKernelMode, LacpGroupsFollowTheStoredTable) {
  const std::string portRemove =
      "Port lag1-0 should be removed before deleting lacp groups on fenn " + DVS0_ID + "\n";
  std::string lags65;
  for (int i = 0; i < 65; i++)
    lags65 += "*l" + std::to_string(i) + ";" + std::to_string(i + 1) + ";0;1;1;";
  MakeKernelSwitch({}, "-O 5 dvs0");
  CheckKernel({
      {"-U 1 dvs0", 0, "", ""},
      {"--setLACP 'v2*lag1;1;2;1;3;*lag2;22;1;2;20;' dvs0", 0, "", ""},
      {"--cmdExec portcount dvs0", 0, "4\n", ""},
      Read(LACP, "globalPropList",
           Decoded(LACP + ":", Lag("lag1", "1", "active", "Src and dst mac", 2) +
                                   Lag("lag2", "22", "passive", "Src portID", 1))),
      Read(GLOBAL_LIST, "globalPropList", List(GLOBAL_LIST, "lag1-0, lag1-1, lag2-0")),
      Read(HOST_UPLINKS, "hostPropList", List(HOST_UPLINKS, "lag1-0, lag1-1, lag2-0")),
      /* The same table again changes no port. */
      {"--setLACP 'v2*lag1;1;2;1;3;*lag2;22;1;2;20;' dvs0", 0, "", ""},
      /* lag1 shrinks, lag2 goes. */
      {"--setLACP 'v2*lag1;1;1;2;3;' dvs0", 0, "", ""},
      {"--cmdExec portcount dvs0", 0, "2\n", ""},
      {"-r com.corvane.common.port.alias -p lag1-1 dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
      Read(GLOBAL_LIST, "globalPropList", List(GLOBAL_LIST, "lag1-0")),
      {"--setLACP 'v2*lagX;1;1;1;3;' dvs0", 32, "",
       "Not support to change lag name by brakk\nFailed to create lag ports: 0xbad0020\n" +
           OP_FAILED + "0xbad0020\n"},
      {"--setLACP 'v2*lag1;1;1;1;3' dvs0", 7, "",
       "Each LAG should have 5 fields, not 4.\n" + OP_FAILED + "0xbad0007\n"},
      {"--setLACP 'v2*lag1;1;1;1;3;*lag2;2;32;1;3;' dvs0", 32, "",
       "Unsupported number of lag ports 33, range 0-32\n" + OP_FAILED + "0xbad0020\n"},
      {"--setLACP 'v2" + lags65 + "' dvs0", 32, "",
       "No more than 64 LAGs are supported.\n" + OP_FAILED + "0xbad0020\n"},
      {"--setLACP 'v3*lag1;1;1;1;3;' dvs0", 7, "",
       "Only support LACP prefix \"v2\"\n" + OP_FAILED + "0xbad0007\n"},
  });
  /* The switch module sets a port's LACP state; the listing decodes it. */
  CtlOk("set-prop dvs0 lag1-0 com.corvane.etherswitch.port.lacp u8:1,zero:3,u32:2");
  CtlOk("fail PortRemove 0xbad0001 2");
  CheckKernel({
      {"-r com.corvane.etherswitch.port.lacp -p lag1-0 dvs0", 0,
       "\t\tcom.corvane.etherswitch.port.lacp:\n\t\t\tstatus = enabled\n\t\t\tmode = passive\n",
       ""},
      {"--setLACP 'v2*lag1;1;0;1;3;' dvs0", 1, "",
       portRemove + "Failed to create lag ports: 0xbad0001\n" + OP_FAILED + "0xbad0001\n"},
      {"--setLACP 'v2*' dvs0", 1, "", portRemove + OP_FAILED + "0xbad0001\n"},
      Read(LACP, "globalPropList",
           Decoded(LACP + ":", Lag("lag1", "1", "passive", "Src and dst mac", 1))),
      {"--setLACP 'V2*' dvs0", 0, "", ""},
      {"--cmdExec portcount dvs0", 0, "1\n", ""},
      {"-r " + LACP + " -p globalPropList dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
      {"--setLACP 'v2*' dvs0", 0, "", ""},
  });
}

TEST_F(UplinkKernelMode, LagExtraConfiguration) {
  MakeKernelSwitch();
  CheckKernel({
      {"--configLAG '*lag1;1;1:1,2:uplink0.2,;' dvs0", 0, "", ""},
      Read(EXTRA, "hostPropList", EXTRA_LAG1),
      {"--configLAG 'lag1;1;1:1,;' dvs0", 7, "",
       "Config must begin with *\n" + OP_FAILED + "0xbad0007\n"},
      {"--configLAG '*lag1;1;1:3,;' dvs0", 7, "",
       "Invalid timeout value, should be 1(fast) or 2(slow)\n" + OP_FAILED + "0xbad0007\n"},
  });
  CtlOk("fail HostPropGet 0xbad0001 1");
  CheckKernel({
      {"--configLAG '*lag1;1;1:2,;' dvs0", 1, "",
       "Failed to get property(" + EXTRA + ") data\n" + OP_FAILED + "0xbad0001\n"},
      {"--configLAG '*' dvs0", 0, "", ""},
      {"--configLAG '*' dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
  });
}

/* With a kernel on the host, file mode creates the LAG ports in the file. */
TEST_F(UplinkKernelMode, FileModeBesideARunningKernel) {
  MakeFileSwitch({}, "-O 5 dvs0", Kernel());
  CheckKernel({
      {"-f $F --setLACP 'v2*lag1;1;2;1;3;' dvs0", 0, "", ""},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0", "etherswitch") + List(GLOBAL_LIST, "lag1-0, lag1-1") +
           Decoded(LACP + ":", Lag("lag1", "1", "active", "Src and dst mac", 2)) + HOST_LIST +
           List(HOST_UPLINKS, "lag1-0, lag1-1") + UplinkPort("lag1-0") + UplinkPort("lag1-1"),
       ""},
      /* The kernel does not know the switch: the file's port goes, its lists stay. */
      {"-f $F -X -p lag1-1 dvs0", 0, "", ""},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0", "etherswitch") + List(GLOBAL_LIST, "lag1-0, lag1-1") +
           Decoded(LACP + ":", Lag("lag1", "1", "active", "Src and dst mac", 2)) + HOST_LIST +
           List(HOST_UPLINKS, "lag1-0, lag1-1") + UplinkPort("lag1-0"),
       ""},
  });
}

}  // namespace
