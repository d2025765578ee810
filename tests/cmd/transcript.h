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

/* The line the front end prints when it cannot read the kernel's state (no daemon). */
extern const char NO_KERNEL_LOAD[];

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

 private:
  std::string dir_;
};

}  // namespace transcript

#endif  // TESTS_CMD_TRANSCRIPT_H
