// SPDX-License-Identifier: Apache-2.0
/*
 * listing.cpp --
 *
 *    The -l listing: every switch of the loaded configuration state (or
 *    the one asked for) with its global list, its host list and its ports,
 *    each property shown by the printer that the printer table gives for
 *    its key. The table is built from the list of families. Also the
 *    default printers (hex dump, text).
 */

#include "listing/listing.h"

#include <stdio.h>
#include <string.h>

#include <iterator>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "listing/families.h"
#include "props/common.h"

namespace {

/* Key prefixes that a switch of the newer layout always shows as a hex dump. */
const char *const highVersionDumpPrefixes[] = {
    "com.corvane.qel.",
    "com.corvane.vswitch.",
};

/* Port state tags, by port state; a state beyond the table is shown as unknown. */
const ValueName portStateTags[] = {
    {DVS_PORT_STATE_INVALID, " (INVALID)"},        {DVS_PORT_STATE_NORMAL, ""},
    {DVS_PORT_STATE_SHADOW, " (SHADOW)"},          {DVS_PORT_STATE_ZOMBIE, " (ZOMBIE)"},
    {DVS_PORT_STATE_LOCAL_CACHE, "(LOCAL CACHE)"},
};

const PropPrinterRow listingPrinters[] = {
    {KEY_HOST_DVSID, Prop_PrintString},
};

/* The printer table and, for the lookup, each key's printer; built once. */
struct PrinterIndex {
  std::vector<PropPrinterRow> table;
  std::unordered_map<std::string_view, PropPrinter> byKey;

  PrinterIndex() {
    for (const PropFamily *family : Prop_Families()) {
      table.insert(table.end(), family->printers.begin(), family->printers.end());
    }
    table.push_back({nullptr, Prop_PrintHexDump});
    /* emplace keeps the first row of a key, the row that a walk in table order finds. */
    for (size_t i = 0; i + 1 < table.size(); i++) byKey.emplace(table[i].key, table[i].printer);
  }
};

const PrinterIndex &Index() {
  static const PrinterIndex index;
  return index;
}

/* Whether c is a printable character of the POSIX locale. */
bool IsPrintable(uint8_t c) {
  return c >= 0x20 && c <= 0x7e;
}

}  // namespace

const PropFamily LISTING_FAMILY = {"listing", listingPrinters, {}};

std::span<const PropPrinterRow> Prop_PrinterTable() {
  return Index().table;
}

/*
 * Prop_Print --
 *
 *    Prints one property with the printer that the printer table gives
 *    for its key (exact match, first row wins; the default row otherwise).
 *    For a switch of the newer layout, every key under the vswitch and qel
 *    prefixes is hex-dumped instead, whatever the table says.
 */
void Prop_Print(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                int32_t flags) {
  if (key == nullptr) {
    key = "";
  }
  if (pc.highVersion) {
    for (const char *prefix : highVersionDumpPrefixes) {
      if (strncmp(key, prefix, strlen(prefix)) == 0) {
        Prop_PrintHexDump(pc, key, value, length, flags);
        return;
      }
    }
  }
  /*
   * The index gives the row that a walk of the table in order would find,
   * without one comparison per row for each of the many properties of a
   * large listing.
   */
  const PrinterIndex &index = Index();
  const auto row = index.byKey.find(key);
  const PropPrinter printer = row != index.byKey.end() ? row->second : index.table.back().printer;
  printer(pc, key, value, length, flags);
}

/*
 * Prop_PrintHexDump --
 *
 *    The default printer. A value that is a NUL-terminated text of
 *    printable characters goes to Prop_PrintString. Any other value is
 *    printed as hex bytes up to its last nonzero byte, followed by the
 *    count of trailing zero bytes folded into one entry, then a line with
 *    the flags. An empty value (or none) prints "<empty>" in place of the
 *    bytes and reads nothing.
 */
