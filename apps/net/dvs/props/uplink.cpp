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

void PrintUplinkList(const char *key, const void *value, uint32_t length, int32_t flags,
                     size_t width) {
  printf("\t\t%s:\n\t\t\t", key);
  const ByteReader r(value, length);
  const std::optional<uint32_t> count = r.U32(UPLINK_LIST_OFF_COUNT);
  if (count && *count == 0) printf("<none>");
  for (uint64_t i = 0; count && i < *count; i++) {
    const std::optional<std::string_view> name = r.Text(UPLINK_LIST_OFF_SLOTS + i * width, width);
    if (!name) break;
    Prop_PutText(*name);
    if (i + 1 < *count) printf(", ");
  }
  Prop_PrintFlagsLine(flags, "\n\t\t\t");
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

/* Prints the words of the bits of flags that words names; false when flags is absent. */
template <size_t N>
bool PrintFlagWords(std::optional<uint32_t> flags, const ValueName (&words)[N]) {
  if (!flags) return false;
  PrintBitNames(words, *flags);
  return true;
}

/*
 * Prints the names in slots first to first + count - 1 as " %s,"; false
 * when a slot lies outside the value. Slots past the block's last slot
 * are not read.
 */
bool PrintNameSlots(const ByteReader &r, size_t names, uint64_t first, uint64_t count) {
  for (uint64_t i = first; i < first + count && i < UPLINK_PORTS_MAX; i++) {
    const std::optional<std::string_view> name =
        r.Text(names + i * UPLINK_GLOBAL_SLOT_LEN, UPLINK_GLOBAL_SLOT_LEN);
    if (!name) return false;
    printf(" ");
    Prop_PutText(*name);
    printf(",");
  }
  return true;
}

/*
 * Prints the teaming block at base, from "load balancing = " to the flags
 * line, stopping at the first field that the value does not hold.
 */
void PrintTeamingBlock(const ByteReader &r, size_t base, const TeamingFields &f, int32_t flags) {
  const char *in = f.indent;
  [&] {
    printf("load balancing = ");
    const std::optional<uint32_t> policy = r.U32(base + f.loadBalancing);
    if (!policy) return;
    fputs(NameOf(teamingLoadBalancingNames, *policy, ""), stdout);
    printf("\n%slink selection =", in);
    if (!PrintFlagWords(r.U32(base + f.linkSelection), linkSelectionWords)) return;
    printf("\n%slink behavior =", in);
    if (!PrintFlagWords(r.U32(base + f.linkBehavior), linkBehaviorWords)) return;
    printf("\n%sactive =", in);
    const std::optional<uint32_t> active = r.U32(base + f.activeCount);
    const std::optional<uint32_t> standby = r.U32(base + f.standbyCount);
    if (!active || !standby) return;
    if (!PrintNameSlots(r, base + f.names, 0, *active)) return;
    printf("\n%sstandby =", in);
    PrintNameSlots(r, base + f.names, *active, *standby);
  }();
  printf("\n");
  Prop_PrintFlagsLine(flags, in);
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

void Prop_PrintHostUplinkPorts(const PrintContext &, const char *key, const void *value,
                               uint32_t length, int32_t flags) {
  PrintUplinkList(key, value, length, flags, UPLINK_HOST_SLOT_LEN);
}

void Prop_PrintTeamingPolicy(const PrintContext &, const char *key, const void *value,
                             uint32_t length, int32_t flags) {
  printf("\t\t%s:\n\t\t\t", key);
  PrintTeamingBlock(ByteReader(value, length), 0, policyFields, flags);
}

void Prop_PrintLogicalSwitchTeaming(const PrintContext &, const char *key, const void *value,
                                    uint32_t length, int32_t flags) {
  printf("\t\t%s:\n", key);
  const ByteReader r(value, length);
  const uint32_t count = r.U32(LS_TEAMING_OFF_COUNT).value_or(0);
  for (uint64_t i = 0; i < count; i++) {
    const size_t base = LS_TEAMING_OFF_ENTRIES + i * LS_TEAMING_ENTRY_LEN;
    const std::optional<std::string_view> name = r.Text(base, LS_TEAMING_NAME_LEN);
    if (!name) break;
    printf("\t\t\tpolicy name: ");
    Prop_PutText(*name);
    printf("\n\t\t\t\t");
    PrintTeamingBlock(r, base, logicalSwitchFields, flags);
  }
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
    {UPLINK_KEY_GLOBAL_LIST, Prop_PrintUplinkPorts},
    {UPLINK_KEY_HOST_LIST, Prop_PrintHostUplinkPorts},
    {TEAMING_KEY_ETHERSWITCH_PORT, Prop_PrintTeamingPolicy},
    {TEAMING_KEY_VSWITCH, Prop_PrintTeamingPolicy},
    {TEAMING_KEY_VSWITCH_PORT, Prop_PrintTeamingPolicy},
    {TEAMING_KEY_LOGICAL_SWITCH, Prop_PrintLogicalSwitchTeaming},
};

}  // namespace

const PropFamily UPLINK_FAMILY = {"uplink", uplinkPrinters, uplinkUsage};
