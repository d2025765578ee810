// SPDX-License-Identifier: Apache-2.0
/*
 * channel_test.cpp --
 *
 *    The kernel channel without zorcored: frame headers and text fields,
 *    the operation table, and the library's client against scripted fake
 *    daemons that answer wrongly, go silent, hang up or restart; and the
 *    host facts of DVSMisc.
 */

#include "channel.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/protocol.h"
#include "dvslib.h"

namespace {

using namespace zor::chan;

std::string HeaderBytes(uint16_t op, uint32_t status, uint32_t len) {
  uint8_t raw[FRAME_HEADER_LEN];
  FrameHeader h;
  h.op = op;
  h.status = status;
  h.bodyLen = len;
  HeaderEncode(h, raw);
  return std::string(reinterpret_cast<char *>(raw), sizeof(raw));
}

TEST(ChannelFrames, HeaderLayoutAndRefusals) {
  std::string h = HeaderBytes(OP_PORT_DATA_SET | OP_REPLY, 0xbad0003, 0x01020304);
  EXPECT_EQ(h, std::string("ZCHN\x01\x00\x0e\x80\x03\x00\xad\x0b\x04\x03\x02\x01", 16));
  FrameHeader d;
  ASSERT_EQ(HeaderDecode(reinterpret_cast<const uint8_t *>(h.data()), &d), 0u);
  EXPECT_EQ(d.op, OP_PORT_DATA_SET | OP_REPLY);
  EXPECT_EQ(d.status, 0xbad0003u);
  EXPECT_EQ(d.bodyLen, 0x01020304u);

  std::string bad = h;
  bad[0] = 'X';
  EXPECT_EQ(HeaderDecode(reinterpret_cast<const uint8_t *>(bad.data()), &d), ZOR_NOT_A_CONFIG);
  bad = h;
  bad[4] = 2;
  EXPECT_EQ(HeaderDecode(reinterpret_cast<const uint8_t *>(bad.data()), &d), ZOR_BAD_VERSION);
  bad = HeaderBytes(OP_STATE_INIT, 0, FRAME_BODY_MAX + 1);
  EXPECT_EQ(HeaderDecode(reinterpret_cast<const uint8_t *>(bad.data()), &d), ZOR_TOO_LARGE);
  bad = HeaderBytes(OP_STATE_INIT, 0, FRAME_BODY_MAX);
  EXPECT_EQ(HeaderDecode(reinterpret_cast<const uint8_t *>(bad.data()), &d), 0u);
}

TEST(ChannelFrames, FrameBuilderFillsInTheLength) {
  zor::ByteBuf f;
  FrameBegin(&f, OP_SWITCH_ADD);
  zor::WireWriter w(&f);
  WriteText(w, "sw");
  WriteText(w, nullptr);
  ASSERT_TRUE(FrameFinish(&f));
  std::string bytes(reinterpret_cast<char *>(f.Data()), f.Size());
  EXPECT_EQ(bytes, HeaderBytes(OP_SWITCH_ADD, 0, 10) + std::string("\2\0\0\0sw\0\0\0\0", 10));
}

TEST(ChannelFrames, TextFieldsAreCheckedButSkippable) {
  std::string body;
  auto text = [&](const std::string &s) {
    uint32_t n = static_cast<uint32_t>(s.size());
    body.append(reinterpret_cast<char *>(&n), 4);
    body += s;
  };
  text(std::string("a\0b", 3));
  text(std::string(TEXT_FIELD_MAX + 1, 'x'));
  text("fine");
  zor::WireReader r(body.data(), body.size());
  std::string out;
  EXPECT_EQ(ReadText(r, &out), ZOR_BAD_PARAM);
  EXPECT_EQ(ReadText(r, &out), ZOR_TOO_LARGE);
  EXPECT_EQ(ReadText(r, &out), 0u);
  EXPECT_EQ(out, "fine");
  EXPECT_TRUE(r.Ok());
  EXPECT_EQ(ReadText(r, &out), 0u); /* past the end: the reader fails instead */
  EXPECT_FALSE(r.Ok());
}

TEST(ChannelFrames, OperationNames) {
  EXPECT_EQ(OpLookupByName("PortRemove"), OpLookupByName("DVSZOR_PortRemove"));
  ASSERT_NE(OpLookupByName("DVSFile_Write"), nullptr);
  EXPECT_EQ(OpLookupByName("DVSFile_Write")->op, OP_STORE_WRITE);
  EXPECT_EQ(OpLookupByName("Bogus"), nullptr);
  EXPECT_EQ(OpLookupByName("DVSZOR_"), nullptr);
  EXPECT_EQ(OpLookup(OP_CMD_EXEC | OP_REPLY), OpLookup(OP_CMD_EXEC));
  EXPECT_EQ(OpLookup(0), nullptr);
  size_t n;
  const OpInfo *ops = OpTable(&n);
  for (size_t i = 0; i < n; i++) {
    EXPECT_EQ(OpLookup(ops[i].op), &ops[i]);
    EXPECT_EQ(OpLookupByName(ops[i].name), &ops[i]) << ops[i].name;
  }
  EXPECT_FALSE(OpLookup(OP_CTL_FAULT)->faultable);
  EXPECT_TRUE(OpLookup(OP_EVENT_REGISTER)->faultable);
}

/*
 * A scripted daemon: listens on a private path and runs script(fd) for
 * each connection after greeting it. Closes everything when destroyed.
 */
class FakeDaemon {
 public:
  using Script = std::function<void(int fd)>;
  FakeDaemon(const std::string &path, Script script) : path_(path), script_(std::move(script)) {
    unlink(path.c_str());
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    EXPECT_EQ(bind(fd_, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)), 0);
    EXPECT_EQ(listen(fd_, 8), 0);
    thread_ = std::thread([this] { Loop(); });
  }
  ~FakeDaemon() {
    stop_ = true;
    {
      /* Wakes a script blocked on its connection. */
      std::lock_guard<std::mutex> lock(mutex_);
      for (int c : conns_) shutdown(c, SHUT_RDWR);
    }
    thread_.join();
    for (int c : conns_) close(c);
    close(fd_);
    unlink(path_.c_str());
  }
  int Connections() const { return accepted_; }

