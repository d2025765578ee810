// SPDX-License-Identifier: Apache-2.0
/*
 * overlay.cpp --
 *
 *    The overlay and DVFilter families: the -o and -F parsers and setters
 *    and the printers of the instance list, the port parameters and the
 *    filter list.
 */

#include "props/overlay.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "state/state_ops.h"

namespace {

/* ---- Overlay ------------------------------------------------------------- */

/*
 * Splits a text the way strtok does, with a delimiter chosen per call:
 * delimiters before a token are skipped (so empty tokens never appear),
 * and the token ends at the next delimiter, which is consumed.
 */
class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) {}

  std::optional<std::string_view> Next(char delimiter) {
    const size_t start = rest_.find_first_not_of(delimiter);
    if (start == std::string_view::npos) {
      rest_ = {};
      return std::nullopt;
    }
    rest_.remove_prefix(start);
    const size_t end = rest_.find(delimiter);
    const std::string_view token = rest_.substr(0, end);
    rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
    return token;
  }

 private:
  std::string_view rest_;
};

struct OverlayPair {
  uint32_t depth;
  std::string value;
};

/*
 * Reads the depth,value pairs of text: a depth runs to the next ',', its
 * value to the next ';'. Returns false after printing the reason when a
 * depth has no value; keeps the first OVERLAY_MAX_PAIRS pairs.
 */
bool ReadOverlayPairs(const char *text, std::vector<OverlayPair> &pairs) {
  Tokens tokens(text);
  for (;;) {
    const std::optional<std::string_view> depth = tokens.Next(',');
    if (!depth) return true;
    if (pairs.size() == OVERLAY_MAX_PAIRS) {
      printf("Overlay argument has too many elements");
      return true;
    }
    const std::optional<std::string_view> value = tokens.Next(';');
    if (!value) {
      printf("Bad overlay argument, value not paired");
      return false;
    }
    const std::string depthText(*depth);
    pairs.push_back(
        {static_cast<uint32_t>(strtol(depthText.c_str(), nullptr, 10)), std::string(*value)});
  }
}

ZOR_ReturnStatus BuildInstances(const std::vector<OverlayPair> &pairs, ByteWriter &value) {
  value.Resize(OVERLAY_LIST_HEADER_LEN + OVERLAY_INSTANCE_LEN * pairs.size());
  value.PutU32(OVERLAY_LIST_OFF_COUNT, static_cast<uint32_t>(pairs.size()));
  size_t offset = OVERLAY_LIST_HEADER_LEN;
  for (const OverlayPair &pair : pairs) {
    char className[OVERLAY_CLASS_NAME_LEN] = {};
    /* The platform refuses a name that does not fit with its NUL or is not UTF-8. */
    if (!Unicode_CopyBytes(className, pair.value.c_str(), sizeof className, 0, 0)) {
      printf("%s is an invalid overlay class name.\n", pair.value.c_str());
      printf("failed to set instance");
      return ZOR_BAD_PARAM;
    }
    value.PutU32(offset + OVERLAY_INSTANCE_OFF_DEPTH, pair.depth);
    value.PutBytes(offset + OVERLAY_INSTANCE_OFF_CLASS, className, sizeof className);
    offset += OVERLAY_INSTANCE_LEN;
  }
  return ZOR_OK;
}

void BuildParams(const std::vector<OverlayPair> &pairs, ByteWriter &value) {
  value.Resize(OVERLAY_LIST_HEADER_LEN + OVERLAY_PARAM_LEN * pairs.size());
  value.PutU32(OVERLAY_LIST_OFF_COUNT, static_cast<uint32_t>(pairs.size()));
  size_t offset = OVERLAY_LIST_HEADER_LEN;
  for (const OverlayPair &pair : pairs) {
    /* A number in C notation; only its low 32 bits are kept. */
    const uint32_t number = static_cast<uint32_t>(strtoul(pair.value.c_str(), nullptr, 0));
    value.PutU32(offset + OVERLAY_PARAM_OFF_DEPTH, pair.depth);
    value.PutU64(offset + OVERLAY_PARAM_OFF_VALUE, number);
    offset += OVERLAY_PARAM_LEN;
  }
}

