// SPDX-License-Identifier: Apache-2.0
/*
 * vlan.cpp --
 *
 *    The VLAN family: keys, builders and parsers of the port VLAN policy
 *    and the private-VLAN map, the -v and -V handlers, and the printers of
 *    the policy, the map and the volatile VLAN.
 *
 *    The parsers work on string views of the argument and convert each
 *    number from a copy of its own field, so no conversion ever runs past
 *    the field it belongs to, nor past the text.
 */

#include "props/vlan.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "base/json.h"
#include "base/print.h"
#include "state/state_ops.h"

namespace {

/* ---- Value-name tables ------------------------------------------------------ */

/* Flag characters of -v (either case) and the policy flag each one sets. */
const struct {
  char letter;
  uint16_t flag;
} vlanFlagLetters[] = {
    {'p', VLAN_POLICY_PRIVATE},
    {'t', VLAN_POLICY_GUEST_TAGGING},
};

/* Private-VLAN types: the listing's name of each. */
const ValueName pvlanTypeNames[] = {
    {PVLAN_TYPE_PROMISCUOUS, "promiscuous"},
    {PVLAN_TYPE_ISOLATED, "isolated"},
    {PVLAN_TYPE_COMMUNITY, "community"},
};

/* The letter of -V (either case) for each private-VLAN type. */
const struct {
  uint8_t type;
  char letter;
} pvlanTypeLetters[] = {
    {PVLAN_TYPE_PROMISCUOUS, 'p'},
    {PVLAN_TYPE_ISOLATED, 'i'},
    {PVLAN_TYPE_COMMUNITY, 'c'},
};

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/* The type whose letter is c (either case), or 0 when none. */
uint8_t PvlanTypeByLetter(char c) {
  for (const auto &row : pvlanTypeLetters) {
    if (row.letter == Lower(c)) return row.type;
  }
  return 0;
}

/* ---- Text helpers ------------------------------------------------------------ */

/*
 * The decimal value of field as strtol reads it (leading blanks, a sign,
 * digits; 0 when no number stands there), cut to its low 16 bits. The
 * conversion runs on a copy, so it stops at the field's end.
 */
uint16_t Decimal16(std::string_view field) {
  const std::string copy(field);
  return static_cast<uint16_t>(strtol(copy.c_str(), nullptr, 10));
}

/* The part of text before the first sep, and whether there was one; rest gets what follows it. */
std::string_view SplitAt(std::string_view text, char sep, std::string_view &rest, bool &found) {
  const size_t at = text.find(sep);
  found = at != std::string_view::npos;
  rest = found ? text.substr(at + 1) : std::string_view();
  return found ? text.substr(0, at) : text;
}

/* ---- Decodes -------------------------------------------------------------------- */

/* The ranges of a policy or volatile VLAN: those that lie inside the value. */
struct VlanRanges {
  std::optional<uint16_t> count;
  std::vector<std::pair<uint16_t, uint16_t>> ranges;
  bool Whole() const { return count && ranges.size() == *count; }
};

VlanRanges DecodeRanges(const ByteReader &value, size_t countOffset, size_t rangesOffset) {
  VlanRanges v;
  v.count = value.U16(countOffset);
  for (size_t i = 0; v.count && i < *v.count; i++) {
    const size_t at = rangesOffset + i * VLAN_RANGE_LEN;
    const std::optional<uint16_t> low = value.U16(at + VLAN_RANGE_OFF_LOW);
    const std::optional<uint16_t> high = value.U16(at + VLAN_RANGE_OFF_HIGH);
    if (!low || !high) break;
    v.ranges.emplace_back(*low, *high);
  }
  return v;
}

/* A port VLAN policy: its header fields and ranges, each once the value holds it. */
struct PortVlanValue {
  std::optional<uint16_t> flags;
  std::optional<uint16_t> vlanId;
  VlanRanges ranges;
};

PortVlanValue DecodePortVlan(const ByteReader &policy) {
  return {policy.U16(VLAN_POLICY_OFF_FLAGS), policy.U16(VLAN_POLICY_OFF_VLAN_ID),
          DecodeRanges(policy, VLAN_POLICY_OFF_RANGE_COUNT, VLAN_POLICY_OFF_RANGES)};
}

/*
 * What the head line of a policy says: "Guest VLAN tagging", "PVLAN",
 * "VLAN" or "No VLAN"; null when the value does not hold what it needs.
 */
const char *PolicyMode(const PortVlanValue &v) {
  if (v.flags && (*v.flags & VLAN_POLICY_GUEST_TAGGING) != 0) return "Guest VLAN tagging";
  if (!v.flags || !v.vlanId) return nullptr;
  if ((*v.flags & VLAN_POLICY_PRIVATE) != 0) return "PVLAN";
  return *v.vlanId != 0 ? "VLAN" : "No VLAN";
}

/* The whole entries of a private-VLAN map, and whether bytes of a partial one follow. */
struct PvlanEntry {
  uint16_t primary;
  uint16_t secondary;
  uint8_t type;
};
struct PvlanMapValue {
  std::vector<PvlanEntry> entries;
  bool truncated = false;
};

PvlanMapValue DecodePvlanMap(const ByteReader &map) {
  PvlanMapValue v;
  size_t at = 0;
  for (; map.Has(at, PVLAN_ENTRY_LEN); at += PVLAN_ENTRY_LEN) {
    v.entries.push_back({*map.U16(at + PVLAN_ENTRY_OFF_PRIMARY),
                         *map.U16(at + PVLAN_ENTRY_OFF_SECONDARY),
                         *map.U8(at + PVLAN_ENTRY_OFF_TYPE)});
  }
  v.truncated = at < map.Length();
  return v;
}

/* ---- Printers' and writers' common parts ------------------------------------------ */

/* Prints the ranges line: nothing when there is no range, else every range that the value holds. */
void PrintRanges(const VlanRanges &v) {
  if (!v.count || *v.count == 0) return;
  printf("\t\t\tranges =");
  for (const auto &[low, high] : v.ranges) {
    printf(" %u", low);
    if (high != low) printf("-%u", high);
  }
  printf("\n");
}

/* Writes "ranges": [{"low", "high"}, ...] when the value holds a count. */
void WriteRanges(const VlanRanges &v, JsonOut &out) {
  if (!v.count) return;
  out.Key("ranges");
  out.BeginArray();
  for (const auto &[low, high] : v.ranges) {
    out.BeginObject();
    Json_Uint(out, "low", low);
    Json_Uint(out, "high", high);
    out.EndObject();
  }
  out.EndArray();
}

const UsageEntry vlanUsage[] = {
    {11,
     "brakk -v \"vlanID[;t|p[0-7][;min-max,min-max...]]\n"
     "                                              set vlan configuration"},
    {12,
     "brakk -V \"primaryVID,secondaryVID,i|c|p;primaryVID,secondaryVID,i|c|p...\"\n"
     "                                              set PVLAN global table contents"},
};

const PropPrinterRow vlanPrinters[] = {
    {VLAN_KEY_VOLATILE, Prop_PrintVolatileVlan, Prop_JsonVolatileVlan},
    {VLAN_KEY_ETHERSWITCH_PORT, Prop_PrintPortVlan, Prop_JsonPortVlan},
    {VLAN_KEY_VSWITCH_PORT, Prop_PrintPortVlan, Prop_JsonPortVlan},
    {VLAN_KEY_ETHERSWITCH_PVLAN_MAP, Prop_PrintPvlanMap, Prop_JsonPvlanMap},
    {VLAN_KEY_VSWITCH_PVLAN_MAP, Prop_PrintPvlanMap, Prop_JsonPvlanMap},
};

}  // namespace

