// SPDX-License-Identifier: Apache-2.0
/*
 * batch_test.cpp --
 *
 *    Transcripts of --batch: a batch that succeeds in file mode and in
 *    kernel mode, one that fails on its last line (the file untouched, the
 *    kernel taken back and listed as before, a change with no inverse and
 *    a restore that fails reported by line), lines refused before anything
 *    runs, --check, quoting, events held until the save, batch files that
 *    cannot be used, and a batch killed during its save.
 */

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

const std::string USAGE_START = "Warning: This is an unsupported command.";

/*
 * The name of batch file n ("b3"). The number is appended: GCC 12 at -O3
 * takes "b" + std::to_string(n), an insertion in front, for an overlapping
 * copy (-Wrestrict).
 */
std::string BatchFile(int n) {
  std::string name = "b";
  name += std::to_string(n);
  return name;
}

/* Batch files b1, b2, ... in the test's directory. */
template <typename Fixture>
class Batches : public Fixture {
 protected:
  /* Writes the next batch file of text and returns the options that run it. */
  std::string Batch(const std::string &text) {
    const std::string name = BatchFile(++batches_);
    std::ofstream(this->PathOf(name), std::ios::binary) << text;
    return "--batch " + name;
  }

 private:
  int batches_ = 0;
};

/* Batches on a file with dvs0 and its port 5. */
class FileBatch : public Batches<FileSwitchTest<5>> {
 protected:
  std::string Batch(const std::string &text) { return "-f $F " + Batches::Batch(text); }
};

TEST_F(FileBatch, AppliesItsLinesInOrderAndSavesOnce) {
  const std::string batch = Batch(
      "# a switch, two ports, a property with blanks and quotes, a VLAN trunk\n"
      "-a -p 9 dvs1\n"
      "-A -p 6 dvs0\n"
      "\n"
      "  -s 'note=a b' -p 5 dvs0   # a comment\n"
      "-s \"q=say \\\"hi\\\" \\\\o/\" -p 6 dvs0\r\n"
      "-s back\\ slash=x;y|z -p 6 dvs0\n"
      "-v '100;t;1-2' -p 6 dvs0\n"
      "-A -p 7 dvs0\n");
  const std::string port6 =
      NewPortWithVlan("6", VSWITCH_VLAN,
                      Decoded(VSWITCH_VLAN + " = Guest VLAN tagging", "\t\t\tranges = 1-2\n")) +
      Text("q", "say \"hi\" \\o/") + Text("back slash", "x;y|z");
  Check({
      {batch, 0, "", NK},
      {"-f $F -l dvs0", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("5") + Text("note", "a b") + port6 +
           NewPort("7"),
       NK},
      {"-f $F -l dvs1", 0, Switch(DVS1_ID, "dvs1") + HOST_LIST, NK},
  });
}

// "-" reads the batch from standard input (here a file, through the shell).
TEST_F(FileBatch, ADashReadsTheBatchFromStandardInput) {
  std::ofstream(PathOf("lines")) << "-A -p 6 dvs0\n-s k=v -p 6 dvs0\n";
  RunOptions shell;
  shell.program = "/bin/sh";
  shell.argv0 = "sh";
  Check({{"-c '" BRAKK_BIN " -f $F --batch - < lines'", 0, "", NK}}, shell);
  Check({{"-f $F -l dvs0", 0,
          Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("5") + NewPort("6") + Text("k", "v"), NK}});
}

