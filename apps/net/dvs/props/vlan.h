/*
 * vlan.h --
 *
 *    The VLAN family: the VLAN policy of a port ("com.corvane.*.port.vlan").
 *    Keys, then the packed value layout, then the builders.
 */

#ifndef APPS_NET_DVS_PROPS_VLAN_H
#define APPS_NET_DVS_PROPS_VLAN_H

#include <stdint.h>

#include <vector>

#include "brakk.h"

/* Keys of the port VLAN policy; the class of the switch chooses one. */
#define VLAN_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.vlan"
#define VLAN_KEY_VSWITCH_PORT "com.corvane.vswitch.port.vlan"

/*
 * VlanPolicy: the header of the value, followed by rangeCount VlanRange
 * entries. All fields are little-endian u16, packed. The structures only
 * document the layout and give its sizes; values are read and written
 * byte by byte through the offsets below.
 */
struct VlanPolicy {
  uint16_t flags;      /* VLAN_POLICY_GUEST_TAGGING, VLAN_POLICY_PRIVATE */
  uint16_t vlanId;     /* the PVLAN ID when VLAN_POLICY_PRIVATE is set */
  uint16_t reserved;   /* always 0 */
  uint16_t rangeCount; /* number of VlanRange entries that follow */
} __attribute__((packed));

struct VlanRange {
  uint16_t low;
  uint16_t high;
} __attribute__((packed));

static_assert(sizeof(VlanPolicy) == 8, "VlanPolicy header is 8 bytes");
static_assert(sizeof(VlanRange) == 4, "VlanRange is 4 bytes");

#define VLAN_POLICY_OFF_FLAGS 0
#define VLAN_POLICY_OFF_VLAN_ID 2
#define VLAN_POLICY_OFF_RESERVED 4
#define VLAN_POLICY_OFF_RANGE_COUNT 6
#define VLAN_POLICY_OFF_RANGES 8

#define VLAN_POLICY_GUEST_TAGGING 0x0001
#define VLAN_POLICY_PRIVATE 0x0002

/* The key of the port VLAN policy for a switch of class cls. */
const char *VlanPolicy_Key(SwitchClass cls);

/*
 * The VLAN policy a new port starts with, as a new zeroed byte block the
 * caller owns: for an ordinary port no VLAN and no range (8 bytes); for an
 * uplink port guest VLAN tagging, VLAN 0 and the one range 1-4094 (12 bytes).
 */
std::vector<uint8_t> VlanPolicy_BuildInitial(bool uplink);

#endif  // APPS_NET_DVS_PROPS_VLAN_H
