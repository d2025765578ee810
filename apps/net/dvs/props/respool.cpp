// SPDX-License-Identifier: Apache-2.0
/*
 * respool.cpp --
 *
 *    Network resource pools and host status: parsers, the commands that
 *    publish the values to the kernel, and the printers of the listing.
 */

#include "props/respool.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "events/events.h"
#include "props/bytes.h"
#include "state/state_ops.h"

namespace {

/* ---- Value-name tables ------------------------------------------------ */

/* Host status colours, by stored value. */
const ValueName hostStatusColours[] = {{0, "green"}, {1, "yellow"}, {2, "red"}};

/* ---- Parsing helpers -------------------------------------------------- */

/*
 * A zeroed writer of length bytes, or none after printing the family's
 * allocation message. Lengths that a 32-bit value length cannot carry are
 * refused the same way.
 */
std::optional<ByteWriter> NewValue(size_t length) {
  if (length <= UINT32_MAX) {
    try {
      return ByteWriter(length);
    } catch (const std::bad_alloc &) {
    }
  }
  fputs("Unable to allocate memory\n", stderr);
  return std::nullopt;
}

/* The number of ';'-separated items: 0 for an empty text. */
uint32_t CountItems(std::string_view text) {
  if (text.empty()) return 0;
  uint32_t n = 1;
  for (char c : text) n += c == ';' ? 1 : 0;
  return n;
}

/* The item of text that begins at pos and ends before the next ';' (or at the end). */
std::string_view ItemAt(std::string_view text, size_t pos) {
  const size_t end = text.find(';', pos);
  return text.substr(pos, end == std::string_view::npos ? std::string_view::npos : end - pos);
}

/*
 * One number as the "%u" or "%d" conversions of sscanf read it (leading
 * blanks, an optional sign, decimal digits); the value keeps its low 32
 * bits. Returns false when no number stands at text.
 */
bool ScanNumber(const char *text, uint32_t *value, const char **end) {
  char *stop = nullptr;
  const long long parsed = strtoll(text, &stop, 10);
  if (stop == text) return false;
  *value = static_cast<uint32_t>(static_cast<unsigned long long>(parsed));
  *end = stop;
  return true;
}

/*
 * The "%u:%u:%d:%u" scan of a configuration entry's numbers: fills the
 * first fields of numbers and returns how many were converted (0 to 4).
 */
int ScanEntryNumbers(const char *text, uint32_t numbers[4]) {
  const char *pos = text;
  for (int i = 0; i < 4; i++) {
    if (i > 0) {
      if (*pos != ':') return i;
      pos++;
    }
    if (!ScanNumber(pos, &numbers[i], &pos)) return i;
  }
  return 4;
}

/* Replaces value with the writer's bytes and returns 0. */
ZOR_ReturnStatus Done(ByteWriter &writer, std::vector<uint8_t> &value) {
  value = writer.Take();
  return ZOR_OK;
}

/* ---- Printing helpers ------------------------------------------------- */

}  // namespace

/* ---- Parsers ------------------------------------------------------------ */

ZOR_ReturnStatus Respool_ParseList(const char *text, std::vector<uint8_t> &value) {
  const std::string_view all(text);
  const uint32_t n = CountItems(all);
  std::optional<ByteWriter> list =
      NewValue(RESPOOL_LIST_OFF_ENTRIES + static_cast<size_t>(RESPOOL_LIST_ENTRY_LEN) * n);
  if (!list) return ZOR_NO_RESOURCES;
  list->PutU32(RESPOOL_LIST_OFF_COUNT, n);

  size_t pos = 0;
  for (uint32_t i = 0; i < n; i++) {
    const std::string_view item = ItemAt(all, pos);
    if (item.size() > RESPOOL_ID_MAX_CHARS) {
      fprintf(stderr, "Incorrect data format. Network resource pool id is too long (max %d).\n",
              RESPOOL_ID_MAX_CHARS);
      return ZOR_BAD_PARAM;
    }
    list->PutBytes(RESPOOL_LIST_OFF_ENTRIES + static_cast<size_t>(RESPOOL_LIST_ENTRY_LEN) * i,
                   item.data(), item.size());
    pos += item.size() + 1;
  }
  return Done(*list, value);
}

