/*
 * transcript.cpp --
 *
 *    Spawning brakk with captured output, the per-test private directory
 *    and the table check.
 */

#include "transcript.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>

extern char **environ;

namespace transcript {

const char NO_KERNEL_LOAD[] = "failed to get config data: No kernel switch module on this host\n";

namespace {

/* A directory made with mkdtemp under TMPDIR (or /tmp); empty on failure. */
std::string MakeTempDir(const char *prefix) {
  const char *base = getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + prefix + "XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) return std::string();
  return std::string(buffer.data());
}

/* A directory of this test process in which no daemon ever listens; removed at exit. */
const std::string &DeadSocketDir() {
  static const std::string dir = [] {
    std::string made = MakeTempDir("brakk-nokernel-");
    static std::string forCleanup;
    forCleanup = made;
    atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(forCleanup, ec);
    });
    return made;
  }();
  return dir;
}

/* Our environment with overrides applied: an entry NAME=... replaces ours of that NAME. */
std::vector<std::string> BuildEnvironment(const std::vector<std::string> &overrides) {
  std::vector<std::string> result;
  auto overridden = [&](const char *entry) {
    for (const std::string &o : overrides) {
      const size_t eq = o.find('=');
      const std::string name = o.substr(0, eq);
      if (strncmp(entry, name.c_str(), name.size()) == 0 && entry[name.size()] == '=') return true;
    }
    return false;
  };
  for (char **e = environ; *e != nullptr; e++) {
    if (!overridden(*e)) result.emplace_back(*e);
  }
  result.insert(result.end(), overrides.begin(), overrides.end());
  return result;
}

std::vector<char *> CStrings(std::vector<std::string> &strings) {
  std::vector<char *> result;
  for (std::string &s : strings) result.push_back(s.data());
  result.push_back(nullptr);
  return result;
}

double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/* Feeds input to fds[0] and reads fds[1] (out) and fds[2] (err) until both close or time runs out.
 */
bool Pump(int inFd, int outFd, int errFd, const std::string &input, RunResult &result,
          double deadline) {
  size_t written = 0;
  if (input.empty() && inFd >= 0) {
    close(inFd);
    inFd = -1;
  }
  int fds[3] = {outFd, errFd, inFd};
  std::string *sinks[2] = {&result.out, &result.err};
  while (fds[0] >= 0 || fds[1] >= 0) {
    pollfd pfds[3];
    int n = 0;
    int which[3];
    for (int i = 0; i < 3; i++) {
      if (fds[i] < 0) continue;
      pfds[n] = {fds[i], static_cast<short>(i < 2 ? POLLIN : POLLOUT), 0};
      which[n++] = i;
    }
    const int remainingMs = static_cast<int>((deadline - Now()) * 1000);
    if (remainingMs <= 0) return false;
    if (poll(pfds, n, remainingMs) < 0) continue;
    for (int k = 0; k < n; k++) {
      if (pfds[k].revents == 0) continue;
      const int i = which[k];
      if (i == 2) {
        ssize_t w = write(fds[2], input.data() + written, input.size() - written);
        if (w > 0) written += static_cast<size_t>(w);
        if (w < 0 || written == input.size()) {
          close(fds[2]);
          fds[2] = -1;
        }
        continue;
      }
      char buffer[65536];
      ssize_t r = read(fds[i], buffer, sizeof(buffer));
      if (r > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(r));
      } else {
        close(fds[i]);
        fds[i] = -1;
      }
    }
  }
  if (fds[2] >= 0) close(fds[2]);
  return true;
}

}  // namespace

RunResult Run(const std::vector<std::string> &args, const RunOptions &options) {
  RunResult result;
  int inPipe[2], outPipe[2], errPipe[2];
  if (pipe2(inPipe, O_CLOEXEC) != 0 || pipe2(outPipe, O_CLOEXEC) != 0 ||
      pipe2(errPipe, O_CLOEXEC) != 0) {
    result.exitStatus = 127;
    result.err = "transcript: pipe failed";
    return result;
  }
  /* A child that exits before reading its input must not kill us. */
  signal(SIGPIPE, SIG_IGN);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, inPipe[0], 0);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
  if (!options.cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.cwd.c_str());

  std::vector<std::string> argvStrings{options.argv0};
  argvStrings.insert(argvStrings.end(), args.begin(), args.end());
  std::vector<std::string> overrides{
      "ZORCORE_SOCKET=" + (options.kernelSocket.empty() ? DeadSocketDir() + "/no-zorcored.sock"
                                                        : options.kernelSocket)};
  overrides.insert(overrides.end(), options.env.begin(), options.env.end());
  std::vector<std::string> envStrings = BuildEnvironment(overrides);
  std::vector<char *> argv = CStrings(argvStrings);
  std::vector<char *> envp = CStrings(envStrings);

  pid_t pid = -1;
  const int spawnError =
      posix_spawn(&pid, options.program.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(inPipe[0]);
  close(outPipe[1]);
  close(errPipe[1]);
  if (spawnError != 0) {
    close(inPipe[1]);
    close(outPipe[0]);
    close(errPipe[0]);
    result.exitStatus = 127;
    result.err =
        std::string("transcript: cannot start ") + options.program + ": " + strerror(spawnError);
    return result;
  }

  const double deadline = Now() + options.timeoutSeconds;
  if (!Pump(inPipe[1], outPipe[0], errPipe[0], options.stdinText, result, deadline)) {
    result.timedOut = true;
    kill(pid, SIGKILL);
    close(outPipe[0]);
    close(errPipe[0]);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) {
    result.exitStatus = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.termSignal = WTERMSIG(status);
  }
  return result;
}

