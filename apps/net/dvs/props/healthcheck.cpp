// SPDX-License-Identifier: Apache-2.0
/*
 * healthcheck.cpp --
 *
 *    The health-check family: the VLAN range bitmap parser, the commands
 *    that deploy, parameterise and remove the checks, and the printers of
 *    the check values and results.
 */

#include "props/healthcheck.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json.h"
#include "base/print.h"
#include "props/bytes.h"
#include "state/state_ops.h"

namespace {

/*
 * Reads one decimal int at text as the "%d" conversion of sscanf does
 * (leading blanks, an optional sign, digits; the value keeps its low 32
 * bits). Returns false when no number stands there.
 */
bool ScanInt(const char *text, int *value, const char **end) {
  char *stop = nullptr;
  long parsed = strtol(text, &stop, 10);
  if (stop == text) return false;
  *value = static_cast<int>(static_cast<unsigned long>(parsed));
  *end = stop;
  return true;
}

/*
 * The "%d-%d" scan of one item: returns the number of conversions (0, 1
 * or 2). The '-' must follow the first number directly.
 */
int ScanRange(const char *item, int *low, int *high) {
  const char *rest = nullptr;
  if (!ScanInt(item, low, &rest)) return 0;
  if (*rest != '-') return 1;
  return ScanInt(rest + 1, high, &rest) ? 2 : 1;
}

void SetBits(uint8_t *bitmap, int low, int high) {
  for (int vlan = low; vlan <= high; vlan++) {
    bitmap[vlan / 8] |= static_cast<uint8_t>(1u << (vlan % 8));
  }
}

}  // namespace

int VlanBitmap_Parse(const char *text, uint8_t *bitmap) {
  memset(bitmap, 0, VLAN_BITMAP_LEN);
  const char *pos = text;
  while (*pos != '\0') {
    int low = 0;
    int high = 0;
    int converted = ScanRange(pos, &low, &high);
    if (converted == 0) {
      fprintf(stderr, "Bad vlan range string: %s\n", pos);
      return -1;
    }
    if (converted == 1) high = low;
    if (low < 0 || high > VLAN_BITMAP_MAX_VLAN || low > high) {
      fprintf(stderr, "Bad vlan range: from %d to %d\n", low, high);
      return -1;
    }
    printf("set vlan %d - %d.\n", low, high);
    SetBits(bitmap, low, high);
    const char *comma = strchr(pos, ',');
    if (comma == nullptr) break;
    pos = comma + 1;
  }
  return 0;
}

/* ---- Command handlers ----------------------------------------------------- */

namespace {

/* One check: its three commands and the keys it keeps on the switch's global list. */
struct HealthCheck {
  CommandCode deploy;
  CommandCode remove;
  CommandCode param;
  const char *deployKey;
  const char *paramKey;
  bool bitmapParam; /* the parameter is the VLAN bitmap, else the teaming check's byte */
};

const HealthCheck healthChecks[] = {
    {CMD_TEAMCHK_DEPLOY, CMD_TEAMCHK_REMOVE, CMD_TEAMCHK_PARAM, CHECK_KEY_TEAM_DEPLOY,
     CHECK_KEY_TEAM_PARAM, false},
    {CMD_VLANMTUCHK_DEPLOY, CMD_VLANMTUCHK_REMOVE, CMD_VLANMTUCHK_PARAM, CHECK_KEY_VLANMTU_DEPLOY,
     CHECK_KEY_VLANMTU_PARAM, true},
    {CMD_QELTVLMCHK_DEPLOY, CMD_QELTVLMCHK_REMOVE, CMD_QELTVLMCHK_PARAM,
     CHECK_KEY_QELT_VLANMTU_DEPLOY, CHECK_KEY_QELT_VLANMTU_PARAM, true},
};

/* The check that command belongs to; the command table gives these handlers only its codes. */
const HealthCheck &CheckOf(CommandCode command) {
  for (const HealthCheck &check : healthChecks) {
    if (command == check.deploy || command == check.remove || command == check.param) return check;
  }
  return healthChecks[0];
}

}  // namespace

CommandResult Cmd_CheckDeploy(const CommandContext &ctx) {
  ByteWriter record(CHECK_DEPLOY_LEN);
  record.PutU8(CHECK_DEPLOY_OFF_ENABLED, 1);
  record.PutU32(CHECK_DEPLOY_OFF_INTERVAL, static_cast<uint32_t>(ctx.inv.checkInterval));
  return ctx.state.globalSet(ctx.sw, CheckOf(ctx.inv.command).deployKey, record.Data(),
                             record.Length(), PROP_CONFIG);
}