TEST_F(FileBatch, AFailingLineLeavesTheFileAsItWas) {
  ASSERT_EQ(chmod(PathOf("dvs.db").c_str(), 0640), 0);
  const std::string before = ReadFile(PathOf("dvs.db"));
  Check({{Batch("-A -p 6 dvs0\n-s a=1 -p 5 dvs0\n-s b=2 -p 9 dvs0\n"), 3, "",
          NK + "DVSState_PortDataSet failed\nbatch line 3: " + OP_FAILED + "0xbad0003\n"},
         {Batch("--vlanMTUChkParam 1-5 dvs0\n-A -p 5 dvs0\n"), 4, "set vlan 1 - 5.\n",
          NK + "batch line 2: " + OP_FAILED + "0xbad0004\n"},
         {Batch("-s a=1 -p 5 dvs0\n-A -p 5 dvs1\n"), 255, "",
          NK + "batch line 2: Switch handle not found by id 64 76 73 31 00 00 00 00-00 00 00 00 "
               "00 00 00 00\n"}});
  EXPECT_EQ(ReadFile(PathOf("dvs.db")), before);
  struct stat st = {};
  ASSERT_EQ(stat(PathOf("dvs.db").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
}

TEST_F(FileBatch, LinesAreCheckedBeforeAnythingRuns) {
  const std::string before = ReadFile(PathOf("dvs.db"));
  const struct {
    std::string text;
    int status;
    std::string err;
    bool usage;
  } cases[] = {
      {"-A -p 6 dvs0\n-A dvs0\n", 0, NK + "batch line 2: port name not specified.\n", true},
      {"-A -p 6 dvs0\n-A -p 7 -t 9 dvs0\n", 0, NK + "batch line 2: invalid team policy type 9\n",
       true},
      {"-q dvs0\n", 0, "batch line 1: brakk: invalid option -- 'q'\n", true},
      {"-A -p 6 --className vswitch dvs0\n", 255,
       NK + "batch line 1: Class name is not require for command 7.\n", false},
      {"--vlanMTUChkParam 9-1 dvs0\n", 1, "batch line 1: Bad vlan range: from 9 to 1\n", false},
      {"--vlanMTUChkParam 1-5 dvs0\n-q dvs0\n", 0,
       NK + "batch line 2: brakk: invalid option -- 'q'\n", true},
      {"-A -p 6 dvs0\n-i\n", 1, NK + "batch line 2: -i cannot run in a batch\n", false},
      {"--states -p 5 dvs0\n", 1, "batch line 1: --states cannot run in a batch\n", false},
      {"-h\n", 1, "batch line 1: -h cannot run in a batch\n", false},
      {"-H green dvs0\n", 1,
       "batch line 1: -H changes the kernel, which a batch in file mode cannot take back\n", false},
      {"-f other.db -A -p 6 dvs0\n", 1,
       "batch line 1: -f, --batch and --check belong to the whole batch\n", false},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text);
    const RunResult r = Brakk(Batch(c.text));
    EXPECT_EQ(r.exitStatus, c.status);
    EXPECT_EQ(r.err, c.err);
    if (c.usage) {
      EXPECT_EQ(r.out.rfind(USAGE_START, 0), 0u);
    } else {
      EXPECT_EQ(r.out, "");
    }
  }
  EXPECT_EQ(ReadFile(PathOf("dvs.db")), before);
}

TEST_F(FileBatch, UnusableBatchFilesAreRefusedWithOneLine) {
  const std::string longLine(65537, 'x');
  std::string tooMany;
  for (int i = 0; i < 65537; i++) tooMany += "\n";
  const struct {
    std::string text;
    std::string err;
  } cases[] = {
      {"-A -p 6 dvs0\n-s 'a=1 -p 5 dvs0\n", "batch line 2 has an unterminated quote\n"},
      {"-s \"a=1 -p 5 dvs0\n", "batch line 1 has an unterminated quote\n"},
      {"-A -p 6 dvs0 \\\n", "batch line 1 ends in a backslash\n"},
      {"-A -p 6 dvs0\n-s a=1" + std::string(1, '\0') + " -p 5 dvs0\n",
       "batch line 2 holds a NUL byte\n"},
      {"-A -p 6 dvs0\n" + longLine + "\n", "batch line 2 is longer than 65536 bytes\n"},
      {tooMany, "batch file b6 has more than 65536 lines\n"},
      {"\n  # nothing but comments\n", "batch file b7 holds no command\n"},
  };
  const std::string before = ReadFile(PathOf("dvs.db"));
  for (const auto &c : cases) {
    SCOPED_TRACE(c.err);
    Check({{Batch(c.text), 1, "", c.err}});
  }
  Check({{"-f $F --batch missing", 1, "",
          "cannot read batch file missing: No such file or directory\n"}});
  EXPECT_EQ(ReadFile(PathOf("dvs.db")), before);
}

TEST_F(FileBatch, CheckRunsTheBatchButSavesNothing) {
  const std::string before = ReadFile(PathOf("dvs.db"));
  Check({
      {Batch("-A -p 6 dvs0\n-l dvs0\n") + " --check", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("5") + NewPort("6") +
           "batch: 2 commands ran on the loaded configuration; nothing was saved\n",
       NK},
      {Batch("-A -p 5 dvs0\n") + " --check", 4, "",
       NK + "batch line 1: " + OP_FAILED + "0xbad0004\n"},
  });
  EXPECT_EQ(ReadFile(PathOf("dvs.db")), before);
}

// A batch killed at a random moment, its save included, leaves the file as
// it was or as the whole batch left it: never one line's change without the
// other's.
TEST_F(FileBatch, AKilledBatchLeavesTheOldOrTheNewFile) {
  Check({{"-f $F -a -C -P 1500 dvs1", 0, "", NK}});
  std::ofstream(PathOf("start")) << "-s round=start -p 7 dvs1\n-s round=start -p 1499 dvs1\n";
  Check({{"-f $F --batch start", 0, "", NK}});
  timespec t0, t1;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  Check({{"-f $F --batch start", 0, "", NK}});
  clock_gettime(CLOCK_MONOTONIC, &t1);
  const long runUs = (t1.tv_sec - t0.tv_sec) * 1000000L + (t1.tv_nsec - t0.tv_nsec) / 1000;
  int killed = 0;
  for (int i = 0; i < 20; i++) {
    const std::string value = "round" + std::to_string(i);
    std::ofstream(PathOf(BatchFile(i)))
        << "-s round=" << value << " -p 7 dvs1\n-s round=" << value << " -p 1499 dvs1\n";
    const int devNull = open("/dev/null", O_WRONLY);
    const pid_t pid = Spawn(BRAKK_BIN, {"brakk", "-f", "./dvs.db", "--batch", BatchFile(i)},
                            {"ZORCORE_SOCKET=" + PathOf("none.sock")}, Dir(), devNull, devNull);
    close(devNull);
    ASSERT_GT(pid, 0);
    const long d = runUs * (i % 10) / 10;
    const timespec pause = {d / 1000000, (d % 1000000) * 1000};
    nanosleep(&pause, nullptr);
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    killed += WIFSIGNALED(status);

    const RunResult list = Brakk("-f $F -l dvs1");
    ASSERT_EQ(list.exitStatus, 0) << list.err;
    const size_t port7 = list.out.find("\tport 7:\n");
    const size_t port8 = list.out.find("\tport 8:\n");
    const size_t last = list.out.find("\tport 1499:\n");
    ASSERT_NE(last, std::string::npos);
    const auto roundOf = [&](size_t from, size_t to) {
      const size_t at = list.out.find("\t\tround = ", from);
      return at < to ? list.out.substr(at, list.out.find('\n', at) - at) : std::string("none");
    };
    EXPECT_EQ(roundOf(port7, port8), roundOf(last, std::string::npos)) << "round " << i;
  }
  EXPECT_GT(killed, 3); /* some rounds were really cut short */
}

/* Batches on a daemon with dvs0, its ports 5 and 6, and a property on port 5. */
class KernelBatch : public Batches<KernelSwitchTest<5, 6>> {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(Batches::SetUp());
    CheckKernel({{"-s keep=1 -p 5 dvs0", 0, "", ""}});
  }
};

