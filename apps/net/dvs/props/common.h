// SPDX-License-Identifier: Apache-2.0
/*
 * common.h --
 *
 *    The properties common to every switch and port that the switch and
 *    port commands write (alias, connection ID, block, version, DVS ID,
 *    persistence), and Port_Init, which gives a new port its initial
 *    properties: the port commands and the uplink family both make ports.
 */

#ifndef APPS_NET_DVS_PROPS_COMMON_H
#define APPS_NET_DVS_PROPS_COMMON_H

#include "base/command.h"
#include "dvslib.h"

/* Keys of a port. */
#define KEY_PORT_ALIAS "com.corvane.common.port.alias"
#define KEY_PORT_CONNECTID "com.corvane.common.port.connectid"
#define KEY_PORT_BLOCK "com.corvane.common.port.block"
#define KEY_LONG_PROP "longProp"
/* Length of the "longProp" value that -a -C gives every port. */
#define LONG_PROP_LEN 1024
#define KEY_VNIC_EXTERNAL_ID "com.corvane.port.extraConfig.vnic.external.id"
/* A -s argument containing this text changes a port feature and posts an event. */
#define PORT_FEATURE_KEY_PART "com.corvane.port.feature."

/* Keys of a switch's global list and host list. */
#define KEY_SWITCH_ALIAS "com.corvane.common.alias"
#define KEY_SWITCH_VERSION "com.corvane.common.version"
#define KEY_HOST_DVSID "com.corvane.common.host.volatile.dvsID"
#define KEY_NOPERSIST "com.corvane.common.volatile.nopersist"

/*
 * Creates port portName on switch sw with the initial properties (alias,
 * connection ID, block, VLAN policy for class cls; the uplink VLAN policy
 * when uplink; "longProp" when withLongProp). File mode adds it to the
 * configuration state, kernel mode sends it to the kernel. Returns the
 * library's status. state is the state the port is added to.
 */
ZOR_ReturnStatus Port_Init(const StateOps &state, const char *sw, const char *portName, bool uplink,
                           bool withLongProp, SwitchClass cls);

#endif  // APPS_NET_DVS_PROPS_COMMON_H
