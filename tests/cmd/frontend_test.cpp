// SPDX-License-Identifier: Apache-2.0
/*
 * frontend_test.cpp --
 *
 *    Transcripts of the front end in kernel mode on a host without the
 *    kernel switch module: option parsing, the usage text, the checks
 *    before dispatch and their order, the exit statuses, and every path
 *    that meets the missing kernel.
 */

#include <sys/sysinfo.h>

#include <regex>

#include "transcript.h"

namespace {

using namespace transcript;

/* The usage text, exactly as brakk must print it. */
const std::string USAGE = R"USAGE(Warning: This is an unsupported command. Use at your own risk.
         DVS config is persisted in configstore by default instead
         of in file /etc/corvane/dvsdata.db
brakk -a [--className className] [ -P maxPorts] switch_name
                                              add a new dvswitch
brakk -d switch_name                        delete a dvswitch
brakk [ -A | -D ] -p port switch_name       add/delete a port from a dvswitch
brakk [ -s name=value | -u name ] -p port switch_name
                                              set/unset key/value pair property for dvport
brakk -r name -p port switch_name          get value for dvport property specified
brakk -l [ switch_name ]                    list dvs information
brakk -i                                    init database
brakk [-S | -R | -G ]                       set zorcore state from config file/reset 
                                              zorcore state/get dvs state from zorcore 
                                              to config file
brakk -T                                    test dvsdata
brakk -v "vlanID[;t|p[0-7][;min-max,min-max...]]
                                              set vlan configuration
brakk -V "primaryVID,secondaryVID,i|c|p;primaryVID,secondaryVID,i|c|p..."
                                              set PVLAN global table contents
brakk -m "v1*sid;dname;snaplen;encapvlan;flags;wildcardsIn,wildcardsOut;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN50
     or -m "v2*sid;dname;stype;snaplen;encapvlan;flags;samplerate;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN51
     or -m "v3*sid;dname;stype;encap-type;erspanID;erspanCOS;erspanGra;snaplen;encapvlan;flags;samplerate;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN51
	sid:             session id
	dname:           display name
	snaplen:         mirrored packets are truncated to the length, the default and min value is 60
	encapvlan:       encapsulation vlan (1-4094), mirrored packets are encapsulated by the vlan.
	                 If a valid vlan is set, the "e" flag should also be set.
	flags:           i:  disallow normal input
	                 o:  disallow normal output
	                 e:  encapsulate packets using encapvlan
	                 v:  keep original vlan
	                 l:  legacy promiscuous session
	                 d:  disabled
	wildcards:       v:  vm
	                 p:  pnic
	                 k:  tcpip (zornic)
	                 c:  cos (deprecated)
	                 t:  test port
	dst:             destination ports, separated by ','
	srcIn:           ingress source ports, separated by ','
	srcOut:          egress source ports, separated by ','
	stype:           session type, it could be DVPORT, RMIRROR_SRC, RMIRROR_DST, ERMIRROR_SRC and MIXDST
	encap-type:      encapsulation type, it could be GRE_ONLY, ERSPAN2 and ERSPAN3
	erspanID:        identification associated with each ERSPAN session
	erspanCOS:       class of service of the mirrored frame
	erspanGra:       time unit to be supported for time-stamping, but only support ERSPAN3
	samplerate:      sampling rate to capture packets, the default and min value is 1
	Mixed dest session      srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    non-uplink DVPort or uplink DVPort
	Local DVPort session    srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    non-uplink DVPort
	RMirror src session     srcIn:  non-uplink DVPort
	                        srcOut: non-uplink uplink
	                        dst:    uplink name
	RMirror dst session     srcIn:  vlan
	                        srcOut: none
	                        dst:    non-uplink DVPort
	ERMirror src session    srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    IPv4 or IPv6
brakk dvswitch -k "respool1_id;respool2_id;..."
                                              list resource pool configuration
brakk dvswitch -p dvport -K "respool1_:reservation:shares:limit:ptag;respool2_id:
                                          reservation:shares:limit:ptag;..."
                                              set resource pool configuration
brakk dvswitch -p dvport -z "respool_id"
                                              set resource pool association for dvport
brakk dvswitch -j [activate|deactivate]
                                              activate/deactivate resource pool scheduling
brakk -L uplink_name1[,uplink_name2,...] -t team_policy_type [-p port] switch_name
                                              connect a set of uplinks with given teaming policy to a port or a switch
brakk dvswitch -H "red|yellow|green:some message" switch_name
                                              set host status for dvswitch
brakk -o "depth,param|classname;depth,param|classname;... -p port|globalPropList switch_name
                                              set overlay parameters for port
brakk [ -y | -Y ] switch_name               associate/disassociate a dvswitch with its proxy portset
brakk -U number switch_name                 create the specified number of uplink ports
brakk -X -p port switch_name                delete the specified uplink port
brakk --vlan vlanID -p dvport switch_name   set uplink vlan
brakk --reset -p dvport switch_name         reset port state
brakk --cap cap_value -p dvport switch_name
                                              set uplink port capability
brakk --states -p dvport switch_name        get uplink states
brakk --miscInfo                            dump cpu/meminfo
brakk --zornicIp <zornic>                   display IPv4 address on <zornic>
brakk --teamchkDeploy interval switch_name
                                              deploy teaming check, unit of interval is minute
brakk --teamchkParam type switch_name
                                              set 0(nonIPHASH) and 1(IPHASH) param for teaming check
brakk --teamchkRemove switch_name           stop teaming policy check of switch
brakk --vlanMTUChkDeploy interval switch_name
                                              deploy VLAN and MTU check
brakk --vlanMTUChkParam "range1Min-range1Max[,range2Min-range2Max...]" switch_name
                                              set vlanRange param for VLAN and MTU check
brakk --vlanMTUChkRemove switch_name        stop VLAN and MTU check of switch
brakk --qeltVLMChkDeploy interval switch_name
                                              simulate deployment of VLAN and MTU check via QEL-T
brakk --qeltVLMChkParam "range1Min-range1Max[,range2Min-range2Max...]" switch_name
                                              simulate setting vlanRange param for VLAN and MTU check via QEL-T
brakk --qeltVLMChkRemove switch_name        simulate stopping VLAN and MTU check of switch via QEL-T
brakk --enableSink [0|1] -p dvport switch_name      disable|enable sink mode on a dvPort
brakk --setLACP "v2*<lag name>;<lag key>;<lag port number>;<mode>;<LB policy>;*<lag name2>;<lag key2>;...." switch_name
                                              enable/disable LACPV2 on the dvswitch
brakk --configLAG "*<lag name>;<lag key>;<config item type:config item value,...>;*<lag name2>;<lag key2>;..." switch_name
                                              Configure LAG extra configurations after creating LAG e.g. timeout
brakk --persist                             persist DVS config to configstore immediately
brakk --nopersist [true|false] switch_name    don't persist the dvs data for one specified dvs
brakk -N global=ipfix_property_param switch_name
                                              Set ipfix property on the dvswitch
	ipfix_property_param:  enable|disable,idle_timeout,active_timeout,sample_rate,inter_flow_only,collector_ip:collector_port[,dvs_ip(only ipv4)][,obsDomainID]
	Example:
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140,101<dvsName>
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140 <dvsName>
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,101 <dvsName>
		brakk -N global=1,20,20,0,0,[fe80::1001]:9660,101 <dvsName>
		brakk -N global=1,20,20,0,0,[fe80::1001]:9660 <dvsName>
brakk --setVersion <version> switch_name    set DVS version
brakk --setDVSID  "dvsID" switch_name     change DVS ID
brakk -N port=1|0 -p dvport switch_name     enable/disable ipfix on the dvport
brakk -B cdp_lldp_flags dvport switch_name  enable/disable cdp/lldp on the dvport
	cdp_lldp_flags:     0x0           CDP down
	                    0x1           CDP listen
	                    0x2           CDP advertise
	                    0x3           CDP both
	                    0x10000       LLDP down
	                    0x10001       LLDP listen
	                    0x10002       LLDP advertise
	                    0x10003       LLDP both
brakk -E [other params]                     Use configstore as config source/destination. "-f" will be invalid if set both of them
	Expamle:
		brakk -E -l                 list dvs informations from configstore.
)USAGE";

