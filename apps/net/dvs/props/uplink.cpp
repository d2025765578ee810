// SPDX-License-Identifier: Apache-2.0
/*
 * uplink.cpp --
 *
 *    The uplink family: uplink port lists, teaming policies, the -U, -X
 *    and -L commands and the printers of their values.
 */

#include "props/uplink.h"

#include <stdio.h>
#include <string.h>

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "props/common.h"
#include "state/state_ops.h"

namespace {

/* ---- Value names -------------------------------------------------------- */

/* Load-balancing policies by value (the -t values 0 to TEAMING_LB_MAX); others have no name. */
const ValueName teamingLoadBalancingNames[] = {
    {0, "none (all pkts dropped)"},      {1, "source ip address"},
    {2, "source mac address"},           {TEAMING_LB_SOURCE_PORT_ID, "source virtual port id"},
    {4, "first uplink (i.e. explicit)"}, {TEAMING_LB_MAX, "source port traffic load"},
};

const ValueName linkSelectionWords[] = {
    {TEAMING_LINK_STATE_UP, " link state up;"},
    {TEAMING_LINK_BEACON_OK, " beacon state ok;"},
};

const ValueName linkBehaviorWords[] = {
    {TEAMING_BEHAVIOR_NOTIFY_SWITCH, " notify switch;"},
    {TEAMING_BEHAVIOR_ROLLING_FAILOVER, " rolling failover;"},
    {TEAMING_BEHAVIOR_BEST_EFFORT, " best effort on failure;"},
    {TEAMING_BEHAVIOR_SHOTGUN, " shotgun on failure;"},
};

/* What a new teaming policy holds before -L fills it in. */
#define TEAMING_DEFAULT_LINK_SELECTION (TEAMING_LINK_STATE_UP | TEAMING_LINK_WRITER_BIT)
#define TEAMING_DEFAULT_LINK_BEHAVIOR \
  (TEAMING_BEHAVIOR_NOTIFY_SWITCH | TEAMING_BEHAVIOR_BEST_EFFORT | TEAMING_BEHAVIOR_SHOTGUN)

/* Longest uplink name format, by whether the port numbers reach two digits. */
#define UPLINK_FORMAT_MAX_ONE_DIGIT 47u
#define UPLINK_FORMAT_MAX_TWO_DIGITS 46u

/* ---- Uplink lists ------------------------------------------------------ */

/*
 * Whether slot, a name field of width bytes, names name the way a bounded
 * comparison over width bytes sees it: a slot that fills its whole field
 * matches every name that begins with it.
 */
bool SlotNames(std::string_view slot, std::string_view name, size_t width) {
  if (slot.size() < width) return slot == name;
  return name.substr(0, width) == slot;
}

/*
 * The list value without the first slot that names name, or nothing when
 * no slot does (or the value holds no count). Only the slots that the
 * value really holds are searched and kept.
 */
std::optional<ByteWriter> ListWithout(const PropValue &list, size_t width, std::string_view name) {
  const ByteReader r(list.data(), static_cast<uint32_t>(list.size()));
  const std::optional<uint32_t> stored = r.U32(UPLINK_LIST_OFF_COUNT);
  if (!stored) return std::nullopt;
  const uint64_t room = (r.Length() - UPLINK_LIST_HEADER_LEN) / width;
  const uint64_t count = *stored < room ? *stored : room;
  uint64_t match = count;
  for (uint64_t i = 0; i < count && match == count; i++) {
    if (SlotNames(*r.Text(UPLINK_LIST_OFF_SLOTS + i * width, width), name, width)) match = i;
  }
  if (match == count) return std::nullopt;

  ByteWriter out(UPLINK_LIST_HEADER_LEN + (count - 1) * width);
  out.PutU32(UPLINK_LIST_OFF_COUNT, static_cast<uint32_t>(count - 1));
  size_t to = UPLINK_LIST_OFF_SLOTS;
  for (uint64_t i = 0; i < count; i++) {
    if (i == match) continue;
    out.PutBytes(to, r.Bytes(UPLINK_LIST_OFF_SLOTS + i * width, width), width);
    to += width;
  }
  return out;
}

/* A text property value as a view: up to its first NUL, never past its end. */
std::string_view TextOf(const PropValue &value) {
  return ByteReader(value.data(), static_cast<uint32_t>(value.size()))
      .Text(0, value.size())
      .value_or(std::string_view());
}

/* ---- Printers ---------------------------------------------------------- */

/* An uplink list: its count and the names that lie inside the value. */
struct UplinkListValue {
  std::optional<uint32_t> count;
  std::vector<std::string_view> names;
  bool whole = false; /* every slot that count promises lies wholly inside the value */
};

UplinkListValue DecodeUplinkList(const ByteReader &r, size_t width) {
  UplinkListValue v;
  v.count = r.U32(UPLINK_LIST_OFF_COUNT);
  for (uint64_t i = 0; v.count && i < *v.count; i++) {
    const std::optional<std::string_view> name = r.Text(UPLINK_LIST_OFF_SLOTS + i * width, width);
    if (!name) break;
    v.names.push_back(*name);
  }
  v.whole = v.count && r.Has(UPLINK_LIST_OFF_SLOTS, width * *v.count);
  return v;
}

void PrintUplinkList(const char *key, const void *value, uint32_t length, int32_t flags,
                     size_t width) {
  const UplinkListValue v = DecodeUplinkList(ByteReader(value, length), width);
  printf("\t\t%s:\n\t\t\t", key);
  if (v.count && *v.count == 0) printf("<none>");
  for (size_t i = 0; i < v.names.size(); i++) {
    Prop_PutText(v.names[i]);
    if (i + 1 < *v.count) printf(", ");
  }
  Prop_PrintFlagsLine(flags, "\n\t\t\t");
}

void WriteUplinkList(const void *value, uint32_t length, JsonOut &out, size_t width) {
  const UplinkListValue v = DecodeUplinkList(ByteReader(value, length), width);
  out.BeginObject();
  if (v.count) {
    out.Key("uplinks");
    out.BeginArray();
    for (const std::string_view name : v.names) out.String(name);
    out.EndArray();
  }
  Json_Truncated(out, !v.whole);
  out.EndObject();
}

/* Where the fields of a teaming block lie, and how deep its lines are indented. */
struct TeamingFields {
  size_t loadBalancing;
  size_t linkSelection;
  size_t linkBehavior;
  size_t activeCount;
  size_t standbyCount;
  size_t names;
  const char *indent;
};

const TeamingFields policyFields = {
    TEAMING_OFF_LOAD_BALANCING,
    TEAMING_OFF_LINK_SELECTION,
    TEAMING_OFF_LINK_BEHAVIOR,
    TEAMING_OFF_ACTIVE_COUNT,
    TEAMING_OFF_STANDBY_COUNT,
    TEAMING_OFF_NAMES,
    "\t\t\t",
};

const TeamingFields logicalSwitchFields = {
    LS_TEAMING_ENTRY_OFF_LOAD_BALANCING,
    LS_TEAMING_ENTRY_OFF_LINK_SELECTION,
    LS_TEAMING_ENTRY_OFF_LINK_BEHAVIOR,
    LS_TEAMING_ENTRY_OFF_ACTIVE_COUNT,
    LS_TEAMING_ENTRY_OFF_STANDBY_COUNT,
    LS_TEAMING_ENTRY_OFF_NAMES,
    "\t\t\t\t",
};

/* The names in slots first to first + count - 1 (never past the block's last slot). */
struct NameSlots {
  std::vector<std::string_view> names;
  bool whole = true;    /* false: a slot starts outside the value */
  bool complete = true; /* false: a slot does not lie wholly inside it */
};

NameSlots DecodeNameSlots(const ByteReader &r, size_t names, uint64_t first, uint64_t count) {
  NameSlots v;
  for (uint64_t i = first; i < first + count && i < UPLINK_PORTS_MAX; i++) {
    const std::optional<std::string_view> name =
        r.Text(names + i * UPLINK_GLOBAL_SLOT_LEN, UPLINK_GLOBAL_SLOT_LEN);
    if (!name) {
      v.whole = false;
      v.complete = false;
      break;
    }
    v.complete = v.complete && r.Has(names + i * UPLINK_GLOBAL_SLOT_LEN, UPLINK_GLOBAL_SLOT_LEN);
    v.names.push_back(*name);
  }
  return v;
}

/* A teaming block: each field once the value holds it, up to the first that it does not. */
struct TeamingValue {
  std::optional<uint32_t> loadBalancing;
  std::optional<uint32_t> linkSelection;
  std::optional<uint32_t> linkBehavior;
  std::optional<uint32_t> activeCount;
  std::optional<uint32_t> standbyCount;
  std::optional<NameSlots> active;
  std::optional<NameSlots> standby;
  bool Whole() const { return standby && active->complete && standby->complete; }
};

TeamingValue DecodeTeamingBlock(const ByteReader &r, size_t base, const TeamingFields &f) {
  TeamingValue v;
  if (!(v.loadBalancing = r.U32(base + f.loadBalancing))) return v;
  if (!(v.linkSelection = r.U32(base + f.linkSelection))) return v;
  if (!(v.linkBehavior = r.U32(base + f.linkBehavior))) return v;
  v.activeCount = r.U32(base + f.activeCount);
  v.standbyCount = r.U32(base + f.standbyCount);
  if (!v.activeCount || !v.standbyCount) return v;
  v.active = DecodeNameSlots(r, base + f.names, 0, *v.activeCount);
  if (!v.active->whole) return v;
  v.standby = DecodeNameSlots(r, base + f.names, *v.activeCount, *v.standbyCount);
  return v;
}

/* Prints names as " %s," each. */
void PrintNameSlots(const NameSlots &slots) {
  for (const std::string_view name : slots.names) {
    printf(" ");
    Prop_PutText(name);
    printf(",");
  }
}

/*
 * Prints a teaming block, from "load balancing = " to the flags line,
 * stopping at the first field that the value does not hold.
 */
void PrintTeamingBlock(const TeamingValue &v, const TeamingFields &f, int32_t flags) {
  const char *in = f.indent;
  [&] {
    printf("load balancing = ");
    if (!v.loadBalancing) return;
    fputs(NameOf(teamingLoadBalancingNames, *v.loadBalancing, ""), stdout);
    printf("\n%slink selection =", in);
    if (!v.linkSelection) return;
    PrintBitNames(linkSelectionWords, *v.linkSelection);
    printf("\n%slink behavior =", in);
    if (!v.linkBehavior) return;
    PrintBitNames(linkBehaviorWords, *v.linkBehavior);
    printf("\n%sactive =", in);
    if (!v.active) return;
    PrintNameSlots(*v.active);
    if (!v.standby) return;
    printf("\n%sstandby =", in);
    PrintNameSlots(*v.standby);
  }();
  printf("\n");
  Prop_PrintFlagsLine(flags, in);
}

/* Writes the members of a teaming block to the open object; the caller says "truncated". */
void WriteTeamingBlock(const TeamingValue &v, JsonOut &out) {
  if (v.loadBalancing) {
    Json_EnumOf(out, "loadBalancing", teamingLoadBalancingNames, *v.loadBalancing, nullptr);
  }
  if (v.linkSelection) Json_Bits(out, "linkSelection", linkSelectionWords, *v.linkSelection);
  if (v.linkBehavior) Json_Bits(out, "linkBehavior", linkBehaviorWords, *v.linkBehavior);
  for (const auto &[name, slots] : {std::pair{"active", &v.active}, {"standby", &v.standby}}) {
    if (!*slots) continue;
    out.Key(name);
    out.BeginArray();
    for (const std::string_view uplink : (*slots)->names) out.String(uplink);
    out.EndArray();
  }
}

}  // namespace