ZOR_ReturnStatus Respool_ParseConfig(const char *text, std::vector<uint8_t> &value) {
  const std::string_view all(text);
  const uint32_t n = CountItems(all);
  std::optional<ByteWriter> config =
      NewValue(RESPOOL_CFG_OFF_ENTRIES + static_cast<size_t>(RESPOOL_CFG_ENTRY_LEN) * n);
  if (!config) return ZOR_NO_RESOURCES;
  config->PutU32(RESPOOL_CFG_OFF_COUNT, n);

  size_t pos = 0;
  for (uint32_t i = 0; i < n; i++) {
    const std::string_view item = ItemAt(all, pos);
    const size_t colon = item.find(':');
    if (colon == std::string_view::npos) {
      fputs("Incorrect data format.\n", stderr);
      return ZOR_BAD_PARAM;
    }
    if (colon > RESPOOL_ID_MAX_CHARS) {
      fprintf(stderr, "Incorrect data format. Network resource pool id is too long (%d, max %d).\n",
              static_cast<int>(colon), RESPOOL_ID_MAX_CHARS);
      return ZOR_BAD_PARAM;
    }
    /* reservation, shares, limit, tag; the scan stops at the entry's ';' by itself. */
    uint32_t numbers[4] = {};
    if (ScanEntryNumbers(item.data() + colon + 1, numbers) != 4) {
      fputs("Incorrect data format. Expect: pool:resv:share:limit:tag;...\n", stderr);
      return ZOR_BAD_PARAM;
    }
    const size_t entry = RESPOOL_CFG_OFF_ENTRIES + static_cast<size_t>(RESPOOL_CFG_ENTRY_LEN) * i;
    config->PutBytes(entry + RESPOOL_CFG_ENTRY_OFF_ID, item.data(), colon);
    config->PutU8(entry + RESPOOL_CFG_ENTRY_OFF_TAG, static_cast<uint8_t>(numbers[3]));
    config->PutU32(entry + RESPOOL_CFG_ENTRY_OFF_RESERVATION, numbers[0]);
    config->PutU32(entry + RESPOOL_CFG_ENTRY_OFF_SHARES, numbers[1]);
    config->PutU32(entry + RESPOOL_CFG_ENTRY_OFF_LIMIT, numbers[2]);
    pos += item.size() + 1;
  }
  return Done(*config, value);
}

ZOR_ReturnStatus Respool_ParseAssociation(const char *text, std::vector<uint8_t> &value) {
  if (!ByteWriter::TextFits(text, RESPOOL_ID_LEN)) {
    fprintf(stderr, "Incorrect data format. Network resource pool id is too long (max %d).\n",
            RESPOOL_ID_MAX_CHARS);
    return ZOR_BAD_PARAM;
  }
  std::optional<ByteWriter> assoc = NewValue(RESPOOL_ASSOC_LEN);
  if (!assoc) return ZOR_NO_RESOURCES;
  assoc->PutU32(RESPOOL_ASSOC_OFF_ONE, 1);
  assoc->PutText(RESPOOL_ASSOC_OFF_ID, RESPOOL_ID_LEN, text);
  return Done(*assoc, value);
}

ZOR_ReturnStatus Respool_ParseScheduling(const char *text, std::vector<uint8_t> &value) {
  uint8_t active;
  if (strncmp(text, "activate", strlen("activate")) == 0) {
    active = 1;
  } else if (strncmp(text, "deactivate", strlen("deactivate")) == 0) {
    active = 0;
  } else {
    fprintf(stderr, "Invalid argument [activate|deactivate] but %s is passed\n", text);
    return ZOR_BAD_PARAM;
  }
  value.assign(RESPOOL_SCHED_LEN, active);
  return ZOR_OK;
}

