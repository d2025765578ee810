// SPDX-License-Identifier: Apache-2.0
/*
 * ctl.cpp --
 *
 *    The control interface: one table row per subcommand (name, argument
 *    counts, synopsis, handler). Each handler builds one control request,
 *    sends it over the kernel channel and prints what the daemon answers.
 */

#include "ctl.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "core/protocol.h"
#include "kernel.h"

namespace zorcored {

using zor::ByteBuf;
using zor::WireWriter;
using namespace zor::chan;

namespace {

/* Everything a subcommand needs: the socket and its own arguments. */
struct CtlContext {
  std::string socket;
  std::vector<std::string> args;
};

/* Reads an unsigned number of any base prefix; false unless the whole text is one. */
bool ParseU64(std::string_view text, uint64_t *v) {
  std::string s(text);
  if (s.empty() || s[0] == '-') return false;
  char *end = nullptr;
  errno = 0;
  unsigned long long n = strtoull(s.c_str(), &end, 0);
  if (errno || *end != '\0') return false;
  *v = n;
  return true;
}

bool ParseU32(std::string_view text, uint32_t *v) {
  uint64_t n;
  if (!ParseU64(text, &n) || n > 0xffffffffu) return false;
  *v = static_cast<uint32_t>(n);
  return true;
}

/*
 * Sends one request on a connection of its own and waits for the reply.
 * Returns the daemon's status or the channel's; the reply body goes to
 * reply when given.
 */
ZOR_ReturnStatus Request(const CtlContext &ctx, uint16_t op, const ByteBuf &body,
                         ByteBuf *reply = nullptr) {
  int fd = -1;
  int timeout = TimeoutMs();
  ZOR_ReturnStatus st = ConnectDaemon(ctx.socket.c_str(), timeout, &fd);
  if (st) return st;
  ZOR_ReturnStatus status = 0;
  st = Exchange(fd, op, body.Data(), body.Size(), timeout, reply, &status);
  close(fd);
  return st ? st : status;
}

/* Reports a failed request; returns the exit status 1. */
int Failed(const char *what, ZOR_ReturnStatus st) {
  fprintf(stderr, "zorcored ctl: %s failed: status 0x%x\n", what, st);
  return 1;
}

/* Reports a refused fail or shutdown request, naming the option that allows them; returns 1. */
int FailedTesting(const char *what, ZOR_ReturnStatus st) {
  Failed(what, st);
  if (st == ZOR_NOT_SUPPORTED) {
    fprintf(stderr, "zorcored ctl: the daemon obeys %s only when started with --testing\n", what);
  }
  return 1;
}

/* Fills id with the switch ID bytes that a switch ID text or a switch name stands for. */
void SwitchIdBytes(const std::string &ref, uint8_t id[16]) {
  memset(id, 0, 16);
  unsigned b[16];
  int used = 0;
  if (ref.size() == DVS_SWITCH_ID_TEXT_LEN - 1 &&
      sscanf(ref.c_str(), "%2x %2x %2x %2x %2x %2x %2x %2x-%2x %2x %2x %2x %2x %2x %2x %2x%n",
             &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7], &b[8], &b[9], &b[10], &b[11],
             &b[12], &b[13], &b[14], &b[15], &used) == 16 &&
      used == static_cast<int>(ref.size())) {
    for (int i = 0; i < 16; i++) id[i] = static_cast<uint8_t>(b[i]);
    return;
  }
  memcpy(id, ref.data(), ref.size() < 15 ? ref.size() : 15);
}

int CmdInfo(const CtlContext &ctx) {
  ByteBuf reply;
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_INFO, ByteBuf(), &reply);
  if (st) return Failed("info", st);
  fwrite(reply.Data(), 1, reply.Size(), stdout);
  return 0;
}

int CmdOps(const CtlContext &) {
  size_t n;
  const OpInfo *ops = OpTable(&n);
  for (size_t i = 0; i < n; i++) {
    if (ops[i].faultable) printf("%s\n", ops[i].name);
  }
  return 0;
}

