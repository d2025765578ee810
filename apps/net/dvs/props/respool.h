// SPDX-License-Identifier: Apache-2.0
/*
 * respool.h --
 *
 *    Network resource pools and host status: the pool list and scheduling
 *    flag of a switch, the pool configuration and pool association of a
 *    port, and the host's status colour and message. Keys, then the packed
 *    value layouts, then the parsers, the commands (-k, -K, -z, -j, -H) and
 *    the printers.
 *
 *    Every command of this family publishes its value to the kernel's copy
 *    of the switch, in file mode as well as in kernel mode: on a host
 *    without a kernel they fail with the kernel channel's status.
 */

#ifndef APPS_NET_DVS_PROPS_RESPOOL_H
#define APPS_NET_DVS_PROPS_RESPOOL_H

#include <stdint.h>

#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"

/* Keys. The global configuration key carries the port layout and is only printed. */
#define RESPOOL_KEY_LIST "com.corvane.common.respools.list"
#define RESPOOL_KEY_SCHED "com.corvane.common.respools.sched"
#define RESPOOL_KEY_GLOBAL_CFG "com.corvane.common.respools.cfg"
#define RESPOOL_KEY_PORT_CFG "com.corvane.common.port.respools.cfg"
#define RESPOOL_KEY_PORT_ASSOC "com.corvane.common.port.respool.assoc"
#define HOST_STATUS_KEY "com.corvane.common.host.volatile.status"
#define HOST_STATUS_KEY_OVERLAY "com.corvane.common.host.volatile.overlay.status"

/* The family's printer rows and usage entries (-k, -K, -z, -j, -H). */
extern const PropFamily RESPOOL_FAMILY;

/* A pool ID: at most 127 characters, NUL-terminated in a zero-filled 128-byte field. */
#define RESPOOL_ID_LEN 128
#define RESPOOL_ID_MAX_CHARS (RESPOOL_ID_LEN - 1)

/*
 * RespoolList, packed, little-endian; 4 + 200 x n bytes.
 *
 *   offset 0          u32        n, the number of pools
 *   offset 4 + 200i   128 bytes  pool ID i
 *   offset 132 + 200i 72 bytes   zero
 */
#define RESPOOL_LIST_OFF_COUNT 0
#define RESPOOL_LIST_OFF_ENTRIES 4
#define RESPOOL_LIST_ENTRY_LEN 200

/*
 * RespoolConfig, packed, little-endian; 4 + 212 x n bytes: u32 n at
 * offset 0, then n entries of 212 bytes from offset 4.
 *
 *   entry offset 0    128 bytes  pool ID
 *   entry offset 128  u8         tag
 *   entry offset 129  u32        reservation (unaligned)
 *   entry offset 133  67 bytes   zero
 *   entry offset 200  u32        shares
 *   entry offset 204  i32        limit
 *   entry offset 208  4 bytes    zero
 */
#define RESPOOL_CFG_OFF_COUNT 0
#define RESPOOL_CFG_OFF_ENTRIES 4
#define RESPOOL_CFG_ENTRY_LEN 212
#define RESPOOL_CFG_ENTRY_OFF_ID 0
#define RESPOOL_CFG_ENTRY_OFF_TAG 128
#define RESPOOL_CFG_ENTRY_OFF_RESERVATION 129
#define RESPOOL_CFG_ENTRY_OFF_SHARES 200
#define RESPOOL_CFG_ENTRY_OFF_LIMIT 204

/*
 * RespoolAssociation, packed, little-endian; 516 bytes.
 *
 *   offset 0  u32        1
 *   offset 4  128 bytes  pool ID
 *   offset 132           zero up to the end
 */
#define RESPOOL_ASSOC_OFF_ONE 0
#define RESPOOL_ASSOC_OFF_ID 4
#define RESPOOL_ASSOC_LEN 516

/* Pool scheduling: one byte, 1 active, 0 inactive. */
#define RESPOOL_SCHED_LEN 1

/*
 * HostStatus, packed, little-endian; 260 bytes.
 *
 *   offset 0  u32        colour: 0 green, 1 yellow, 2 red
 *   offset 4  256 bytes  message, at most 255 characters, zero after its NUL
 */
#define HOST_STATUS_OFF_COLOUR 0
#define HOST_STATUS_OFF_MESSAGE 4
#define HOST_STATUS_MESSAGE_LEN 256
#define HOST_STATUS_LEN (HOST_STATUS_OFF_MESSAGE + HOST_STATUS_MESSAGE_LEN)

