// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_reply.h --
 *
 *    Ownership of the blocks that the kernel operations (DVSZOR_*Get,
 *    DVSZOR_CmdExec) return, so that every path releases them with
 *    DVSZOR_DataFree.
 */

#ifndef APPS_NET_DVS_STATE_KERNEL_REPLY_H
#define APPS_NET_DVS_STATE_KERNEL_REPLY_H

#include <stdint.h>

#include "dvslib.h"

/* A reply block and its length; pass &data and &len to the operation that fills them. */
struct KernelReply {
  void *data = nullptr;
  uint32_t len = 0;
  KernelReply() = default;
  KernelReply(const KernelReply &) = delete;
  KernelReply &operator=(const KernelReply &) = delete;
  ~KernelReply() {
    if (data != nullptr) DVSZOR_DataFree(data);
  }
  const uint8_t *Bytes() const { return static_cast<const uint8_t *>(data); }
};

#endif  // APPS_NET_DVS_STATE_KERNEL_REPLY_H