int CmdSetProp(const CtlContext &ctx) {
  const auto &a = ctx.args;
  ByteBuf value;
  std::string error;
  if (!CtlParseValue(a[3], &value, &error)) {
    fprintf(stderr, "zorcored ctl: bad value '%s': %s\n", a[3].c_str(), error.c_str());
    return 2;
  }
  int32_t flags = PROP_VOLATILE | PROP_RUNTIME;
  if (a.size() > 4 && !CtlParseFlags(a[4], &flags)) {
    fprintf(stderr, "zorcored ctl: bad flags '%s'\n", a[4].c_str());
    return 2;
  }
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, a[0].c_str());
  WriteText(w, a[1].c_str());
  WriteText(w, a[2].c_str());
  w.U32(static_cast<uint32_t>(flags));
  w.U32(0);
  w.Blob(std::string_view(reinterpret_cast<const char *>(value.Data()), value.Size()));
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_PROP, body);
  return st ? Failed("set-prop", st) : 0;
}

int CmdClearProp(const CtlContext &ctx) {
  const auto &a = ctx.args;
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, a[0].c_str());
  WriteText(w, a[1].c_str());
  WriteText(w, a[2].c_str());
  w.U32(0);
  w.U32(1);
  w.U32(0);
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_PROP, body);
  return st ? Failed("clear-prop", st) : 0;
}

int CmdPortState(const CtlContext &ctx) {
  const auto &a = ctx.args;
  uint32_t state;
  if (!CtlParseState(a[2], &state)) {
    fprintf(stderr, "zorcored ctl: bad port state '%s'\n", a[2].c_str());
    return 2;
  }
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, a[0].c_str());
  WriteText(w, a[1].c_str());
  w.U32(state);
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_PORT_STATE, body);
  return st ? Failed("port-state", st) : 0;
}

int CmdUplinkStats(const CtlContext &ctx) {
  const auto &a = ctx.args;
  if (a.size() - 2 > UPLINK_STATISTICS_COUNT) {
    fprintf(stderr, "zorcored ctl: at most %u counters\n", UPLINK_STATISTICS_COUNT);
    return 2;
  }
  ByteBuf body;
  WireWriter w(&body);
  WriteText(w, a[0].c_str());
  WriteText(w, a[1].c_str());
  w.U32(static_cast<uint32_t>(a.size() - 2));
  for (size_t i = 2; i < a.size(); i++) {
    uint32_t v;
    if (!ParseU32(a[i], &v)) {
      fprintf(stderr, "zorcored ctl: bad counter '%s'\n", a[i].c_str());
      return 2;
    }
    w.U32(v);
  }
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_UPLINK_STATS, body);
  return st ? Failed("uplink-stats", st) : 0;
}

int CmdPostEvent(const CtlContext &ctx) {
  const auto &a = ctx.args;
  uint32_t type;
  if (!ParseU32(a[0], &type)) {
    fprintf(stderr, "zorcored ctl: bad event type '%s'\n", a[0].c_str());
    return 2;
  }
  uint8_t id[16] = {};
  if (a.size() > 1 && a[1] != "-") SwitchIdBytes(a[1], id);
  std::string port = a.size() > 2 && a[2] != "-" ? a[2] : "portX";
  ByteBuf data;
  std::string error;
  if (a.size() > 3 && !CtlParseValue(a[3], &data, &error)) {
    fprintf(stderr, "zorcored ctl: bad value '%s': %s\n", a[3].c_str(), error.c_str());
    return 2;
  }
  ByteBuf body;
  WireWriter w(&body);
  w.U32(type);
  w.Bytes(id, sizeof(id));
  WriteText(w, port.c_str());
  w.Blob(std::string_view(reinterpret_cast<const char *>(data.Data()), data.Size()));
  ZOR_ReturnStatus st = Request(ctx, OP_EVENT_POST, body);
  return st ? Failed("post-event", st) : 0;
}

int CmdFail(const CtlContext &ctx) {
  const auto &a = ctx.args;
  uint32_t op = 0;
  if (a[0] != "all") {
    const OpInfo *info = OpLookupByName(a[0]);
    if (!info || !info->faultable) {
      fprintf(stderr, "zorcored ctl: unknown operation '%s' (see: zorcored ctl ops)\n",
              a[0].c_str());
      return 2;
    }
    op = info->op;
  }
  uint32_t status = 0;
  uint32_t count = 0;
  if (a[1] != "off") {
    if (!ParseU32(a[1], &status) || status == 0) {
      fprintf(stderr, "zorcored ctl: bad status '%s'\n", a[1].c_str());
      return 2;
    }
    if (op == 0) {
      fprintf(stderr, "zorcored ctl: 'all' only takes 'off'\n");
      return 2;
    }
  }
  if (a.size() > 2 && (status == 0 || !ParseU32(a[2], &count))) {
    fprintf(stderr, "zorcored ctl: bad count '%s'\n", a[2].c_str());
    return 2;
  }
  ByteBuf body;
  WireWriter w(&body);
  w.U32(op);
  w.U32(status);
  w.U32(count);
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_FAULT, body);
  return st ? FailedTesting("fail", st) : 0;
}

