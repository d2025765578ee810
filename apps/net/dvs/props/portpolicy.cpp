// SPDX-License-Identifier: Apache-2.0
/*
 * portpolicy.cpp --
 *
 *    Security, MAC management, discovery protocol and extra frame-receive
 *    policy: the -B and --enableSink setters and the four printers.
 */

#include "props/portpolicy.h"

#include <stdio.h>

#include <optional>
#include <string>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "state/state_ops.h"
#include "state/target.h"

namespace {

/* ---- Value names ---------------------------------------------------------- */

/* The word printed for a byte or word that has no name in its list. */
const char *const unknownName = "unknown";

const ValueName discoveryProtocolNames[] = {{0, "CDP"}, {1, "LLDP"}};
const ValueName discoveryModeNames[] = {
    {0, "down"}, {1, "listen"}, {2, "advertise"}, {3, "advertise & listen"}};
const ValueName macLimitPolicyNames[] = {{0, "ALLOW"}, {1, "DROP"}};

/* Receive flags in the order in which the listing shows them. */
const ValueName extraFrpWords[] = {
    {EXTRA_FRP_UNICAST, "  UNICAST"},   {EXTRA_FRP_MULTICAST, "  MULTICAST"},
    {EXTRA_FRP_ALLMULTI, "  ALLMULTI"}, {EXTRA_FRP_BROADCAST, "  BROADCAST"},
    {EXTRA_FRP_PROMISC, "  PROMISC"},   {EXTRA_FRP_USE_LADRF, "  USE_LADRF"},
    {EXTRA_FRP_SINK, "  SINK"},
};

const char *TrueFalse(uint8_t value) {
  return value != 0 ? "True" : "False";
}

const char *DenyAllow(uint32_t bits, uint32_t bit) {
  return (bits & bit) != 0 ? "deny" : "allow";
}

}  // namespace

ByteWriter Discovery_Build(int32_t cdpFlags) {
  const uint32_t bits = static_cast<uint32_t>(cdpFlags);
  ByteWriter value(DISCOVERY_LEN);
  value.PutU8(DISCOVERY_OFF_PROTOCOL, static_cast<uint8_t>(bits >> 16));
  value.PutU8(DISCOVERY_OFF_MODE, static_cast<uint8_t>(bits));
  return value;
}

ByteWriter ExtraFrp_BuildSink(uint8_t enable) {
  ByteWriter value(EXTRA_FRP_LEN);
  if (enable != 0) value.PutU32(EXTRA_FRP_OFF_FLAGS, EXTRA_FRP_SINK);
  return value;
}

CommandResult Cmd_SetCdp(const CommandContext &ctx) {
  const ByteWriter value = Discovery_Build(ctx.inv.cdpFlags);
  return ctx.state.globalSet(ctx.sw, DISCOVERY_KEY, value.Data(), value.Length(), PROP_CONFIG);
}

CommandResult Cmd_EnableSink(const CommandContext &ctx) {
  const ByteWriter value = ExtraFrp_BuildSink(ctx.inv.sinkEnable);
  /* The command replaces the whole policy and does not report a failed write. */
  Target_SetProp(ctx.state, ctx.sw, ctx.inv.portName, EXTRA_FRP_KEY.For(ctx.cls), value.Data(),
                 value.Length());
  return ZOR_OK;
}

