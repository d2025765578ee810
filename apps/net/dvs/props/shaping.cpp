// SPDX-License-Identifier: Apache-2.0
/*
 * shaping.cpp --
 *
 *    The traffic-shaping family: parser, setter and printer of the three
 *    shapers of a port.
 */

#include "props/shaping.h"

#include <inttypes.h>
#include <stdio.h>

#include <iterator>
#include <optional>

#include "base/print.h"
#include "props/bytes.h"
#include "state/target.h"

namespace {

/* The key and the name in messages of each shaper, in the order of the -b text. */
const struct {
  const char *key;
  const char *name;
} shaperKinds[SHAPER_GROUPS] = {
    {SHAPER_KEY_INPUT, "input"},
    {SHAPER_KEY_OUTPUT, "output"},
    {SHAPER_KEY_BROADCAST, "broadcast"},
};

ByteWriter BuildShaper(const ShaperGroup &group) {
  ByteWriter value(SHAPER_LEN);
  value.PutU64(SHAPER_OFF_AVERAGE, group.average);
  value.PutU64(SHAPER_OFF_PEAK, group.peak);
  value.PutU64(SHAPER_OFF_BURST, group.burst);
  return value;
}

}  // namespace

ZOR_ReturnStatus Shaper_Parse(const char *text, ShaperGroup groups[SHAPER_GROUPS]) {
  int enable[SHAPER_GROUPS] = {};
  unsigned long numbers[SHAPER_GROUPS][3] = {};
  const int read =
      sscanf(text, "%d,%lu,%lu,%lu,%d,%lu,%lu,%lu,%d,%lu,%lu,%lu", &enable[0], &numbers[0][0],
             &numbers[0][1], &numbers[0][2], &enable[1], &numbers[1][0], &numbers[1][1],
             &numbers[1][2], &enable[2], &numbers[2][0], &numbers[2][1], &numbers[2][2]);
  if (read != 4 * SHAPER_GROUPS) {
    fprintf(stderr, "Wrong parameters for traffic shaping\n");
    return ZOR_BAD_PARAM;
  }
  for (int i = 0; i < SHAPER_GROUPS; i++) {
    groups[i] = ShaperGroup{enable[i], numbers[i][0], numbers[i][1], numbers[i][2]};
  }
  return ZOR_OK;
}

CommandResult Cmd_SetShaping(const CommandContext &ctx) {
  ShaperGroup groups[SHAPER_GROUPS];
  const ZOR_ReturnStatus parsed = Shaper_Parse(ctx.inv.commandArg, groups);
  if (parsed != ZOR_OK) return parsed;

  const char *target = ctx.inv.portName;
  for (int i = 0; i < SHAPER_GROUPS; i++) {
    const bool set = groups[i].enable != 0;
    ZOR_ReturnStatus status;
    if (set) {
      const ByteWriter value = BuildShaper(groups[i]);
      status = Target_SetProp(ctx.state, ctx.sw, target, shaperKinds[i].key, value.Data(),
                              value.Length());
    } else {
      status = Target_ClearProp(ctx.state, ctx.sw, target, shaperKinds[i].key);
    }
    /* One shaper that cannot be changed does not keep the others from being done. */
    if (status != ZOR_OK) {
      fprintf(stderr, "Failed to %s shaper %s parameter on %s:%s\n", set ? "set" : "unset",
              shaperKinds[i].name, ctx.sw, target);
    }
  }
  return ZOR_OK;
}

namespace {

/* The shaper's fields in value order: offset, the text line's format and the document's name. */
const struct {
  size_t offset;
  const char *format;
  const char *name;
} shaperFields[] = {
    {SHAPER_OFF_AVERAGE, "\t\t\taverage bandwidth = %" PRIu64 " bytes/sec\n", "averageBandwidth"},
    {SHAPER_OFF_PEAK, "\t\t\tpeak bandwidth = %" PRIu64 " bytes/sec\n", "peakBandwidth"},
    {SHAPER_OFF_BURST, "\t\t\tburst size = %" PRIu64 " bytes\n", "burstSize"},
};

/* The shaper's fields that the value holds, in order, up to the first that it does not. */
struct ShaperValue {
  uint64_t fields[SHAPER_GROUPS];
  size_t count = 0;
};

ShaperValue DecodeShaper(const ByteReader &r) {
  ShaperValue v;
  for (const auto &field : shaperFields) {
    const std::optional<uint64_t> number = r.U64(field.offset);
    if (!number) break;
    v.fields[v.count++] = *number;
  }
  return v;
}

}  // namespace

void Prop_PrintShaper(const PrintContext &, const char *key, const void *value, uint32_t length,
                      int32_t flags) {
  const ShaperValue v = DecodeShaper(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (size_t i = 0; i < v.count; i++) printf(shaperFields[i].format, v.fields[i]);
  if (v.count < std::size(shaperFields)) return;
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonShaper(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const ShaperValue v = DecodeShaper(ByteReader(value, length));
  out.BeginObject();
  for (size_t i = 0; i < v.count; i++) Json_Uint(out, shaperFields[i].name, v.fields[i]);
  Json_Truncated(out, v.count < std::size(shaperFields));
  out.EndObject();
}

/* ---- The family ---------------------------------------------------------- */

namespace {

const PropPrinterRow shapingPrinters[] = {
    {SHAPER_KEY_INPUT, Prop_PrintShaper, Prop_JsonShaper},
    {SHAPER_KEY_OUTPUT, Prop_PrintShaper, Prop_JsonShaper},
    {SHAPER_KEY_BROADCAST, Prop_PrintShaper, Prop_JsonShaper},
};

}  // namespace

const PropFamily SHAPING_FAMILY = {"shaping", shapingPrinters, {}};