int CmdShutdown(const CtlContext &ctx) {
  ZOR_ReturnStatus st = Request(ctx, OP_CTL_SHUTDOWN, ByteBuf());
  return st ? FailedTesting("shutdown", st) : 0;
}

int CmdHelp(const CtlContext &);

const struct CtlCommand {
  const char *name;
  size_t minArgs;
  size_t maxArgs;
  const char *synopsis;
  int (*run)(const CtlContext &);
} kCtlCommands[] = {
    {"info", 0, 0, "info                                  counts, clients, active faults", CmdInfo},
    {"ops", 0, 0, "ops                                   operations that 'fail' accepts", CmdOps},
    {"set-prop", 4, 5, "set-prop SWITCH TARGET KEY VALUE [FLAGS]  (FLAGS: RUNTIME|VOLATILE)",
     CmdSetProp},
    {"clear-prop", 3, 3, "clear-prop SWITCH TARGET KEY", CmdClearProp},
    {"port-state", 3, 3, "port-state SWITCH PORT STATE          NORMAL, SHADOW, ZOMBIE, ...",
     CmdPortState},
    {"uplink-stats", 2, 2 + UPLINK_STATISTICS_COUNT, "uplink-stats SWITCH PORT [COUNTER...]",
     CmdUplinkStats},
    {"post-event", 1, 4, "post-event TYPE [SWITCH|- [PORT|- [DATA]]]", CmdPostEvent},
    {"fail", 2, 3, "fail OPERATION STATUS [COUNT] | fail OPERATION|all off", CmdFail},
    {"shutdown", 0, 0, "shutdown                              stop the daemon", CmdShutdown},
    {"help", 0, 0, "help", CmdHelp},
};

int CmdHelp(const CtlContext &) {
  printf("usage: zorcored ctl [--socket PATH] COMMAND [ARGS...]\n");
  for (const CtlCommand &c : kCtlCommands) printf("  %s\n", c.synopsis);
  printf(
      "SWITCH: switch ID text, alias or name; TARGET: port, globalPropList or hostPropList\n"
      "VALUE, DATA: items u8:N u16:N u32:N i32:N u64:N hex:HEX zero:N str:TEXT, "
      "comma-separated\n");
  return 0;
}

/* Appends v as a little-endian number of width bytes (1, 2, 4 or 8); v fits that width. */
void PutNumber(WireWriter &w, uint64_t v, int width) {
  switch (width) {
    case 1:
      w.U8(static_cast<uint8_t>(v));
      break;
    case 2:
      w.U16(static_cast<uint16_t>(v));
      break;
    case 4:
      w.U32(static_cast<uint32_t>(v));
      break;
    default:
      w.U64(v);
  }
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool CtlParseValue(std::string_view text, ByteBuf *out, std::string *error) {
  out->Clear();
  WireWriter w(out);
  while (!text.empty()) {
    size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
      *error = "item without a type";
      return false;
    }
    std::string_view type = text.substr(0, colon);
    std::string_view rest = text.substr(colon + 1);
    if (type == "str") {
      w.Bytes(rest.data(), rest.size());
      w.U8(0);
      return true;
    }
    size_t comma = rest.find(',');
    std::string_view item = rest.substr(0, comma);
    text = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    if (comma != std::string_view::npos && text.empty()) {
      *error = "empty item";
      return false;
    }
    if (type == "hex") {
      if (item.size() % 2) {
        *error = "odd number of hex digits";
        return false;
      }
      for (size_t i = 0; i < item.size(); i += 2) {
        int hi = HexDigit(item[i]);
        int lo = HexDigit(item[i + 1]);
        if (hi < 0 || lo < 0) {
          *error = "not a hex digit";
          return false;
        }
        w.U8(static_cast<uint8_t>(hi * 16 + lo));
      }
      continue;
    }
    if (type == "i32") {
      std::string s(item);
      char *end = nullptr;
      errno = 0;
      long long v = strtoll(s.c_str(), &end, 0);
      if (s.empty() || errno || *end || v < INT32_MIN || v > INT32_MAX) {
        *error = "not a 32-bit signed number";
        return false;
      }
      w.U32(static_cast<uint32_t>(static_cast<int32_t>(v)));
      continue;
    }
    uint64_t v;
    if (!ParseU64(item, &v)) {
      *error = "not a number";
      return false;
    }
    int width = type == "u8" ? 1 : type == "u16" ? 2 : type == "u32" ? 4 : type == "u64" ? 8 : 0;
    if (type == "zero") {
      if (v > (1u << 20)) {
        *error = "too many zero bytes";
        return false;
      }
      for (uint64_t i = 0; i < v; i++) w.U8(0);
      continue;
    }
    if (width == 0) {
      *error = "unknown item type";
      return false;
    }
    if (width < 8 && v >> (8 * width)) {
      *error = "number too large for its width";
      return false;
    }
    PutNumber(w, v, width);
  }
  return true;
}

