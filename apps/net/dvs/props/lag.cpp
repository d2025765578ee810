// SPDX-License-Identifier: Apache-2.0
/*
 * lag.cpp --
 *
 *    The LAG extra configuration family: the stored list of LAGs and
 *    their items, --configLAG, and the printer of the list.
 */

#include "props/lag.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "state/state_ops.h"

namespace {

/* The fields of one LAG of a --configLAG text: name, key, item list. */
#define LAG_EXTRA_FIELDS_PER_LAG 3
/* The argument that clears the whole list. */
#define LAG_EXTRA_CLEAR_ALL "*"

/* Longest dvport name, in characters. */
#define DVPORT_NAME_MAX (PORT_TIMEOUT_NAME_LEN - 1)

/* The listing's names of the timeouts; any other value, or none, shows as "unknown". */
const ValueName timeoutNames[] = {
    {LAG_TIMEOUT_FAST, "fast"},
    {LAG_TIMEOUT_SLOW, "slow"},
};

const char *TimeoutName(std::optional<uint32_t> timeout) {
  return timeout ? NameOf(timeoutNames, *timeout, "unknown") : "unknown";
}

ZOR_ReturnStatus Refuse(const char *message) {
  fputs(message, stderr);
  return ZOR_BAD_PARAM;
}

/* The text of a fixed field: up to its first NUL, or the whole field. */
template <size_t N>
std::string_view FieldText(const std::array<uint8_t, N> &field) {
  const char *text = reinterpret_cast<const char *>(field.data());
  return std::string_view(text, strnlen(text, N));
}

/* The entry named name, appended with key and no items when there is none. */
LagConfigEntry &FindOrAddEntry(std::vector<LagConfigEntry> &entries, const std::string &name,
                               const std::string &key) {
  for (LagConfigEntry &entry : entries) {
    if (FieldText(entry.name) == name) return entry;
  }
  LagConfigEntry &entry = entries.emplace_back();
  memcpy(entry.name.data(), name.data(), name.size());
  memcpy(entry.key.data(), key.data(), key.size());
  return entry;
}

/* A timeout of an item value: 1 or 2, or nothing. */
std::optional<uint32_t> Timeout(const std::string &text) {
  const long value = strtol(text.c_str(), nullptr, 10);
  if (value != LAG_TIMEOUT_FAST && value != LAG_TIMEOUT_SLOW) return std::nullopt;
  return static_cast<uint32_t>(value);
}

/* Adds or updates one "type:value" item of entry; prints why and returns the status. */
ZOR_ReturnStatus MergeItem(LagConfigEntry &entry, uint32_t type, const std::string &value) {
  if (type == LAG_ITEM_LAG_TIMEOUT) {
    const std::optional<uint32_t> timeout = Timeout(value);
    if (!timeout) return Refuse("Invalid timeout value, should be 1(fast) or 2(slow)\n");
    ByteWriter data(LAG_TIMEOUT_DATA_LEN);
    data.PutU32(0, *timeout);
    const ZOR_ReturnStatus status = AddOrUpdateConfigItem(entry, type, data.Data(), data.Length());
    if (status != ZOR_OK) fprintf(stderr, "Failed to link lag timeout\n");
    return status;
  }
  if (type == LAG_ITEM_PORT_TIMEOUT) {
    const size_t dot = value.find('.');
    if (dot == std::string::npos) {
      return Refuse("DV port name for port timeout should not be empty\n");
    }
    const std::string port = value.substr(0, dot);
    if (port.empty()) return Refuse("DV port name for port timeout is empty\n");
    if (port.size() > DVPORT_NAME_MAX) {
      fprintf(stderr, "DV port name can't be longer than %zu\n",
              static_cast<size_t>(DVPORT_NAME_MAX));
      return ZOR_BAD_PARAM;
    }
    const std::string timeoutText = value.substr(dot + 1);
    if (timeoutText.empty()) return Refuse("Port timeout value is empty\n");
    const std::optional<uint32_t> timeout = Timeout(timeoutText);
    if (!timeout) return Refuse("Invalid port timeout value, should be 1(fast) or 2(slow)\n");
    ByteWriter data(PORT_TIMEOUT_DATA_LEN);
    data.PutText(PORT_TIMEOUT_OFF_NAME, PORT_TIMEOUT_NAME_LEN, port.c_str());
    data.PutU32(PORT_TIMEOUT_OFF_TIMEOUT, *timeout);
    const ZOR_ReturnStatus status = AddOrUpdateConfigItem(entry, type, data.Data(), data.Length());
    if (status != ZOR_OK) fprintf(stderr, "Failed to link port timeout\n");
    return status;
  }
  return Refuse("Invalid configured item\n");
}

/*
 * Merges the items of list ("type:value," repeated, the text between the
 * key's ';' and the ';' that closes the item list) into entry.
 */
ZOR_ReturnStatus MergeItems(LagConfigEntry &entry, std::string_view list) {
  size_t pos = 0;
  while (pos < list.size()) {
    const size_t colon = list.find(':', pos);
    if (colon == std::string_view::npos) {
      return Refuse("Configured item type should not be empty\n");
    }
    if (colon == pos) return Refuse("Configured item type is empty\n");
    const std::string typeText(list.substr(pos, colon - pos));
    const uint32_t type = static_cast<uint32_t>(strtol(typeText.c_str(), nullptr, 10));
    const size_t comma = list.find(',', colon + 1);
    if (comma == std::string_view::npos) {
      return Refuse("Configured item value should not be empty\n");
    }
    if (comma == colon + 1) return Refuse("Configured item value is empty\n");
    const ZOR_ReturnStatus status =
        MergeItem(entry, type, std::string(list.substr(colon + 1, comma - colon - 1)));
    if (status != ZOR_OK) return status;
    pos = comma + 1;
  }
  return ZOR_OK;
}

/* Merges one LAG's text ("name;key;items;") into entries. */
ZOR_ReturnStatus MergeLag(std::string_view lag, std::vector<LagConfigEntry> &entries) {
  const size_t nameEnd = lag.find(';');
  if (nameEnd == std::string_view::npos) return Refuse("LAG name should not be empty\n");
  const std::string name(lag.substr(0, nameEnd));
  switch (LagName_Check(name)) {
    case LagTextCheck::EMPTY:
      return Refuse("LAG name shouldn't be empty\n");
    case LagTextCheck::TOO_LONG:
      fprintf(stderr, "LAG name can't be longer than %zu\n", static_cast<size_t>(LAG_NAME_MAX));
      return ZOR_BAD_PARAM;
    case LagTextCheck::HAS_PERCENT:
      return Refuse("LAG name can't include %\n");
    default:
      break;
  }

  const size_t keyEnd = lag.find(';', nameEnd + 1);
  if (keyEnd == std::string_view::npos) return Refuse("LAG key should not be empty\n");
  const std::string key(lag.substr(nameEnd + 1, keyEnd - nameEnd - 1));
  switch (LagKey_Check(key)) {
    case LagTextCheck::EMPTY:
      return Refuse("LAG key shouldn't be empty\n");
    case LagTextCheck::ZERO:
      return Refuse("LAG key shouldn't be 0\n");
    case LagTextCheck::TOO_LONG:
      fprintf(stderr, "LAG key can't be longer than %zu\n", static_cast<size_t>(LAG_KEY_MAX));
      return ZOR_BAD_PARAM;
    case LagTextCheck::NOT_DIGITS:
      return Refuse("LAG key should be a digit\n");
    default:
      break;
  }

  /* A LAG already in the list keeps its stored key. */
  LagConfigEntry &entry = FindOrAddEntry(entries, name, key);
  const size_t listEnd = lag.find(';', keyEnd + 1);
  if (listEnd == std::string_view::npos) return Refuse("Invalid parameter format\n");
  const ZOR_ReturnStatus status = MergeItems(entry, lag.substr(keyEnd + 1, listEnd - keyEnd - 1));
  if (status != ZOR_OK) return status;
  if (entry.items.empty()) return Refuse("Invalid or duplicated configure items\n");
  return ZOR_OK;
}

/* Reads, merges and writes the list for --configLAG; text follows the leading '*'. */
ZOR_ReturnStatus ConfigureLags(const CommandContext &ctx, const char *text, uint32_t lagCount) {
  PropValue stored;
  ZOR_ReturnStatus status = ctx.state.hostGet(ctx.sw, LAG_EXTRA_KEY, stored);
  if (status != ZOR_OK && status != ZOR_NOT_FOUND) {
    fprintf(stderr, "Failed to get property(%s) data\n", LAG_EXTRA_KEY);
    return status;
  }
  std::vector<LagConfigEntry> entries;
  if (status == ZOR_OK) {
    status = LagExtraConfig_Decode(stored.data(), static_cast<uint32_t>(stored.size()), entries);
    if (status != ZOR_OK) return status;
  }
  if ((status = LagExtraConfig_Merge(text, lagCount, entries)) != ZOR_OK) return status;
  if (entries.empty()) {
    fprintf(stderr, "Invalid LAG list\n");
    return ZOR_INVALID_DATA;
  }
  const ByteWriter value = LagExtraConfig_Encode(entries);
  return ctx.state.hostSet(ctx.sw, LAG_EXTRA_KEY, value.Data(), value.Length(), PROP_CONFIG);
}

}  // namespace

