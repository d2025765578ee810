// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_reliability_test.cpp --
 *
 *    The kernel channel under stress and abuse: concurrent writers lose
 *    nothing; malformed, truncated, oversized and abandoned frames drop
 *    only their sender; listeners that stop reading are dropped while the
 *    others get every event; a daemon killed while writing the store
 *    leaves one that loads; brakk gives up on a daemon that stops
 *    answering instead of hanging; other users are refused, unless they
 *    belong to the socket's group; a daemon leaves no runtime directory.
 *
 *    The hostile clients speak the channel's frames byte by byte: a
 *    16-byte header (magic "ZCHN", u16 version 1, u16 op, u32 status,
 *    u32 body length, little-endian) and the body.
 */

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using transcript::lines::HOST_LIST;
using transcript::lines::Switch;

/* Operation codes of the channel used here. */
enum : uint16_t {
  OP_HELLO = 1,
  OP_STATE_GET = 2,
  OP_STATE_INIT = 4,
  OP_SWITCH_ADD = 6,
  OP_EVENT_REGISTER = 28,
  OP_EVENT_POST = 29,
  OP_REPLY = 0x8000,
};

void PutU32(std::string &s, uint32_t v) {
  for (int i = 0; i < 4; i++) s += static_cast<char>(v >> (8 * i));
}

uint32_t GetU32(const std::string &s, size_t at) {
  uint32_t v = 0;
  for (int i = 0; i < 4; i++)
    v |= static_cast<uint32_t>(static_cast<uint8_t>(s[at + i])) << (8 * i);
  return v;
}

std::string Header(uint16_t op, uint32_t bodyLen, uint32_t magic = 0x4e48435au,
                   uint16_t version = 1) {
  std::string h;
  PutU32(h, magic);
  h += static_cast<char>(version);
  h += static_cast<char>(version >> 8);
  h += static_cast<char>(op);
  h += static_cast<char>(op >> 8);
  PutU32(h, 0);
  PutU32(h, bodyLen);
  return h;
}

std::string Frame(uint16_t op, const std::string &body) {
  return Header(op, body.size()) + body;
}

double Now() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/* A raw, blocking client connection; reads the greeting when asked to. */
class RawClient {
 public:
  explicit RawClient(const std::string &path, bool readHello = true) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    if (connect(fd_, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) != 0) {
      close(fd_);
      fd_ = -1;
      return;
    }
    if (readHello) {
      std::string hello = Read(16);
      if (hello.size() != 16 || GetU32(hello, 8) != 0) Close();
    }
  }
  ~RawClient() { Close(); }
  bool Ok() const { return fd_ >= 0; }
  int Fd() const { return fd_; }
  void Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  bool Send(const std::string &bytes) {
    size_t at = 0;
    while (at < bytes.size()) {
      ssize_t n = send(fd_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (n <= 0) return false;
      at += static_cast<size_t>(n);
    }
    return true;
  }
  /* Reads n bytes (fewer when the daemon closes or 5 seconds pass). */
  std::string Read(size_t n) {
    std::string out;
    while (out.size() < n) {
      struct pollfd p = {fd_, POLLIN, 0};
      if (poll(&p, 1, 5000) <= 0) break;
      char buf[65536];
      ssize_t got = recv(fd_, buf, std::min(sizeof(buf), n - out.size()), 0);
      if (got <= 0) break;
      out.append(buf, static_cast<size_t>(got));
    }
    return out;
  }
  /* Reads one reply frame; returns its status, or -1 when none comes. */
  long Reply(uint16_t op, std::string *body = nullptr) {
    std::string h = Read(16);
    if (h.size() != 16 || GetU32(h, 4) != (1u | ((op | OP_REPLY) << 16))) return -1;
    std::string b = Read(GetU32(h, 12));
    if (body) *body = b;
    return GetU32(h, 8);
  }
  /* True when the daemon closes the connection within seconds; what it sent first is skipped. */
  bool ClosedByPeer(int seconds = 5) {
    double deadline = Now() + seconds;
    for (;;) {
      int left = static_cast<int>((deadline - Now()) * 1000);
      struct pollfd p = {fd_, POLLIN, 0};
      if (left <= 0 || poll(&p, 1, left) <= 0) return false;
      char buf[65536];
      ssize_t got = recv(fd_, buf, sizeof(buf), 0);
      if (got == 0 || (got < 0 && errno == ECONNRESET)) return true;
      if (got < 0) return false;
    }
  }

 private:
  int fd_ = -1;
};