namespace {

/* The security policy's bits, in the order of its text, with the document's name of each. */
const struct {
  uint32_t bit;
  const char *name;
} securityFields[] = {
    {SECURITY_DENY_PROMISCUOUS, "promiscuous"},
    {SECURITY_DENY_MAC_CHANGE, "macChange"},
    {SECURITY_DENY_FORGED, "forgedFrames"},
};

/* The three switches of MAC management, in value order: offset, text line, document name. */
const struct {
  size_t offset;
  const char *format;
  const char *name;
} macManagementSwitches[] = {
    {MAC_MGMT_OFF_ALLOW_MAC_CHANGE, "\t\t\tAllow MAC Change = %s\n", "allowMacChange"},
    {MAC_MGMT_OFF_MAC_LEARNING, "\t\t\tMAC Learning = %s\n", "macLearning"},
    {MAC_MGMT_OFF_UNKNOWN_UNICAST_FLOODING, "\t\t\tUnknown Unicast Flooding = %s\n",
     "unknownUnicastFlooding"},
};

/* MAC management: the switches the value holds, in order, then the limit and its policy. */
struct MacManagementValue {
  uint8_t switches[3];
  size_t count = 0;
  std::optional<uint32_t> limit;
  std::optional<uint32_t> policy;
};

MacManagementValue DecodeMacManagement(const ByteReader &r) {
  MacManagementValue v;
  for (const auto &line : macManagementSwitches) {
    const std::optional<uint8_t> on = r.U8(line.offset);
    if (!on) return v;
    v.switches[v.count++] = *on;
  }
  v.limit = r.U32(MAC_MGMT_OFF_MAC_LIMIT);
  if (v.limit) v.policy = r.U32(MAC_MGMT_OFF_LIMIT_POLICY);
  return v;
}

/* The discovery protocol and its mode, each once the value holds it. */
struct DiscoveryValue {
  std::optional<uint8_t> protocol;
  std::optional<uint8_t> mode;
};

/* The frame-receive policy: its flags and, for MULTICAST, the addresses that the value holds. */
struct ExtraFrpValue {
  std::optional<uint32_t> bits;
  std::optional<uint16_t> count;
  std::vector<const uint8_t *> addresses; /* 6 bytes each, inside the value */
  bool Multicast() const { return bits && (*bits & EXTRA_FRP_MULTICAST) != 0; }
};

ExtraFrpValue DecodeExtraFrp(const ByteReader &r) {
  ExtraFrpValue v;
  v.bits = r.U32(EXTRA_FRP_OFF_FLAGS);
  if (!v.Multicast()) return v;
  v.count = r.U16(EXTRA_FRP_OFF_ADDR_COUNT);
  /* The stored count is believed only as far as the value holds addresses. */
  for (uint32_t i = 0; v.count && i < *v.count; i++) {
    const uint8_t *a = r.Bytes(EXTRA_FRP_OFF_ADDRS + EXTRA_FRP_ADDR_LEN * i, EXTRA_FRP_ADDR_LEN);
    if (a == nullptr) break;
    v.addresses.push_back(a);
  }
  return v;
}

/* A MAC address as "xx:xx:xx:xx:xx:xx". */
std::string MacText(const uint8_t *a) {
  char text[18];
  snprintf(text, sizeof text, "%02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx", a[0], a[1], a[2], a[3],
           a[4], a[5]);
  return text;
}

}  // namespace