ZOR_ReturnStatus LagExtraConfig_Decode(const void *value, uint32_t length,
                                       std::vector<LagConfigEntry> &entries) {
  const ByteReader r(value, length);
  const std::optional<uint32_t> num = r.U32(LAG_EXTRA_OFF_NUM);
  size_t pos = LAG_EXTRA_HEADER_LEN;
  for (uint64_t i = 0; num && i < *num; i++) {
    if (!r.Has(pos, LAG_CONFIG_ENTRY_LEN)) break;
    LagConfigEntry &entry = entries.emplace_back();
    memcpy(entry.name.data(), r.Bytes(pos + LAG_CONFIG_ENTRY_OFF_NAME, LAG_NAME_LEN), LAG_NAME_LEN);
    memcpy(entry.key.data(), r.Bytes(pos + LAG_CONFIG_ENTRY_OFF_KEY, LAG_KEY_LEN), LAG_KEY_LEN);
    const uint32_t numItems = *r.U32(pos + LAG_CONFIG_ENTRY_OFF_NUM_ITEMS);
    pos += LAG_CONFIG_ENTRY_LEN;
    for (uint64_t j = 0; j < numItems; j++) {
      const std::optional<uint32_t> type = r.U32(pos + LAG_CONFIG_ITEM_OFF_TYPE);
      const std::optional<uint32_t> len = r.U32(pos + LAG_CONFIG_ITEM_OFF_LEN);
      const uint8_t *data = len ? r.Bytes(pos + LAG_CONFIG_ITEM_OFF_DATA, *len) : nullptr;
      if (!type || data == nullptr) {
        fprintf(stderr, "Invalid config item data\n");
        return ZOR_INVALID_DATA;
      }
      entry.items.push_back({*type, std::vector<uint8_t>(data, data + *len)});
      pos += LAG_CONFIG_ITEM_HEADER_LEN + *len;
    }
  }
  if (!num || entries.size() < *num) {
    fprintf(stderr, "Invalid config item data\n");
    return ZOR_INVALID_DATA;
  }
  if (pos != length) {
    fprintf(stderr, "Got invalid memory %lu != %d\n", static_cast<unsigned long>(pos),
            static_cast<int>(length));
    return ZOR_BAD_PARAM;
  }
  return ZOR_OK;
}

