// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_mode_test.cpp --
 *
 *    Transcripts of brakk in kernel mode against a private zorcored:
 *    switches, ports and properties in the kernel's state, the switch
 *    settings, the configuration store through the default path (-i, -G,
 *    -S, -R, -f /etc/corvane/dvsdata.db, -Z), events from -e and the
 *    daemon to running listeners, the uplink runtime commands, host facts,
 *    the control interface and injected kernel failures.
 */

#include <dirent.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "zorcored_fixture.h"

namespace {

using namespace transcript;
using namespace transcript::lines;

class KernelMode : public KernelTest {};

TEST_F(KernelMode, SwitchesAndPortsLiveInTheKernel) {
  CheckKernel({
      {"-l", 0, "", ""},
      {"-a dvs0", 0, "", ""},
      {"-a dvs0", 4, "", OP_FAILED + "0xbad0004\n"},
      {"-A -p 7 dvs0", 0, "", ""},
      {"-A -p 7 dvs0", 4, "",
       "DVSZOR_PortAdd failed: Already exists\n" + OP_FAILED + "0xbad0004\n"},
      {"-A -p 8 dvs0", 0, "", ""},
      {"-a -P 2 --className vswitch dvs1", 0, "", ""},
      {"-l", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + NewPort("8") +
           Switch(DVS1_ID, "dvs1", "vswitch", 2) + HOST_LIST,
       ""},
      {"-D -p 7 dvs0", 0, "", ""},
      {"-D -p 7 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"-l dvs0", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("8"), ""},
      {"-d dvs0", 0, "", ""},
      {"-d dvs0", 255, "", "Switch handle not found by id " + DVS0_ID + "\n"},
      {"-A -p 1 dvs0", 255, "", "Switch handle not found by id " + DVS0_ID + "\n"},
      {"-l", 0, Switch(DVS1_ID, "dvs1", "vswitch", 2) + HOST_LIST, ""},
  });
}

TEST_F(KernelMode, CreateAllPortsBuildsThemInTheKernel) {
  CheckKernel({
      {"-a -C -P 2 --className vswitch dvs1", 0, "", ""},
      {"-l", 0,
       Switch(DVS1_ID, "dvs1", "vswitch", 2) + HOST_LIST + NewPort("0") + LongProp() +
           NewPort("1") + LongProp(),
       ""},
      {"--cmdExec portcount dvs1", 0, "2\n", ""},
      {"-a -C -P 0 dvs0", 0, "", ""},
      {"--cmdExec portcount dvs0", 0, "0\n", ""},
  });
}

TEST_F(KernelMode, AliasLookupReadsTheKernelState) {
  MakeKernelSwitch();
  CheckKernel({
      /* Re-aliasing the switch: the new name now finds it through the kernel's state. */
      {"-s com.corvane.common.alias=core -p globalPropList dvs0", 0, "", ""},
      {"-A -p 3 core", 0, "", ""},
      {"-l core", 0, Switch(DVS0_ID, "core") + HOST_LIST + NewPort("3"), ""},
      /* An ID given with -n needs no lookup. */
      {"-n -r com.corvane.common.port.alias -p 3 '" + DVS0_ID + "'", 0,
       Text("com.corvane.common.port.alias", "3"), ""},
  });
}

TEST_F(KernelMode, PropertiesOnPortsAndLists) {
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"-s com.corvane.common.port.speed=9000 -p 7 dvs0", 0, "", ""},
      {"-r com.corvane.common.port.speed -p 7 dvs0", 0,
       Hex("com.corvane.common.port.speed", "0x28.23. 0 <repeats 2 times>"), ""},
      {"-s myKey=abc -p globalPropList dvs0", 0, "", ""},
      {"-s other=1 -p globalPropList dvs0", 0, "", ""},
      {"-s myKey=xyz -p globalPropList dvs0", 0, "", ""}, /* replaced in place */
      {"-r myKey -p globalPropList dvs0", 0, Text("myKey", "xyz"), ""},
      {"-s flag -p hostPropList dvs0", 0, "", ""},
      {"-r flag -p hostPropList dvs0", 0, Text("flag", "true"), ""},
      {"-s empty= -p 7 dvs0", 0, "", ""},
      {"-r nope -p 7 dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
      {"-r nope -p globalPropList dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
      {"-s a=b -p 9 dvs0", 3, "", "DVSState_PortDataSet failed\n" + OP_FAILED + "0xbad0003\n"},
      {"-u nope -p 7 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"-u nope -p hostPropList dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"-u com.corvane.common.port.speed -p 7 dvs0", 0, "", ""},
      {"-r com.corvane.common.port.speed -p 7 dvs0", 3, "",
       "Failed to get port data: Not found\n" + OP_FAILED + "0xbad0003\n"},
      {"-u other -p globalPropList dvs0", 0, "", ""},
      {"-l", 0,
       Switch(DVS0_ID, "dvs0") + Text("myKey", "xyz") + HOST_LIST + Text("flag", "true") +
           NewPort("7") + Hex("empty", "0x 0. 0 <repeats 3 times>"),
       ""},
  });
}

TEST_F(KernelMode, SwitchSettingsActOnTheKernelSwitch) {
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"-M up,1000 -p 7 dvs0", 0, "linkup/down = up\nspeed = 1000\n", ""},
      {"-M down -p 9 dvs0", 3, "linkup/down = down\nno speed\n", OP_FAILED + "0xbad0003\n"},
      {"--setVersion 100 dvs0", 0, "", ""},
      {"--setMaxPorts 128 dvs0", 0, "", ""},
      {"--cmdExec maxports dvs0", 0, "128\n", ""},
      {"--setDVSID abc dvs0", 0, "", ""},
      {"--nopersist true dvs0", 0, "", ""},
      {"--cmdExec associated dvs0", 0, "no\n", ""},
      {"-y dvs0", 0, "", ""},
      {"--cmdExec associated dvs0", 0, "yes\n", ""},
      {"-Y dvs0", 0, "", ""},
      {"--cmdExec associated dvs0", 0, "no\n", ""},
      {"-l dvs0", 0,
       Switch(DVS0_ID, "dvs0", "cswitch", 128) +
           Hex("com.corvane.common.version", "0x64. 0 <repeats 3 times>") +
           Hex("com.corvane.common.volatile.nopersist", "0x 1", "VOLATILE ") + HOST_LIST +
           Text("com.corvane.common.host.volatile.dvsID", "abc", "VOLATILE ") +
           NewPortHighVersion("7") +
           "\t\tcom.corvane.common.port.linkstatus =\n"
           "\t\t\tlink up; 1000 Mb/s, full duplex\n\t\t\tpropType = CONFIG \n",
       ""},
  });
}

