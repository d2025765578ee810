// SPDX-License-Identifier: Apache-2.0
/*
 * uplink.h --
 *
 *    The uplink family: the two lists of a switch's uplink port names, the
 *    teaming policy that binds uplinks to a port or a switch, and the
 *    commands behind them (-U creates uplink ports, -X deletes one, -L
 *    writes a teaming policy). Keys, then the packed value layouts, then
 *    the value-name table, the builders, the handlers and the printers.
 */

#ifndef APPS_NET_DVS_PROPS_UPLINK_H
#define APPS_NET_DVS_PROPS_UPLINK_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* ---- Keys -------------------------------------------------------------- */

/* The uplink port lists: the global list names ports by alias, the host list by name. */
#define UPLINK_KEY_GLOBAL_LIST "com.corvane.common.uplinkPorts"
#define UPLINK_KEY_HOST_LIST "com.corvane.common.host.uplinkPorts"
/* Teaming policy of an etherswitch port, and of a whole vswitch or cswitch. */
#define TEAMING_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.teaming"
#define TEAMING_KEY_VSWITCH "com.corvane.vswitch.teaming"
/* Keys that this tool only prints. */
#define TEAMING_KEY_VSWITCH_PORT "com.corvane.vswitch.port.teaming.policy"
#define TEAMING_KEY_LOGICAL_SWITCH "com.corvane.vswitch.logicalswitch.teaming"

/* The family's printer rows and usage entries (-L, -U, -X). */
extern const PropFamily UPLINK_FAMILY;

/* ---- Layouts ----------------------------------------------------------- */

/*
 * UplinkPortList, packed, little-endian:
 *
 *   offset 0  u32  count
 *   offset 4       count slots of UPLINK_GLOBAL_SLOT_LEN (global list) or
 *                  UPLINK_HOST_SLOT_LEN (host list) bytes, each a
 *                  NUL-terminated name; bytes after the NUL do not count
 */
#define UPLINK_LIST_OFF_COUNT 0
#define UPLINK_LIST_OFF_SLOTS 4
#define UPLINK_LIST_HEADER_LEN 4
#define UPLINK_GLOBAL_SLOT_LEN 81
#define UPLINK_HOST_SLOT_LEN 48

/* -U creates 1 to UPLINK_PORTS_MAX ports; a teaming policy names at most as many. */
#define UPLINK_PORTS_MAX 32

/*
 * TeamingPolicy, packed, little-endian, TEAMING_POLICY_LEN bytes:
 *
 *   offset 0   u32  load-balancing policy (TEAMING_LB_*)
 *   offset 4   u32  link-selection flags (TEAMING_LINK_*)
 *   offset 8   u32  reserved, 0
 *   offset 12  u32  link-behaviour flags (TEAMING_BEHAVIOR_*)
 *   offset 16  u32  active count
 *   offset 20  u32  standby count
 *   offset 24       UPLINK_PORTS_MAX slots of UPLINK_GLOBAL_SLOT_LEN bytes:
 *                   the active names, then the standby names
 */
#define TEAMING_OFF_LOAD_BALANCING 0
#define TEAMING_OFF_LINK_SELECTION 4
#define TEAMING_OFF_RESERVED 8
#define TEAMING_OFF_LINK_BEHAVIOR 12
#define TEAMING_OFF_ACTIVE_COUNT 16
#define TEAMING_OFF_STANDBY_COUNT 20
#define TEAMING_OFF_NAMES 24
#define TEAMING_POLICY_LEN (TEAMING_OFF_NAMES + UPLINK_PORTS_MAX * UPLINK_GLOBAL_SLOT_LEN)
static_assert(TEAMING_POLICY_LEN == 2616, "teaming policy size");

/*
 * LogicalSwitchTeamingList, packed, little-endian: u32 count at offset 0,
 * then count entries of LS_TEAMING_ENTRY_LEN bytes from offset 4. An entry
 * has no reserved word between link selection and link behaviour:
 *
 *   offset 0    char[136]  policy name
 *   offset 136  u32        load-balancing policy
 *   offset 140  u32        link-selection flags
 *   offset 144  u32        link-behaviour flags
 *   offset 148  u32        active count
 *   offset 152  u32        standby count
 *   offset 156             UPLINK_PORTS_MAX slots of UPLINK_GLOBAL_SLOT_LEN bytes
 */
#define LS_TEAMING_OFF_COUNT 0
#define LS_TEAMING_OFF_ENTRIES 4
#define LS_TEAMING_ENTRY_OFF_NAME 0
#define LS_TEAMING_NAME_LEN 136
#define LS_TEAMING_ENTRY_OFF_LOAD_BALANCING 136
#define LS_TEAMING_ENTRY_OFF_LINK_SELECTION 140
#define LS_TEAMING_ENTRY_OFF_LINK_BEHAVIOR 144
#define LS_TEAMING_ENTRY_OFF_ACTIVE_COUNT 148
#define LS_TEAMING_ENTRY_OFF_STANDBY_COUNT 152
#define LS_TEAMING_ENTRY_OFF_NAMES 156
#define LS_TEAMING_ENTRY_LEN \
  (LS_TEAMING_ENTRY_OFF_NAMES + UPLINK_PORTS_MAX * UPLINK_GLOBAL_SLOT_LEN)
