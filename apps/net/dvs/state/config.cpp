// SPDX-License-Identifier: Apache-2.0
/*
 * config.cpp --
 *
 *    Moving whole serialised configurations between the configuration
 *    state and the places they are kept: the host configuration store,
 *    a plain configuration file, and the kernel's current or persistent
 *    switch state.
 */

#include "state/config.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

const char *const DEFAULT_CONFIG_PATH = "/etc/corvane/dvsdata.db";

namespace {

/* Whether path names the configuration store rather than a plain file. */
bool IsStorePath(const char *path) {
  return path == nullptr || strcmp(path, DEFAULT_CONFIG_PATH) == 0;
}

/*
 * A serialised block obtained from one source, released the way that
 * source hands it out: kernel replies with DVSZOR_DataFree, file reads
 * with free() at the start of their allocation.
 */
struct SerializedBlock {
  void *data = nullptr;
  uint32_t len = 0;
  int32_t offset = 0;
  bool fromKernel = false;

  SerializedBlock() = default;
  SerializedBlock(const SerializedBlock &) = delete;
  SerializedBlock &operator=(const SerializedBlock &) = delete;
  ~SerializedBlock() {
    if (data == nullptr) return;
    if (fromKernel) {
      DVSZOR_DataFree(data);
    } else {
      free(static_cast<uint8_t *>(data) - offset);
    }
  }
};

/* Reads the serialised configuration of source into block; returns the library's status. */
ZOR_ReturnStatus ReadSource(int32_t source, const char *path, SerializedBlock &block) {
  switch (source) {
    case LOAD_FILE:
      if (IsStorePath(path)) {
        return DVSFile_Read(DEFAULT_CONFIG_PATH, &block.data, &block.len, &block.offset);
      }
      return DVSFile_ReadClassical(path, &block.data, &block.len, &block.offset);
    case LOAD_KERNEL_STATE:
      block.fromKernel = true;
      return DVSZOR_StateGet(&block.data, &block.len);
    case LOAD_KERNEL_PERSISTENT:
      block.fromKernel = true;
      return DVSZOR_PersistentStateGet(&block.data, &block.len);
    default:
      return ZOR_BAD_PARAM;
  }
}

/* Frees a block from DVSState_ConfigSerialize when it goes out of scope. */
struct MallocBlock {
  void *data = nullptr;
  ~MallocBlock() { free(data); }
};

}  // namespace

ZOR_ReturnStatus Config_Load(int32_t source, const char *path) {
  SerializedBlock block;
  ZOR_ReturnStatus status = ReadSource(source, path, block);
  if (status != ZOR_OK) {
    fprintf(stderr, "failed to get config data: %s\n", ZOR_ReturnStatusToString(status));
    return status;
  }
  status = DVSState_ConfigDeserialize(block.data, block.len);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSState_ConfigDeserialize failed: %s\n", ZOR_ReturnStatusToString(status));
  }
  return status;
}

int32_t Config_Save(bool toKernel, const char *path) {
  MallocBlock block;
  uint32_t len = 0;
  ZOR_ReturnStatus status = DVSState_ConfigSerialize(&block.data, &len);
  if (status != ZOR_OK) {
    fprintf(stderr, "failed to get serialize data: %s\n", ZOR_ReturnStatusToString(status));
    return -1;
  }
  if (toKernel) {
    status = DVSZOR_StateInit(block.data, len);
    if (status != ZOR_OK) {
      fprintf(stderr, "DVSZOR_StateInit failed: %s\n", ZOR_ReturnStatusToString(status));
    }
    return static_cast<int32_t>(status);
  }
  if (IsStorePath(path)) {
    if (DVSFile_Write(DEFAULT_CONFIG_PATH, block.data, len) != ZOR_OK) {
      fprintf(stderr, "failed to write config data to configstore\n");
      return -1;
    }
  } else if (DVSFile_WriteClassical(path, block.data, len, 1) != ZOR_OK) {
    fprintf(stderr, "failed to write config data to %s\n", path);
    return -1;
  }
  return 0;
}
