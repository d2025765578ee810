// SPDX-License-Identifier: Apache-2.0
/*
 * server.cpp --
 *
 *    The poll loop: accepting clients (greeting them, refusing users it
 *    does not serve), receiving frames into per-client buffers, handing whole
 *    requests to the kernel state, queueing replies and events, and
 *    dropping clients that break the protocol, stall or fall behind.
 */

#include "server.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

namespace zorcored {

using zor::ByteBuf;
using zor::WireReader;
using namespace zor::chan;

namespace {

int64_t NowMs() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

/* Bytes read from one client per loop turn, so one busy client cannot starve the others. */
constexpr size_t READ_BUDGET = 1u << 20;
/* Receive buffers larger than this are released once empty. */
constexpr size_t KEEP_BUFFER = 256u * 1024;

/*
 * True when the peer on fd is the daemon's own user or a member of group
 * (unless group is -1). The kernel records the peer's credentials, its
 * supplementary groups included, when it connects.
 */
bool PeerAdmitted(int fd, gid_t group) {
  struct ucred cred;
  socklen_t len = sizeof(cred);
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || len != sizeof(cred)) {
    return false;
  }
  if (cred.uid == geteuid()) return true;
  if (group == static_cast<gid_t>(-1)) return false;
  if (cred.gid == group) return true;
  std::vector<gid_t> groups(64);
  for (;;) {
    len = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &len) == 0) break;
    /* Too small a buffer: the kernel has put the size it needs in len. */
    if (errno != ERANGE || len <= groups.size() * sizeof(gid_t)) return false;
    groups.resize(len / sizeof(gid_t));
  }
  groups.resize(len / sizeof(gid_t));
  return std::find(groups.begin(), groups.end(), group) != groups.end();
}

}  // namespace

Server::Server(Kernel *kernel, int listenFd, bool testing, int idleMs)
    : kernel_(kernel), listenFd_(listenFd), testing_(testing), idleMs_(idleMs) {}

Server::~Server() {
  for (auto &c : clients_) {
    if (!c->dead) close(c->fd);
  }
  if (signalFd_ >= 0) close(signalFd_);
  if (spareFd_ >= 0) close(spareFd_);
}

int Server::Run() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  signalFd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  if (signalFd_ < 0) {
    perror("zorcored: signalfd");
    return 1;
  }
  spareFd_ = open("/dev/null", O_RDONLY | O_CLOEXEC);

  std::vector<struct pollfd> pfds;
  while (!stop_) {
    pfds.clear();
    pfds.push_back({listenFd_, POLLIN, 0});
    pfds.push_back({signalFd_, POLLIN, 0});
    int64_t now = NowMs();
    int timeout = -1;
    size_t polled = clients_.size();
    for (auto &cp : clients_) {
      Client &c = *cp;
      short ev = 0;
      /* Requests are read only while no reply is waiting: one request at a time. */
      if (c.listener || (c.out.empty() && !c.closing)) ev |= POLLIN;
      if (!c.out.empty()) ev |= POLLOUT;
      pfds.push_back({c.fd, ev, 0});
      const bool busy = !c.in.empty() || !c.out.empty();
      if (busy || !c.listener) {
        int64_t left = c.lastProgress + (busy ? STALL_TIMEOUT_MS : idleMs_) - now;
        int t = static_cast<int>(std::max<int64_t>(left, 0));
        timeout = timeout < 0 ? t : std::min(timeout, t);
      }
    }
    int n = poll(pfds.data(), pfds.size(), timeout);
    if (n < 0) {
      if (errno == EINTR) continue;
      perror("zorcored: poll");
      return 1;
    }
    if (pfds[1].revents) {
      struct signalfd_siginfo si;
      while (read(signalFd_, &si, sizeof(si)) == static_cast<ssize_t>(sizeof(si))) stop_ = true;
    }
    if (stop_) break;
    if (pfds[0].revents & POLLIN) Accept();
    for (size_t i = 0; i < polled; i++) {
      Client &c = *clients_[i];
      short rev = pfds[2 + i].revents;
      if (c.dead || !rev) continue;
      if (rev & POLLIN) Read(c);
      if (!c.dead && (rev & POLLOUT)) {
        Flush(c);
        /* Requests that arrived behind a large reply go on once it is out. */
        if (!c.dead && c.out.empty() && !c.in.empty()) HandleFrames(c);
      }
      if (!c.dead && (rev & (POLLERR | POLLNVAL))) Drop(c);
      if (!c.dead && (rev & POLLHUP) && !(rev & POLLIN)) Drop(c);
    }
    now = NowMs();
    for (auto &cp : clients_) {
      Client &c = *cp;
      if (c.dead) continue;
      const bool busy = !c.in.empty() || !c.out.empty();
      if (busy && now - c.lastProgress >= STALL_TIMEOUT_MS) Drop(c);
      /* Idle connections give up their place; the library opens a new one when it needs it. */
      if (!busy && !c.listener && now - c.lastProgress >= idleMs_) Drop(c);
    }
    clients_.erase(std::remove_if(clients_.begin(), clients_.end(),
                                  [](const std::unique_ptr<Client> &c) { return c->dead; }),
                   clients_.end());
  }
  return 0;
}

