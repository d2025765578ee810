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
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/json.h"
#include "listing/families.h"
#include "listing/json_out.h"
#include "props/common.h"

namespace {

/* Key prefixes that a switch of the newer layout always shows as a hex dump. */
const char *const highVersionDumpPrefixes[] = {
    "com.corvane.qel.",
    "com.corvane.vswitch.",
};

/* Port state names of the JSON document, by port state. */
const ValueName portStateNames[] = {
    {DVS_PORT_STATE_INVALID, "INVALID"},         {DVS_PORT_STATE_NORMAL, "NORMAL"},
    {DVS_PORT_STATE_SHADOW, "SHADOW"},           {DVS_PORT_STATE_ZOMBIE, "ZOMBIE"},
    {DVS_PORT_STATE_LOCAL_CACHE, "LOCAL CACHE"},
};

/* Port state tags, by port state; a state beyond the table is shown as unknown. */
const ValueName portStateTags[] = {
    {DVS_PORT_STATE_INVALID, " (INVALID)"},        {DVS_PORT_STATE_NORMAL, ""},
    {DVS_PORT_STATE_SHADOW, " (SHADOW)"},          {DVS_PORT_STATE_ZOMBIE, " (ZOMBIE)"},
    {DVS_PORT_STATE_LOCAL_CACHE, "(LOCAL CACHE)"},
};

void Json_HexDump(const PrintContext &, const void *value, uint32_t length, JsonOut &out);
void Json_String(const PrintContext &, const void *value, uint32_t length, JsonOut &out);

const PropPrinterRow listingPrinters[] = {
    {KEY_HOST_DVSID, Prop_PrintString, Json_String},
};

/* The printer table and, for the lookup, each key's row; built once. */
struct PrinterIndex {
  std::vector<PropPrinterRow> table;
  std::unordered_map<std::string_view, const PropPrinterRow *> byKey;