bool CtlParseFlags(std::string_view text, int32_t *flags) {
  uint64_t n;
  if (ParseU64(text, &n)) {
    if (n > 0xffffffffu) return false;
    *flags = static_cast<int32_t>(static_cast<uint32_t>(n));
    return true;
  }
  static const struct {
    const char *name;
    uint32_t bit;
  } kNames[] = {
      {"VOLATILE", 0x04},       {"POLICY", 0x08},       {"CONFIG", 0x10},
      {"RUNTIME", 0x20},        {"NO_REPLICATE", 0x40}, {"NO_SET_LOCAL_CALLBACK", 0x80},
      {"NO_SYNC", 0x80000000u},
  };
  uint32_t bits = 0;
  while (!text.empty()) {
    size_t sep = text.find_first_of("|,");
    std::string_view name = text.substr(0, sep);
    text = sep == std::string_view::npos ? std::string_view() : text.substr(sep + 1);
    bool known = false;
    for (const auto &f : kNames) {
      if (name == f.name) {
        bits |= f.bit;
        known = true;
      }
    }
    if (!known) return false;
  }
  *flags = static_cast<int32_t>(bits);
  return true;
}

bool CtlParseState(std::string_view text, uint32_t *state) {
  static const struct {
    const char *name;
    uint32_t state;
  } kStates[] = {
      {"INVALID", DVS_PORT_STATE_INVALID},         {"NORMAL", DVS_PORT_STATE_NORMAL},
      {"SHADOW", DVS_PORT_STATE_SHADOW},           {"ZOMBIE", DVS_PORT_STATE_ZOMBIE},
      {"LOCAL_CACHE", DVS_PORT_STATE_LOCAL_CACHE}, {"LOCAL CACHE", DVS_PORT_STATE_LOCAL_CACHE},
  };
  for (const auto &s : kStates) {
    if (text == s.name) {
      *state = s.state;
      return true;
    }
  }
  return ParseU32(text, state);
}

int CtlMain(int argc, char **argv) {
  CtlContext ctx;
  ctx.socket = SocketPath();
  int i = 1;
  if (i + 1 < argc && strcmp(argv[i], "--socket") == 0) {
    ctx.socket = argv[i + 1];
    i += 2;
  }
  if (i >= argc) {
    fprintf(stderr, "zorcored ctl: no command (zorcored ctl help lists them)\n");
    return 2;
  }
  std::string name = argv[i++];
  for (; i < argc; i++) ctx.args.push_back(argv[i]);
  for (const CtlCommand &c : kCtlCommands) {
    if (name != c.name) continue;
    if (ctx.args.size() < c.minArgs || ctx.args.size() > c.maxArgs) {
      fprintf(stderr, "usage: zorcored ctl %s\n", c.synopsis);
      return 2;
    }
    return c.run(ctx);
  }
  fprintf(stderr, "zorcored ctl: unknown command '%s' (zorcored ctl help lists them)\n",
          name.c_str());
  return 2;
}

}  // namespace zorcored