ByteWriter LagExtraConfig_Encode(const std::vector<LagConfigEntry> &entries) {
  size_t total = LAG_EXTRA_HEADER_LEN;
  for (const LagConfigEntry &entry : entries) {
    total += LAG_CONFIG_ENTRY_LEN;
    for (const LagConfigItem &item : entry.items)
      total += LAG_CONFIG_ITEM_HEADER_LEN + item.data.size();
  }
  ByteWriter value(total);
  value.PutU32(LAG_EXTRA_OFF_NUM, static_cast<uint32_t>(entries.size()));
  size_t pos = LAG_EXTRA_HEADER_LEN;
  for (const LagConfigEntry &entry : entries) {
    value.PutBytes(pos + LAG_CONFIG_ENTRY_OFF_NAME, entry.name.data(), LAG_NAME_LEN);
    value.PutBytes(pos + LAG_CONFIG_ENTRY_OFF_KEY, entry.key.data(), LAG_KEY_LEN);
    value.PutU32(pos + LAG_CONFIG_ENTRY_OFF_NUM_ITEMS, static_cast<uint32_t>(entry.items.size()));
    pos += LAG_CONFIG_ENTRY_LEN;
    for (const LagConfigItem &item : entry.items) {
      value.PutU32(pos + LAG_CONFIG_ITEM_OFF_TYPE, item.type);
      value.PutU32(pos + LAG_CONFIG_ITEM_OFF_LEN, static_cast<uint32_t>(item.data.size()));
      value.PutBytes(pos + LAG_CONFIG_ITEM_OFF_DATA, item.data.data(), item.data.size());
      pos += LAG_CONFIG_ITEM_HEADER_LEN + item.data.size();
    }
  }
  return value;
}