  PrinterIndex() {
    for (const PropFamily *family : Prop_Families()) {
      table.insert(table.end(), family->printers.begin(), family->printers.end());
    }
    table.push_back({nullptr, Prop_PrintHexDump, Json_HexDump});
    /* emplace keeps the first row of a key, the row that a walk in table order finds. */
    for (size_t i = 0; i + 1 < table.size(); i++) byKey.emplace(table[i].key, &table[i]);
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

/*
 * The text that the hex dump shows a value as: the value when it is a
 * NUL-terminated text of printable characters; nothing when the dump
 * shows bytes (or <empty>).
 */
std::optional<std::string_view> DumpText(const void *value, uint32_t length) {
  if (length == 0 || value == nullptr) return std::nullopt;
  const uint8_t *bytes = static_cast<const uint8_t *>(value);
  uint32_t printable = 0;
  while (printable < length && IsPrintable(bytes[printable])) {
    printable++;
  }
  if (printable != length - 1 || bytes[length - 1] != 0) return std::nullopt;
  return std::string_view(static_cast<const char *>(value), printable);
}

/* The text of a value as Prop_PrintString shows it: up to its first NUL, or all of it. */
std::string_view TextOf(const void *value, uint32_t length) {
  const char *text = static_cast<const char *>(value);
  if (text == nullptr) return std::string_view();
  const void *nul = memchr(text, '\0', length);
  return std::string_view(
      text, nul != nullptr ? static_cast<size_t>(static_cast<const char *>(nul) - text) : length);
}

/* The row that shows key: the table's, or the default row; for a newer switch's vswitch and
 * qel keys always the default row. */
const PropPrinterRow &RowOf(const PrintContext &pc, const char *key) {
  const PrinterIndex &index = Index();
  if (pc.highVersion) {
    for (const char *prefix : highVersionDumpPrefixes) {
      if (strncmp(key, prefix, strlen(prefix)) == 0) return index.table.back();
    }
  }
  /*
   * The index gives the row that a walk of the table in order would find,
   * without one comparison per row for each of the many properties of a
   * large listing.
   */
  const auto row = index.byKey.find(key);
  return row != index.byKey.end() ? *row->second : index.table.back();
}

/* A value shown as text decodes to {"text": ...}. */
void Json_String(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  out.BeginObject();
  Json_Text(out, "text", TextOf(value, length));
  out.EndObject();
}

/* The hex dump decodes only what it shows as text; bytes are the property's "hex" alone. */
void Json_HexDump(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const std::optional<std::string_view> text = DumpText(value, length);
  if (!text) {
    out.Null();
    return;
  }
  out.BeginObject();
  Json_Text(out, "text", *text);
  out.EndObject();
}

/* The flag words of the document: the words of the flags line, without their blanks. */
const ValueName propFlagNames[] = {
    {PROP_CONFIG, "CONFIG"},
    {PROP_RUNTIME, "RUNTIME"},
    {PROP_VOLATILE, "VOLATILE"},
    {PROP_POLICY, "POLICY"},
    {PROP_NO_REPLICATE, "NO_REPLICATE"},
    {PROP_NO_SET_LOCAL_CALLBACK, "NO_SET_LOCAL_CALLBACK"},
    {static_cast<uint32_t>(PROP_NO_SYNC), "NO_SYNC"},
};

/* Context of the JSON walk's property visitor. */
struct JsonWalk {
  PrintContext pc;
  JsonOut *out;
};

int Json_Property(DVSDataNode *node, void *context) {
  const JsonWalk &walk = *static_cast<const JsonWalk *>(context);
  void *value = nullptr;
  const uint32_t length = DVSData_Data(node, &value);
  Prop_WriteJson(walk.pc, DVSData_Name(node), value, length, DVSData_PropType(node), *walk.out);
  return 0;
}

int Json_Port(DVSPort *p, void *context) {
  JsonWalk walk = *static_cast<const JsonWalk *>(context);
  JsonOut &out = *walk.out;
  out.BeginObject();
  Json_Text(out, "name", DVS_PortId(p));
  Json_EnumOf(out, "state", portStateNames, p->state, "UNKNOWN");
  out.Key("properties");
  out.BeginArray();
  walk.pc.highVersion = p->dvs != nullptr && p->dvs->version > 99;
  DVSState_PortDataForEach(p, Json_Property, &walk);
  out.EndArray();
  out.EndObject();
  return 0;
}

/*
 * Finds the switch's alias on its global list. A copy: the walk may free
 * the list's decoded nodes once it is over.
 */
struct AliasSearch {
  std::optional<std::string> alias;
};

int FindAlias(DVSDataNode *node, void *context) {
  if (strcmp(DVSData_Name(node), KEY_SWITCH_ALIAS) != 0) return 0;
  void *value = nullptr;
  const uint32_t length = DVSData_Data(node, &value);
  static_cast<AliasSearch *>(context)->alias = TextOf(value, length);
  return 0;
}

/* Context of the JSON walk's switch visitor. */
struct JsonSwitches {
  const char *wanted;
  JsonOut *out;
};

bool Json_Switch(DVSSwitch *h, void *context) {
  const JsonSwitches &walk = *static_cast<const JsonSwitches *>(context);
  if (walk.wanted != nullptr && strcmp(walk.wanted, DVS_SwitchId(h)) != 0) return false;
  JsonOut &out = *walk.out;
  AliasSearch alias;
  DVSState_GlobalPropForEach(h, FindAlias, &alias);

  out.BeginObject();
  Json_Text(out, "id", DVS_SwitchId(h));
  out.Key("alias");
  if (alias.alias) {
    out.String(*alias.alias);
  } else {
    out.Null();
  }
  Json_Text(out, "class", DVS_ClassName(h));
  Json_Uint(out, "version", h->version);
  Json_Int(out, "maxPorts", static_cast<int>(DVS_GetMaxPorts(h)));

  JsonWalk props{PrintContext{}, &out};
  props.pc.highVersion = h->version > 99;
  out.Key("globalProperties");
  out.BeginArray();
  DVSState_GlobalPropForEach(h, Json_Property, &props);
  out.EndArray();
  out.Key("hostProperties");
  out.BeginArray();
  DVSState_HostPropForEach(h, Json_Property, &props);
  out.EndArray();
  out.Key("ports");
  out.BeginArray();
  DVSState_PortForEach(h, Json_Port, &props);
  out.EndArray();
  out.EndObject();
  return walk.wanted != nullptr;
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
  RowOf(pc, key).printer(pc, key, value, length, flags);
}

void Prop_WriteValueJson(const PrintContext &pc, const char *key, const void *value,
                         uint32_t length, JsonOut &out) {
  const PropPrinterRow &row = RowOf(pc, key != nullptr ? key : "");
  if (row.json == nullptr) {
    out.Null();
    return;
  }
  row.json(pc, value, length, out);
}

void Prop_WriteJson(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                    int32_t flags, JsonOut &out) {
  if (key == nullptr) key = "";
  if (value == nullptr) length = 0;
  out.BeginObject();
  Json_Text(out, "key", key);
  out.Key("flags");
  out.BeginArray();
  for (const ValueName &flag : propFlagNames) {
    if ((static_cast<uint32_t>(flags) & flag.value) != 0) out.String(flag.name);
  }
  out.EndArray();
  Json_Uint(out, "length", length);
  out.Key("hex");
  out.Hex(value, length);
  out.Key("value");
  Prop_WriteValueJson(pc, key, value, length, out);
  out.EndObject();
}

void Prop_PrintJsonDocument(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags) {
  Json_WriteDocument(stdout,
                     [&](JsonOut &out) { Prop_WriteJson(pc, key, value, length, flags, out); });
}

void List_Json(const char *wantedId) {
  fflush(stdout);
  Json_WriteDocument(stdout, [&](JsonOut &out) {
    out.BeginObject();
    out.Key("switches");
    out.BeginArray();
    JsonSwitches walk{wantedId, &out};
    DVSState_SwitchForEach(Json_Switch, &walk);
    out.EndArray();
    out.EndObject();
  });
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

  if (DumpText(value, length)) {
    Prop_PrintString(pc, key, value, length, flags);
    return;
  }
  const uint8_t *bytes = static_cast<const uint8_t *>(value);

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
  printf("\t\t%s = ", key);
  Prop_PutText(TextOf(value, length));
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