  /* Reads one request frame; returns its op, or -1. */
  static int ReadRequest(int fd, std::string *body = nullptr) {
    std::string h = ReadN(fd, FRAME_HEADER_LEN);
    FrameHeader d;
    if (h.size() != FRAME_HEADER_LEN ||
        HeaderDecode(reinterpret_cast<const uint8_t *>(h.data()), &d) != 0) {
      return -1;
    }
    std::string b = ReadN(fd, d.bodyLen);
    if (body) *body = b;
    return d.op;
  }
  static void Write(int fd, const std::string &bytes) {
    send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

 private:
  static std::string ReadN(int fd, size_t n) {
    std::string out;
    while (out.size() < n) {
      struct pollfd p = {fd, POLLIN, 0};
      if (poll(&p, 1, 3000) <= 0) break;
      char buf[4096];
      ssize_t got = recv(fd, buf, std::min(sizeof(buf), n - out.size()), 0);
      if (got <= 0) break;
      out.append(buf, static_cast<size_t>(got));
    }
    return out;
  }
  void Loop() {
    while (!stop_) {
      struct pollfd p = {fd_, POLLIN, 0};
      if (poll(&p, 1, 20) <= 0) continue;
      int c = accept(fd_, nullptr, nullptr);
      if (c < 0) continue;
      accepted_++;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        conns_.push_back(c);
      }
      Write(c, HeaderBytes(OP_HELLO, 0, 0));
      script_(c);
    }
  }

  std::string path_;
  Script script_;
  int fd_;
  std::atomic<bool> stop_{false};
  std::atomic<int> accepted_{0};
  std::mutex mutex_;
  std::vector<int> conns_;
  std::thread thread_;
};

class ChannelClient : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/zchan-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/fake.sock";
    setenv("ZORCORE_SOCKET", path_.c_str(), 1);
    setenv("ZORCORE_TIMEOUT_MS", "300", 1);
  }
  void TearDown() override {
    unsetenv("ZORCORE_TIMEOUT_MS");
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  static double Now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
  }
  std::string dir_;
  std::string path_;
};

