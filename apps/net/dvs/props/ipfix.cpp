// SPDX-License-Identifier: Apache-2.0
/*
 * ipfix.cpp --
 *
 *    The flow-export (IPFIX) family: the -N parser and setter and the
 *    printers of the switch-wide configuration and the switch address.
 */

#include "props/ipfix.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/json.h"
#include "base/print.h"
#include "state/target.h"

namespace {

/* Commas before the collector in the global text. */
constexpr int IPFIX_FIELDS_BEFORE_COLLECTOR = 5;

/* The one message of every text that -N cannot read. */
ZOR_ReturnStatus NetflowError() {
  fprintf(stderr, "Wrong parameters for Netflow\n");
  return ZOR_BAD_PARAM;
}

/* The collector: address bytes, port and family, and where an optional tail is searched from. */
struct Collector {
  uint8_t addr[IPFIX_COLLECTOR_ADDR_LEN] = {};
  uint16_t port = 0;
  uint8_t family = IPFIX_FAMILY_IPV4;
  const char *tailFrom = nullptr;
};

/*
 * Reads "[IPv6]:port" or "a.b.c.d:port" at text. Returns false when it
 * does not parse. IPv4 octets are 8-bit conversions with no range check.
 */
bool ParseCollector(const char *text, Collector &c) {
  if (*text == '[') {
    const char *close = strchr(text, ']');
    if (close == nullptr) return false;
    const std::string address(text + 1, close);
    if (inet_pton(AF_INET6, address.c_str(), c.addr) != 1) return false;
    unsigned short port = 0;
    if (sscanf(close + 1, ":%hu", &port) != 1) return false;
    c.port = port;
    c.family = IPFIX_FAMILY_IPV6;
    c.tailFrom = close;
    return true;
  }
  unsigned short port = 0;
  if (sscanf(text, "%hhu.%hhu.%hhu.%hhu:%hu", &c.addr[0], &c.addr[1], &c.addr[2], &c.addr[3],
             &port) != 5) {
    return false;
  }
  c.port = port;
  c.family = IPFIX_FAMILY_IPV4;
  c.tailFrom = text;
  return true;
}

/*
 * Reads the optional ",dvs_ip[,obsDomainID]" or ",obsDomainID" that
 * follows the collector. A tail that does not start with a number is
 * ignored. Returns false when the tail starts like a number but is
 * neither form.
 */
bool ParseTail(const char *tailFrom, uint8_t switchAddr[IPFIX_SWITCH_ADDR_LEN],
               uint32_t &obsDomainId) {
  const char *comma = strchr(tailFrom, ',');
  if (comma == nullptr) return true;
  unsigned int obs = 0;
  const int read = sscanf(comma + 1, "%hhu.%hhu.%hhu.%hhu,%u", &switchAddr[0], &switchAddr[1],
                          &switchAddr[2], &switchAddr[3], &obs);
  if (read >= 4) {
    if (read == 5) obsDomainId = obs;
    return true;
  }
  memset(switchAddr, 0, IPFIX_SWITCH_ADDR_LEN);
  if (read == 0) return true;
  /* One to three octets, or nothing left: the tail must be the domain ID alone. */
  if (sscanf(comma + 1, "%u", &obs) != 1) return false;
  obsDomainId = obs;
  return true;
}

/* The -N port=N form on target. */
ZOR_ReturnStatus SetPortIpfix(const CommandContext &ctx, const char *number) {
  const char *target = ctx.inv.portName;
  if (target == nullptr) {
    fprintf(stderr, "port name not specified.\n");
    return ZOR_NOT_FOUND;
  }
  unsigned int enable = 0;
  if (sscanf(number, "%u", &enable) != 1) return NetflowError();
  if (enable == 0) return Target_ClearProp(ctx.state, ctx.sw, target, IPFIX_KEY_PORT);
  ByteWriter value(IPFIX_PORT_ENABLED_LEN);
  value.PutText(0, IPFIX_PORT_ENABLED_LEN, IPFIX_PORT_ENABLED);
  return Target_SetProp(ctx.state, ctx.sw, target, IPFIX_KEY_PORT, value.Data(), value.Length());
}

/* The -N global=PARAMS form; both keys live on the global list. */
ZOR_ReturnStatus SetGlobalIpfix(const CommandContext &ctx, const char *params) {
  IpfixGlobal global;
  const ZOR_ReturnStatus parsed = Ipfix_ParseGlobal(params, global);
  if (parsed != ZOR_OK) return parsed;

  const char *list = DVS_TARGET_GLOBAL_LIST;
  if (global.enable == 0) {
    const ZOR_ReturnStatus status = Target_ClearProp(ctx.state, ctx.sw, list, IPFIX_KEY_CONFIG);
    if (status != ZOR_OK) return status;
    /* The address may never have been written; its removal is not reported. */
    Target_ClearProp(ctx.state, ctx.sw, list, IPFIX_KEY_SWITCH_ADDR);
    return ZOR_OK;
  }
  const ZOR_ReturnStatus status = Target_SetProp(ctx.state, ctx.sw, list, IPFIX_KEY_CONFIG,
                                                 global.config.Data(), global.config.Length());
  if (status != ZOR_OK) return status;
  return Target_SetProp(ctx.state, ctx.sw, list, IPFIX_KEY_SWITCH_ADDR, global.switchAddr.Data(),
                        global.switchAddr.Length());
}

}  // namespace