/*
 * Parsers. Each reads the whole text and, on success, replaces value with
 * the packed value and returns 0. A text that does not parse prints the
 * family's message on standard error and returns ZOR_BAD_PARAM; a value
 * that cannot be allocated prints "Unable to allocate memory" and returns
 * ZOR_NO_RESOURCES. value is the caller's.
 */

/* "id1;id2;...": a RespoolList; an empty text is a list of none. */
ZOR_ReturnStatus Respool_ParseList(const char *text, std::vector<uint8_t> &value);
/*
 * "id:reservation:shares:limit:tag;...": a RespoolConfig; an empty text is
 * a configuration of none. Each entry is the text up to the next ';', and
 * its pool ID is its text up to its first ':'.
 */
ZOR_ReturnStatus Respool_ParseConfig(const char *text, std::vector<uint8_t> &value);
/* "id": a RespoolAssociation (the caller handles the empty text, which clears). */
ZOR_ReturnStatus Respool_ParseAssociation(const char *text, std::vector<uint8_t> &value);
/* "activate..." gives 1, "deactivate..." 0 (prefix tests), in a one-byte value. */
ZOR_ReturnStatus Respool_ParseScheduling(const char *text, std::vector<uint8_t> &value);
/* "red|yellow|green[:message]": a HostStatus, the message cut to 255 characters. */
ZOR_ReturnStatus HostStatus_Parse(const char *text, std::vector<uint8_t> &value);

/*
 * Operations. Each parses text, writes the value to the kernel's copy of
 * switch sw (flags CONFIG) through kernel and returns the kernel's status, or the
 * parser's status without writing anything. A failed write prints the
 * family's message on standard error.
 */
ZOR_ReturnStatus Respool_SetList(const StateOps &kernel, const char *sw, const char *text);
ZOR_ReturnStatus Respool_SetPortConfig(const StateOps &kernel, const char *sw, const char *port,
                                       const char *text);
/* An empty text removes the port's association instead. */
ZOR_ReturnStatus Respool_SetAssociation(const StateOps &kernel, const char *sw, const char *port,
                                        const char *text);
ZOR_ReturnStatus Respool_SetScheduling(const StateOps &kernel, const char *sw, const char *text);
/*
 * After the write, whatever it returned, posts the host-status-change
 * event for sw (through Event_Submit with events).
 */
ZOR_ReturnStatus HostStatus_Set(const StateOps &kernel, EventQueue *events, const char *sw,
                                const char *text);

/*
 * Command handlers: -k, -K, -z, -j and -H with the command's argument.
 * -K and -z write to the -p port, which their rows of the command table
 * require.
 */
CommandResult Cmd_SetRespoolList(const CommandContext &ctx);
CommandResult Cmd_SetRespoolConfig(const CommandContext &ctx);
CommandResult Cmd_SetRespoolAssociation(const CommandContext &ctx);
CommandResult Cmd_SetRespoolScheduling(const CommandContext &ctx);
CommandResult Cmd_SetHostStatus(const CommandContext &ctx);

/*
 * Printers of the listing (PropPrinter form). Each reads only what lies
 * inside the value: a count is never trusted beyond the length, and a
 * printer stops, ending its line, at the first field that the value does
 * not hold.
 */
void Prop_PrintRespoolsSched(const PrintContext &pc, const char *key, const void *value,
                             uint32_t length, int32_t flags);
void Prop_PrintRespoolsCfg(const PrintContext &pc, const char *key, const void *value,
                           uint32_t length, int32_t flags);
void Prop_PrintRespoolsList(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags);
void Prop_PrintRespoolAssoc(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags);
void Prop_PrintHostStatus(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);

/*
 * Their JSON writers, from the same decodes: {"scheduling"}, {"pools":
 * [{"id", "reservation", "shares", "limit", "tag"}]}, {"pools": [id,
 * ...]}, {"id"} and {"colour", "message"}.
 */
void Prop_JsonRespoolsSched(const PrintContext &pc, const void *value, uint32_t length,
                            JsonOut &out);
void Prop_JsonRespoolsCfg(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonRespoolsList(const PrintContext &pc, const void *value, uint32_t length,
                           JsonOut &out);
void Prop_JsonRespoolAssoc(const PrintContext &pc, const void *value, uint32_t length,
                           JsonOut &out);
void Prop_JsonHostStatus(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_RESPOOL_H
