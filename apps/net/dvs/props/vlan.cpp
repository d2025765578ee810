/*
 * vlan.cpp --
 *
 *    The VLAN family: keys and builders of the port VLAN policy.
 */

#include "props/vlan.h"

const char *VlanPolicy_Key(SwitchClass cls) {
  return cls == SWITCH_CLASS_ETHERSWITCH ? VLAN_KEY_ETHERSWITCH_PORT : VLAN_KEY_VSWITCH_PORT;
}

ByteWriter VlanPolicy_BuildInitial(bool uplink) {
  if (!uplink) return ByteWriter(VLAN_POLICY_HEADER_LEN);

  ByteWriter value(VLAN_POLICY_HEADER_LEN + VLAN_RANGE_LEN);
  value.PutU16(VLAN_POLICY_OFF_FLAGS, VLAN_POLICY_GUEST_TAGGING);
  value.PutU16(VLAN_POLICY_OFF_RANGE_COUNT, 1);
  value.PutU16(VLAN_POLICY_OFF_RANGES + VLAN_RANGE_OFF_LOW, 1);
  value.PutU16(VLAN_POLICY_OFF_RANGES + VLAN_RANGE_OFF_HIGH, 4094);
  return value;
}
