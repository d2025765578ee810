// SPDX-License-Identifier: Apache-2.0
/*
 * channel.cpp --
 *
 *    The process's connection to zorcored and the request/reply exchange
 *    that every kernel, store and event operation of the library uses.
 */

#include "channel.h"

#include <poll.h>
#include <stdio.h>
#include <unistd.h>

namespace zor::chan {

namespace {

/* The call connection, and the process that opened it (a forked child opens its own). */
int g_fd = -1;
pid_t g_owner = 0;

void CloseCall() {
  if (g_fd >= 0) close(g_fd);
  g_fd = -1;
}

/*
 * True when the idle call connection can carry a request: between calls
 * the daemon sends nothing, so anything readable means it has closed the
 * connection (or broke the protocol) and a new one is needed.
 */
bool CallConnectionUsable() {
  if (g_fd < 0) return false;
  if (g_owner != getpid()) {
    /* Inherited across fork: the parent's stream is not ours to use (closing our copy
       leaves the parent's open). */
    CloseCall();
    return false;
  }
  struct pollfd p = {g_fd, POLLIN, 0};
  if (poll(&p, 1, 0) != 0) {
    CloseCall();
    return false;
  }
  return true;
}

/*
 * The statuses say only "Permission denied": when the socket file keeps
 * this user out, one line (once per process) names the socket, so that
 * an administrator knows which group to join or which mode to check.
 */
void ReportRefusedSocket(const char *path) {
  static bool reported = false;
  if (reported) return;
  reported = true;
  fprintf(stderr,
          "permission denied: cannot connect to zorcored at %s (kernel mode is for the "
          "socket's owner and group)\n",
          path);
}

}  // namespace

ZOR_ReturnStatus OpenConnection(int *fd) {
  const char *path = SocketPath();
  bool socketRefused = false;
  ZOR_ReturnStatus st = ConnectDaemon(path, TimeoutMs(), fd, &socketRefused);
  if (socketRefused) ReportRefusedSocket(path);
  return st;
}

ZOR_ReturnStatus Call(uint16_t op, const void *body, size_t bodyLen, ByteBuf *reply) {
  if (!CallConnectionUsable()) {
    ZOR_ReturnStatus st = OpenConnection(&g_fd);
    if (st) {
      g_fd = -1;
      return st;
    }
    g_owner = getpid();
  }
  ZOR_ReturnStatus status = 0;
  ZOR_ReturnStatus st = Exchange(g_fd, op, body, bodyLen, TimeoutMs(), reply, &status);
  if (st) {
    CloseCall();
    return st;
  }
  return status;
}

ZOR_ReturnStatus TakeBlock(ByteBuf *reply, void **data, uint32_t *len) {
  uint32_t n = static_cast<uint32_t>(reply->Size());
  /* A NUL past the end keeps text readers of a value that lacks its own inside the block. */
  if (!reply->Append("", 1)) return ZOR_NO_MEMORY;
  *data = reply->Release();
  *len = n;
  return 0;
}

}  // namespace zor::chan