/* ---- Builders ------------------------------------------------------------ */

ByteWriter UplinkPortList_Build(const std::vector<std::string> &names, size_t slotWidth) {
  ByteWriter list(UPLINK_LIST_HEADER_LEN + names.size() * slotWidth);
  list.PutU32(UPLINK_LIST_OFF_COUNT, static_cast<uint32_t>(names.size()));
  for (size_t i = 0; i < names.size(); i++) {
    list.PutText(UPLINK_LIST_OFF_SLOTS + i * slotWidth, slotWidth, names[i].c_str());
  }
  return list;
}

std::optional<ByteWriter> TeamingPolicy_Build(const char *uplinkNames, int32_t loadBalancing,
                                              bool beaconProbing) {
  const std::string_view text(uplinkNames);
  if (text.find(' ') != std::string_view::npos) return std::nullopt;
  std::vector<std::string> names;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    const std::string_view name = text.substr(start, comma - start);
    if (name.empty() || names.size() == UPLINK_PORTS_MAX) return std::nullopt;
    names.emplace_back(name);
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }

  ByteWriter policy(TEAMING_POLICY_LEN);
  policy.PutI32(TEAMING_OFF_LOAD_BALANCING, loadBalancing);
  policy.PutU32(TEAMING_OFF_LINK_SELECTION,
                TEAMING_DEFAULT_LINK_SELECTION | (beaconProbing ? TEAMING_LINK_BEACON_OK : 0));
  policy.PutU32(TEAMING_OFF_LINK_BEHAVIOR, TEAMING_DEFAULT_LINK_BEHAVIOR);
  policy.PutU32(TEAMING_OFF_ACTIVE_COUNT, static_cast<uint32_t>(names.size()));
  for (size_t i = 0; i < names.size(); i++) {
    policy.PutText(TEAMING_OFF_NAMES + i * UPLINK_GLOBAL_SLOT_LEN, UPLINK_GLOBAL_SLOT_LEN,
                   names[i].c_str());
  }
  return policy;
}