std::string Text(const std::string &s) {
  std::string out;
  PutU32(out, s.size());
  return out + s;
}

/* Resident memory of a process in KiB, from /proc; -1 when unknown. */
long RssKb(pid_t pid) {
  std::string status = ReadFile("/proc/" + std::to_string(pid) + "/status");
  size_t at = status.find("VmRSS:");
  return at == std::string::npos ? -1 : strtol(status.c_str() + at + 6, nullptr, 10);
}

class Reliability : public KernelTest {};

TEST_F(Reliability, ConcurrentWritersLoseNothing) {
  const int kWorkers = 8;
  const int kWrites = 200;
  MakeKernelSwitch(Numbered("p", kWorkers));
  /*
   * 1600 processes: in the sanitizer build, leak checking at each exit would
   * dominate the run; the other transcripts check leaks, this one the writes.
   */
  RunOptions options = Kernel();
  const char *asan = getenv("ASAN_OPTIONS");
  options.env = {std::string("ASAN_OPTIONS=") + (asan && *asan ? std::string(asan) + ":" : "") +
                 "detect_leaks=0"};
  std::atomic<int> failures{0};
  std::vector<std::thread> workers;
  for (int w = 0; w < kWorkers; w++) {
    workers.emplace_back([&, w] {
      for (int i = 0; i < kWrites; i++) {
        RunResult r = Brakk("-s k" + std::to_string(i) + "=v" + std::to_string(w * 1000 + i) +
                                " -p p" + std::to_string(w) + " dvs0",
                            options);
        if (r.exitStatus != 0 || !r.err.empty()) failures++;
      }
    });
  }
  for (auto &t : workers) t.join();
  EXPECT_EQ(failures.load(), 0);
  RunResult list = Brakk("-l dvs0", Kernel());
  ASSERT_EQ(list.exitStatus, 0);
  for (int w = 0; w < kWorkers; w++) {
    size_t port = list.out.find("\tport p" + std::to_string(w) + ":\n");
    ASSERT_NE(port, std::string::npos);
    size_t end = list.out.find("\tport ", port + 1);
    std::string block = list.out.substr(port, end == std::string::npos ? end : end - port);
    size_t at = 0;
    for (int i = 0; i < kWrites; i++) {
      /* Every write is there, in the order its worker made them. */
      std::string line = "\t\tk" + std::to_string(i) + " = v" + std::to_string(w * 1000 + i) +
                         " , \tpropType = CONFIG \n";
      at = block.find(line, at);
      ASSERT_NE(at, std::string::npos) << "port p" << w << " lacks " << line;
    }
  }
}

