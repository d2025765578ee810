// SPDX-License-Identifier: Apache-2.0
/*
 * protocol.h --
 *
 *    The kernel channel between the switch-state library and zorcored: a
 *    stream of frames over a Unix domain socket. Every frame is a 16-byte
 *    little-endian header followed by a body of at most FRAME_BODY_MAX
 *    bytes:
 *
 *      offset 0   u32  magic "ZCHN"
 *      offset 4   u16  protocol version (PROTOCOL_VERSION)
 *      offset 6   u16  operation; replies carry the request's op | OP_REPLY
 *      offset 8   u32  status: 0 in requests, the operation's status in replies
 *      offset 12  u32  body length in bytes
 *
 *    Bodies are sequences of little-endian fields written with WireWriter:
 *    texts as a u32 length and the bytes (no NUL), blocks likewise, numbers
 *    as u16/u32. Replies that return a value carry the raw value bytes as
 *    the whole body. The per-operation layouts are listed with the OpCode
 *    values below and in docs/zorcored.md.
 *
 *    The clients (the library, its event listeners and "zorcored ctl") use
 *    the blocking helpers at the end of this header, which wait on
 *    non-blocking sockets with poll() and give up after a period without
 *    progress, so a client cannot hang on a stalled daemon.
 */

#ifndef PLATFORM_CORE_PROTOCOL_H
#define PLATFORM_CORE_PROTOCOL_H

#include <stddef.h>
#include <stdint.h>
#include <sys/un.h>

#include <string>
#include <string_view>

#include "dvslib.h"
#include "wire.h"