TEST_F(KernelBatch, AppliesItsLinesToTheKernel) {
  CheckKernel({
      {Batch("-s keep=2 -p 5 dvs0\n-A -p 7 dvs0\n-v 100 -p 7 dvs0\n"), 0, "", ""},
      {"-l dvs0", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("5") +
           Hex("keep", "0x 2. 0 <repeats 3 times>") + NewPort("6") +
           NewPortWithVlan("7", VSWITCH_VLAN, Decoded(VSWITCH_VLAN + " = VLAN 100", "")),
       ""},
  });
}

TEST_F(KernelBatch, AFailureTakesTheEarlierLinesBack) {
  const RunResult before = Brakk("-l", Kernel());
  CheckKernel({
      {Batch("-s keep=2 -p 5 dvs0\n-s new=3 -p 6 dvs0\n-u keep -p 5 dvs0\n-A -p 7 dvs0\n"
             "-D -p 6 dvs0\n--setVersion 8 dvs0\n-s x=1 -p 9 dvs0\n"),
       3, "",
       "DVSState_PortDataSet failed\nbatch line 7: " + OP_FAILED +
           "0xbad0003\nbatch: restore complete\n"},
      {"-l", 0, before.out, ""},
  });
}

TEST_F(KernelBatch, WhatCannotBeTakenBackIsReportedByLine) {
  CtlOk("fail PortDataClear 0xbad0001 2"); /* the failing line, then its restore */
  CheckKernel({
      {Batch("-s a=1 -p 5 dvs0\n-y dvs0\n-u b -p 6 dvs0\n"), 1, "",
       "batch line 3: " + OP_FAILED +
           "0xbad0001\nbatch: line 2: cannot take back the association of switch " + DVS0_ID +
           "\nbatch: line 1: taking back the change of a on port 5 failed: Failure\n"
           "batch: restore incomplete\n"},
      {Batch("-s a=1 -p 9 dvs0\n"), 3, "",
       "DVSState_PortDataSet failed\nbatch line 1: " + OP_FAILED +
           "0xbad0003\nbatch: nothing to restore\n"},
  });
}

TEST_F(KernelBatch, CheckOnlyValidates) {
  const RunResult before = Brakk("-l", Kernel());
  CheckKernel({
      {Batch("-s keep=2 -p 5 dvs0\n-D -p 6 dvs0\n") + " --check", 0,
       "batch: 2 commands checked; nothing was run\n", ""},
      {"-l", 0, before.out, ""},
  });
}

// In file mode the events of a batch are posted only once it has been saved;
// a batch that fails posts none.
TEST_F(KernelBatch, FileModeEventsWaitForTheSave) {
  Background listener = StartBrakk({"-g"});
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 1; }));
  MakeFileSwitch({}, "dvs0", Kernel());
  CheckKernel({
      {"-f $F " + Batch("--persist\n-e 3 -p 5 dvs0\n-s x=1 -p 5 dvs0\n"), 3, "",
       "DVSState_PortDataSet failed\nbatch line 3: " + OP_FAILED + "0xbad0003\n"},
      {"-f $F " + Batch("-e 4 -p 5 dvs0\n-A -p 5 dvs0\n"), 0, "", ""},
  });
  const std::string expected =
      "poll returned true\nreceived dvs event REMOVE: dvswitch " + DVS0_ID + " dvport 5 (type 0)\n";
  ASSERT_TRUE(WaitUntil([&] { return ReadFile(listener.outPath).size() >= expected.size(); }));
  EXPECT_EQ(StopBackground(listener, SIGTERM), expected);
}

}  // namespace
