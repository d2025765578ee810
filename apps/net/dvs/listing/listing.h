// SPDX-License-Identifier: Apache-2.0
/*
 * listing.h --
 *
 *    The listing of switches, their property lists and ports; the printer
 *    table, built from the list of families, and the lookup that chooses a
 *    property's printer; the default printers.
 */

#ifndef APPS_NET_DVS_LISTING_LISTING_H
#define APPS_NET_DVS_LISTING_LISTING_H

#include <stdint.h>

#include <span>

#include "base/family.h"
#include "base/print.h"
#include "dvslib.h"

/*
 * The printer table: the rows of every family in the order of the list of
 * families, then the default row (no key, the hex dump). Built on first use.
 */
std::span<const PropPrinterRow> Prop_PrinterTable();

/*
 * Prints one property with the printer that the table gives for its key
 * (exact match; the default printer otherwise). For a switch of the newer
 * layout (pc.highVersion), every key under the vswitch and qel prefixes is
 * hex-dumped instead, whatever the table says.
 */
void Prop_Print(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                int32_t flags);
/*
 * The default printer: a NUL-terminated text of printable characters as
 * Prop_PrintString shows it, anything else as hex bytes up to the last
 * nonzero one and a count of the trailing zeros; then the flags.
 */
void Prop_PrintHexDump(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                       int32_t flags);
/* A value as text: up to its first NUL (or its end), then the flags on the same line. */
void Prop_PrintString(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                      int32_t flags);

class JsonOut;

/*
 * Writes the decoded value of one property to out: what the JSON writer
 * of the row that Prop_Print would choose writes, or null where the row
 * has none.
 */
void Prop_WriteValueJson(const PrintContext &pc, const char *key, const void *value,
                         uint32_t length, JsonOut &out);
/*
 * Writes one property to out as the object {"key", "flags" (the names of
 * the flag bits), "length", "hex" (every byte of the value), "value" (as
 * Prop_WriteValueJson)}.
 */
void Prop_WriteJson(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                    int32_t flags, JsonOut &out);
/* Prints one property as a JSON document of its own (-r with --json) on standard output. */
void Prop_PrintJsonDocument(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags);

/*
 * The JSON listing: prints on standard output one document,
 * {"switches": [...]}, with every switch of the loaded configuration
 * state (or only the one whose ID text is wantedId), written switch by
 * switch and port by port as the walk meets them.
 */
void List_Json(const char *wantedId);

/* The listing's own printer rows (the host's DVS ID, shown as text). */
extern const PropFamily LISTING_FAMILY;

/*
 * Visitors of the listing walk. List_Switch's context is the switch ID
 * text to list, or null for all; it prints the switch, its lists and its
 * ports and stops the walk once the wanted switch is printed. List_Port's
 * and List_Property's context is the PrintContext of the switch.
 */
bool List_Switch(DVSSwitch *h, void *wantedId);
int List_Port(DVSPort *p, void *printContext);
int List_Property(DVSDataNode *node, void *printContext);

#endif  // APPS_NET_DVS_LISTING_LISTING_H
