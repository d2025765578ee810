/*
 * frontend_test.cpp --
 *
 *    Transcripts of the front end in kernel mode on a host without the
 *    kernel switch module: option parsing, the usage text, the checks
 *    before dispatch and their order, the exit statuses, and every path
 *    that meets the missing kernel.
 */

#include "transcript.h"

namespace {

using transcript::NO_KERNEL_LOAD;
using transcript::Row;
using transcript::UsageText;

class FrontEnd : public transcript::TranscriptTest {
 protected:
  const std::string U = UsageText();
  const std::string NK = NO_KERNEL_LOAD;
  const std::string NO_POST = "failed to post dvs event: No kernel switch module on this host\n";
  const std::string NO_SWITCH = "switch name not specified.\n";
  const std::string NO_PORT = "port name not specified.\n";
};

TEST_F(FrontEnd, UsageTextForHelpAndBadOptions) {
  Check({
      {"-h", 0, U, ""},
      {"-l -h dvs0", 0, U, ""}, /* ends while parsing: no alias lookup */
      {"-x", 0, U, "brakk: invalid option -- 'x'\n"},
      {"-p", 0, U, "brakk: option requires an argument -- 'p'\n"},
      {"--bogus", 0, U, "brakk: unrecognized option '--bogus'\n"},
      {"--setVersion", 0, U, "brakk: option '--setVersion' requires an argument\n"},
      {"--persist=1", 0, U, "brakk: option '--persist' doesn't allow an argument\n"},
  });
}

TEST_F(FrontEnd, UsageTextHasFortyNineEntries) {
  const std::string &u = UsageText();
  EXPECT_EQ(u.rfind("Warning: This is an unsupported command. Use at your own risk.\n", 0), 0u);
  EXPECT_NE(u.find("set zorcore state from config file/reset \n"), std::string::npos);
  EXPECT_NE(u.find("brakk --setDVSID  \"dvsID\" switch_name     change DVS ID\n"),
            std::string::npos);
  const std::string last =
      "\t\tbrakk -E -l                 list dvs informations from configstore.\n";
  EXPECT_EQ(u.substr(u.size() - last.size()), last);
  /* The warning, then 48 entries that each start a line with the command name. */
  size_t entries = 0;
  for (size_t at = 0; at != std::string::npos; at = u.find('\n', at + 1)) {
    if (u.compare(at == 0 ? 0 : at + 1, 6, "brakk ") == 0) entries++;
  }
  EXPECT_EQ(entries, 48u);
  EXPECT_EQ(u.size(), 9341u);
}

TEST_F(FrontEnd, ConfigStoreOptionIsRefusedAtOnce) {
  const std::string refused = "Unsupported operation: -E\n";
  Check({
      {"-E", 1, "", refused},
      {"-E -h", 1, "", refused}, /* nothing after -E is read */
      {"-l -E dvs0", 1, "", refused},
      {"-h -E", 0, U, ""},
  });
}

TEST_F(FrontEnd, PortTeamPolicyAndSwitchAreCheckedInThatOrder) {
  Check({
      {"-A", 0, U, NO_PORT},
      {"-A -t 9", 0, U, NO_PORT},
      {"-A -p 5 -t 6", 0, U, "invalid team policy type 6\n"},
      {"-A -p 5", 0, U, NO_SWITCH},
      {"-A -p 5 -t 5", 0, U, NO_SWITCH},
      {"-A -p 5 -t 9 dvs0", 0, U, NK + "invalid team policy type 9\n"},
      {"-A -p 5 -t -1 dvs0", 0, U, NK + "invalid team policy type -1\n"},
      {"-A dvs0", 0, U, NK + NO_PORT},
      {"-L up1 -t 7", 0, U, "invalid team policy type 7\n"},
      {"-L up1", 0, U, NO_SWITCH},
      {"--enableSink 1", 0, U, NO_SWITCH}, /* the switch first, then the port */
      {"--enableSink 1 dvs0", 0, U, NK + NO_PORT},
  });
}

TEST_F(FrontEnd, WhatEachCommandNeedsFirst) {
  const std::string loadFails = NK + "Failed to load config.\n";
  Check({
      /* A port, a team policy type and a switch. */
      {"-A", 0, U, NO_PORT},
      {"-D", 0, U, NO_PORT},
      {"-r key", 0, U, NO_PORT},
      {"-s key=1", 0, U, NO_PORT},
      {"-u key", 0, U, NO_PORT},
      {"-X", 0, U, NO_PORT},
      {"-b in", 0, U, NO_PORT},
      {"-v 10", 0, U, NO_PORT},
      {"-o x", 0, U, NO_PORT},
      {"-M up", 0, U, NO_PORT},
      {"-F x", 0, U, NO_PORT},
      {"--reset", 0, U, NO_PORT},
      {"--cap 1", 0, U, NO_PORT},
      {"--states", 0, U, NO_PORT},
      {"--stats", 0, U, NO_PORT},
      {"--vlan 1", 0, U, NO_PORT},
      {"--getCap", 0, U, NO_PORT},
      /* A switch. */
      {"-a", 0, U, NO_SWITCH},
      {"-d", 0, U, NO_SWITCH},
      {"-B 0x3", 0, U, NO_SWITCH},
      {"-y", 0, U, NO_SWITCH},
      {"-Y", 0, U, NO_SWITCH},
      {"-V 1,2,i", 0, U, NO_SWITCH},
      {"-N port=1", 0, U, NO_SWITCH},
      {"-m x", 0, U, NO_SWITCH},
      {"-H green:ok", 0, U, NO_SWITCH},
      {"--mtu 1500", 0, U, NO_SWITCH},
      {"--setMaxPorts 8", 0, U, NO_SWITCH},
      {"--cmdExec stats", 0, U, NO_SWITCH},
      /* Not checked before dispatch: the switch flow needs the kernel first. */
      {"-U 2", 255, "", loadFails},
      {"-k pool", 255, "", loadFails},
      {"-j activate", 255, "", loadFails},
      {"-K pool", 255, "", loadFails},
      {"-z pool", 255, "", loadFails},
      {"--teamchkDeploy 5", 255, "", loadFails},
      {"--teamchkRemove", 255, "", loadFails},
      {"--teamchkParam 1", 255, "", loadFails},
      {"--vlanMTUChkDeploy 5", 255, "", loadFails},
      {"--vlanMTUChkRemove", 255, "", loadFails},
      {"--vlanMTUChkParam 5", 255, "set vlan 5 - 5.\n", loadFails},
      {"--qeltVLMChkDeploy 5", 255, "", loadFails},
      {"--qeltVLMChkRemove", 255, "", loadFails},
      {"--qeltVLMChkParam 5", 255, "set vlan 5 - 5.\n", loadFails},
      {"--setLACP x", 255, "", loadFails},
      {"--configLAG x", 255, "", loadFails},
      {"--setVersion 4", 255, "", loadFails},
      {"--setDVSID id", 255, "", loadFails},
      {"--nopersist true", 255, "", loadFails},
      /* Needs no switch at all. */
      {"--persist", 0, NO_POST, ""},
  });
}

TEST_F(FrontEnd, LastCommandOptionWins) {
  Check({
      {"-d -A dvs0", 0, U, NK + NO_PORT},
      {"-A -d", 0, U, NO_SWITCH},
      {"-s a=1 -M up -r b", 0, U, NO_PORT},
      /* --cmdArg and --className select no command: these list. */
      {"--cmdArg x", 1, "", NK},
      {"--cmdArg x dvs0", 1, "", NK + NK},
      {"--className vswitch -l", 1, "", NK},
  });
}

TEST_F(FrontEnd, ClassNameOnlyGoesWithAddSwitch) {
  Check({
      {"--className vswitch -d dvs0", 255, "", NK + "Class name is not require for command 6.\n"},
      {"--className vswitch -A -p 1 dvs0", 255, "",
       NK + "Class name is not require for command 7.\n"},
  });
}

TEST_F(FrontEnd, WithoutKernelModule) {
  const std::string loadFails = NK + NK + "Failed to load config.\n";
  Check({
      {"", 1, "", NK},
      {"-l", 1, "", NK},
      {"-l dvs0", 1, "", NK + NK},
      {"-n -l dvs0", 1, "", NK}, /* -n: no alias lookup */
      {"-d dvs0", 255, "", loadFails},
      {"-A -p 1 dvs0", 255, "", loadFails},
      {"-n -s k=v -p 1 dvs0", 255, "", NK + "Failed to load config.\n"},
      {"-i", 255, "", "failed to write config data to configstore\n"},
      {"-G", 1, "", NK},
      {"-S", 1, "", NK},
      {"-R", 1, "", ""}, /* the status 0xbad0101 as exit status */
      {"-e 5", 0, NO_POST, ""},
      {"-e 5 -p 3 dvs0", 0, NO_POST, NK},
      {"--cmdExec stats dvs0", 255, "",
       NK + "DVSZOR_CmdExec failed: No kernel switch module on this host\n"},
      {"-g", 255, "DVSEvent_Register() failed, bad0101\n", "NOT_REACHED apps/net/dvs/brakk:662\n"},
  });
}

TEST_F(FrontEnd, DefaultPathNamesTheConfigStore) {
  Check({
      {"-f /etc/corvane/dvsdata.db -l", 1, "", NK},
      {"-f /etc/corvane/dvsdata.db -i", 255, "", "failed to write config data to configstore\n"},
  });
}

TEST_F(FrontEnd, SelfTestNeedsNothing) {
  Check({
      {"-T", 0,
       "Testing DVSData routines...\n"
       "DVSData serialization succeeded.\n"
       "DVSData deserialization succeeded.\n"
       "DVSData deserialization succeeded.\n",
       ""},
  });
}

TEST_F(FrontEnd, VlanRangesAreParsedWithTheOptions) {
  Check({
      {"--vlanMTUChkParam abc dvs0", 1, "", "Bad vlan range string: abc\n"},
      {"--vlanMTUChkParam 0-4095 dvs0", 1, "", "Bad vlan range: from 0 to 4095\n"},
      {"--qeltVLMChkParam 10-5", 1, "", "Bad vlan range: from 10 to 5\n"},
      {"--qeltVLMChkParam -3", 1, "", "Bad vlan range: from -3 to -3\n"},
      {"--vlanMTUChkParam 1-10,20,abc", 1, "set vlan 1 - 10.\nset vlan 20 - 20.\n",
       "Bad vlan range string: abc\n"},
      {"--vlanMTUChkParam 1,,2", 1, "set vlan 1 - 1.\n", "Bad vlan range string: ,2\n"},
      /* Parsed before the options that follow. */
      {"--vlanMTUChkParam 0-4094 -E", 1, "set vlan 0 - 4094.\n", "Unsupported operation: -E\n"},
  });
}

}  // namespace
