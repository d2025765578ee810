// SPDX-License-Identifier: Apache-2.0
/*
 * mirror_test.cpp --
 *
 *    Transcripts of -m: the session lines it prints while parsing, every
 *    message of a text that does not parse, and the listing of the
 *    per-dvPort tables it leaves (narrow and wide entity records), in file
 *    mode and against a private zorcored, with a failing kernel write.
 */

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string VSWITCH_KEY = "com.corvane.vswitch.port.mirrorSessions";
const std::string ETHER_KEY = "com.corvane.etherswitch.port.mirrorSessions";

const std::string EXAMPLE = "'v2*s1;mirror one;DVPORT;;;e;;5;6,7;;'";
const std::string EXAMPLE_OUT =
    "s1(mirror one): snap=60, flags=0x8, encap=0, startIdx=0 dst=1, srcIn=2, srcOut=0\n"
    "sessionType=1, samplingRate=1\ntotal ports: 3\n";

/* One session's lines; lists are "(count):\tentities ". */
std::string Session(const std::string &sid, const std::string &flags, const std::string &snapVlan,
                    const std::string &type, const std::string &extra, const std::string &dst,
                    const std::string &in, const std::string &out) {
  return "\t\t\tsid:\t\t\t" + sid + "\n\t\t\tdname:\t\t\t" + sid + "\n\t\t\tflags:\t\t\t" + flags +
         "\n" + snapVlan + "\t\t\ttype:\t\t\t" + type + "\n\t\t\tsamplingRate:\t\t1\n" + extra +
         "\n\t\t\tdstEntities\t" + dst + "\n\t\t\tsrcInEntities\t" + in +
         "\n\t\t\tsrcOutEntities\t" + out + "\n\n";
}

const std::string PLAIN = "\t\t\tsnapLen:\t\t60\n\t\t\tencapVlan:\t\t0 (no ENCAP)\n";
const std::string ENCAP = "\t\t\tsnapLen:\t\t60\n\t\t\tencapVlan:\t\t0\n";

/* The table of the example, on each of the ports 5, 6 and 7. */
const std::string EXAMPLE_TABLE =
    Decoded(VSWITCH_KEY + ":",
            "\t\t\tsid:\t\t\ts1\n\t\t\tdname:\t\t\tmirror one\n\t\t\tflags:\t\t\tDST_ENCAP \n" +
                ENCAP + "\t\t\ttype:\t\t\tDVPORT\n\t\t\tsamplingRate:\t\t1\n" +
                "\n\t\t\tdstEntities\t(1):\t5 \n\t\t\tsrcInEntities\t(2):\t6 7 "
                "\n\t\t\tsrcOutEntities\t(0):\t\n\n");

class FileMirror : public TranscriptTest {
 protected:
  const std::string dvs0 = Switch(DVS0_ID, "dvs0") + HOST_LIST;
};

TEST_F(FileMirror, SessionsGoToTheirPortsAndAreListed) {
  MakeFileSwitch({"5", "6", "7", "8"}); /* dvs0: cswitch, version 6 */
  const std::string v3 =
      "'v3*e;e;ERMIRROR_SRC;ERSPAN3;7;2;9;;;;;10.1.2.3,fe80::1;5;;"
      "*d;d;RMIRROR_DST;GRE_ONLY;;;;;;;;8;1,2,3,4,5,6,7,8,9;;*'";
  const std::string eTable =
      Session("e", "", PLAIN, "ERMIRROR_SRC",
              "\t\t\tencap-type:\t\tERSPAN3\n\t\t\terspanID:\t\t7\n\t\t\terspanCOS:\t\t2\n"
              "\t\t\terspanGra:\t\t9\n",
              "(2):\t10.1.2.3 fe80:0000:0000:0000:0000:0000:0000:0001 ", "(1):\t5 ", "(0):\t");
  const std::string dTable = Session("d", "", PLAIN, "RMIRROR_DST", "", "(1):\t8 ",
                                     "(9):\t1 2 3 4 5 6 7 \n\t\t\t\t8 9 ", "(0):\t");
  Check({
      /* The kernel-mode test lists these tables; the unit test pins their bytes. */
      {"-f $F -m " + EXAMPLE + " dvs0", 0, EXAMPLE_OUT, NK},
      /* A new text replaces every table: 6 and 7 lose theirs. */
      {"-f $F -m " + v3 + " dvs0", 0,
       "e(e): snap=60, flags=0x0, encap=0, startIdx=0 dst=2, srcIn=1, srcOut=0\n"
       "sessionType=4, samplingRate=1\n"
       "encapType:ERSPAN3 erspanID:7, erspanCOS:2, erspanGra:9\n"
       "d(d): snap=60, flags=0x0, encap=0, startIdx=3 dst=1, srcIn=9, srcOut=0\n"
       "sessionType=3, samplingRate=1\n"
       "encapType:GRE_ONLY erspanID:0, erspanCOS:0, erspanGra:0\n"
       "total ports: 13\n",
       NK},
      {"-f $F -l dvs0", 0,
       dvs0 + NewPort("5") + Decoded(VSWITCH_KEY + ":", eTable) + NewPort("6") + NewPort("7") +
           NewPort("8") + Decoded(VSWITCH_KEY + ":", dTable),
       NK},
      {"-f $F -m v2* dvs0", 0, "total ports: 0\n", NK},
      {"-f $F -l dvs0", 0, dvs0 + NewPort("5") + NewPort("6") + NewPort("7") + NewPort("8"), NK},
  });
}