/* The instance form of -o: write the list, or remove it when the text names none. */
ZOR_ReturnStatus SetInstances(const CommandContext &ctx, const ByteWriter &value) {
  if (value.Length() == 0) {
    const ZOR_ReturnStatus status = ctx.state.globalClear(ctx.sw, OVERLAY_KEY_INSTANCES);
    if (status == ZOR_OK) return ZOR_OK;
    if (status != ZOR_NOT_FOUND) printf("Unable to clear overlay instances");
    printf("failed to set instance");
    return status;
  }
  const ZOR_ReturnStatus status =
      ctx.state.globalSet(ctx.sw, OVERLAY_KEY_INSTANCES, value.Data(), value.Length(), PROP_CONFIG);
  if (status != ZOR_OK) printf("failed to set instance");
  return status;
}

/* ---- DVFilter ------------------------------------------------------------ */

struct DvfilterParam {
  uint32_t index;
  std::string value;
};

struct DvfilterSlot {
  uint32_t slot = 0;
  std::string name;
  uint32_t onFailure = DVFILTER_ON_FAILURE_CLOSE;
  std::vector<DvfilterParam> params;
};

/* Splits one filter's text at each ','; an empty text has no fields. */
bool SplitFilterFields(std::string_view text, std::vector<std::string_view> &fields) {
  if (text.empty()) return true;
  size_t pos = 0;
  for (;;) {
    if (fields.size() == DVFILTER_MAX_FIELDS) return false;
    const size_t comma = text.find(',', pos);
    fields.push_back(text.substr(pos, comma == std::string_view::npos ? comma : comma - pos));
    if (comma == std::string_view::npos) return true;
    pos = comma + 1;
  }
}

/* The decimal number at the start of text, as strtol reads it, keeping its low 32 bits. */
uint32_t DecimalOf(std::string_view text) {
  const std::string copy(text);
  return static_cast<uint32_t>(strtol(copy.c_str(), nullptr, 10));
}

/*
 * Reads one filter's text into slot. Returns false after printing the
 * reason when it cannot be built.
 */
bool ReadFilter(std::string_view text, DvfilterSlot &slot) {
  std::vector<std::string_view> fields;
  if (!SplitFilterFields(text, fields)) {
    printf("Filter info not well formed\n");
    return false;
  }
  for (size_t i = 0; i < fields.size(); i++) {
    printf("Part %i = %.*s\n", static_cast<int>(i), static_cast<int>(fields[i].size()),
           fields[i].data());
  }
  if (fields.size() < 2) {
    fprintf(stderr, "Required fields missing from slot->filter");
    return false;
  }
  slot.slot = DecimalOf(fields[0]);
  slot.name = std::string(fields[1]);
  if (fields.size() > 2) {
    slot.onFailure = fields[2] == "OPEN" ? DVFILTER_ON_FAILURE_OPEN : DVFILTER_ON_FAILURE_CLOSE;
  }
  for (size_t i = 3; i < fields.size(); i++) {
    const size_t colon = fields[i].find(':');
    if (colon == std::string_view::npos) {
      fprintf(stderr, "Malformed DVFilter parameter");
      return false;
    }
    slot.params.push_back(
        {DecimalOf(fields[i].substr(0, colon)), std::string(fields[i].substr(colon + 1))});
  }
  if (slot.slot > DVFILTER_MAX_SLOT) {
    fprintf(stderr, "Invalid DVFilter slot selected");
    return false;
  }
  return true;
}

/* Text of a fixed field for "%.*s". */
int Width(std::string_view text) {
  return static_cast<int>(text.size());
}

/*
 * Calls each(offset) for the records of an overlay list value, in order.
 * Returns false when the count or a record lies past the value's end (the
 * records before it have been shown).
 */
template <typename Each>
bool ForEachOverlayRecord(const ByteReader &r, size_t recordLen, Each each) {
  const std::optional<uint32_t> count = r.U32(OVERLAY_LIST_OFF_COUNT);
  if (!count) return false;
  size_t offset = OVERLAY_LIST_HEADER_LEN;
  for (uint32_t i = 0; i < *count; i++, offset += recordLen) {
    if (!r.Has(offset, recordLen)) return false;
    each(offset);
  }
  return true;
}

}  // namespace

