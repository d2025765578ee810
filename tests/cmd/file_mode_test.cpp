// SPDX-License-Identifier: Apache-2.0
/*
 * file_mode_test.cpp --
 *
 *    Transcripts of file mode: a configuration file is initialised, given
 *    switches, ports and properties, edited and listed, on a host without
 *    the kernel switch module (so every switch name is first looked up as
 *    an alias in vain, and its ID is derived from the name).
 */

#include <fstream>

#include "transcript.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

class FileMode : public TranscriptTest {
 protected:
  std::string Failed(const char *status) { return NK + OP_FAILED + status + "\n"; }
};

TEST_F(FileMode, WhatAUserCanDo) {
  const std::string dvs0 = Switch(DVS0_ID, "dvs0");
  const std::string port7 = NewPort("7") +
                            Hex("com.corvane.common.port.speed", "0x28.23. 0 <repeats 2 times>") +
                            "\t\tcom.corvane.common.port.linkstatus =\n"
                            "\t\t\tlink up; 1000 Mb/s, full duplex\n\t\t\tpropType = CONFIG \n";
  const std::string dvs1 = Switch(DVS1_ID, "dvs1", "vswitch", 3) +
                           Hex("com.corvane.common.version", "0x64. 0 <repeats 3 times>") +
                           HOST_LIST + NewPortHighVersion("0") + LongProp() +
                           NewPortHighVersion("1") + LongProp() + NewPortHighVersion("2") +
                           LongProp();
  const std::string all = dvs0 + HOST_LIST + Text("hostKey", "true") + port7 + dvs1;
  Check({
      {"-f $F -i", 0, "", ""},
      {"-f $F -l", 0, "", ""},
      {"-f $F -a dvs0", 0, "", NK},
      {"-f $F -a -C -P 3 --className vswitch dvs1", 0, "", NK},
      {"-f $F -A -p 7 dvs0", 0, "", NK},
      {"-f $F -s com.corvane.common.port.speed=9000 -p 7 dvs0", 0, "", NK},
      {"-f $F -s myKey=abc -p globalPropList dvs0", 0, "", NK},
      {"-f $F -s hostKey -p hostPropList dvs0", 0, "", NK},
      {"-f $F -l dvs0", 0,
       dvs0 + Text("myKey", "abc") + HOST_LIST + Text("hostKey", "true") + NewPort("7") +
           Hex("com.corvane.common.port.speed", "0x28.23. 0 <repeats 2 times>"),
       NK},
      {"-f $F -u myKey -p globalPropList dvs0", 0, "", NK},
      {"-f $F -M up,1000 -p 7 dvs0", 0, "linkup/down = up\nspeed = 1000\n", NK},
      {"-f $F --setVersion 100 dvs1", 0, "", NK},
      {"-f $F -l", 0, all, ""},
      {"-f $F", 0, all, ""},
      {"-f $F -l dvs1", 0, dvs1, NK},
      {"-f $F -D -p 7 dvs0", 0, "", NK},
      {"-f $F -l dvs0", 0, dvs0 + HOST_LIST + Text("hostKey", "true"), NK},
      {"-f $F -d dvs0", 0, "", NK},
      {"-f $F -l", 0, dvs1, ""},
  });
}

TEST_F(FileMode, SwitchIdIsDerivedFromTheFirstFifteenCharacters) {
  const std::string id = "61 62 63 64 65 66 67 68-69 6a 6b 6c 6d 6e 6f 00";
  const std::string listed = Switch(id, "abcdefghijklmnopqrstuvwxyz") + HOST_LIST;
  Check({
      {"-f $F -i", 0, "", ""},
      {"-f $F -a abcdefghijklmnopqrstuvwxyz", 0, "", NK},
      {"-f $F -l abcdefghijklmnoZZZ", 0, listed, NK},
      {"-f $F -a abcdefghijklmno", 4, "", Failed("0xbad0004")},
      {"-f $F -n -l '" + id + "'", 0, listed, ""},
      {"-f $F -n -l '61 62 63 64 65 66 67 68-69 6A 6B 6C 6D 6E 6F 00'", 0, "", ""}, /* exact */
      {"-f $F -l abc", 0, "", NK}, /* no such switch: nothing listed */
      {"-f $F -A -p 1 nosuch", 255, "",
       NK + "Switch handle not found by id 6e 6f 73 75 63 68 00 00-00 00 00 00 00 00 00 00\n"},
      {"-f $F -n -a myid", 0, "", ""},
      {"-f $F -n -l myid", 0, Switch("myid", "myid") + HOST_LIST, ""},
  });
}

