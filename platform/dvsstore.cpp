// SPDX-License-Identifier: Apache-2.0
/*
 * dvsstore.cpp --
 *
 *    The host configuration store behind DVSFile_Read and DVSFile_Write.
 *    The store is a host service: zorcored keeps it in its state
 *    directory and writes it crash-safe. It holds one serialised
 *    configuration, the one that the default path "/etc/corvane/dvsdata.db"
 *    names; the path argument identifies the store and is not a file name.
 */

#include "channel.h"
#include "core/protocol.h"
#include "core/wire.h"
#include "dvslib.h"

ZOR_ReturnStatus DVSFile_Read(const char *path, void **data, uint32_t *len, int32_t *offset) {
  if (!path || !data || !len) return ZOR_BAD_PARAM;
  zor::ByteBuf reply;
  ZOR_ReturnStatus st = zor::chan::Call(zor::chan::OP_STORE_READ, nullptr, 0, &reply);
  if (st) return st;
  if (offset) *offset = 0;
  return zor::chan::TakeBlock(&reply, data, len);
}

ZOR_ReturnStatus DVSFile_Write(const char *path, const void *data, uint32_t len) {
  if (!path || (!data && len)) return ZOR_BAD_PARAM;
  return zor::chan::Call(zor::chan::OP_STORE_WRITE, data, len, nullptr);
}
