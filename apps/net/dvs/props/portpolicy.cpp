/*
 * portpolicy.cpp --
 *
 *    Security, MAC management, discovery protocol and extra frame-receive
 *    policy: the -B and --enableSink setters and the four printers.
 */

#include "props/portpolicy.h"

#include <stdio.h>

#include <optional>

#include "listing/listing.h"
#include "state/target.h"

namespace {

/* ---- Value names ---------------------------------------------------------- */

/* The word printed for a byte or word that has no name in its list. */
const char *const unknownName = "unknown";

const char *const discoveryProtocolNames[] = {"CDP", "LLDP"};
const char *const discoveryModeNames[] = {"down", "listen", "advertise", "advertise & listen"};
const char *const macLimitPolicyNames[] = {"ALLOW", "DROP"};

/* The name of value in names, or fallback when value lies past the list. */
template <size_t N>
const char *NameOf(const char *const (&names)[N], uint32_t value, const char *fallback) {
  return value < N ? names[value] : fallback;
}

/* Receive flags in the order in which the listing shows them. */
const struct {
  uint32_t bit;
  const char *word;
} extraFrpWords[] = {
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

void PrintFlagsLine(int32_t flags) {
  char flagsText[PROP_FLAGS_TEXT_LEN];
  Prop_FlagsToString(flags, flagsText);
  printf("\t\t\tpropType = %s\n", flagsText);
}

}  // namespace

const char *ExtraFrp_Key(SwitchClass cls) {
  return cls == SWITCH_CLASS_ETHERSWITCH ? EXTRA_FRP_KEY_ETHERSWITCH_PORT
                                         : EXTRA_FRP_KEY_VSWITCH_PORT;
}

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

ZOR_ReturnStatus Cmd_SetCdp(const CommandContext &ctx) {
  const ByteWriter value = Discovery_Build(ctx.inv.cdpFlags);
  return ctx.state.globalSet(ctx.sw, DISCOVERY_KEY, value.Data(), value.Length(), PROP_CONFIG);
}

ZOR_ReturnStatus Cmd_EnableSink(const CommandContext &ctx) {
  const ByteWriter value = ExtraFrp_BuildSink(ctx.inv.sinkEnable);
  /* The command replaces the whole policy and does not report a failed write. */
  Target_SetProp(ctx.state, ctx.sw, ctx.inv.portName, ExtraFrp_Key(ctx.cls), value.Data(),
                 value.Length());
  return ZOR_OK;
}

void Prop_PrintSecurity(const char *key, const void *value, uint32_t length, int32_t flags) {
  const std::optional<uint32_t> bits = ByteReader(value, length).U32(SECURITY_OFF_BITS);
  printf("\t\t%s = ", key);
  if (!bits) {
    printf("\n");
    return;
  }
  printf("%s promiscuous; %s mac change; %s forged frames\n",
         DenyAllow(*bits, SECURITY_DENY_PROMISCUOUS), DenyAllow(*bits, SECURITY_DENY_MAC_CHANGE),
         DenyAllow(*bits, SECURITY_DENY_FORGED));
  PrintFlagsLine(flags);
}

void Prop_PrintMacManagement(const char *key, const void *value, uint32_t length, int32_t flags) {
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
  PrintFlagsLine(flags);
}

void Prop_PrintDiscovery(const char *key, const void *value, uint32_t length, int32_t flags) {
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
  PrintFlagsLine(flags);
}

void Prop_PrintExtraEthFRP(const char *key, const void *value, uint32_t length, int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s = ", key);
  const std::optional<uint32_t> bits = r.U32(EXTRA_FRP_OFF_FLAGS);
  if (!bits) {
    printf("\n");
    return;
  }
  for (const auto &word : extraFrpWords) {
    if ((*bits & word.bit) != 0) printf("%s", word.word);
  }
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
  PrintFlagsLine(flags);
}
