/*
 * vlan.cpp --
 *
 *    The VLAN family: keys and builders of the port VLAN policy.
 */

#include "props/vlan.h"

namespace {

void PutLe16(std::vector<uint8_t> &block, size_t offset, uint16_t value) {
  block[offset] = static_cast<uint8_t>(value);
  block[offset + 1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

const char *VlanPolicy_Key(SwitchClass cls) {
  return cls == SWITCH_CLASS_ETHERSWITCH ? VLAN_KEY_ETHERSWITCH_PORT : VLAN_KEY_VSWITCH_PORT;
}

std::vector<uint8_t> VlanPolicy_BuildInitial(bool uplink) {
  if (!uplink) return std::vector<uint8_t>(sizeof(VlanPolicy), 0);

  std::vector<uint8_t> value(sizeof(VlanPolicy) + sizeof(VlanRange), 0);
  PutLe16(value, VLAN_POLICY_OFF_FLAGS, VLAN_POLICY_GUEST_TAGGING);
  PutLe16(value, VLAN_POLICY_OFF_VLAN_ID, 0);
  PutLe16(value, VLAN_POLICY_OFF_RESERVED, 0);
  PutLe16(value, VLAN_POLICY_OFF_RANGE_COUNT, 1);
  PutLe16(value, VLAN_POLICY_OFF_RANGES, 1);
  PutLe16(value, VLAN_POLICY_OFF_RANGES + 2, 4094);
  return value;
}
