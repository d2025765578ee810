// SPDX-License-Identifier: Apache-2.0
/*
 * transcript.h --
 *
 *    Running the real brakk (or zorcored) and comparing what it prints and
 *    how it ends with a table of expected transcripts, and the builders of
 *    the expected listing lines that every transcript shares.
 *
 *    Every run gets ZORCORE_SOCKET pointing where no daemon can listen, so
 *    kernel mode always meets "no kernel on this host" unless a test starts
 *    its own daemon and passes its socket in RunOptions::kernelSocket.
 *
 *    A table row is a command line (split like a shell would: blanks
 *    separate words, '...' and "..." group them), the expected exit
 *    status, standard output and standard error, compared exactly. In
 *    command lines "$F" stands for the test's configuration file
 *    ("./dvs.db", relative to the test's private directory, where every
 *    command runs) and "$D" for the private directory's absolute path;
 *    both are also replaced in the expected texts.
 */

#ifndef TESTS_CMD_TRANSCRIPT_H
#define TESTS_CMD_TRANSCRIPT_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace transcript {

/* How a program ended and what it printed. */
struct RunResult {
  int exitStatus = -1; /* the exit status, or -1 when a signal ended it */
  int termSignal = 0;  /* the signal that ended it, or 0 */
  bool timedOut = false;
  std::string out;
  std::string err;
};

struct RunOptions {
  std::string program = BRAKK_BIN;
  std::string argv0 = "brakk";  /* what the program sees as its name (getopt messages) */
  std::string cwd;              /* empty: the test's own working directory */
  std::vector<std::string> env; /* "NAME=value" entries added to (or replacing) ours */
  std::string kernelSocket;     /* ZORCORE_SOCKET; empty: a path where nothing can listen */
  int timeoutSeconds = 60;      /* the program is killed after this long */
};

/*
 * Starts program with argv (argv[0] included) in cwd (empty: ours), with
 * our environment changed by env ("NAME=value" entries replace ours),
 * standard input from /dev/null and standard output and error on outFd
 * and errFd (which stay the caller's). Returns the child's pid, or -1.
 */
pid_t Spawn(const std::string &program, const std::vector<std::string> &argv,
            const std::vector<std::string> &env, const std::string &cwd, int outFd, int errFd);

/*
 * Waits up to timeoutMs for the child pid to end and reaps it; a child
 * still running then is killed first. Returns its wait status, or -1 when
 * it had to be killed.
 */
int Reap(pid_t pid, int timeoutMs);

/*
 * Runs options.program with args (argv[0] excluded) and waits for it.
 * Never throws; a failure to start shows as exit status 127 and a message
 * in err.
 */
RunResult Run(const std::vector<std::string> &args, const RunOptions &options = RunOptions());

/* Splits a command line into words: blanks separate, '...' and "..." group (no escapes). */
std::vector<std::string> SplitCommandLine(const std::string &line);

/* Reads a whole file; empty when it cannot be read. */
std::string ReadFile(const std::string &path);

/* The names prefix0, prefix1, ... up to count of them (ports for MakeFileSwitch and the like). */
std::vector<std::string> Numbered(const std::string &prefix, int count);

/* The line the front end prints when it cannot read the kernel's state (no daemon). */
inline const std::string NK = "failed to get config data: No kernel switch module on this host\n";
/* How the line of a command that failed begins; its status follows. */
inline const std::string OP_FAILED = "Operation failed: status = ";

/* The switch IDs that brakk derives from the names dvs0 and dvs1. */
inline const std::string DVS0_ID = "64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00";
inline const std::string DVS1_ID = "64 76 73 31 00 00 00 00-00 00 00 00 00 00 00 00";

/*
 * Expected listing lines, as -l prints them (and -r prints one property).
 * A switch made by -a lists its head, then its global properties (the
 * alias first), HOST_LIST and its host properties, then its ports.
 */
