// SPDX-License-Identifier: Apache-2.0
/*
 * vlan.h --
 *
 *    The VLAN family: the VLAN policy and priority of a port
 *    ("com.corvane.*.port.vlan", "com.corvane.*.port.priority"), the
 *    private-VLAN map of a switch ("com.corvane.*.pvlanMap") and the
 *    volatile VLAN that the kernel reports for a port. Keys, then the
 *    packed value layouts, then the parsers, the command handlers of -v
 *    and -V, and the printers.
 */

#ifndef APPS_NET_DVS_PROPS_VLAN_H
#define APPS_NET_DVS_PROPS_VLAN_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* ---- Keys ---------------------------------------------------------------- */

/* The port VLAN policy; the class of the switch chooses one. */
#define VLAN_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.vlan"
#define VLAN_KEY_VSWITCH_PORT "com.corvane.vswitch.port.vlan"
/* The port priority, written by -v when its flag field holds a digit. */
#define VLAN_KEY_ETHERSWITCH_PRIORITY "com.corvane.etherswitch.port.priority"
#define VLAN_KEY_VSWITCH_PRIORITY "com.corvane.vswitch.port.priority"
/* The private-VLAN map, on the switch's global list. */
#define VLAN_KEY_ETHERSWITCH_PVLAN_MAP "com.corvane.etherswitch.pvlanMap"
#define VLAN_KEY_VSWITCH_PVLAN_MAP "com.corvane.vswitch.pvlanMap"
/* The VLAN the kernel reports for a port; this tool only prints it. */
#define VLAN_KEY_VOLATILE "com.corvane.common.port.volatile.vlan"

/* The keys that the commands write, by the class of the switch. */
inline constexpr ClassKey VLAN_POLICY_KEY = {VLAN_KEY_ETHERSWITCH_PORT, VLAN_KEY_VSWITCH_PORT};
inline constexpr ClassKey VLAN_PRIORITY_KEY = {VLAN_KEY_ETHERSWITCH_PRIORITY,
                                               VLAN_KEY_VSWITCH_PRIORITY};
inline constexpr ClassKey PVLAN_MAP_KEY = {VLAN_KEY_ETHERSWITCH_PVLAN_MAP,
                                           VLAN_KEY_VSWITCH_PVLAN_MAP};

/* The family's printer rows and usage entries (-v, -V). */
extern const PropFamily VLAN_FAMILY;

/* ---- Layouts -------------------------------------------------------------- */

/*
 * VlanPolicy, packed, little-endian: an 8-byte header followed by
 * rangeCount ranges of 4 bytes.
 *
 *   offset 0  u16  flags (VLAN_POLICY_GUEST_TAGGING, VLAN_POLICY_PRIVATE)
 *   offset 2  u16  VLAN ID (the PVLAN ID when VLAN_POLICY_PRIVATE is set)
 *   offset 4  u16  reserved, 0
 *   offset 6  u16  rangeCount
 *   offset 8       rangeCount x { u16 low, u16 high }
 */
#define VLAN_POLICY_OFF_FLAGS 0
#define VLAN_POLICY_OFF_VLAN_ID 2
#define VLAN_POLICY_OFF_RESERVED 4
#define VLAN_POLICY_OFF_RANGE_COUNT 6
#define VLAN_POLICY_OFF_RANGES 8
#define VLAN_POLICY_HEADER_LEN 8
#define VLAN_RANGE_OFF_LOW 0
#define VLAN_RANGE_OFF_HIGH 2
#define VLAN_RANGE_LEN 4

#define VLAN_POLICY_GUEST_TAGGING 0x0001
#define VLAN_POLICY_PRIVATE 0x0002

/* The one range that guest VLAN tagging without a range field allows. */
#define VLAN_TRUNK_ALL_LOW 0
#define VLAN_TRUNK_ALL_HIGH 4094

/* Port priority: one signed 32-bit value, 0 to 7. */
#define VLAN_PRIORITY_LEN 4

/*
 * PvlanMap, packed, little-endian: entries of 8 bytes with no count; the
 * value's length is 8 x the number of entries.
 *
 *   offset 0  u16  primary VLAN ID
 *   offset 2  u16  secondary VLAN ID
 *   offset 4  u8   type (PVLAN_TYPE_*)
 *   offset 5       3 bytes padding, zero
 */
