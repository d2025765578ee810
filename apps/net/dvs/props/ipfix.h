// SPDX-License-Identifier: Apache-2.0
/*
 * ipfix.h --
 *
 *    The flow-export (IPFIX) family: the switch-wide export configuration
 *    and the switch's own IPv4 address on the global list, the per-port
 *    enable value, the -N command that writes them, and the printers of
 *    the first two. Keys, then the packed value layouts, then the parser,
 *    the setter and the printers.
 */

#ifndef APPS_NET_DVS_PROPS_IPFIX_H
#define APPS_NET_DVS_PROPS_IPFIX_H

#include <stdint.h>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/*
 * Keys; the etherswitch keys serve every switch class. The first two live
 * on the switch's global list whatever -p says, the third on a port.
 */
#define IPFIX_KEY_CONFIG "com.corvane.etherswitch.ipfix"
#define IPFIX_KEY_SWITCH_ADDR "com.corvane.etherswitch.ipv4addr"
#define IPFIX_KEY_PORT "com.corvane.etherswitch.port.ipfix"

/* The family's printer rows and usage entries (-N). */
extern const PropFamily IPFIX_FAMILY;

/*
 * IpfixConfig, packed, little-endian, 36 bytes (the sampling rate is not
 * 4-byte aligned):
 *
 *   offset 0   u32       idle timeout, seconds
 *   offset 4   u32       active timeout, seconds
 *   offset 8   16 bytes  collector address, network byte order: IPv4 in
 *                        bytes 8..11 (12..23 zero), or the IPv6 address
 *   offset 24  u16       collector port
 *   offset 26  u32       sampling rate
 *   offset 30  u8        internal flows only (0 false, else true)
 *   offset 31  u8        collector address family (IPFIX_FAMILY_*)
 *   offset 32  u32       observation domain ID (0 when not given)
 */
#define IPFIX_OFF_IDLE_TIMEOUT 0
#define IPFIX_OFF_ACTIVE_TIMEOUT 4
#define IPFIX_OFF_COLLECTOR_ADDR 8
#define IPFIX_COLLECTOR_ADDR_LEN 16
#define IPFIX_OFF_COLLECTOR_PORT 24
#define IPFIX_OFF_SAMPLING_RATE 26
#define IPFIX_OFF_INTERNAL_ONLY 30
#define IPFIX_OFF_FAMILY 31
#define IPFIX_OFF_OBS_DOMAIN_ID 32
#define IPFIX_LEN 36

#define IPFIX_FAMILY_IPV4 0
#define IPFIX_FAMILY_IPV6 1

/* The switch address: 4 bytes, the IPv4 address in network byte order (0 when not given). */
#define IPFIX_SWITCH_ADDR_LEN 4

/* The port enable value: the text "enabled" and its NUL. */
#define IPFIX_PORT_ENABLED "enabled"
#define IPFIX_PORT_ENABLED_LEN 8

/* What -N global=... asks for: the enable flag and the two values to write. */
struct IpfixGlobal {
  uint8_t enable = 0;
  ByteWriter config{IPFIX_LEN};
  ByteWriter switchAddr{IPFIX_SWITCH_ADDR_LEN};
};

/*
 * Reads the text after "global=" (enable,idle,active,sampling,internal,
 * collector[,dvs_ip][,obsDomainID]; collector a.b.c.d:port or
 * [IPv6]:port) into out. Returns 0, or ZOR_BAD_PARAM after printing
 * "Wrong parameters for Netflow" on standard error.
 */
ZOR_ReturnStatus Ipfix_ParseGlobal(const char *params, IpfixGlobal &out);

/*
 * The -N command, "global=PARAMS" or "port=1|0" (the latter on the -p
 * port). Returns the status of the write or removal, ZOR_BAD_PARAM for a
 * text that does not parse, ZOR_NOT_FOUND for port=... without -p.
 */
CommandResult Cmd_SetIpfix(const CommandContext &ctx);

/* Printer of the switch-wide configuration: one line per field, then the flags. */
void Prop_PrintIpfix(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                     int32_t flags);
/* Printer of the switch address: the dotted address and the flags on one line. */
void Prop_PrintIpv4Addr(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);
/*
 * Their JSON writers: {"idleTimeout", "activeTimeout", "samplingRate",
 * "collector": {"address", "port"}, "internalFlowsOnly", "obsDomainID"}
 * (the fields that the value holds, in that order) and {"address"}.
 */
void Prop_JsonIpfix(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonIpv4Addr(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_IPFIX_H