TEST_F(FileMode, AddSwitchChoosesClassFromClassNameAndVersion) {
  Check({
      {"-f $F -i", 0, "", ""},
      {"-f $F -a -O 3 -C -P 1 e0", 0, "", NK},
      {"-f $F -a -O 7 c0", 0, "", NK},
      /* Both options: the name only picks the index; the switch gets no class. */
      {"-f $F -a -O 3 --className vswitch -C -P 1 b0", 0, "", NK},
      /* Ports made by -a -C take the class from the name's prefix, later
       * ports from the switch's exact class name. */
      {"-f $F -a --className cswitchX -C -P 1 x0", 0, "", NK},
      {"-f $F -A -p 9 x0", 0, "", NK},
      {"-f $F -a -C -P 0 z0", 0, "", NK},
      {"-f $F -l", 0,
       Switch("65 30 00 00 00 00 00 00-00 00 00 00 00 00 00 00", "e0", "etherswitch", 1) +
           HOST_LIST + NewPort("0", ETHER_VLAN) + LongProp() +
           Switch("63 30 00 00 00 00 00 00-00 00 00 00 00 00 00 00", "c0") + HOST_LIST +
           Switch("62 30 00 00 00 00 00 00-00 00 00 00 00 00 00 00", "b0", "", 1) + HOST_LIST +
           NewPortHighVersion("0") + LongProp() +
           Switch("78 30 00 00 00 00 00 00-00 00 00 00 00 00 00 00", "x0", "cswitchX", 1) +
           HOST_LIST + NewPort("0") + LongProp() + NewPort("9", ETHER_VLAN) +
           Switch("7a 30 00 00 00 00 00 00-00 00 00 00 00 00 00 00", "z0", "cswitch", 0) +
           HOST_LIST,
       ""},
  });
}

TEST_F(FileMode, SetPropertyEncodesDigitsAsNumbers) {
  MakeFileSwitch({"7"});
  Check({
      {"-f $F -s k1 -p 7 dvs0", 0, "", NK},
      {"-f $F -s k2=007 -p 7 dvs0", 0, "", NK},
      {"-f $F -s k3=7a -p 7 dvs0", 0, "", NK},
      {"-f $F -s k4= -p 7 dvs0", 0, "", NK},
      {"-f $F -s k5=-5 -p 7 dvs0", 0, "", NK},
      {"-f $F -s k6=4294967297 -p 7 dvs0", 0, "", NK},
      {"-f $F -s k7=a=b -p 7 dvs0", 0, "", NK},
      {"-f $F -s 'k8=two words' -p 7 dvs0", 0, "", NK},
      {"-f $F -s x=1 -s k2=8 -p 7 dvs0", 0, "", NK}, /* the last -s wins */
      {"-f $F -s k1=9 -p 7 dvs0", 0, "", NK},        /* replaced in place */
      /* A port feature key also posts an event. */
      {"-f $F -s com.corvane.port.feature.x=1 -p 7 dvs0", 0,
       "failed to post dvs event: No kernel switch module on this host\n", NK},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + Hex("k1", "0x 9. 0 <repeats 3 times>") +
           Hex("k2", "0x 8. 0 <repeats 3 times>") + Text("k3", "7a") +
           Hex("k4", "0x 0. 0 <repeats 3 times>") + Text("k5", "-5") +
           Hex("k6", "0x 1. 0 <repeats 3 times>") + Text("k7", "a=b") + Text("k8", "two words") +
           Hex("com.corvane.port.feature.x", "0x 1. 0 <repeats 3 times>"),
       ""},
  });
}

TEST_F(FileMode, MissingTargetsAndKeys) {
  MakeFileSwitch({"7"});
  const std::string setFailed =
      NK + "DVSState_PortDataSet failed\n" + "Operation failed: status = 0xbad0003\n";
  Check({
      {"-f $F -s k=1 -p 8 dvs0", 3, "", setFailed},
      {"-f $F -s k=1 -p GlobalPropList dvs0", 3, "", setFailed},
      {"-f $F -u k -p 7 dvs0", 3, "", Failed("0xbad0003")},
      {"-f $F -u k -p globalPropList dvs0", 3, "", Failed("0xbad0003")},
      {"-f $F -u k -p 8 dvs0", 3, "", Failed("0xbad0003")},
      {"-f $F -D -p 8 dvs0", 3, "", Failed("0xbad0003")},
      {"-f $F -A -p 7 dvs0", 4, "", Failed("0xbad0004")},
  });
}

TEST_F(FileMode, LinkStatus) {
  MakeFileSwitch({"7"});
  Check({
      {"-f $F -M up -p 7 dvs0", 0, "linkup/down = up\nno speed\n", NK},
      {"-f $F -l dvs0", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") +
           "\t\tcom.corvane.common.port.linkstatus =\n"
           "\t\t\tlink up; auto negotiation\n\t\t\tpropType = CONFIG \n",
       NK},
      {"-f $F -M down,1000 -p 7 dvs0", 0, "linkup/down = down\nspeed = 1000\n", NK},
      {"-f $F -M UP,,100000 -p 7 dvs0", 0, "linkup/down = UP\nspeed = 100000\n", NK},
      {"-f $F -l dvs0", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") +
           "\t\tcom.corvane.common.port.linkstatus =\n"
           "\t\t\tlink down; 100 Gb/s, full duplex\n\t\t\tpropType = CONFIG \n",
       NK},
      {"-f $F -M up,5 -p 7 dvs0", 255, "linkup/down = up\nspeed = 5\n",
       NK + "unsupported speed 5\nOperation failed: status = 0xffffffff\n"},
      {"-f $F -M , -p 7 dvs0", 7, "", Failed("0xbad0007")},
      {"-f $F -M up -p 8 dvs0", 3, "linkup/down = up\nno speed\n", Failed("0xbad0003")},
  });
}