ZOR_ReturnStatus Ipfix_ParseGlobal(const char *params, IpfixGlobal &out) {
  unsigned char enable = 0;
  unsigned char internalOnly = 0;
  unsigned int idle = 0;
  unsigned int active = 0;
  unsigned int rate = 0;
  if (sscanf(params, "%hhu,%u,%u,%u,%hhu,", &enable, &idle, &active, &rate, &internalOnly) != 5) {
    return NetflowError();
  }
  const char *collectorText = params;
  for (int i = 0; i < IPFIX_FIELDS_BEFORE_COLLECTOR; i++) {
    collectorText = strchr(collectorText, ',');
    if (collectorText == nullptr) return NetflowError();
    collectorText++;
  }
  Collector collector;
  if (!ParseCollector(collectorText, collector)) return NetflowError();
  uint8_t switchAddr[IPFIX_SWITCH_ADDR_LEN] = {};
  uint32_t obsDomainId = 0;
  if (!ParseTail(collector.tailFrom, switchAddr, obsDomainId)) return NetflowError();

  out.enable = enable;
  ByteWriter &c = out.config;
  c.PutU32(IPFIX_OFF_IDLE_TIMEOUT, idle);
  c.PutU32(IPFIX_OFF_ACTIVE_TIMEOUT, active);
  c.PutBytes(IPFIX_OFF_COLLECTOR_ADDR, collector.addr, IPFIX_COLLECTOR_ADDR_LEN);
  c.PutU16(IPFIX_OFF_COLLECTOR_PORT, collector.port);
  c.PutU32(IPFIX_OFF_SAMPLING_RATE, rate);
  c.PutU8(IPFIX_OFF_INTERNAL_ONLY, internalOnly);
  c.PutU8(IPFIX_OFF_FAMILY, collector.family);
  c.PutU32(IPFIX_OFF_OBS_DOMAIN_ID, obsDomainId);
  out.switchAddr.PutBytes(0, switchAddr, IPFIX_SWITCH_ADDR_LEN);
  return ZOR_OK;
}

CommandResult Cmd_SetIpfix(const CommandContext &ctx) {
  const char *text = ctx.inv.commandArg;
  while (*text == '=') text++;
  const char *equals = strchr(text, '=');
  if (equals == nullptr || equals[1] == '\0') return NetflowError();
  const std::string_view word(text, static_cast<size_t>(equals - text));
  if (word == "port") return SetPortIpfix(ctx, equals + 1);
  if (word == "global") return SetGlobalIpfix(ctx, equals + 1);
  return NetflowError();
}

namespace {

/* The switch-wide configuration: each field once the value holds it, up to the first it does not.
 */
struct IpfixValue {
  std::optional<uint32_t> idle;
  std::optional<uint32_t> active;
  std::optional<uint32_t> rate;
  std::optional<std::string> collector; /* the collector's address as text */
  uint16_t port = 0;
  bool ipv4 = true;
  std::optional<bool> internalOnly;
  std::optional<uint32_t> obsDomainId;
};

/* An IPv4 address (4 bytes, network order) as dotted text. */
std::string Dotted(const uint8_t *a) {
  char dotted[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, a, dotted, sizeof dotted);
  return dotted;
}

IpfixValue DecodeIpfix(const ByteReader &r) {
  IpfixValue v;
  if (!(v.idle = r.U32(IPFIX_OFF_IDLE_TIMEOUT))) return v;
  if (!(v.active = r.U32(IPFIX_OFF_ACTIVE_TIMEOUT))) return v;
  if (!(v.rate = r.U32(IPFIX_OFF_SAMPLING_RATE))) return v;
  const uint8_t *a = r.Bytes(IPFIX_OFF_COLLECTOR_ADDR, IPFIX_COLLECTOR_ADDR_LEN);
  const std::optional<uint16_t> port = r.U16(IPFIX_OFF_COLLECTOR_PORT);
  const std::optional<uint8_t> family = r.U8(IPFIX_OFF_FAMILY);
  if (a == nullptr || !port || !family) return v;
  v.port = *port;
  v.ipv4 = *family == IPFIX_FAMILY_IPV4;
  if (v.ipv4) {
    v.collector = Dotted(a);
  } else {
    char text[40];
    snprintf(text, sizeof text,
             "%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x", a[0], a[1],
             a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11], a[12], a[13], a[14],
             a[15]);
    v.collector = text;
  }
  const std::optional<uint8_t> internalOnly = r.U8(IPFIX_OFF_INTERNAL_ONLY);
  if (!internalOnly) return v;
  v.internalOnly = *internalOnly != 0;
  v.obsDomainId = r.U32(IPFIX_OFF_OBS_DOMAIN_ID);
  return v;
}

}  // namespace

