// SPDX-License-Identifier: Apache-2.0
/*
 * channel.h --
 *
 *    The library's end of the kernel channel: one connection per process
 *    to zorcored, opened on first use and reopened when the daemon has
 *    gone away between calls. The daemon's socket is SocketPath() of
 *    core/protocol.h.
 */

#ifndef PLATFORM_CHANNEL_H
#define PLATFORM_CHANNEL_H

#include <stddef.h>
#include <stdint.h>

#include "core/protocol.h"
#include "core/wire.h"
#include "dvslib.h"

namespace zor::chan {

/*
 * Sends one request (op and body) on the process's call connection and
 * waits for its reply (Exchange of core/protocol.h). Returns the reply's
 * status and, when reply is not null, leaves the reply body in it.
 * Channel failures return the status of ConnectDaemon (ZOR_NO_KERNEL when
 * nothing listens, ZOR_PERMISSION_DENIED) or of Exchange (ZOR_TIMEOUT,
 * ZOR_CHANNEL_ERROR, ...); after one the connection is closed and the next
 * call opens a new one.
 */
ZOR_ReturnStatus Call(uint16_t op, const void *body, size_t bodyLen, ByteBuf *reply);

/* Call with a body built in a ByteBuf. */
inline ZOR_ReturnStatus Call(uint16_t op, const ByteBuf &body, ByteBuf *reply) {
  return Call(op, body.Data(), body.Size(), reply);
}

/*
 * Opens a separate connection that is not the process's call connection
 * (event listeners keep theirs open). Returns 0 and the socket in *fd, or
 * the status of ConnectDaemon. The caller owns *fd.
 */
ZOR_ReturnStatus OpenConnection(int *fd);

/*
 * Hands the reply body to the caller as a malloc block of *len bytes, as
 * the DVSZOR getters return it; released with DVSZOR_DataFree. The block
 * always has one more byte, a NUL after the value (so a zero-length value
 * is still a non-null block). Returns 0 or ZOR_NO_MEMORY.
 */
ZOR_ReturnStatus TakeBlock(ByteBuf *reply, void **data, uint32_t *len);

}  // namespace zor::chan

#endif  // PLATFORM_CHANNEL_H
