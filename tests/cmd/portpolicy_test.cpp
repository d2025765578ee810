// SPDX-License-Identifier: Apache-2.0
/*
 * portpolicy_test.cpp --
 *
 *    Transcripts of the port-policy commands: traffic shaping (-b), flow
 *    export (-N), overlay (-o), DVFilter (-F), the discovery protocol (-B)
 *    and sink mode (--enableSink), in file mode and kernel mode, with the
 *    listing of what they wrote; the security and MAC management values
 *    that the host writes; kernel writes that fail.
 */

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string SHAPER = "com.corvane.common.port.shaper.";

/* A property printed as its header line, the given lines and the propType line. */
std::string Block(const std::string &head, const std::string &lines,
                  const std::string &flags = "CONFIG ") {
  return "\t\t" + head + "\n" + lines + "\t\t\tpropType = " + flags + "\n";
}

std::string Shaper(const std::string &which, int average, int peak, int burst) {
  return Block(SHAPER + which + ":",
               "\t\t\taverage bandwidth = " + std::to_string(average) + " bytes/sec\n" +
                   "\t\t\tpeak bandwidth = " + std::to_string(peak) + " bytes/sec\n" +
                   "\t\t\tburst size = " + std::to_string(burst) + " bytes\n");
}

std::string Ipfix(const std::string &collector, const std::string &internal, int sampling,
                  int domain) {
  return Block("com.corvane.etherswitch.ipfix:",
               "\t\t\tidle timeout = 20 seconds\n\t\t\tactive timeout = 20 seconds\n"
               "\t\t\tsampling rate = " +
                   std::to_string(sampling) + "\n\t\t\tcollector = " + collector +
                   "\n\t\t\tinternal flows only = " + internal +
                   "\n\t\t\tobsDomainID = " + std::to_string(domain) + "\n");
}

std::string Ipv4(const std::string &address) {
  return "\t\tcom.corvane.etherswitch.ipv4addr = " + address + ", \tpropType = CONFIG \n";
}

const std::string NETFLOW = "Wrong parameters for Netflow\n";
const std::string FILTER_PARTS =
    "Part 0 = 0\nPart 1 = filterA\nPart 2 = OPEN\nPart 3 = 1:alpha\n"
    "Part 4 = 2:beta\nPart 0 = 3\nPart 1 = filterB\n";
const std::string FILTERS = Block("com.corvane.common.port.dvfilter = filters (num = 2):",
                                  "\t\t\t0: filterA (onFailure: open, params = 2)\n"
                                  "\t\t\t\tparam 1: alpha\n\t\t\t\tparam 2: beta\n"
                                  "\t\t\t3: filterB (onFailure: close, params = 0)\n");

class PolicyFile : public FileSwitchTest<7> {
 protected:
};

