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

void Prop_PrintMacManagement(const PrintContext &, const char *key, const void *value,
                             uint32_t length, int32_t flags) {
  static const struct {
    size_t offset;
    const char *format;
  } switches[] = {
      {MAC_MGMT_OFF_ALLOW_MAC_CHANGE, "\t\t\tAllow MAC Change = %s\n"},
      {MAC_MGMT_OFF_MAC_LEARNING, "\t\t\tMAC Learning = %s\n"},
      {MAC_MGMT_OFF_UNKNOWN_UNICAST_FLOODING, "\t\t\tUnknown Unicast Flooding = %s\n"},
  };
  const ByteReader r(value, length);
  printf("\t\t%s:\n", key);
  for (const auto &line : switches) {
    const std::optional<uint8_t> on = r.U8(line.offset);
    if (!on) return;
    printf(line.format, TrueFalse(*on));
  }
  const std::optional<uint32_t> limit = r.U32(MAC_MGMT_OFF_MAC_LIMIT);
  if (!limit) return;
  printf("\t\t\tMAC Limit = %u\n", *limit);
  const std::optional<uint32_t> policy = r.U32(MAC_MGMT_OFF_LIMIT_POLICY);
  if (!policy) return;
  printf("\t\t\t MAC Limit Policy = %s\n", NameOf(macLimitPolicyNames, *policy, "UNKNOWN"));
  Prop_PrintFlagsLine(flags);
}

void Prop_PrintDiscovery(const PrintContext &, const char *key, const void *value, uint32_t length,
                         int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s = ", key);
  const std::optional<uint8_t> protocol = r.U8(DISCOVERY_OFF_PROTOCOL);
  if (!protocol) {
    printf("\n");
    return;
  }
  printf("%s", NameOf(discoveryProtocolNames, *protocol, unknownName));
  const std::optional<uint8_t> mode = r.U8(DISCOVERY_OFF_MODE);
  if (!mode) {
    printf("\n");
    return;
  }
  printf(", %s\n", NameOf(discoveryModeNames, *mode, unknownName));
  Prop_PrintFlagsLine(flags);
}

void Prop_PrintExtraEthFRP(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s = ", key);
  const std::optional<uint32_t> bits = r.U32(EXTRA_FRP_OFF_FLAGS);
  if (!bits) {
    printf("\n");
    return;
  }
  PrintBitNames(extraFrpWords, *bits);
  printf("\n");
  if ((*bits & EXTRA_FRP_MULTICAST) != 0) {
    const std::optional<uint16_t> count = r.U16(EXTRA_FRP_OFF_ADDR_COUNT);
    if (!count) return;
    /* The stored count is believed only as far as the value holds addresses. */
    for (uint32_t i = 0; i < *count; i++) {
      const uint8_t *a = r.Bytes(EXTRA_FRP_OFF_ADDRS + EXTRA_FRP_ADDR_LEN * i, EXTRA_FRP_ADDR_LEN);
      if (a == nullptr) return;
      printf("\t\tmulticastAddr[%d] = %02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx\n",
             static_cast<int>(i), a[0], a[1], a[2], a[3], a[4], a[5]);
    }
  }
  Prop_PrintFlagsLine(flags);
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
    {SECURITY_KEY_ETHERSWITCH_PORT, Prop_PrintSecurity},
    {SECURITY_KEY_VSWITCH_PORT, Prop_PrintSecurity},
    {MAC_MANAGEMENT_KEY, Prop_PrintMacManagement},
    {DISCOVERY_KEY, Prop_PrintDiscovery},
    {EXTRA_FRP_KEY_ETHERSWITCH_PORT, Prop_PrintExtraEthFRP},
    {EXTRA_FRP_KEY_VSWITCH_PORT, Prop_PrintExtraEthFRP},
};

}  // namespace

const PropFamily PORT_POLICY_FAMILY = {"portpolicy", portPolicyPrinters, portPolicyUsage};