ZOR_ReturnStatus HostStatus_Parse(const char *text, std::vector<uint8_t> &value) {
  const std::string_view all(text);
  const size_t colon = all.find(':');
  const std::string_view colour = all.substr(0, colon);
  const std::string message(colon == std::string_view::npos ? "" : all.substr(colon + 1));

  const std::optional<uint32_t> code = ValueOf(hostStatusColours, colour);
  if (!code) {
    fprintf(stderr, "Invalid color: %.*s\n", static_cast<int>(colour.size()), colour.data());
    return ZOR_BAD_PARAM;
  }
  std::optional<ByteWriter> status = NewValue(HOST_STATUS_LEN);
  if (!status) return ZOR_NO_RESOURCES;
  status->PutU32(HOST_STATUS_OFF_COLOUR, *code);
  status->PutText(HOST_STATUS_OFF_MESSAGE, HOST_STATUS_MESSAGE_LEN, message.c_str());
  return Done(*status, value);
}

/* ---- Operations and command handlers ----------------------------------- */

namespace {

uint32_t LengthOf(const std::vector<uint8_t> &value) {
  return static_cast<uint32_t>(value.size());
}

}  // namespace

ZOR_ReturnStatus Respool_SetList(const StateOps &kernel, const char *sw, const char *text) {
  std::vector<uint8_t> value;
  ZOR_ReturnStatus status = Respool_ParseList(text, value);
  if (status != ZOR_OK) return status;
  status = kernel.globalSet(sw, RESPOOL_KEY_LIST, value.data(), LengthOf(value), PROP_CONFIG);
  if (status != ZOR_OK) fputs("Fail to set the network resource pools list\n", stderr);
  return status;
}

ZOR_ReturnStatus Respool_SetPortConfig(const StateOps &kernel, const char *sw, const char *port,
                                       const char *text) {
  std::vector<uint8_t> value;
  ZOR_ReturnStatus status = Respool_ParseConfig(text, value);
  if (status != ZOR_OK) return status;
  status =
      kernel.portSet(sw, port, RESPOOL_KEY_PORT_CFG, value.data(), LengthOf(value), PROP_CONFIG);
  if (status != ZOR_OK) fputs("Fail to set the network resource pools configuration\n", stderr);
  return status;
}

ZOR_ReturnStatus Respool_SetAssociation(const StateOps &kernel, const char *sw, const char *port,
                                        const char *text) {
  if (text[0] == '\0') return kernel.portClear(sw, port, RESPOOL_KEY_PORT_ASSOC);
  std::vector<uint8_t> value;
  ZOR_ReturnStatus status = Respool_ParseAssociation(text, value);
  if (status != ZOR_OK) return status;
  status =
      kernel.portSet(sw, port, RESPOOL_KEY_PORT_ASSOC, value.data(), LengthOf(value), PROP_CONFIG);
  if (status != ZOR_OK) fprintf(stderr, "Fail to associate to network resource pool %s\n", text);
  return status;
}

ZOR_ReturnStatus Respool_SetScheduling(const StateOps &kernel, const char *sw, const char *text) {
  std::vector<uint8_t> value;
  ZOR_ReturnStatus status = Respool_ParseScheduling(text, value);
  if (status != ZOR_OK) return status;
  status = kernel.globalSet(sw, RESPOOL_KEY_SCHED, value.data(), LengthOf(value), PROP_CONFIG);
  if (status != ZOR_OK) {
    fprintf(stderr, "Fail to %s network resource pools scheduling\n",
            value[0] != 0 ? "activate" : "deactivate");
  }
  return status;
}

