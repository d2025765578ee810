// SPDX-License-Identifier: Apache-2.0
/*
 * portpolicy.h --
 *
 *    Four small policy families of ports and switches: the security
 *    policy of a port, the MAC management settings of a vswitch port, the
 *    switch's discovery protocol (CDP or LLDP, written by -B) and the
 *    extra frame-receive policy of a port, whose sink bit --enableSink
 *    sets or clears. Keys, then the packed value layouts, then the value
 *    names, the builders, the setters and the printers.
 */

#ifndef APPS_NET_DVS_PROPS_PORTPOLICY_H
#define APPS_NET_DVS_PROPS_PORTPOLICY_H

#include <stdint.h>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* Keys. The two pairs depend on the switch's class; the discovery key serves every class. */
#define SECURITY_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.security"
#define SECURITY_KEY_VSWITCH_PORT "com.corvane.vswitch.port.security"
#define MAC_MANAGEMENT_KEY "com.corvane.vswitch.port.macManagement"
#define DISCOVERY_KEY "com.corvane.etherswitch.cdp"
#define EXTRA_FRP_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.extraEthFRP"
#define EXTRA_FRP_KEY_VSWITCH_PORT "com.corvane.vswitch.port.extraEthFRP"

/* The key of the extra frame-receive policy, by the class of the switch. */
inline constexpr ClassKey EXTRA_FRP_KEY = {EXTRA_FRP_KEY_ETHERSWITCH_PORT,
                                           EXTRA_FRP_KEY_VSWITCH_PORT};

/* The families' printer rows and usage entries (--enableSink, -B). */
extern const PropFamily PORT_POLICY_FAMILY;

/*
 * Security policy, 4 bytes: one u32 of SECURITY_DENY_* bits.
 */
#define SECURITY_OFF_BITS 0
#define SECURITY_LEN 4
#define SECURITY_DENY_PROMISCUOUS 0x1
#define SECURITY_DENY_MAC_CHANGE 0x2
#define SECURITY_DENY_FORGED 0x4

/*
 * MAC management, packed, little-endian, 11 bytes (the u32 fields are
 * not aligned):
 *
 *   offset 0  u8   allow MAC change (0 false, else true)
 *   offset 1  u8   MAC learning (0 false, else true)
 *   offset 2  u8   unknown unicast flooding (0 false, else true)
 *   offset 3  u32  MAC limit
 *   offset 7  u32  MAC limit policy: 0 ALLOW, 1 DROP
 */
#define MAC_MGMT_OFF_ALLOW_MAC_CHANGE 0
#define MAC_MGMT_OFF_MAC_LEARNING 1
#define MAC_MGMT_OFF_UNKNOWN_UNICAST_FLOODING 2
#define MAC_MGMT_OFF_MAC_LIMIT 3
#define MAC_MGMT_OFF_LIMIT_POLICY 7
#define MAC_MGMT_LEN 11

/*
 * Discovery protocol (global list), 2 bytes:
 *
 *   offset 0  u8  protocol: 0 CDP, 1 LLDP
 *   offset 1  u8  mode: 0 down, 1 listen, 2 advertise, 3 advertise and listen
 */
#define DISCOVERY_OFF_PROTOCOL 0
#define DISCOVERY_OFF_MODE 1
#define DISCOVERY_LEN 2

/*
 * Extra frame-receive policy, packed, little-endian:
 *
 *   offset 0       u32      receive flags (EXTRA_FRP_*)
 *   offset 4       u16      number of multicast addresses M
 *   offset 6 + 6i  6 bytes  multicast address i, in transmission order
 *
 * The value that --enableSink writes is EXTRA_FRP_LEN bytes (room for 32
 * addresses).
 */
#define EXTRA_FRP_OFF_FLAGS 0
#define EXTRA_FRP_OFF_ADDR_COUNT 4
#define EXTRA_FRP_OFF_ADDRS 6
#define EXTRA_FRP_ADDR_LEN 6
#define EXTRA_FRP_LEN 200
#define EXTRA_FRP_UNICAST 0x1
#define EXTRA_FRP_MULTICAST 0x2
#define EXTRA_FRP_ALLMULTI 0x4
#define EXTRA_FRP_BROADCAST 0x8
#define EXTRA_FRP_PROMISC 0x10
#define EXTRA_FRP_USE_LADRF 0x20
#define EXTRA_FRP_SINK 0x10000

/*
 * The discovery value of the -B flags word: protocol from bits 16..23,
 * mode from bits 0..7 (0x10003 is LLDP, advertise and listen).
 */
ByteWriter Discovery_Build(int32_t cdpFlags);

/*
 * The frame-receive policy that --enableSink writes: EXTRA_FRP_LEN zero
 * bytes, with the flags SINK alone when enable is nonzero.
 */
ByteWriter ExtraFrp_BuildSink(uint8_t enable);

/* -B: writes the discovery value to the global list; returns the write's status. */
CommandResult Cmd_SetCdp(const CommandContext &ctx);

/*
 * --enableSink: replaces the frame-receive policy of the -p target.
 * Returns 0 whatever the write did: a failed write is not reported.
 */
CommandResult Cmd_EnableSink(const CommandContext &ctx);

/* Printers; each reads only what lies inside the value. */
void Prop_PrintSecurity(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);
void Prop_PrintMacManagement(const PrintContext &pc, const char *key, const void *value,
                             uint32_t length, int32_t flags);
void Prop_PrintDiscovery(const PrintContext &pc, const char *key, const void *value,
                         uint32_t length, int32_t flags);
void Prop_PrintExtraEthFRP(const PrintContext &pc, const char *key, const void *value,
                           uint32_t length, int32_t flags);

/*
 * Their JSON writers, from the same decodes: security as {"promiscuous",
 * "macChange", "forgedFrames"} (each allow or deny, with its bit), MAC
 * management as {"allowMacChange", "macLearning",
 * "unknownUnicastFlooding", "macLimit", "macLimitPolicy"}, discovery as
 * {"protocol", "mode"}, the frame-receive policy as {"flags",
 * "multicastAddr": ["xx:xx:xx:xx:xx:xx", ...]}.
 */
void Prop_JsonSecurity(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonMacManagement(const PrintContext &pc, const void *value, uint32_t length,
                            JsonOut &out);
void Prop_JsonDiscovery(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonExtraEthFRP(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_PORTPOLICY_H