ZOR_ReturnStatus Overlay_Build(const char *text, bool instanceForm, ByteWriter &value) {
  std::vector<OverlayPair> pairs;
  if (!ReadOverlayPairs(text, pairs)) return ZOR_BAD_PARAM;
  if (!instanceForm) {
    BuildParams(pairs, value);
    return ZOR_OK;
  }
  if (pairs.empty()) {
    value.Resize(0);
    return ZOR_OK;
  }
  return BuildInstances(pairs, value);
}

CommandResult Cmd_SetOverlay(const CommandContext &ctx) {
  const char *target = ctx.inv.portName;
  /* Only the global list takes instances; any other target, hostPropList too, is a port. */
  const bool instanceForm = strcmp(target, DVS_TARGET_GLOBAL_LIST) == 0;
  ByteWriter value(0);
  const ZOR_ReturnStatus built = Overlay_Build(ctx.inv.overlaySpec, instanceForm, value);
  if (built != ZOR_OK) return built;
  if (instanceForm) return SetInstances(ctx, value);
  const ZOR_ReturnStatus status = ctx.state.portSet(ctx.sw, target, OVERLAY_KEY_PORT, value.Data(),
                                                    value.Length(), PROP_CONFIG);
  if (status != ZOR_OK) printf("failed to set port params");
  return status;
}

ZOR_ReturnStatus Dvfilter_Build(const char *text, ByteWriter &value) {
  const std::string_view all(text);
  size_t filterCount = 0;
  size_t paramCount = 0;
  if (!all.empty()) {
    /* Every ';'-separated part counts, so a trailing ';' adds one all-zero record. */
    size_t start = 0;
    for (;;) {
      filterCount++;
      const size_t end = all.find(';', start);
      const std::string_view part =
          all.substr(start, end == std::string_view::npos ? end : end - start);
      size_t commas = 0;
      for (char c : part) commas += c == ',' ? 1 : 0;
      if (commas > 2) paramCount += commas - 2;
      if (end == std::string_view::npos) break;
      start = end + 1;
    }
  }
  if (filterCount > DVFILTER_MAX_FILTERS) return DVFILTER_PARSE_FAILED;

  std::vector<DvfilterSlot> slots;
  size_t pos = 0;
  while (pos < all.size()) {
    const size_t end = all.find(';', pos);
    const std::string_view filterText =
        all.substr(pos, end == std::string_view::npos ? end : end - pos);
    pos = end == std::string_view::npos ? all.size() : end + 1;
    DvfilterSlot slot;
    if (!ReadFilter(filterText, slot)) return DVFILTER_PARSE_FAILED;
    slots.push_back(std::move(slot));
  }

  value.Resize(DVFILTER_HEADER_LEN + DVFILTER_SLOT_LEN * filterCount +
               DVFILTER_PARAM_LEN * paramCount);
  value.PutU32(DVFILTER_OFF_COUNT, static_cast<uint32_t>(filterCount));
  size_t offset = DVFILTER_HEADER_LEN;
  for (const DvfilterSlot &slot : slots) {
    value.PutU32(offset + DVFILTER_SLOT_OFF_SLOT, slot.slot);
    value.PutText(offset + DVFILTER_SLOT_OFF_NAME, DVFILTER_NAME_LEN, slot.name.c_str());
    value.PutU32(offset + DVFILTER_SLOT_OFF_PARAM_COUNT, static_cast<uint32_t>(slot.params.size()));
    value.PutU32(offset + DVFILTER_SLOT_OFF_ON_FAILURE, slot.onFailure);
    offset += DVFILTER_SLOT_LEN;
    for (const DvfilterParam &param : slot.params) {
      value.PutU32(offset + DVFILTER_PARAM_OFF_INDEX, param.index);
      value.PutText(offset + DVFILTER_PARAM_OFF_VALUE, DVFILTER_PARAM_VALUE_LEN,
                    param.value.c_str());
      offset += DVFILTER_PARAM_LEN;
    }
  }
  return ZOR_OK;
}

