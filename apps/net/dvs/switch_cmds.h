/*
 * switch_cmds.h --
 *
 *    Commands on switches and ports: add and delete switches and ports,
 *    read, set and clear single properties, associate a switch with its
 *    proxy portset, and set a port's link status and a switch's maximum
 *    ports, version, ID and persistence. Also Port_Init, which gives every
 *    new port its initial properties.
 *
 *    Each Cmd_ handler takes the switch ID text, the switch's class and
 *    the invocation record, and returns a status for the front end to
 *    report (0 is success; file mode then saves the configuration).
 */

#ifndef APPS_NET_DVS_SWITCH_CMDS_H
#define APPS_NET_DVS_SWITCH_CMDS_H

#include "brakk.h"

/* Keys written by these commands. */
#define KEY_PORT_ALIAS "com.corvane.common.port.alias"
#define KEY_PORT_CONNECTID "com.corvane.common.port.connectid"
#define KEY_PORT_BLOCK "com.corvane.common.port.block"
#define KEY_PORT_LINKSTATUS "com.corvane.common.port.linkstatus"
#define KEY_LONG_PROP "longProp"
/* Length of the "longProp" value that -a -C gives every port. */
#define LONG_PROP_LEN 1024
#define KEY_SWITCH_ALIAS "com.corvane.common.alias"
#define KEY_SWITCH_VERSION "com.corvane.common.version"
#define KEY_HOST_DVSID "com.corvane.common.host.volatile.dvsID"
#define KEY_NOPERSIST "com.corvane.common.volatile.nopersist"
#define KEY_VNIC_EXTERNAL_ID "com.corvane.port.extraConfig.vnic.external.id"
/* A -s argument containing this text changes a port feature and posts an event. */
#define PORT_FEATURE_KEY_PART "com.corvane.port.feature."

/*
 * Creates port portName on switch sw with the initial properties (alias,
 * connection ID, block, VLAN policy for class cls; the uplink VLAN policy
 * when uplink; "longProp" when withLongProp). File mode adds it to the
 * configuration state, kernel mode sends it to the kernel. Returns the
 * library's status. state is the state the port is added to.
 */
ZOR_ReturnStatus Port_Init(const StateOps &state, const char *sw, const char *portName, bool uplink,
                           bool withLongProp, SwitchClass cls);

/* -a: adds the switch (loading the file first in file mode), its alias and, with -C, its ports. */
ZOR_ReturnStatus Cmd_AddSwitch(const CommandContext &ctx);
/* -d: removes the switch. */
ZOR_ReturnStatus Cmd_DeleteSwitch(const CommandContext &ctx);
/* -A: creates the -p port with Port_Init. */
ZOR_ReturnStatus Cmd_AddPort(const CommandContext &ctx);
/* -D: removes the -p port. */
ZOR_ReturnStatus Cmd_DeletePort(const CommandContext &ctx);
/* -r: reads one property from the kernel and prints it; ZOR_NOT_SUPPORTED in file mode. */
ZOR_ReturnStatus Cmd_GetProp(const CommandContext &ctx);
/* -s name[=value]: writes one property to the -p target as a u32 or a text. */
ZOR_ReturnStatus Cmd_SetProp(const CommandContext &ctx);
/* -u name: removes one property from the -p target. */
ZOR_ReturnStatus Cmd_UnsetProp(const CommandContext &ctx);
/* -y: associates the switch with its proxy portset (kernel, in both modes). */
ZOR_ReturnStatus Cmd_Associate(const CommandContext &ctx);
/* -Y: dissociates the switch from its proxy portset (kernel, in both modes). */
ZOR_ReturnStatus Cmd_Dissociate(const CommandContext &ctx);
/* -M up|down[,speed]: writes the port's link status; -1 for an unsupported speed. */
ZOR_ReturnStatus Cmd_SetLinkStatus(const CommandContext &ctx);
/* --setMaxPorts: kernel mode sets the limit; file mode only rewrites the file and exits. */
ZOR_ReturnStatus Cmd_SetMaxPorts(const CommandContext &ctx);
/* --setVersion: sets the switch version and its version property. */
ZOR_ReturnStatus Cmd_SetVersion(const CommandContext &ctx);
/* --setDVSID: writes the host's volatile DVS ID property (kernel, in both modes). */
ZOR_ReturnStatus Cmd_SetDvsId(const CommandContext &ctx);
/* --persist: posts the persist event; file mode loads the file first so that it is saved. */
ZOR_ReturnStatus Cmd_Persist(const CommandContext &ctx);
/* --nopersist true|false: writes the switch's volatile no-persist flag (kernel, both modes). */
ZOR_ReturnStatus Cmd_NoPersist(const CommandContext &ctx);

#endif  // APPS_NET_DVS_SWITCH_CMDS_H