TEST_F(Reliability, HostileFramesDropOnlyTheirSender) {
  MakeKernelSwitch();
  /* A quiet client that stays connected throughout: it must keep being served. */
  RawClient bystander(Socket());
  ASSERT_TRUE(bystander.Ok());

  struct Case {
    const char *what;
    std::string bytes;
  };
  const Case dropped[] = {
      {"wrong magic", Header(OP_STATE_GET, 0, 0x12345678u)},
      {"wrong version", Header(OP_STATE_GET, 0, 0x4e48435au, 9)},
      {"length over the limit", Header(OP_STATE_INIT, 0xffffffffu)},
      {"a reply sent as a request", Header(OP_STATE_GET | OP_REPLY, 0)},
      {"a greeting sent by a client", Header(OP_HELLO, 0)},
      {"body shorter than its fields", Frame(OP_SWITCH_ADD, std::string("\x05\0\0", 3))},
      {"bytes after the fields", Frame(OP_STATE_GET, "x")},
      {"text length past the body", Frame(OP_SWITCH_ADD, std::string("\xff\xff\0\0abc", 7))},
      {"event with a short switch ID", Frame(OP_EVENT_POST, std::string(10, '\0'))},
  };
  for (const Case &c : dropped) {
    RawClient evil(Socket());
    ASSERT_TRUE(evil.Ok()) << c.what;
    ASSERT_TRUE(evil.Send(c.bytes)) << c.what;
    EXPECT_TRUE(evil.ClosedByPeer()) << c.what;
  }

  /* Unknown operations are refused, not fatal. */
  RawClient curious(Socket());
  ASSERT_TRUE(curious.Send(Frame(999, "")));
  EXPECT_EQ(curious.Reply(999), 0xbad0020);
  /* A text with a NUL in it is a bad parameter; the sender stays. */
  ASSERT_TRUE(curious.Send(
      Frame(OP_SWITCH_ADD, Text(std::string("a\0b", 3)) + Text("x") + std::string(8, '\0'))));
  EXPECT_EQ(curious.Reply(OP_SWITCH_ADD), 0xbad0007);

  /* Requests sent back to back behind replies too large for the socket buffer. */
  CtlOk("set-prop dvs0 globalPropList big zero:1000000");
  RawClient eager(Socket());
  ASSERT_TRUE(
      eager.Send(Frame(OP_STATE_GET, "") + Frame(OP_STATE_GET, "") + Frame(OP_STATE_GET, "")));
  for (int i = 0; i < 3; i++) {
    std::string state;
    EXPECT_EQ(eager.Reply(OP_STATE_GET, &state), 0) << "reply " << i;
    EXPECT_GT(state.size(), 1000000u) << "reply " << i;
  }
  CtlOk("clear-prop dvs0 globalPropList big");
  eager.Close();

  /* Clients that vanish mid-request: nothing of their request is applied. */
  {
    RawClient half(Socket());
    std::string body = Text("vanish0") + Text("cswitch") + std::string(8, '\0');
    ASSERT_TRUE(half.Send(Header(OP_SWITCH_ADD, body.size()) + body.substr(0, 9)));
  }
  {
    RawClient headerOnly(Socket());
    ASSERT_TRUE(headerOnly.Send(Header(OP_STATE_INIT, 1000).substr(0, 7)));
  }
  /* A client that asks for the state and never reads it, and one that announces
   * far more than it sends: both only cost what they have actually sent. */
  RawClient deaf(Socket());
  ASSERT_TRUE(deaf.Send(Frame(OP_STATE_GET, "")));
  std::vector<std::unique_ptr<RawClient>> promisers;
  for (int i = 0; i < 20; i++) {
    promisers.push_back(std::make_unique<RawClient>(Socket()));
    ASSERT_TRUE(promisers.back()->Send(Header(OP_STATE_INIT, 200u << 20) + std::string(4096, 'z')));
  }
  ASSERT_TRUE(WaitUntil([&] { return Info("clients") == 24; }));
  EXPECT_LT(RssKb(DaemonPid()), 64 * 1024) << "announced lengths must not be allocated up front";

  CheckKernel({
      {"-a dvs1", 0, "", ""},
      {"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + Switch(DVS1_ID, "dvs1") + HOST_LIST, ""},
  });
  ASSERT_TRUE(bystander.Send(Frame(OP_STATE_GET, "")));
  std::string state;
  EXPECT_EQ(bystander.Reply(OP_STATE_GET, &state), 0);
  EXPECT_GT(state.size(), 16u);

  promisers.clear();
  deaf.Close();
  curious.Close();
  bystander.Close();
  EXPECT_TRUE(WaitUntil([&] { return Info("clients") == 1; }));
}

// A listener outlives a restart of the daemon: while it is away the
// listener reports at most one failure a second (not a flood), and once it
// is back the listener registers again behind the same descriptor and
// prints events as before.
TEST_F(Reliability, ListenerWaitsOutADaemonRestart) {
  Background listener = StartBrakk({"-g"});
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 1; }));
  const auto start = std::chrono::steady_clock::now();
  KillDaemon();
  std::this_thread::sleep_for(std::chrono::seconds(3));
  ASSERT_TRUE(StartDaemon());
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 1; }, 10));
  const double outage =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  CtlOk("post-event 12 dvs0 7 str:back");
  ASSERT_TRUE(WaitUntil([&] {
    return ReadFile(listener.outPath).find("dynamic event id: back\n") != std::string::npos;
  }));
  const std::string out = ReadFile(listener.outPath);
  const std::string failure = "DVSEvent_GetMsg() failed with ";
  int failures = 0;
  for (size_t at = out.find(failure); at != std::string::npos; at = out.find(failure, at + 1)) {
    failures++;
  }
  EXPECT_GE(failures, 1);
  EXPECT_LE(failures, static_cast<int>(outage) + 2) << out;
}

