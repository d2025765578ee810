// SPDX-License-Identifier: Apache-2.0
/*
 * common.cpp --
 *
 *    The initial properties of a new port.
 */

#include "props/common.h"

#include <stdlib.h>
#include <string.h>

#include <string>

#include "props/bytes.h"
#include "props/vlan.h"
#include "state/state_ops.h"

namespace {

/* Adds the initial properties of a port to tree; failures of single updates are not reported. */
void AddInitialProperties(DVSData *tree, const char *portName, bool uplink, bool withLongProp,
                          SwitchClass cls) {
  static const char blockValue[] = "false";
  ByteWriter connectId(4);
  connectId.PutU32(0, 1);
  const ByteWriter vlan = VlanPolicy_BuildInitial(uplink);

  DVSData_Update(tree, KEY_PORT_ALIAS, portName, static_cast<uint32_t>(strlen(portName) + 1),
                 PROP_CONFIG);
  DVSData_Update(tree, KEY_PORT_CONNECTID, connectId.Data(), connectId.Length(), PROP_CONFIG);
  DVSData_Update(tree, KEY_PORT_BLOCK, blockValue, sizeof(blockValue), PROP_CONFIG);
  DVSData_Update(tree, VLAN_POLICY_KEY.For(cls), vlan.Data(), vlan.Length(), PROP_CONFIG);
  if (withLongProp) {
    /* LONG_PROP_LEN - 1 bytes 'x' and a NUL. */
    const std::string text(LONG_PROP_LEN - 1, 'x');
    ByteWriter longValue(LONG_PROP_LEN);
    longValue.PutText(0, LONG_PROP_LEN, text.c_str());
    DVSData_Update(tree, KEY_LONG_PROP, longValue.Data(), longValue.Length(), PROP_CONFIG);
  }
}

}  // namespace

ZOR_ReturnStatus Port_Init(const StateOps &state, const char *sw, const char *portName, bool uplink,
                           bool withLongProp, SwitchClass cls) {
  DVSData *tree = nullptr;
  ZOR_ReturnStatus status = DVSData_Alloc(&tree, malloc, free);
  if (status != ZOR_OK) return status;
  AddInitialProperties(tree, portName, uplink, withLongProp, cls);
  return state.portAdd(sw, portName, tree);
}
