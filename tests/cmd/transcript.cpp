// SPDX-License-Identifier: Apache-2.0
/*
 * transcript.cpp --
 *
 *    Spawning programs with captured output, the per-test private
 *    directory, the table check and the expected listing lines.
 */

#include "transcript.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "json_twin.h"

extern char **environ;

namespace transcript {

namespace {

/* /dev/null is no directory, so no daemon can ever listen on this path. */
const char NO_DAEMON_SOCKET[] = "/dev/null/zorcored.sock";

/* Everything written to fd from its start. */
std::string ReadAll(int fd) {
  std::string text;
  char buffer[65536];
  ssize_t n;
  while ((n = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<size_t>(n));
  }
  return text;
}

}  // namespace

pid_t Spawn(const std::string &program, const std::vector<std::string> &argv,
            const std::vector<std::string> &env, const std::string &cwd, int outFd, int errFd) {
  std::vector<std::string> envStrings;
  for (char **e = environ; *e != nullptr; e++) {
    bool replaced = false;
    for (const std::string &entry : env) {
      replaced = replaced || strncmp(*e, entry.c_str(), entry.find('=') + 1) == 0;
    }
    if (!replaced) envStrings.emplace_back(*e);
  }
  envStrings.insert(envStrings.end(), env.begin(), env.end());
  std::vector<std::string> argvStrings = argv;
  std::vector<char *> argvPointers, envPointers;
  for (std::string &s : argvStrings) argvPointers.push_back(s.data());
  for (std::string &s : envStrings) envPointers.push_back(s.data());
  argvPointers.push_back(nullptr);
  envPointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outFd, 1);
  posix_spawn_file_actions_adddup2(&actions, errFd, 2);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  pid_t pid = -1;
  const int error = posix_spawn(&pid, program.c_str(), &actions, nullptr, argvPointers.data(),
                                envPointers.data());
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : -1;
}