CommandResult Cmd_SetDvfilter(const CommandContext &ctx) {
  ByteWriter value(0);
  const ZOR_ReturnStatus built = Dvfilter_Build(ctx.inv.commandArg, value);
  if (built != ZOR_OK) return built;
  /* The -p argument is a port here, whatever its name. */
  return ctx.state.portSet(ctx.sw, ctx.inv.portName, DVFILTER_KEY, value.Data(), value.Length(),
                           PROP_CONFIG);
}

namespace {

/* The records of an overlay list that lie inside the value, and whether all that it counts do. */
template <typename Record>
struct OverlayList {
  std::vector<Record> records;
  bool whole = false;
};

struct OverlayInstance {
  uint32_t depth;
  std::string_view className;
};

struct OverlayParam {
  uint32_t depth;
  uint64_t value;
};

OverlayList<OverlayInstance> DecodeOverlayInstances(const ByteReader &r) {
  OverlayList<OverlayInstance> v;
  v.whole = ForEachOverlayRecord(r, OVERLAY_INSTANCE_LEN, [&](size_t offset) {
    v.records.push_back({*r.U32(offset + OVERLAY_INSTANCE_OFF_DEPTH),
                         *r.Text(offset + OVERLAY_INSTANCE_OFF_CLASS, OVERLAY_CLASS_NAME_LEN)});
  });
  return v;
}

OverlayList<OverlayParam> DecodePortOverlay(const ByteReader &r) {
  OverlayList<OverlayParam> v;
  v.whole = ForEachOverlayRecord(r, OVERLAY_PARAM_LEN, [&](size_t offset) {
    v.records.push_back(
        {*r.U32(offset + OVERLAY_PARAM_OFF_DEPTH), *r.U64(offset + OVERLAY_PARAM_OFF_VALUE)});
  });
  return v;
}

/* One filter of a DVFilter value, with the parameters of it that lie inside the value. */
struct DvfilterSlotValue {
  uint32_t slot;
  std::string_view name;
  uint32_t paramCount;
  uint32_t onFailure;
  std::vector<std::pair<uint32_t, std::string_view>> params;
};

/* A DVFilter value: its count and the filters that lie inside it, up to the first that does not. */
struct DvfilterValue {
  std::optional<uint32_t> count;
  std::vector<DvfilterSlotValue> filters;
  bool whole = false;
};

DvfilterValue DecodeDvfilter(const ByteReader &r) {
  DvfilterValue v;
  v.count = r.U32(DVFILTER_OFF_COUNT);
  if (!v.count) return v;
  /*
   * Records lie back to back, each filter followed by its parameters; a
   * count never reads past the value.
   */
  size_t offset = DVFILTER_HEADER_LEN;
  for (uint32_t i = 0; i < *v.count; i++) {
    if (!r.Has(offset, DVFILTER_SLOT_LEN)) return v;
    DvfilterSlotValue &filter = v.filters.emplace_back();
    filter.slot = *r.U32(offset + DVFILTER_SLOT_OFF_SLOT);
    filter.name = *r.Text(offset + DVFILTER_SLOT_OFF_NAME, DVFILTER_NAME_LEN);
    filter.paramCount = *r.U32(offset + DVFILTER_SLOT_OFF_PARAM_COUNT);
    filter.onFailure = *r.U32(offset + DVFILTER_SLOT_OFF_ON_FAILURE);
    offset += DVFILTER_SLOT_LEN;
    for (uint32_t j = 0; j < filter.paramCount; j++) {
      if (!r.Has(offset, DVFILTER_PARAM_LEN)) return v;
      filter.params.emplace_back(
          *r.U32(offset + DVFILTER_PARAM_OFF_INDEX),
          *r.Text(offset + DVFILTER_PARAM_OFF_VALUE, DVFILTER_PARAM_VALUE_LEN));
      offset += DVFILTER_PARAM_LEN;
    }
  }
  v.whole = true;
  return v;
}

const char *OnFailureName(uint32_t onFailure) {
  return onFailure == DVFILTER_ON_FAILURE_OPEN ? "open" : "close";
}

}  // namespace

