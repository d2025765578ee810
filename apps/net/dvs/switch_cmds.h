// SPDX-License-Identifier: Apache-2.0
/*
 * switch_cmds.h --
 *
 *    Commands on switches and ports: add and delete switches and ports,
 *    read, set and clear single properties, associate a switch with its
 *    proxy portset, and set a port's link status and a switch's maximum
 *    ports, version, ID and persistence.
 *
 *    Each Cmd_ handler takes the command context and returns a result for
 *    the front end to report (a status of 0 is success; file mode then
 *    saves the configuration).
 */

#ifndef APPS_NET_DVS_SWITCH_CMDS_H
#define APPS_NET_DVS_SWITCH_CMDS_H

#include "base/command.h"

/* -a: adds the switch, its alias and, with -C, its ports. */
CommandResult Cmd_AddSwitch(const CommandContext &ctx);
/* -d: removes the switch. */
CommandResult Cmd_DeleteSwitch(const CommandContext &ctx);
/* -A: creates the -p port with Port_Init. */
CommandResult Cmd_AddPort(const CommandContext &ctx);
/* -D: removes the -p port. */
CommandResult Cmd_DeletePort(const CommandContext &ctx);
/* -r: reads one property from the kernel and prints it; ZOR_NOT_SUPPORTED in file mode. */
CommandResult Cmd_GetProp(const CommandContext &ctx);
/* -s name[=value]: writes one property to the -p target as a u32 or a text. */
CommandResult Cmd_SetProp(const CommandContext &ctx);
/* -u name: removes one property from the -p target. */
CommandResult Cmd_UnsetProp(const CommandContext &ctx);
/* -y: associates the switch with its proxy portset (kernel, in both modes). */
CommandResult Cmd_Associate(const CommandContext &ctx);
/* -Y: dissociates the switch from its proxy portset (kernel, in both modes). */
CommandResult Cmd_Dissociate(const CommandContext &ctx);
/* -M up|down[,speed]: writes the port's link status; -1 for an unsupported speed. */
CommandResult Cmd_SetLinkStatus(const CommandContext &ctx);
/* --setMaxPorts: kernel mode sets the limit; file mode changes nothing (the file is rewritten). */
CommandResult Cmd_SetMaxPorts(const CommandContext &ctx);
/* --setVersion: sets the switch version and its version property. */
CommandResult Cmd_SetVersion(const CommandContext &ctx);
/* --setDVSID: writes the host's volatile DVS ID property (kernel, in both modes). */
CommandResult Cmd_SetDvsId(const CommandContext &ctx);
/* --persist: posts the persist event (file mode then saves the loaded file). */
CommandResult Cmd_Persist(const CommandContext &ctx);
/* --nopersist true|false: writes the switch's volatile no-persist flag (kernel, both modes). */
CommandResult Cmd_NoPersist(const CommandContext &ctx);

#endif  // APPS_NET_DVS_SWITCH_CMDS_H