void Server::Accept() {
  for (;;) {
    int fd = accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if ((errno == EMFILE || errno == ENFILE) && spareFd_ >= 0) {
        /* Out of descriptors: free the spare one to accept and shed this client. */
        close(spareFd_);
        int shed = accept(listenFd_, nullptr, nullptr);
        if (shed >= 0) close(shed);
        spareFd_ = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (shed >= 0) continue;
      }
      return;
    }
    size_t live = 0;
    for (const auto &cp : clients_) live += !cp->dead;
    if (live >= MAX_CLIENTS && !DropLongestIdle()) {
      close(fd); /* every place is a listener's */
      continue;
    }
    auto c = std::make_unique<Client>();
    c->fd = fd;
    c->lastProgress = NowMs();
    if (PeerAdmitted(fd, admitGroup_)) {
      Queue(*c, OP_HELLO, 0, ByteBuf());
    } else {
      Queue(*c, OP_HELLO, ZOR_PERMISSION_DENIED, ByteBuf());
      c->closing = true;
    }
    Flush(*c);
    clients_.push_back(std::move(c));
  }
}

void Server::Read(Client &c) {
  uint8_t chunk[64 * 1024];
  size_t budget = READ_BUDGET;
  while (budget > 0 && !c.dead) {
    ssize_t got = recv(c.fd, chunk, sizeof(chunk), 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) Drop(c);
      break;
    }
    if (got == 0 || c.listener || c.closing) {
      /* Gone (perhaps mid-request: nothing of it is applied), or talking out of turn. */
      Drop(c);
      return;
    }
    size_t n = static_cast<size_t>(got);
    c.lastProgress = NowMs();
    budget -= std::min(budget, n);
    /*
     * Grow the buffer by what arrived, with headroom of half the bytes
     * held plus 64 KiB, never past the frame the header announces: the
     * memory a client costs follows what it has actually sent.
     */
    size_t need = c.in.size() + n;
    if (need > c.in.capacity()) {
      size_t limit = need;
      if (c.in.size() >= FRAME_HEADER_LEN) {
        FrameHeader h;
        if (HeaderDecode(c.in.data(), &h) == 0) {
          limit = std::max(need, FRAME_HEADER_LEN + static_cast<size_t>(h.bodyLen));
        }
      }
      const size_t want =
          std::max(need, std::min(limit, c.in.size() + c.in.size() / 2 + 64 * 1024));
      if (!FitRequestBudget(c, want)) return;
      c.in.reserve(want);
    }
    c.in.insert(c.in.end(), chunk, chunk + n);
    /* A bad header is refused as soon as it is whole, before its body arrives. */
    if (c.in.size() >= FRAME_HEADER_LEN) {
      FrameHeader h;
      if (HeaderDecode(c.in.data(), &h) != 0) {
        Drop(c);
        return;
      }
    }
    if (n < sizeof(chunk)) break;
  }
  if (!c.dead) HandleFrames(c);
}