const PropFamily VLAN_FAMILY = {"vlan", vlanPrinters, vlanUsage};

/* ---- Builders and parsers --------------------------------------------------------- */

ByteWriter VlanPolicy_BuildInitial(bool uplink) {
  if (!uplink) return ByteWriter(VLAN_POLICY_HEADER_LEN);

  ByteWriter value(VLAN_POLICY_HEADER_LEN + VLAN_RANGE_LEN);
  value.PutU16(VLAN_POLICY_OFF_FLAGS, VLAN_POLICY_GUEST_TAGGING);
  value.PutU16(VLAN_POLICY_OFF_RANGE_COUNT, 1);
  value.PutU16(VLAN_POLICY_OFF_RANGES + VLAN_RANGE_OFF_LOW, 1);
  value.PutU16(VLAN_POLICY_OFF_RANGES + VLAN_RANGE_OFF_HIGH, 4094);
  return value;
}

/*
 * VlanPolicy_Parse --
 *
 *    "vlanID" alone gives no flags and no range. After a ';' comes the
 *    flag field (p: private VLAN, t: guest VLAN tagging, a digit 0-7: the
 *    priority, the last one winning) and after a second ';' the range
 *    field, "low[-high],...". Guest tagging without a range field allows
 *    every VLAN (0-4094); a range field, even an empty one, gives one
 *    range per comma-separated item (an empty item is 0-0).
 *
 *    The number of ranges is fixed by the commas of the whole text, so a
 *    comma anywhere but in the range field would promise items that the
 *    range field does not hold: such a text is refused.
 */