TEST_F(FileMirror, WideRecordsFromVersion100) {
  /* An etherswitch, so that the listing of version 100 still decodes its key. */
  const std::string name20(20, 'n');
  const std::string tables = Decoded(ETHER_KEY + ":", Session("r", "", PLAIN, "RMIRROR_SRC", "",
                                                              "(1):\t" + std::string(32, 'u') + " ",
                                                              "(2):\t" + name20 + " q ", "(0):\t"));
  MakeFileSwitch({name20, "q"}, "-O 5 dvs1");
  Check({
      /* Below version 100 the name does not fit the 16-byte field. */
      {"-f $F -m 'v2*r;r;RMIRROR_SRC;;;;;" + std::string(32, 'u') + ";" + name20 + ",q;;' dvs1", 7,
       "",
       NK + "dvPort name " + name20 + " is longer than 16 bytes\n" +
           "Failed to read session SrcEntities\n" + OP_FAILED + "0xbad0007\n"},
      {"-f $F --setVersion 100 dvs1", 0, "", NK},
      {"-f $F -m 'v2*r;r;RMIRROR_SRC;;;;;" + std::string(32, 'u') + ";" + name20 + ",q;;' dvs1", 0,
       "r(r): snap=60, flags=0x0, encap=0, startIdx=0 dst=1, srcIn=2, srcOut=0\n"
       "sessionType=2, samplingRate=1\ntotal ports: 3\n",
       NK},
      {"-f $F -l dvs1", 0,
       Switch(DVS1_ID, "dvs1", "etherswitch") +
           Hex("com.corvane.common.version", "0x64. 0 <repeats 3 times>") + HOST_LIST +
           NewPort(name20, ETHER_VLAN) + tables + NewPort("q", ETHER_VLAN) + tables,
       NK},
  });
}

TEST_F(FileMirror, TextsThatDoNotParseChangeNothing) {
  MakeFileSwitch({"5", "6", "7", "8"});
  Check({{"-f $F -m " + EXAMPLE + " dvs0", 0, EXAMPLE_OUT, NK}});
  const std::string listed = ReadFile(PathOf("dvs.db"));
  const std::string bad = OP_FAILED + "0xbad0007\n";
  const std::string dstFailed = "Failed to read session DstEntities\n";
  const std::string srcFailed = "Failed to read session SrcEntities\n";
  const std::string s1 = "'v2*s1;x;";
  Check({
      {"-f $F -m v2 dvs0", 7, "", NK + "DVMirror version is required: \"v1*\" or \"v2*\".\n" + bad},
      {"-f $F -m v2- dvs0", 7, "",
       NK + "The first two chars should be DVMirror version: v1 or v2.\n" + bad},
      {"-f $F -m 'v1*a;b;c;d;e;f,g;h;i;j;' dvs0", 7, "",
       NK + "Unsupported DVMirror session version v1\n" + bad},
      {"-f $F -m v4* dvs0", 7, "", NK + "Unsupported DVMirror session version v4\n" + bad},
      {"-f $F -m 'v2*s;x;DVPORT;;;;;5;;' dvs0", 7, "",
       NK + "Each session should have 10 fields.\n" + bad},
      {"-f $F -m 'v2*s;x;DVPORT;;;;;5;;;;' dvs0", 7, "",
       NK + "Each session should have 10 fields.\n" + bad},
      {"-f $F -m 'v2*s;x;DVPORT;;;;;5;;;**' dvs0", 7, "",
       NK + "Each session should have 10 fields.\n" + bad},
      {"-f $F -m 'v3*s;x;DVPORT;;;;;5;;;' dvs0", 7, "",
       NK + "Each session should have 14 fields.\n" + bad},
      {"-f $F -m 'v2*;x;DVPORT;;;;;5;;;' dvs0", 7, "", NK + "Session ID can't be empty\n" + bad},
      {"-f $F -m 'v2*" + std::string(32, 's') + ";x;DVPORT;;;;;5;;;' dvs0", 7, "",
       NK + "Session ID can't be longer than 31\n" + bad},
      {"-f $F -m 'v2*s;;DVPORT;;;;;5;;;' dvs0", 7, "", NK + "Session name can't be empty\n" + bad},
      {"-f $F -m 'v2*s;" + std::string(81, 'x') + ";DVPORT;;;;;5;;;' dvs0", 7, "",
       NK + "Session name can't be longer than 80\n" + bad},
      {"-f $F -m " + s1 + "dvport;;;;;5;;;' dvs0", 7, "",
       NK + "Unsupported session type dvport." + bad},
      {"-f $F -m 'v3*s1;x;DVPORT;GRE;;;;;;;;5;;;' dvs0", 7, "", NK + bad},
      {"-f $F -m " + s1 + "DVPORT;;;ex;;5;;;' dvs0", 7, "", NK + "Bad session flag: x\n" + bad},
      {"-f $F -m " + s1 + "DVPORT;;;;;5;;" + std::string(17, 'p') + ";' dvs0", 7, "",
       NK + "dvPort name " + std::string(17, 'p') + " is longer than 16 bytes\n" + srcFailed + bad},
      {"-f $F -m " + s1 + "RMIRROR_SRC;;;;;" + std::string(33, 'u') + ";;;' dvs0", 7, "",
       NK + "Uplink name " + std::string(33, 'u') + " is longer than 32 bytes\n" + dstFailed + bad},
      {"-f $F -m " + s1 + "RMIRROR_DST;;;;;5;7,0;;' dvs0", 7, "",
       NK + "Error src vlan for RMirror Dst Session.\n" + srcFailed + bad},
      {"-f $F -m " + s1 + "RMIRROR_DST;;;;;5;;65536;' dvs0", 7, "",
       NK + "Error src vlan for RMirror Dst Session.\n" + srcFailed + bad},
      {"-f $F -m " + s1 + "ERMIRROR_SRC;;;;;1.2.3.x;;;' dvs0", 7, "",
       NK + "IPv4 address error\n" + dstFailed + bad},
      {"-f $F -m " + s1 + "ERMIRROR_SRC;;;;;[fe80::1];;;' dvs0", 7, "",
       NK + "IPv6 address error\n" + dstFailed + bad},
      {"-f $F -m " + s1 + "ERMIRROR_SRC;;;;;host;;;' dvs0", 7, "", NK + dstFailed + bad},
      /* Sessions parsed before the failing one have been printed; nothing is written. */
      {"-f $F -m 'v2*a,b;c,d;MIXDST;99999999999999999999;-5;;0;6,,7;;;*s;x;DVPORT;;;z;;;;;' dvs0",
       7,
       "a,b(c,d): snap=4294967295, flags=0x0, encap=65531, startIdx=0 dst=2, srcIn=0, srcOut=0\n"
       "sessionType=0, samplingRate=0\n",
       NK + "Bad session flag: z\n" + bad},
  });
  EXPECT_EQ(ReadFile(PathOf("dvs.db")), listed);
}

