// SPDX-License-Identifier: Apache-2.0
/*
 * server.h --
 *
 *    zorcored's event loop: one thread polling the listening socket, a
 *    signal descriptor and every client on non-blocking sockets. Each
 *    client has its own receive buffer and queue of outgoing frames, so a
 *    request is handled only once it has arrived whole (which makes every
 *    request atomic) and a slow or vanished client holds up nobody else.
 *    Protocol errors drop only the client that made them.
 */

#ifndef ZORCORED_SERVER_H
#define ZORCORED_SERVER_H

#include <stdint.h>
#include <sys/types.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/protocol.h"
#include "core/wire.h"
#include "kernel.h"

namespace zorcored {

/*
 * Limits of the event loop. When MAX_CLIENTS are connected, a newcomer
 * takes the place of the connection (other than a listener) that has been
 * idle longest; one that has sent nothing for IDLE_TIMEOUT_MS_DEFAULT
 * (zorcored --idle-timeout) is dropped anyway. The receive buffers of all
 * unfinished requests together stay within REQUEST_MEMORY_BUDGET: the
 * client with the largest unfinished request is dropped to keep them so.
 * The budget holds one request of the largest size the channel carries.
 */
inline constexpr size_t MAX_CLIENTS = 1000;
inline constexpr int IDLE_TIMEOUT_MS_DEFAULT = 60000;
inline constexpr size_t REQUEST_MEMORY_BUDGET = 320u << 20;
/* A listener whose undelivered events exceed either bound is dropped. */
inline constexpr size_t LISTENER_MAX_BYTES = 4u << 20;
inline constexpr size_t LISTENER_MAX_EVENTS = 8192;
/* Largest data block an event may carry. */
inline constexpr uint32_t EVENT_DATA_MAX = 64u * 1024;
/* A client that leaves a request or a reply half-transferred this long is dropped. */
inline constexpr int STALL_TIMEOUT_MS = 30000;

class Server {
 public:
  /*
   * Serves kernel on the listening socket listenFd (which it does not
   * own). Only when testing is set are injected failures and shutdown
   * requests obeyed; otherwise they are answered with ZOR_NOT_SUPPORTED.
   * A connection that is not a listener and sends nothing for idleMs is
   * dropped.
   */
  Server(Kernel *kernel, int listenFd, bool testing = false, int idleMs = IDLE_TIMEOUT_MS_DEFAULT);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  /*
   * Serves the members of group as well as the daemon's own user: a peer
   * whose primary or supplementary groups, as they were when it connected,
   * include group. Without it other users are refused.
   */
  void AdmitGroup(gid_t group) { admitGroup_ = group; }

  /*
   * Runs until SIGTERM or SIGINT arrives (or a control client asks for
   * shutdown). The caller must have blocked both signals. Returns 0, or 1
   * when the loop could not be set up.
   */
  int Run();

 private:
  struct Client {
    int fd = -1;
    bool listener = false; /* registered for events; sends nothing more */
    bool closing = false;  /* drop once the queued frames are sent */
    bool dead = false;
    std::vector<uint8_t> in; /* bytes received, not yet handled */
    /* Blocks to send; a whole-state reply is shared by every client it goes to. */
    std::deque<std::shared_ptr<const zor::ByteBuf>> out;
    size_t outOffset = 0; /* bytes of out.front() already sent */
    size_t outBytes = 0;  /* bytes queued, all frames */
    int64_t lastProgress = 0;
  };
  struct Fault {
    uint32_t status;
    uint32_t remaining; /* 0: every time */
  };

  /* Accepts every waiting connection: greets it, or refuses a user it does not serve. */
  void Accept();
  /* Receives what a client sent (up to a budget) and handles the whole requests in it. */
  void Read(Client &c);
  /* Handles buffered requests one at a time, each once the previous reply is out. */
  void HandleFrames(Client &c);
  /* Carries out one whole request and queues its reply (or drops the client). */
  void Handle(Client &c, const zor::chan::FrameHeader &h, const uint8_t *body);
  /* Sends as much of the client's queue as the socket takes now. */
  void Flush(Client &c);
  /* Queues one frame; the queue owns body from here. */
  void Queue(Client &c, uint16_t op, uint32_t status, zor::ByteBuf body);
  void Queue(Client &c, uint16_t op, uint32_t status, std::shared_ptr<const zor::ByteBuf> body);
  /* Queues an event (the body of an OP_EVENT_POST) to every listener. */
  void Broadcast(const uint8_t *body, size_t len);
  /* Closes a client and frees its buffers; it is removed at the end of the loop turn. */
  void Drop(Client &c);
  /*
   * Makes room for a receive buffer of c to grow to want bytes within
   * REQUEST_MEMORY_BUDGET, dropping the clients with the largest unfinished
   * requests (c itself when its own is the largest). Returns false when c
   * was dropped.
   */
  bool FitRequestBudget(Client &c, size_t want);
  /* Drops the longest-idle connection that is not a listener; false when there is none. */
  bool DropLongestIdle();
  /* The text of "zorcored ctl info". */
  std::string Info() const;

  Kernel *kernel_;
  int listenFd_;
  bool testing_;
  int idleMs_;
  gid_t admitGroup_ = static_cast<gid_t>(-1); /* none: only the daemon's own user */
  int signalFd_ = -1;
  int spareFd_ = -1; /* kept open so that accept can shed clients when out of descriptors */
  bool stop_ = false;
  std::vector<std::unique_ptr<Client>> clients_;
  std::map<uint16_t, Fault> faults_;
};

}  // namespace zorcored

#endif  // ZORCORED_SERVER_H
