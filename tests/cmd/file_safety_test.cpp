// SPDX-License-Identifier: Apache-2.0
/*
 * file_safety_test.cpp --
 *
 *    Plain configuration files under stress: several brakk processes
 *    editing one file at once lose no update, a writer killed at any point
 *    of a save leaves a file that loads (and no leftover once the file is
 *    saved again), damaged files are refused without being changed, and
 *    hostile paths (FIFOs, directories, devices, huge files, symlinks,
 *    files locked by someone else) neither hang a command nor lose the
 *    file's link, owner or mode.
 */

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "transcript.h"

extern char **environ;

namespace {

using namespace transcript;

class FileSafety : public TranscriptTest {
 protected:
  /* Runs brakk and expects it to succeed silently but for the alias lookup line. */
  void MustSucceed(const std::string &command) const {
    RunResult r = Brakk(command);
    ASSERT_EQ(r.exitStatus, 0) << command << "\n" << r.err;
  }

  std::string ReadFile(const std::string &name) const {
    std::ifstream in(PathOf(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  void WriteFile(const std::string &name, const std::string &bytes) const {
    std::ofstream(PathOf(name), std::ios::binary | std::ios::trunc) << bytes;
  }

  /* The names in the test's directory, sorted. */
  std::set<std::string> Entries() const {
    std::set<std::string> names;
    for (const auto &e : std::filesystem::directory_iterator(Dir())) {
      names.insert(e.path().filename());
    }
    return names;
  }
};

// Six processes each make 15 edits of their own ports at the same time as
// the others; every one of the 90 values must be in the final file.
TEST_F(FileSafety, ConcurrentEditorsLoseNoUpdate) {
  const int kWriters = 6;
  const int kEdits = 15;
  MakeFileSwitch(Numbered("w", kWriters));

  std::vector<std::thread> writers;
  std::vector<std::string> failures(kWriters);
  for (int w = 0; w < kWriters; w++) {
    writers.emplace_back([&, w] {
      for (int e = 0; e < kEdits; e++) {
        std::string cmd = "-f $F -s key" + std::to_string(e) + "=v" + std::to_string(w) + "_" +
                          std::to_string(e) + " -p w" + std::to_string(w) + " dvs0";
        RunResult r = Brakk(cmd);
        if (r.exitStatus != 0) failures[w] += cmd + ": " + r.err;
      }
    });
  }
  for (std::thread &t : writers) t.join();
  for (const std::string &f : failures) EXPECT_EQ(f, "");

  RunResult list = Brakk("-f $F -l");
  ASSERT_EQ(list.exitStatus, 0) << list.err;
  for (int w = 0; w < kWriters; w++) {
    for (int e = 0; e < kEdits; e++) {
      std::string line = "\t\tkey" + std::to_string(e) + " = v" + std::to_string(w) + "_" +
                         std::to_string(e) + " , \tpropType = CONFIG \n";
      EXPECT_NE(list.out.find(line), std::string::npos) << "lost: " << line;
    }
  }
  // The editors leave nothing beside the file: no lock or temporary files.
  EXPECT_EQ(Entries(), std::set<std::string>{"dvs.db"});
}

// A writer killed at a random moment of its load-edit-save cycle leaves the
// previous or the new file, and the file always loads.
TEST_F(FileSafety, KilledWritersLeaveAFileThatLoads) {
  // 1500 ports with a 1 KiB property each: saves take long enough to be hit.
  MakeFileSwitch({}, "-C -P 1500 dvs0");
  MustSucceed("-f $F -s round=start -p 7 dvs0");
  const std::string before = ReadFile("dvs.db");

  // Kill points spread over the length of one whole edit on this build and machine.
  timespec t0, t1;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  MustSucceed("-f $F -s round=start -p 7 dvs0");
  clock_gettime(CLOCK_MONOTONIC, &t1);
  const long editUs = (t1.tv_sec - t0.tv_sec) * 1000000L + (t1.tv_nsec - t0.tv_nsec) / 1000;
  std::mt19937 rng(12345);
  std::uniform_int_distribution<long> delayUs(0, editUs);
  int killed = 0;
  for (int i = 0; i < 25; i++) {
    std::vector<std::string> args = {"brakk", "-f", "./dvs.db", "-s", "round=" + std::to_string(i),
                                     "-p",    "7",  "dvs0"};
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::string cwd = std::filesystem::current_path();
    std::filesystem::current_path(Dir());
    pid_t pid;
    std::string sock = "ZORCORE_SOCKET=" + PathOf("none.sock");
    std::vector<char *> env = {sock.data(), nullptr};
    int rc = posix_spawn(&pid, BRAKK_BIN, &actions, nullptr, argv.data(), env.data());
    std::filesystem::current_path(cwd);
    posix_spawn_file_actions_destroy(&actions);
    ASSERT_EQ(rc, 0);
    const long d = delayUs(rng);
    timespec pause = {d / 1000000, (d % 1000000) * 1000};
    nanosleep(&pause, nullptr);
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    killed += WIFSIGNALED(status);

    RunResult list = Brakk("-f $F -l dvs0");
    ASSERT_EQ(list.exitStatus, 0) << "round " << i << ": " << list.err;
    ASSERT_NE(list.out.find("\tport 1499:\n"), std::string::npos) << "round " << i;
  }
  // Some rounds must really have been interrupted, or the test proves nothing.
  EXPECT_GT(killed, 5);
  // Every save that completed changed only the one property, and the next
  // save removes what the killed ones left.
  MustSucceed("-f $F -s round=start -p 7 dvs0");
  EXPECT_EQ(Entries(), std::set<std::string>{"dvs.db"});
  RunResult a = Brakk("-f $F -l");
  WriteFile("before.db", before);
  RunResult b = Brakk("-f before.db -l");
  EXPECT_EQ(a.out, b.out);
}

// Damaged files are refused with the reason, the command fails and the file
// is left exactly as it was.
TEST_F(FileSafety, DamagedFilesAreRefusedAndKept) {
  MakeFileSwitch({"7"});
  const std::string good = ReadFile("dvs.db");

  struct Damage {
    const char *what;
    std::string bytes;
    const char *reason;
  };
  std::string flipped = good;
  flipped[flipped.size() / 2] ^= 0x20;
  std::string version = good;
  version[4] = 9;
  const std::vector<Damage> damages = {
      {"truncated", good.substr(0, good.size() - 5), "Truncated data"},
      {"empty", "", "Truncated data"},
      {"foreign", "#!/bin/sh\necho not a configuration\n", "Not a switch configuration"},
      {"flipped bit", flipped, "Checksum mismatch"},
      {"future version", version, "Unsupported configuration format version"},
      {"trailing bytes", good + "extra", "Invalid data"},
  };
  for (const Damage &d : damages) {
    WriteFile("dvs.db", d.bytes);
    const std::string refused =
        std::string("DVSState_ConfigDeserialize failed: ") + d.reason + "\n";
    Check({
        {"-f $F -l", 1, "", refused},
        {"-f $F -s k=v -p 7 dvs0", 255, "", NK + refused + "Failed to load config.\n"},
        {"-f $F -A -p 8 dvs0", 255, "", NK + refused + "Failed to load config.\n"},
    });
    EXPECT_EQ(ReadFile("dvs.db"), d.bytes) << d.what;
  }
  // Commands on a file that does not exist fail and create nothing.
  std::filesystem::remove(PathOf("dvs.db"));
  Check({
      {"-f $F -l", 1, "", "failed to get config data: Not found\n"},
      {"-f $F -s k=v -p 7 dvs0", 255, "",
       NK + "failed to get config data: Not found\nFailed to load config.\n"},
  });
  EXPECT_EQ(Entries(), std::set<std::string>{});
}

// Paths that are not regular files are refused at once, without waiting on
// a FIFO or creating anything; so is a file too large to be a configuration.
TEST_F(FileSafety, HostilePathsAreRefusedAtOnce) {
  ASSERT_EQ(mkfifo(PathOf("fifo.db").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(PathOf("dir.db").c_str(), 0700), 0);
  {
    // A sparse 300 MiB file that begins like a configuration.
    MustSucceed("-f $F -i");
    const std::string header = ReadFile("dvs.db").substr(0, 16);
    std::ofstream big(PathOf("big.db"), std::ios::binary);
    big << header;
    big.seekp((300 << 20) - 1);
    big.put('\0');
  }
  const std::string refused = "failed to get config data: Not a regular file\n";
  Check({
      {"-f fifo.db -l", 1, "", refused},
      {"-f dir.db -l", 1, "", refused},
      {"-f /dev/zero -l", 1, "", refused},
      {"-f fifo.db -s k=v -p 7 dvs0", 255, "", NK + refused + "Failed to load config.\n"},
      {"-f big.db -l", 1, "", "failed to get config data: Too large\n"},
  });
  EXPECT_EQ(Entries(), (std::set<std::string>{"big.db", "dir.db", "dvs.db", "fifo.db"}));
}

// A lock that another process keeps is waited for a bounded time; then the
// command fails with its own status and the file is left alone.
TEST_F(FileSafety, ALockHeldElsewhereEndsTheWait) {
  MakeFileSwitch({"7"});
  const std::string before = ReadFile("dvs.db");
  // A shared lock through a read-only descriptor: all a mere reader can take.
  const int reader = open(PathOf("dvs.db").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  ASSERT_EQ(flock(reader, LOCK_SH), 0);
  const auto start = std::chrono::steady_clock::now();
  const std::string locked =
      "failed to get config data: Configuration is locked by another process\n";
  Check({{"-f $F -s k=v -p 7 dvs0", 255, "", NK + locked + "Failed to load config.\n"}});
  // The command waited before giving up (a lower bound only: the machine may be slow).
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  EXPECT_EQ(ReadFile("dvs.db"), before);
  close(reader);
  MustSucceed("-f $F -s k=v -p 7 dvs0");
}

// An edit through a symlink rewrites the file it points to and keeps the
// link; a rewrite keeps the file's owner, group and mode.
TEST_F(FileSafety, EditsKeepLinksOwnersAndModes) {
  ASSERT_EQ(mkdir(PathOf("real").c_str(), 0700), 0);
  MustSucceed("-f real/dvs.db -i");
  MustSucceed("-f real/dvs.db -a dvs0");
  MustSucceed("-f real/dvs.db -A -p 7 dvs0");
  ASSERT_EQ(symlink("real/dvs.db", PathOf("link.db").c_str()), 0);
  const std::string real = PathOf("real/dvs.db");
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(real.c_str(), 4321, 8765), 0);
  }
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);

  MustSucceed("-f link.db -s k=v -p 7 dvs0");
  struct stat st;
  ASSERT_EQ(lstat(PathOf("link.db").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(stat(real.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  if (root) {
    EXPECT_EQ(st.st_uid, 4321u);
    EXPECT_EQ(st.st_gid, 8765u);
  }
  RunResult list = Brakk("-f real/dvs.db -l dvs0");
  EXPECT_NE(list.out.find("\t\tk = v , \tpropType = CONFIG \n"), std::string::npos) << list.out;
  EXPECT_EQ(Entries(), (std::set<std::string>{"link.db", "real"}));
}

}  // namespace
