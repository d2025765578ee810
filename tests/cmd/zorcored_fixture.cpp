/*
 * zorcored_fixture.cpp --
 *
 *    Starting and stopping a private zorcored, running its control
 *    interface, and background brakk processes for the listener.
 */

#include "zorcored_fixture.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

extern char **environ;

namespace transcript {

namespace {

/* Starts program with argv and extra environment entries, output appended to outPath. */
pid_t Spawn(const std::string &program, const std::vector<std::string> &args,
            const std::vector<std::string> &extraEnv, const std::string &outPath) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                   0600);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  std::vector<std::string> argvStrings = args;
  std::vector<std::string> envStrings;
  for (char **e = environ; *e; e++) {
    bool replaced = false;
    for (const std::string &x : extraEnv) {
      size_t eq = x.find('=');
      if (strncmp(*e, x.c_str(), eq + 1) == 0) replaced = true;
    }
    if (!replaced) envStrings.emplace_back(*e);
  }
  envStrings.insert(envStrings.end(), extraEnv.begin(), extraEnv.end());
  std::vector<char *> argv, envp;
  for (std::string &s : argvStrings) argv.push_back(s.data());
  argv.push_back(nullptr);
  for (std::string &s : envStrings) envp.push_back(s.data());
  envp.push_back(nullptr);
  pid_t pid = -1;
  int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  return rc == 0 ? pid : -1;
}

/* Waits for pid up to seconds; returns its wait status, or -1 when it is still running. */
int WaitFor(pid_t pid, double seconds) {
  for (int i = 0; i < static_cast<int>(seconds * 100); i++) {
    int status = 0;
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid) return status;
    if (r < 0 && errno != EINTR) return -1;
    usleep(10000);
  }
  return -1;
}

}  // namespace

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void KernelTest::SetUp() {
  TranscriptTest::SetUp();
  ASSERT_TRUE(StartDaemon()) << ReadFile(PathOf("zorcored.log"));
}

void KernelTest::TearDown() {
  if (daemon_ > 0) {
    int status = StopDaemon();
    EXPECT_EQ(status, 0) << "zorcored did not end cleanly:\n" << ReadFile(PathOf("zorcored.log"));
  }
  TranscriptTest::TearDown();
}

RunOptions KernelTest::Kernel() const {
  RunOptions o;
  o.kernelSocket = Socket();
  return o;
}

bool KernelTest::StartDaemon() {
  unlink(Socket().c_str());
  daemon_ = Spawn(ZORCORED_BIN, {"zorcored", "--socket", Socket(), "--state-dir", StateDir()}, {},
                  PathOf("zorcored.log"));
  if (daemon_ < 0) return false;
  struct stat st;
  bool up = WaitUntil([&] { return stat(Socket().c_str(), &st) == 0; });
  if (!up) KillDaemon();
  return up;
}

int KernelTest::StopDaemon() {
  if (daemon_ < 0) return -1;
  kill(daemon_, SIGTERM);
  int status = WaitFor(daemon_, 20);
  if (status == -1) {
    KillDaemon();
    return -1;
  }
  daemon_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void KernelTest::KillDaemon() {
  if (daemon_ < 0) return;
  kill(daemon_, SIGKILL);
  int status;
  waitpid(daemon_, &status, 0);
  daemon_ = -1;
}

RunResult KernelTest::Ctl(const std::string &args) const {
  RunOptions o = Kernel();
  o.program = ZORCORED_BIN;
  o.argv0 = "zorcored";
  o.cwd = Dir();
  std::vector<std::string> argv = {"ctl", "--socket", Socket()};
  for (const std::string &w : SplitCommandLine(Expand(args))) argv.push_back(w);
  return Run(argv, o);
}

void KernelTest::CtlOk(const std::string &args) const {
  RunResult r = Ctl(args);
  EXPECT_EQ(r.exitStatus, 0) << "zorcored ctl " << args << "\n" << r.err;
  EXPECT_EQ(r.out, "") << "zorcored ctl " << args;
  EXPECT_EQ(r.err, "") << "zorcored ctl " << args;
}

long KernelTest::Info(const std::string &name) const {
  RunResult r = Ctl("info");
  std::string key = name + ": ";
  size_t at = r.out.find(key);
  if (r.exitStatus != 0 || at == std::string::npos) return -1;
  return strtol(r.out.c_str() + at + key.size(), nullptr, 10);
}

Background KernelTest::StartBrakk(const std::vector<std::string> &args) const {
  Background bg;
  static int serial = 0;
  bg.outPath = PathOf("background-" + std::to_string(serial++) + ".out");
  std::vector<std::string> argv = {"brakk"};
  argv.insert(argv.end(), args.begin(), args.end());
  bg.pid = Spawn(BRAKK_BIN, argv, {"ZORCORE_SOCKET=" + Socket()}, bg.outPath);
  return bg;
}

std::string KernelTest::StopBackground(Background &bg, int signal) {
  if (bg.pid > 0) {
    kill(bg.pid, signal);
    if (WaitFor(bg.pid, 10) == -1) {
      kill(bg.pid, SIGKILL);
      int status;
      waitpid(bg.pid, &status, 0);
    }
    bg.pid = -1;
  }
  return ReadFile(bg.outPath);
}

}  // namespace transcript