ZOR_ReturnStatus VlanPolicy_Parse(const char *text, VlanSetting &setting) {
  const std::string_view all(text);
  std::string_view afterId;
  bool hasFlags = false;
  const std::string_view idField = SplitAt(all, ';', afterId, hasFlags);
  std::string_view rangeField;
  bool hasRanges = false;
  const std::string_view flagField = SplitAt(afterId, ';', rangeField, hasRanges);

  const size_t commas = static_cast<size_t>(std::count(all.begin(), all.end(), ','));
  if (commas != static_cast<size_t>(std::count(rangeField.begin(), rangeField.end(), ','))) {
    fprintf(stderr, "bad vlan specification: ',' outside the range field: %s\n", text);
    return ZOR_BAD_PARAM;
  }

  uint16_t policyFlags = 0;
  std::optional<int32_t> priority;
  for (const char c : flagField) {
    if (c >= '0' && c <= '7') {
      priority = c - '0';
      continue;
    }
    bool known = false;
    for (const auto &row : vlanFlagLetters) {
      if (row.letter == Lower(c)) {
        policyFlags |= row.flag;
        known = true;
      }
    }
    if (!known) printf("bad flag/priority character: %c\n", c);
  }

  size_t rangeCount = 0;
  if (hasRanges) {
    rangeCount = commas + 1;
  } else if ((policyFlags & VLAN_POLICY_GUEST_TAGGING) != 0) {
    rangeCount = 1;
  }

  ByteWriter policy(VLAN_POLICY_HEADER_LEN + VLAN_RANGE_LEN * rangeCount);
  policy.PutU16(VLAN_POLICY_OFF_FLAGS, policyFlags);
  policy.PutU16(VLAN_POLICY_OFF_VLAN_ID, Decimal16(idField));
  policy.PutU16(VLAN_POLICY_OFF_RANGE_COUNT, static_cast<uint16_t>(rangeCount));
  std::string_view items = rangeField;
  for (size_t i = 0; i < rangeCount; i++) {
    uint16_t low = VLAN_TRUNK_ALL_LOW;
    uint16_t high = VLAN_TRUNK_ALL_HIGH;
    if (hasRanges) {
      bool more = false;
      const std::string_view item = SplitAt(items, ',', items, more);
      std::string_view highField;
      bool hasDash = false;
      const std::string_view lowField = SplitAt(item, '-', highField, hasDash);
      low = Decimal16(lowField);
      high = hasDash ? Decimal16(highField) : low;
    }
    const size_t at = VLAN_POLICY_OFF_RANGES + i * VLAN_RANGE_LEN;
    policy.PutU16(at + VLAN_RANGE_OFF_LOW, low);
    policy.PutU16(at + VLAN_RANGE_OFF_HIGH, high);
  }

  setting.policy = policy.Take();
  setting.priority = priority;
  return ZOR_OK;
}