/* ---- Kernel mode --------------------------------------------------------- */

class KernelMirror : public KernelSwitchTest<5, 6, 7, 8> {};

TEST_F(KernelMirror, SessionsGoToTheKernelAndAFailedWriteStopsThePush) {
  const std::string dvs0 = Switch(DVS0_ID, "dvs0") + HOST_LIST;
  CheckKernel({
      {"-m " + EXAMPLE + " dvs0", 0, EXAMPLE_OUT, ""},
      {"-l", 0,
       dvs0 + NewPort("5") + EXAMPLE_TABLE + NewPort("6") + EXAMPLE_TABLE + NewPort("7") +
           EXAMPLE_TABLE + NewPort("8"),
       ""},
      /* The kernel refuses port 9: port 8, written before, has its new table; port 5, named
       * after, keeps its old one; 6 and 7 were cleared first. */
      {"-m 'v2*s;s;DVPORT;;;e;;8;9,5;;' dvs0", 3,
       "s(s): snap=60, flags=0x8, encap=0, startIdx=0 dst=1, srcIn=2, srcOut=0\n"
       "sessionType=1, samplingRate=1\ntotal ports: 3\n",
       "Failed to push mirror data to dvPort 9\nFailed to push dvPort property\n" + OP_FAILED +
           "0xbad0003\n"},
  });
  const std::string sTable =
      Decoded(VSWITCH_KEY + ":",
              Session("s", "DST_ENCAP ", ENCAP, "DVPORT", "", "(1):\t8 ", "(2):\t9 5 ", "(0):\t"));
  CheckKernel(
      {{"-l", 0,
        dvs0 + NewPort("5") + EXAMPLE_TABLE + NewPort("6") + NewPort("7") + NewPort("8") + sTable,
        ""}});

  /* Clearing comes first: with every write failing, the old tables are gone all the same. */
  CheckKernel({{"-m " + EXAMPLE + " dvs0", 0, EXAMPLE_OUT, ""}});
  CtlOk("fail PortDataSet 0xbad0001");
  CheckKernel({
      {"-m 'v2*s;s;DVPORT;;;e;;8;;;' dvs0", 1,
       "s(s): snap=60, flags=0x8, encap=0, startIdx=0 dst=1, srcIn=0, srcOut=0\n"
       "sessionType=1, samplingRate=1\ntotal ports: 1\n",
       "Failed to push mirror data to dvPort 8\nFailed to push dvPort property\n" + OP_FAILED +
           "0xbad0001\n"},
      {"-l", 0, dvs0 + NewPort("5") + NewPort("6") + NewPort("7") + NewPort("8"), ""},
  });
}

}  // namespace