ZOR_ReturnStatus LagExtraConfig_Merge(const char *text, uint32_t lagCount,
                                      std::vector<LagConfigEntry> &entries) {
  const std::string_view all(text);
  size_t start = 0;
  for (uint32_t i = 0; i < lagCount; i++) {
    size_t end = all.find('*', start);
    if (end == std::string_view::npos) end = all.size();
    const ZOR_ReturnStatus status = MergeLag(all.substr(start, end - start), entries);
    if (status != ZOR_OK) return status;
    start = end < all.size() ? end + 1 : end;
  }
  return ZOR_OK;
}

bool MatchPortTimeoutItem(const LagConfigItem &item, const void *data, uint32_t len) {
  const ByteReader stored(item.data.data(), static_cast<uint32_t>(item.data.size()));
  const ByteReader given(data, len);
  return stored.Text(PORT_TIMEOUT_OFF_NAME, PORT_TIMEOUT_NAME_LEN).value_or("") ==
         given.Text(PORT_TIMEOUT_OFF_NAME, PORT_TIMEOUT_NAME_LEN).value_or("");
}

ZOR_ReturnStatus AddOrUpdateConfigItem(LagConfigEntry &entry, uint32_t type, const void *data,
                                       uint32_t len) {
  if (type > LAG_ITEM_PORT_TIMEOUT) return ZOR_BAD_PARAM;
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  for (LagConfigItem &item : entry.items) {
    if (item.type != type) continue;
    if (type == LAG_ITEM_PORT_TIMEOUT && !MatchPortTimeoutItem(item, data, len)) continue;
    item.data.assign(bytes, bytes + len);
    return ZOR_OK;
  }
  entry.items.push_back({type, std::vector<uint8_t>(bytes, bytes + len)});
  return ZOR_OK;
}

CommandResult Cmd_ConfigLag(const CommandContext &ctx) {
  const char *arg = ctx.inv.commandArg;
  if (strcmp(arg, LAG_EXTRA_CLEAR_ALL) == 0) return ctx.state.hostClear(ctx.sw, LAG_EXTRA_KEY);
  uint32_t lagCount = 0;
  const ZOR_ReturnStatus status = ValidateLagConfig(arg, LAG_EXTRA_FIELDS_PER_LAG, &lagCount);
  if (status != ZOR_OK) return status;
  return ConfigureLags(ctx, arg + 1, lagCount);
}

namespace {

/* One config item: its type and, for the types the listing knows, what it holds. */
struct LagItemValue {
  uint32_t type;
  std::optional<uint32_t> timeout; /* both types; empty when the item's data is too short */
  std::string_view port;           /* LAG_ITEM_PORT_TIMEOUT */
};

struct LagEntryValue {
  std::string_view name;
  std::vector<LagItemValue> items;
};

/*
 * The extra configuration: the LAG entries that lie inside the value
 * with their items; badItem when an item's header or data did not,
 * which ends the value.
 */
struct LagExtraValue {
  uint32_t num = 0;
  std::vector<LagEntryValue> lags;
  bool badItem = false;
};

LagExtraValue DecodeLagExtra(const ByteReader &r) {
  LagExtraValue v;
  v.num = r.U32(LAG_EXTRA_OFF_NUM).value_or(0);
  size_t pos = LAG_EXTRA_HEADER_LEN;
  for (uint64_t i = 0; i < v.num && r.Has(pos, LAG_CONFIG_ENTRY_LEN); i++) {
    LagEntryValue &lag = v.lags.emplace_back();
    lag.name = *r.Text(pos + LAG_CONFIG_ENTRY_OFF_NAME, LAG_NAME_LEN);
    const uint32_t numItems = *r.U32(pos + LAG_CONFIG_ENTRY_OFF_NUM_ITEMS);
    pos += LAG_CONFIG_ENTRY_LEN;
    for (uint64_t j = 0; j < numItems; j++) {
      const std::optional<uint32_t> type = r.U32(pos + LAG_CONFIG_ITEM_OFF_TYPE);
      const std::optional<uint32_t> len = r.U32(pos + LAG_CONFIG_ITEM_OFF_LEN);
      const uint8_t *data = len ? r.Bytes(pos + LAG_CONFIG_ITEM_OFF_DATA, *len) : nullptr;
      if (!type || data == nullptr) {
        v.badItem = true;
        return v;
      }
      const ByteReader item(data, *len);
      if (*type == LAG_ITEM_LAG_TIMEOUT) {
        lag.items.push_back({*type, item.U32(0), {}});
      } else if (*type == LAG_ITEM_PORT_TIMEOUT) {
        lag.items.push_back({*type, item.U32(PORT_TIMEOUT_OFF_TIMEOUT),
                             item.Text(PORT_TIMEOUT_OFF_NAME, PORT_TIMEOUT_NAME_LEN).value_or("")});
      } else {
        lag.items.push_back({*type, std::nullopt, {}});
      }
      pos += LAG_CONFIG_ITEM_HEADER_LEN + *len;
    }
  }
  return v;
}

/* A timeout as {"name": fast, slow or unknown, "number"}; null when the item holds none. */
void WriteTimeout(JsonOut &out, std::string_view key, std::optional<uint32_t> timeout) {
  if (timeout) {
    Json_Enum(out, key, TimeoutName(timeout), *timeout);
  } else {
    out.Key(key);
    out.Null();
  }
}

}  // namespace