// Idle connections cannot lock others out: one that sends nothing for the
// idle time is dropped (listeners are not), and at the client limit a
// newcomer takes the place of the longest-idle connection.
TEST_F(Reliability, IdleConnectionsGiveWay) {
  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_TRUE(StartDaemon(true, {"--idle-timeout", "1"}));
  Background listener = StartBrakk({"-g"});
  RawClient idle(Socket());
  ASSERT_TRUE(idle.Ok());
  EXPECT_TRUE(idle.ClosedByPeer(10));
  EXPECT_EQ(Info("listeners"), 1);

  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_TRUE(StartDaemon());
  std::vector<std::unique_ptr<RawClient>> crowd;
  for (int i = 0; i < 1000; i++) {
    crowd.push_back(std::make_unique<RawClient>(Socket()));
    ASSERT_TRUE(crowd.back()->Ok()) << "client " << i;
  }
  MakeKernelSwitch();
  EXPECT_TRUE(crowd.front()->ClosedByPeer());
  ASSERT_TRUE(crowd.back()->Send(Frame(OP_STATE_GET, "")));
  EXPECT_EQ(crowd.back()->Reply(OP_STATE_GET), 0);
}

// Unfinished requests share one memory budget: when two clients announce
// 200 MiB frames and send most of them, the one with the larger unfinished
// request is dropped and the other goes on.
TEST_F(Reliability, UnfinishedRequestsShareOneBudget) {
  const uint32_t announced = 200u << 20;
  const std::string chunk(1u << 20, 'x');
  RawClient first(Socket());
  RawClient second(Socket());
  ASSERT_TRUE(first.Ok() && second.Ok());
  ASSERT_TRUE(first.Send(Header(OP_STATE_INIT, announced)));
  for (int i = 0; i < 199; i++) ASSERT_TRUE(first.Send(chunk));
  ASSERT_TRUE(second.Send(Header(OP_STATE_INIT, announced)));
  bool sent = true;
  for (int i = 0; i < 150 && sent; i++) sent = second.Send(chunk);
  EXPECT_TRUE(sent);
  EXPECT_TRUE(first.ClosedByPeer());
  EXPECT_EQ(Info("clients"), 2); /* second, and the info request itself */
}

TEST_F(Reliability, ListenersThatFallBehindAreDropped) {
  Background reader = StartBrakk({"-g"});
  RawClient sleeper(Socket());
  ASSERT_TRUE(sleeper.Send(Frame(OP_EVENT_REGISTER, "")));
  ASSERT_EQ(sleeper.Reply(OP_EVENT_REGISTER), 0);
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 2; }));

  auto lines = [&] {
    std::string out = ReadFile(reader.outPath);
    return static_cast<int>(std::count(out.begin(), out.end(), '\n'));
  };
  /*
   * 6000 events of 1 KiB: more than a listener may have waiting. The
   * poster lets the reading listener keep up, so only the sleeper lags.
   */
  const int kEvents = 6000;
  RawClient poster(Socket());
  for (int i = 0; i < kEvents; i++) {
    if (i % 500 == 0) {
      ASSERT_TRUE(WaitUntil([&] { return lines() >= 2 * i; }, 30));
    }
    std::string data;
    PutU32(data, i);
    data.resize(1024, '\0');
    std::string body;
    PutU32(body, 5);
    body += std::string(16, '\0') + Text("p") + Text(data);
    ASSERT_TRUE(poster.Send(Frame(OP_EVENT_POST, body)));
    ASSERT_EQ(poster.Reply(OP_EVENT_POST), 0) << "event " << i;
  }
  EXPECT_TRUE(sleeper.ClosedByPeer());
  EXPECT_EQ(Info("listeners"), 1);
  ASSERT_TRUE(WaitUntil([&] { return lines() >= 2 * kEvents; }, 60));
  std::string out = StopBackground(reader, SIGTERM);
  /* The reader got every event, in order. */
  size_t at = 0;
  for (int i = 0; i < kEvents; i++) {
    std::string line = " dvport p (type " + std::to_string(i) + ")\n";
    at = out.find(line, at);
    ASSERT_NE(at, std::string::npos) << "missing event " << i;
  }
}

