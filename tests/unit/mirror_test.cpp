// SPDX-License-Identifier: Apache-2.0
/*
 * mirror_test.cpp --
 *
 *    Mirror sessions without the binary: the exact per-dvPort tables that
 *    -m writes into a loaded configuration (narrow and wide entity
 *    records), the order of its effects when something fails, and the
 *    printer on good, cut and lying tables. Expected tables are spelled
 *    out here with literal offsets, independently of the family's header.
 */

#include "props/mirror.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "listing/listing.h"
#include "printing.h"
#include "state/config.h"
#include "state/state_ops.h"

namespace {

using printing::Bytes;
using printing::Put;
using printing::PutText;

const char SW[] = "6d 69 72 00 00 00 00 00-00 00 00 00 00 00 00 00";
const char ETHER_KEY[] = "com.corvane.etherswitch.port.mirrorSessions";
const char VSWITCH_KEY[] = "com.corvane.vswitch.port.mirrorSessions";

/* ---- Expected tables, from literal offsets ------------------------------ */

struct Rec {
  std::string sid, dname;
  uint32_t type, snapLen, flags, rate, dst, srcIn, srcOut, startIdx;
  uint16_t encapVlan = 0;
  uint32_t encapType = 0;
  uint16_t erspanId = 0;
  uint8_t cos = 0, gra = 0;
};

/* An entity: kind and its name (dvPort, uplink), VLAN, or IP family and address bytes. */
struct Ent {
  uint32_t kind;
  std::string name;
  uint16_t vlan = 0;
  Bytes addr = {};
};

Bytes Table(uint32_t format, const std::vector<Rec> &recs, const std::vector<Ent> &ents,
            size_t entLen, std::optional<uint32_t> entityCount = std::nullopt) {
  Bytes b(20 + 232 * recs.size() + entLen * ents.size(), 0);
  Put(b, 0, 0xFACEBEEF, 4);
  Put(b, 4, format, 4);
  Put(b, 8, recs.size(), 4);
  Put(b, 12, entityCount.value_or(static_cast<uint32_t>(ents.size())), 4);
  for (size_t i = 0; i < recs.size(); i++) {
    const Rec &r = recs[i];
    const size_t at = 20 + 232 * i;
    PutText(b, at, r.sid);
    PutText(b, at + 32, r.dname);
    Put(b, at + 116, r.type, 4);
    Put(b, at + 120, r.snapLen, 4);
    Put(b, at + 124, r.flags, 4);
    Put(b, at + 128, r.encapVlan, 2);
    Put(b, at + 136, r.rate, 4);
    Put(b, at + 140, r.encapType, 4);
    Put(b, at + 144, r.erspanId, 2);
    Put(b, at + 146, r.cos, 1);
    Put(b, at + 147, r.gra, 1);
    Put(b, at + 216, r.dst, 4);
    Put(b, at + 220, r.srcIn, 4);
    Put(b, at + 224, r.srcOut, 4);
    Put(b, at + 228, r.startIdx, 4);
  }
  for (size_t i = 0; i < ents.size(); i++) {
    const Ent &e = ents[i];
    const size_t at = 20 + 232 * recs.size() + entLen * i;
    Put(b, at, e.kind, 4);
    if (e.kind == 2) {
      Put(b, at + 4, e.vlan, 2);
    } else if (e.kind == 3) {
      Put(b, at + 4, e.addr.size() == 4 ? 0 : 1, 1);
      memcpy(b.data() + at + 8, e.addr.data(), e.addr.size());
    } else {
      PutText(b, at + 4, e.name);
    }
  }
  return b;
}

Ent Port(const std::string &name) {
  return {0, name};
}

/* ---- A configuration file to run -m on ---------------------------------- */

struct Outcome {
  ZOR_ReturnStatus status;
  std::string out;
  std::string err;
};

class MirrorCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/mirror_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/dvs.db";
    DVSState_ConfigReset();
  }
  void TearDown() override {
    DVSState_ConfigReset();
    std::filesystem::remove_all(dir_);
  }

  void MakeSwitch(const char *cls, int32_t version, const std::vector<std::string> &ports) {
    ASSERT_EQ(DVSState_SwitchAdd(SW, cls, 64, version), ZOR_OK);
    for (const std::string &port : ports) {
      DVSData *tree = nullptr;
      ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
      ASSERT_EQ(DVSState_PortAdd(SW, port.c_str(), tree), ZOR_OK);
    }
  }
  void SetTable(const char *port, const char *key, const Bytes &value) {
    ASSERT_EQ(DVSState_PortDataSet(DVSState_PortFind(SW, port), key, value.data(),
                                   static_cast<uint32_t>(value.size()), PROP_CONFIG),
              ZOR_OK);
  }

  /* Saves the state built so far, loads it as the front end does and runs -m text. */
  Outcome Run(const char *text, SwitchClass cls = SWITCH_CLASS_ETHERSWITCH) {
    EXPECT_EQ(Config_Save(false, path_.c_str()), 0);
    DVSState_ConfigReset();
    EXPECT_EQ(Config_Load(LOAD_FILE, path_.c_str()), ZOR_OK);
    DVSSwitch *h = DVSState_SwitchFind(SW);
    EXPECT_NE(h, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const ZOR_ReturnStatus status = Mirror_SetSessions(CONFIG_STATE_OPS, h, SW, text, cls);
    std::string out = testing::internal::GetCapturedStdout();
    return {status, out, testing::internal::GetCapturedStderr()};
  }

  /* The port's value of key, or nothing. */
  std::optional<Bytes> Value(const char *port, const char *key = ETHER_KEY) {
    DVSPort *p = DVSState_PortFind(SW, port);
    DVSDataNode *node = nullptr;
    if (p == nullptr || DVSData_Lookup(p->data, key, &node) != ZOR_OK) return std::nullopt;
    void *data = nullptr;
    const uint32_t len = DVSData_Data(node, &data);
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    return Bytes(bytes, bytes + len);
  }

  static int CountPort(DVSPort *, void *count) {
    ++*static_cast<int *>(count);
    return 0;
  }
  int PortCount() {
    int count = 0;
    DVSState_PortForEach(DVSState_SwitchFind(SW), CountPort, &count);
    return count;
  }

 private:
  std::string dir_;
  std::string path_;
};

