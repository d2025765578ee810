/*
 * vlan.h --
 *
 *    The VLAN family: the VLAN policy of a port ("com.corvane.*.port.vlan").
 *    Keys, then the packed value layout, then the builders.
 */

#ifndef APPS_NET_DVS_PROPS_VLAN_H
#define APPS_NET_DVS_PROPS_VLAN_H

#include <stdint.h>

#include "brakk.h"
#include "props/bytes.h"

/* Keys of the port VLAN policy; the class of the switch chooses one. */
#define VLAN_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.vlan"
#define VLAN_KEY_VSWITCH_PORT "com.corvane.vswitch.port.vlan"

/*
 * VlanPolicy, packed, little-endian: an 8-byte header followed by
 * rangeCount ranges of 4 bytes.
 *
 *   offset 0  u16  flags (VLAN_POLICY_GUEST_TAGGING, VLAN_POLICY_PRIVATE)
 *   offset 2  u16  VLAN ID (the PVLAN ID when VLAN_POLICY_PRIVATE is set)
 *   offset 4  u16  reserved, 0
 *   offset 6  u16  rangeCount
 *   offset 8       rangeCount x { u16 low, u16 high }
 */
#define VLAN_POLICY_OFF_FLAGS 0
#define VLAN_POLICY_OFF_VLAN_ID 2
#define VLAN_POLICY_OFF_RESERVED 4
#define VLAN_POLICY_OFF_RANGE_COUNT 6
#define VLAN_POLICY_OFF_RANGES 8
#define VLAN_POLICY_HEADER_LEN 8
#define VLAN_RANGE_OFF_LOW 0
#define VLAN_RANGE_OFF_HIGH 2
#define VLAN_RANGE_LEN 4

#define VLAN_POLICY_GUEST_TAGGING 0x0001
#define VLAN_POLICY_PRIVATE 0x0002

/* The key of the port VLAN policy for a switch of class cls. */
const char *VlanPolicy_Key(SwitchClass cls);

/*
 * The VLAN policy a new port starts with: for an ordinary port no VLAN and
 * no range (8 bytes); for an uplink port guest VLAN tagging, VLAN 0 and the
 * one range 1-4094 (12 bytes).
 */
ByteWriter VlanPolicy_BuildInitial(bool uplink);

#endif  // APPS_NET_DVS_PROPS_VLAN_H
