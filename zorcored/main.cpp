// SPDX-License-Identifier: Apache-2.0
/*
 * main.cpp --
 *
 *    zorcored: the stand-in for the hypervisor's switch module and host
 *    configuration store. "zorcored [--socket PATH] [--state-dir DIR]
 *    [--socket-group GROUP] [--detach] [--testing]" serves the kernel
 *    channel until SIGTERM or SIGINT; "zorcored ctl ..." is the control
 *    interface (ctl.cpp). Only a daemon started with --testing obeys the
 *    control requests that break it on purpose (injected failures,
 *    shutdown). Under systemd (Type=notify) it reports when its socket
 *    accepts clients.
 */

#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
#include <grp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <vector>

#ifdef ZORCORED_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include "core/files.h"
#include "core/protocol.h"
#include "ctl.h"
#include "kernel.h"
#include "server.h"
#include "store.h"

namespace {

constexpr const char *kDefaultStateDir = "/var/lib/corvane";

void PrintUsage(FILE *out) {
  fprintf(out,
          "usage: zorcored [--socket PATH] [--state-dir DIR] [--socket-group GROUP]\n"
          "                [--detach] [--testing] [--idle-timeout SECONDS]\n"
          "       zorcored --help | --version\n"
          "       zorcored ctl [--socket PATH] COMMAND [ARGS...]   (zorcored ctl help)\n"
          "defaults: --socket %s, --state-dir %s\n",
          zor::chan::DEFAULT_SOCKET_PATH, kDefaultStateDir);
}

/* A group given to --socket-group, or none. */
constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);

/*
 * Creates dir and its missing parents with mode (the parents 0755); true
 * when it exists afterwards. When created is not null, the directories
 * made are appended to it, parents first.
 */
bool MakeDirs(const std::string &dir, mode_t mode, std::vector<std::string> *created = nullptr) {
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  size_t slash = dir.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !MakeDirs(dir.substr(0, slash), 0755, created)) {
    return false;
  }
  if (mkdir(dir.c_str(), mode) == 0) {
    if (created) created->push_back(dir);
    return true;
  }
  return errno == EEXIST;
}

/*
 * The directories that the daemon made for its socket: removed, newest
 * first, when it ends (a directory that something else has put files in
 * since stays), so that a daemon started by hand leaves no runtime
 * directory behind. Under systemd the runtime directory already exists.
 */
struct RuntimeDirs {
  std::vector<std::string> created;
  ~RuntimeDirs() {
    for (auto it = created.rbegin(); it != created.rend(); ++it) rmdir(it->c_str());
  }
};

/*
 * The group that --socket-group names: a group name, or a number. Returns
 * NO_GROUP when there is no such group.
 */
gid_t LookUpGroup(const char *text) {
  char *end = nullptr;
  errno = 0;
  unsigned long n = strtoul(text, &end, 10);
  if (*text >= '0' && *text <= '9' && *end == '\0' && errno == 0 && n < NO_GROUP) {
    return static_cast<gid_t>(n);
  }
  struct group *g = getgrnam(text);
  return g ? g->gr_gid : NO_GROUP;
}

/* Tells systemd how the service is doing (READY=1, STOPPING=1); nothing outside systemd. */
void NotifyServiceManager([[maybe_unused]] const char *state) {
#ifdef ZORCORED_HAVE_SYSTEMD
  sd_notify(0, state);
#endif
}

/* True when a daemon already accepts connections on path. */
bool SomeoneListens(const std::string &path) {
  struct sockaddr_un addr;
  if (!zor::chan::SocketAddress(path.c_str(), &addr)) return false;
  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (s < 0) return false;
  bool up = connect(s, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr)) == 0;
  close(s);
  return up;
}

/*
 * Creates the listening socket under a temporary name and renames it to
 * path once it listens, so that path appears only when the daemon can
 * serve. The socket's mode is 0600, or 0660 with the group group when
 * there is one; a daemon may give its socket a group that it belongs to
 * without any capability. Returns the socket, or -1 after printing why.
 */