namespace zor::chan {

inline constexpr uint32_t FRAME_MAGIC = 0x4e48435au; /* "ZCHN" read as little-endian */
inline constexpr uint16_t PROTOCOL_VERSION = 1;
inline constexpr size_t FRAME_HEADER_LEN = 16;
/* Largest body either side accepts; a larger announced length is a protocol error. */
inline constexpr uint32_t FRAME_BODY_MAX = 256u << 20;
/* Longest text field (switch ID, port, key, class, command name) accepted in a body. */
inline constexpr uint32_t TEXT_FIELD_MAX = 4096;
/* Set in the op of every reply. */
inline constexpr uint16_t OP_REPLY = 0x8000;

/* Where zorcored listens unless told otherwise, and where clients look for it. */
inline constexpr const char *DEFAULT_SOCKET_PATH = "/run/corvane/zorcore.sock";

/*
 * Operation codes. Request body layouts: S = text, B = block, u32/i32 =
 * number, U16 = 16 raw bytes; "-" = empty. Reply bodies are empty unless
 * marked "-> raw" (the value's bytes) or "-> text".
 */
enum OpCode : uint16_t {
  OP_HELLO = 1,                 /* daemon -> client on accept; status says whether served */
  OP_STATE_GET = 2,             /* - -> raw serialised state */
  OP_PERSISTENT_STATE_GET = 3,  /* - -> raw */
  OP_STATE_INIT = 4,            /* raw serialised configuration */
  OP_STATE_CLEANUP = 5,         /* - */
  OP_SWITCH_ADD = 6,            /* S sw, S class, i32 maxPorts, i32 version */
  OP_SWITCH_REMOVE = 7,         /* S sw */
  OP_SWITCH_ASSOCIATE = 8,      /* S sw */
  OP_SWITCH_DISSOCIATE = 9,     /* S sw */
  OP_SWITCH_SET_MAX_PORTS = 10, /* S sw, i32 maxPorts */
  OP_SWITCH_SET_VERSION = 11,   /* S sw, u32 version */
  OP_PORT_ADD = 12,             /* S sw, S port, B serialised property tree (may be empty) */
  OP_PORT_REMOVE = 13,          /* S sw, S port */
  OP_PORT_DATA_SET = 14,        /* S sw, S port, S key, i32 flags, B value */
  OP_PORT_DATA_GET = 15,        /* S sw, S port, S key -> raw value */
  OP_PORT_DATA_CLEAR = 16,      /* S sw, S port, S key */
  OP_GLOBAL_PROP_SET = 17,      /* as the port ops, port text empty */
  OP_GLOBAL_PROP_GET = 18,
  OP_GLOBAL_PROP_CLEAR = 19,
  OP_HOST_PROP_SET = 20,
  OP_HOST_PROP_GET = 21,
  OP_HOST_PROP_CLEAR = 22,
  OP_UPLINK_DATA_SET = 23,  /* S sw, S port, u32 type, i32 flags, B data */
  OP_UPLINK_DATA_GET = 24,  /* S sw, S port, u32 type -> raw */
  OP_CMD_EXEC = 25,         /* S sw, S command, B argument -> raw result */
  OP_STORE_READ = 26,       /* - -> raw stored configuration */
  OP_STORE_WRITE = 27,      /* raw serialised configuration */
  OP_EVENT_REGISTER = 28,   /* - ; the connection then receives OP_EVENT frames */
  OP_EVENT_POST = 29,       /* u32 type, U16 switch ID, S port, B data */
  OP_EVENT = 30,            /* daemon -> listener, body as OP_EVENT_POST */
  OP_CTL_INFO = 31,         /* - -> text */
  OP_CTL_PROP = 32,         /* S switch, S target, S key, i32 flags, u32 clear, B value */
  OP_CTL_PORT_STATE = 33,   /* S switch, S port, u32 state */
  OP_CTL_UPLINK_STATS = 34, /* S switch, S port, u32 count, count x u32 */
  OP_CTL_FAULT = 35,        /* u32 op (0: all), u32 status (0 clears), u32 count (0: always) */
  OP_CTL_SHUTDOWN = 36,     /* - ; the daemon stops after replying */
};

/* What the op table knows about one operation. */
struct OpInfo {
  uint16_t op;
  const char *name; /* the library operation it serves, e.g. "DVSZOR_PortRemove" */
  bool faultable;   /* may be made to fail by fault injection */
};

/* The entry for op (the reply flag ignored), or null for an unknown op. */
const OpInfo *OpLookup(uint16_t op);
/*
 * The entry whose name is name, either in full ("DVSZOR_PortRemove") or
 * without its family prefix ("PortRemove"); null when none matches.
 */
const OpInfo *OpLookupByName(std::string_view name);
/* Every entry, for listings; *count receives their number. */
const OpInfo *OpTable(size_t *count);

/* A decoded frame header. */
struct FrameHeader {
  uint16_t op = 0;
  uint32_t status = 0;
  uint32_t bodyLen = 0;
};

/* Writes the 16 header bytes for h into out. */
void HeaderEncode(const FrameHeader &h, uint8_t out[FRAME_HEADER_LEN]);
/*
 * Reads 16 header bytes. Returns 0, ZOR_NOT_A_CONFIG for a wrong magic,
 * ZOR_BAD_VERSION for another protocol version, or ZOR_TOO_LARGE for a
 * body length above FRAME_BODY_MAX.
 */
ZOR_ReturnStatus HeaderDecode(const uint8_t in[FRAME_HEADER_LEN], FrameHeader *h);

/*
 * Starts a frame in out (which must be empty): writes a header with op and
 * status and a zero length. The caller appends the body with a WireWriter
 * and calls FrameFinish, which fills in the body length.
 */
void FrameBegin(ByteBuf *out, uint16_t op, uint32_t status = 0);
/* Fills in the body length of a frame started with FrameBegin; false when too large. */
bool FrameFinish(ByteBuf *out);

/*
 * Reads a text field (u32 length and bytes). Returns 0, ZOR_TOO_LARGE for a
 * text over TEXT_FIELD_MAX, or ZOR_BAD_PARAM for a text holding a NUL (the
 * reader moves past the field either way); a body too short leaves the
 * reader failed (check r.Ok()).
 */
ZOR_ReturnStatus ReadText(WireReader &r, std::string *out);
/* Writes a text field; a null text is written as empty. */
void WriteText(WireWriter &w, const char *text);

/*
 * The socket path that clients use: ZORCORE_SOCKET from the environment
 * when it is set and not empty, else DEFAULT_SOCKET_PATH. Returns a text
 * that stays valid until the environment changes.
 */
const char *SocketPath();

/*
 * Milliseconds of silence after which a blocked channel operation gives
 * up: ZORCORE_TIMEOUT_MS from the environment when it holds a positive
 * number, else DEFAULT_TIMEOUT_MS.
 */
inline constexpr int DEFAULT_TIMEOUT_MS = 10000;
int TimeoutMs();

/*
 * Fills *addr with a Unix socket address for path. Returns false when path
 * is empty or too long for a socket address.
 */
bool SocketAddress(const char *path, struct sockaddr_un *addr);

/*
 * Reads one whole frame sent by the daemon from the non-blocking socket fd
 * into *h and body (emptied first; the announced length is reserved at
 * once, so that a whole-state reply lands in one block without copies).
 * Returns 0, ZOR_TIMEOUT when nothing arrives for timeoutMs,
 * ZOR_CHANNEL_ERROR for an end of stream, a socket error or a malformed
 * header, or ZOR_NO_MEMORY.
 */
ZOR_ReturnStatus RecvFrame(int fd, FrameHeader *h, ByteBuf *body, int timeoutMs);

/*
 * Connects a new non-blocking, close-on-exec socket to the daemon at path
 * and reads its greeting. Returns 0 and the socket in *fd; ZOR_NO_KERNEL
 * when nothing listens there; ZOR_PERMISSION_DENIED when the socket or the
 * daemon refuses this user (when socketRefused is not null, it tells which:
 * true when the socket file's permissions kept this user out); ZOR_TIMEOUT
 * or ZOR_CHANNEL_ERROR when the greeting does not come or is wrong. The
 * caller owns and closes *fd.
 */
ZOR_ReturnStatus ConnectDaemon(const char *path, int timeoutMs, int *fd,
                               bool *socketRefused = nullptr);

/*
 * Sends one request (op and its bodyLen bytes of body) on the connected
 * socket fd and reads the daemon's reply into reply (emptied first; may be
 * null when the caller wants no value). Returns 0 when the exchange
 * completed, with the reply's status in *status; else the channel's
 * failure: ZOR_TOO_LARGE for a body over FRAME_BODY_MAX, ZOR_TIMEOUT when
 * the daemon makes no progress for timeoutMs, ZOR_CHANNEL_ERROR when the
 * connection breaks or the reply is not this request's, or ZOR_NO_MEMORY.
 * After a failure the stream is out of step and the caller closes fd;
 * reply is then empty. Never raises SIGPIPE.
 */
ZOR_ReturnStatus Exchange(int fd, uint16_t op, const void *body, size_t bodyLen, int timeoutMs,
                          ByteBuf *reply, ZOR_ReturnStatus *status);

}  // namespace zor::chan

#endif  // PLATFORM_CORE_PROTOCOL_H
