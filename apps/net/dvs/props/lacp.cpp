// SPDX-License-Identifier: Apache-2.0
/*
 * lacp.cpp --
 *
 *    The LACP family: the LAG table, --setLACP and the check of LAG texts,
 *    and the printers of the table and of a port's LACP state.
 */

#include "props/lacp.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "props/uplink.h"
#include "state/state_ops.h"

const ValueName LacpLoadBalanceNames[LACP_LOAD_BALANCE_MAX + 1] = {
    {0, "None"},
    {1, "Dst mac"},
    {2, "Src mac"},
    {3, "Src and dst mac"},
    {4, "Dst ip"},
    {5, "Src ip"},
    {6, "Src and dst ip"},
    {7, "Vlan"},
    {8, "Dst ip and vlan"},
    {9, "Src ip and vlan"},
    {10, "Src and dst ip, vlan"},
    {11, "Dst port"},
    {12, "Src port"},
    {13, "Src and dst port"},
    {14, "Dst ip and dst port"},
    {15, "Src ip and src port"},
    {16, "Src and dst ip, port"},
    {17, "Dst ip and dst port, vlan"},
    {18, "Src ip and src port, vlan"},
    {19, "Src and dst ip, port, vlan"},
    {20, "Src portID"},
};

namespace {

/* The fields of one LAG of a --setLACP text, in order. */
#define LACP_FIELDS_PER_LAG 5
/* The argument that deletes every LAG (compared without regard to case). */
#define LACP_DELETE_ALL "v2*"
#define LACP_PREFIX "v2"

/* The names of the LAG and port modes; any other value shows as "none". */
const ValueName lacpModeNames[] = {
    {LACP_MODE_ACTIVE, "active"},
    {LACP_MODE_PASSIVE, "passive"},
};

/* One LAG as the reconciliation sees it, read from a LAG table. */
struct Lag {
  std::string name;
  std::string key;
  uint32_t portNumber;
};

/* The LAGs of a table, as many as its count claims and its length holds. */
std::vector<Lag> DecodeLags(const uint8_t *data, size_t length) {
  const ByteReader r(data, static_cast<uint32_t>(length));
  std::vector<Lag> lags;
  LacpGroupTable_ForEach(r, [&](size_t base) {
    if (!r.Has(base, LAG_ENTRY_LEN)) return false;
    lags.push_back({std::string(*r.Text(base + LAG_ENTRY_OFF_NAME, LAG_NAME_LEN)),
                    std::string(*r.Text(base + LAG_ENTRY_OFF_KEY, LAG_KEY_LEN)),
                    *r.U32(base + LAG_ENTRY_OFF_PORT_NUMBER)});
    return true;
  });
  return lags;
}

/*
 * The ports of a stored LAG that a removal walks. A LAG never holds more
 * ports than a switch may have LAG ports, so a larger stored number
 * (written by another program) does not make the tool walk further.
 */
uint32_t StoredPortCount(const Lag &lag) {
  return lag.portNumber < LACP_MAX_LAG_PORTS ? lag.portNumber : LACP_MAX_LAG_PORTS;
}

std::string LagPortName(const std::string &lagName, int32_t index) {
  char name[UPLINK_GLOBAL_SLOT_LEN];
  snprintf(name, sizeof name, "%s-%d", lagName.c_str(), index);
  return name;
}

/* ---- Parser ------------------------------------------------------------ */

/* Prints message on standard error and returns ZOR_BAD_PARAM. */
ZOR_ReturnStatus Refuse(const char *message) {
  fputs(message, stderr);
  return ZOR_BAD_PARAM;
}

/* The non-empty pieces of text between ';', at most max of them. */
std::vector<std::string> NonEmptyFields(std::string_view text, size_t max) {
  std::vector<std::string> fields;
  size_t start = 0;
  while (start <= text.size() && fields.size() < max) {
    size_t end = text.find(';', start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) fields.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return fields;
}

long Number(const std::string &text) {
  return strtol(text.c_str(), nullptr, 10);
}

/* Checks one LAG's fields and writes its entry at base; prints why and returns the status. */
ZOR_ReturnStatus ParseLag(const std::vector<std::string> &fields, ByteWriter &table, size_t base,
                          int32_t *totalPorts) {
  static const char emptyField[] = "Each field should not be empty\n";
  if (fields.size() < 1) return Refuse(emptyField);
  const std::string &name = fields[0];
  /* The fields are never empty here. */
  switch (LagName_Check(name)) {
    case LagTextCheck::TOO_LONG:
      fprintf(stderr, "Lag name can't be longer than %zu\n", static_cast<size_t>(LAG_NAME_MAX));
      return ZOR_BAD_PARAM;
    case LagTextCheck::HAS_PERCENT:
      return Refuse("Lag name can't include %\n");
    default:
      break;
  }

  if (fields.size() < 2) return Refuse(emptyField);
  const std::string &key = fields[1];
  switch (LagKey_Check(key)) {
    case LagTextCheck::ZERO:
      return Refuse("Lag key shouldn't be 0, reserved for lacp v1\n");
    case LagTextCheck::TOO_LONG:
      fprintf(stderr, "Lag key can't be longer than %zu\n", static_cast<size_t>(LAG_KEY_MAX));
      return ZOR_BAD_PARAM;
    case LagTextCheck::NOT_DIGITS:
      return Refuse("Lag key should be a digit\n");
    default:
      break;
  }

  if (fields.size() < 3) return Refuse(emptyField);
  const int32_t ports = static_cast<int32_t>(Number(fields[2]));
  if (ports < 0 || ports > static_cast<int32_t>(LACP_MAX_LAG_PORTS)) {
    fprintf(stderr, "Unsupported number of lag ports %d, range 0-%u\n", ports, LACP_MAX_LAG_PORTS);
    return ZOR_NOT_SUPPORTED;
  }
  *totalPorts += ports;

  if (fields.size() < 4) return Refuse(emptyField);
  const long mode = Number(fields[3]);
  if (mode != LACP_MODE_ACTIVE && mode != LACP_MODE_PASSIVE) {
    return Refuse("Invalid mode when lacp is enabled, should be 1(active) or 2(passive)\n");
  }

  if (fields.size() < 5) return Refuse(emptyField);
  const long policy = Number(fields[4]);
  if (policy < 1 || policy > LACP_LOAD_BALANCE_MAX) return Refuse("Invalid load balance algo.\n");

  table.PutText(base + LAG_ENTRY_OFF_NAME, LAG_NAME_LEN, name.c_str());
  table.PutText(base + LAG_ENTRY_OFF_KEY, LAG_KEY_LEN, key.c_str());
  table.PutU32(base + LAG_ENTRY_OFF_MODE, static_cast<uint32_t>(mode));
  table.PutU32(base + LAG_ENTRY_OFF_LOAD_BALANCE, static_cast<uint32_t>(policy));
  table.PutI32(base + LAG_ENTRY_OFF_PORT_NUMBER, ports);
  return ZOR_OK;
}

/* ---- Ports ------------------------------------------------------------- */

/*
 * Creates the ports lagName-0 to lagName-(ports - 1) as uplink ports in
 * state. Returns what CreateUplinkPorts returns.
 */
CommandResult CreateLagPorts(const StateOps &state, const char *sw, const Lag &lag,
                             SwitchClass cls) {
  char format[UPLINK_GLOBAL_SLOT_LEN];
  snprintf(format, sizeof format, "%s-%s", lag.name.c_str(), "%d");
  const CommandResult created =
      CreateUplinkPorts(state, sw, static_cast<int32_t>(lag.portNumber), format, cls);
  if (created.end == CommandEnd::STATUS && created.status != ZOR_OK) {
    fprintf(stderr, "Failed to add lag port\n");
  }
  return created;
}

/*
 * Removes the port lagName-index from the kernel (in either mode). A port
 * that is not there counts as removed.
 */
ZOR_ReturnStatus RemoveLagPort(const StateOps &kernel, const char *sw, const std::string &lagName,
                               int32_t index) {
  const std::string port = LagPortName(lagName, index);
  const ZOR_ReturnStatus status = kernel.portRemove(sw, port.c_str());
  if (status == ZOR_OK || status == ZOR_NOT_FOUND) return ZOR_OK;
  fprintf(stderr, "Port %s should be removed before deleting lacp groups on fenn %s\n",
          port.c_str(), sw);
  return status;
}

/* Removes the ports of lag with indices from down to to (both included, from >= to). */
ZOR_ReturnStatus RemoveLagPortsDown(const StateOps &kernel, const char *sw, const Lag &lag,
                                    int32_t from, int32_t to) {
  for (int32_t i = from; i >= to; i--) {
    const ZOR_ReturnStatus status = RemoveLagPort(kernel, sw, lag.name, i);
    if (status != ZOR_OK) return status;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus RemoveAllLagPorts(const StateOps &kernel, const char *sw, const Lag &lag) {
  for (int32_t i = 0; i < static_cast<int32_t>(StoredPortCount(lag)); i++) {
    const ZOR_ReturnStatus status = RemoveLagPort(kernel, sw, lag.name, i);
    if (status != ZOR_OK) return status;
  }
  return ZOR_OK;
}

/*
 * A failed creation of LAG ports: "Failed to create lag ports" with a
 * failed status; a result that ends the command otherwise passes as it is.
 */
CommandResult FailedToCreate(const CommandResult &result) {
  if (result.end == CommandEnd::STATUS) {
    fprintf(stderr, "Failed to create lag ports: 0x%x\n", result.status);
  }
  return result;
}

/* Whether a result lets the command go on. */
bool Succeeded(const CommandResult &result) {
  return result.end == CommandEnd::STATUS && result.status == ZOR_OK;
}

/*
 * Brings the LAG ports in line with the new LAGs, given the stored ones
 * (or none). Stops at the first failure, leaving what was done.
 */
CommandResult ReconcileLagPorts(const CommandContext &ctx, const std::vector<Lag> &newLags,
                                const std::vector<Lag> *stored) {
  if (stored == nullptr) {
    for (const Lag &lag : newLags) {
      if (lag.portNumber == 0) continue;
      const CommandResult created = CreateLagPorts(ctx.state, ctx.sw, lag, ctx.cls);
      if (!Succeeded(created)) return FailedToCreate(created);
    }
    return ZOR_OK;
  }

  auto findKey = [](const std::vector<Lag> &lags, const std::string &key) -> const Lag * {
    for (const Lag &lag : lags) {
      if (lag.key == key) return &lag;
    }
    return nullptr;
  };
  /* LAGs that the new table drops lose all their ports. */
  for (const Lag &old : *stored) {
    if (findKey(newLags, old.key) != nullptr) continue;
    const ZOR_ReturnStatus status = RemoveAllLagPorts(ctx.kernel, ctx.sw, old);
    if (status != ZOR_OK) {
      fprintf(stderr, "Failed to remove lag ports: 0x%x\n", status);
      return status;
    }
  }
  for (const Lag &lag : newLags) {
    const Lag *old = findKey(*stored, lag.key);
    if (old != nullptr && old->name != lag.name) {
      fprintf(stderr, "Not support to change lag name by brakk\n");
      return FailedToCreate(ZOR_NOT_SUPPORTED);
    }
    CommandResult result = ZOR_OK;
    if (old == nullptr || lag.portNumber > old->portNumber) {
      /* All of them: ports that exist already are skipped by the creation. */
      if (lag.portNumber > 0) result = CreateLagPorts(ctx.state, ctx.sw, lag, ctx.cls);
    } else if (lag.portNumber < old->portNumber) {
      result = RemoveLagPortsDown(ctx.kernel, ctx.sw, lag,
                                  static_cast<int32_t>(StoredPortCount(*old)) - 1,
                                  static_cast<int32_t>(lag.portNumber));
    }
    if (!Succeeded(result)) return FailedToCreate(result);
  }
  return ZOR_OK;
}

/*
 * Writes both uplink lists with the ports of lags, in table order, then
 * the table itself, through the command's state.
 */
ZOR_ReturnStatus WriteListsAndTable(const CommandContext &ctx, const std::vector<Lag> &lags,
                                    const std::vector<uint8_t> &table) {
  std::vector<std::string> ports;
  for (const Lag &lag : lags) {
    for (int32_t i = 0; i < static_cast<int32_t>(lag.portNumber); i++) {
      ports.push_back(LagPortName(lag.name, i));
    }
  }
  const ByteWriter global = UplinkPortList_Build(ports, UPLINK_GLOBAL_SLOT_LEN);
  const ByteWriter host = UplinkPortList_Build(ports, UPLINK_HOST_SLOT_LEN);
  ZOR_ReturnStatus status = ctx.state.globalSet(ctx.sw, UPLINK_KEY_GLOBAL_LIST, global.Data(),
                                                global.Length(), PROP_CONFIG);
  if (status == ZOR_OK) {
    status =
        ctx.state.hostSet(ctx.sw, UPLINK_KEY_HOST_LIST, host.Data(), host.Length(), PROP_CONFIG);
  }
  if (status != ZOR_OK) {
    fprintf(stderr, "Failed to push uplink property: 0x%x\n", status);
    return status;
  }
  return ctx.state.globalSet(ctx.sw, LACP_KEY_GROUPS, table.data(),
                             static_cast<uint32_t>(table.size()), PROP_CONFIG);
}

void ClearLacpProperties(const StateOps &state, const char *sw) {
  state.globalClear(sw, LACP_KEY_GROUPS);
  state.globalClear(sw, UPLINK_KEY_GLOBAL_LIST);
  state.hostClear(sw, UPLINK_KEY_HOST_LIST);
}

/*
 * "v2*": clears the LAG table and both uplink lists. Against the kernel
 * the ports of the stored LAGs are removed first; one that cannot be
 * removed stops the command and leaves the properties.
 */
ZOR_ReturnStatus DeleteAllLags(const CommandContext &ctx) {
  if (!ctx.state.fileMode) {
    PropValue stored;
    const ZOR_ReturnStatus status = ctx.kernel.globalGet(ctx.sw, LACP_KEY_GROUPS, stored);
    if (status == ZOR_NOT_FOUND) return ZOR_OK;
    if (status != ZOR_OK) return status;
    for (const Lag &lag : DecodeLags(stored.data(), stored.size())) {
      const ZOR_ReturnStatus removed = RemoveAllLagPorts(ctx.kernel, ctx.sw, lag);
      if (removed != ZOR_OK) return removed;
    }
  }
  ClearLacpProperties(ctx.state, ctx.sw);
  return ZOR_OK;
}

}  // namespace

LagTextCheck LagName_Check(std::string_view name) {
  if (name.empty()) return LagTextCheck::EMPTY;
  if (name.size() > LAG_NAME_MAX) return LagTextCheck::TOO_LONG;
  if (name.find('%') != std::string_view::npos) return LagTextCheck::HAS_PERCENT;
  return LagTextCheck::OK;
}

LagTextCheck LagKey_Check(std::string_view key) {
  if (key.empty()) return LagTextCheck::EMPTY;
  if (key == "0") return LagTextCheck::ZERO;
  if (key.size() > LAG_KEY_MAX) return LagTextCheck::TOO_LONG;
  if (key.find_first_not_of("0123456789") != std::string_view::npos) {
    return LagTextCheck::NOT_DIGITS;
  }
  return LagTextCheck::OK;
}

ZOR_ReturnStatus ValidateLagConfig(const char *text, int fieldsPerLag, uint32_t *lagCount) {
  if (text[0] != '*') return Refuse("Config must begin with *\n");
  uint32_t lags = 0;
  int fields = 0;
  for (const char *p = text + 1;; p++) {
    const bool lagEnds = *p == '*' || (*p == '\0' && fields > 0);
    if (lagEnds) {
      if (fields != fieldsPerLag) {
        fprintf(stderr, "Each LAG should have %d fields, not %d.\n", fieldsPerLag, fields);
        return ZOR_BAD_PARAM;
      }
      lags++;
      fields = 0;
    }
    if (*p == '\0') break;
    if (*p == ';') fields++;
  }

  if (lags > LACP_MAX_LAGS) {
    fprintf(stderr, "No more than %u LAGs are supported.\n", LACP_MAX_LAGS);
    return ZOR_NOT_SUPPORTED;
  }
  *lagCount = lags;
  return ZOR_OK;
}

ZOR_ReturnStatus LacpGroupTable_Parse(const char *text, uint32_t lagCount,
                                      std::vector<uint8_t> &table) {
  ByteWriter value(LACP_TABLE_HEADER_LEN + static_cast<size_t>(lagCount) * LAG_ENTRY_LEN);
  const std::string_view all(text);
  size_t start = all.empty() ? 0 : 1; /* after the leading '*' */
  int32_t totalPorts = 0;
  for (uint32_t i = 0; i < lagCount; i++) {
    size_t end = all.find('*', start);
    if (end == std::string_view::npos) end = all.size();
    const std::vector<std::string> fields =
        NonEmptyFields(all.substr(start, end - start), LACP_FIELDS_PER_LAG);
    const ZOR_ReturnStatus status =
        ParseLag(fields, value, LACP_TABLE_OFF_ENTRIES + i * LAG_ENTRY_LEN, &totalPorts);
    if (status != ZOR_OK) return status;
    start = end < all.size() ? end + 1 : end;
  }
  if (totalPorts > static_cast<int32_t>(LACP_MAX_LAG_PORTS)) {
    fprintf(stderr, "Unsupported number of lag ports %d, range 0-%u\n", totalPorts,
            LACP_MAX_LAG_PORTS);
    return ZOR_NOT_SUPPORTED;
  }
  value.PutU32(LACP_TABLE_OFF_COUNT, lagCount);
  table = value.Take();
  return ZOR_OK;
}

CommandResult Cmd_SetLacp(const CommandContext &ctx) {
  const char *arg = ctx.inv.commandArg;
  if (strcasecmp(arg, LACP_DELETE_ALL) == 0) return DeleteAllLags(ctx);
  if (strncmp(arg, LACP_PREFIX, strlen(LACP_PREFIX)) != 0) {
    return Refuse("Only support LACP prefix \"v2\"\n");
  }
  const char *lagText = arg + strlen(LACP_PREFIX);
  uint32_t lagCount = 0;
  ZOR_ReturnStatus status = ValidateLagConfig(lagText, LACP_FIELDS_PER_LAG, &lagCount);
  if (status != ZOR_OK) return status;

  /* The stored table comes from the kernel whatever the mode. */
  PropValue stored;
  status = ctx.kernel.globalGet(ctx.sw, LACP_KEY_GROUPS, stored);
  if (status != ZOR_OK && status != ZOR_NOT_FOUND) return status;
  const bool hasStored = status == ZOR_OK;

  std::vector<uint8_t> table;
  if ((status = LacpGroupTable_Parse(lagText, lagCount, table)) != ZOR_OK) return status;

  if (ctx.version < LACP_MIN_SWITCH_VERSION) {
    fprintf(stderr, "Can't apply lacp v2 to fenn version lower than 6.0\n");
    return ZOR_NOT_SUPPORTED;
  }

  const std::vector<Lag> lags = DecodeLags(table.data(), table.size());
  const std::vector<Lag> storedLags = DecodeLags(stored.data(), stored.size());
  const CommandResult reconciled = ReconcileLagPorts(ctx, lags, hasStored ? &storedLags : nullptr);
  if (!Succeeded(reconciled)) return reconciled;
  return WriteListsAndTable(ctx, lags, table);
}

/* ---- Printers ---------------------------------------------------------- */

namespace {

/* One LAG entry: each field once the value holds it, up to the first that it does not. */
struct LagEntryValue {
  std::optional<std::string_view> name;
  std::optional<std::string_view> key;
  std::optional<uint32_t> mode;
  std::optional<uint32_t> policy;
  std::optional<int32_t> ports;
};

LagEntryValue DecodeLagEntry(const ByteReader &r, size_t base) {
  LagEntryValue v;
  if (!(v.name = r.Text(base + LAG_ENTRY_OFF_NAME, LAG_NAME_LEN))) return v;
  if (!(v.key = r.Text(base + LAG_ENTRY_OFF_KEY, LAG_KEY_LEN))) return v;
  if (!(v.mode = r.U32(base + LAG_ENTRY_OFF_MODE))) return v;
  if (!(v.policy = r.U32(base + LAG_ENTRY_OFF_LOAD_BALANCE))) return v;
  v.ports = r.I32(base + LAG_ENTRY_OFF_PORT_NUMBER);
  return v;
}

/* The entries of a LAG table, up to and with the first that the value ends inside. */
struct LacpGroupsValue {
  std::vector<LagEntryValue> lags;
  bool whole = true;
};

LacpGroupsValue DecodeLacpGroups(const ByteReader &r) {
  LacpGroupsValue v;
  LacpGroupTable_ForEach(r, [&](size_t base) {
    v.lags.push_back(DecodeLagEntry(r, base));
    v.whole = v.lags.back().ports.has_value();
    return v.whole;
  });
  v.whole = v.whole && r.Has(LACP_TABLE_OFF_COUNT, 4);
  return v;
}

/* Prints the lines of a LAG entry, as far as the value holds it. */
void PrintLagEntry(const LagEntryValue &v) {
  if (!v.name) return;
  printf("\t\t\tlag name:\t\t\t%.*s\n", static_cast<int>(v.name->size()), v.name->data());
  if (!v.key) return;
  printf("\t\t\tlag key:\t\t\t%.*s\n", static_cast<int>(v.key->size()), v.key->data());
  if (!v.mode) return;
  printf("\t\t\tmode:\t\t\t\t%s\n", NameOf(lacpModeNames, *v.mode, "none"));
  if (!v.policy) return;
  /* A policy beyond the table has no name. */
  printf("\t\t\tload balance policy:\t\t%s\n", NameOf(LacpLoadBalanceNames, *v.policy, "none"));
  if (!v.ports) return;
  printf("\t\t\tlag port number:\t\t%d\n\n", *v.ports);
}

/*
 * Writes a LAG entry's fields and its members: the uplink ports that
 * --setLACP makes for it, "<lag name>-0" on, as many as its port number
 * (never more than a switch may have LAG ports).
 */
void WriteLagEntry(const LagEntryValue &v, JsonOut &out) {
  out.BeginObject();
  if (v.name) Json_Text(out, "lagName", *v.name);
  if (v.key) Json_Text(out, "lagKey", *v.key);
  if (v.mode) Json_EnumOf(out, "mode", lacpModeNames, *v.mode, "none");
  if (v.policy) Json_EnumOf(out, "loadBalancePolicy", LacpLoadBalanceNames, *v.policy, "none");
  if (v.ports) {
    Json_Int(out, "lagPortNumber", *v.ports);
    out.Key("members");
    out.BeginArray();
    const std::string name(*v.name);
    for (int32_t i = 0; i < *v.ports && i < static_cast<int32_t>(LACP_MAX_LAG_PORTS); i++) {
      out.String(LagPortName(name, i));
    }
    out.EndArray();
  }
  Json_Truncated(out, !v.ports);
  out.EndObject();
}

/* A port's LACP setting: its status and, when enabled, its mode. */
struct PortLacpValue {
  std::optional<uint8_t> enabled;
  std::optional<uint32_t> mode;
};

PortLacpValue DecodePortLacp(const ByteReader &r) {
  PortLacpValue v;
  v.enabled = r.U8(PORT_LACP_OFF_ENABLED);
  if (v.enabled == 1) v.mode = r.U32(PORT_LACP_OFF_MODE);
  return v;
}

}  // namespace

void Prop_PrintLacpGroups(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const LacpGroupsValue v = DecodeLacpGroups(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (const LagEntryValue &lag : v.lags) PrintLagEntry(lag);
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonLacpGroups(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const LacpGroupsValue v = DecodeLacpGroups(ByteReader(value, length));
  out.BeginObject();
  out.Key("lags");
  out.BeginArray();
  for (const LagEntryValue &lag : v.lags) WriteLagEntry(lag, out);
  out.EndArray();
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

void Prop_PrintPortLacp(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t /* flags */) {
  const PortLacpValue v = DecodePortLacp(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  if (!v.enabled) return;
  printf("\t\t\tstatus = %s\n", *v.enabled == 1 ? "enabled" : "disabled");
  if (v.mode) printf("\t\t\tmode = %s\n", NameOf(lacpModeNames, *v.mode, "none"));
}

void Prop_JsonPortLacp(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const PortLacpValue v = DecodePortLacp(ByteReader(value, length));
  out.BeginObject();
  if (v.enabled) Json_Enum(out, "status", *v.enabled == 1 ? "enabled" : "disabled", *v.enabled);
  if (v.mode) Json_EnumOf(out, "mode", lacpModeNames, *v.mode, "none");
  Json_Truncated(out, !v.enabled || (*v.enabled == 1 && !v.mode));
  out.EndObject();
}

/* ---- The family -------------------------------------------------------- */

namespace {

const UsageEntry lacpUsage[] = {
    {40,
     "brakk --setLACP \"v2*<lag name>;<lag key>;<lag port number>;<mode>;<LB policy>;*<lag "
     "name2>;<lag key2>;....\" switch_name\n"
     "                                              enable/disable LACPV2 on the dvswitch"},
};

const PropPrinterRow lacpPrinters[] = {
    {LACP_KEY_PORT, Prop_PrintPortLacp, Prop_JsonPortLacp},
    {LACP_KEY_GROUPS, Prop_PrintLacpGroups, Prop_JsonLacpGroups},
};

}  // namespace

const PropFamily LACP_FAMILY = {"lacp", lacpPrinters, lacpUsage};