int Reap(pid_t pid, int timeoutMs) {
  const int pidFd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  bool killed = false;
  if (pidFd >= 0) {
    pollfd p = {pidFd, POLLIN, 0};
    int ready;
    while ((ready = poll(&p, 1, timeoutMs)) < 0 && errno == EINTR) {
    }
    close(pidFd);
    killed = ready == 0;
    if (killed) kill(pid, SIGKILL);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return killed ? -1 : status;
}

RunResult Run(const std::vector<std::string> &args, const RunOptions &options) {
  RunResult result;
  std::vector<std::string> argv{options.argv0};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<std::string> env{"ZORCORE_SOCKET=" + (options.kernelSocket.empty()
                                                        ? std::string(NO_DAEMON_SOCKET)
                                                        : options.kernelSocket)};
  env.insert(env.end(), options.env.begin(), options.env.end());
  /* Anonymous files rather than pipes: nothing to pump while the program runs. */
  const int out = memfd_create("out", MFD_CLOEXEC);
  const int err = memfd_create("err", MFD_CLOEXEC);
  const pid_t pid =
      out >= 0 && err >= 0 ? Spawn(options.program, argv, env, options.cwd, out, err) : -1;
  if (pid < 0) {
    result.exitStatus = 127;
    result.err = "transcript: cannot start " + options.program;
  } else {
    const int status = Reap(pid, options.timeoutSeconds * 1000);
    result.timedOut = status == -1;
    if (!result.timedOut && WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    if (!result.timedOut && WIFSIGNALED(status)) result.termSignal = WTERMSIG(status);
    result.out = ReadAll(out);
    result.err = ReadAll(err);
  }
  if (out >= 0) close(out);
  if (err >= 0) close(err);
  return result;
}

std::vector<std::string> SplitCommandLine(const std::string &line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (char c : line) {
    if (quote != 0 && c == quote) {
      quote = 0;
    } else if (quote != 0) {
      word += c;
    } else if (c == '\'' || c == '"') {
      quote = c;
      inWord = true;
    } else if (c == ' ' || c == '\t') {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::vector<std::string> Numbered(const std::string &prefix, int count) {
  std::vector<std::string> names;
  for (int i = 0; i < count; i++) names.push_back(prefix + std::to_string(i));
  return names;
}

namespace lines {

std::string Text(const std::string &key, const std::string &value, const std::string &flags) {
  return "\t\t" + key + " = " + value + " , \tpropType = " + flags + "\n";
}

std::string Decoded(const std::string &head, const std::string &body, const std::string &flags) {
  return "\t\t" + head + "\n" + body + "\t\t\tpropType = " + flags + "\n";
}

std::string Hex(const std::string &key, const std::string &dump, const std::string &flags) {
  return "\t\t" + key + " = " + dump + "\n\t\t\tpropType = " + flags + "\n";
}

std::string Switch(const std::string &id, const std::string &alias, const std::string &cls,
                   int maxPorts) {
  return "switch " + id + " (" + cls + ")\n\tmax ports: " + std::to_string(maxPorts) +
         "\n\tglobal properties:\n" + Text("com.corvane.common.alias", alias);
}

std::string NewPort(const std::string &name, const std::string &vlanKey, const std::string &tag) {
  return "\tport " + name + tag + ":\n" + Text("com.corvane.common.port.alias", name) +
         Text("com.corvane.common.port.connectid", "1") +
         Text("com.corvane.common.port.block", "false") + Hex(vlanKey, "No VLAN");
}

std::string NewPortWithVlan(const std::string &name, const std::string &vlanKey,
                            const std::string &policyLines) {
  const std::string port = NewPort(name, vlanKey);
  const size_t at = port.rfind("\t\t" + vlanKey + " = ");
  EXPECT_NE(at, std::string::npos) << "the VLAN policy is no longer among a new port's lines";
  return port.substr(0, at) + policyLines;
}

std::string NewPortHighVersion(const std::string &name) {
  return NewPortWithVlan(name, VSWITCH_VLAN, Hex(VSWITCH_VLAN, "0x 0. 0 <repeats 7 times>"));
}

std::string LongProp() {
  return Text("longProp", std::string(1023, 'x'));
}

}  // namespace lines

std::vector<Row> SwitchRows(const std::string &prefix, const std::vector<std::string> &ports,
                            const std::string &addArgs, const std::string &err) {
  const std::string name = addArgs.substr(addArgs.rfind(' ') + 1);
  std::vector<Row> rows = {{prefix + "-a " + addArgs, 0, "", err}};
  for (const std::string &port : ports) {
    rows.push_back({prefix + "-A -p " + port + " " + name, 0, "", err});
  }
  return rows;
}

void TranscriptTest::SetUp() {
  const char *base = getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/brakk-test-XXXXXX";
  ASSERT_NE(mkdtemp(pattern.data()), nullptr) << "cannot make a temporary directory";
  dir_ = pattern;
}

void TranscriptTest::TearDown() {
  if (!dir_.empty() && !HasFailure()) ValidateJsonTwins(dir_);
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

std::string TranscriptTest::Expand(const std::string &text) const {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    const bool marker = text[i] == '$' && i + 1 < text.size();
    if (marker && text[i + 1] == 'D') {
      result += dir_;
    } else if (marker && text[i + 1] == 'F') {
      result += "./dvs.db";
    } else {
      result += text[i];
      continue;
    }
    i++;
  }
  return result;
}

RunResult TranscriptTest::Brakk(const std::string &commandLine, RunOptions options) const {
  if (options.cwd.empty()) options.cwd = dir_;
  return transcript::Run(SplitCommandLine(Expand(commandLine)), options);
}

void TranscriptTest::Check(const std::vector<Row> &rows, const RunOptions &options) const {
  for (const Row &row : rows) {
    SCOPED_TRACE("brakk " + row.command);
    const RunResult r = Brakk(row.command, options);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.termSignal, 0);
    EXPECT_EQ(r.exitStatus, row.status);
    EXPECT_EQ(r.out, Expand(row.out));
    EXPECT_EQ(r.err, Expand(row.err));
    if (::testing::Test::HasFailure()) return;
    const std::vector<std::string> words = SplitCommandLine(Expand(row.command));
    if (r.exitStatus == 0 && PrintsListing(words)) CheckJsonTwin(words, options, r, dir_);
    if (::testing::Test::HasFailure()) return;
  }
}

void TranscriptTest::ExpectUsage(const std::string &commandLine, const std::string &err,
                                 const RunOptions &options) const {
  SCOPED_TRACE("brakk " + commandLine);
  const RunResult r = Brakk(commandLine, options);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out.rfind("Warning: This is an unsupported command.", 0), 0u);
  EXPECT_EQ(r.err, Expand(err));
}

void TranscriptTest::MakeFileSwitch(const std::vector<std::string> &ports,
                                    const std::string &addArgs, const RunOptions &options) const {
  std::vector<Row> rows = {{"-f $F -i", 0, "", ""}};
  const std::vector<Row> made =
      SwitchRows("-f $F ", ports, addArgs, options.kernelSocket.empty() ? NK : "");
  rows.insert(rows.end(), made.begin(), made.end());
  Check(rows, options);
}

}  // namespace transcript