static_assert(LS_TEAMING_ENTRY_LEN == 2748, "logical-switch teaming entry size");

/* Load-balancing policies, the values of -t. */
#define TEAMING_LB_SOURCE_PORT_ID 3 /* the default without -t */
#define TEAMING_LB_MAX 5

/* Link-selection flags. 0x200 is always written and never shown. */
#define TEAMING_LINK_STATE_UP 0x80
#define TEAMING_LINK_BEACON_OK 0x20
#define TEAMING_LINK_WRITER_BIT 0x200

/* Link-behaviour flags. */
#define TEAMING_BEHAVIOR_NOTIFY_SWITCH 0x20
#define TEAMING_BEHAVIOR_ROLLING_FAILOVER 0x08
#define TEAMING_BEHAVIOR_BEST_EFFORT 0x04
#define TEAMING_BEHAVIOR_SHOTGUN 0x10

/* ---- Builders, shared with the LACP family ------------------------------ */

/*
 * An uplink port list of the given names, one slot of slotWidth bytes
 * each (UPLINK_GLOBAL_SLOT_LEN or UPLINK_HOST_SLOT_LEN); a name longer
 * than its slot is cut to slotWidth - 1 characters. The caller owns the
 * returned value.
 */
ByteWriter UplinkPortList_Build(const std::vector<std::string> &names, size_t slotWidth);

/*
 * The teaming policy of -L: the comma-separated uplinkNames as active
 * uplinks (each cut to 80 characters), loadBalancing as given, link state
 * up and, with beaconProbing (-c), beacon state ok. Returns nothing when
 * the list holds a blank, an empty item or more than UPLINK_PORTS_MAX
 * names; the caller owns the returned value.
 */
std::optional<ByteWriter> TeamingPolicy_Build(const char *uplinkNames, int32_t loadBalancing,
                                              bool beaconProbing);

/*
 * Creates count uplink ports named by nameFormat (a printf format with one
 * integer conversion, given 0 to count - 1) with Port_Init in state, then
 * writes both uplink lists with exactly these names (the host list only
 * when the global list was written). A port that cannot be created is
 * skipped. When count is outside 1 to UPLINK_PORTS_MAX or the format is
 * longer than 47 characters (46 from 10 ports on), prints a line on
 * standard output and returns a result that ends the command with 255,
 * having made nothing. Returns the status of the last list write.
 */
CommandResult CreateUplinkPorts(const StateOps &state, const char *sw, int32_t count,
                                const char *nameFormat, SwitchClass cls);

/* ---- Commands ---------------------------------------------------------- */

/* -U number: creates uplink0, uplink1, ... with CreateUplinkPorts. */
CommandResult Cmd_AddUplinks(const CommandContext &ctx);

/*
 * -X -p port: removes the port and strikes it from the uplink lists that
 * hold it. The port's alias and both lists are read from the kernel in
 * either mode; the removal and the writes go to ctx.state. Returns
 * ZOR_NOT_FOUND for a port that the loaded configuration does not have,
 * else the first failing read, the removal's or the last write's status.
 */
CommandResult Cmd_DeleteUplink(const CommandContext &ctx);

/*
 * -L names [-t policy] [-c] [-p port]: writes a teaming policy with the
 * names as active uplinks, on the port (etherswitch) or the switch (other
 * classes). A list with a blank or an empty item, or of more than
 * UPLINK_PORTS_MAX names, and an etherswitch without -p, end in the usage
 * text. Returns the write's status.
 */
CommandResult Cmd_SetTeaming(const CommandContext &ctx);

/* ---- Printers ---------------------------------------------------------- */

/* The global uplink list: the names joined by ", ", or "<none>"; then the flags. */
void Prop_PrintUplinkPorts(const PrintContext &pc, const char *key, const void *value,
                           uint32_t length, int32_t flags);
/* The host uplink list, as Prop_PrintUplinkPorts with 48-byte slots. */
void Prop_PrintHostUplinkPorts(const PrintContext &pc, const char *key, const void *value,
                               uint32_t length, int32_t flags);
/* A teaming policy: load balancing, link selection and behaviour, active and standby names. */
void Prop_PrintTeamingPolicy(const PrintContext &pc, const char *key, const void *value,
                             uint32_t length, int32_t flags);
/* Each named policy of a logical switch, as Prop_PrintTeamingPolicy one tab deeper. */
void Prop_PrintLogicalSwitchTeaming(const PrintContext &pc, const char *key, const void *value,
                                    uint32_t length, int32_t flags);

/*
 * Their JSON writers, from the same decodes: a list as {"uplinks":
 * [name, ...]}, a teaming policy as {"loadBalancing", "linkSelection",
 * "linkBehavior", "active": [name, ...], "standby": [name, ...]}, the
 * logical switches' policies as {"policies": [{"policyName", and the
 * teaming policy's fields}]}.
 */
void Prop_JsonUplinkPorts(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonHostUplinkPorts(const PrintContext &pc, const void *value, uint32_t length,
                              JsonOut &out);
void Prop_JsonTeamingPolicy(const PrintContext &pc, const void *value, uint32_t length,
                            JsonOut &out);
void Prop_JsonLogicalSwitchTeaming(const PrintContext &pc, const void *value, uint32_t length,
                                   JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_UPLINK_H
