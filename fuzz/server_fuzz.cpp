// SPDX-License-Identifier: Apache-2.0
/*
 * server_fuzz.cpp --
 *
 *    zorcored's frame decoder and request dispatch as a client meets them:
 *    a real Server (with injected failures and shutdown allowed, as under
 *    test) runs on a socket in the scratch directory, fresh for every
 *    input, and the input is sent as the byte stream of one connection,
 *    which then closes its sending side. The daemon must answer and close
 *    that connection; one that does neither within ten seconds is a hang
 *    and is reported as a crash.
 *
 *    Input: byte 0 bit 0 registers an event listener on a second
 *    connection first (so that posted events are broadcast to it); the
 *    rest is the stream.
 */

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "common.h"
#include "core/protocol.h"
#include "kernel.h"
#include "server.h"
#include "store.h"

namespace {

using zor::chan::FRAME_HEADER_LEN;

std::string g_dir;
std::string g_socket;
int g_listenFd = -1;

/* How long the daemon may stay silent before the exchange counts as a hang. */
constexpr int HANG_MS = 10000;

[[noreturn]] void Hang(const char *what) {
  fuzz::Fail((std::string("zorcored hangs: ") + what).c_str());
}

int64_t NowMs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

/* One daemon for one input: its store is emptied, its kernel new. */
void Serve() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  zorcored::Store store(g_dir);
  zorcored::Kernel kernel(&store);
  zorcored::Server server(&kernel, g_listenFd, true);
  server.Run();
}

int Connect() {
  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un addr;
  if (s < 0 || !zor::chan::SocketAddress(g_socket.c_str(), &addr) ||
      connect(s, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) != 0) {
    perror("fuzz: connect");
    abort();
  }
  return s;
}

/* Reads exactly n bytes within HANG_MS; false at an end of stream. */
bool ReadExactly(int s, uint8_t *p, size_t n) {
  while (n > 0) {
    struct pollfd pfd = {s, POLLIN, 0};
    if (poll(&pfd, 1, HANG_MS) == 0) Hang("no reply");
    ssize_t got = recv(s, p, n, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    p += got;
    n -= static_cast<size_t>(got);
  }
  return true;
}

/* Reads the daemon's greeting. */
void ReadHello(int s) {
  uint8_t hdr[FRAME_HEADER_LEN];
  if (!ReadExactly(s, hdr, sizeof(hdr))) Hang("no greeting");
}

/* A connection registered for events, or -1 when the daemon refused it. */
int OpenListener() {
  int s = Connect();
  ReadHello(s);
  uint8_t req[FRAME_HEADER_LEN];
  zor::chan::FrameHeader h;
  h.op = zor::chan::OP_EVENT_REGISTER;
  zor::chan::HeaderEncode(h, req);
  uint8_t reply[FRAME_HEADER_LEN];
  if (send(s, req, sizeof(req), MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof(req)) ||
      !ReadExactly(s, reply, sizeof(reply))) {
    close(s);
    return -1;
  }
  return s;
}

/*
 * Sends the stream while reading what comes back (so that neither side
 * waits on a full socket), closes the sending side and reads until the
 * daemon closes the connection.
 */
void Converse(int s, const uint8_t *p, size_t n) {
  bool sending = true;
  int64_t lastProgress = NowMs();
  uint8_t buf[64 * 1024];
  for (;;) {
    if (sending && n == 0) {
      shutdown(s, SHUT_WR);
      sending = false;
    }
    struct pollfd pfd = {s, static_cast<short>(POLLIN | (sending ? POLLOUT : 0)), 0};
    int ready = poll(&pfd, 1, 100);
    if (ready < 0 && errno != EINTR) abort();
    if (ready <= 0) {
      if (NowMs() - lastProgress > HANG_MS) Hang("the connection stays open");
      continue;
    }
    if (pfd.revents & POLLIN || pfd.revents & POLLHUP) {
      ssize_t got = recv(s, buf, sizeof(buf), MSG_DONTWAIT);
      if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) return;
      if (got > 0) lastProgress = NowMs();
    }
    if (sending && (pfd.revents & POLLOUT)) {
      ssize_t put = send(s, p, n, MSG_DONTWAIT | MSG_NOSIGNAL);
      if (put < 0 && errno != EAGAIN && errno != EINTR) {
        sending = false; /* the daemon dropped us; read what it sent before that */
        continue;
      }
      if (put > 0) {
        p += put;
        n -= static_cast<size_t>(put);
        lastProgress = NowMs();
      }
    }
  }
}

/* Takes what was broadcast to the listener (without waiting) and closes it. */
void DrainListener(int s) {
  uint8_t buf[64 * 1024];
  while (recv(s, buf, sizeof(buf), MSG_DONTWAIT) > 0) {
  }
  close(s);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  g_dir = fuzz::Setup();
  g_socket = g_dir + "/server.sock";
  struct sockaddr_un addr;
  g_listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (g_listenFd < 0 || !zor::chan::SocketAddress(g_socket.c_str(), &addr) ||
      bind(g_listenFd, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) != 0 ||
      listen(g_listenFd, 16) != 0) {
    perror("fuzz: listen");
    abort();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  unlink((g_dir + "/" + zorcored::STORE_FILE_NAME).c_str());
  fuzz::Input in{data, size};
  const uint8_t options = in.Byte();

  std::thread daemon(Serve);
  const int listener = (options & 1) ? OpenListener() : -1;
  int s = Connect();
  ReadHello(s);
  Converse(s, in.p, in.n);
  close(s);
  if (listener >= 0) DrainListener(listener);
  /* The daemon stops on SIGTERM (unless a shutdown request in the stream stopped it already). */
  pthread_kill(daemon.native_handle(), SIGTERM);
  daemon.join();
  return 0;
}