/*
 * PvlanMap_Parse --
 *
 *    The entry count is the number of commas divided by two. Each entry is
 *    "primary,secondary,type", and its type field runs to the next ';' or
 *    to the end of the text; only its first character counts. Text after
 *    the last entry is ignored. A type field may itself hold commas, which
 *    then stand for entries that the text does not have: an entry that
 *    lacks a comma, or that no ';' ends while another entry should follow,
 *    refuses the whole text.
 */
ZOR_ReturnStatus PvlanMap_Parse(const char *text, std::vector<uint8_t> &map) {
  const std::string_view all(text);
  const uint32_t entries = static_cast<uint32_t>(std::count(all.begin(), all.end(), ',') / 2);
  printf("scanning %u entries\n", entries);

  ByteWriter value(static_cast<size_t>(entries) * PVLAN_ENTRY_LEN);
  std::string_view rest = all;
  for (uint32_t i = 0; i < entries; i++) {
    bool found = false;
    const std::string_view primary = SplitAt(rest, ',', rest, found);
    const std::string_view secondary = found ? SplitAt(rest, ',', rest, found) : rest;
    if (!found) {
      fprintf(stderr, "bad pvlan map: entry %u lacks a ','\n", i + 1);
      return ZOR_BAD_PARAM;
    }
    const std::string_view typeField = SplitAt(rest, ';', rest, found);
    const uint8_t type = typeField.empty() ? 0 : PvlanTypeByLetter(typeField[0]);
    if (type == 0) {
      printf("bad mapping type: %.*s", static_cast<int>(typeField.size()), typeField.data());
      return static_cast<ZOR_ReturnStatus>(-1);
    }
    if (!found && i + 1 < entries) {
      fprintf(stderr, "bad pvlan map: entry %u is not ended by ';'\n", i + 1);
      return ZOR_BAD_PARAM;
    }
    const size_t at = static_cast<size_t>(i) * PVLAN_ENTRY_LEN;
    value.PutU16(at + PVLAN_ENTRY_OFF_PRIMARY, Decimal16(primary));
    value.PutU16(at + PVLAN_ENTRY_OFF_SECONDARY, Decimal16(secondary));
    value.PutU8(at + PVLAN_ENTRY_OFF_TYPE, type);
  }

  const ByteReader entriesRead(value.Data(), value.Length());
  for (uint32_t i = 0; i < entries; i++) {
    const size_t at = static_cast<size_t>(i) * PVLAN_ENTRY_LEN;
    printf("pvlan map entry: primary=%u, secondary=%u, type=%u\n",
           *entriesRead.U16(at + PVLAN_ENTRY_OFF_PRIMARY),
           *entriesRead.U16(at + PVLAN_ENTRY_OFF_SECONDARY),
           *entriesRead.U8(at + PVLAN_ENTRY_OFF_TYPE));
  }
  map = value.Take();
  return ZOR_OK;
}

/* ---- Command handlers ---------------------------------------------------------- */

CommandResult Cmd_SetVlan(const CommandContext &ctx) {
  const std::string_view text(ctx.inv.vlanSpec);
  VlanSetting setting;
  try {
    const ZOR_ReturnStatus status = VlanPolicy_Parse(ctx.inv.vlanSpec, setting);
    if (status != ZOR_OK) return status;
  } catch (const std::bad_alloc &) {
    printf("failed to allocate memory for %u entries in policy\n",
           static_cast<unsigned>(1 + std::count(text.begin(), text.end(), ',')));
    return static_cast<ZOR_ReturnStatus>(-1);
  }

  if (setting.priority) {
    ByteWriter priority(VLAN_PRIORITY_LEN);
    priority.PutI32(0, *setting.priority);
    /* The policy write below decides the result; a priority that did not take is not reported. */
    ctx.state.portSet(ctx.sw, ctx.inv.portName, VLAN_PRIORITY_KEY.For(ctx.cls), priority.Data(),
                      priority.Length(), PROP_CONFIG);
  }
  return ctx.state.portSet(ctx.sw, ctx.inv.portName, VLAN_POLICY_KEY.For(ctx.cls),
                           setting.policy.data(), static_cast<uint32_t>(setting.policy.size()),
                           PROP_CONFIG);
}

