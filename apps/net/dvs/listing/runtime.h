// SPDX-License-Identifier: Apache-2.0
/*
 * runtime.h --
 *
 *    Printers of the values that describe a switch's or port's run-time
 *    state, which the kernel and other host agents write and the listing
 *    shows: integers (connection ID, MTU, clean-up barrier), the upgrade
 *    state, link status, port status, passthrough status, port statistics
 *    and the service profile and service instance descriptions. Each
 *    printer sits with the layout it reads.
 *
 *    Every printer has the PropPrinter form, prints to standard output and
 *    reads only what lies inside the value: at the first field that the
 *    value does not hold it ends the line it is on and stops. Beside each
 *    printer, its JSON writer (PropJsonWriter form) writes the same decode
 *    of the value: the fields that the value holds, and "truncated" when
 *    it ends before the layout does.
 */

#ifndef APPS_NET_DVS_LISTING_RUNTIME_H
#define APPS_NET_DVS_LISTING_RUNTIME_H

#include <stdint.h>

#include "base/family.h"
#include "base/json.h"
#include "base/print.h"

/* Keys that only the kernel and host agents write; this tool prints them. */
#define RUNTIME_KEY_PORT_STATUS "com.corvane.common.port.volatile.status"
#define RUNTIME_KEY_PASSTHRU_STATUS "com.corvane.common.port.volatile.ptstatus"
#define RUNTIME_KEY_STATISTICS "com.corvane.common.port.statistics"
#define RUNTIME_KEY_UPGRADE "com.corvane.common.upgrade"
#define RUNTIME_KEY_PORTSET_MTU "com.corvane.common.portset.mtu"
#define RUNTIME_KEY_VSWITCH_MTU "com.corvane.vswitch.mtu"
#define RUNTIME_KEY_SERVICE_INSTANCE "com.corvane.common.serviceinstance"
#define RUNTIME_KEY_SERVICE_PROFILE "com.corvane.common.port.serviceprofile"
#define RUNTIME_KEY_CLEANUP_BARRIER "com.corvane.common.port.volatile.cleanupBarrier"
/* A port's link status, which -M writes. */
#define KEY_PORT_LINKSTATUS "com.corvane.common.port.linkstatus"

/* The printer rows of the run-time values (and of the connection ID and link status). */
extern const PropFamily RUNTIME_FAMILY;

/* Integer properties (i32): connection ID, MTU, clean-up barrier. */
void Prop_PrintInt(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                   int32_t flags);
void Prop_JsonInt(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

/* Upgrade state: u8. */
void Prop_PrintUpgrade(const PrintContext &pc, const char *key, const void *value, uint32_t length,
                       int32_t flags);
void Prop_JsonUpgrade(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

/*
 * LinkStatus, packed, little-endian; 4 bytes.
 *
 *   offset 0  u8   link up (0 down)
 *   offset 1  u8   reserved
 *   offset 2  u16  speed and duplex code
 */
#define LINK_STATUS_OFF_UP 0
#define LINK_STATUS_OFF_SPEED 2
#define LINK_STATUS_LEN 4
void Prop_PrintLinkStatus(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);
void Prop_JsonLinkStatus(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

/*
 * PortStatus, packed, little-endian.
 *
 *   offset 0   u64      state bits (PORT_STATUS_*)
 *   offset 8   8 bytes  not read
 *   offset 16  u32      port ID
 *   offset 20  text     port name, NUL-terminated, to the end of the value
 */
#define PORT_STATUS_OFF_BITS 0
#define PORT_STATUS_OFF_PORT_ID 16
#define PORT_STATUS_OFF_NAME 20
#define PORT_STATUS_IN_USE 0x1
#define PORT_STATUS_LINK_UP 0x2
#define PORT_STATUS_BLOCKED 0x4
/* A port not in use prints " free" and nothing else. */
void Prop_PrintPortStatus(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);
void Prop_JsonPortStatus(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

/*
 * PassthruStatus, packed, little-endian.
 *
 *   offset 0  u8   bits (PASSTHRU_STATUS_ACTIVE)
 *   offset 8  u64  reason code why passthrough is not active
 */
#define PASSTHRU_STATUS_OFF_BITS 0
#define PASSTHRU_STATUS_OFF_REASON 8
#define PASSTHRU_STATUS_ACTIVE 0x8
void Prop_PrintPassthruStatus(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags);
void Prop_JsonPassthruStatus(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out);

/* PortStatistics: PORT_STATISTICS_COUNT u64 counters, one line each. */
#define PORT_STATISTICS_COUNT 16
void Prop_PrintStatistics(const PrintContext &pc, const char *key, const void *value,
                          uint32_t length, int32_t flags);
void Prop_JsonStatistics(const PrintContext &pc, const void *value, uint32_t length, JsonOut &out);

/*
 * Service profiles and instances: a NUL-terminated text of tags in angle
 * brackets, "<list><od><k>key</k><v>value</v>...</od>...</list>" or the
 * empty-list tag alone. Keys and values longer than
 * SERVICE_TEXT_MAX_CHARS characters, tags of SERVICE_TAG_MAX_CHARS + 1
 * characters or more, and a text that ends where a tag, key or value is
 * expected end the walk: the whole text is then printed as it is.
 */
#define SERVICE_TEXT_MAX_CHARS 127
#define SERVICE_TAG_MAX_CHARS 31
void Prop_PrintServiceProfiles(const PrintContext &pc, const char *key, const void *value,
                               uint32_t length, int32_t flags);
void Prop_JsonServiceProfiles(const PrintContext &pc, const void *value, uint32_t length,
                              JsonOut &out);
void Prop_PrintServiceInstances(const PrintContext &pc, const char *key, const void *value,
                                uint32_t length, int32_t flags);
void Prop_JsonServiceInstances(const PrintContext &pc, const void *value, uint32_t length,
                               JsonOut &out);

#endif  // APPS_NET_DVS_LISTING_RUNTIME_H
