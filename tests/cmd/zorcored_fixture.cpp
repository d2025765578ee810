// SPDX-License-Identifier: Apache-2.0
/*
 * zorcored_fixture.cpp --
 *
 *    Starting and stopping a private zorcored, running its control
 *    interface, and background brakk processes for the listener.
 */

#include "zorcored_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace transcript {

void KernelTest::SetUp() {
  TranscriptTest::SetUp();
  ASSERT_TRUE(StartDaemon()) << ReadFile(PathOf("zorcored.log"));
}

void KernelTest::TearDown() {
  if (daemon_ > 0) {
    EXPECT_EQ(StopDaemon(), 0) << "zorcored did not end cleanly:\n"
                               << ReadFile(PathOf("zorcored.log"));
  }
  TranscriptTest::TearDown();
}

RunOptions KernelTest::Kernel() const {
  RunOptions o;
  o.kernelSocket = Socket();
  return o;
}

pid_t KernelTest::StartLogged(const std::string &program, const std::vector<std::string> &argv,
                              const std::vector<std::string> &env,
                              const std::string &outPath) const {
  const int fd = open(outPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return -1;
  const pid_t pid = Spawn(program, argv, env, Dir(), fd, fd);
  close(fd);
  return pid;
}

bool KernelTest::StartDaemon(bool testing, const std::vector<std::string> &extra) {
  unlink(Socket().c_str());
  std::vector<std::string> argv = {"zorcored", "--socket", Socket(), "--state-dir", StateDir()};
  if (testing) argv.push_back("--testing");
  argv.insert(argv.end(), extra.begin(), extra.end());
  daemon_ = StartLogged(ZORCORED_BIN, argv, {}, PathOf("zorcored.log"));
  struct stat st;
  const bool up = daemon_ > 0 && WaitUntil([&] { return stat(Socket().c_str(), &st) == 0; });
  if (!up) KillDaemon();
  return up;
}

int KernelTest::StopDaemon() {
  if (daemon_ < 0) return -1;
  kill(daemon_, SIGTERM);
  const int status = Reap(daemon_, 20000);
  daemon_ = -1;
  return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void KernelTest::KillDaemon() {
  if (daemon_ < 0) return;
  kill(daemon_, SIGKILL);
  Reap(daemon_, 20000);
  daemon_ = -1;
}

RunResult KernelTest::Ctl(const std::string &args) const {
  RunOptions o = Kernel();
  o.program = ZORCORED_BIN;
  o.argv0 = "zorcored";
  o.cwd = Dir();
  std::vector<std::string> argv = {"ctl", "--socket", Socket()};
  for (const std::string &w : SplitCommandLine(Expand(args))) argv.push_back(w);
  return transcript::Run(argv, o);
}

void KernelTest::CtlOk(const std::string &args) const {
  const RunResult r = Ctl(args);
  EXPECT_TRUE(r.exitStatus == 0 && r.out.empty() && r.err.empty())
      << "zorcored ctl " << args << ": status " << r.exitStatus << "\n"
      << r.out << r.err;
}

long KernelTest::Info(const std::string &name) const {
  const RunResult r = Ctl("info");
  const std::string key = name + ": ";
  const size_t at = r.out.find(key);
  if (r.exitStatus != 0 || at == std::string::npos) return -1;
  return strtol(r.out.c_str() + at + key.size(), nullptr, 10);
}

Background::~Background() {
  if (pid > 0) {
    kill(pid, SIGKILL);
    Reap(pid, 10000);
  }
}

Background KernelTest::StartBrakk(const std::vector<std::string> &args) const {
  static int serial = 0;
  Background bg;
  bg.outPath = PathOf("background-" + std::to_string(serial++) + ".out");
  std::vector<std::string> argv = {"brakk"};
  argv.insert(argv.end(), args.begin(), args.end());
  bg.pid = StartLogged(BRAKK_BIN, argv, {"ZORCORE_SOCKET=" + Socket()}, bg.outPath);
  return bg;
}

std::string KernelTest::StopBackground(Background &bg, int signal) {
  if (bg.pid > 0) {
    kill(bg.pid, signal);
    Reap(bg.pid, 10000);
    bg.pid = -1;
  }
  return ReadFile(bg.outPath);
}

}  // namespace transcript
