/*
 * state_ops.cpp --
 *
 *    The two tables of state operations: the configuration state, where
 *    ports are first found by name, and the kernel, where every operation
 *    is one request and every reply is copied out and released at once.
 */

#include "state/state_ops.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "state/kernel_reply.h"

namespace {

/* ---- Configuration state ---------------------------------------------- */

ZOR_ReturnStatus ConfigPortAdd(const char *sw, const char *port, DVSData *tree) {
  ZOR_ReturnStatus status = DVSState_PortAdd(sw, port, tree);
  if (status != ZOR_OK) DVSData_Free(tree); /* on success the state owns it */
  return status;
}

ZOR_ReturnStatus ConfigPortSet(const char *sw, const char *port, const char *key, const void *data,
                               uint32_t len, int32_t flags) {
  DVSPort *p = DVSState_PortFind(sw, port);
  if (p == nullptr) return ZOR_NOT_FOUND;
  return DVSState_PortDataSet(p, key, data, len, flags);
}

ZOR_ReturnStatus ConfigPortClear(const char *sw, const char *port, const char *key) {
  DVSPort *p = DVSState_PortFind(sw, port);
  if (p == nullptr) return ZOR_NOT_FOUND;
  return DVSState_PortDataClear(p, key);
}

void CopyValue(const void *data, uint32_t len, PropValue &value) {
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  value.assign(bytes, bytes != nullptr ? bytes + len : bytes);
}

ZOR_ReturnStatus ConfigPortGet(const char *sw, const char *port, const char *key,
                               PropValue &value) {
  DVSPort *p = DVSState_PortFind(sw, port);
  if (p == nullptr) return ZOR_NOT_FOUND;
  DVSDataNode *node = nullptr;
  if (p->data == nullptr || DVSData_Lookup(p->data, key, &node) != ZOR_OK) return ZOR_NOT_FOUND;
  void *data = nullptr;
  const uint32_t len = DVSData_Data(node, &data);
  CopyValue(data, len, value);
  return ZOR_OK;
}

/* What the global-list walk looks for, and what it found. */
struct GlobalSearch {
  const char *key;
  PropValue *value;
  bool found;
};

int FindGlobal(DVSDataNode *node, void *context) {
  GlobalSearch *search = static_cast<GlobalSearch *>(context);
  if (search->found || strcmp(DVSData_Name(node), search->key) != 0) return 0;
  void *data = nullptr;
  const uint32_t len = DVSData_Data(node, &data);
  CopyValue(data, len, *search->value);
  search->found = true;
  return 1;
}

ZOR_ReturnStatus ConfigGlobalGet(const char *sw, const char *key, PropValue &value) {
  DVSSwitch *h = DVSState_SwitchFind(sw);
  if (h == nullptr) return ZOR_NOT_FOUND;
  GlobalSearch search = {key, &value, false};
  DVSState_GlobalPropForEach(h, FindGlobal, &search);
  return search.found ? ZOR_OK : ZOR_NOT_FOUND;
}

ZOR_ReturnStatus ConfigHostGet(const char *sw, const char *key, PropValue &value) {
  DVSSwitch *h = DVSState_SwitchFind(sw);
  if (h == nullptr) return ZOR_NOT_FOUND;
  const void *data = nullptr;
  uint32_t len = 0;
  ZOR_ReturnStatus status = DVSState_HostPropRead(h, key, &data, &len);
  if (status == ZOR_OK) CopyValue(data, len, value);
  return status;
}

/* ---- Kernel ------------------------------------------------------------ */

ZOR_ReturnStatus KernelPortAdd(const char *sw, const char *port, DVSData *tree) {
  void *block = nullptr;
  uint32_t len = 0;
  ZOR_ReturnStatus status = DVSData_Serialize(tree, &block, &len, 4);
  DVSData_Free(tree);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSData_Serialize failed: %s\n", ZOR_ReturnStatusToString(status));
    return status;
  }
  std::unique_ptr<void, decltype(&free)> owned(block, &free);
  status = DVSZOR_PortAdd(sw, port, block, len);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSZOR_PortAdd failed: %s\n", ZOR_ReturnStatusToString(status));
  }
  return status;
}

/* Runs one kernel read, copies its reply into value and releases the reply. */
template <typename Read>
ZOR_ReturnStatus CopyKernelReply(PropValue &value, Read read) {
  KernelReply reply;
  ZOR_ReturnStatus status = read(&reply.data, &reply.len);
  if (status == ZOR_OK) CopyValue(reply.data, reply.len, value);
  return status;
}

ZOR_ReturnStatus KernelPortGet(const char *sw, const char *port, const char *key,
                               PropValue &value) {
  return CopyKernelReply(value, [&](void **data, uint32_t *len) {
    return DVSZOR_PortDataGet(sw, port, key, data, len);
  });
}

ZOR_ReturnStatus KernelGlobalGet(const char *sw, const char *key, PropValue &value) {
  return CopyKernelReply(
      value, [&](void **data, uint32_t *len) { return DVSZOR_GlobalPropGet(sw, key, data, len); });
}

ZOR_ReturnStatus KernelHostGet(const char *sw, const char *key, PropValue &value) {
  return CopyKernelReply(
      value, [&](void **data, uint32_t *len) { return DVSZOR_HostPropGet(sw, key, data, len); });
}

}  // namespace

const StateOps CONFIG_STATE_OPS = {
    .fileMode = true,
    .switchAdd = DVSState_SwitchAdd,
    .switchRemove = DVSState_SwitchRemove,
    .switchSetVersion = DVSState_SwitchSetVersion,
    .portAdd = ConfigPortAdd,
    .portRemove = DVSState_PortRemove,
    .portSet = ConfigPortSet,
    .portClear = ConfigPortClear,
    .portGet = ConfigPortGet,
    .globalSet = DVSState_GlobalPropSet,
    .globalClear = DVSState_GlobalPropClear,
    .globalGet = ConfigGlobalGet,
    .hostSet = DVSState_HostPropSet,
    .hostClear = DVSState_HostPropClear,
    .hostGet = ConfigHostGet,
};

const StateOps KERNEL_STATE_OPS = {
    .fileMode = false,
    .switchAdd = DVSZOR_SwitchAdd,
    .switchRemove = DVSZOR_SwitchRemove,
    .switchSetVersion = DVSZOR_SwitchSetVersion,
    .portAdd = KernelPortAdd,
    .portRemove = DVSZOR_PortRemove,
    .portSet = DVSZOR_PortDataSet,
    .portClear = DVSZOR_PortDataClear,
    .portGet = KernelPortGet,
    .globalSet = DVSZOR_GlobalPropSet,
    .globalClear = DVSZOR_GlobalPropClear,
    .globalGet = KernelGlobalGet,
    .hostSet = DVSZOR_HostPropSet,
    .hostClear = DVSZOR_HostPropClear,
    .hostGet = KernelHostGet,
};