class FrontEnd : public TranscriptTest {
 protected:
  const std::string U = USAGE;
  const std::string NO_POST = "failed to post dvs event: No kernel switch module on this host\n";
  const std::string NO_SWITCH = "switch name not specified.\n";
  const std::string NO_PORT = "port name not specified.\n";
};

TEST_F(FrontEnd, UsageTextForHelpBadOptionsAndTheConfigStoreOption) {
  const std::string refused = "Unsupported operation: -E\n";
  Check({
      {"-h", 0, U, ""},
      {"-l -h dvs0", 0, U, ""}, /* ends while parsing: no alias lookup */
      {"-x", 0, U, "brakk: invalid option -- 'x'\n"},
      {"-p", 0, U, "brakk: option requires an argument -- 'p'\n"},
      {"--bogus", 0, U, "brakk: unrecognized option '--bogus'\n"},
      {"--setVersion", 0, U, "brakk: option '--setVersion' requires an argument\n"},
      {"--persist=1", 0, U, "brakk: option '--persist' doesn't allow an argument\n"},
      /* -E ends the parse at once; options before it are parsed (the range parser is unit
       * tested). */
      {"-E -h", 1, "", refused},
      {"-l -E dvs0", 1, "", refused},
      {"-h -E", 0, U, ""},
      {"--vlanMTUChkParam abc dvs0", 1, "", "Bad vlan range string: abc\n"},
      {"--qeltVLMChkParam 10-5", 1, "", "Bad vlan range: from 10 to 5\n"},
      {"--vlanMTUChkParam 0-4094 -E", 1, "set vlan 0 - 4094.\n", refused},
  });
}