namespace lines {

inline const std::string VSWITCH_VLAN = "com.corvane.vswitch.port.vlan";
inline const std::string ETHER_VLAN = "com.corvane.etherswitch.port.vlan";
inline const std::string HOST_LIST = "\thost properties:\n";

/* A property shown as a text. */
std::string Text(const std::string &key, const std::string &value,
                 const std::string &flags = "CONFIG ");
/* A property that the listing decodes: its head line, its lines and its flags line. */
std::string Decoded(const std::string &head, const std::string &body,
                    const std::string &flags = "CONFIG ");
/* A property shown as a hex dump (dump: the bytes as printed, "0x 1. 0 <repeats 3 times>"). */
std::string Hex(const std::string &key, const std::string &dump,
                const std::string &flags = "CONFIG ");
/* A switch's line, its max ports, the global list's header and the alias line. */
std::string Switch(const std::string &id, const std::string &alias,
                   const std::string &cls = "cswitch", int maxPorts = 64);
/*
 * A port as -A makes it: its line (with tag, the state tag as printed)
 * and its first four properties; vlanKey follows the switch's class.
 */
std::string NewPort(const std::string &name, const std::string &vlanKey = VSWITCH_VLAN,
                    const std::string &tag = "");
/*
 * The same port with its VLAN policy (the last of those four, which -v and
 * the uplink commands rewrite in place) shown as policyLines instead.
 */
std::string NewPortWithVlan(const std::string &name, const std::string &vlanKey,
                            const std::string &policyLines);
/*
 * The same port on a switch of version above 99, whose listing hex-dumps
 * every vswitch key, the VLAN policy among them.
 */
std::string NewPortHighVersion(const std::string &name);
/* The property that every port made by -a -C also carries. */
std::string LongProp();

}  // namespace lines

/* One expected transcript. */
struct Row {
  std::string command; /* arguments after "brakk" */
  int status;
  std::string out;
  std::string err;
};

/*
 * The rows that add a switch and its ports: "-a addArgs" (the last word of
 * addArgs names the switch), then "-A -p PORT" for each of ports, every
 * command line starting with prefix; each succeeds silently but for err on
 * standard error.
 */
std::vector<Row> SwitchRows(const std::string &prefix, const std::vector<std::string> &ports,
                            const std::string &addArgs, const std::string &err);

/*
 * A test with its own temporary directory, removed afterwards; commands
 * run inside it.
 */
class TranscriptTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /* The private directory's absolute path. */
  const std::string &Dir() const { return dir_; }
  /* An absolute path inside the private directory. */
  std::string PathOf(const std::string &name) const { return dir_ + "/" + name; }
  /* Replaces "$F" and "$D" as the table rows use them. */
  std::string Expand(const std::string &text) const;

  /* Runs brakk with the (expanded) command line inside Dir(). */
  RunResult Brakk(const std::string &commandLine, RunOptions options = RunOptions()) const;

  /*
   * Runs the rows in order and compares each exactly; stops at the first
   * row that differs, since later rows usually depend on it.
   */
  void Check(const std::vector<Row> &rows, const RunOptions &options = RunOptions()) const;

  /* Runs a command that must end in the usage text (exit status 0) with err on standard error. */
  void ExpectUsage(const std::string &commandLine, const std::string &err,
                   const RunOptions &options = RunOptions()) const;

  /*
   * The opening of most file-mode tests, checked row by row: initialises $F
   * with -i, adds a switch with -a addArgs (its last word names it) and then
   * each of ports with -A. Each step prints nothing but the failed alias
   * lookup of a host without the kernel module on standard error, and
   * nothing at all when options reach a daemon.
   */
  void MakeFileSwitch(const std::vector<std::string> &ports = {},
                      const std::string &addArgs = "dvs0",
                      const RunOptions &options = RunOptions()) const;
  /* Makes dvs0 and its ports where this kind of test sends its commands: here, in $F. */
  virtual void MakeDvs0(const std::vector<std::string> &ports) const { MakeFileSwitch(ports); }

 private:
  std::string dir_;
};

/*
 * A Base test (TranscriptTest or KernelTest) that starts with dvs0 and its
 * ports Ports, made by Base's MakeDvs0 in SetUp; the test body does not run
 * when that opening fails.
 */
template <typename Base, int... Ports>
class WithDvs0 : public Base {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(Base::SetUp());
    this->MakeDvs0({std::to_string(Ports)...});
    ASSERT_FALSE(this->HasFailure()) << "the switch and its ports could not be made";
  }
};

/* A test whose $F holds dvs0 with the ports Ports (FileSwitchTest<5, 6>). */
template <int... Ports>
using FileSwitchTest = WithDvs0<TranscriptTest, Ports...>;

}  // namespace transcript

#endif  // TESTS_CMD_TRANSCRIPT_H
