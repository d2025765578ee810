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

#include <vector>

#include "brakk.h"
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
extern const char *const LacpLoadBalanceNames[LACP_LOAD_BALANCE_MAX + 1];

/* ---- Parser ------------------------------------------------------------ */

/*
 * Checks a '*'-separated LAG text: it must begin with '*' and every LAG
 * must have exactly fieldsPerLag fields, each closed by ';' (a trailing
 * piece without any ';' is not a LAG). Then loads the configuration of
 * state's mode and checks that switch sw exists and that there are at
 * most LACP_MAX_LAGS LAGs. Prints the reason on standard error and
 * returns ZOR_BAD_PARAM, ZOR_FAILURE or ZOR_NOT_SUPPORTED; on success
 * returns 0 and the number of LAGs in lagCount. Leaves the configuration
 * state loaded.
 */
ZOR_ReturnStatus ValidateLagConfig(const StateOps &state, const char *sw, const char *text,
                                   int fieldsPerLag, uint32_t *lagCount);

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
ZOR_ReturnStatus Cmd_SetLacp(const CommandContext &ctx);

/* ---- Printers ---------------------------------------------------------- */

/* The LAG table: name, key, mode, load-balance policy and port number of each LAG; the flags. */
void Prop_PrintLacpGroups(const char *key, const void *value, uint32_t length, int32_t flags);
/* A port's LACP state: enabled or disabled and, when enabled, the mode. No flags line. */
void Prop_PrintPortLacp(const char *key, const void *value, uint32_t length, int32_t flags);

#endif  // APPS_NET_DVS_PROPS_LACP_H
