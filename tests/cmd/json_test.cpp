// SPDX-License-Identifier: Apache-2.0
/*
 * json_test.cpp --
 *
 *    Transcripts of --json: a document in full for a small configuration,
 *    in file mode and from the kernel, -r of one property, and the
 *    commands that refuse it. (Every listing of the other transcripts is
 *    also checked as a document: json_twin.h.)
 */

#include <fstream>
#include <string>

#include "zorcored_fixture.h"

namespace {

using transcript::DVS0_ID;
using transcript::NK;

/* The document of dvs0 with port p1 whose VLAN policy -v "10;p;5" wrote. */
const std::string DVS0_DOCUMENT =
    R"({"switches":[{"id":")" + DVS0_ID +
    R"(","alias":"dvs0","class":"cswitch","version":6,"maxPorts":64,)"
    R"("globalProperties":[{"key":"com.corvane.common.alias","flags":["CONFIG"],"length":5,)"
    R"("hex":"6476733000","value":{"text":"dvs0"}}],"hostProperties":[],)"
    R"("ports":[{"name":"p1","state":{"name":"NORMAL","number":1},"properties":[)"
    R"({"key":"com.corvane.common.port.alias","flags":["CONFIG"],"length":3,"hex":"703100",)"
    R"("value":{"text":"p1"}},)"
    R"({"key":"com.corvane.common.port.connectid","flags":["CONFIG"],"length":4,)"
    R"("hex":"01000000","value":{"number":1}},)"
    R"({"key":"com.corvane.common.port.block","flags":["CONFIG"],"length":6,)"
    R"("hex":"66616c736500","value":{"text":"false"}},)"
    R"({"key":"com.corvane.vswitch.port.vlan","flags":["CONFIG"],"length":12,)"
    R"("hex":"02000a000000010005000500","value":{"mode":{"name":"PVLAN","number":2},)"
    R"("vlanId":10,"ranges":[{"low":5,"high":5}]}}]}]}]})"
    "\n";

const std::string VLAN_PROPERTY =
    R"({"key":"com.corvane.vswitch.port.vlan","flags":["CONFIG"],"length":12,)"
    R"("hex":"02000a000000010005000500","value":{"mode":{"name":"PVLAN","number":2},)"
    R"("vlanId":10,"ranges":[{"low":5,"high":5}]}})"
    "\n";

const char REFUSED[] = "--json goes only with -l and -r\n";

using JsonFile = transcript::TranscriptTest;
using JsonKernel = transcript::KernelTest;

TEST_F(JsonFile, ListsAsADocumentAndRefusesOtherCommands) {
  Check({
      {"-f $F -i", 0, "", ""},
      {"-f $F -a dvs0", 0, "", NK},
      {"-f $F -A -p p1 dvs0", 0, "", NK},
      {"-f $F -v '10;p;5' -p p1 dvs0", 0, "", NK},
      {"-f $F -l dvs0 --json", 0, DVS0_DOCUMENT, NK},
      {"-f $F -l no-such-switch --json", 0, "{\"switches\":[]}\n", NK},
      /* Failures are those of the listing without --json. */
      {"-f missing.db -l --json", 1, "", "failed to get config data: Not found\n"},
      {"-f $F -s k=v -p p1 --json dvs0", 1, "", REFUSED},
      {"-f $F -d --json dvs0", 1, "", REFUSED},
  });
  std::ofstream(PathOf("lines")) << "-l --json\n";
  Check({
      {"-f $F --batch lines", 1, "", "batch line 1: --json cannot run in a batch\n"},
      {"-f $F --batch lines --json", 1, "", REFUSED},
  });
}

TEST_F(JsonKernel, ListsAndReadsOnePropertyFromTheKernel) {
  Check({{"-l --json", 1, "", NK}});
  Check(
      {
          {"-a dvs0", 0, "", ""},
          {"-A -p p1 dvs0", 0, "", ""},
          {"-v '10;p;5' -p p1 dvs0", 0, "", ""},
          {"-l dvs0 --json", 0, DVS0_DOCUMENT, ""},
          {"-r com.corvane.vswitch.port.vlan -p p1 dvs0 --json", 0, VLAN_PROPERTY, ""},
          {"-r no.such.key -p p1 dvs0 --json", 3, "",
           "Failed to get port data: Not found\nOperation failed: status = 0xbad0003\n"},
      },
      Kernel());
}

}  // namespace