CommandResult CreateUplinkPorts(const StateOps &state, const char *sw, int32_t count,
                                const char *nameFormat, SwitchClass cls) {
  if (count < 1 || count > UPLINK_PORTS_MAX) {
    printf("Unsupported number of uplink ports %d, outside 1-%d\n", count, UPLINK_PORTS_MAX);
    return CommandResult::Exit(-1);
  }
  const unsigned limit = count <= 9 ? UPLINK_FORMAT_MAX_ONE_DIGIT : UPLINK_FORMAT_MAX_TWO_DIGITS;
  if (strlen(nameFormat) > limit) {
    printf("Not support uplink port name fmt string longer than %u\n", limit);
    return CommandResult::Exit(-1);
  }

  std::vector<std::string> names;
  for (int32_t i = 0; i < count; i++) {
    char name[UPLINK_GLOBAL_SLOT_LEN];
    snprintf(name, sizeof name, nameFormat, i);
    names.emplace_back(name);
    /* A port that cannot be created (it may exist already) still goes into the lists. */
    Port_Init(state, sw, name, true, false, cls);
  }

  const ByteWriter global = UplinkPortList_Build(names, UPLINK_GLOBAL_SLOT_LEN);
  const ByteWriter host = UplinkPortList_Build(names, UPLINK_HOST_SLOT_LEN);
  ZOR_ReturnStatus status =
      state.globalSet(sw, UPLINK_KEY_GLOBAL_LIST, global.Data(), global.Length(), PROP_CONFIG);
  if (status == ZOR_OK) {
    status = state.hostSet(sw, UPLINK_KEY_HOST_LIST, host.Data(), host.Length(), PROP_CONFIG);
  }
  return status;
}