void Prop_PrintLagExtraConfig(const PrintContext &, const char *key, const void *value,
                              uint32_t length, int32_t flags) {
  const LagExtraValue v = DecodeLagExtra(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (size_t i = 0; i < v.lags.size(); i++) {
    const LagEntryValue &lag = v.lags[i];
    printf("\t\t\tlag name:\t\t\t%.*s\n", static_cast<int>(lag.name.size()), lag.name.data());
    for (const LagItemValue &item : lag.items) {
      if (item.type == LAG_ITEM_LAG_TIMEOUT) {
        printf("\t\t\tlag timeout:\t\t\t%s\n", TimeoutName(item.timeout));
      } else if (item.type == LAG_ITEM_PORT_TIMEOUT) {
        printf("\t\t\tport timeout:\t\t\t%.*s/%s\n", static_cast<int>(item.port.size()),
               item.port.data(), TimeoutName(item.timeout));
      }
    }
    if (v.badItem && i + 1 == v.lags.size()) {
      printf("\t\t\tunknown config item type\n");
      break;
    }
    printf("\n");
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonLagExtraConfig(const PrintContext &, const void *value, uint32_t length,
                             JsonOut &out) {
  const ByteReader r(value, length);
  const LagExtraValue v = DecodeLagExtra(r);
  out.BeginObject();
  out.Key("lags");
  out.BeginArray();
  for (const LagEntryValue &lag : v.lags) {
    out.BeginObject();
    Json_Text(out, "lagName", lag.name);
    out.Key("items");
    out.BeginArray();
    for (const LagItemValue &item : lag.items) {
      out.BeginObject();
      Json_Uint(out, "type", item.type);
      if (item.type == LAG_ITEM_LAG_TIMEOUT) {
        WriteTimeout(out, "lagTimeout", item.timeout);
      } else if (item.type == LAG_ITEM_PORT_TIMEOUT) {
        Json_Text(out, "port", item.port);
        WriteTimeout(out, "portTimeout", item.timeout);
      }
      out.EndObject();
    }
    out.EndArray();
    out.EndObject();
  }
  out.EndArray();
  if (v.badItem) Json_Bool(out, "unknownConfigItemType", true);
  Json_Truncated(out, v.badItem || !r.Has(LAG_EXTRA_OFF_NUM, 4) || v.lags.size() < v.num);
  out.EndObject();
}

/* ---- The family -------------------------------------------------------- */

namespace {

const UsageEntry lagUsage[] = {
    {41,
     "brakk --configLAG \"*<lag name>;<lag key>;<config item type:config item value,...>;*<lag "
     "name2>;<lag key2>;...\" switch_name\n"
     "                                              Configure LAG extra configurations after "
     "creating LAG e.g. timeout"},
};

const PropPrinterRow lagPrinters[] = {
    {LAG_EXTRA_KEY, Prop_PrintLagExtraConfig, Prop_JsonLagExtraConfig},
};

}  // namespace

const PropFamily LAG_EXTRA_FAMILY = {"lag", lagPrinters, lagUsage};