int Listen(const std::string &path, gid_t group) {
  std::string temp = path + "." + std::to_string(getpid()) + ".new";
  struct sockaddr_un addr;
  if (!zor::chan::SocketAddress(temp.c_str(), &addr)) {
    fprintf(stderr, "zorcored: socket path too long: %s\n", path.c_str());
    return -1;
  }
  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (s < 0) {
    perror("zorcored: socket");
    return -1;
  }
  unlink(temp.c_str());
  mode_t old = umask(077);
  int rc = bind(s, reinterpret_cast<struct sockaddr *>(&addr), sizeof(addr));
  umask(old);
  if (rc == 0 && group != NO_GROUP && group != getegid()) {
    rc = chown(temp.c_str(), static_cast<uid_t>(-1), group);
  }
  if (rc != 0 || chmod(temp.c_str(), group != NO_GROUP ? 0660 : 0600) != 0 ||
      listen(s, SOMAXCONN) != 0 || rename(temp.c_str(), path.c_str()) != 0) {
    fprintf(stderr, "zorcored: cannot listen on %s: %s\n", path.c_str(), strerror(errno));
    unlink(temp.c_str());
    close(s);
    return -1;
  }
  return s;
}

/* Lets the daemon hold as many clients as its limit allows. */
void RaiseDescriptorLimit() {
  struct rlimit rl;
  if (getrlimit(RLIMIT_NOFILE, &rl) != 0) return;
  rlim_t want = zorcored::MAX_CLIENTS + 64;
  if (rl.rlim_cur >= want) return;
  rl.rlim_cur = rl.rlim_max == RLIM_INFINITY || rl.rlim_max >= want ? want : rl.rlim_max;
  setrlimit(RLIMIT_NOFILE, &rl);
}

/* Moves the daemon into the background: the parent exits once the socket is up. */
bool Detach() {
  pid_t pid = fork();
  if (pid < 0) {
    perror("zorcored: fork");
    return false;
  }
  if (pid > 0) _exit(0);
  setsid();
  int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null >= 0) {
    dup2(null, 0);
    dup2(null, 1);
    dup2(null, 2);
    close(null);
  }
  return true;
}

/* What the command line asks of the daemon. */
struct DaemonOptions {
  std::string socketPath = zor::chan::DEFAULT_SOCKET_PATH;
  std::string stateDir = kDefaultStateDir;
  gid_t socketGroup = NO_GROUP;
  bool detach = false;
  bool testing = false;
  int idleMs = zorcored::IDLE_TIMEOUT_MS_DEFAULT;
};