/* ---- Commands -------------------------------------------------------------- */

CommandResult Cmd_AddUplinks(const CommandContext &ctx) {
  return CreateUplinkPorts(ctx.state, ctx.sw, ctx.inv.uplinkCount, "uplink%d", ctx.cls);
}

CommandResult Cmd_DeleteUplink(const CommandContext &ctx) {
  const char *port = ctx.inv.portName;
  /* The switch flow has the configuration of the command's mode loaded. */
  if (DVSState_PortFind(ctx.sw, port) == nullptr) return ZOR_NOT_FOUND;

  /* The alias and both lists come from the kernel whatever the mode. */
  PropValue alias;
  ZOR_ReturnStatus status = ctx.kernel.portGet(ctx.sw, port, KEY_PORT_ALIAS, alias);
  if (status != ZOR_OK && status != ZOR_NOT_FOUND) return status;
  const bool hasAlias = status == ZOR_OK;

  PropValue list;
  status = ctx.kernel.globalGet(ctx.sw, UPLINK_KEY_GLOBAL_LIST, list);
  if (status != ZOR_OK && status != ZOR_NOT_FOUND) return status;
  /* A port without an alias cannot be named by the global list. */
  std::optional<ByteWriter> global;
  if (status == ZOR_OK && hasAlias)
    global = ListWithout(list, UPLINK_GLOBAL_SLOT_LEN, TextOf(alias));

  status = ctx.kernel.hostGet(ctx.sw, UPLINK_KEY_HOST_LIST, list);
  if (status != ZOR_OK && status != ZOR_NOT_FOUND) return status;
  std::optional<ByteWriter> host;
  if (status == ZOR_OK) host = ListWithout(list, UPLINK_HOST_SLOT_LEN, port);

  status = ctx.state.portRemove(ctx.sw, port);
  if (status != ZOR_OK || (!global && !host)) return status;
  /* Only the lists that named the port are rewritten; the other stays as it was. */
  if (global) {
    status = ctx.state.globalSet(ctx.sw, UPLINK_KEY_GLOBAL_LIST, global->Data(), global->Length(),
                                 PROP_CONFIG);
    if (status != ZOR_OK) return status;
  }
  if (host) {
    status =
        ctx.state.hostSet(ctx.sw, UPLINK_KEY_HOST_LIST, host->Data(), host->Length(), PROP_CONFIG);
  }
  return status;
}

