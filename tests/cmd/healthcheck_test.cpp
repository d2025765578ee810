// SPDX-License-Identifier: Apache-2.0
/*
 * healthcheck_test.cpp --
 *
 *    Transcripts of the nine health-check options: deploying, setting the
 *    parameters of and removing the teaming check and the VLAN-and-MTU
 *    checks, in file mode and in kernel mode, the listing of what they
 *    wrote, and removals that find nothing or fail.
 */

#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

std::string Deploy(const std::string &key, const std::string &minutes) {
  return "\t\t" + key + ":\n\t\t\tstatus is Enabled\n\t\t\tinterval is " + minutes + " minutes\n";
}

std::string Ranges(const std::string &key, const std::string &ranges) {
  return "\t\t" + key + ":\n\t\t\tranges =" + ranges + "\n\t\t\tpropType = POLICY \n";
}

const std::string TEAM_DEPLOY = Deploy("com.corvane.common.teamcheck.deploy", "15");
const std::string TEAM_PARAM = "\t\tcom.corvane.fenn.teamcheck.param: IPHASH\n";
const std::string VLM_DEPLOY = Deploy("com.corvane.common.vlanmtucheck.deploy", "30");
const std::string VLM_PARAM = Ranges("com.corvane.fenn.vlanmtucheck.param", " 1-10 20");
const std::string QELT_DEPLOY = Deploy("com.corvane.vswitch.vlanmtucheck.deploy", "5");
const std::string QELT_PARAM = Ranges("com.corvane.vswitch.vlanmtucheck.param", " 0-4094");

class HealthCheckFile : public FileSwitchTest<> {};

TEST_F(HealthCheckFile, DeployParameteriseListAndRemove) {
  const std::string head = Switch(DVS0_ID, "dvs0");
  Check({
      {"-f $F --teamchkDeploy 15 dvs0", 0, "", NK},
      {"-f $F --teamchkParam 1 dvs0", 0, "", NK},
      {"-f $F --vlanMTUChkDeploy 30 dvs0", 0, "", NK},
      {"-f $F --vlanMTUChkParam 1-10,20 dvs0", 0, "set vlan 1 - 10.\nset vlan 20 - 20.\n", NK},
      {"-f $F --qeltVLMChkDeploy 5 dvs0", 0, "", NK},
      {"-f $F --qeltVLMChkParam 0-4094 dvs0", 0, "set vlan 0 - 4094.\n", NK},
      {"-f $F -l dvs0", 0,
       head + TEAM_DEPLOY + TEAM_PARAM + VLM_DEPLOY + VLM_PARAM + QELT_DEPLOY + QELT_PARAM +
           HOST_LIST,
       NK},
      {"-f $F --vlanMTUChkRemove dvs0", 0, "", NK},
      {"-f $F --vlanMTUChkRemove dvs0", 3, "", NK + OP_FAILED + "0xbad0003\n"},
      {"-f $F --teamchkParam 0 dvs0", 0, "", NK},
      {"-f $F -l dvs0", 0,
       head + TEAM_DEPLOY + "\t\tcom.corvane.fenn.teamcheck.param: NonIPHASH\n" + QELT_DEPLOY +
           QELT_PARAM + HOST_LIST,
       NK},
      {"-f $F --teamchkRemove dvs0", 0, "", NK},
      {"-f $F --qeltVLMChkRemove dvs0", 0, "", NK},
      {"-f $F -l dvs0", 0, head + HOST_LIST, NK},
  });
}

class HealthCheckKernel : public KernelSwitchTest<> {};

TEST_F(HealthCheckKernel, WritesTheKernelAndReportsFailedClears) {
  CheckKernel({
      {"--teamchkDeploy 15 dvs0", 0, "", ""},
      {"--vlanMTUChkParam 1-10,20 dvs0", 0, "set vlan 1 - 10.\nset vlan 20 - 20.\n", ""},
      {"-l dvs0", 0, Switch(DVS0_ID, "dvs0") + TEAM_DEPLOY + VLM_PARAM + HOST_LIST, ""},
      /* Only the deployment exists: one clear succeeds. */
      {"--teamchkRemove dvs0", 0, "", ""},
  });
  /* The parameter's clear fails, the deployment's finds nothing. */
  CtlOk("fail GlobalPropClear 0xbad0001 1");
  CheckKernel({
      {"--vlanMTUChkRemove dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"--vlanMTUChkRemove dvs0", 0, "", ""},
      {"-l dvs0", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST, ""},
  });
}

}  // namespace