CommandResult Cmd_SetPvlanMap(const CommandContext &ctx) {
  const std::string_view text(ctx.inv.pvlanSpec);
  std::vector<uint8_t> map;
  try {
    const ZOR_ReturnStatus status = PvlanMap_Parse(ctx.inv.pvlanSpec, map);
    if (status != ZOR_OK) return status;
  } catch (const std::bad_alloc &) {
    printf("failed to allocate memory for new map of %u entries\n",
           static_cast<unsigned>(std::count(text.begin(), text.end(), ',') / 2));
    return static_cast<ZOR_ReturnStatus>(-1);
  }
  return ctx.state.globalSet(ctx.sw, PVLAN_MAP_KEY.For(ctx.cls), map.data(),
                             static_cast<uint32_t>(map.size()), PROP_CONFIG);
}

/* ---- Printers -------------------------------------------------------------------- */

void Prop_PrintPortVlan(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t flags) {
  const PortVlanValue v = DecodePortVlan(ByteReader(value, length));
  const char *mode = PolicyMode(v);
  if (mode == nullptr) {
    /* No head line. */
  } else if (v.flags && (*v.flags & VLAN_POLICY_GUEST_TAGGING) != 0) {
    printf("\t\t%s = %s\n", key, mode);
  } else if (*v.vlanId != 0 || (*v.flags & VLAN_POLICY_PRIVATE) != 0) {
    printf("\t\t%s = %s %d\n", key, mode, *v.vlanId);
  } else {
    printf("\t\t%s = %s\n", key, mode);
  }
  PrintRanges(v.ranges);
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonPortVlan(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const PortVlanValue v = DecodePortVlan(ByteReader(value, length));
  out.BeginObject();
  if (v.flags) Json_Enum(out, "mode", PolicyMode(v), *v.flags);
  if (v.vlanId) Json_Uint(out, "vlanId", *v.vlanId);
  WriteRanges(v.ranges, out);
  Json_Truncated(out, !v.ranges.Whole());
  out.EndObject();
}

void Prop_PrintPvlanMap(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t flags) {
  const PvlanMapValue v = DecodePvlanMap(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (const PvlanEntry &entry : v.entries) {
    printf("\t\t\t(%u, %u) - %s\n", entry.primary, entry.secondary,
           NameOf(pvlanTypeNames, entry.type, "unknown"));
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonPvlanMap(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const PvlanMapValue v = DecodePvlanMap(ByteReader(value, length));
  out.BeginObject();
  out.Key("entries");
  out.BeginArray();
  for (const PvlanEntry &entry : v.entries) {
    out.BeginObject();
    Json_Uint(out, "primary", entry.primary);
    Json_Uint(out, "secondary", entry.secondary);
    Json_EnumOf(out, "type", pvlanTypeNames, entry.type, "unknown");
    out.EndObject();
  }
  out.EndArray();
  Json_Truncated(out, v.truncated);
  out.EndObject();
}

/* The volatile VLAN: its VLAN ID and ranges, each once the value holds it. */
struct VolatileVlanValue {
  std::optional<uint16_t> vlanId;
  VlanRanges ranges;
};

static VolatileVlanValue DecodeVolatileVlan(const ByteReader &vlan) {
  return {vlan.U16(VOLATILE_VLAN_OFF_VLAN_ID),
          DecodeRanges(vlan, VOLATILE_VLAN_OFF_RANGE_COUNT, VOLATILE_VLAN_OFF_RANGES)};
}

void Prop_PrintVolatileVlan(const PrintContext &, const char *key, const void *value,
                            uint32_t length, int32_t flags) {
  const VolatileVlanValue v = DecodeVolatileVlan(ByteReader(value, length));
  if (v.vlanId) printf("\t\t%s = VLAN %d\n", key, *v.vlanId);
  PrintRanges(v.ranges);
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonVolatileVlan(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const VolatileVlanValue v = DecodeVolatileVlan(ByteReader(value, length));
  out.BeginObject();
  if (v.vlanId) Json_Uint(out, "vlanId", *v.vlanId);
  WriteRanges(v.ranges, out);
  Json_Truncated(out, !v.ranges.Whole());
  out.EndObject();
}
