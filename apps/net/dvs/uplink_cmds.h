// SPDX-License-Identifier: Apache-2.0
/*
 * uplink_cmds.h --
 *
 *    Commands on the running switch module rather than on stored
 *    properties: reset an uplink, set or read its capability word, set its
 *    VLAN, read its states and statistics, run a diagnostic command in the
 *    switch module, and report host facts. The uplink commands work in
 *    kernel mode only; in file mode they end with ZOR_FAILURE (--cap only
 *    saves the configuration).
 */

#ifndef APPS_NET_DVS_UPLINK_CMDS_H
#define APPS_NET_DVS_UPLINK_CMDS_H

#include <stdint.h>

#include "base/command.h"

/* The capability word that --vlan sets before it sets the VLAN. */
#define UPLINK_CAP_VLAN 0x300ull
/* Highest VLAN ID that --vlan sends. */
#define UPLINK_VLAN_MAX 4096u
/* Longest --cmdExec result that is printed. */
#define CMD_EXEC_RESULT_MAX 256u

/* --reset: resets the -p uplink's state. Returns the library's status. */
CommandResult Cmd_UplinkReset(const CommandContext &ctx);
/* --cap: sets the capability word (sign-extended --cap value); file mode only saves the file
   and takes the save's result as the status. */
CommandResult Cmd_UplinkSetCap(const CommandContext &ctx);
/* --getCap: prints the capability word. Returns the library's status. */
CommandResult Cmd_UplinkGetCap(const CommandContext &ctx);
/* --vlan: sets capability 0x300, then the uplink VLAN; any failure is ZOR_FAILURE. */
CommandResult Cmd_UplinkVlan(const CommandContext &ctx);
/* --states: reads the uplink states and prints nothing; any failure is ZOR_FAILURE. */
CommandResult Cmd_UplinkStates(const CommandContext &ctx);
/* --stats: prints the uplink statistics. Returns the library's status. */
CommandResult Cmd_UplinkStats(const CommandContext &ctx);
/* --mtu: prints the deprecation notice; always ZOR_NOT_SUPPORTED. */
CommandResult Cmd_SetMtu(const CommandContext &ctx);

/*
 * Prints the uplink statistics reply of length len: the heading and the
 * 26 counters, each only when the reply holds it.
 */
void PrintUplinkStatistics(const void *reply, uint32_t len);

/*
 * The commands below run outside the switch flow and return the process's
 * exit status instead of a command status.
 */
/* --cmdExec [--cmdArg]: runs a command in the switch module; 0, or 255 when it fails. */
int Cmd_CmdExec(const CommandContext &ctx);
/* --miscInfo: prints memory size and CPU counts; 1 when any query fails, else 0. */
int Cmd_MiscInfo(const CommandContext &ctx);
/* --zornicIp: prints the IPv4 address of the named interface; 1 on failure, else 0. */
int Cmd_ZornicIp(const CommandContext &ctx);

#endif  // APPS_NET_DVS_UPLINK_CMDS_H