void Prop_PrintSecurity(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t flags) {
  const std::optional<uint32_t> bits = ByteReader(value, length).U32(SECURITY_OFF_BITS);
  printf("\t\t%s = ", key);
  if (!bits) {
    printf("\n");
    return;
  }
  printf("%s promiscuous; %s mac change; %s forged frames\n",
         DenyAllow(*bits, SECURITY_DENY_PROMISCUOUS), DenyAllow(*bits, SECURITY_DENY_MAC_CHANGE),
         DenyAllow(*bits, SECURITY_DENY_FORGED));
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonSecurity(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const std::optional<uint32_t> bits = ByteReader(value, length).U32(SECURITY_OFF_BITS);
  out.BeginObject();
  for (const auto &field : securityFields) {
    if (bits) Json_Enum(out, field.name, DenyAllow(*bits, field.bit), *bits & field.bit);
  }
  Json_Truncated(out, !bits);
  out.EndObject();
}

void Prop_PrintMacManagement(const PrintContext &, const char *key, const void *value,
                             uint32_t length, int32_t flags) {
  const MacManagementValue v = DecodeMacManagement(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (size_t i = 0; i < v.count; i++) {
    printf(macManagementSwitches[i].format, TrueFalse(v.switches[i]));
  }
  if (!v.limit) return;
  printf("\t\t\tMAC Limit = %u\n", *v.limit);
  if (!v.policy) return;
  printf("\t\t\t MAC Limit Policy = %s\n", NameOf(macLimitPolicyNames, *v.policy, "UNKNOWN"));
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonMacManagement(const PrintContext &, const void *value, uint32_t length,
                            JsonOut &out) {
  const MacManagementValue v = DecodeMacManagement(ByteReader(value, length));
  out.BeginObject();
  for (size_t i = 0; i < v.count; i++) {
    Json_Bool(out, macManagementSwitches[i].name, v.switches[i] != 0);
  }
  if (v.limit) Json_Uint(out, "macLimit", *v.limit);
  if (v.policy) Json_EnumOf(out, "macLimitPolicy", macLimitPolicyNames, *v.policy, "UNKNOWN");
  Json_Truncated(out, !v.policy);
  out.EndObject();
}

void Prop_PrintDiscovery(const PrintContext &, const char *key, const void *value, uint32_t length,
                         int32_t flags) {
  const ByteReader r(value, length);
  const DiscoveryValue v{r.U8(DISCOVERY_OFF_PROTOCOL), r.U8(DISCOVERY_OFF_MODE)};
  printf("\t\t%s = ", key);
  if (!v.protocol) {
    printf("\n");
    return;
  }
  printf("%s", NameOf(discoveryProtocolNames, *v.protocol, unknownName));
  if (!v.mode) {
    printf("\n");
    return;
  }
  printf(", %s\n", NameOf(discoveryModeNames, *v.mode, unknownName));
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonDiscovery(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const ByteReader r(value, length);
  const DiscoveryValue v{r.U8(DISCOVERY_OFF_PROTOCOL), r.U8(DISCOVERY_OFF_MODE)};
  out.BeginObject();
  if (v.protocol) Json_EnumOf(out, "protocol", discoveryProtocolNames, *v.protocol, unknownName);
  if (v.mode) Json_EnumOf(out, "mode", discoveryModeNames, *v.mode, unknownName);
  Json_Truncated(out, !v.mode);
  out.EndObject();
}

void Prop_PrintExtraEthFRP(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t flags) {
  const ExtraFrpValue v = DecodeExtraFrp(ByteReader(value, length));
  printf("\t\t%s = ", key);
  if (!v.bits) {
    printf("\n");
    return;
  }
  PrintBitNames(extraFrpWords, *v.bits);
  printf("\n");
  if (v.Multicast()) {
    if (!v.count) return;
    for (size_t i = 0; i < v.addresses.size(); i++) {
      printf("\t\tmulticastAddr[%d] = %s\n", static_cast<int>(i), MacText(v.addresses[i]).c_str());
    }
    if (v.addresses.size() < *v.count) return;
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonExtraEthFRP(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const ExtraFrpValue v = DecodeExtraFrp(ByteReader(value, length));
  out.BeginObject();
  if (v.bits) Json_Bits(out, "flags", extraFrpWords, *v.bits);
  if (v.count) {
    out.Key("multicastAddr");
    out.BeginArray();
    for (const uint8_t *a : v.addresses) out.String(MacText(a));
    out.EndArray();
  }
  Json_Truncated(out, !v.bits || (v.Multicast() && (!v.count || v.addresses.size() < *v.count)));
  out.EndObject();
}

/* ---- The families -------------------------------------------------------- */

namespace {

const UsageEntry portPolicyUsage[] = {
    {39,
     "brakk --enableSink [0|1] -p dvport switch_name      disable|enable sink mode on a dvPort"},
    {48,
     "brakk -B cdp_lldp_flags dvport switch_name  enable/disable cdp/lldp on the dvport\n"
     "\tcdp_lldp_flags:     0x0           CDP down\n"
     "\t                    0x1           CDP listen\n"
     "\t                    0x2           CDP advertise\n"
     "\t                    0x3           CDP both\n"
     "\t                    0x10000       LLDP down\n"
     "\t                    0x10001       LLDP listen\n"
     "\t                    0x10002       LLDP advertise\n"
     "\t                    0x10003       LLDP both"},
};

const PropPrinterRow portPolicyPrinters[] = {
    {SECURITY_KEY_ETHERSWITCH_PORT, Prop_PrintSecurity, Prop_JsonSecurity},
    {SECURITY_KEY_VSWITCH_PORT, Prop_PrintSecurity, Prop_JsonSecurity},
    {MAC_MANAGEMENT_KEY, Prop_PrintMacManagement, Prop_JsonMacManagement},
    {DISCOVERY_KEY, Prop_PrintDiscovery, Prop_JsonDiscovery},
    {EXTRA_FRP_KEY_ETHERSWITCH_PORT, Prop_PrintExtraEthFRP, Prop_JsonExtraEthFRP},
    {EXTRA_FRP_KEY_VSWITCH_PORT, Prop_PrintExtraEthFRP, Prop_JsonExtraEthFRP},
};

}  // namespace

const PropFamily PORT_POLICY_FAMILY = {"portpolicy", portPolicyPrinters, portPolicyUsage};
