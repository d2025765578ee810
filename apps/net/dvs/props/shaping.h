// SPDX-License-Identifier: Apache-2.0
/*
 * shaping.h --
 *
 *    The traffic-shaping family: the input, output and broadcast shapers
 *    of a port ("com.corvane.common.port.shaper.*"), the -b command that
 *    sets or removes all three at once, and their printer. Keys, then the
 *    packed value layout, then the parser, the setter and the printer.
 */

#ifndef APPS_NET_DVS_PROPS_SHAPING_H
#define APPS_NET_DVS_PROPS_SHAPING_H

#include <stdint.h>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"

/* Keys of the three shapers; the same for every switch class. */
#define SHAPER_KEY_INPUT "com.corvane.common.port.shaper.input"
#define SHAPER_KEY_OUTPUT "com.corvane.common.port.shaper.output"
#define SHAPER_KEY_BROADCAST "com.corvane.common.port.shaper.broadcast"

/* The family's printer rows (-b has no entry of its own in the usage text). */
extern const PropFamily SHAPING_FAMILY;

/*
 * ShaperConfig, packed, little-endian, 24 bytes:
 *
 *   offset 0   u64  average bandwidth, bytes per second
 *   offset 8   u64  peak bandwidth, bytes per second
 *   offset 16  u64  burst size, bytes
 */
#define SHAPER_OFF_AVERAGE 0
#define SHAPER_OFF_PEAK 8
#define SHAPER_OFF_BURST 16
#define SHAPER_LEN 24

/* The shapers in the order of the -b text: input, output, broadcast. */
#define SHAPER_GROUPS 3

/* One group of the -b text: a nonzero enable sets the shaper, zero removes it. */
struct ShaperGroup {
  int32_t enable;
  uint64_t average;
  uint64_t peak;
  uint64_t burst;
};

/*
 * Reads the twelve numbers of a -b text ("enable,average,peak,burst" for
 * input, output and broadcast; text after the twelfth is ignored) into
 * groups. Returns 0, or ZOR_BAD_PARAM after printing "Wrong parameters for
 * traffic shaping" on standard error when fewer than twelve are read.
 */
ZOR_ReturnStatus Shaper_Parse(const char *text, ShaperGroup groups[SHAPER_GROUPS]);

/*
 * The -b command: sets or removes each shaper of the -p target (a port or
 * a list) in turn. A failed write or removal is reported and the next
 * shaper is still done. Returns 0 once the text has been read, or
 * ZOR_BAD_PARAM for a text that does not parse (nothing is written then).
 */
CommandResult Cmd_SetShaping(const CommandContext &ctx);

/* Printer of the three shaper keys: one line per field, then the flags. */
void Prop_PrintShaper(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                      int32_t flags);
/* Its JSON writer: {"averageBandwidth", "peakBandwidth", "burstSize"}, those the value holds. */
void Prop_JsonShaper(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_SHAPING_H