TEST_F(FrontEnd, PortTeamPolicyAndSwitchAreCheckedInThatOrder) {
  Check({
      {"-A -t 9", 0, U, NO_PORT},
      {"-A -p 5 -t 6", 0, U, "invalid team policy type 6\n"},
      {"-A -p 5", 0, U, NO_SWITCH},
      {"-A -p 5 -t 5", 0, U, NO_SWITCH},
      {"-A -p 5 -t 9 dvs0", 0, U, NK + "invalid team policy type 9\n"},
      {"-A -p 5 -t -1 dvs0", 0, U, NK + "invalid team policy type -1\n"},
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
      /* ...and only -a takes it. */
      {"--className vswitch -d dvs0", 255, "", NK + "Class name is not require for command 6.\n"},
      {"--className vswitch -A -p 1 dvs0", 255, "",
       NK + "Class name is not require for command 7.\n"},
  });
}

/* The default path names the configuration store; the self test needs nothing. */
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
      {"-f /etc/corvane/dvsdata.db -i", 255, "", "failed to write config data to configstore\n"},
      {"-f /etc/corvane/dvsdata.db -l", 1, "", NK},
      {"-G", 1, "", NK},
      {"-S", 1, "", NK},
      {"-R", 1, "", ""}, /* the status 0xbad0101 as exit status */
      {"-e 5", 0, NO_POST, ""},
      {"-e 5 -p 3 dvs0", 0, NO_POST, NK},
      {"--cmdExec stats dvs0", 255, "",
       NK + "DVSZOR_CmdExec failed: No kernel switch module on this host\n"},
      {"-g", 255, "DVSEvent_Register() failed, bad0101\n", "NOT_REACHED apps/net/dvs/brakk:662\n"},
      {"-T", 0,
       "Testing DVSData routines...\nDVSData serialization succeeded.\n"
       "DVSData deserialization succeeded.\nDVSData deserialization succeeded.\n",
       ""},
  });
}

TEST_F(FrontEnd, HostFactsNeedNoKernel) {
  struct sysinfo si;
  ASSERT_EQ(sysinfo(&si), 0);
  const RunResult r = Brakk("--miscInfo");
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.err, "");
  std::smatch m;
  ASSERT_TRUE(std::regex_match(r.out, m,
                               std::regex("Zorcore memory size: ([0-9]+) kilobytes\n"
                                          "CPU packages: ([1-9][0-9]*)\nCPU cores: ([0-9]+)\n")))
      << r.out;
  EXPECT_EQ(std::stoull(m[1]), static_cast<unsigned long long>(si.totalram) * si.mem_unit / 1024);
  EXPECT_GE(std::stoul(m[3]), std::stoul(m[2]));
  Check({
      {"--zornicIp lo", 0, "'lo' --> 127.0.0.1\n", ""},
      {"--zornicIp nosuch0", 1, "", "Failed to get IPv4 address for 'nosuch0': Not found\n"},
  });
}

}  // namespace