void Prop_PrintIpfix(const PrintContext &, const char *key, const void *value, uint32_t length,
                     int32_t flags) {
  const IpfixValue v = DecodeIpfix(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  if (!v.idle) return;
  printf("\t\t\tidle timeout = %u seconds\n", *v.idle);
  if (!v.active) return;
  printf("\t\t\tactive timeout = %u seconds\n", *v.active);
  if (!v.rate) return;
  printf("\t\t\tsampling rate = %u\n", *v.rate);
  if (!v.collector) return;
  printf(v.ipv4 ? "\t\t\tcollector = %s:%hu\n" : "\t\t\tcollector = [%s]:%hu\n",
         v.collector->c_str(), v.port);
  if (!v.internalOnly) return;
  printf("\t\t\tinternal flows only = %s\n", *v.internalOnly ? "true" : "false");
  if (!v.obsDomainId) return;
  printf("\t\t\tobsDomainID = %u\n", *v.obsDomainId);
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonIpfix(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const IpfixValue v = DecodeIpfix(ByteReader(value, length));
  out.BeginObject();
  if (v.idle) Json_Uint(out, "idleTimeout", *v.idle);
  if (v.active) Json_Uint(out, "activeTimeout", *v.active);
  if (v.rate) Json_Uint(out, "samplingRate", *v.rate);
  if (v.collector) {
    out.Key("collector");
    out.BeginObject();
    Json_Text(out, "address", *v.collector);
    Json_Uint(out, "port", v.port);
    out.EndObject();
  }
  if (v.internalOnly) Json_Bool(out, "internalFlowsOnly", *v.internalOnly);
  if (v.obsDomainId) Json_Uint(out, "obsDomainID", *v.obsDomainId);
  Json_Truncated(out, !v.obsDomainId);
  out.EndObject();
}

void Prop_PrintIpv4Addr(const PrintContext &, const char *key, const void *value, uint32_t length,
                        int32_t flags) {
  const uint8_t *a = ByteReader(value, length).Bytes(0, IPFIX_SWITCH_ADDR_LEN);
  printf("\t\t%s = ", key);
  if (a == nullptr) {
    printf("\n");
    return;
  }
  printf("%s", Dotted(a).c_str());
  Prop_PrintFlagsLine(flags, ", \t");
}

void Prop_JsonIpv4Addr(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const uint8_t *a = ByteReader(value, length).Bytes(0, IPFIX_SWITCH_ADDR_LEN);
  out.BeginObject();
  if (a != nullptr) Json_Text(out, "address", Dotted(a));
  Json_Truncated(out, a == nullptr);
  out.EndObject();
}

/* ---- The family ---------------------------------------------------------- */

namespace {

const UsageEntry ipfixUsage[] = {
    {44,
     "brakk -N global=ipfix_property_param switch_name\n"
     "                                              Set ipfix property on the dvswitch\n"
     "\tipfix_property_param:  "
     "enable|disable,idle_timeout,active_timeout,sample_rate,inter_flow_only,collector_ip:"
     "collector_"
     "port[,dvs_ip(only ipv4)][,obsDomainID]\n"
     "\tExample:\n"
     "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140,101<dvsName>\n"
     "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140 <dvsName>\n"
     "\t\tbrakk -N global=1,20,20,0,0,10.112.120.121:9660,101 <dvsName>\n"
     "\t\tbrakk -N global=1,20,20,0,0,[fe80::1001]:9660,101 <dvsName>\n"
     "\t\tbrakk -N global=1,20,20,0,0,[fe80::1001]:9660 <dvsName>"},
    {47, "brakk -N port=1|0 -p dvport switch_name     enable/disable ipfix on the dvport"},
};

const PropPrinterRow ipfixPrinters[] = {
    {IPFIX_KEY_CONFIG, Prop_PrintIpfix, Prop_JsonIpfix},
    {IPFIX_KEY_SWITCH_ADDR, Prop_PrintIpv4Addr, Prop_JsonIpv4Addr},
};

}  // namespace

const PropFamily IPFIX_FAMILY = {"ipfix", ipfixPrinters, ipfixUsage};