void Server::HandleFrames(Client &c) {
  while (!c.dead && !c.closing) {
    if (!c.out.empty()) Flush(c);
    if (c.dead || !c.out.empty() || c.in.size() < FRAME_HEADER_LEN) return;
    FrameHeader h;
    if (HeaderDecode(c.in.data(), &h) != 0) {
      Drop(c);
      return;
    }
    size_t total = FRAME_HEADER_LEN + h.bodyLen;
    if (c.in.size() < total) return;
    Handle(c, h, c.in.data() + FRAME_HEADER_LEN);
    if (c.dead) return;
    c.in.erase(c.in.begin(), c.in.begin() + static_cast<std::ptrdiff_t>(total));
    if (c.in.empty() && c.in.capacity() > KEEP_BUFFER) std::vector<uint8_t>().swap(c.in);
  }
}

void Server::Handle(Client &c, const FrameHeader &h, const uint8_t *body) {
  uint16_t op = h.op;
  const OpInfo *info = OpLookup(op);
  if ((op & OP_REPLY) || c.listener || op == OP_HELLO || op == OP_EVENT) {
    Drop(c); /* not a request, or a listener speaking */
    return;
  }
  if (!info) {
    Queue(c, op | OP_REPLY, ZOR_NOT_SUPPORTED, ByteBuf());
    return;
  }
  uint16_t rop = op | OP_REPLY;
  if (info->faultable) {
    auto it = faults_.find(op);
    if (it != faults_.end()) {
      uint32_t status = it->second.status;
      if (it->second.remaining && --it->second.remaining == 0) faults_.erase(it);
      Queue(c, rop, status, ByteBuf());
      return;
    }
  }
  if ((op == OP_CTL_FAULT || op == OP_CTL_SHUTDOWN) && !testing_) {
    /* Breaking the daemon on purpose is for test runs only. */
    Queue(c, rop, ZOR_NOT_SUPPORTED, ByteBuf());
    return;
  }
  WireReader r(body, h.bodyLen);
  switch (op) {
    case OP_EVENT_REGISTER:
      if (h.bodyLen) return Drop(c);
      Queue(c, rop, 0, ByteBuf());
      c.listener = true;
      return;
    case OP_EVENT_POST: {
      r.U32();
      r.Bytes(16);
      std::string port;
      ZOR_ReturnStatus st = ReadText(r, &port);
      std::string_view data = r.Blob();
      if (!r.Ok() || r.Remaining()) return Drop(c);
      if (!st && port.size() >= DVS_PORT_NAME_LEN) st = ZOR_TOO_LARGE;
      if (!st && data.size() > EVENT_DATA_MAX) st = ZOR_TOO_LARGE;
      if (!st) Broadcast(body, h.bodyLen);
      Queue(c, rop, st, ByteBuf());
      return;
    }
    case OP_CTL_INFO: {
      if (h.bodyLen) return Drop(c);
      std::string text = Info();
      ByteBuf out;
      out.Append(text.data(), text.size());
      Queue(c, rop, 0, std::move(out));
      return;
    }
    case OP_CTL_FAULT: {
      uint32_t target = r.U32();
      uint32_t status = r.U32();
      uint32_t count = r.U32();
      if (!r.Ok() || r.Remaining()) return Drop(c);
      ZOR_ReturnStatus st = 0;
      const OpInfo *t = target <= 0xffff ? OpLookup(static_cast<uint16_t>(target)) : nullptr;
      if (target == 0 && status == 0) {
        faults_.clear();
      } else if (!t || !t->faultable || t->op != target) {
        st = ZOR_BAD_PARAM;
      } else if (status == 0) {
        faults_.erase(t->op);
      } else {
        faults_[t->op] = Fault{status, count};
      }
      Queue(c, rop, st, ByteBuf());
      return;
    }
    case OP_CTL_SHUTDOWN:
      if (h.bodyLen) return Drop(c);
      Queue(c, rop, 0, ByteBuf());
      Flush(c);
      stop_ = true;
      return;
    default: {
      Reply reply;
      if (!kernel_->Handle(op, body, h.bodyLen, &reply)) return Drop(c);
      if (reply.shared) {
        Queue(c, rop, reply.status, std::move(reply.shared));
      } else {
        Queue(c, rop, reply.status, std::move(reply.body));
      }
      return;
    }
  }
}

void Server::Queue(Client &c, uint16_t op, uint32_t status, ByteBuf body) {
  Queue(c, op, status, std::make_shared<const ByteBuf>(std::move(body)));
}