TEST_F(ChannelClient, NothingListeningIsNoKernel) {
  void *data = nullptr;
  uint32_t len = 0;
  int32_t offset = 0;
  int fd = -1;
  EXPECT_EQ(DVSZOR_StateGet(&data, &len), ZOR_NO_KERNEL);
  EXPECT_EQ(DVSZOR_SwitchAdd("sw", "cswitch", 1, 1), ZOR_NO_KERNEL);
  EXPECT_EQ(DVSFile_Read("/etc/corvane/dvsdata.db", &data, &len, &offset), ZOR_NO_KERNEL);
  EXPECT_EQ(DVSFile_Write("/etc/corvane/dvsdata.db", "x", 1), ZOR_NO_KERNEL);
  EXPECT_EQ(DVSEvent_Register(&fd), ZOR_NO_KERNEL);
  setenv("ZORCORE_SOCKET", "", 1); /* empty: the default path, where nothing listens here */
  EXPECT_STREQ(SocketPath(), DEFAULT_SOCKET_PATH);
  setenv("ZORCORE_SOCKET", (dir_ + "/" + std::string(200, 'x')).c_str(), 1);
  EXPECT_EQ(DVSZOR_StateCleanup(), ZOR_NO_KERNEL); /* too long for a socket address */
}

TEST_F(ChannelClient, RepliesCarryStatusAndValue) {
  FakeDaemon fake(path_, [](int fd) {
    std::string body;
    while (int op = FakeDaemon::ReadRequest(fd, &body)) {
      if (op < 0) return;
      if (op == OP_PORT_DATA_GET) {
        FakeDaemon::Write(fd, HeaderBytes(op | OP_REPLY, 0, 3) + "abc");
      } else if (op == OP_GLOBAL_PROP_GET) {
        FakeDaemon::Write(fd, HeaderBytes(op | OP_REPLY, 0, 0));
      } else {
        FakeDaemon::Write(fd, HeaderBytes(op | OP_REPLY, 0xbad0004, 0));
      }
    }
  });
  void *data = nullptr;
  uint32_t len = 99;
  ASSERT_EQ(DVSZOR_PortDataGet("sw", "7", "k", &data, &len), 0u);
  ASSERT_EQ(len, 3u);
  EXPECT_EQ(memcmp(data, "abc", 4), 0); /* a NUL follows the value */
  DVSZOR_DataFree(data);
  ASSERT_EQ(DVSZOR_GlobalPropGet("sw", "k", &data, &len), 0u);
  EXPECT_EQ(len, 0u);
  EXPECT_NE(data, nullptr);
  DVSZOR_DataFree(data);
  EXPECT_EQ(DVSZOR_SwitchAdd("sw", "cswitch", 1, 1), 0xbad0004u);
  EXPECT_EQ(DVSZOR_PortRemove("sw", "7"), 0xbad0004u);
  EXPECT_EQ(fake.Connections(), 1); /* one connection carries every call */
  EXPECT_EQ(DVSZOR_PortDataGet(nullptr, "7", "k", &data, &len), ZOR_BAD_PARAM);
  EXPECT_EQ(DVSZOR_PortDataSet("sw", "7", "k", nullptr, 4, 16), ZOR_BAD_PARAM);
}

TEST_F(ChannelClient, BrokenRepliesAreChannelErrors) {
  std::atomic<int> mode{0};
  FakeDaemon fake(path_, [&](int fd) {
    int op = FakeDaemon::ReadRequest(fd);
    if (op < 0) return;
    switch (mode.load()) {
      case 0: /* the reply to another operation */
        FakeDaemon::Write(fd, HeaderBytes(OP_STATE_GET | OP_REPLY, 0, 0));
        break;
      case 1: /* not a frame at all */
        FakeDaemon::Write(fd, std::string(16, 'x'));
        break;
      case 2: /* a body cut short, then gone */
        FakeDaemon::Write(fd, HeaderBytes(op | OP_REPLY, 0, 100) + "abc");
        shutdown(fd, SHUT_RDWR);
        break;
      default: /* hangs up on the request */
        shutdown(fd, SHUT_RDWR);
    }
  });
  for (int m = 0; m < 4; m++) {
    mode = m;
    EXPECT_EQ(DVSZOR_SwitchRemove("sw"), ZOR_CHANNEL_ERROR) << "mode " << m;
  }
  EXPECT_EQ(fake.Connections(), 4); /* each failure closes the connection */
}

