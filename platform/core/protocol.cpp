// SPDX-License-Identifier: Apache-2.0
/*
 * protocol.cpp --
 *
 *    Frame headers, the operation table and the blocking frame I/O that
 *    both ends of the kernel channel use.
 */

#include "protocol.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace zor::chan {

namespace {

/* Kernel, store and event operations can be made to fail; greetings and control cannot. */
const OpInfo kOps[] = {
    {OP_HELLO, "Hello", false},
    {OP_STATE_GET, "DVSZOR_StateGet", true},
    {OP_PERSISTENT_STATE_GET, "DVSZOR_PersistentStateGet", true},
    {OP_STATE_INIT, "DVSZOR_StateInit", true},
    {OP_STATE_CLEANUP, "DVSZOR_StateCleanup", true},
    {OP_SWITCH_ADD, "DVSZOR_SwitchAdd", true},
    {OP_SWITCH_REMOVE, "DVSZOR_SwitchRemove", true},
    {OP_SWITCH_ASSOCIATE, "DVSZOR_SwitchAssociate", true},
    {OP_SWITCH_DISSOCIATE, "DVSZOR_SwitchDissociate", true},
    {OP_SWITCH_SET_MAX_PORTS, "DVSZOR_SwitchSetMaxPorts", true},
    {OP_SWITCH_SET_VERSION, "DVSZOR_SwitchSetVersion", true},
    {OP_PORT_ADD, "DVSZOR_PortAdd", true},
    {OP_PORT_REMOVE, "DVSZOR_PortRemove", true},
    {OP_PORT_DATA_SET, "DVSZOR_PortDataSet", true},
    {OP_PORT_DATA_GET, "DVSZOR_PortDataGet", true},
    {OP_PORT_DATA_CLEAR, "DVSZOR_PortDataClear", true},
    {OP_GLOBAL_PROP_SET, "DVSZOR_GlobalPropSet", true},
    {OP_GLOBAL_PROP_GET, "DVSZOR_GlobalPropGet", true},
    {OP_GLOBAL_PROP_CLEAR, "DVSZOR_GlobalPropClear", true},
    {OP_HOST_PROP_SET, "DVSZOR_HostPropSet", true},
    {OP_HOST_PROP_GET, "DVSZOR_HostPropGet", true},
    {OP_HOST_PROP_CLEAR, "DVSZOR_HostPropClear", true},
    {OP_UPLINK_DATA_SET, "DVSZOR_UplinkDataSet", true},
    {OP_UPLINK_DATA_GET, "DVSZOR_UplinkDataGet", true},
    {OP_CMD_EXEC, "DVSZOR_CmdExec", true},
    {OP_STORE_READ, "DVSFile_Read", true},
    {OP_STORE_WRITE, "DVSFile_Write", true},
    {OP_EVENT_REGISTER, "DVSEvent_Register", true},
    {OP_EVENT_POST, "DVSEvent_PostMsg", true},
    {OP_EVENT, "Event", false},
    {OP_CTL_INFO, "CtlInfo", false},
    {OP_CTL_PROP, "CtlProp", false},
    {OP_CTL_PORT_STATE, "CtlPortState", false},
    {OP_CTL_UPLINK_STATS, "CtlUplinkStats", false},
    {OP_CTL_FAULT, "CtlFault", false},
    {OP_CTL_SHUTDOWN, "CtlShutdown", false},
};

/* Milliseconds on a monotonic clock. */
int64_t NowMs() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

/*
 * Waits until fd is ready for events or timeoutMs pass. Returns 0 when
 * ready, ZOR_TIMEOUT, or ZOR_CHANNEL_ERROR when poll fails.
 */
ZOR_ReturnStatus WaitFor(int fd, short events, int timeoutMs) {
  int64_t deadline = NowMs() + timeoutMs;
  for (;;) {
    struct pollfd p = {fd, events, 0};
    int64_t left = deadline - NowMs();
    if (left < 0) left = 0;
    int n = poll(&p, 1, static_cast<int>(left));
    if (n > 0) return 0; /* errors and hang-ups surface in the next read or write */
    if (n == 0) return ZOR_TIMEOUT;
    if (errno != EINTR) return ZOR_CHANNEL_ERROR;
  }
}

/*
 * Reads exactly n bytes into p. Returns 0, ZOR_TIMEOUT or
 * ZOR_CHANNEL_ERROR (end of stream or error).
 */
ZOR_ReturnStatus RecvExact(int fd, void *p, size_t n, int timeoutMs) {
  uint8_t *at = static_cast<uint8_t *>(p);
  while (n > 0) {
    ssize_t got = recv(fd, at, n, 0);
    if (got > 0) {
      at += got;
      n -= static_cast<size_t>(got);
      continue;
    }
    if (got == 0) return ZOR_CHANNEL_ERROR;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return ZOR_CHANNEL_ERROR;
    ZOR_ReturnStatus st = WaitFor(fd, POLLIN, timeoutMs);
    if (st) return st;
  }
  return 0;
}

/* One piece of an outgoing frame. */
struct Part {
  const void *data;
  size_t len;
};

/*
 * Writes the bytes of each of the count parts to the non-blocking socket
 * fd, waiting with poll() while it is full. Returns 0, ZOR_TIMEOUT when no
 * byte could be written for timeoutMs, or ZOR_CHANNEL_ERROR when the
 * socket fails or the peer is gone. Never raises SIGPIPE.
 */
ZOR_ReturnStatus SendParts(int fd, const Part *parts, size_t count, int timeoutMs) {
  for (size_t i = 0; i < count; i++) {
    const uint8_t *at = static_cast<const uint8_t *>(parts[i].data);
    size_t left = parts[i].len;
    while (left > 0) {
      ssize_t put = send(fd, at, left, MSG_NOSIGNAL);
      if (put > 0) {
        at += put;
        left -= static_cast<size_t>(put);
        continue;
      }
      if (put < 0 && errno == EINTR) continue;
      if (put < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        ZOR_ReturnStatus st = WaitFor(fd, POLLOUT, timeoutMs);
        if (st) return st;
        continue;
      }
      return ZOR_CHANNEL_ERROR;
    }
  }
  return 0;
}

/* Where the header's fields sit (protocol.h draws the header). */
constexpr size_t MAGIC_AT = 0;
constexpr size_t VERSION_AT = 4;
constexpr size_t OP_AT = 6;
constexpr size_t STATUS_AT = 8;
constexpr size_t BODY_LEN_AT = 12;
static_assert(BODY_LEN_AT + 4 == FRAME_HEADER_LEN);

}  // namespace