const Bytes OLD_TABLE = {0xef, 0xbe, 0xce, 0xfa};

std::string PrintTable(const Bytes &value, bool wide, const char *key = ETHER_KEY) {
  return printing::Print(Prop_PrintMirrorSessions, value, PROP_CONFIG, key, wide);
}

/* ---- The tables -m writes ------------------------------------------------ */

TEST_F(MirrorCommand, OneSessionGivesEveryNamedPortTheWholeSession) {
  MakeSwitch("etherswitch", 5, {"5", "6", "7", "8", "9"});
  SetTable("8", ETHER_KEY, OLD_TABLE);
  const Outcome o = Run("v2*s1;mirror one;DVPORT;;;e;;5;6,7;;");
  EXPECT_EQ(o.status, ZOR_OK); /* what -m prints is in the transcripts */
  EXPECT_EQ(o.err, "");

  const Bytes table = Table(2, {{"s1", "mirror one", 1, 60, 0x08, 1, 1, 2, 0, 0}},
                            {Port("5"), Port("6"), Port("7")}, 36);
  ASSERT_EQ(table.size(), 360u);
  EXPECT_EQ(Value("5"), table);
  EXPECT_EQ(Value("6"), table);
  EXPECT_EQ(Value("7"), table);
  EXPECT_EQ(Value("8"), std::nullopt); /* named in no session: its old table is gone */
  EXPECT_EQ(Value("9"), std::nullopt);
  /* -m loads the file again into the loaded state; the ports are not doubled. */
  EXPECT_EQ(PortCount(), 5);
}

