// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_fuzz.cpp --
 *
 *    zorcored's request handlers without the socket: a sequence of
 *    requests, each decoded and carried out by a fresh Kernel (and its
 *    store in the scratch directory), so that later requests meet the
 *    switches, ports and properties that earlier ones made. A state that
 *    the kernel hands out must load in the library.
 *
 *    Input: requests of one byte of operation (taken modulo 40, so that
 *    unknown operations come up too), a little-endian u16 body length and
 *    the body; a last request cut short takes what is left.
 */

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "common.h"
#include "core/protocol.h"
#include "dvslib.h"
#include "kernel.h"
#include "store.h"

namespace {

std::string g_storeDir;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  g_storeDir = fuzz::Setup();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  /* Every input starts from an empty kernel and an empty store. */
  unlink((g_storeDir + "/" + zorcored::STORE_FILE_NAME).c_str());
  zorcored::Store store(g_storeDir);
  zorcored::Kernel kernel(&store);

  fuzz::Input in{data, size};
  while (in.n > 0) {
    const uint16_t op = in.Byte() % 40;
    size_t len = in.Byte();
    len |= static_cast<size_t>(in.Byte()) << 8;
    if (len > in.n) len = in.n;
    zorcored::Reply reply;
    const bool wellFormed = kernel.Handle(op, in.p, len, &reply);
    in.p += len;
    in.n -= len;
    if (!wellFormed) continue;
    if (op == zor::chan::OP_STATE_GET && reply.status == 0) {
      const zor::ByteBuf &state = reply.shared ? *reply.shared : reply.body;
      DVSState_ConfigReset();
      if (DVSState_ConfigDeserialize(state.Data(), static_cast<uint32_t>(state.Size())) != 0) {
        fuzz::Fail("the kernel handed out a state that does not load");
      }
    }
  }
  return 0;
}
