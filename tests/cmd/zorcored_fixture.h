// SPDX-License-Identifier: Apache-2.0
/*
 * zorcored_fixture.h --
 *
 *    Command tests against a running zorcored: each test starts its own
 *    daemon on a socket and state directory inside its private directory,
 *    points brakk at it, and stops it afterwards (expecting a clean exit).
 */

#ifndef TESTS_CMD_ZORCORED_FIXTURE_H
#define TESTS_CMD_ZORCORED_FIXTURE_H

#include <unistd.h>

#include <string>
#include <vector>

#include "transcript.h"

namespace transcript {

/*
 * A program started in the background with its output sent to a file. One
 * still running when it goes out of scope (a test that failed before
 * stopping it) is killed and reaped, so that no listener outlives its test.
 */
struct Background {
  pid_t pid = -1;
  std::string outPath;

  Background() = default;
  Background(Background &&other) noexcept : pid(other.pid), outPath(std::move(other.outPath)) {
    other.pid = -1;
  }
  Background &operator=(Background &&) = delete;
  ~Background();
};

class KernelTest : public TranscriptTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Socket() const { return PathOf("zc.sock"); }
  std::string StateDir() const { return PathOf("state"); }
  /* Options that send brakk to this test's daemon. */
  RunOptions Kernel() const;
  /* Runs the rows against this test's daemon. */
  void CheckKernel(const std::vector<Row> &rows) const { Check(rows, Kernel()); }
  /*
   * Adds a switch to the daemon's kernel with -a addArgs (its last word
   * names it) and then each of ports with -A, checking that every step
   * succeeds silently.
   */
  void MakeKernelSwitch(const std::vector<std::string> &ports = {},
                        const std::string &addArgs = "dvs0") const {
    CheckKernel(SwitchRows("", ports, addArgs, ""));
  }
  void MakeDvs0(const std::vector<std::string> &ports) const override { MakeKernelSwitch(ports); }

  /*
   * Starts zorcored (waits until its socket is up), with --testing unless
   * testing is false, so that ctl fail and ctl shutdown are obeyed, and
   * with the extra options; false when it does not come up.
   */
  bool StartDaemon(bool testing = true, const std::vector<std::string> &extra = {});
  /* Stops it with SIGTERM and returns its exit status (-1 when it had to be killed). */
  int StopDaemon();
  /* Kills the daemon with SIGKILL at once and reaps it. */
  void KillDaemon();
  pid_t DaemonPid() const { return daemon_; }

  /* Runs "zorcored ctl --socket SOCKET" with the (split) arguments. */
  RunResult Ctl(const std::string &args) const;
  /* Runs ctl and fails the test unless it succeeds silently. */
  void CtlOk(const std::string &args) const;
  /* The value of one "name: N" line of "ctl info", or -1. */
  long Info(const std::string &name) const;

  /*
   * Starts brakk with args in the background against this daemon, its
   * standard output and error going to a file; the test stops it.
   */
  Background StartBrakk(const std::vector<std::string> &args) const;
  /* Ends a background program with signal and returns what it printed. */
  static std::string StopBackground(Background &bg, int signal);
  /* Waits until pred() holds, up to seconds; returns whether it did. */
  template <typename Pred>
  static bool WaitUntil(Pred pred, double seconds = 10) {
    for (int i = 0; i < static_cast<int>(seconds * 200); i++) {
      if (pred()) return true;
      usleep(5000);
    }
    return pred();
  }

 private:
  /* Starts program with argv, both output streams appended to the file at outPath. */
  pid_t StartLogged(const std::string &program, const std::vector<std::string> &argv,
                    const std::vector<std::string> &env, const std::string &outPath) const;

  pid_t daemon_ = -1;
};

/* A test whose daemon's kernel holds dvs0 with the ports Ports (KernelSwitchTest<7>). */
template <int... Ports>
using KernelSwitchTest = WithDvs0<KernelTest, Ports...>;

}  // namespace transcript

#endif  // TESTS_CMD_ZORCORED_FIXTURE_H