#define PVLAN_ENTRY_OFF_PRIMARY 0
#define PVLAN_ENTRY_OFF_SECONDARY 2
#define PVLAN_ENTRY_OFF_TYPE 4
#define PVLAN_ENTRY_LEN 8

#define PVLAN_TYPE_PROMISCUOUS 1
#define PVLAN_TYPE_ISOLATED 2
#define PVLAN_TYPE_COMMUNITY 3

/*
 * VolatileVlan, packed, little-endian, written by the kernel:
 *
 *   offset 0  u16  VLAN ID
 *   offset 2  u16  rangeCount
 *   offset 4       rangeCount x { u16 low, u16 high }
 */
#define VOLATILE_VLAN_OFF_VLAN_ID 0
#define VOLATILE_VLAN_OFF_RANGE_COUNT 2
#define VOLATILE_VLAN_OFF_RANGES 4

/* ---- Builders and parsers ------------------------------------------------- */

/*
 * The VLAN policy a new port starts with: for an ordinary port no VLAN and
 * no range (8 bytes); for an uplink port guest VLAN tagging, VLAN 0 and the
 * one range 1-4094 (12 bytes).
 */
ByteWriter VlanPolicy_BuildInitial(bool uplink);

/* What the text of -v asks for: the policy value and, when a digit was given, the priority. */
struct VlanSetting {
  std::vector<uint8_t> policy;
  std::optional<int32_t> priority;
};

/*
 * Parses the text of -v, "vlanID[;flags[;ranges]]", into setting (the
 * caller's). Unknown flag characters are reported on standard output and
 * skipped. Returns 0, or ZOR_BAD_PARAM after one line on standard error
 * when a ',' stands outside the range field; setting is then left alone.
 */
ZOR_ReturnStatus VlanPolicy_Parse(const char *text, VlanSetting &setting);

/*
 * Parses the text of -V, "primary,secondary,type;..." into map (the
 * caller's, replaced on success), printing the entry count and then every
 * entry on standard output. Returns 0; -1 after "bad mapping type: %s"
 * on standard output for a type other than p, i or c; ZOR_BAD_PARAM after
 * one line on standard error when an entry is missing one of its commas or
 * the ';' that separates it from the next one. map is left alone on
 * failure.
 */
ZOR_ReturnStatus PvlanMap_Parse(const char *text, std::vector<uint8_t> &map);

/* ---- Command handlers ----------------------------------------------------- */

/*
 * -v: writes the priority (when the text gives a digit; its status is
 * ignored) and then the VLAN policy of the port ctx.inv.portName, both with
 * flags CONFIG in ctx.state. Returns the status of the policy write, or
 * the parser's refusal before anything is written.
 */
CommandResult Cmd_SetVlan(const CommandContext &ctx);

/*
 * -V: replaces the switch's private-VLAN map with the one that
 * ctx.inv.pvlanSpec describes, with flags CONFIG in ctx.state. Returns the
 * status of the write, or the parser's refusal before anything is written.
 */
CommandResult Cmd_SetPvlanMap(const CommandContext &ctx);

/* ---- Printers (PropPrinter) and JSON writers (PropJsonWriter) --------------- */

/*
 * Each JSON writer writes the decode that its printer prints from: a
 * policy as {"mode" (Guest VLAN tagging, PVLAN, VLAN or No VLAN, with
 * the flags word), "vlanId", "ranges": [{"low", "high"}]}, a map as
 * {"entries": [{"primary", "secondary", "type"}]}, the volatile VLAN as
 * {"vlanId", "ranges"}.
 */
void Prop_JsonPortVlan(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonPvlanMap(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonVolatileVlan(const PrintContext &pc, const void *value, uint32_t length,
                           JsonOut &out);

/* Prints a port VLAN policy: the VLAN line, the ranges and the flags. */
void Prop_PrintPortVlan(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);
/* Prints a private-VLAN map: one line per whole entry, then the flags. */
void Prop_PrintPvlanMap(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);
/* Prints the volatile VLAN of a port: the VLAN line, the ranges and the flags. */
void Prop_PrintVolatileVlan(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags);

#endif  // APPS_NET_DVS_PROPS_VLAN_H
