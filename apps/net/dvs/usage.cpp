/*
 * usage.cpp --
 *
 *    The usage text and the two ways the front end ends a process early.
 */

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <iterator>

#include "brakk.h"

namespace {

/* One entry per puts; each is followed by a newline when printed. */
const char *const usageTexts[] = {
    "Warning: This is an unsupported command. Use at your own risk.\n"
    "         DVS config is persisted in configstore by default instead\n"
    "         of in file /etc/corvane/dvsdata.db",
    "brakk -a [--className className] [ -P maxPorts] switch_name\n"
    "                                              add a new dvswitch",
    "brakk -d switch_name                        delete a dvswitch",
    "brakk [ -A | -D ] -p port switch_name       add/delete a port from a dvswitch",
    "brakk [ -s name=value | -u name ] -p port switch_name\n"
    "                                              set/unset key/value pair property for dvport",
    "brakk -r name -p port switch_name          get value for dvport property specified",
    "brakk -l [ switch_name ]                    list dvs information",
    "brakk -i                                    init database",
    "brakk [-S | -R | -G ]                       set zorcore state from config file/reset \n"
    "                                              zorcore state/get dvs state from zorcore \n"
    "                                              to config file",
    "brakk -T                                    test dvsdata",
    "brakk -v \"vlanID[;t|p[0-7][;min-max,min-max...]]\n"
    "                                              set vlan configuration",
    "brakk -V \"primaryVID,secondaryVID,i|c|p;primaryVID,secondaryVID,i|c|p...\"\n"
    "                                              set PVLAN global table contents",
    "brakk -m \"v1*sid;dname;snaplen;encapvlan;flags;wildcardsIn,wildcardsOut;\n"
    "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
    "                                              set dvmirror configuration on FENN50\n"
    "     or -m \"v2*sid;dname;stype;snaplen;encapvlan;flags;samplerate;\n"
    "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
    "                                              set dvmirror configuration on FENN51\n"
    "     or -m "
    "\"v3*sid;dname;stype;encap-type;erspanID;erspanCOS;erspanGra;snaplen;encapvlan;flags;"
    "samplerate;\n"
    "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
    "                                              set dvmirror configuration on FENN51\n"
    "\tsid:             session id\n"
    "\tdname:           display name\n"
    "\tsnaplen:         mirrored packets are truncated to the length, the default and min value is "
    "60\n"
    "\tencapvlan:       encapsulation vlan (1-4094), mirrored packets are encapsulated by the "
    "vlan.\n"
    "\t                 If a valid vlan is set, the \"e\" flag should also be set.\n"
    "\tflags:           i:  disallow normal input\n"
    "\t                 o:  disallow normal output\n"
    "\t                 e:  encapsulate packets using encapvlan\n"
    "\t                 v:  keep original vlan\n"
    "\t                 l:  legacy promiscuous session\n"
    "\t                 d:  disabled\n"
    "\twildcards:       v:  vm\n"
    "\t                 p:  pnic\n"
    "\t                 k:  tcpip (zornic)\n"
    "\t                 c:  cos (deprecated)\n"
    "\t                 t:  test port\n"
    "\tdst:             destination ports, separated by ','\n"
    "\tsrcIn:           ingress source ports, separated by ','\n"
    "\tsrcOut:          egress source ports, separated by ','\n"
    "\tstype:           session type, it could be DVPORT, RMIRROR_SRC, RMIRROR_DST, ERMIRROR_SRC "
    "and MIXDST\n"
    "\tencap-type:      encapsulation type, it could be GRE_ONLY, ERSPAN2 and ERSPAN3\n"
    "\terspanID:        identification associated with each ERSPAN session\n"
    "\terspanCOS:       class of service of the mirrored frame\n"
    "\terspanGra:       time unit to be supported for time-stamping, but only support ERSPAN3\n"
    "\tsamplerate:      sampling rate to capture packets, the default and min value is 1\n"
    "\tMixed dest session      srcIn:  non-uplink DVPort\n"
    "\t                        srcOut: non-uplink DVPort\n"
    "\t                        dst:    non-uplink DVPort or uplink DVPort\n"
    "\tLocal DVPort session    srcIn:  non-uplink DVPort\n"
    "\t                        srcOut: non-uplink DVPort\n"
    "\t                        dst:    non-uplink DVPort\n"
    "\tRMirror src session     srcIn:  non-uplink DVPort\n"
    "\t                        srcOut: non-uplink uplink\n"
    "\t                        dst:    uplink name\n"
    "\tRMirror dst session     srcIn:  vlan\n"
    "\t                        srcOut: none\n"
    "\t                        dst:    non-uplink DVPort\n"
    "\tERMirror src session    srcIn:  non-uplink DVPort\n"
    "\t                        srcOut: non-uplink DVPort\n"
    "\t                        dst:    IPv4 or IPv6",
    "brakk dvswitch -k \"respool1_id;respool2_id;...\"\n"
    "                                              list resource pool configuration",
    "brakk dvswitch -p dvport -K \"respool1_:reservation:shares:limit:ptag;respool2_id:\n"
    "                                          reservation:shares:limit:ptag;...\"\n"
    "                                              set resource pool configuration",
    "brakk dvswitch -p dvport -z \"respool_id\"\n"
    "                                              set resource pool association for dvport",
    "brakk dvswitch -j [activate|deactivate]\n"
    "                                              activate/deactivate resource pool scheduling",
    "brakk -L uplink_name1[,uplink_name2,...] -t team_policy_type [-p port] switch_name\n"
    "                                              connect a set of uplinks with given teaming "
    "policy to a port or a switch",
    "brakk dvswitch -H \"red|yellow|green:some message\" switch_name\n"
    "                                              set host status for dvswitch",
    "brakk -o \"depth,param|classname;depth,param|classname;... -p port|globalPropList "
    "switch_name\n"
    "                                              set overlay parameters for port",
    "brakk [ -y | -Y ] switch_name               associate/disassociate a dvswitch with its proxy "
    "portset",
    "brakk -U number switch_name                 create the specified number of uplink ports",
    "brakk -X -p port switch_name                delete the specified uplink port",
    "brakk --vlan vlanID -p dvport switch_name   set uplink vlan",
    "brakk --reset -p dvport switch_name         reset port state",
    "brakk --cap cap_value -p dvport switch_name\n"
    "                                              set uplink port capability",
    "brakk --states -p dvport switch_name        get uplink states",
    "brakk --miscInfo                            dump cpu/meminfo",
    "brakk --zornicIp <zornic>                   display IPv4 address on <zornic>",
    "brakk --teamchkDeploy interval switch_name\n"
    "                                              deploy teaming check, unit of interval is "
    "minute",
    "brakk --teamchkParam type switch_name\n"
    "                                              set 0(nonIPHASH) and 1(IPHASH) param for "
    "teaming check",
    "brakk --teamchkRemove switch_name           stop teaming policy check of switch",
    "brakk --vlanMTUChkDeploy interval switch_name\n"
    "                                              deploy VLAN and MTU check",
    "brakk --vlanMTUChkParam \"range1Min-range1Max[,range2Min-range2Max...]\" switch_name\n"
    "                                              set vlanRange param for VLAN and MTU check",
    "brakk --vlanMTUChkRemove switch_name        stop VLAN and MTU check of switch",
    "brakk --qeltVLMChkDeploy interval switch_name\n"
    "                                              simulate deployment of VLAN and MTU check via "
    "QEL-T",
    "brakk --qeltVLMChkParam \"range1Min-range1Max[,range2Min-range2Max...]\" switch_name\n"
    "                                              simulate setting vlanRange param for VLAN and "
    "MTU check via QEL-T",
    "brakk --qeltVLMChkRemove switch_name        simulate stopping VLAN and MTU check of switch "
    "via QEL-T",
    "brakk --enableSink [0|1] -p dvport switch_name      disable|enable sink mode on a dvPort",
    "brakk --setLACP \"v2*<lag name>;<lag key>;<lag port number>;<mode>;<LB policy>;*<lag "
    "name2>;<lag key2>;....\" switch_name\n"
    "                                              enable/disable LACPV2 on the dvswitch",
    "brakk --configLAG \"*<lag name>;<lag key>;<config item type:config item value,...>;*<lag "
    "name2>;<lag key2>;...\" switch_name\n"
    "                                              Configure LAG extra configurations after "
    "creating LAG e.g. timeout",
    "brakk --persist                             persist DVS config to configstore immediately",
    "brakk --nopersist [true|false] switch_name    don't persist the dvs data for one specified "
    "dvs",
    "brakk -N global=ipfix_property_param switch_name\n"
    "                                              Set ipfix property on the dvswitch\n"
    "\tipfix_property_param:  "
    "enable|disable,idle_timeout,active_timeout,sample_rate,inter_flow_only,collector_ip:collector_"
    "port[,dvs_ip(only ipv4)][,obsDomainID]\n"
    "\tExample:\n"
    "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140,101<dvsName>\n"
    "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140 <dvsName>\n"
    "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,101 <dvsName>\n"
    "\t\tbrakk -N global=1,20,20,0,0,[fe80::1001]:9660,101 <dvsName>\n"
    "\t\tbrakk -N global=1,20,20,0,0,[fe80::1001]:9660 <dvsName>",
    "brakk --setVersion <version> switch_name    set DVS version",
    "brakk --setDVSID  \"dvsID\" switch_name     change DVS ID",
    "brakk -N port=1|0 -p dvport switch_name     enable/disable ipfix on the dvport",
    "brakk -B cdp_lldp_flags dvport switch_name  enable/disable cdp/lldp on the dvport\n"
    "\tcdp_lldp_flags:     0x0           CDP down\n"
    "\t                    0x1           CDP listen\n"
    "\t                    0x2           CDP advertise\n"
    "\t                    0x3           CDP both\n"
    "\t                    0x10000       LLDP down\n"
    "\t                    0x10001       LLDP listen\n"
    "\t                    0x10002       LLDP advertise\n"
    "\t                    0x10003       LLDP both",
    "brakk -E [other params]                     Use configstore as config source/destination. "
    "\"-f\" will be invalid if set both of them\n"
    "\tExpamle:\n"
    "\t\tbrakk -E -l                 list dvs informations from configstore.",
};

static_assert(std::size(usageTexts) == 49, "the usage text has 49 entries");

}  // namespace

void Brakk_Exit(int status) {
  fflush(stdout);
  exit(status);
}

void Usage_Print() {
  for (const char *text : usageTexts) puts(text);
  Brakk_Exit(0);
}

void Panic(const char *format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
  Brakk_Exit(-1);
}
