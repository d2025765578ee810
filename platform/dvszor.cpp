// SPDX-License-Identifier: Apache-2.0
/*
 * dvszor.cpp --
 *
 *    The kernel's switch state (DVSZOR): every operation is one request on
 *    the kernel channel to zorcored, which holds the state. Blocks that the
 *    getters return are malloc blocks released with DVSZOR_DataFree.
 */

#include <stdlib.h>

#include "channel.h"
#include "core/protocol.h"
#include "core/wire.h"
#include "dvslib.h"

using zor::ByteBuf;
using zor::WireWriter;
using zor::chan::Call;
using zor::chan::WriteText;

namespace {

/* Sends a request whose body is just the switch ID text. */
ZOR_ReturnStatus SwitchCall(uint16_t op, const char *sw) {
  if (!sw) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(op, body, nullptr);
}

/* Writes the (switch, port, key) address of a property request. */
bool PropAddress(WireWriter &w, const char *sw, const char *port, const char *key) {
  if (!sw || !key) return false;
  WriteText(w, sw);
  WriteText(w, port ? port : "");
  WriteText(w, key);
  return true;
}

ZOR_ReturnStatus PropSet(uint16_t op, const char *sw, const char *port, const char *key,
                         const void *data, uint32_t len, int32_t flags) {
  if (!data && len) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  if (!PropAddress(w, sw, port, key)) return ZOR_BAD_PARAM;
  w.U32(static_cast<uint32_t>(flags));
  w.U32(len);
  w.Bytes(data, len);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(op, body, nullptr);
}

ZOR_ReturnStatus PropGet(uint16_t op, const char *sw, const char *port, const char *key,
                         void **data, uint32_t *len) {
  if (!data || !len) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  if (!PropAddress(w, sw, port, key)) return ZOR_BAD_PARAM;
  if (!w.Ok()) return ZOR_NO_MEMORY;
  ByteBuf reply;
  ZOR_ReturnStatus st = Call(op, body, &reply);
  if (st) return st;
  return zor::chan::TakeBlock(&reply, data, len);
}

ZOR_ReturnStatus PropClear(uint16_t op, const char *sw, const char *port, const char *key) {
  ByteBuf body;
  WireWriter w(&body);
  if (!PropAddress(w, sw, port, key)) return ZOR_BAD_PARAM;
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(op, body, nullptr);
}

/* A request with an empty body whose reply is a block for the caller. */
ZOR_ReturnStatus BlockGet(uint16_t op, void **data, uint32_t *len) {
  if (!data || !len) return ZOR_BAD_PARAM;
  ByteBuf reply;
  ZOR_ReturnStatus st = Call(op, nullptr, 0, &reply);
  if (st) return st;
  return zor::chan::TakeBlock(&reply, data, len);
}

}  // namespace

ZOR_ReturnStatus DVSZOR_StateGet(void **data, uint32_t *len) {
  return BlockGet(zor::chan::OP_STATE_GET, data, len);
}

ZOR_ReturnStatus DVSZOR_PersistentStateGet(void **data, uint32_t *len) {
  return BlockGet(zor::chan::OP_PERSISTENT_STATE_GET, data, len);
}

ZOR_ReturnStatus DVSZOR_StateInit(const void *data, uint32_t len) {
  if (!data && len) return ZOR_BAD_PARAM;
  return Call(zor::chan::OP_STATE_INIT, data, len, nullptr);
}

ZOR_ReturnStatus DVSZOR_StateCleanup(void) {
  return Call(zor::chan::OP_STATE_CLEANUP, nullptr, 0, nullptr);
}

ZOR_ReturnStatus DVSZOR_SwitchAdd(const char *sw, const char *className, int32_t maxPorts,
                                  int32_t version) {
  if (!sw) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, className);
  w.U32(static_cast<uint32_t>(maxPorts));
  w.U32(static_cast<uint32_t>(version));
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_SWITCH_ADD, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_SwitchRemove(const char *sw) {
  return SwitchCall(zor::chan::OP_SWITCH_REMOVE, sw);
}

ZOR_ReturnStatus DVSZOR_SwitchAssociate(const char *sw) {
  return SwitchCall(zor::chan::OP_SWITCH_ASSOCIATE, sw);
}

ZOR_ReturnStatus DVSZOR_SwitchDissociate(const char *sw) {
  return SwitchCall(zor::chan::OP_SWITCH_DISSOCIATE, sw);
}