CommandResult Cmd_CheckParam(const CommandContext &ctx) {
  const HealthCheck &check = CheckOf(ctx.inv.command);
  if (check.bitmapParam) {
    return ctx.state.globalSet(ctx.sw, check.paramKey, ctx.inv.vlanRangeParam.get(),
                               VLAN_BITMAP_LEN, PROP_POLICY);
  }
  ByteWriter param(CHECK_TEAM_PARAM_LEN);
  param.PutU8(0, ctx.inv.teamchkParam);
  return ctx.state.globalSet(ctx.sw, check.paramKey, param.Data(), param.Length(), PROP_CONFIG);
}

CommandResult Cmd_CheckRemove(const CommandContext &ctx) {
  const HealthCheck &check = CheckOf(ctx.inv.command);
  const ZOR_ReturnStatus first = ctx.state.globalClear(ctx.sw, check.paramKey);
  const ZOR_ReturnStatus second = ctx.state.globalClear(ctx.sw, check.deployKey);
  if (first == ZOR_NOT_FOUND && second == ZOR_NOT_FOUND) return ZOR_NOT_FOUND;
  if (first == ZOR_OK || second == ZOR_OK) return ZOR_OK;
  return ZOR_FAILURE;
}

/* ---- Printers --------------------------------------------------------------- */

namespace {

/* The words of one kind of check result, and the names of its two lists in the document. */
struct CheckResultWords {
  const char *bad;
  const char *first;
  const char *second;
  const char *firstName;
  const char *secondName;
};

const CheckResultWords vlanResultWords = {"\t\tBad VLAN result!\n",
                                          "\t\tTrunked VLAN:", "\t\tUntrunked VLAN:", "trunkedVlan",
                                          "untrunkedVlan"};
const CheckResultWords mtuResultWords = {"\t\tBad MTU result!\n",
                                         "\t\tAllowed MTU:", "\t\tDisallowed MTU:", "allowedMtu",
                                         "disallowedMtu"};

typedef std::vector<std::pair<uint32_t, uint32_t>> Ranges;

/*
 * A CheckResult: its two lists of ranges, or bad when the value is not
 * exactly as long as its two counts say (so every range read lies inside).
 */
struct CheckResultValue {
  bool bad = true;
  Ranges first;
  Ranges second;
};

Ranges ResultRanges(const ByteReader &r, uint32_t first, uint32_t count) {
  Ranges ranges;
  for (uint32_t i = first; i < first + count; i++) {
    const size_t range = CHECK_RESULT_OFF_RANGES + static_cast<size_t>(CHECK_RESULT_RANGE_LEN) * i;
    ranges.emplace_back(r.U16(range + CHECK_RESULT_RANGE_OFF_LOW).value_or(0),
                        r.U16(range + CHECK_RESULT_RANGE_OFF_HIGH).value_or(0));
  }
  return ranges;
}

CheckResultValue DecodeCheckResult(const ByteReader &r) {
  CheckResultValue v;
  const std::optional<uint16_t> first = r.U16(CHECK_RESULT_OFF_FIRST_COUNT);
  const std::optional<uint16_t> second = r.U16(CHECK_RESULT_OFF_SECOND_COUNT);
  if (!first || !second ||
      r.Length() != CHECK_RESULT_OFF_RANGES + static_cast<uint64_t>(CHECK_RESULT_RANGE_LEN) *
                                                  (static_cast<uint64_t>(*first) + *second)) {
    return v;
  }
  v.bad = false;
  v.first = ResultRanges(r, 0, *first);
  v.second = ResultRanges(r, *first, *second);
  return v;
}

/* Prints ranges as "low-high" or "low", separated by ','. */
void PrintResultRanges(const Ranges &ranges) {
  for (size_t i = 0; i < ranges.size(); i++) {
    const int low = static_cast<int>(ranges[i].first);
    const int high = static_cast<int>(ranges[i].second);
    if (i > 0) printf(",");
    if (low == high) {
      printf("%d", low);
    } else {
      printf("%d-%d", low, high);
    }
  }
}

void PrintCheckResult(const void *value, uint32_t length, const CheckResultWords &words) {
  const CheckResultValue v = DecodeCheckResult(ByteReader(value, length));
  if (v.bad) {
    fputs(words.bad, stdout);
    return;
  }
  fputs(words.first, stdout);
  PrintResultRanges(v.first);
  printf("\n");
  fputs(words.second, stdout);
  PrintResultRanges(v.second);
  printf("\n");
}

/* Writes key: [{"low", "high"}, ...]. */
void WriteRanges(JsonOut &out, std::string_view key, const Ranges &ranges) {
  out.Key(key);
  out.BeginArray();
  for (const auto &[low, high] : ranges) {
    out.BeginObject();
    Json_Uint(out, "low", low);
    Json_Uint(out, "high", high);
    out.EndObject();
  }
  out.EndArray();
}

/* A check result as {first list: ranges, second list: ranges}, or {"bad": true}. */
void WriteCheckResult(const void *value, uint32_t length, const CheckResultWords &words,
                      JsonOut &out) {
  const CheckResultValue v = DecodeCheckResult(ByteReader(value, length));
  out.BeginObject();
  if (v.bad) {
    Json_Bool(out, "bad", true);
  } else {
    WriteRanges(out, words.firstName, v.first);
    WriteRanges(out, words.secondName, v.second);
  }
  out.EndObject();
}

bool BitIsSet(const uint8_t *bitmap, uint32_t bit) {
  return (bitmap[bit / 8] & (1u << (bit % 8))) != 0;
}

/* A deployment: its status and interval, each once the value holds it. */
struct CheckDeployValue {
  std::optional<uint8_t> enabled;
  std::optional<uint32_t> interval;
};

CheckDeployValue DecodeCheckDeploy(const ByteReader &r) {
  CheckDeployValue v;
  v.enabled = r.U8(CHECK_DEPLOY_OFF_ENABLED);
  if (v.enabled) v.interval = r.U32(CHECK_DEPLOY_OFF_INTERVAL);
  return v;
}

/* The teaming check's parameter: an unsigned integer of the value's own length, at most 4 bytes. */
uint32_t DecodeTeamCheckParam(const ByteReader &r) {
  uint32_t param = 0;
  const uint32_t width =
      r.Length() < CHECK_TEAM_PARAM_MAX_LEN ? r.Length() : CHECK_TEAM_PARAM_MAX_LEN;
  for (uint32_t i = 0; i < width; i++)
    param |= static_cast<uint32_t>(r.U8(i).value_or(0)) << (8 * i);
  return param;
}

/* The VLANs of a bitmap as ranges of set bits; only the bytes that the value holds are read. */
Ranges DecodeVlanBitmap(const ByteReader &r) {
  Ranges ranges;
  const uint32_t bytes = r.Length() < VLAN_BITMAP_LEN ? r.Length() : VLAN_BITMAP_LEN;
  const uint8_t *bitmap = r.Bytes(0, bytes);
  const uint32_t bits = bitmap != nullptr ? bytes * 8 : 0;
  uint32_t vlan = 0;
  while (vlan < bits) {
    if (!BitIsSet(bitmap, vlan)) {
      vlan++;
      continue;
    }
    uint32_t last = vlan;
    while (last + 1 < bits && BitIsSet(bitmap, last + 1)) last++;
    ranges.emplace_back(vlan, last);
    vlan = last + 1;
  }
  return ranges;
}

}  // namespace