TEST_F(Reliability, StoreSurvivesDaemonKilledDuringWrites) {
  /* A configuration of a few hundred KiB makes each store write take a while. */
  CheckKernel({{"-f ./big.db -i", 0, "", ""}, {"-f ./big.db -a -C -P 300 dvs0", 0, "", ""}});
  std::mt19937 rng(12345);
  int kills = 0;
  for (int round = 0; round < 6; round++) {
    SCOPED_TRACE("round " + std::to_string(round));
    CheckKernel({{"-f ./big.db -S", 0, "", ""}});
    std::atomic<bool> stop{false};
    std::atomic<int> writes{0};
    std::thread writer([&] {
      while (!stop) {
        RunResult r = Brakk(round % 2 ? "-G" : "-i", Kernel());
        if (r.exitStatus != 0) break; /* the daemon is gone */
        writes++;
      }
    });
    ASSERT_TRUE(WaitUntil([&] { return writes > 0; }));
    usleep(std::uniform_int_distribution<int>(1000, 60000)(rng));
    KillDaemon();
    kills++;
    stop = true;
    writer.join();
    ASSERT_TRUE(StartDaemon());
    /* Whatever the kill interrupted, the store is one whole configuration. */
    RunResult r = Brakk("-S", Kernel());
    EXPECT_EQ(r.exitStatus, 0) << r.err;
    EXPECT_EQ(r.err, "");
    RunResult count = Brakk("--cmdExec portcount dvs0", Kernel());
    if (count.exitStatus == 0) {
      EXPECT_EQ(count.out, "300\n");
    }
    EXPECT_FALSE(access((StateDir() + "/dvsdata.db.tmp").c_str(), F_OK) == 0);
  }
  EXPECT_EQ(kills, 6);
}