ZOR_ReturnStatus DVSZOR_SwitchSetMaxPorts(const char *sw, int32_t maxPorts) {
  if (!sw) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  w.U32(static_cast<uint32_t>(maxPorts));
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_SWITCH_SET_MAX_PORTS, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_SwitchSetVersion(const char *sw, uint32_t version) {
  if (!sw) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  w.U32(version);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_SWITCH_SET_VERSION, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_PortAdd(const char *sw, const char *port, const void *tree, uint32_t len) {
  if (!sw || !port || (!tree && len)) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, port);
  w.U32(len);
  w.Bytes(tree, len);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_PORT_ADD, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_PortRemove(const char *sw, const char *port) {
  if (!sw || !port) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, port);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_PORT_REMOVE, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_PortDataSet(const char *sw, const char *port, const char *key,
                                    const void *data, uint32_t len, int32_t flags) {
  if (!port) return ZOR_BAD_PARAM;
  return PropSet(zor::chan::OP_PORT_DATA_SET, sw, port, key, data, len, flags);
}

ZOR_ReturnStatus DVSZOR_PortDataGet(const char *sw, const char *port, const char *key, void **data,
                                    uint32_t *len) {
  if (!port) return ZOR_BAD_PARAM;
  return PropGet(zor::chan::OP_PORT_DATA_GET, sw, port, key, data, len);
}

ZOR_ReturnStatus DVSZOR_PortDataClear(const char *sw, const char *port, const char *key) {
  if (!port) return ZOR_BAD_PARAM;
  return PropClear(zor::chan::OP_PORT_DATA_CLEAR, sw, port, key);
}

ZOR_ReturnStatus DVSZOR_GlobalPropSet(const char *sw, const char *key, const void *data,
                                      uint32_t len, int32_t flags) {
  return PropSet(zor::chan::OP_GLOBAL_PROP_SET, sw, nullptr, key, data, len, flags);
}

ZOR_ReturnStatus DVSZOR_GlobalPropGet(const char *sw, const char *key, void **data, uint32_t *len) {
  return PropGet(zor::chan::OP_GLOBAL_PROP_GET, sw, nullptr, key, data, len);
}

ZOR_ReturnStatus DVSZOR_GlobalPropClear(const char *sw, const char *key) {
  return PropClear(zor::chan::OP_GLOBAL_PROP_CLEAR, sw, nullptr, key);
}

ZOR_ReturnStatus DVSZOR_HostPropSet(const char *sw, const char *key, const void *data, uint32_t len,
                                    int32_t flags) {
  return PropSet(zor::chan::OP_HOST_PROP_SET, sw, nullptr, key, data, len, flags);
}

ZOR_ReturnStatus DVSZOR_HostPropGet(const char *sw, const char *key, void **data, uint32_t *len) {
  return PropGet(zor::chan::OP_HOST_PROP_GET, sw, nullptr, key, data, len);
}

ZOR_ReturnStatus DVSZOR_HostPropClear(const char *sw, const char *key) {
  return PropClear(zor::chan::OP_HOST_PROP_CLEAR, sw, nullptr, key);
}

ZOR_ReturnStatus DVSZOR_UplinkDataSet(const char *sw, const char *port, uint32_t type,
                                      const void *data, uint32_t len, int32_t flags) {
  if (!sw || !port || (!data && len)) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, port);
  w.U32(type);
  w.U32(static_cast<uint32_t>(flags));
  w.U32(len);
  w.Bytes(data, len);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return Call(zor::chan::OP_UPLINK_DATA_SET, body, nullptr);
}

ZOR_ReturnStatus DVSZOR_UplinkDataGet(const char *sw, const char *port, uint32_t type, void **data,
                                      uint32_t *len) {
  if (!sw || !port || !data || !len) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, port);
  w.U32(type);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  ByteBuf reply;
  ZOR_ReturnStatus st = Call(zor::chan::OP_UPLINK_DATA_GET, body, &reply);
  if (st) return st;
  return zor::chan::TakeBlock(&reply, data, len);
}

ZOR_ReturnStatus DVSZOR_CmdExec(const char *sw, const char *command, const char *arg,
                                uint32_t argLen, void **result, uint32_t *resultLen) {
  if (!sw || !command || !result || !resultLen || (!arg && argLen)) return ZOR_BAD_PARAM;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, sw);
  WriteText(w, command);
  w.U32(argLen);
  w.Bytes(arg, argLen);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  ByteBuf reply;
  ZOR_ReturnStatus st = Call(zor::chan::OP_CMD_EXEC, body, &reply);
  if (st) return st;
  return zor::chan::TakeBlock(&reply, result, resultLen);
}

void DVSZOR_DataFree(void *data) {
  free(data);
}