TEST_F(MirrorCommand, PortTablesHoldTheirOwnSessionsWithEntitiesMovedUp) {
  MakeSwitch("vswitch", 6, {"1", "2", "3", "4", "5"});
  const Outcome o =
      Run("v2*a;A;DVPORT;-1;7;IoE;3;1;2;;"
          "*b;B;MIXDST;100;;;;3;;4;"
          "*c;C;DVPORT;;;;;1;1,,5;;*",
          SWITCH_CLASS_VSWITCH);
  EXPECT_EQ(o.status, ZOR_OK);
  EXPECT_EQ(o.out,
            "a(A): snap=4294967295, flags=0xb, encap=7, startIdx=0 dst=1, srcIn=1, srcOut=0\n"
            "sessionType=1, samplingRate=3\n"
            "b(B): snap=100, flags=0x0, encap=0, startIdx=2 dst=1, srcIn=0, srcOut=1\n"
            "sessionType=0, samplingRate=1\n"
            "c(C): snap=60, flags=0x0, encap=0, startIdx=4 dst=1, srcIn=2, srcOut=0\n"
            "sessionType=1, samplingRate=1\n"
            "total ports: 7\n");

  Rec a = {"a", "A", 1, 0xFFFFFFFF, 0x0b, 3, 1, 1, 0, 0, 7};
  Rec c = {"c", "C", 1, 60, 0, 1, 1, 2, 0, 0};
  Rec cMoved = c;
  cMoved.startIdx = 2;
  /* Port 1 is in sessions a and c (twice in c): both sessions, each once, entities back to back. */
  EXPECT_EQ(Value("1", VSWITCH_KEY),
            Table(2, {a, cMoved}, {Port("1"), Port("2"), Port("1"), Port("1"), Port("5")}, 36));
  EXPECT_EQ(Value("5", VSWITCH_KEY), Table(2, {c}, {Port("1"), Port("1"), Port("5")}, 36));
  EXPECT_EQ(Value("4", VSWITCH_KEY),
            Table(2, {{"b", "B", 0, 100, 0, 1, 1, 0, 1, 0}}, {Port("3"), Port("4")}, 36));
  EXPECT_EQ(Value("1", ETHER_KEY), std::nullopt); /* the class chose the other key */
}

TEST_F(MirrorCommand, WideRecordsFromVersion100) {
  const std::string name48(48, 'w');
  MakeSwitch("cswitch", 100, {name48});
  const std::string text =
      "v3*e;E;ERMIRROR_SRC;ERSPAN3;7;2;9;;;;;10.1.2.3,fe80::1;" + name48 + ";;";
  const Outcome o = Run(text.c_str(), SWITCH_CLASS_CSWITCH);
  EXPECT_EQ(o.status, ZOR_OK);
  Rec e = {"e", "E", 4, 60, 0, 1, 2, 1, 0, 0};
  e.encapType = 2;
  e.erspanId = 7;
  e.cos = 2;
  e.gra = 9;
  const Bytes v6 = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  EXPECT_EQ(Value(name48.c_str(), VSWITCH_KEY),
            Table(3, {e}, {{3, "", 0, {10, 1, 2, 3}}, {3, "", 0, v6}, Port(name48)}, 52));
}

/* ---- Order of effects ------------------------------------------------------ */

TEST_F(MirrorCommand, OldSwitchLosesItsTablesAndThenRefuses) {
  MakeSwitch("etherswitch", 3, {"5", "8"});
  SetTable("8", ETHER_KEY, OLD_TABLE);
  const Outcome o = Run("v2*s1;x;DVPORT;;;;;5;;;");
  EXPECT_EQ(o.status, ZOR_NOT_SUPPORTED);
  EXPECT_EQ(o.err,
            "Can't apply session as a dvPort property to FENN whose version is older than 6.0\n");
  EXPECT_EQ(Value("8"), std::nullopt);
  EXPECT_EQ(Value("5"), std::nullopt);
}

/* ---- The printer ----------------------------------------------------------- */

const char HEAD[] = "\t\tcom.corvane.etherswitch.port.mirrorSessions:\n";
const char TAIL[] = "\t\t\tpropType = CONFIG \n";

std::string SessionLines(const std::string &sid, const std::string &flags, const std::string &snap,
                         const std::string &vlan, const std::string &type, int rate) {
  return "\t\t\tsid:\t\t\t" + sid + "\n\t\t\tdname:\t\t\t" + sid + "\n\t\t\tflags:\t\t\t" + flags +
         "\n\t\t\tsnapLen:\t\t" + snap + "\n\t\t\tencapVlan:\t\t" + vlan + "\n\t\t\ttype:\t\t\t" +
         type + "\n\t\t\tsamplingRate:\t\t" + std::to_string(rate) + "\n";
}

std::string Lists(const std::string &dst, const std::string &in, const std::string &out) {
  return "\n\t\t\tdstEntities\t" + dst + "\n\t\t\tsrcInEntities\t" + in +
         "\n\t\t\tsrcOutEntities\t" + out + "\n\n";
}