TEST_F(Reliability, ClientsTimeOutOnADaemonThatStopsAnswering) {
  RunOptions fast = Kernel();
  fast.env = {"ZORCORE_TIMEOUT_MS=300"};
  fast.timeoutSeconds = 20;
  const std::string timedOut = "failed to get config data: Kernel channel timed out\n";

  /* The daemon, stopped: connections queue up but nothing answers, not even the greeting. */
  MakeKernelSwitch();
  kill(DaemonPid(), SIGSTOP);
  double t0 = Now();
  Check({{"-l", 1, "", timedOut},
         {"-g", 255, "DVSEvent_Register() failed, bad0102\n",
          "NOT_REACHED apps/net/dvs/brakk:662\n"}},
        fast);
  EXPECT_LT(Now() - t0, 8.0);
  kill(DaemonPid(), SIGCONT);
  CheckKernel({{"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST, ""}});
}

TEST_F(Reliability, DeadDaemonMeansNoKernel) {
  KillDaemon(); /* leaves its socket file behind */
  struct stat st;
  ASSERT_EQ(stat(Socket().c_str(), &st), 0);
  double t0 = Now();
  CheckKernel({
      {"-l", 1, "", "failed to get config data: No kernel switch module on this host\n"},
      {"-g", 255, "DVSEvent_Register() failed, bad0101\n", "NOT_REACHED apps/net/dvs/brakk:662\n"},
  });
  EXPECT_LT(Now() - t0, 5.0);
  /* A new daemon takes the stale socket over. */
  ASSERT_TRUE(StartDaemon());
  CheckKernel({{"-l", 0, "", ""}});
}

TEST_F(Reliability, SecondDaemonOnTheSameSocketOrStateIsRefused) {
  RunOptions z;
  z.program = ZORCORED_BIN;
  z.argv0 = "zorcored";
  RunResult r = transcript::Run({"--socket", Socket(), "--state-dir", PathOf("other")}, z);
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "zorcored: " + Socket() + " is served by another zorcored\n");
  r = transcript::Run({"--socket", PathOf("other.sock"), "--state-dir", StateDir()}, z);
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "zorcored: state directory " + StateDir() + " is in use by another zorcored\n");
  struct stat st;
  EXPECT_EQ(stat(Socket().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
}

// A switch that would not fit in memory is refused at once, in the
// kernel and in a file alike.
TEST_F(Reliability, HugeSwitchesAreRefused) {
  const std::string refused = "Operation failed: status = 0xbad0007\n";
  CheckKernel({
      {"-a -C -P 2000000000 dvs0", 7, "", refused},
      {"-a -P 16385 dvs0", 7, "", refused},
      {"-a dvs0", 0, "", ""},
      {"--setMaxPorts 2000000000 dvs0", 7, "", refused},
  });
  Check({
      {"-f $F -i", 0, "", ""},
      {"-f $F -a -C -P 2000000000 dvs0", 7, "", NK + refused},
  });
  EXPECT_EQ(Info("ports"), 0);
}

// A socket path taken by something that is not a socket is refused, and
// the refused daemon creates nothing: not its state directory, not a
// socket in place of the file.
TEST_F(Reliability, SocketPathThatIsNotASocketIsRefused) {
  RunOptions z;
  z.program = ZORCORED_BIN;
  z.argv0 = "zorcored";
  const std::string file = PathOf("plain");
  std::ofstream(file) << "keep me\n";
  ASSERT_EQ(mkdir(PathOf("adir").c_str(), 0755), 0);
  for (const std::string &path : {file, PathOf("adir")}) {
    RunResult r = transcript::Run({"--socket", path, "--state-dir", PathOf("fresh")}, z);
    EXPECT_EQ(r.exitStatus, 1);
    EXPECT_EQ(r.err, "zorcored: " + path + " exists and is not a socket\n");
    struct stat st;
    EXPECT_NE(stat(PathOf("fresh").c_str(), &st), 0) << path;
  }
  EXPECT_EQ(ReadFile(file), "keep me\n");
}

// Only a daemon started with --testing obeys the requests that break it.
TEST_F(Reliability, InjectedFailuresNeedTheTestingOption) {
  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_TRUE(StartDaemon(false));
  const std::string refused = " failed: status 0xbad0020\n";
  RunResult r = Ctl("fail PortAdd 0xbad0001");
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "zorcored ctl: fail" + refused +
                       "zorcored ctl: the daemon obeys fail only when started with --testing\n");
  EXPECT_EQ(Ctl("shutdown").exitStatus, 1);
  MakeKernelSwitch();
  EXPECT_EQ(Info("switches"), 1);
}

/* What brakk printed (both streams) and its exit status, run as another user. */
struct ForeignRun {
  int exitStatus = -1;
  std::string output;
};

/*
 * Runs brakk with args against socket as user 65534 with the primary group
 * gid and the supplementary groups groups (needs root).
 */
ForeignRun RunAs(gid_t gid, const std::vector<gid_t> &groups, const std::string &socket,
                 const std::vector<std::string> &args) {
  std::string env = "ZORCORE_SOCKET=" + socket;
  std::vector<char *> argv = {const_cast<char *>("brakk")};
  for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  int pipeFd[2];
  if (pipe(pipeFd) != 0) return {};
  pid_t pid = fork();
  if (pid == 0) {
    dup2(pipeFd[1], 2);
    dup2(pipeFd[1], 1);
    if (setgroups(groups.size(), groups.data()) != 0 || setgid(gid) != 0 || setuid(65534) != 0) {
      _exit(120);
    }
    char *envp[] = {env.data(), nullptr};
    execve(BRAKK_BIN, argv.data(), envp);
    _exit(121);
  }
  close(pipeFd[1]);
  ForeignRun r;
  char buf[512];
  ssize_t n;
  while ((n = read(pipeFd[0], buf, sizeof(buf))) > 0) r.output.append(buf, static_cast<size_t>(n));
  close(pipeFd[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) r.exitStatus = WEXITSTATUS(status);
  return r;
}

TEST_F(Reliability, OtherUsersAreRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run a client as another user";
  /* Open the way to the socket so that only the daemon's own check stands. */
  ASSERT_EQ(chmod(Dir().c_str(), 0711), 0);
  ASSERT_EQ(chmod(Socket().c_str(), 0666), 0);
  ForeignRun r = RunAs(65534, {}, Socket(), {"-l"});
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.output, "failed to get config data: Permission denied\n");
  CheckKernel({{"-l", 0, "", ""}});
}

// With --socket-group the socket is 0660 in that group, and its members
// (by primary or supplementary group) are served; anyone else is kept out
// by the socket's mode and told which socket refused them.
TEST_F(Reliability, SocketGroupMembersAreServed) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to give the socket a group and switch users";
  const gid_t group = 64201;
  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_TRUE(StartDaemon(true, {"--socket-group", std::to_string(group)}));
  struct stat st;
  ASSERT_EQ(stat(Socket().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0660u);
  EXPECT_EQ(st.st_gid, group);
  ASSERT_EQ(chmod(Dir().c_str(), 0711), 0);
  CheckKernel({{"-a dvs0", 0, "", ""}});

  EXPECT_EQ(RunAs(65534, {group}, Socket(), {"-A", "-p", "7", "dvs0"}).exitStatus, 0);
  ForeignRun primary = RunAs(group, {}, Socket(), {"-l", "dvs0"});
  EXPECT_EQ(primary.exitStatus, 0);
  EXPECT_NE(primary.output.find("port 7:"), std::string::npos) << primary.output;

  ForeignRun outsider = RunAs(65534, {}, Socket(), {"-l"});
  EXPECT_EQ(outsider.exitStatus, 1);
  EXPECT_EQ(outsider.output, "permission denied: cannot connect to zorcored at " + Socket() +
                                 " (kernel mode is for the socket's owner and group)\n"
                                 "failed to get config data: Permission denied\n");
  /* A socket opened to everyone still leaves the daemon's own check. */
  ASSERT_EQ(chmod(Socket().c_str(), 0666), 0);
  EXPECT_EQ(RunAs(65534, {}, Socket(), {"-l"}).output,
            "failed to get config data: Permission denied\n");
}

// Under systemd (Type=notify) the daemon says it is ready once its socket
// accepts clients, and that it is stopping when it stops.
TEST_F(Reliability, ReadinessIsToldOnceTheSocketServes) {
#ifndef ZORCORED_NOTIFIES
  GTEST_SKIP() << "zorcored is built without libsystemd";
#else
  ASSERT_EQ(StopDaemon(), 0);
  unlink(Socket().c_str());
  const int notify = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un addr = {};
  addr.sun_family = AF_UNIX;
  const std::string notifyPath = PathOf("notify");
  ASSERT_LT(notifyPath.size(), sizeof(addr.sun_path));
  memcpy(addr.sun_path, notifyPath.c_str(), notifyPath.size());
  ASSERT_EQ(bind(notify, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)), 0);
  const auto next = [&] {
    struct pollfd p = {notify, POLLIN, 0};
    char buf[256];
    if (poll(&p, 1, 10000) != 1) return std::string("(nothing)");
    const ssize_t n = recv(notify, buf, sizeof(buf), 0);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string("(error)");
  };
  const pid_t pid =
      transcript::Spawn(ZORCORED_BIN, {"zorcored", "--socket", Socket(), "--state-dir", StateDir()},
                        {"NOTIFY_SOCKET=" + notifyPath}, Dir(), 2, 2);
  ASSERT_GT(pid, 0);
  EXPECT_EQ(next(), "READY=1");
  CheckKernel({{"-a dvs0", 0, "", ""}});
  kill(pid, SIGTERM);
  EXPECT_EQ(next(), "STOPPING=1");
  const int status = transcript::Reap(pid, 20000);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  close(notify);
#endif
}

// A daemon started by hand removes the socket directories it made when it
// stops (a directory that was there before stays); one given a group that
// does not exist does not start.
TEST_F(Reliability, DaemonRemovesTheRuntimeDirectoriesItMade) {
  transcript::RunOptions z;
  z.program = ZORCORED_BIN;
  z.argv0 = "zorcored";
  RunResult r =
      transcript::Run({"--socket", PathOf("run/x.sock"), "--socket-group", "no such group"}, z);
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "zorcored: no group no such group\n");

  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_EQ(mkdir(PathOf("run").c_str(), 0755), 0);
  const std::string socket = PathOf("run/corvane/deep/zc.sock");
  const pid_t pid = transcript::Spawn(
      ZORCORED_BIN, {"zorcored", "--socket", socket, "--state-dir", StateDir()}, {}, Dir(), 2, 2);
  ASSERT_GT(pid, 0);
  struct stat st;
  ASSERT_TRUE(WaitUntil([&] { return stat(socket.c_str(), &st) == 0; }));
  kill(pid, SIGTERM);
  const int status = transcript::Reap(pid, 20000);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_NE(stat(PathOf("run/corvane").c_str(), &st), 0);
  EXPECT_EQ(stat(PathOf("run").c_str(), &st), 0);
  EXPECT_EQ(stat(StateDir().c_str(), &st), 0);
}

}  // namespace