const OpInfo *OpLookup(uint16_t op) {
  op &= static_cast<uint16_t>(~OP_REPLY);
  for (const OpInfo &o : kOps) {
    if (o.op == op) return &o;
  }
  return nullptr;
}

const OpInfo *OpLookupByName(std::string_view name) {
  for (const OpInfo &o : kOps) {
    std::string_view full = o.name;
    if (full == name) return &o;
    size_t us = full.find('_');
    if (us != std::string_view::npos && full.substr(us + 1) == name) return &o;
  }
  return nullptr;
}

const OpInfo *OpTable(size_t *count) {
  *count = sizeof(kOps) / sizeof(kOps[0]);
  return kOps;
}

void HeaderEncode(const FrameHeader &h, uint8_t out[FRAME_HEADER_LEN]) {
  PutU32(out, FRAME_HEADER_LEN, MAGIC_AT, FRAME_MAGIC);
  PutU16(out, FRAME_HEADER_LEN, VERSION_AT, PROTOCOL_VERSION);
  PutU16(out, FRAME_HEADER_LEN, OP_AT, h.op);
  PutU32(out, FRAME_HEADER_LEN, STATUS_AT, h.status);
  PutU32(out, FRAME_HEADER_LEN, BODY_LEN_AT, h.bodyLen);
}

ZOR_ReturnStatus HeaderDecode(const uint8_t in[FRAME_HEADER_LEN], FrameHeader *h) {
  uint32_t magic = 0;
  uint16_t version = 0;
  GetU32(in, FRAME_HEADER_LEN, MAGIC_AT, &magic);
  GetU16(in, FRAME_HEADER_LEN, VERSION_AT, &version);
  if (magic != FRAME_MAGIC) return ZOR_NOT_A_CONFIG;
  if (version != PROTOCOL_VERSION) return ZOR_BAD_VERSION;
  GetU16(in, FRAME_HEADER_LEN, OP_AT, &h->op);
  GetU32(in, FRAME_HEADER_LEN, STATUS_AT, &h->status);
  GetU32(in, FRAME_HEADER_LEN, BODY_LEN_AT, &h->bodyLen);
  if (h->bodyLen > FRAME_BODY_MAX) return ZOR_TOO_LARGE;
  return 0;
}

void FrameBegin(ByteBuf *out, uint16_t op, uint32_t status) {
  uint8_t hdr[FRAME_HEADER_LEN];
  FrameHeader h;
  h.op = op;
  h.status = status;
  HeaderEncode(h, hdr);
  out->Append(hdr, sizeof(hdr));
}

bool FrameFinish(ByteBuf *out) {
  if (out->Size() < FRAME_HEADER_LEN) return false;
  size_t body = out->Size() - FRAME_HEADER_LEN;
  if (body > FRAME_BODY_MAX) return false;
  return PutU32(out->Data(), out->Size(), BODY_LEN_AT, static_cast<uint32_t>(body));
}

ZOR_ReturnStatus ReadText(WireReader &r, std::string *out) {
  uint32_t n = r.U32();
  std::string_view v = r.Bytes(n);
  if (!r.Ok()) return 0;
  if (n > TEXT_FIELD_MAX) return ZOR_TOO_LARGE;
  if (v.find('\0') != std::string_view::npos) return ZOR_BAD_PARAM;
  out->assign(v);
  return 0;
}

