// SPDX-License-Identifier: Apache-2.0
/*
 * lag.h --
 *
 *    The LAG extra configuration family: per-host LACP settings of a
 *    switch's LAGs (the timeout of a LAG, the timeouts of single dvports
 *    of a LAG), kept in one host property as a list of LAGs each followed
 *    by its configuration items. --configLAG merges its items into the
 *    stored list and writes it back. Keys, layout, the in-memory list,
 *    parser, handler, printer.
 */

#ifndef APPS_NET_DVS_PROPS_LAG_H
#define APPS_NET_DVS_PROPS_LAG_H

#include <stdint.h>

#include <array>
#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"
#include "props/lacp.h"

/* ---- Key --------------------------------------------------------------- */

#define LAG_EXTRA_KEY "com.corvane.common.host.lacp.extraconfig"

/* The family's printer row and usage entry (--configLAG). */
extern const PropFamily LAG_EXTRA_FAMILY;

/* ---- Layout ------------------------------------------------------------ */

/*
 * LagExtraConfig, packed, little-endian, nothing aligned:
 *
 *   offset 0  u32  num: number of LAG entries
 *   then num times a LagConfigEntry, each followed by its numItems items
 *
 * LagConfigEntry, LAG_CONFIG_ENTRY_LEN bytes:
 *   offset 0   char[65]  lag name, zero-filled
 *   offset 65  char[16]  lag key, zero-filled
 *   offset 81  u32       numItems
 *
 * LagConfigItem, LAG_CONFIG_ITEM_HEADER_LEN + len bytes:
 *   offset 0  u32  type (LAG_ITEM_*)
 *   offset 4  u32  len
 *   offset 8       len data bytes:
 *                  LAG_ITEM_LAG_TIMEOUT: u32 timeout (LAG_TIMEOUT_*)
 *                  LAG_ITEM_PORT_TIMEOUT: char[81] dvport name, zero-filled,
 *                                         then u32 timeout at data offset 81
 */
#define LAG_EXTRA_OFF_NUM 0
#define LAG_EXTRA_HEADER_LEN 4
#define LAG_CONFIG_ENTRY_OFF_NAME 0
#define LAG_CONFIG_ENTRY_OFF_KEY 65
#define LAG_CONFIG_ENTRY_OFF_NUM_ITEMS 81
#define LAG_CONFIG_ENTRY_LEN 85
#define LAG_CONFIG_ITEM_OFF_TYPE 0
#define LAG_CONFIG_ITEM_OFF_LEN 4
#define LAG_CONFIG_ITEM_OFF_DATA 8
#define LAG_CONFIG_ITEM_HEADER_LEN 8
#define LAG_TIMEOUT_DATA_LEN 4
#define PORT_TIMEOUT_OFF_NAME 0
#define PORT_TIMEOUT_NAME_LEN 81
#define PORT_TIMEOUT_OFF_TIMEOUT 81
#define PORT_TIMEOUT_DATA_LEN 85

#define LAG_ITEM_LAG_TIMEOUT 1u
#define LAG_ITEM_PORT_TIMEOUT 2u

#define LAG_TIMEOUT_FAST 1u
#define LAG_TIMEOUT_SLOW 2u

/* ---- The list in memory ------------------------------------------------ */

/* One configuration item: its type and its data (len is the data's size). */
struct LagConfigItem {
  uint32_t type;
  std::vector<uint8_t> data;
};

/*
 * One LAG of the list. Name and key keep their stored fields byte for
 * byte, so that a list read and written back is unchanged.
 */
struct LagConfigEntry {
  std::array<uint8_t, LAG_NAME_LEN> name{};
  std::array<uint8_t, LAG_KEY_LEN> key{};
  std::vector<LagConfigItem> items;
};

/*
 * Decodes a stored value into entries. Prints the reason on standard
 * error and returns ZOR_INVALID_DATA when an entry or item reaches past
 * the value, ZOR_BAD_PARAM when bytes are left over; else 0.
 */
ZOR_ReturnStatus LagExtraConfig_Decode(const void *value, uint32_t length,
                                       std::vector<LagConfigEntry> &entries);

/* Encodes entries in order as the stored value; the caller owns it. */
ByteWriter LagExtraConfig_Encode(const std::vector<LagConfigEntry> &entries);

/*
 * Merges the LAGs of text (a --configLAG argument after its leading '*',
 * lagCount LAGs as ValidateLagConfig counted them) into entries: new LAGs
 * are appended, items are added or overwrite the matching item. Prints
 * the reason on standard error and returns ZOR_BAD_PARAM for malformed
 * text; else 0. entries may be partly merged on failure.
 */
ZOR_ReturnStatus LagExtraConfig_Merge(const char *text, uint32_t lagCount,
                                      std::vector<LagConfigEntry> &entries);

/*
 * Overwrites the data of the first item of entry of the same type that
 * matches (a lag timeout matches any lag timeout, a port timeout the one
 * of the same dvport name), or appends a new item. Returns ZOR_BAD_PARAM
 * for a type above LAG_ITEM_PORT_TIMEOUT, else 0.
 */
ZOR_ReturnStatus AddOrUpdateConfigItem(LagConfigEntry &entry, uint32_t type, const void *data,
                                       uint32_t len);

/* Whether item names the dvport of data (a port timeout's data), compared over 81 bytes. */
bool MatchPortTimeoutItem(const LagConfigItem &item, const void *data, uint32_t len);

/* ---- Command ----------------------------------------------------------- */

/*
 * --configLAG "*name;key;type:value,...;*...": reads the stored list,
 * merges the argument into it and writes it back to the host list of
 * ctx.state; "*" alone clears the property. Returns 0 or the failing
 * step's status after printing why.
 */
CommandResult Cmd_ConfigLag(const CommandContext &ctx);

/* ---- Printer ----------------------------------------------------------- */

/* Each LAG's name and its lag and port timeouts; then the flags. */
void Prop_PrintLagExtraConfig(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags);
/*
 * Its JSON writer, from the same decode: {"lags": [{"lagName", "items":
 * [{"type", "lagTimeout"} or {"type", "port", "portTimeout"}]}]}, and
 * "unknownConfigItemType" where the text says so.
 */
void Prop_JsonLagExtraConfig(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_LAG_H
