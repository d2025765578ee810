// SPDX-License-Identifier: Apache-2.0
/*
 * lacp.h --
 *
 *    The LACP family: a switch's link aggregation groups (LAGs). The LAG
 *    table is a global property of the switch; --setLACP brings the
 *    switch's LAG ports (named after the lag name, a hyphen and an index)
 *    and both uplink lists in line with a new table and stores it. Also
 *    the check of '*'-separated LAG texts that --configLAG shares, the
 *    load-balance names and the printers of the table and of a port's
 *    LACP state. Keys, layouts, value names, parser, handler, printers.
 */

#ifndef APPS_NET_DVS_PROPS_LACP_H
#define APPS_NET_DVS_PROPS_LACP_H

#include <stdint.h>

#include <string_view>
#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* ---- Keys -------------------------------------------------------------- */

#define LACP_KEY_GROUPS "com.corvane.etherswitch.lacp"
/* A port's LACP state, set by the switch module; this tool only prints it. */
#define LACP_KEY_PORT "com.corvane.etherswitch.port.lacp"

/* ---- Layouts ----------------------------------------------------------- */

/*
 * LacpGroupTable, packed, little-endian: u32 count at offset 0, then count
 * LagEntry records of LAG_ENTRY_LEN bytes from offset 4.
 *
 * LagEntry:
 *   offset 0   char[65]  lag name, 1 to 64 characters, zero-filled
 *   offset 65  char[16]  lag key, 1 to 15 decimal digits, zero-filled
 *   offset 81  u32       mode (LACP_MODE_*)
 *   offset 85  u32       load-balance policy, 1 to 20 (LacpLoadBalanceNames)
 *   offset 89  u32       lag port number: the LAG owns ports <name>-0 to -(n-1)
 */
#define LACP_TABLE_OFF_COUNT 0
#define LACP_TABLE_OFF_ENTRIES 4
#define LACP_TABLE_HEADER_LEN 4
#define LAG_ENTRY_OFF_NAME 0
#define LAG_ENTRY_OFF_KEY 65
#define LAG_ENTRY_OFF_MODE 81
#define LAG_ENTRY_OFF_LOAD_BALANCE 85
#define LAG_ENTRY_OFF_PORT_NUMBER 89
#define LAG_ENTRY_LEN 93

/* Widths of the lag name and key fields, NUL included. */
#define LAG_NAME_LEN 65
#define LAG_KEY_LEN 16
/* Longest lag name and key, in characters. */
#define LAG_NAME_MAX (LAG_NAME_LEN - 1)
#define LAG_KEY_MAX (LAG_KEY_LEN - 1)

#define LACP_MODE_ACTIVE 1
#define LACP_MODE_PASSIVE 2

/* At most this many LAGs, and this many LAG ports in all, on one switch. */
#define LACP_MAX_LAGS 64u
#define LACP_MAX_LAG_PORTS 32u

/* Lowest switch version that takes LACP version 2. */
#define LACP_MIN_SWITCH_VERSION 4u

/*
 * A port's LACP state, packed, little-endian:
 *   offset 0  u8   enabled (1), anything else disabled
 *   offset 4  u32  mode (LACP_MODE_*)
 */
#define PORT_LACP_OFF_ENABLED 0
#define PORT_LACP_OFF_MODE 4

/* ---- Value names ------------------------------------------------------- */

/* Load-balance algorithm names by policy value; 0 ("None") is not accepted by --setLACP. */
#define LACP_LOAD_BALANCE_MAX 20
extern const ValueName LacpLoadBalanceNames[LACP_LOAD_BALANCE_MAX + 1];

/* The family's printer rows and usage entry (--setLACP). */
extern const PropFamily LACP_FAMILY;

/* ---- Walk -------------------------------------------------------------- */

/*
 * Calls visit(offset) with the offset of each LAG entry of a table, in
 * order, as many as the table's count claims (none when the value holds
 * no count); stops when visit returns false. visit checks that what it
 * reads lies inside the value.
 */
template <typename Visit>
void LacpGroupTable_ForEach(const ByteReader &table, Visit visit) {
  const uint32_t count = table.U32(LACP_TABLE_OFF_COUNT).value_or(0);
  for (uint64_t i = 0; i < count; i++) {
    if (!visit(LACP_TABLE_OFF_ENTRIES + i * LAG_ENTRY_LEN)) break;
  }
}

/* ---- Parser ------------------------------------------------------------ */

/* What the check of a LAG name or key in a command's text found, in the order it checks. */
enum class LagTextCheck { OK, EMPTY, TOO_LONG, HAS_PERCENT, ZERO, NOT_DIGITS };
/* A LAG name: EMPTY, TOO_LONG (over LAG_NAME_LEN - 1 characters), HAS_PERCENT, or OK. */
LagTextCheck LagName_Check(std::string_view name);
/* A LAG key: EMPTY, ZERO ("0", kept for LACP version 1), TOO_LONG (over LAG_KEY_LEN - 1),
 * NOT_DIGITS, or OK. */
LagTextCheck LagKey_Check(std::string_view key);

/*
 * Checks a '*'-separated LAG text: it must begin with '*' and every LAG
 * must have exactly fieldsPerLag fields, each closed by ';' (a trailing
 * piece without any ';' is not a LAG), and there may be at most
 * LACP_MAX_LAGS LAGs. Prints the reason on standard error and returns
 * ZOR_BAD_PARAM or ZOR_NOT_SUPPORTED; on success returns 0 and the number
 * of LAGs in lagCount.
 */
ZOR_ReturnStatus ValidateLagConfig(const char *text, int fieldsPerLag, uint32_t *lagCount);

/*
 * Parses the LAGs of a --setLACP text (after its "v2*" prefix) into a LAG
 * table of lagCount entries in table; the text is assumed to have passed
 * ValidateLagConfig. Prints the reason on standard error and returns
 * ZOR_BAD_PARAM for a malformed field, ZOR_NOT_SUPPORTED for a lag port
 * number outside 0 to LACP_MAX_LAG_PORTS or a total above it; else 0.
 */
ZOR_ReturnStatus LacpGroupTable_Parse(const char *text, uint32_t lagCount,
                                      std::vector<uint8_t> &table);

/* ---- Command ----------------------------------------------------------- */

/*
 * --setLACP "v2*name;key;ports;mode;policy;*...": creates and removes LAG
 * ports so that the switch holds exactly the ports of the new LAGs, then
 * writes both uplink lists (the LAG ports only) and the LAG table. "v2*"
 * alone deletes the LAGs. The stored table is read, and LAG ports are
 * removed, through the kernel in either mode. Returns 0 or the failing
 * step's status after printing why.
 */
CommandResult Cmd_SetLacp(const CommandContext &ctx);

/* ---- Printers ---------------------------------------------------------- */

/* The LAG table: name, key, mode, load-balance policy and port number of each LAG; the flags. */
void Prop_PrintLacpGroups(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);
/* A port's LACP state: enabled or disabled and, when enabled, the mode. No flags line. */
void Prop_PrintPortLacp(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);

/*
 * Their JSON writers, from the same decodes: the table as {"lags":
 * [{"lagName", "lagKey", "mode", "loadBalancePolicy", "lagPortNumber",
 * "members": [the LAG's uplink port names]}]}, a port's setting as
 * {"status", "mode"}.
 */
void Prop_JsonLacpGroups(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonPortLacp(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_LACP_H