TEST(MirrorPrinter, SessionsAndEntitiesOfEveryType) {
  std::vector<Ent> nine;
  for (int i = 1; i <= 9; i++) nine.push_back(Port("p" + std::to_string(i)));
  nine.push_back(Port("q"));
  /* Two sessions: the entity index runs on from one session's lists to the next. */
  EXPECT_EQ(
      PrintTable(Table(2,
                       {{"a", "a", 1, 60, 0x3f, 1, 9, 0, 0, 0, 5},
                        {"b", "b", 0, 0xFFFFFFFF, 0, 4, 0, 0, 1, 9}},
                       nine, 36),
                 false),
      HEAD +
          SessionLines("a", "DST_NO_OUTPUT DST_NO_INPUT DST_ORIG_VLAN DST_ENCAP LEGACY DISABLED ",
                       "60", "5", "DVPORT", 1) +
          Lists("(9):\tp1 p2 p3 p4 p5 p6 p7 \n\t\t\t\tp8 p9 ", "(0):\t", "(0):\t") +
          SessionLines("b", "", "-1 (full frame)", "0 (no ENCAP)", "MIXDST", 4) +
          Lists("(0):\t", "(0):\t", "(1):\tq ") + TAIL);

  /* Encapsulation lines: only in format 3, erspanGra only for ERSPAN3. */
  Rec e = {"e", "e", 4, 60, 0, 1, 0, 0, 0, 0};
  e.encapType = 1;
  e.erspanId = 300;
  e.cos = 5;
  const std::string eLines = SessionLines("e", "", "60", "0 (no ENCAP)", "ERMIRROR_SRC", 1);
  const std::string none = Lists("(0):\t", "(0):\t", "(0):\t");
  EXPECT_EQ(PrintTable(Table(3, {e}, {}, 36), false),
            HEAD + eLines + "\t\t\tencap-type:\t\tERSPAN2\n\t\t\terspanID:\t\t300\n" +
                "\t\t\terspanCOS:\t\t5\n" + none + TAIL);
  EXPECT_EQ(PrintTable(Table(2, {e}, {}, 36), false), HEAD + eLines + none + TAIL);

  /* A type without a name: named, counted, not shown. */
  EXPECT_EQ(PrintTable(Table(2, {{"x", "x", 9, 60, 0x08, 1, 1, 0, 0, 0}}, {Port("5")}, 36), false),
            HEAD + SessionLines("x", "DST_ENCAP ", "60", "0", "NOT_SUPPORTED_TYPE", 1) +
                Lists("(1):\t", "(0):\t", "(0):\t") + TAIL);
}

TEST(MirrorPrinter, CutAndLyingTablesAreReadOnlyAsFarAsTheyGo) {
  const Rec one = {"s", "s", 1, 60, 0x08, 1, 1, 0, 0, 0};
  const Bytes good = Table(2, {one}, {Port("5")}, 36);
  const std::string sLines = SessionLines("s", "DST_ENCAP ", "60", "0", "DVPORT", 1);
  struct Case {
    Bytes value;
    bool wide;
    std::string lines;
  };
  Bytes hugeCount = good;
  Put(hugeCount, 20 + 216, 0xFFFFFFFF, 4);
  Bytes manySessions = good;
  Put(manySessions, 8, 0x7FFFFFFF, 4);
  const Case cases[] = {
      {{}, false, std::string(HEAD) + TAIL},
      {Bytes(good.begin(), good.begin() + 11), false, std::string(HEAD) + TAIL},
      {Bytes(good.begin(), good.begin() + 20), false, std::string(HEAD) + TAIL},
      /* A session record cut short is not shown. */
      {Bytes(good.begin(), good.begin() + 251), false, std::string(HEAD) + TAIL},
      /* An entity past the end ends the list. */
      {Bytes(good.begin(), good.end() - 1), false,
       HEAD + sLines + "\n\t\t\tdstEntities\t(1):\t\n" + TAIL},
      {hugeCount, false, HEAD + sLines + "\n\t\t\tdstEntities\t(4294967295):\t5 \n" + TAIL},
      /* S claims more records than the value holds: the entities would lie past them. */
      {manySessions, false, HEAD + sLines + "\n\t\t\tdstEntities\t(1):\t\n" + TAIL},
      /* Wide records read from a narrow table: the one entity no longer fits. */
      {good, true, HEAD + sLines + "\n\t\t\tdstEntities\t(1):\t\n" + TAIL},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(PrintTable(c.value, c.wide), c.lines) << c.value.size() << " bytes";
  }
}

}  // namespace