void Prop_PrintHexDump(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                       int32_t flags) {
  if (length == 0 || value == nullptr) {
    printf("\t\t%s = <empty>\n", key);
    Prop_PrintFlagsLine(flags);
    return;
  }

  const uint8_t *bytes = static_cast<const uint8_t *>(value);
  uint32_t printable = 0;
  while (printable < length && IsPrintable(bytes[printable])) {
    printable++;
  }
  if (printable == length - 1 && bytes[length - 1] == 0) {
    Prop_PrintString(pc, key, value, length, flags);
    return;
  }

  uint32_t last = length - 1;
  while (last > 0 && bytes[last] == 0) {
    last--;
  }
  printf("\t\t%s = 0x%2x", key, bytes[0]);
  /* Each further byte as ".%2x" would print it, formatted in blocks for speed. */
  static const char hexDigits[] = "0123456789abcdef";
  char block[3 * 256];
  size_t used = 0;
  for (uint32_t i = 1; i <= last; i++) {
    const uint8_t b = bytes[i];
    block[used++] = '.';
    block[used++] = (b >> 4) != 0 ? hexDigits[b >> 4] : ' ';
    block[used++] = hexDigits[b & 0x0f];
    if (used == sizeof block) {
      fwrite(block, 1, used, stdout);
      used = 0;
    }
  }
  if (used > 0) fwrite(block, 1, used, stdout);
  const uint32_t zeros = length - 1 - last;
  if (zeros == 1) {
    printf(". 0");
  } else if (zeros >= 2) {
    printf(". 0 <repeats %u times>", zeros);
  }
  printf("\n");
  Prop_PrintFlagsLine(flags);
}

/*
 * Prop_PrintString --
 *
 *    Prints a value as text: the bytes up to the first NUL, or all of them
 *    when the value holds no NUL, never more than length bytes.
 */
void Prop_PrintString(const PrintContext &, const char *key, const void *value, uint32_t length,
                      int32_t flags) {
  const char *text = static_cast<const char *>(value);
  size_t textLength = 0;
  if (text != nullptr) {
    const void *nul = memchr(text, '\0', length);
    textLength =
        nul != nullptr ? static_cast<size_t>(static_cast<const char *>(nul) - text) : length;
  }
  printf("\t\t%s = ", key);
  Prop_PutText(std::string_view(text, textLength));
  Prop_PrintFlagsLine(flags, " , \t");
}

/*
 * List_Switch --
 *
 *    Switch visitor of the listing. wantedId is the switch ID text to list,
 *    or null for every switch. Prints the switch's head, its global and
 *    host lists and its ports. Returns true (stop the walk) once the wanted
 *    switch is printed, false otherwise.
 */
bool List_Switch(DVSSwitch *h, void *wantedId) {
  const char *wanted = static_cast<const char *>(wantedId);
  if (wanted != nullptr && strcmp(wanted, DVS_SwitchId(h)) != 0) {
    return false;
  }
  printf("switch %s (%s)\n", DVS_SwitchId(h), DVS_ClassName(h));
  printf("\tmax ports: %d\n", static_cast<int>(DVS_GetMaxPorts(h)));

  PrintContext pc;
  pc.highVersion = h->version > 99;
  printf("\tglobal properties:\n");
  DVSState_GlobalPropForEach(h, List_Property, &pc);

  printf("\thost properties:\n");
  DVSState_HostPropForEach(h, List_Property, &pc);

  DVSState_PortForEach(h, List_Port, nullptr);
  return wanted != nullptr;
}

/*
 * List_Port --
 *
 *    Port visitor of the listing: prints the port's line with its state tag
 *    and then its properties, in the layout of the port's switch. Always
 *    returns 0 (go on).
 */
int List_Port(DVSPort *p, void * /* context */) {
  printf("\tport %s%s:\n", DVS_PortId(p), NameOf(portStateTags, p->state, " (UNKNOWN)"));
  PrintContext pc;
  pc.highVersion = p->dvs != nullptr && p->dvs->version > 99;
  DVSState_PortDataForEach(p, List_Property, &pc);
  return 0;
}

/*
 * List_Property --
 *
 *    Property visitor of the listing: prints one property through
 *    Prop_Print with the print context it is given. Always returns 0.
 */
int List_Property(DVSDataNode *node, void *printContext) {
  void *value = nullptr;
  const uint32_t length = DVSData_Data(node, &value);
  Prop_Print(*static_cast<const PrintContext *>(printContext), DVSData_Name(node), value, length,
             DVSData_PropType(node));
  return 0;
}