CommandResult Cmd_SetTeaming(const CommandContext &ctx) {
  const bool onPort = ctx.cls == SWITCH_CLASS_ETHERSWITCH;
  /* An etherswitch takes the policy on a port, so it needs one. */
  if (onPort && ctx.inv.portName == nullptr) {
    return CommandResult::Usage("port name not specified.\n");
  }
  const std::optional<ByteWriter> policy =
      TeamingPolicy_Build(ctx.inv.uplinkNames, ctx.inv.teamPolicyType, ctx.inv.teamingFlag);
  if (!policy) return CommandResult::Usage(nullptr);
  if (onPort) {
    return ctx.state.portSet(ctx.sw, ctx.inv.portName, TEAMING_KEY_ETHERSWITCH_PORT, policy->Data(),
                             policy->Length(), PROP_CONFIG);
  }
  return ctx.state.globalSet(ctx.sw, TEAMING_KEY_VSWITCH, policy->Data(), policy->Length(),
                             PROP_CONFIG);
}

/* ---- Printers ---------------------------------------------------------------- */

void Prop_PrintUplinkPorts(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t flags) {
  PrintUplinkList(key, value, length, flags, UPLINK_GLOBAL_SLOT_LEN);
}

void Prop_JsonUplinkPorts(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  WriteUplinkList(value, length, out, UPLINK_GLOBAL_SLOT_LEN);
}

void Prop_PrintHostUplinkPorts(const PrintContext &, const char *key, const void *value,
                               uint32_t length, int32_t flags) {
  PrintUplinkList(key, value, length, flags, UPLINK_HOST_SLOT_LEN);
}

void Prop_JsonHostUplinkPorts(const PrintContext &, const void *value, uint32_t length,
                              JsonOut &out) {
  WriteUplinkList(value, length, out, UPLINK_HOST_SLOT_LEN);
}

void Prop_PrintTeamingPolicy(const PrintContext &, const char *key, const void *value,
                             uint32_t length, int32_t flags) {
  printf("\t\t%s:\n\t\t\t", key);
  PrintTeamingBlock(DecodeTeamingBlock(ByteReader(value, length), 0, policyFields), policyFields,
                    flags);
}