void WriteText(WireWriter &w, const char *text) {
  w.Blob(text ? std::string_view(text) : std::string_view());
}

const char *SocketPath() {
  const char *env = getenv("ZORCORE_SOCKET");
  return env && *env ? env : DEFAULT_SOCKET_PATH;
}

int TimeoutMs() {
  const char *env = getenv("ZORCORE_TIMEOUT_MS");
  if (env && *env) {
    char *end = nullptr;
    long v = strtol(env, &end, 10);
    if (*end == '\0' && v > 0 && v <= 24L * 3600 * 1000) return static_cast<int>(v);
  }
  return DEFAULT_TIMEOUT_MS;
}

ZOR_ReturnStatus RecvFrame(int fd, FrameHeader *h, ByteBuf *body, int timeoutMs) {
  body->Clear();
  uint8_t hdr[FRAME_HEADER_LEN];
  ZOR_ReturnStatus st = RecvExact(fd, hdr, sizeof(hdr), timeoutMs);
  if (st) return st;
  if (HeaderDecode(hdr, h)) return ZOR_CHANNEL_ERROR;
  /*
   * Only frames from the daemon come through here, so the announced length
   * (bounded by the frame limit) is reserved at once, with room for the NUL
   * that the library appends before it hands a value over.
   */
  if (!body->Reserve(h->bodyLen + 1)) return ZOR_NO_MEMORY;
  size_t left = h->bodyLen;
  while (left > 0) {
    const size_t want = std::min<size_t>(left, 1u << 20);
    if (!body->Reserve(want)) return ZOR_NO_MEMORY;
    ssize_t got = recv(fd, body->Data() + body->Size(), want, 0);
    if (got > 0) {
      body->Grow(static_cast<size_t>(got));
      left -= static_cast<size_t>(got);
      continue;
    }
    if (got == 0) return ZOR_CHANNEL_ERROR;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return ZOR_CHANNEL_ERROR;
    st = WaitFor(fd, POLLIN, timeoutMs);
    if (st) return st;
  }
  return 0;
}

bool SocketAddress(const char *path, struct sockaddr_un *addr) {
  memset(addr, 0, sizeof(*addr));
  addr->sun_family = AF_UNIX;
  size_t plen = strlen(path);
  if (plen == 0 || plen >= sizeof(addr->sun_path)) return false;
  memcpy(addr->sun_path, path, plen);
  return true;
}

ZOR_ReturnStatus ConnectDaemon(const char *path, int timeoutMs, int *fd, bool *socketRefused) {
  if (socketRefused) *socketRefused = false;
  struct sockaddr_un addr;
  if (!SocketAddress(path, &addr)) return ZOR_NO_KERNEL;

  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (s < 0) return ZOR_NO_RESOURCES;
  /* A full listen queue answers EAGAIN: retry with growing pauses until the timeout. */
  int64_t deadline = NowMs() + timeoutMs;
  int pauseUs = 500;
  for (;;) {
    if (connect(s, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) == 0) break;
    int err = errno;
    if (err == EINTR) continue;
    if (err == EAGAIN && NowMs() < deadline) {
      usleep(pauseUs);
      pauseUs = std::min(pauseUs * 2, 50000);
      continue;
    }
    close(s);
    if (err == EAGAIN) return ZOR_TIMEOUT;
    if (err == EACCES || err == EPERM) {
      if (socketRefused) *socketRefused = true;
      return ZOR_PERMISSION_DENIED;
    }
    return ZOR_NO_KERNEL;
  }

  FrameHeader h;
  ByteBuf body;
  ZOR_ReturnStatus st = RecvFrame(s, &h, &body, timeoutMs);
  if (st == 0 && h.op != OP_HELLO) st = ZOR_CHANNEL_ERROR;
  if (st == 0 && h.status != 0) st = h.status;
  if (st) {
    close(s);
    return st;
  }
  *fd = s;
  return 0;
}

ZOR_ReturnStatus Exchange(int fd, uint16_t op, const void *body, size_t bodyLen, int timeoutMs,
                          ByteBuf *reply, ZOR_ReturnStatus *status) {
  ByteBuf local;
  ByteBuf *out = reply ? reply : &local;
  out->Clear();
  if (bodyLen > FRAME_BODY_MAX) return ZOR_TOO_LARGE;
  uint8_t hdr[FRAME_HEADER_LEN];
  FrameHeader h;
  h.op = op;
  h.bodyLen = static_cast<uint32_t>(bodyLen);
  HeaderEncode(h, hdr);
  Part parts[2] = {{hdr, sizeof(hdr)}, {body, bodyLen}};
  ZOR_ReturnStatus st = SendParts(fd, parts, bodyLen ? 2 : 1, timeoutMs);
  FrameHeader rh;
  if (!st) st = RecvFrame(fd, &rh, out, timeoutMs);
  if (!st && rh.op != (op | OP_REPLY)) st = ZOR_CHANNEL_ERROR;
  if (st) {
    out->Clear();
    return st;
  }
  *status = rh.status;
  return 0;
}

}  // namespace zor::chan