TEST_F(FileMode, HandlerStatusesBecomeExitStatuses) {
  MakeFileSwitch({"7"});
  const std::string noKernel = Failed("0xbad0101");
  const std::string wrongVersion =
      NK + "Wrong parameters for DVS version\nOperation failed: status = 0xbad0020\n";
  const std::string kernelOnly = Failed("0xbad0001");
  Check({
      {"-f $F -r k -p 7 dvs0", 32, "",
       NK + "Failed to get port data: Not supported\nOperation failed: status = 0xbad0020\n"},
      {"-f $F --mtu 9000 dvs0", 32,
       "unable to set switch mtu. this command-line option is deprecated.\n"
       "please use tarncfg-vswitch instead\n",
       Failed("0xbad0020")},
      {"-f $F --setVersion 11 dvs0", 32, "", wrongVersion},
      {"-f $F --setVersion 99 dvs0", 32, "", wrongVersion},
      {"-f $F --setVersion 101 dvs0", 32, "", wrongVersion},
      {"-f $F --setVersion 106 dvs0", 32, "", wrongVersion},
      {"-f $F --setVersion 3 dvs0", 32, "", wrongVersion},
      {"-f $F --setVersion 4 dvs0", 0, "", NK},
      {"-f $F --setVersion 10 dvs0", 0, "", NK},
      {"-f $F --setVersion 107 dvs0", 0, "", NK},
      {"-f $F --setVersion 110 dvs0", 0, "", NK},
      {"-f $F --reset -p 7 dvs0", 1, "", kernelOnly},
      {"-f $F --states -p 7 dvs0", 1, "", kernelOnly},
      {"-f $F --stats -p 7 dvs0", 1, "", kernelOnly},
      {"-f $F --getCap -p 7 dvs0", 1, "", kernelOnly},
      {"-f $F --vlan 10 -p 7 dvs0", 1, "", kernelOnly},
      {"-f $F --cap 768 -p 7 dvs0", 0, "", NK},
      /* These always go to the kernel. */
      {"-f $F -y dvs0", 1, "", noKernel},
      {"-f $F -Y dvs0", 1, "", noKernel},
      {"-f $F --setDVSID abc dvs0", 1, "", noKernel},
      {"-f $F --nopersist trueish dvs0", 1, "",
       NK + "Fail to set com.corvane.common.volatile.nopersist to trueOperation failed: status = "
            "0xbad0101\n"},
      {"-f $F --nopersist false dvs0", 1, "",
       NK + "Fail to set com.corvane.common.volatile.nopersist to falseOperation failed: status = "
            "0xbad0101\n"},
      {"-f $F --nopersist no dvs0", 7, "",
       NK + "Invalid argument [true|false] but no is passed\nOperation failed: status = "
            "0xbad0007\n"},
      /* No switch: found out in the switch flow. */
      {"-f $F -U 2", 255, "", "Switch ID is not specified.\n"},
      {"-f $F --setMaxPorts 10 dvs0", 0, "", NK},
      {"-f $F --persist", 0, "failed to post dvs event: No kernel switch module on this host\n",
       ""},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0") + Hex("com.corvane.common.version", "0x6e. 0 <repeats 3 times>") +
           HOST_LIST + NewPortHighVersion("7"),
       ""},
  });
}

/* Commands whose property family is not built yet pass their checks and answer "not supported". */
TEST_F(FileMode, StorageFailures) {
  const std::string notFound = "failed to get config data: Not found\n";
  Check({
      {"-f $F -l", 1, "", notFound},
      {"-f $F -A -p 1 dvs0", 255, "", NK + notFound + "Failed to load config.\n"},
      {"-f $F -a dvs0", 255, "", NK + notFound},
      {"-f $F --persist", 255, "", notFound},
      {"-f $D/nodir/x.db -i", 255, "", "failed to write config data to $D/nodir/x.db\n"},
  });
  std::ofstream(PathOf("dvs.db")) << "not a configuration";
  Check({
      {"-f $F -l", 1, "", "DVSState_ConfigDeserialize failed: Not a switch configuration\n"},
      {"-f $F -d dvs0", 255, "",
       NK + "DVSState_ConfigDeserialize failed: Not a switch configuration\n"
            "Failed to load config.\n"},
  });
}

TEST_F(FileMode, AbsolutePathsWorkFromAnyDirectory) {
  RunOptions elsewhere;
  /* Moved in: GCC 12 at -O3 takes a copy of "/" for an overlapping one (-Wrestrict). */
  elsewhere.cwd = std::string("/");
  Check(
      {
          {"-f $D/abs.db -i", 0, "", ""},
          {"-f $D/abs.db -n -a sw", 0, "", ""},
          {"-f $D/abs.db -l", 0, Switch("sw", "sw") + HOST_LIST, ""},
      },
      elsewhere);
}

}  // namespace