void Prop_PrintOverlayInstances(const PrintContext &, const char *key, const void *value,
                                uint32_t length, int32_t flags) {
  const OverlayList<OverlayInstance> v = DecodeOverlayInstances(ByteReader(value, length));
  printf("\t\t%s =", key);
  for (const OverlayInstance &instance : v.records) {
    printf(" %.*s(%u)", Width(instance.className), instance.className.data(), instance.depth);
  }
  printf("\n");
  if (v.whole) Prop_PrintFlagsLine(flags);
}

void Prop_JsonOverlayInstances(const PrintContext &, const void *value, uint32_t length,
                               JsonOut &out) {
  const OverlayList<OverlayInstance> v = DecodeOverlayInstances(ByteReader(value, length));
  out.BeginObject();
  out.Key("instances");
  out.BeginArray();
  for (const OverlayInstance &instance : v.records) {
    out.BeginObject();
    Json_Text(out, "className", instance.className);
    Json_Uint(out, "depth", instance.depth);
    out.EndObject();
  }
  out.EndArray();
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

void Prop_PrintPortOverlay(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t flags) {
  const OverlayList<OverlayParam> v = DecodePortOverlay(ByteReader(value, length));
  printf("\t\t%s =", key);
  for (const OverlayParam &param : v.records)
    printf("0x%0" PRIx64 "@%u ", param.value, param.depth);
  printf("\n");
  if (v.whole) Prop_PrintFlagsLine(flags);
}

void Prop_JsonPortOverlay(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const OverlayList<OverlayParam> v = DecodePortOverlay(ByteReader(value, length));
  out.BeginObject();
  out.Key("params");
  out.BeginArray();
  for (const OverlayParam &param : v.records) {
    out.BeginObject();
    Json_Uint(out, "value", param.value);
    Json_Uint(out, "depth", param.depth);
    out.EndObject();
  }
  out.EndArray();
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

void Prop_PrintDvfilter(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t flags) {
  const DvfilterValue v = DecodeDvfilter(ByteReader(value, length));
  printf("\t\t%s = filters", key);
  if (!v.count) {
    printf("\n");
    return;
  }
  printf(" (num = %u):\n", *v.count);
  for (const DvfilterSlotValue &filter : v.filters) {
    printf("\t\t\t%u: %.*s (onFailure: %s, params = %d)\n", filter.slot, Width(filter.name),
           filter.name.data(), OnFailureName(filter.onFailure),
           static_cast<int>(filter.paramCount));
    for (const auto &[index, text] : filter.params) {
      printf("\t\t\t\tparam %d: %.*s\n", static_cast<int>(index), Width(text), text.data());
    }
  }
  if (v.whole) Prop_PrintFlagsLine(flags);
}

void Prop_JsonDvfilter(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const DvfilterValue v = DecodeDvfilter(ByteReader(value, length));
  out.BeginObject();
  if (v.count) {
    out.Key("filters");
    out.BeginArray();
    for (const DvfilterSlotValue &filter : v.filters) {
      out.BeginObject();
      Json_Uint(out, "slot", filter.slot);
      Json_Text(out, "name", filter.name);
      Json_Enum(out, "onFailure", OnFailureName(filter.onFailure), filter.onFailure);
      out.Key("params");
      out.BeginArray();
      for (const auto &[index, text] : filter.params) {
        out.BeginObject();
        Json_Int(out, "index", static_cast<int32_t>(index));
        Json_Text(out, "value", text);
        out.EndObject();
      }
      out.EndArray();
      out.EndObject();
    }
    out.EndArray();
  }
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

/* ---- The family ---------------------------------------------------------- */

namespace {

const UsageEntry overlayUsage[] = {
    {20,
     "brakk -o \"depth,param|classname;depth,param|classname;... -p port|globalPropList "
     "switch_name\n"
     "                                              set overlay parameters for port"},
};

const PropPrinterRow overlayPrinters[] = {
    {OVERLAY_KEY_INSTANCES, Prop_PrintOverlayInstances, Prop_JsonOverlayInstances},
    {OVERLAY_KEY_PORT, Prop_PrintPortOverlay, Prop_JsonPortOverlay},
    {DVFILTER_KEY, Prop_PrintDvfilter, Prop_JsonDvfilter},
};

}  // namespace

const PropFamily OVERLAY_FAMILY = {"overlay", overlayPrinters, overlayUsage};