ZOR_ReturnStatus HostStatus_Set(const StateOps &kernel, EventQueue *events, const char *sw,
                                const char *text) {
  std::vector<uint8_t> value;
  ZOR_ReturnStatus status = HostStatus_Parse(text, value);
  if (status != ZOR_OK) return status;
  status = kernel.hostSet(sw, HOST_STATUS_KEY, value.data(), LengthOf(value), PROP_CONFIG);
  if (status != ZOR_OK) fputs("DVSZOR_HostPropSet failed\n", stderr);
  /* Listeners learn of the change even when the write failed. */
  Event_Submit(events, EVENT_HOST_STATUS, sw, nullptr, nullptr, 0);
  return status;
}

CommandResult Cmd_SetRespoolList(const CommandContext &ctx) {
  return Respool_SetList(ctx.kernel, ctx.sw, ctx.inv.commandArg);
}

CommandResult Cmd_SetRespoolConfig(const CommandContext &ctx) {
  return Respool_SetPortConfig(ctx.kernel, ctx.sw, ctx.inv.portName, ctx.inv.commandArg);
}

CommandResult Cmd_SetRespoolAssociation(const CommandContext &ctx) {
  return Respool_SetAssociation(ctx.kernel, ctx.sw, ctx.inv.portName, ctx.inv.commandArg);
}

CommandResult Cmd_SetRespoolScheduling(const CommandContext &ctx) {
  return Respool_SetScheduling(ctx.kernel, ctx.sw, ctx.inv.commandArg);
}

CommandResult Cmd_SetHostStatus(const CommandContext &ctx) {
  return HostStatus_Set(ctx.kernel, ctx.events, ctx.sw, ctx.inv.commandArg);
}

/* ---- Printers ------------------------------------------------------------ */

namespace {

/* One entry of a resource pool configuration. */
struct RespoolCfgEntry {
  std::string_view id;
  int32_t reservation;
  int32_t shares;
  int32_t limit;
  uint8_t tag;
};

/* A configuration or a list: its count and the entries that lie inside the value. */
struct RespoolCfgValue {
  std::optional<uint32_t> count;
  std::vector<RespoolCfgEntry> entries;
  bool Whole() const { return count && entries.size() == *count; }
};

RespoolCfgValue DecodeRespoolsCfg(const ByteReader &r) {
  RespoolCfgValue v;
  v.count = r.U32(RESPOOL_CFG_OFF_COUNT);
  for (uint32_t i = 0; v.count && i < *v.count; i++) {
    const size_t entry = RESPOOL_CFG_OFF_ENTRIES + static_cast<size_t>(RESPOOL_CFG_ENTRY_LEN) * i;
    /* The limit is the last field read: an entry that holds it holds the others. */
    const std::optional<int32_t> limit = r.I32(entry + RESPOOL_CFG_ENTRY_OFF_LIMIT);
    if (!limit) break;
    v.entries.push_back({r.Text(entry + RESPOOL_CFG_ENTRY_OFF_ID, RESPOOL_ID_LEN).value_or(""),
                         static_cast<int32_t>(*r.U32(entry + RESPOOL_CFG_ENTRY_OFF_RESERVATION)),
                         static_cast<int32_t>(*r.U32(entry + RESPOOL_CFG_ENTRY_OFF_SHARES)), *limit,
                         *r.U8(entry + RESPOOL_CFG_ENTRY_OFF_TAG)});
  }
  return v;
}

struct RespoolListValue {
  std::optional<uint32_t> count;
  std::vector<std::string_view> ids;
  bool whole = false; /* every entry that count promises lies wholly inside the value */
  bool Whole() const { return count && ids.size() == *count; }
};

RespoolListValue DecodeRespoolsList(const ByteReader &r) {
  RespoolListValue v;
  v.count = r.U32(RESPOOL_LIST_OFF_COUNT);
  for (uint32_t i = 0; v.count && i < *v.count; i++) {
    const std::optional<std::string_view> id = r.Text(
        RESPOOL_LIST_OFF_ENTRIES + static_cast<size_t>(RESPOOL_LIST_ENTRY_LEN) * i, RESPOOL_ID_LEN);
    if (!id) break;
    v.ids.push_back(*id);
  }
  v.whole = v.count &&
            r.Has(RESPOOL_LIST_OFF_ENTRIES, static_cast<size_t>(RESPOOL_LIST_ENTRY_LEN) * *v.count);
  return v;
}

/* The host status: its colour, and its message when the colour has a name. */
struct HostStatusValue {
  std::optional<uint32_t> colour;
  const char *name = nullptr;
  std::optional<std::string_view> message;
};

HostStatusValue DecodeHostStatus(const ByteReader &r) {
  HostStatusValue v;
  v.colour = r.U32(HOST_STATUS_OFF_COLOUR);
  if (v.colour) v.name = NameOf(hostStatusColours, *v.colour, nullptr);
  if (v.name != nullptr) v.message = r.Text(HOST_STATUS_OFF_MESSAGE, HOST_STATUS_MESSAGE_LEN);
  return v;
}

}  // namespace

