// SPDX-License-Identifier: Apache-2.0
/*
 * dvsdata.cpp --
 *
 *    DVSData: property data trees for callers, and their serialised form:
 *    a block with magic "ZDTR" (header as for configurations) around one
 *    encoded tree.
 */

#include <stdlib.h>
#include <string.h>

#include "core/config_model.h"
#include "core/data_tree.h"
#include "dvslib.h"

namespace {

/* The only serialisation format word callers pass. */
constexpr uint32_t kTreeFormat = 4;

}  // namespace

ZOR_ReturnStatus DVSData_Alloc(DVSData **tree, DVSData_AllocFn alloc, DVSData_FreeFn release) {
  if (!tree || !alloc || !release) return ZOR_BAD_PARAM;
  *tree = zor::TreeNew(alloc, release);
  return *tree ? ZOR_OK : ZOR_NO_MEMORY;
}

ZOR_ReturnStatus DVSData_Update(DVSData *tree, const char *name, const void *data, uint32_t len,
                                int32_t flags) {
  if (!tree || !name) return ZOR_BAD_PARAM;
  return zor::TreeSet(tree, name, data, len, flags);
}

ZOR_ReturnStatus DVSData_Lookup(DVSData *tree, const char *name, DVSDataNode **node) {
  if (!tree || !name || !node) return ZOR_BAD_PARAM;
  *node = zor::TreeFind(tree, name);
  return *node ? ZOR_OK : ZOR_NOT_FOUND;
}

uint32_t DVSData_Data(DVSDataNode *node, void **data) {
  if (data) *data = const_cast<char *>(node->tree->Value(*node));
  return node->dataLen;
}

const char *DVSData_Name(DVSDataNode *node) {
  return node->tree->NameText(*node);
}

int32_t DVSData_PropType(DVSDataNode *node) {
  return node->flags;
}

ZOR_ReturnStatus DVSData_Serialize(DVSData *tree, void **data, uint32_t *len, uint32_t format) {
  if (!tree || !data || !len) return ZOR_BAD_PARAM;
  if (format != kTreeFormat) return ZOR_NOT_SUPPORTED;
  zor::WireWriter counter;
  zor::TreeEncode(tree, counter);
  if (zor::HEADER_LEN + counter.Count() > UINT32_MAX) return ZOR_TOO_LARGE;
  zor::ByteBuf out;
  if (!out.Reserve(zor::HEADER_LEN + counter.Count())) return ZOR_NO_MEMORY;
  zor::WireWriter w(&out);
  zor::BeginBlock(w, zor::TREE_MAGIC);
  zor::TreeEncode(tree, w);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  zor::FinishBlock(&out, 0);
  *len = static_cast<uint32_t>(out.Size());
  *data = out.Release();
  return ZOR_OK;
}

ZOR_ReturnStatus DVSData_Deserialize(DVSData **tree, const void *data, uint32_t len,
                                     DVSData_AllocFn alloc, DVSData_FreeFn release) {
  if (!tree || !alloc || !release) return ZOR_BAD_PARAM;
  return zor::TreeDecodeBlock(data, len, tree, alloc, release);
}

void DVSData_Free(DVSData *tree) {
  zor::TreeFree(tree);
}
