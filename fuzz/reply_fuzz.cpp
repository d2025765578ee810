// SPDX-License-Identifier: Apache-2.0
/*
 * reply_fuzz.cpp --
 *
 *    The client's side of the kernel channel against a daemon that lies:
 *    a stand-in daemon in a thread greets every connection properly and
 *    answers each request with the input's next reply, which is
 *    either a well-framed reply (this request's op, the input's status and
 *    body) or raw bytes that need not be a frame at all. The replies go
 *    through the library's frame reader and getters into the tool code
 *    that uses them: loading the kernel's or the store's state and listing
 *    it, reading one property, the uplink runtime readers, command
 *    execution, events, and the LACP, LAG and uplink commands that read
 *    stored values back from the kernel.
 *
 *    Input: byte 0 chooses the client operation, byte 1 its key and
 *    target; then replies, each one byte of kind (bit 0: raw), a u32
 *    status, a u16 body length and the body. Requests past the last reply
 *    are answered ZOR_NOT_FOUND.
 */

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/command.h"
#include "common.h"
#include "core/protocol.h"
#include "dvslib.h"
#include "events/events.h"
#include "listing/listing.h"
#include "props/lacp.h"
#include "props/lag.h"
#include "props/uplink.h"
#include "state/config.h"
#include "state/state_ops.h"
#include "switch_cmds.h"
#include "uplink_cmds.h"