void Server::Queue(Client &c, uint16_t op, uint32_t status, std::shared_ptr<const ByteBuf> body) {
  ByteBuf hdr;
  FrameHeader h;
  h.op = op;
  h.status = status;
  h.bodyLen = static_cast<uint32_t>(body->Size());
  if (body->Size() > FRAME_BODY_MAX) {
    /* A reply this large cannot be framed: report it instead of the value. */
    h.status = ZOR_TOO_LARGE;
    h.bodyLen = 0;
    body = std::make_shared<const ByteBuf>();
  }
  uint8_t raw[FRAME_HEADER_LEN];
  HeaderEncode(h, raw);
  if (!hdr.Append(raw, sizeof(raw))) return Drop(c);
  c.outBytes += hdr.Size() + body->Size();
  c.out.push_back(std::make_shared<const ByteBuf>(std::move(hdr)));
  if (body->Size()) c.out.push_back(std::move(body));
}

void Server::Broadcast(const uint8_t *body, size_t len) {
  for (auto &cp : clients_) {
    Client &c = *cp;
    if (c.dead || !c.listener || c.closing) continue;
    ByteBuf frame;
    FrameBegin(&frame, OP_EVENT);
    frame.Append(body, len);
    if (!FrameFinish(&frame) || c.out.size() >= LISTENER_MAX_EVENTS ||
        c.outBytes + frame.Size() > LISTENER_MAX_BYTES) {
      Drop(c); /* too far behind: a listener may miss events, the others may not wait */
      continue;
    }
    c.outBytes += frame.Size();
    c.out.push_back(std::make_shared<const ByteBuf>(std::move(frame)));
    Flush(c);
  }
}

void Server::Flush(Client &c) {
  while (!c.dead && !c.out.empty()) {
    const ByteBuf &front = *c.out.front();
    ssize_t put = send(c.fd, front.Data() + c.outOffset, front.Size() - c.outOffset,
                       MSG_NOSIGNAL | MSG_DONTWAIT);
    if (put < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) Drop(c);
      return;
    }
    c.lastProgress = NowMs();
    c.outOffset += static_cast<size_t>(put);
    c.outBytes -= static_cast<size_t>(put);
    if (c.outOffset == front.Size()) {
      c.out.pop_front();
      c.outOffset = 0;
    }
  }
  if (!c.dead && c.closing && c.out.empty()) Drop(c);
}

void Server::Drop(Client &c) {
  if (c.dead) return;
  close(c.fd);
  c.dead = true;
  std::vector<uint8_t>().swap(c.in);
  c.out.clear();
  c.outBytes = 0;
}

bool Server::FitRequestBudget(Client &c, size_t want) {
  for (;;) {
    /*
     * The buffers as they would be with c's grown to want (while it grows,
     * its old copy briefly adds to that), and the largest one holding a
     * request.
     */
    size_t total = want;
    Client *largest = &c;
    size_t largestSize = want;
    for (auto &cp : clients_) {
      if (cp->dead || cp.get() == &c) continue;
      total += cp->in.capacity();
      if (!cp->in.empty() && cp->in.capacity() > largestSize) {
        largest = cp.get();
        largestSize = cp->in.capacity();
      }
    }
    if (total <= REQUEST_MEMORY_BUDGET) return true;
    Drop(*largest);
    if (largest == &c) return false;
  }
}

bool Server::DropLongestIdle() {
  Client *idlest = nullptr;
  for (auto &cp : clients_) {
    if (cp->dead || cp->listener) continue;
    if (!idlest || cp->lastProgress < idlest->lastProgress) idlest = cp.get();
  }
  if (!idlest) return false;
  Drop(*idlest);
  return true;
}

std::string Server::Info() const {
  size_t clients = 0;
  size_t listeners = 0;
  for (const auto &c : clients_) {
    if (c->dead) continue;
    clients++;
    if (c->listener) listeners++;
  }
  std::string text = "switches: " + std::to_string(kernel_->SwitchCount()) + "\n" +
                     "ports: " + std::to_string(kernel_->PortCount()) + "\n" +
                     "clients: " + std::to_string(clients) + "\n" +
                     "listeners: " + std::to_string(listeners) + "\n";
  for (const auto &[op, f] : faults_) {
    char line[160];
    snprintf(line, sizeof(line), "fault: %s 0x%x %u\n", OpLookup(op)->name, f.status, f.remaining);
    text += line;
  }
  return text;
}

}  // namespace zorcored