TEST_F(PolicyFile, CommandsWriteTheFileAndTheListingDecodesIt) {
  const std::string bad = OP_FAILED + "0xbad0007\n";
  const std::string minus1 = OP_FAILED + "0xffffffff\n";
  Check({
      /* Shaping: a failing clear is reported and does not stop the others. */
      {"-f $F -b 1,100,200,300,0,0,0,0,1,10,20,30 -p 7 dvs0", 0, "",
       NK + "Failed to unset shaper output parameter on " + DVS0_ID + ":7\n"},
      {"-f $F -b '1,1,1,1,0,0,0,0,0,0,0' -p 7 dvs0", 7, "",
       NK + "Wrong parameters for traffic shaping\n" + bad},
      /* Flow export: every malformed text is refused before anything is written. */
      {"-f $F -N global=1,20,20,0,0,10.0.0.1:9660,10.0.0.2,101 dvs0", 0, "", NK},
      {"-f $F -N global=1,20,20,0,0,10.0.0.1 dvs0", 7, "", NK + NETFLOW + bad},
      {"-f $F -N 'global=1,20,20,0,0,[fe80::1001' dvs0", 7, "", NK + NETFLOW + bad},
      {"-f $F -N global=1,20,20,0,0,10.0.0.1:9660, dvs0", 7, "", NK + NETFLOW + bad},
      {"-f $F -N glob=1,20,20,0,0,10.0.0.1:9660 dvs0", 7, "", NK + NETFLOW + bad},
      {"-f $F -N port=yes -p 7 dvs0", 7, "", NK + NETFLOW + bad},
      {"-f $F -N port=1 dvs0", 3, "",
       NK + "port name not specified.\n" + OP_FAILED + "0xbad0003\n"},
      {"-f $F -N port=1 -p 7 dvs0", 0, "", NK},
      /* Overlay: class names on the global list, numbers on a port. */
      {"-f $F -o '1,0x10;2,32' -p 7 dvs0", 0, "", NK},
      {"-f $F -o '1,a;2,b;3,c;4,d;5,e;6,f;7,g;8,h;9,i' -p globalPropList dvs0", 0,
       "Overlay argument has too many elements", NK},
      {"-f $F -o 1 -p 7 dvs0", 7, "Bad overlay argument, value not paired", NK + bad},
      {"-f $F -o '1,classA;2,0123456789abcdef0123456789abcdef' -p globalPropList dvs0", 7,
       "0123456789abcdef0123456789abcdef is an invalid overlay class name.\nfailed to set instance",
       NK + bad},
      /* DVFilter: its own parse failures end with -1 and write nothing. */
      {"-f $F -F '0,filterA,OPEN,1:alpha,2:beta;3,filterB' -p 7 dvs0", 0, FILTER_PARTS, NK},
      {"-f $F -F 16,filterC -p 7 dvs0", 255, "Part 0 = 16\nPart 1 = filterC\n",
       NK + "Invalid DVFilter slot selected" + minus1},
      {"-f $F -F 0,f,OPEN,nocolon -p 7 dvs0", 255,
       "Part 0 = 0\nPart 1 = f\nPart 2 = OPEN\nPart 3 = nocolon\n",
       NK + "Malformed DVFilter parameter" + minus1},
      {"-f $F -F '0,a;;1,b' -p 7 dvs0", 255, "Part 0 = 0\nPart 1 = a\n",
       NK + "Required fields missing from slot->filter" + minus1},
      {"-f $F -F '0;1;2;3;4;5;6;7;8;9;10;11;12;13;14;15;16' -p 7 dvs0", 255, "", NK + minus1},
      {"-f $F -F 3,f -p 8 dvs0", 3, "Part 0 = 3\nPart 1 = f\n", NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F -B 0x10003 dvs0", 0, "", NK},
      {"-f $F --enableSink 1 -p 7 dvs0", 0, "", NK},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0") + Ipfix("10.0.0.1:9660", "false", 0, 101) + Ipv4("10.0.0.2") +
           Block("com.corvane.common.overlay = a(1) b(2) c(3) d(4) e(5) f(6) g(7) h(8)", "") +
           Block("com.corvane.etherswitch.cdp = LLDP, advertise & listen", "") + HOST_LIST +
           NewPort("7") + Shaper("input", 100, 200, 300) + Shaper("broadcast", 10, 20, 30) +
           Text("com.corvane.etherswitch.port.ipfix", "enabled") +
           Block("com.corvane.common.port.overlay =0x10@1 0x20@2 ", "") + FILTERS +
           Block("com.corvane.vswitch.port.extraEthFRP =   SINK", ""),
       ""},
      /* Clearing: all three shapers, both flow-export keys, the port's export, sink mode off. */
      {"-f $F -b 0,0,0,0,0,0,0,0,0,0,0,0 -p 7 dvs0", 0, "",
       NK + "Failed to unset shaper output parameter on " + DVS0_ID + ":7\n"},
      {"-f $F -N global=0,0,0,0,0,0.0.0.0:0 dvs0", 0, "", NK},
      {"-f $F -N global=0,0,0,0,0,0.0.0.0:0 dvs0", 3, "", NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F -N port=0 -p 7 dvs0", 0, "", NK},
      {"-f $F -o '' -p globalPropList dvs0", 0, "", NK},
      {"-f $F -o '' -p globalPropList dvs0", 3, "failed to set instance",
       NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F -B 2 dvs0", 0, "", NK},
      {"-f $F --enableSink 256 -p 7 dvs0", 0, "", NK},
      {"-f $F -l", 0,
       Switch(DVS0_ID, "dvs0") + Block("com.corvane.etherswitch.cdp = CDP, advertise", "") +
           HOST_LIST + NewPort("7") + Block("com.corvane.common.port.overlay =0x10@1 0x20@2 ", "") +
           FILTERS + Block("com.corvane.vswitch.port.extraEthFRP = ", ""),
       ""},
  });
}

class PolicyKernel : public KernelTest {};

TEST_F(PolicyKernel, CommandsWriteTheKernelAndHostValuesAreDecoded) {
  MakeKernelSwitch({"7"}, "--className etherswitch dvs0");
  CheckKernel({
      {"-b 0,0,0,0,1,5,6,7,0,0,0,0 -p globalPropList dvs0", 0, "",
       "Failed to unset shaper input parameter on " + DVS0_ID +
           ":globalPropList\n"
           "Failed to unset shaper broadcast parameter on " +
           DVS0_ID + ":globalPropList\n"},
      {"-r " + SHAPER + "output -p globalPropList dvs0", 0, Shaper("output", 5, 6, 7), ""},
      {"-N 'global=1,20,20,3,1,[fe80::1001]:9660' dvs0", 0, "", ""},
      {"-r com.corvane.etherswitch.ipfix -p globalPropList dvs0", 0,
       Ipfix("[fe80:0000:0000:0000:0000:0000:0000:1001]:9660", "true", 3, 0), ""},
      {"-r com.corvane.etherswitch.ipv4addr -p globalPropList dvs0", 0, Ipv4("0.0.0.0"), ""},
      {"-o '1,classA;2,classB' -p globalPropList dvs0", 0, "", ""},
      {"-r com.corvane.common.overlay -p globalPropList dvs0", 0,
       Block("com.corvane.common.overlay = classA(1) classB(2)", ""), ""},
      {"-F '0,filterA,OPEN,1:alpha,2:beta;3,filterB' -p 7 dvs0", 0, FILTER_PARTS, ""},
      {"-r com.corvane.common.port.dvfilter -p 7 dvs0", 0, FILTERS, ""},
      {"--enableSink 1 -p 7 dvs0", 0, "", ""},
      {"-r com.corvane.etherswitch.port.extraEthFRP -p 7 dvs0", 0,
       Block("com.corvane.etherswitch.port.extraEthFRP =   SINK", ""), ""},
      {"-B 0x10001 dvs0", 0, "", ""},
      {"-r com.corvane.etherswitch.cdp -p globalPropList dvs0", 0,
       Block("com.corvane.etherswitch.cdp = LLDP, listen", ""), ""},
  });

  /*
   * A flow-export value laid out by hand (the sampling rate unaligned at 26)
   * reads back as -N writes it; values cut short print what fits, and bytes
   * without a name print "unknown".
   */
  CtlOk(
      "set-prop dvs0 globalPropList com.corvane.etherswitch.ipfix "
      "u32:20,u32:20,hex:0a000001,hex:000000000000000000000000,u16:9660,u32:7,u8:1,u8:0,"
      "u32:101 CONFIG");
  CtlOk("set-prop dvs0 globalPropList com.corvane.etherswitch.cdp u8:5,u8:9 CONFIG");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.dvfilter u32:3,u32:1,str:abc CONFIG");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.shaper.input u64:1,u64:2,u32:3 CONFIG");
  CheckKernel({
      {"-r com.corvane.etherswitch.ipfix -p globalPropList dvs0", 0,
       Ipfix("10.0.0.1:9660", "true", 7, 101), ""},
      {"-r com.corvane.etherswitch.cdp -p globalPropList dvs0", 0,
       Block("com.corvane.etherswitch.cdp = unknown, unknown", ""), ""},
      {"-r com.corvane.common.port.dvfilter -p 7 dvs0", 0,
       "\t\tcom.corvane.common.port.dvfilter = filters (num = 3):\n", ""},
      {"-r " + SHAPER + "input -p 7 dvs0", 0,
       "\t\t" + SHAPER + "input:\n\t\t\taverage bandwidth = 1 bytes/sec\n" +
           "\t\t\tpeak bandwidth = 2 bytes/sec\n",
       ""},
  });

  /* Values only the host writes: security, MAC management, multicast addresses. */
  CtlOk("set-prop dvs0 7 com.corvane.etherswitch.port.security u32:5 CONFIG");
  CtlOk(
      "set-prop dvs0 7 com.corvane.vswitch.port.macManagement "
      "u8:1,u8:0,u8:7,u32:4096,u32:2 CONFIG");
  CtlOk(
      "set-prop dvs0 7 com.corvane.etherswitch.port.extraEthFRP "
      "u32:0x1000a,u16:2,hex:01005e000001,hex:3333000000fb CONFIG");
  CheckKernel({
      {"-r com.corvane.etherswitch.port.security -p 7 dvs0", 0,
       "\t\tcom.corvane.etherswitch.port.security = deny promiscuous; allow mac change; "
       "deny forged frames\n\t\t\tpropType = CONFIG \n",
       ""},
      {"-r com.corvane.vswitch.port.macManagement -p 7 dvs0", 0,
       Block("com.corvane.vswitch.port.macManagement:",
             "\t\t\tAllow MAC Change = True\n\t\t\tMAC Learning = False\n"
             "\t\t\tUnknown Unicast Flooding = True\n\t\t\tMAC Limit = 4096\n"
             "\t\t\t MAC Limit Policy = UNKNOWN\n"),
       ""},
      {"-r com.corvane.etherswitch.port.extraEthFRP -p 7 dvs0", 0,
       Block("com.corvane.etherswitch.port.extraEthFRP =   MULTICAST  BROADCAST  SINK",
             "\t\tmulticastAddr[0] = 01:00:5e:00:00:01\n"
             "\t\tmulticastAddr[1] = 33:33:00:00:00:fb\n"),
       ""},
  });

  /* Failed kernel writes: each command reports the library's status its own way. */
  CtlOk("fail GlobalPropSet 0xbad0001");
  CtlOk("fail PortDataSet 0xbad0001");
  CheckKernel({
      {"-B 3 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"-N global=1,20,20,0,0,10.0.0.1:9660 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"-o '1,classC' -p globalPropList dvs0", 1, "failed to set instance",
       OP_FAILED + "0xbad0001\n"},
      {"-o '1,2' -p 7 dvs0", 1, "failed to set port params", OP_FAILED + "0xbad0001\n"},
      {"-F 1,f -p 7 dvs0", 1, "Part 0 = 1\nPart 1 = f\n", OP_FAILED + "0xbad0001\n"},
      {"--enableSink 0 -p 7 dvs0", 0, "", ""},
      {"-b 1,1,1,1,0,0,0,0,0,0,0,0 -p 7 dvs0", 0, "",
       "Failed to set shaper input parameter on " + DVS0_ID +
           ":7\n"
           "Failed to unset shaper output parameter on " +
           DVS0_ID + ":7\nFailed to unset shaper broadcast parameter on " + DVS0_ID + ":7\n"},
  });
}

}  // namespace