TEST_F(ChannelClient, SilentDaemonTimesOut) {
  FakeDaemon fake(path_, [](int) {});
  double t0 = Now();
  EXPECT_EQ(DVSZOR_StateCleanup(), ZOR_TIMEOUT);
  double took = Now() - t0;
  EXPECT_GE(took, 0.25);
  EXPECT_LT(took, 3.0);
  setenv("ZORCORE_TIMEOUT_MS", "not-a-number", 1);
  EXPECT_EQ(TimeoutMs(), DEFAULT_TIMEOUT_MS);
  setenv("ZORCORE_TIMEOUT_MS", "-5", 1);
  EXPECT_EQ(TimeoutMs(), DEFAULT_TIMEOUT_MS);
}

TEST_F(ChannelClient, ReconnectsAfterTheDaemonRestarts) {
  auto echoOk = [](int fd) {
    int op = FakeDaemon::ReadRequest(fd);
    if (op > 0) FakeDaemon::Write(fd, HeaderBytes(op | OP_REPLY, 0, 0));
  };
  {
    FakeDaemon first(path_, echoOk);
    EXPECT_EQ(DVSZOR_SwitchAssociate("sw"), 0u);
  }
  /* The idle connection to the first daemon is dead; the next call opens a new one. */
  FakeDaemon second(path_, echoOk);
  EXPECT_EQ(DVSZOR_SwitchAssociate("sw"), 0u);
  EXPECT_EQ(second.Connections(), 1);
}

TEST_F(ChannelClient, RefusedGreetingIsReported) {
  std::string path = dir_ + "/refuse.sock";
  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un addr = {};
  addr.sun_family = AF_UNIX;
  strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
  ASSERT_EQ(bind(s, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)), 0);
  ASSERT_EQ(listen(s, 4), 0);
  std::thread refuse([&] {
    int c = accept(s, nullptr, nullptr);
    FakeDaemon::Write(c, HeaderBytes(OP_HELLO, ZOR_PERMISSION_DENIED, 0));
    close(c);
  });
  int fd = -1;
  EXPECT_EQ(ConnectDaemon(path.c_str(), 1000, &fd), ZOR_PERMISSION_DENIED);
  refuse.join();
  close(s);
}

TEST(HostFacts, ComeFromTheRunningHost) {
  uint64_t kb = 0;
  ASSERT_EQ(DVSMisc_GetMemorySize(&kb), 0u);
  struct sysinfo si;
  ASSERT_EQ(sysinfo(&si), 0);
  EXPECT_EQ(kb, static_cast<uint64_t>(si.totalram) * si.mem_unit / 1024);
  uint32_t packages = 0;
  uint32_t cores = 0;
  ASSERT_EQ(DVSMisc_GetCpuPackages(&packages), 0u);
  ASSERT_EQ(DVSMisc_GetCpuCores(&cores), 0u);
  EXPECT_GE(packages, 1u);
  EXPECT_GE(cores, packages);
  uint8_t addr[4] = {};
  ASSERT_EQ(DVSMisc_GetZornicIpv4Addr("lo", addr), 0u);
  EXPECT_EQ(addr[0], 127);
  EXPECT_EQ(addr[3], 1);
  EXPECT_EQ(DVSMisc_GetZornicIpv4Addr("nosuch0", addr), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSMisc_GetZornicIpv4Addr("", addr), ZOR_NOT_FOUND);
  EXPECT_EQ(DVSMisc_GetZornicIpv4Addr(nullptr, addr), ZOR_BAD_PARAM);
  EXPECT_EQ(DVSMisc_GetMemorySize(nullptr), ZOR_BAD_PARAM);
}

}  // namespace