void Prop_PrintCheckDeploy(const PrintContext &, const char *key, const void *value,
                           uint32_t length, int32_t /* flags */) {
  const CheckDeployValue v = DecodeCheckDeploy(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  if (!v.enabled) return;
  printf("\t\t\tstatus is %s\n", *v.enabled == 1 ? "Enabled" : "Disabled");
  if (!v.interval) return;
  printf("\t\t\tinterval is %d minutes\n", static_cast<int>(*v.interval));
}

void Prop_JsonCheckDeploy(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const CheckDeployValue v = DecodeCheckDeploy(ByteReader(value, length));
  out.BeginObject();
  if (v.enabled) Json_Enum(out, "status", *v.enabled == 1 ? "Enabled" : "Disabled", *v.enabled);
  if (v.interval) Json_Int(out, "interval", static_cast<int32_t>(*v.interval));
  Json_Truncated(out, !v.interval);
  out.EndObject();
}

void Prop_PrintTeamCheckParam(const PrintContext &, const char *key, const void *value,
                              uint32_t length, int32_t /* flags */) {
  const uint32_t param = DecodeTeamCheckParam(ByteReader(value, length));
  printf("\t\t%s: %s\n", key, param != 0 ? "IPHASH" : "NonIPHASH");
}

void Prop_JsonTeamCheckParam(const PrintContext &, const void *value, uint32_t length,
                             JsonOut &out) {
  const ByteReader r(value, length);
  const uint32_t param = DecodeTeamCheckParam(r);
  out.BeginObject();
  Json_Enum(out, "param", param != 0 ? "IPHASH" : "NonIPHASH", param);
  Json_Truncated(out, r.Length() < CHECK_TEAM_PARAM_LEN);
  out.EndObject();
}

void Prop_PrintVlanRanges(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const Ranges ranges = DecodeVlanBitmap(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  printf("\t\t\tranges =");
  for (const auto &[low, high] : ranges) {
    if (high > low) {
      printf(" %u-%u", low, high);
    } else {
      printf(" %u", low);
    }
  }
  printf("\n");
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonVlanRanges(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const ByteReader r(value, length);
  out.BeginObject();
  WriteRanges(out, "ranges", DecodeVlanBitmap(r));
  Json_Truncated(out, r.Length() < VLAN_BITMAP_LEN);
  out.EndObject();
}

void Prop_PrintVlanCheckResult(const PrintContext &, const char * /* key */, const void *value,
                               uint32_t length, int32_t /* flags */) {
  PrintCheckResult(value, length, vlanResultWords);
}

void Prop_JsonVlanCheckResult(const PrintContext &, const void *value, uint32_t length,
                              JsonOut &out) {
  WriteCheckResult(value, length, vlanResultWords, out);
}

void Prop_PrintMtuCheckResult(const PrintContext &, const char * /* key */, const void *value,
                              uint32_t length, int32_t /* flags */) {
  PrintCheckResult(value, length, mtuResultWords);
}

void Prop_JsonMtuCheckResult(const PrintContext &, const void *value, uint32_t length,
                             JsonOut &out) {
  WriteCheckResult(value, length, mtuResultWords, out);
}

/* ---- The family --------------------------------------------------------------- */

namespace {

const UsageEntry healthCheckUsage[] = {
    {30,
     "brakk --teamchkDeploy interval switch_name\n"
     "                                              deploy teaming check, unit of interval is "
     "minute"},
    {31,
     "brakk --teamchkParam type switch_name\n"
     "                                              set 0(nonIPHASH) and 1(IPHASH) param for "
     "teaming check"},
    {32, "brakk --teamchkRemove switch_name           stop teaming policy check of switch"},
    {33,
     "brakk --vlanMTUChkDeploy interval switch_name\n"
     "                                              deploy VLAN and MTU check"},
    {34,
     "brakk --vlanMTUChkParam \"range1Min-range1Max[,range2Min-range2Max...]\" switch_name\n"
     "                                              set vlanRange param for VLAN and MTU check"},
    {35, "brakk --vlanMTUChkRemove switch_name        stop VLAN and MTU check of switch"},
    {36,
     "brakk --qeltVLMChkDeploy interval switch_name\n"
     "                                              simulate deployment of VLAN and MTU check via "
     "QEL-T"},
    {37,
     "brakk --qeltVLMChkParam \"range1Min-range1Max[,range2Min-range2Max...]\" switch_name\n"
     "                                              simulate setting vlanRange param for VLAN and "
     "MTU check via QEL-T"},
    {38,
     "brakk --qeltVLMChkRemove switch_name        simulate stopping VLAN and MTU check of switch "
     "via QEL-T"},
};

const PropPrinterRow healthCheckPrinters[] = {
    {CHECK_KEY_VLAN_RESULT, Prop_PrintVlanCheckResult, Prop_JsonVlanCheckResult},
    {CHECK_KEY_MTU_RESULT, Prop_PrintMtuCheckResult, Prop_JsonMtuCheckResult},
    {CHECK_KEY_VLANMTU_DEPLOY, Prop_PrintCheckDeploy, Prop_JsonCheckDeploy},
    {CHECK_KEY_QELT_VLANMTU_DEPLOY, Prop_PrintCheckDeploy, Prop_JsonCheckDeploy},
    {CHECK_KEY_TEAM_DEPLOY, Prop_PrintCheckDeploy, Prop_JsonCheckDeploy},
    {CHECK_KEY_VLANMTU_PARAM, Prop_PrintVlanRanges, Prop_JsonVlanRanges},
    {CHECK_KEY_QELT_VLANMTU_PARAM, Prop_PrintVlanRanges, Prop_JsonVlanRanges},
    {CHECK_KEY_TEAM_PARAM, Prop_PrintTeamCheckParam, Prop_JsonTeamCheckParam},
};

}  // namespace

const PropFamily HEALTH_CHECK_FAMILY = {"healthcheck", healthCheckPrinters, healthCheckUsage};
