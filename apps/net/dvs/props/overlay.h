// SPDX-License-Identifier: Apache-2.0
/*
 * overlay.h --
 *
 *    Two families that attach packet-processing layers to a switch and
 *    its ports:
 *
 *    - overlay: the switch's list of overlay instances (a class name at
 *      each depth) and a port's overlay parameters (a number at each
 *      depth), both written by -o depending on its target;
 *    - DVFilter: a port's list of filter slots, each with a filter name, a
 *      failure policy and numbered text parameters, written by -F.
 *
 *    Keys, then the packed value layouts, then the parsers, the setters
 *    and the printers.
 */

#ifndef APPS_NET_DVS_PROPS_OVERLAY_H
#define APPS_NET_DVS_PROPS_OVERLAY_H

#include <stdint.h>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* Keys; the same for every switch class. */
#define OVERLAY_KEY_INSTANCES "com.corvane.common.overlay"
#define OVERLAY_KEY_PORT "com.corvane.common.port.overlay"
#define DVFILTER_KEY "com.corvane.common.port.dvfilter"

/* The printer rows and usage entry of both families (-o; -F has none). */
extern const PropFamily OVERLAY_FAMILY;

/*
 * OverlayInstanceList (global list), packed, little-endian, 4 + 36 x n:
 *
 *   offset 0        u32       n, number of instances (at most 8)
 *   offset 4 + 36i  u32       instance i: depth
 *   offset 8 + 36i  char[32]  instance i: overlay class name, NUL-terminated
 */
#define OVERLAY_LIST_OFF_COUNT 0
#define OVERLAY_LIST_HEADER_LEN 4
#define OVERLAY_INSTANCE_OFF_DEPTH 0
#define OVERLAY_INSTANCE_OFF_CLASS 4
#define OVERLAY_CLASS_NAME_LEN 32
#define OVERLAY_INSTANCE_LEN 36

/*
 * OverlayParamList (port), packed, little-endian, 4 + 12 x n:
 *
 *   offset 0        u32  n, number of parameters (at most 8)
 *   offset 4 + 12i  u32  parameter i: depth
 *   offset 8 + 12i  u64  parameter i: value (only the low 32 bits are set)
 */
#define OVERLAY_PARAM_OFF_DEPTH 0
#define OVERLAY_PARAM_OFF_VALUE 4
#define OVERLAY_PARAM_LEN 12

/* Pairs that one -o text may give; further pairs are dropped. */
#define OVERLAY_MAX_PAIRS 8

/*
 * DvfilterConfig (port), packed, little-endian: u32 filter count F at
 * offset 0, then F filter records, each directly followed by its
 * parameter records; 4 + 52 x F + 260 x P bytes for P parameters in all.
 *
 * Filter record, 52 bytes:
 *   offset 0   u32       slot, 0..15
 *   offset 4   char[40]  filter name, NUL-terminated
 *   offset 44  u32       number of parameter records that follow
 *   offset 48  u32       onFailure: 1 open, 0 close
 *
 * Parameter record, 260 bytes:
 *   offset 0   u32        parameter index
 *   offset 4   char[256]  parameter value, NUL-terminated
 */
#define DVFILTER_OFF_COUNT 0
#define DVFILTER_HEADER_LEN 4
#define DVFILTER_SLOT_OFF_SLOT 0
#define DVFILTER_SLOT_OFF_NAME 4
#define DVFILTER_NAME_LEN 40
#define DVFILTER_SLOT_OFF_PARAM_COUNT 44
#define DVFILTER_SLOT_OFF_ON_FAILURE 48
#define DVFILTER_SLOT_LEN 52
#define DVFILTER_PARAM_OFF_INDEX 0
#define DVFILTER_PARAM_OFF_VALUE 4
#define DVFILTER_PARAM_VALUE_LEN 256
#define DVFILTER_PARAM_LEN 260

#define DVFILTER_MAX_FILTERS 16
#define DVFILTER_MAX_SLOT 15
/* slot, name, onFailure and up to 16 parameters. */
#define DVFILTER_MAX_FIELDS 19

#define DVFILTER_ON_FAILURE_CLOSE 0
#define DVFILTER_ON_FAILURE_OPEN 1

/* The status of every -F text that cannot be read. */
#define DVFILTER_PARSE_FAILED 0xffffffffu

/*
 * Builds the value of -o from text ("depth,value;depth,value..."): the
 * instance list when instanceForm (values are class names), the port
 * parameter list otherwise (values are numbers in C notation). A text
 * with no pair gives an empty value (length 0) in the instance form,
 * which the setter takes as "remove the list". Returns 0, or
 * ZOR_BAD_PARAM after printing the reason on standard output.
 */
ZOR_ReturnStatus Overlay_Build(const char *text, bool instanceForm, ByteWriter &value);

/*
 * The -o command: the instance list on the global list when -p is
 * exactly globalPropList, the parameters of the -p port otherwise.
 * Returns the write's or removal's status, or ZOR_BAD_PARAM.
 */
CommandResult Cmd_SetOverlay(const CommandContext &ctx);

/*
 * Builds the value of -F from text ("slot,name[,onFailure[,index:value...]]"
 * filters separated by ';'), printing each field on standard output as it
 * is read. Returns 0, or DVFILTER_PARSE_FAILED after printing the reason.
 */
ZOR_ReturnStatus Dvfilter_Build(const char *text, ByteWriter &value);

/* The -F command on the -p port. Returns the write's status or DVFILTER_PARSE_FAILED. */
CommandResult Cmd_SetDvfilter(const CommandContext &ctx);

/* Printer of the instance list: " name(depth)" for each on the key's line. */
void Prop_PrintOverlayInstances(const PrintContext &pc, const char *key, const void *value,
                                uint32_t length, int32_t flags);
/* Printer of the port parameters: "0xvalue@depth " for each on the key's line. */
void Prop_PrintPortOverlay(const PrintContext &pc, const char *key, const void *value,
                           uint32_t length, int32_t flags);
/* Printer of the DVFilter list: a line per filter and per parameter, then the flags. */
void Prop_PrintDvfilter(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                        int32_t flags);

/*
 * Their JSON writers, from the same decodes: {"instances": [{"className",
 * "depth"}]}, {"params": [{"value", "depth"}]} and {"filters": [{"slot",
 * "name", "onFailure", "params": [{"index", "value"}]}]}.
 */
void Prop_JsonOverlayInstances(const PrintContext &pc, const void *value, uint32_t length,
                               JsonOut &out);
void Prop_JsonPortOverlay(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);
void Prop_JsonDvfilter(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_OVERLAY_H