void Prop_PrintRespoolsSched(const PrintContext &, const char *key, const void *value,
                             uint32_t length, int32_t flags) {
  const std::optional<uint8_t> active = ByteReader(value, length).U8(0);
  printf("\t\t%s:\n", key);
  if (!active) return;
  printf("\t\t\t%s\n", *active != 0 ? "active" : "inactive");
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonRespoolsSched(const PrintContext &, const void *value, uint32_t length,
                            JsonOut &out) {
  const std::optional<uint8_t> active = ByteReader(value, length).U8(0);
  out.BeginObject();
  if (active) Json_Enum(out, "scheduling", *active != 0 ? "active" : "inactive", *active);
  Json_Truncated(out, !active);
  out.EndObject();
}

void Prop_PrintRespoolsCfg(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t flags) {
  const RespoolCfgValue v = DecodeRespoolsCfg(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  if (!v.count) return;
  if (*v.count == 0) printf("\t\t\t<none>\n");
  for (const RespoolCfgEntry &entry : v.entries) {
    printf("\t\t\t");
    Prop_PutText(entry.id);
    printf(":%d:%d:%d:%d\n", entry.reservation, entry.shares, entry.limit, entry.tag);
  }
  if (!v.Whole()) return;
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonRespoolsCfg(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const RespoolCfgValue v = DecodeRespoolsCfg(ByteReader(value, length));
  out.BeginObject();
  if (v.count) {
    out.Key("pools");
    out.BeginArray();
    for (const RespoolCfgEntry &entry : v.entries) {
      out.BeginObject();
      Json_Text(out, "id", entry.id);
      Json_Int(out, "reservation", entry.reservation);
      Json_Int(out, "shares", entry.shares);
      Json_Int(out, "limit", entry.limit);
      Json_Uint(out, "tag", entry.tag);
      out.EndObject();
    }
    out.EndArray();
  }
  Json_Truncated(out, !v.Whole());
  out.EndObject();
}

void Prop_PrintRespoolsList(const PrintContext &, const char *key, const void *value,
                            uint32_t length, int32_t flags) {
  const RespoolListValue v = DecodeRespoolsList(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  if (!v.count) return;
  if (*v.count == 0) printf("\t\t\t<none>\n");
  for (const std::string_view id : v.ids) {
    printf("\t\t\t");
    Prop_PutText(id);
    printf("\n");
  }
  if (!v.Whole()) return;
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonRespoolsList(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const RespoolListValue v = DecodeRespoolsList(ByteReader(value, length));
  out.BeginObject();
  if (v.count) {
    out.Key("pools");
    out.BeginArray();
    for (const std::string_view id : v.ids) out.String(id);
    out.EndArray();
  }
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

void Prop_PrintRespoolAssoc(const PrintContext &, const char *key, const void *value,
                            uint32_t length, int32_t flags) {
  const std::optional<std::string_view> id =
      ByteReader(value, length).Text(RESPOOL_ASSOC_OFF_ID, RESPOOL_ID_LEN);
  printf("\t\t%s:\n", key);
  if (!id) return;
  printf("\t\t\t");
  Prop_PutText(*id);
  Prop_PrintFlagsLine(flags, "\n\t\t\t");
}

void Prop_JsonRespoolAssoc(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const std::optional<std::string_view> id =
      ByteReader(value, length).Text(RESPOOL_ASSOC_OFF_ID, RESPOOL_ID_LEN);
  out.BeginObject();
  if (id) Json_Text(out, "id", *id);
  Json_Truncated(out, length < RESPOOL_ASSOC_LEN);
  out.EndObject();
}

void Prop_PrintHostStatus(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const HostStatusValue v = DecodeHostStatus(ByteReader(value, length));
  printf("\t\t%s = ", key);
  if (!v.colour) {
    printf("\n");
    return;
  }
  if (v.name == nullptr) {
    printf("unknown value %u", *v.colour);
    Prop_PrintFlagsLine(flags, ", \t");
    return;
  }
  printf("%s ", v.name);
  if (!v.message) {
    printf("\n");
    return;
  }
  Prop_PutText(*v.message);
  Prop_PrintFlagsLine(flags, ", \t");
}

void Prop_JsonHostStatus(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const HostStatusValue v = DecodeHostStatus(ByteReader(value, length));
  out.BeginObject();
  if (v.colour) Json_Enum(out, "colour", v.name, *v.colour);
  if (v.message) Json_Text(out, "message", *v.message);
  /* The message is a fixed field: a value that ends inside it is short, though a text is read. */
  Json_Truncated(out, !v.colour || (v.name != nullptr && length < HOST_STATUS_LEN));
  out.EndObject();
}

/* ---- The family ---------------------------------------------------------- */

namespace {

const UsageEntry respoolUsage[] = {
    {14,
     "brakk dvswitch -k \"respool1_id;respool2_id;...\"\n"
     "                                              list resource pool configuration"},
    {15,
     "brakk dvswitch -p dvport -K \"respool1_:reservation:shares:limit:ptag;respool2_id:\n"
     "                                          reservation:shares:limit:ptag;...\"\n"
     "                                              set resource pool configuration"},
    {16,
     "brakk dvswitch -p dvport -z \"respool_id\"\n"
     "                                              set resource pool association for dvport"},
    {17,
     "brakk dvswitch -j [activate|deactivate]\n"
     "                                              activate/deactivate resource pool scheduling"},
    {19,
     "brakk dvswitch -H \"red|yellow|green:some message\" switch_name\n"
     "                                              set host status for dvswitch"},
};

const PropPrinterRow respoolPrinters[] = {
    {HOST_STATUS_KEY, Prop_PrintHostStatus, Prop_JsonHostStatus},
    {HOST_STATUS_KEY_OVERLAY, Prop_PrintHostStatus, Prop_JsonHostStatus},
    {RESPOOL_KEY_PORT_CFG, Prop_PrintRespoolsCfg, Prop_JsonRespoolsCfg},
    {RESPOOL_KEY_PORT_ASSOC, Prop_PrintRespoolAssoc, Prop_JsonRespoolAssoc},
    {RESPOOL_KEY_LIST, Prop_PrintRespoolsList, Prop_JsonRespoolsList},
    {RESPOOL_KEY_GLOBAL_CFG, Prop_PrintRespoolsCfg, Prop_JsonRespoolsCfg},
    {RESPOOL_KEY_SCHED, Prop_PrintRespoolsSched, Prop_JsonRespoolsSched},
};

}  // namespace

const PropFamily RESPOOL_FAMILY = {"respool", respoolPrinters, respoolUsage};