TEST_F(KernelMode, StoreThroughTheDefaultPath) {
  const std::string store = "-f /etc/corvane/dvsdata.db ";
  const std::string dvs0 = Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7");
  const std::string kv = Text("k", "v");
  CheckKernel({
      {store + "-l", 1, "", "failed to get config data: Not found\n"},
      {"-S", 1, "", "failed to get config data: Not found\n"},
      {"-i", 0, "", ""},
      {store + "-l", 0, "", ""},
      {"-a dvs0", 0, "", ""},
      {"-A -p 7 dvs0", 0, "", ""},
      {"--setDVSID abc dvs0", 0, "", ""}, /* volatile: not persistent */
      {"-a dvs1", 0, "", ""},
      {"--nopersist true dvs1", 0, "", ""}, /* the whole switch stays out */
      {"-G", 0, "", ""},
      {store + "-l", 0, dvs0, ""},
      {"-R", 0, "", ""},
      {"-l", 0, "", ""},
      {"-S", 0, "", ""},
      {"-l", 0, dvs0, ""},
      /* A file-mode edit through the store leaves the kernel alone until -S. */
      {store + "-s k=v -p 7 dvs0", 0, "", ""},
      {store + "-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + kv, ""},
      {"-l", 0, dvs0, ""},
      {"-S", 0, "", ""},
      {"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + kv, ""},
      /* Other paths are plain files, not the store. */
      {"-f ./plain.db -i", 0, "", ""},
      {"-f ./plain.db -S", 0, "", ""},
      {"-l", 0, "", ""},
      {store + "-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + kv, ""},
  });
  /* The store lives in the daemon's state directory and survives a restart. */
  EXPECT_FALSE(ReadFile(StateDir() + "/dvsdata.db").empty());
  ASSERT_EQ(StopDaemon(), 0);
  ASSERT_TRUE(StartDaemon());
  CheckKernel({
      {"-l", 0, "", ""}, /* a restart is a reboot: the kernel starts empty */
      {"-S", 0, "", ""},
      {"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7") + kv, ""},
  });
}

/* The pids of detached brakk -Z processes talking to socket. */
std::vector<pid_t> DetachedDaemons(const std::string &socket) {
  std::vector<pid_t> pids;
  DIR *proc = opendir("/proc");
  if (!proc) return pids;
  const std::string env = "ZORCORE_SOCKET=" + socket;
  while (struct dirent *e = readdir(proc)) {
    pid_t pid = static_cast<pid_t>(atoi(e->d_name));
    if (pid <= 0) continue;
    std::string base = "/proc/" + std::string(e->d_name);
    std::string cmdline = ReadFile(base + "/cmdline");
    std::string environ = ReadFile(base + "/environ");
    if (cmdline.rfind(std::string("brakk\0-Z", 8), 0) != 0) continue;
    if (environ.find(env + '\0') == std::string::npos) continue;
    pids.push_back(pid);
  }
  closedir(proc);
  return pids;
}

// -Z pushes the stored configuration into the kernel, detaches, and copies the
// kernel's state back to the store every 30 seconds.
TEST_F(KernelMode, ConfigDaemonKeepsTheStoreAndTheKernelInStep) {
  CheckKernel({
      {"-Z", 255, "",
       "failed to get config data: Not found\nLoadConfig failed to load DVS configuration\n"},
      {"-a dvs0", 0, "", ""},
      {"-A -p 7 dvs0", 0, "", ""},
      {"-G", 0, "", ""},
      {"-R", 0, "", ""},
      {"-Z", 0, "", "starting DVS daemon...\n"},
      {"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7"), ""},
      {"-A -p 9 dvs0", 0, "", ""},
  });
  const std::vector<pid_t> detached = DetachedDaemons(Socket());
  EXPECT_EQ(detached.size(), 1u);
  auto storeHasPort9 = [&] {
    return Brakk("-f /etc/corvane/dvsdata.db -l", Kernel()).out.find("\tport 9:\n") !=
           std::string::npos;
  };
  EXPECT_FALSE(storeHasPort9());
  bool copied = false;
  for (int second = 0; second < 45 && !copied; second++) {
    sleep(1);
    copied = storeHasPort9();
  }
  EXPECT_TRUE(copied) << "the kernel's new port never reached the store";
  for (pid_t pid : detached) kill(pid, SIGKILL);
}

TEST_F(KernelMode, EventsReachEveryListenerInOrder) {
  MakeKernelSwitch({"7"});
  Background first = StartBrakk({"-g"});
  Background second = StartBrakk({"-g"});
  ASSERT_TRUE(WaitUntil([&] { return Info("listeners") == 2; }));
  CheckKernel({
      {"-e 5 -p 12 dvs0", 0, "", ""},
      {"-e 5", 0, "", ""},
      {"-e 1 -p 3", 0, "", ""},
      /* A feature key posts event 23: no data while the port has no external ID... */
      {"-s com.corvane.port.feature.x=1 -p 7 dvs0", 0, "", ""},
  });
  CtlOk("set-prop dvs0 7 com.corvane.port.extraConfig.vnic.external.id u32:77");
  CheckKernel({
      /* ...and the ID's value once it has one. */
      {"-s com.corvane.port.feature.x=2 -p 7 dvs0", 0, "", ""},
      {"--persist", 0, "", ""},
  });
  CtlOk("post-event 11 dvs0 - str:dyn-1");
  CtlOk("post-event 12 dvs0 7 str:dyn-2");
  CtlOk("post-event 8 dvs0");
  CtlOk("post-event 13 - 4 u32:0x01020304");

  const std::string sw0 = "dvswitch " + DVS0_ID;
  const std::string none = "dvswitch 00 00 00 00 00 00 00 00-00 00 00 00 00 00 00 00";
  const std::string p = "poll returned true\nreceived dvs event ";
  const std::string expected =
      p + "TRANSITION: " + sw0 + " dvport 12 (type 0)\n" + p + "TRANSITION: " + none +
      " dvport portX (type 0)\n" + p + "LINKUP: " + none + " dvport 3 (type 0)\n" + p +
      "unknown: " + sw0 + " dvport 7 (type 0)\n" + p + "unknown: " + sw0 + " dvport 7 (type 77)\n" +
      p + "unknown: " + none + " dvport portX (type 0)\n" + p + "DVS Dynamic Event: " + sw0 +
      " dynamic event id: dyn-1\n" + p + "DVS Port Dynamic Event: " + sw0 +
      " dvport 7, dynamic event id: dyn-2\n" + p + "HostStatus change: " + sw0 + "\n" + p +
      "unknown: " + none + " dvport 4 (type 16909060)\n";
  ASSERT_TRUE(WaitUntil([&] { return ReadFile(second.outPath).size() >= expected.size(); }));
  ASSERT_TRUE(WaitUntil([&] { return ReadFile(first.outPath).size() >= expected.size(); }));
  EXPECT_EQ(StopBackground(first, SIGTERM), expected);
  EXPECT_EQ(StopBackground(second, SIGTERM), expected);
  EXPECT_TRUE(WaitUntil([&] { return Info("listeners") == 0; }));
}

/* What --stats prints for the counters base, base + 1, ... (all 0 when base is 0). */
std::string Statistics(int base) {
  std::stringstream names(
      "Rx Packets,Tx Packets,Rx Bytes,Tx Bytes,Rx Errors,Tx Errors,Rx Dropped,Tx Dropped,"
      "Multicast,Collisions,Rx Length Errors,Rx Over Errors,Rx CRC Errors,Rx Frame Errors,"
      "Rx Fifo Errors,Rx Missed Errors,Tx Aborted Errors,Tx Carrier Errors,Tx Fifo Errors,"
      "Tx Heartbeat Errors,Tx Window Errors,Module Interface Rx packets,"
      "Module Interface Tx packets,Module Interface Rx dropped,Module Interface Tx dropped,"
      "Module Interface packets completed");
  std::string out = "\t\t -- General Statistics\n";
  std::string name;
  for (int i = 0; std::getline(names, name, ','); i++) {
    out += "\t\t " + name + ": " + std::to_string(base != 0 ? base + i : 0) + "\n";
  }
  return out;
}

TEST_F(KernelMode, UplinkRuntimeItems) {
  MakeKernelSwitch({"7"});
  CheckKernel({
      {"--getCap -p 7 dvs0", 0, "\t\t Capability 0x0\n", ""},
      {"--cap 768 -p 7 dvs0", 0, "", ""},
      {"--getCap -p 7 dvs0", 0, "\t\t Capability 0x300\n", ""},
      {"--cap -1 -p 7 dvs0", 0, "", ""},
      {"--getCap -p 7 dvs0", 0, "\t\t Capability 0xffffffffffffffff\n", ""},
      {"--getCap -p 9 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"--reset -p 7 dvs0", 0, "", ""},
      {"--reset -p 9 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      {"--vlan 4096 -p 7 dvs0", 0, "", ""},
      {"--getCap -p 7 dvs0", 0, "\t\t Capability 0x300\n", ""},
      {"--vlan 4097 -p 7 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"--vlan 100 -p 9 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"--states -p 7 dvs0", 0, "", ""},
      {"--states -p 9 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"--stats -p 7 dvs0", 0, Statistics(0), ""},
      {"--stats -p 9 dvs0", 3, "", OP_FAILED + "0xbad0003\n"},
      /* A runtime item lives with its port: a re-added port starts afresh. */
      {"-D -p 7 dvs0", 0, "", ""},
      {"-A -p 7 dvs0", 0, "", ""},
      {"--getCap -p 7 dvs0", 0, "\t\t Capability 0x0\n", ""},
  });
  std::string counters;
  for (int i = 0; i < 26; i++) counters.append(" ").append(std::to_string(1000 + i));
  CtlOk("uplink-stats dvs0 7" + counters);
  CheckKernel({{"--stats -p 7 dvs0", 0, Statistics(1000), ""}});
  EXPECT_EQ(Ctl("uplink-stats dvs0 9 1").err,
            "zorcored ctl: uplink-stats failed: status 0xbad0003\n");
}

TEST_F(KernelMode, DiagnosticCommands) {
  const std::string arg255(255, 'a');
  const std::string arg256(256, 'b');
  MakeKernelSwitch();
  CheckKernel({
      {"--cmdExec echo --cmdArg hello dvs0", 0, "hello\n", ""},
      {"--cmdExec echo dvs0", 0, "no result!\n", ""},
      {"--cmdExec echo --cmdArg '' dvs0", 0, "\n", ""}, /* one byte: the NUL */
      {"--cmdExec echo --cmdArg " + arg255 + " dvs0", 0, arg255 + "\n", ""},
      {"--cmdExec echo --cmdArg " + arg256 + " dvs0", 0, "result too large, length: 257\n", ""},
      {"--cmdExec portcount dvs0", 0, "0\n", ""},
      {"--cmdExec help dvs0", 0, "echo portcount maxports associated help\n", ""},
      {"--cmdExec 'ls /' dvs0", 255, "", "DVSZOR_CmdExec failed: Not found\n"},
      {"--cmdExec echo --cmdArg x dvs9", 255, "", "DVSZOR_CmdExec failed: Not found\n"},
  });
}

TEST_F(KernelMode, InjectedKernelFailures) {
  MakeKernelSwitch({"7"});
  CheckKernel({{"-i", 0, "", ""}});
  CtlOk("fail PortRemove 0xbad0001");
  CtlOk("fail DVSZOR_StateGet 0xbad0103 1");
  EXPECT_EQ(Ctl("info").out,
            "switches: 1\nports: 1\nclients: 1\nlisteners: 0\n"
            "fault: DVSZOR_StateGet 0xbad0103 1\nfault: DVSZOR_PortRemove 0xbad0001 0\n");
  CheckKernel({
      /* Once only: the next load works again. */
      {"-l", 1, "", "failed to get config data: Kernel channel error\n"},
      {"-D -p 7 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"-D -p 7 dvs0", 1, "", OP_FAILED + "0xbad0001\n"},
      {"-l", 0, Switch(DVS0_ID, "dvs0") + HOST_LIST + NewPort("7"), ""},
  });
  CtlOk("fail PortRemove off");
  CheckKernel({{"-D -p 7 dvs0", 0, "", ""}});

  CtlOk("fail DVSFile_Write 0xbad0108");
  CtlOk("fail StateInit 0xbad0017");
  CtlOk("fail DVSEvent_PostMsg 0xbad0001");
  CtlOk("fail DVSEvent_Register 0xbad0020");
  CtlOk("fail PortDataSet 0xbad0003");
  CheckKernel({
      {"-i", 255, "", "failed to write config data to configstore\n"},
      {"-G", 255, "", "failed to write config data to configstore\n"},
      {"-S", 23, "", "DVSZOR_StateInit failed: Out of resources\n"},
      {"-e 5", 0, "failed to post dvs event: Failure\n", ""},
      {"-g", 255, "DVSEvent_Register() failed, bad0020\nRun this command as a userworld\n",
       "NOT_REACHED apps/net/dvs/brakk:662\n"},
      {"-s a=b -p globalPropList dvs0", 0, "", ""}, /* only the named operation fails */
      {"-M up -p 7 dvs0", 3, "linkup/down = up\nno speed\n", OP_FAILED + "0xbad0003\n"},
  });
  CtlOk("fail all off");
  CheckKernel({{"-i", 0, "", ""}, {"-S", 0, "", ""}});

  RunResult bad = Ctl("fail Bogus 0xbad0001");
  EXPECT_EQ(bad.exitStatus, 2);
  EXPECT_EQ(bad.err, "zorcored ctl: unknown operation 'Bogus' (see: zorcored ctl ops)\n");
  EXPECT_EQ(Ctl("fail all 0xbad0001").exitStatus, 2);
  EXPECT_EQ(Ctl("fail PortAdd 0").exitStatus, 2);
}

TEST_F(KernelMode, ControlInterfaceSetsRuntimeState) {
  MakeKernelSwitch({"7", "8"});
  CtlOk("port-state dvs0 7 SHADOW");
  CtlOk("port-state '" + DVS0_ID + "' 8 'LOCAL CACHE'");
  CtlOk("set-prop dvs0 7 com.corvane.common.port.runtime.x u32:5");
  CtlOk("set-prop dvs0 globalPropList g u8:1,u16:0x203,hex:ff CONFIG|NO_SYNC");
  CtlOk("set-prop dvs0 hostPropList h str:a,b 0x40");
  const std::string h = Text("h", "a,b", "NO_REPLICATE ");
  const std::string runtimeX =
      Hex("com.corvane.common.port.runtime.x", "0x 5. 0 <repeats 3 times>", "RUNTIME VOLATILE ");
  CheckKernel({
      {"-l", 0,
       Switch(DVS0_ID, "dvs0") + Hex("g", "0x 1. 3. 2.ff", "CONFIG NO_SYNC") + HOST_LIST + h +
           NewPort("7", VSWITCH_VLAN, " (SHADOW)") + runtimeX +
           NewPort("8", VSWITCH_VLAN, "(LOCAL CACHE)"),
       ""},
  });
  CtlOk("clear-prop dvs0 globalPropList g");
  CtlOk("port-state dvs0 7 NORMAL");
  CtlOk("port-state dvs0 8 3");
  CheckKernel({
      {"-l", 0,
       Switch(DVS0_ID, "dvs0") + HOST_LIST + h + NewPort("7") + runtimeX +
           NewPort("8", VSWITCH_VLAN, " (ZOMBIE)"),
       ""},
  });
  /* Failures and malformed arguments. */
  const struct {
    std::string args;
    int status;
    std::string err;
  } bad[] = {
      {"set-prop dvs9 7 k u8:1", 1, "zorcored ctl: set-prop failed: status 0xbad0003\n"},
      {"set-prop dvs0 9 k u8:1", 1, "zorcored ctl: set-prop failed: status 0xbad0003\n"},
      {"clear-prop dvs0 7 nope", 1, "zorcored ctl: clear-prop failed: status 0xbad0003\n"},
      {"port-state dvs0 9 SHADOW", 1, "zorcored ctl: port-state failed: status 0xbad0003\n"},
      {"set-prop dvs0 7 k u8:300", 2,
       "zorcored ctl: bad value 'u8:300': number too large for its width\n"},
      {"set-prop dvs0 7 k hex:abc", 2,
       "zorcored ctl: bad value 'hex:abc': odd number of hex digits\n"},
      {"set-prop dvs0 7 k u32:1,", 2, "zorcored ctl: bad value 'u32:1,': empty item\n"},
      {"set-prop dvs0 7 k f32:1", 2, "zorcored ctl: bad value 'f32:1': unknown item type\n"},
      {"set-prop dvs0 7 k u8:1 SOMETIMES", 2, "zorcored ctl: bad flags 'SOMETIMES'\n"},
      {"port-state dvs0 7 ASLEEP", 2, "zorcored ctl: bad port state 'ASLEEP'\n"},
      {"post-event x", 2, "zorcored ctl: bad event type 'x'\n"},
      {"set-prop dvs0", 2,
       "usage: zorcored ctl set-prop SWITCH TARGET KEY VALUE [FLAGS]  (FLAGS: RUNTIME|VOLATILE)\n"},
      {"frobnicate", 2,
       "zorcored ctl: unknown command 'frobnicate' (zorcored ctl help lists them)\n"},
  };
  for (const auto &b : bad) {
    RunResult r = Ctl(b.args);
    EXPECT_EQ(r.exitStatus, b.status) << b.args;
    EXPECT_EQ(r.out, "") << b.args;
    EXPECT_EQ(r.err, b.err) << b.args;
  }
  /* ctl shutdown stops the daemon: the host has no kernel any more. */
  CtlOk("shutdown");
  EXPECT_EQ(StopDaemon(), 0);
  CheckKernel({{"-l", 1, "", "failed to get config data: No kernel switch module on this host\n"}});
  const RunResult r = Ctl("info");
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "zorcored ctl: info failed: status 0xbad0101\n");
}

}  // namespace
