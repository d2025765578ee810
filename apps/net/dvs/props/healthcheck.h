// SPDX-License-Identifier: Apache-2.0
/*
 * healthcheck.h --
 *
 *    The health-check family: the teaming check and the VLAN-and-MTU check
 *    of a switch (the latter also under the vswitch keys, as the network
 *    manager drives it). Keys, then the value layouts, then the range
 *    parser that builds the VLAN bitmap while the options are read, the
 *    nine command handlers and the printers of the check values and of the
 *    per-port results that the checks report.
 *
 *    Every write and clear goes to the switch's global list, in the state
 *    the command edits.
 */

#ifndef APPS_NET_DVS_PROPS_HEALTHCHECK_H
#define APPS_NET_DVS_PROPS_HEALTHCHECK_H

#include <stdint.h>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"

/* Deployment of each check (a CheckDeploy record). */
#define CHECK_KEY_TEAM_DEPLOY "com.corvane.common.teamcheck.deploy"
#define CHECK_KEY_VLANMTU_DEPLOY "com.corvane.common.vlanmtucheck.deploy"
#define CHECK_KEY_QELT_VLANMTU_DEPLOY "com.corvane.vswitch.vlanmtucheck.deploy"
/* Parameters: the teaming check's policy byte, the VLAN-and-MTU checks' VlanBitmap. */
#define CHECK_KEY_TEAM_PARAM "com.corvane.fenn.teamcheck.param"
#define CHECK_KEY_VLANMTU_PARAM "com.corvane.fenn.vlanmtucheck.param"
#define CHECK_KEY_QELT_VLANMTU_PARAM "com.corvane.vswitch.vlanmtucheck.param"
/* Per-port results that the running check writes (a CheckResult each). */
#define CHECK_KEY_VLAN_RESULT "com.corvane.common.port.volatile.vlanchkresult"
#define CHECK_KEY_MTU_RESULT "com.corvane.common.port.volatile.mtuchkresult"

/* The family's printer rows and usage entries (the nine health-check options). */
extern const PropFamily HEALTH_CHECK_FAMILY;

/*
 * CheckDeploy, packed, little-endian; 5 bytes.
 *
 *   offset 0  u8   enabled: 1 enabled, any other value disabled
 *   offset 1  u32  interval in minutes (unaligned)
 */
#define CHECK_DEPLOY_OFF_ENABLED 0
#define CHECK_DEPLOY_OFF_INTERVAL 1
#define CHECK_DEPLOY_LEN 5

/*
 * Teaming check parameter: 0 for a teaming policy other than IP hash, 1
 * for IP hash. Written as one byte; read as an unsigned integer of the
 * value's own length, at most CHECK_TEAM_PARAM_MAX_LEN bytes.
 */
#define CHECK_TEAM_PARAM_LEN 1
#define CHECK_TEAM_PARAM_MAX_LEN 4

/*
 * CheckResult, packed, little-endian; exactly 4 + 4 x (A + B) bytes.
 *
 *   offset 0       u16  A, the ranges of the first list (trunked VLANs, allowed MTUs)
 *   offset 2       u16  B, the ranges of the second list (untrunked VLANs, disallowed MTUs)
 *   offset 4 + 4i  u16  range i: low value
 *   offset 6 + 4i  u16  range i: high value
 */
#define CHECK_RESULT_OFF_FIRST_COUNT 0
#define CHECK_RESULT_OFF_SECOND_COUNT 2
#define CHECK_RESULT_OFF_RANGES 4
#define CHECK_RESULT_RANGE_OFF_LOW 0
#define CHECK_RESULT_RANGE_OFF_HIGH 2
#define CHECK_RESULT_RANGE_LEN 4

/*
 * VlanBitmap: one bit per VLAN ID 0..4095; VLAN v is bit (v % 8) of byte
 * v / 8, bit 0 the least significant. Exactly VLAN_RANGE_PARAM_LEN bytes.
 */
#define VLAN_BITMAP_LEN VLAN_RANGE_PARAM_LEN
static_assert(VLAN_BITMAP_LEN * 8 == 4096, "one bit per VLAN ID 0..4095");

/* Highest VLAN ID a range may name. */
#define VLAN_BITMAP_MAX_VLAN 4094

/*
 * Clears bitmap (VLAN_BITMAP_LEN bytes) and sets the bits of the ranges in
 * text ("low[-high][,low[-high]...]"), printing "set vlan %d - %d.\n" on
 * standard output for each. Returns 0, or -1 after printing the reason on
 * standard error when an item does not parse or a range is out of order
 * or outside 0..4094. Text after a range that is not a ',' is ignored.
 */
int VlanBitmap_Parse(const char *text, uint8_t *bitmap);

/*
 * Command handlers, each serving the option of its kind for all three
 * checks (the teaming check, the VLAN-and-MTU check and its vswitch
 * twin), chosen by ctx.inv.command. Deploy writes a CheckDeploy record
 * with the option's interval; Param writes the teaming check's byte
 * (flags CONFIG) or the VLAN bitmap read with the options (flags POLICY);
 * Remove clears the parameter and then the deployment and returns
 * ZOR_NOT_FOUND when neither existed, 0 when either clear succeeded,
 * ZOR_FAILURE otherwise. Each returns the state's status.
 */
CommandResult Cmd_CheckDeploy(const CommandContext &ctx);
CommandResult Cmd_CheckParam(const CommandContext &ctx);
CommandResult Cmd_CheckRemove(const CommandContext &ctx);

/*
 * Printers of the listing (PropPrinter form). They read only what lies
 * inside the value and stop, ending the line, at the first field that it
 * does not hold.
 */
/* A CheckDeploy: its status and interval; no propType line. */
void Prop_PrintCheckDeploy(const PrintContext &pc, const char *key, const void *value,
                           uint32_t length, int32_t flags);
/* The teaming check parameter as IPHASH or NonIPHASH; no propType line. */
void Prop_PrintTeamCheckParam(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags);
/* A VlanBitmap as its runs of set VLANs (at most the first VLAN_BITMAP_LEN bytes). */
void Prop_PrintVlanRanges(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);
/* A VLAN check result; a value whose length disagrees with its counts is reported as bad. */
void Prop_PrintVlanCheckResult(const PrintContext &pc, const char *key, const void *value,
                               uint32_t length, int32_t flags);
/* An MTU check result, the same way. */
void Prop_PrintMtuCheckResult(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags);

/*
 * Their JSON writers, from the same decodes: a deployment as {"status",
 * "interval"}, the teaming parameter as {"param"}, a VLAN bitmap as
 * {"ranges": [{"low", "high"}]}, a result as {"trunkedVlan",
 * "untrunkedVlan"} or {"allowedMtu", "disallowedMtu"} (lists of ranges),
 * or {"bad": true} where the text says the result is bad.
 */
void Prop_JsonCheckDeploy(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonTeamCheckParam(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out);
void Prop_JsonVlanRanges(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonVlanCheckResult(const PrintContext &pc, const void *value, uint32_t length,
                              JsonOut &out);
void Prop_JsonMtuCheckResult(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_HEALTHCHECK_H
