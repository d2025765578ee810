// SPDX-License-Identifier: Apache-2.0
/*
 * dvsevent.cpp --
 *
 *    Switch events over the kernel channel. A listener registers on a
 *    connection of its own, which zorcored then uses only to push event
 *    frames, so the descriptor becomes readable exactly when an event (or
 *    the daemon's end) arrives. Posting goes over the call connection.
 *    Building and releasing messages is in dvsevent_msg.cpp.
 */

#include <time.h>
#include <unistd.h>

#include <string>

#include "channel.h"
#include "core/protocol.h"
#include "core/wire.h"
#include "dvslib.h"

using zor::ByteBuf;
using zor::WireReader;
using zor::WireWriter;

namespace {

/* A new connection registered as a listener, in *fd. */
ZOR_ReturnStatus OpenListener(int *fd) {
  int s = -1;
  ZOR_ReturnStatus st = zor::chan::OpenConnection(&s);
  if (st) return st;
  ZOR_ReturnStatus status = 0;
  st = zor::chan::Exchange(s, zor::chan::OP_EVENT_REGISTER, nullptr, 0, zor::chan::TimeoutMs(),
                           nullptr, &status);
  if (!st) st = status;
  if (st) {
    close(s);
    return st;
  }
  *fd = s;
  return 0;
}

double NowSeconds() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

/*
 * After the listener's connection broke: waits until a second has passed
 * since the previous break, so that a caller that polls and reads in a
 * loop while the daemon is down fails once a second rather than as fast
 * as it can, then registers anew and puts the new connection behind the
 * caller's descriptor. While the daemon stays away the descriptor keeps
 * its broken connection (readable at once), and the next read tries again.
 */
void Reattach(int fd) {
  static double lastBreak = 0;
  const double wait = lastBreak + 1.0 - NowSeconds();
  if (wait > 0) {
    timespec t;
    t.tv_sec = static_cast<time_t>(wait);
    t.tv_nsec = static_cast<long>((wait - static_cast<double>(t.tv_sec)) * 1e9);
    while (nanosleep(&t, &t) != 0) {
    }
  }
  lastBreak = NowSeconds();
  int fresh = -1;
  if (OpenListener(&fresh) != 0) return;
  if (dup2(fresh, fd) < 0) {
    close(fresh);
    return;
  }
  close(fresh);
}

}  // namespace

ZOR_ReturnStatus DVSEvent_Register(int *fd) {
  if (!fd) return ZOR_BAD_PARAM;
  return OpenListener(fd);
}

ZOR_ReturnStatus DVSEvent_GetMsg(int fd, DVSEventMsg **msg) {
  if (fd < 0 || !msg) return ZOR_BAD_PARAM;
  zor::chan::FrameHeader h;
  ByteBuf body;
  ZOR_ReturnStatus st = zor::chan::RecvFrame(fd, &h, &body, zor::chan::TimeoutMs());
  if (!st && h.op != zor::chan::OP_EVENT) st = ZOR_CHANNEL_ERROR;
  if (st) {
    /* The daemon went away or the stream is out of step: listen again behind fd. */
    if (st != ZOR_NO_MEMORY) Reattach(fd);
    return st;
  }
  WireReader r(body.Data(), body.Size());
  uint32_t type = r.U32();
  std::string_view id = r.Bytes(16);
  std::string port;
  ZOR_ReturnStatus textSt = zor::chan::ReadText(r, &port);
  std::string_view data = r.Blob();
  if (!r.Ok() || textSt || r.Remaining() != 0) return ZOR_CHANNEL_ERROR;
  uint8_t uuid[16];
  for (int i = 0; i < 16; i++) uuid[i] = static_cast<uint8_t>(id[i]);
  DVSEventMsg *m = DVSEvent_Alloc(type, uuid, port.c_str(), data.empty() ? nullptr : data.data(),
                                  static_cast<uint32_t>(data.size()));
  if (!m) return ZOR_NO_MEMORY;
  *msg = m;
  return 0;
}

ZOR_ReturnStatus DVSEvent_PostMsg(DVSEventMsg *msg) {
  if (!msg) return ZOR_BAD_PARAM;
  const void *data = nullptr;
  uint32_t len = DVSEvent_Data(msg, &data);
  if (!data) len = 0;
  ByteBuf body;
  WireWriter w(&body);
  w.U32(msg->type);
  w.Bytes(DVSEvent_DvsUUID(msg), 16);
  zor::chan::WriteText(w, DVSEvent_PortId(msg));
  w.U32(len);
  w.Bytes(data, len);
  if (!w.Ok()) return ZOR_NO_MEMORY;
  return zor::chan::Call(zor::chan::OP_EVENT_POST, body, nullptr);
}