namespace {

using zor::chan::FRAME_HEADER_LEN;
using zor::chan::FrameHeader;

struct FakeReply {
  bool raw;
  uint32_t status;
  std::vector<uint8_t> body;
};

std::mutex g_lock;
std::vector<FakeReply> g_replies; /* what the stand-in daemon answers, in order */
size_t g_next = 0;

/*
 * Requests that the stand-in daemon is handling. An input ends only once
 * this is back to 0, so that the leak check after it never meets the
 * daemon's buffers for a request it is still answering.
 */
std::atomic<int> g_busy{0};

struct BusyRequest {
  BusyRequest() { g_busy++; }
  ~BusyRequest() { g_busy--; }
  BusyRequest(const BusyRequest &) = delete;
  BusyRequest &operator=(const BusyRequest &) = delete;
};

/* The reply for the next request, or a plain "not found" once the input's are used up. */
FakeReply NextReply() {
  std::lock_guard<std::mutex> hold(g_lock);
  if (g_next < g_replies.size()) return g_replies[g_next++];
  return FakeReply{false, ZOR_NOT_FOUND, {}};
}

bool SendAll(int s, const void *p, size_t n) {
  const uint8_t *b = static_cast<const uint8_t *>(p);
  while (n > 0) {
    ssize_t put = send(s, b, n, MSG_NOSIGNAL);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    b += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

bool RecvAll(int s, void *p, size_t n) {
  uint8_t *b = static_cast<uint8_t *>(p);
  while (n > 0) {
    struct pollfd pfd = {s, POLLIN, 0};
    if (poll(&pfd, 1, -1) <= 0) return false;
    ssize_t got = recv(s, b, n, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    b += got;
    n -= static_cast<size_t>(got);
  }
  return true;
}

bool SendFrame(int s, uint16_t op, uint32_t status, const std::vector<uint8_t> &body) {
  FrameHeader h;
  h.op = op;
  h.status = status;
  h.bodyLen = static_cast<uint32_t>(body.size());
  uint8_t hdr[FRAME_HEADER_LEN];
  zor::chan::HeaderEncode(h, hdr);
  return SendAll(s, hdr, sizeof(hdr)) && SendAll(s, body.data(), body.size());
}

/* True when bytes hold exactly one frame with a valid header. */
bool IsOneFrame(const std::vector<uint8_t> &bytes) {
  FrameHeader h;
  return bytes.size() >= FRAME_HEADER_LEN && zor::chan::HeaderDecode(bytes.data(), &h) == 0 &&
         bytes.size() == FRAME_HEADER_LEN + h.bodyLen;
}

/*
 * One connection: greet, then answer requests until the client closes it.
 * Raw bytes that are not exactly one frame end the connection after they
 * are sent, so the client meets the end of the stream at once rather than
 * waiting for the rest of a frame (and never reuses a broken stream).
 */
void ServeConnection(int s) {
  if (!SendFrame(s, zor::chan::OP_HELLO, 0, {})) {
    close(s);
    return;
  }
  for (;;) {
    uint8_t hdr[FRAME_HEADER_LEN];
    FrameHeader req;
    if (!RecvAll(s, hdr, sizeof(hdr)) || zor::chan::HeaderDecode(hdr, &req) != 0) break;
    const BusyRequest busy; /* outlives the buffers below */
    std::vector<uint8_t> body(req.bodyLen);
    if (!RecvAll(s, body.data(), body.size())) break;
    const FakeReply reply = NextReply();
    if (reply.raw) {
      if (!SendAll(s, reply.body.data(), reply.body.size()) || !IsOneFrame(reply.body)) break;
      continue;
    }
    if (!SendFrame(s, req.op | zor::chan::OP_REPLY, reply.status, reply.body)) break;
    if (req.op == zor::chan::OP_EVENT_REGISTER && reply.status == 0) {
      /* A listener: its event is the next reply's body, in a well-formed frame. */
      if (!SendFrame(s, zor::chan::OP_EVENT, 0, NextReply().body)) break;
    }
  }
  close(s);
}

/* Accepts connections for good; each is served by its own thread until its client closes it. */
void Daemon(int listenFd) {
  for (;;) {
    int s = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (s >= 0) std::thread(ServeConnection, s).detach();
  }
}

/* Fixed command texts of the operations that read stored values back (from the transcripts). */
const char LACP_TEXT[] = "v2*lag1;1;1;1;3;*lag2;2;2;1;3;";
const char LAG_TEXT[] = "*lag1;1;1:1,2:uplink0.2,;";

void ListAll() {
  DVSState_SwitchForEach(List_Switch, nullptr);
}

void RunClient(uint8_t which, uint8_t options) {
  const fuzz::BaseSwitch &sw = fuzz::BASE_SWITCHES[0];
  Invocation inv;
  const char *const targets[] = {"5", "uplink0", "globalPropList", "hostPropList"};
  inv.portName = targets[options & 3];
  CommandContext ctx = {sw.id, SWITCH_CLASS_ETHERSWITCH, nullptr,          0,
                        inv,   KERNEL_STATE_OPS,         KERNEL_STATE_OPS, nullptr};
  /* The commands that walk the switch run, as in the switch flow, on the kernel's state. */
  if (which % 12 >= 9) {
    if (Config_Load(LOAD_KERNEL_STATE, nullptr) != ZOR_OK) return;
    ctx.handle = DVSState_SwitchFind(sw.id);
    if (ctx.handle == nullptr) return;
    ctx.version = ctx.handle->version;
  }
  switch (which % 12) {
    case 0:
      if (Config_Load(LOAD_KERNEL_STATE, nullptr) == ZOR_OK) ListAll();
      break;
    case 1:
      if (Config_Load(LOAD_KERNEL_PERSISTENT, nullptr) == ZOR_OK) ListAll();
      break;
    case 2:
      /* The host configuration store lives with the daemon. */
      if (Config_Load(LOAD_FILE, DEFAULT_CONFIG_PATH) == ZOR_OK) ListAll();
      break;
    case 3: {
      const std::span<const PropPrinterRow> table = Prop_PrinterTable();
      const size_t keyed = table.size() - 1;
      const size_t pick = (options >> 2) % (keyed + 1);
      inv.commandArg = pick < keyed ? table[pick].key : "com.corvane.fuzz.unknown";
      Cmd_GetProp(ctx);
      break;
    }
    case 4:
      Cmd_UplinkStats(ctx);
      break;
    case 5:
      Cmd_UplinkStates(ctx);
      break;
    case 6:
      Cmd_UplinkGetCap(ctx);
      break;
    case 7:
      inv.execCommand = "echo";
      inv.execArg = "x";
      Cmd_CmdExec(ctx);
      break;
    case 8: {
      int fd = -1;
      DVSEventMsg *msg = nullptr;
      if (DVSEvent_Register(&fd) != 0) break;
      if (DVSEvent_GetMsg(fd, &msg) == 0) {
        Event_PrintMsg(msg);
        DVSEvent_Free(msg);
      }
      close(fd);
      break;
    }
    case 9:
      inv.commandArg = LACP_TEXT;
      Cmd_SetLacp(ctx);
      break;
    case 10:
      inv.commandArg = LAG_TEXT;
      Cmd_ConfigLag(ctx);
      break;
    default:
      inv.portName = "uplink0";
      Cmd_DeleteUplink(ctx);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  const std::string socketPath = fuzz::Setup() + "/reply.sock";
  setenv("ZORCORE_SOCKET", socketPath.c_str(), 1);
  struct sockaddr_un addr;
  int listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listenFd < 0 || !zor::chan::SocketAddress(socketPath.c_str(), &addr) ||
      bind(listenFd, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) != 0 ||
      listen(listenFd, 16) != 0) {
    perror("fuzz: listen");
    abort();
  }
  std::thread(Daemon, listenFd).detach();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input in{data, size};
  const uint8_t which = in.Byte();
  const uint8_t options = in.Byte();
  std::vector<FakeReply> replies;
  while (in.n > 0 && replies.size() < 16) {
    FakeReply r;
    r.raw = (in.Byte() & 1) != 0;
    r.status = 0;
    for (int i = 0; i < 4; i++) r.status |= static_cast<uint32_t>(in.Byte()) << (8 * i);
    size_t len = in.Byte();
    len |= static_cast<size_t>(in.Byte()) << 8;
    if (len > in.n) len = in.n;
    r.body.assign(in.p, in.p + len);
    in.p += len;
    in.n -= len;
    replies.push_back(std::move(r));
  }
  {
    std::lock_guard<std::mutex> hold(g_lock);
    g_replies = std::move(replies);
    g_next = 0;
  }
  DVSState_ConfigReset();
  RunClient(which, options);
  fflush(stdout);
  for (int i = 0; g_busy.load() != 0 && i < 10000; i++) usleep(100);
  return 0;
}
