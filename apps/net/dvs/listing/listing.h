/*
 * listing.h --
 *
 *    The listing of switches, their property lists and ports, the table
 *    that maps property keys to printers, and the default printers.
 */

#ifndef APPS_NET_DVS_LISTING_LISTING_H
#define APPS_NET_DVS_LISTING_LISTING_H

#include <stddef.h>
#include <stdint.h>

#include "dvslib.h"

/* Prints one property: key, value bytes, value length, flags word. */
typedef void (*PropPrinter)(const char *key, const void *value, uint32_t length, int32_t flags);

struct PropPrinterRow {
  const char *key; /* null in the last (default) row */
  PropPrinter printer;
};

extern const PropPrinterRow propPrinterTable[];
extern const size_t propPrinterTableSize; /* rows, the default row included */

/* True while the properties of a switch whose version is above 99 are printed. */
extern bool listingHighVersion;

#define PROP_FLAGS_TEXT_LEN 64

/* Writes the names of the flag bits into text (PROP_FLAGS_TEXT_LEN bytes). */
void Prop_FlagsToString(int32_t flags, char *text);
/* Chooses the printer for key from propPrinterTable and calls it. */
void Prop_Print(const char *key, const void *value, uint32_t length, int32_t flags);
void Prop_PrintHexDump(const char *key, const void *value, uint32_t length, int32_t flags);
void Prop_PrintString(const char *key, const void *value, uint32_t length, int32_t flags);

/* Visitors of the listing walk. wantedId: switch ID text to list, or null for all. */
bool List_Switch(DVSSwitch *h, void *wantedId);
int List_Port(DVSPort *p, void *context);
int List_Property(DVSDataNode *node, void *context);

#endif  // APPS_NET_DVS_LISTING_LISTING_H