int Serve(const DaemonOptions &o) {
  const std::string &socketPath = o.socketPath;
  const std::string &stateDir = o.stateDir;
  signal(SIGPIPE, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigprocmask(SIG_BLOCK, &set, nullptr); /* delivered through the server's signalfd */

  /*
   * Everything that can refuse the start is checked before anything is
   * created, so that a daemon that does not start leaves no trace.
   */
  struct stat at;
  if (lstat(socketPath.c_str(), &at) == 0 && !S_ISSOCK(at.st_mode)) {
    fprintf(stderr, "zorcored: %s exists and is not a socket\n", socketPath.c_str());
    return 1;
  }
  struct sockaddr_un addr;
  std::string longest = socketPath + "." + std::to_string(getpid()) + ".new";
  if (!zor::chan::SocketAddress(longest.c_str(), &addr)) {
    fprintf(stderr, "zorcored: socket path too long: %s\n", socketPath.c_str());
    return 1;
  }
  if (SomeoneListens(socketPath)) {
    fprintf(stderr, "zorcored: %s is served by another zorcored\n", socketPath.c_str());
    return 1;
  }

  if (!MakeDirs(stateDir, 0700)) {
    fprintf(stderr, "zorcored: cannot create state directory %s: %s\n", stateDir.c_str(),
            strerror(errno));
    return 1;
  }
  std::string lockPath = stateDir + "/zorcored.lock";
  /* O_NOFOLLOW: a link planted in place of the lock is refused, not followed. */
  int lock = open(lockPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (lock < 0 || flock(lock, LOCK_EX | LOCK_NB) != 0) {
    fprintf(stderr, "zorcored: state directory %s is in use by another zorcored\n",
            stateDir.c_str());
    return 1;
  }
  zorcored::Store store(stateDir);
  store.RemoveStaleTemp();

  std::string sockDir = zor::ParentDir(socketPath);
  RuntimeDirs runtimeDirs;
  if (!MakeDirs(sockDir, 0755, &runtimeDirs.created)) {
    fprintf(stderr, "zorcored: cannot create %s: %s\n", sockDir.c_str(), strerror(errno));
    return 1;
  }
  RaiseDescriptorLimit();
  int listenFd = Listen(socketPath, o.socketGroup);
  if (listenFd < 0) return 1;
  struct stat ours;
  bool haveInode = stat(socketPath.c_str(), &ours) == 0;

  if (o.detach && !Detach()) return 1;

  zorcored::Kernel kernel(&store);
  int rc;
  {
    zorcored::Server server(&kernel, listenFd, o.testing, o.idleMs);
    if (o.socketGroup != NO_GROUP) server.AdmitGroup(o.socketGroup);
    /* Clients that connect from now on are served: units ordered after this one may start. */
    NotifyServiceManager("READY=1");
    rc = server.Run();
    NotifyServiceManager("STOPPING=1");
  }
  /* Remove the socket unless another daemon has taken the path over since. */
  struct stat now;
  if (haveInode && stat(socketPath.c_str(), &now) == 0 && now.st_ino == ours.st_ino &&
      now.st_dev == ours.st_dev) {
    unlink(socketPath.c_str());
  }
  close(listenFd);
  close(lock);
  return rc;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc >= 2 && strcmp(argv[1], "ctl") == 0) return zorcored::CtlMain(argc - 1, argv + 1);

  DaemonOptions o;
  static const struct option longOpts[] = {
      {"socket", required_argument, nullptr, 's'},
      {"state-dir", required_argument, nullptr, 'd'},
      {"socket-group", required_argument, nullptr, 'g'},
      {"detach", no_argument, nullptr, 'D'},
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'v'},
      {"testing", no_argument, nullptr, 't'},
      {"idle-timeout", required_argument, nullptr, 'i'},
      {nullptr, 0, nullptr, 0},
  };
  int opt;
  while ((opt = getopt_long(argc, argv, "h", longOpts, nullptr)) != -1) {
    switch (opt) {
      case 's':
        o.socketPath = optarg;
        break;
      case 'd':
        o.stateDir = optarg;
        break;
      case 'g':
        o.socketGroup = LookUpGroup(optarg);
        if (o.socketGroup == NO_GROUP) {
          fprintf(stderr, "zorcored: no group %s\n", optarg);
          return 1;
        }
        break;
      case 'D':
        o.detach = true;
        break;
      case 't':
        o.testing = true;
        break;
      case 'i': {
        char *end = nullptr;
        long seconds = strtol(optarg, &end, 10);
        if (end == optarg || *end || seconds < 1 || seconds > 86400) {
          fprintf(stderr, "zorcored: --idle-timeout takes 1 to 86400 seconds\n");
          return 2;
        }
        o.idleMs = static_cast<int>(seconds * 1000);
        break;
      }
      case 'h':
        PrintUsage(stdout);
        return 0;
      case 'v':
        /* The version comes from the project's build (ZORCORED_VERSION). */
        printf("zorcored %s\n", ZORCORED_VERSION);
        return 0;
      default:
        PrintUsage(stderr);
        return 2;
    }
  }
  if (optind < argc || o.socketPath.empty() || o.stateDir.empty()) {
    PrintUsage(stderr);
    return 2;
  }
  return Serve(o);
}