void Prop_JsonTeamingPolicy(const PrintContext &, const void *value, uint32_t length,
                            JsonOut &out) {
  const TeamingValue v = DecodeTeamingBlock(ByteReader(value, length), 0, policyFields);
  out.BeginObject();
  WriteTeamingBlock(v, out);
  Json_Truncated(out, !v.Whole());
  out.EndObject();
}

namespace {

/* The policies of a logical switch that lie inside the value, each with its name. */
struct LogicalSwitchTeamingValue {
  uint32_t count = 0;
  std::vector<std::pair<std::string_view, TeamingValue>> policies;
};

LogicalSwitchTeamingValue DecodeLogicalSwitchTeaming(const ByteReader &r) {
  LogicalSwitchTeamingValue v;
  v.count = r.U32(LS_TEAMING_OFF_COUNT).value_or(0);
  for (uint64_t i = 0; i < v.count; i++) {
    const size_t base = LS_TEAMING_OFF_ENTRIES + i * LS_TEAMING_ENTRY_LEN;
    const std::optional<std::string_view> name = r.Text(base, LS_TEAMING_NAME_LEN);
    if (!name) break;
    v.policies.emplace_back(*name, DecodeTeamingBlock(r, base, logicalSwitchFields));
  }
  return v;
}

}  // namespace

void Prop_PrintLogicalSwitchTeaming(const PrintContext &, const char *key, const void *value,
                                    uint32_t length, int32_t flags) {
  const LogicalSwitchTeamingValue v = DecodeLogicalSwitchTeaming(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (const auto &[name, policy] : v.policies) {
    printf("\t\t\tpolicy name: ");
    Prop_PutText(name);
    printf("\n\t\t\t\t");
    PrintTeamingBlock(policy, logicalSwitchFields, flags);
  }
}

void Prop_JsonLogicalSwitchTeaming(const PrintContext &, const void *value, uint32_t length,
                                   JsonOut &out) {
  const ByteReader r(value, length);
  const LogicalSwitchTeamingValue v = DecodeLogicalSwitchTeaming(r);
  bool truncated = !r.Has(LS_TEAMING_OFF_COUNT, 4) || v.policies.size() < v.count;
  out.BeginObject();
  out.Key("policies");
  out.BeginArray();
  for (const auto &[name, policy] : v.policies) {
    out.BeginObject();
    Json_Text(out, "policyName", name);
    WriteTeamingBlock(policy, out);
    out.EndObject();
    truncated = truncated || !policy.Whole();
  }
  out.EndArray();
  Json_Truncated(out, truncated);
  out.EndObject();
}

/* ---- The family -------------------------------------------------------- */

namespace {

const UsageEntry uplinkUsage[] = {
    {18,
     "brakk -L uplink_name1[,uplink_name2,...] -t team_policy_type [-p port] switch_name\n"
     "                                              connect a set of uplinks with given teaming "
     "policy to a port or a switch"},
    {22, "brakk -U number switch_name                 create the specified number of uplink ports"},
    {23, "brakk -X -p port switch_name                delete the specified uplink port"},
};

const PropPrinterRow uplinkPrinters[] = {
    {UPLINK_KEY_GLOBAL_LIST, Prop_PrintUplinkPorts, Prop_JsonUplinkPorts},
    {UPLINK_KEY_HOST_LIST, Prop_PrintHostUplinkPorts, Prop_JsonHostUplinkPorts},
    {TEAMING_KEY_ETHERSWITCH_PORT, Prop_PrintTeamingPolicy, Prop_JsonTeamingPolicy},
    {TEAMING_KEY_VSWITCH, Prop_PrintTeamingPolicy, Prop_JsonTeamingPolicy},
    {TEAMING_KEY_VSWITCH_PORT, Prop_PrintTeamingPolicy, Prop_JsonTeamingPolicy},
    {TEAMING_KEY_LOGICAL_SWITCH, Prop_PrintLogicalSwitchTeaming, Prop_JsonLogicalSwitchTeaming},
};

}  // namespace

const PropFamily UPLINK_FAMILY = {"uplink", uplinkPrinters, uplinkUsage};
