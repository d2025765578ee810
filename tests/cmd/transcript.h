/*
 * transcript.h --
 *
 *    Running the real brakk (or zorcored) and comparing what it prints and
 *    how it ends with a table of expected transcripts.
 *
 *    Every run gets ZORCORE_SOCKET pointing into a private directory where
 *    no daemon listens, so kernel mode always meets "no kernel on this
 *    host" unless a test starts its own daemon and passes its socket in
 *    RunOptions::env.
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
  std::string kernelSocket;     /* ZORCORE_SOCKET; empty: a private path nobody serves */
  std::string stdinText;        /* written to the program's standard input */
  int timeoutSeconds = 60;      /* the program is killed after this long */
};

/*
 * Runs options.program with args (argv[0] excluded) through posix_spawn
 * and waits for it. Never throws; a failure to start shows as exit status
 * 127 and a message in err.
 */
RunResult Run(const std::vector<std::string> &args, const RunOptions &options = RunOptions());

/* Splits a command line into words: blanks separate, '...' and "..." group (no escapes). */
std::vector<std::string> SplitCommandLine(const std::string &line);

/* The usage text exactly as brakk prints it. */
const std::string &UsageText();

/* The line the front end prints when it cannot read the kernel's state (no daemon). */
extern const char NO_KERNEL_LOAD[];

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

  /*
   * transcript::Run, reachable unqualified from fixtures (the name would
   * otherwise resolve to ::testing::Test::Run).
   */
  static RunResult Run(const std::vector<std::string> &args,
                       const RunOptions &options = RunOptions()) {
    return transcript::Run(args, options);
  }

  /* Runs brakk with the (expanded) command line inside Dir(). */
  RunResult Brakk(const std::string &commandLine, RunOptions options = RunOptions()) const;

  /*
   * Runs the rows in order and compares each exactly; stops at the first
   * row that differs, since later rows usually depend on it.
   */
  void Check(const std::vector<Row> &rows, const RunOptions &options = RunOptions()) const;

 private:
  std::string dir_;
};

}  // namespace transcript

#endif  // TESTS_CMD_TRANSCRIPT_H
