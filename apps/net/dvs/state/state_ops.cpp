// SPDX-License-Identifier: Apache-2.0
/*
 * state_ops.cpp --
 *
 *    The two implementations of the state operations: the configuration state, where
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

ZOR_ReturnStatus KernelOnly() {
  return ZOR_NOT_SUPPORTED;
}

/* The configuration state: the DVSState family, ports found by name first. */
struct ConfigStateOps final : StateOps {
  constexpr ConfigStateOps() : StateOps(true) {}
  ZOR_ReturnStatus switchAdd(const char *sw, const char *className, int32_t maxPorts,
                             int32_t version) const override {
    return DVSState_SwitchAdd(sw, className, maxPorts, version);
  }
  ZOR_ReturnStatus switchRemove(const char *sw) const override { return DVSState_SwitchRemove(sw); }
  ZOR_ReturnStatus switchSetVersion(const char *sw, uint32_t version) const override {
    return DVSState_SwitchSetVersion(sw, version);
  }
  ZOR_ReturnStatus portAdd(const char *sw, const char *port, DVSData *tree) const override {
    return ConfigPortAdd(sw, port, tree);
  }
  ZOR_ReturnStatus portRemove(const char *sw, const char *port) const override {
    return DVSState_PortRemove(sw, port);
  }
  ZOR_ReturnStatus portSet(const char *sw, const char *port, const char *key, const void *data,
                           uint32_t len, int32_t flags) const override {
    return ConfigPortSet(sw, port, key, data, len, flags);
  }
  ZOR_ReturnStatus portClear(const char *sw, const char *port, const char *key) const override {
    return ConfigPortClear(sw, port, key);
  }
  ZOR_ReturnStatus portGet(const char *sw, const char *port, const char *key,
                           PropValue &value) const override {
    return ConfigPortGet(sw, port, key, value);
  }
  ZOR_ReturnStatus globalSet(const char *sw, const char *key, const void *data, uint32_t len,
                             int32_t flags) const override {
    return DVSState_GlobalPropSet(sw, key, data, len, flags);
  }
  ZOR_ReturnStatus globalClear(const char *sw, const char *key) const override {
    return DVSState_GlobalPropClear(sw, key);
  }
  ZOR_ReturnStatus globalGet(const char *sw, const char *key, PropValue &value) const override {
    return ConfigGlobalGet(sw, key, value);
  }
  ZOR_ReturnStatus hostSet(const char *sw, const char *key, const void *data, uint32_t len,
                           int32_t flags) const override {
    return DVSState_HostPropSet(sw, key, data, len, flags);
  }
  ZOR_ReturnStatus hostClear(const char *sw, const char *key) const override {
    return DVSState_HostPropClear(sw, key);
  }
  ZOR_ReturnStatus hostGet(const char *sw, const char *key, PropValue &value) const override {
    return ConfigHostGet(sw, key, value);
  }
  ZOR_ReturnStatus switchAssociate(const char *) const override { return KernelOnly(); }
  ZOR_ReturnStatus switchDissociate(const char *) const override { return KernelOnly(); }
  ZOR_ReturnStatus switchSetMaxPorts(const char *, int32_t) const override { return KernelOnly(); }
};

/* The kernel: the DVSZOR family, one request each. */
struct KernelStateOps final : StateOps {
  constexpr KernelStateOps() : StateOps(false) {}
  ZOR_ReturnStatus switchAdd(const char *sw, const char *className, int32_t maxPorts,
                             int32_t version) const override {
    return DVSZOR_SwitchAdd(sw, className, maxPorts, version);
  }
  ZOR_ReturnStatus switchRemove(const char *sw) const override { return DVSZOR_SwitchRemove(sw); }
  ZOR_ReturnStatus switchSetVersion(const char *sw, uint32_t version) const override {
    return DVSZOR_SwitchSetVersion(sw, version);
  }
  ZOR_ReturnStatus portAdd(const char *sw, const char *port, DVSData *tree) const override {
    return KernelPortAdd(sw, port, tree);
  }
  ZOR_ReturnStatus portRemove(const char *sw, const char *port) const override {
    return DVSZOR_PortRemove(sw, port);
  }
  ZOR_ReturnStatus portSet(const char *sw, const char *port, const char *key, const void *data,
                           uint32_t len, int32_t flags) const override {
    return DVSZOR_PortDataSet(sw, port, key, data, len, flags);
  }
  ZOR_ReturnStatus portClear(const char *sw, const char *port, const char *key) const override {
    return DVSZOR_PortDataClear(sw, port, key);
  }
  ZOR_ReturnStatus portGet(const char *sw, const char *port, const char *key,
                           PropValue &value) const override {
    return KernelPortGet(sw, port, key, value);
  }
  ZOR_ReturnStatus globalSet(const char *sw, const char *key, const void *data, uint32_t len,
                             int32_t flags) const override {
    return DVSZOR_GlobalPropSet(sw, key, data, len, flags);
  }
  ZOR_ReturnStatus globalClear(const char *sw, const char *key) const override {
    return DVSZOR_GlobalPropClear(sw, key);
  }
  ZOR_ReturnStatus globalGet(const char *sw, const char *key, PropValue &value) const override {
    return KernelGlobalGet(sw, key, value);
  }
  ZOR_ReturnStatus hostSet(const char *sw, const char *key, const void *data, uint32_t len,
                           int32_t flags) const override {
    return DVSZOR_HostPropSet(sw, key, data, len, flags);
  }
  ZOR_ReturnStatus hostClear(const char *sw, const char *key) const override {
    return DVSZOR_HostPropClear(sw, key);
  }
  ZOR_ReturnStatus hostGet(const char *sw, const char *key, PropValue &value) const override {
    return KernelHostGet(sw, key, value);
  }
  ZOR_ReturnStatus switchAssociate(const char *sw) const override {
    return DVSZOR_SwitchAssociate(sw);
  }
  ZOR_ReturnStatus switchDissociate(const char *sw) const override {
    return DVSZOR_SwitchDissociate(sw);
  }
  ZOR_ReturnStatus switchSetMaxPorts(const char *sw, int32_t maxPorts) const override {
    return DVSZOR_SwitchSetMaxPorts(sw, maxPorts);
  }
};

const ConfigStateOps configStateOps;
const KernelStateOps kernelStateOps;

}  // namespace

const StateOps &CONFIG_STATE_OPS = configStateOps;
const StateOps &KERNEL_STATE_OPS = kernelStateOps;