std::vector<std::string> SplitCommandLine(const std::string &line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (char c : line) {
    if (quote != 0) {
      if (c == quote) {
        quote = 0;
      } else {
        word += c;
      }
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

const std::string &UsageText() {
  static const std::string text =
      R"USAGE(Warning: This is an unsupported command. Use at your own risk.
         DVS config is persisted in configstore by default instead
         of in file /etc/corvane/dvsdata.db
brakk -a [--className className] [ -P maxPorts] switch_name
                                              add a new dvswitch
brakk -d switch_name                        delete a dvswitch
brakk [ -A | -D ] -p port switch_name       add/delete a port from a dvswitch
brakk [ -s name=value | -u name ] -p port switch_name
                                              set/unset key/value pair property for dvport
brakk -r name -p port switch_name          get value for dvport property specified
brakk -l [ switch_name ]                    list dvs information
brakk -i                                    init database
brakk [-S | -R | -G ]                       set zorcore state from config file/reset 
                                              zorcore state/get dvs state from zorcore 
                                              to config file
brakk -T                                    test dvsdata
brakk -v "vlanID[;t|p[0-7][;min-max,min-max...]]
                                              set vlan configuration
brakk -V "primaryVID,secondaryVID,i|c|p;primaryVID,secondaryVID,i|c|p..."
                                              set PVLAN global table contents
brakk -m "v1*sid;dname;snaplen;encapvlan;flags;wildcardsIn,wildcardsOut;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN50
     or -m "v2*sid;dname;stype;snaplen;encapvlan;flags;samplerate;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN51
     or -m "v3*sid;dname;stype;encap-type;erspanID;erspanCOS;erspanGra;snaplen;encapvlan;flags;samplerate;
             dst;srcIn;srcOut;*sid2;dname2..."
                                              set dvmirror configuration on FENN51
	sid:             session id
	dname:           display name
	snaplen:         mirrored packets are truncated to the length, the default and min value is 60
	encapvlan:       encapsulation vlan (1-4094), mirrored packets are encapsulated by the vlan.
	                 If a valid vlan is set, the "e" flag should also be set.
	flags:           i:  disallow normal input
	                 o:  disallow normal output
	                 e:  encapsulate packets using encapvlan
	                 v:  keep original vlan
	                 l:  legacy promiscuous session
	                 d:  disabled
	wildcards:       v:  vm
	                 p:  pnic
	                 k:  tcpip (zornic)
	                 c:  cos (deprecated)
	                 t:  test port
	dst:             destination ports, separated by ','
	srcIn:           ingress source ports, separated by ','
	srcOut:          egress source ports, separated by ','
	stype:           session type, it could be DVPORT, RMIRROR_SRC, RMIRROR_DST, ERMIRROR_SRC and MIXDST
	encap-type:      encapsulation type, it could be GRE_ONLY, ERSPAN2 and ERSPAN3
	erspanID:        identification associated with each ERSPAN session
	erspanCOS:       class of service of the mirrored frame
	erspanGra:       time unit to be supported for time-stamping, but only support ERSPAN3
	samplerate:      sampling rate to capture packets, the default and min value is 1
	Mixed dest session      srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    non-uplink DVPort or uplink DVPort
	Local DVPort session    srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    non-uplink DVPort
	RMirror src session     srcIn:  non-uplink DVPort
	                        srcOut: non-uplink uplink
	                        dst:    uplink name
	RMirror dst session     srcIn:  vlan
	                        srcOut: none
	                        dst:    non-uplink DVPort
	ERMirror src session    srcIn:  non-uplink DVPort
	                        srcOut: non-uplink DVPort
	                        dst:    IPv4 or IPv6
brakk dvswitch -k "respool1_id;respool2_id;..."
                                              list resource pool configuration
brakk dvswitch -p dvport -K "respool1_:reservation:shares:limit:ptag;respool2_id:
                                          reservation:shares:limit:ptag;..."
                                              set resource pool configuration
brakk dvswitch -p dvport -z "respool_id"
                                              set resource pool association for dvport
brakk dvswitch -j [activate|deactivate]
                                              activate/deactivate resource pool scheduling
brakk -L uplink_name1[,uplink_name2,...] -t team_policy_type [-p port] switch_name
                                              connect a set of uplinks with given teaming policy to a port or a switch
brakk dvswitch -H "red|yellow|green:some message" switch_name
                                              set host status for dvswitch
brakk -o "depth,param|classname;depth,param|classname;... -p port|globalPropList switch_name
                                              set overlay parameters for port
brakk [ -y | -Y ] switch_name               associate/disassociate a dvswitch with its proxy portset
brakk -U number switch_name                 create the specified number of uplink ports
brakk -X -p port switch_name                delete the specified uplink port
brakk --vlan vlanID -p dvport switch_name   set uplink vlan
brakk --reset -p dvport switch_name         reset port state
brakk --cap cap_value -p dvport switch_name
                                              set uplink port capability
brakk --states -p dvport switch_name        get uplink states
brakk --miscInfo                            dump cpu/meminfo
brakk --zornicIp <zornic>                   display IPv4 address on <zornic>
brakk --teamchkDeploy interval switch_name
                                              deploy teaming check, unit of interval is minute
brakk --teamchkParam type switch_name
                                              set 0(nonIPHASH) and 1(IPHASH) param for teaming check
brakk --teamchkRemove switch_name           stop teaming policy check of switch
brakk --vlanMTUChkDeploy interval switch_name
                                              deploy VLAN and MTU check
brakk --vlanMTUChkParam "range1Min-range1Max[,range2Min-range2Max...]" switch_name
                                              set vlanRange param for VLAN and MTU check
brakk --vlanMTUChkRemove switch_name        stop VLAN and MTU check of switch
brakk --qeltVLMChkDeploy interval switch_name
                                              simulate deployment of VLAN and MTU check via QEL-T
brakk --qeltVLMChkParam "range1Min-range1Max[,range2Min-range2Max...]" switch_name
                                              simulate setting vlanRange param for VLAN and MTU check via QEL-T
brakk --qeltVLMChkRemove switch_name        simulate stopping VLAN and MTU check of switch via QEL-T
brakk --enableSink [0|1] -p dvport switch_name      disable|enable sink mode on a dvPort
brakk --setLACP "v2*<lag name>;<lag key>;<lag port number>;<mode>;<LB policy>;*<lag name2>;<lag key2>;...." switch_name
                                              enable/disable LACPV2 on the dvswitch
brakk --configLAG "*<lag name>;<lag key>;<config item type:config item value,...>;*<lag name2>;<lag key2>;..." switch_name
                                              Configure LAG extra configurations after creating LAG e.g. timeout
brakk --persist                             persist DVS config to configstore immediately
brakk --nopersist [true|false] switch_name    don't persist the dvs data for one specified dvs
brakk -N global=ipfix_property_param switch_name
                                              Set ipfix property on the dvswitch
	ipfix_property_param:  enable|disable,idle_timeout,active_timeout,sample_rate,inter_flow_only,collector_ip:collector_port[,dvs_ip(only ipv4)][,obsDomainID]
	Example:
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140,101<dvsName>
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,10.112.120.140 <dvsName>
		brakk -N global=1,20,20,0,0,10.112.120.121:9660,101 <dvsName>
		brakk -N global=1,20,20,0,0,[fe80::1001]:9660,101 <dvsName>
		brakk -N global=1,20,20,0,0,[fe80::1001]:9660 <dvsName>
brakk --setVersion <version> switch_name    set DVS version
brakk --setDVSID  "dvsID" switch_name     change DVS ID
brakk -N port=1|0 -p dvport switch_name     enable/disable ipfix on the dvport
brakk -B cdp_lldp_flags dvport switch_name  enable/disable cdp/lldp on the dvport
	cdp_lldp_flags:     0x0           CDP down
	                    0x1           CDP listen
	                    0x2           CDP advertise
	                    0x3           CDP both
	                    0x10000       LLDP down
	                    0x10001       LLDP listen
	                    0x10002       LLDP advertise
	                    0x10003       LLDP both
brakk -E [other params]                     Use configstore as config source/destination. "-f" will be invalid if set both of them
	Expamle:
		brakk -E -l                 list dvs informations from configstore.
)USAGE";
  return text;
}

void TranscriptTest::SetUp() {
  dir_ = MakeTempDir("brakk-test-");
  ASSERT_FALSE(dir_.empty()) << "cannot make a temporary directory";
}

void TranscriptTest::TearDown() {
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

std::string TranscriptTest::Expand(const std::string &text) const {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] == '$' && i + 1 < text.size() && text[i + 1] == 'D') {
      result += dir_;
      i++;
    } else if (text[i] == '$' && i + 1 < text.size() && text[i + 1] == 'F') {
      result += "./dvs.db";
      i++;
    } else {
      result += text[i];
    }
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
  }
}

}  // namespace transcript
