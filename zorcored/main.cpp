/*
 * main.cpp --
 *
 *    zorcored: the stand-in for the hypervisor's switch module and host
 *    configuration store. "zorcored [--socket PATH] [--state-dir DIR]
 *    [--detach] [--testing]" serves the kernel channel until SIGTERM or
 *    SIGINT; "zorcored ctl ..." is the control interface (ctl.cpp). Only a
 *    daemon started with --testing obeys the control requests that break
 *    it on purpose (injected failures, shutdown).
 */

#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
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
          "usage: zorcored [--socket PATH] [--state-dir DIR] [--detach] [--testing]\n"
          "                [--idle-timeout SECONDS]\n"
          "       zorcored --help | --version\n"
          "       zorcored ctl [--socket PATH] COMMAND [ARGS...]   (zorcored ctl help)\n"
          "defaults: --socket %s, --state-dir %s\n",
          zor::chan::DEFAULT_SOCKET_PATH, kDefaultStateDir);
}

/* Creates dir and its missing parents with mode; true when it exists afterwards. */
bool MakeDirs(const std::string &dir, mode_t mode) {
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  size_t slash = dir.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !MakeDirs(dir.substr(0, slash), 0755)) {
    return false;
  }
  return mkdir(dir.c_str(), mode) == 0 || errno == EEXIST;
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
 * Creates the listening socket under a temporary name with mode 0600 and
 * renames it to path once it listens, so that path appears only when the
 * daemon can serve. Returns the socket, or -1 after printing why.
 */
int Listen(const std::string &path) {
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
  if (rc != 0 || chmod(temp.c_str(), 0600) != 0 || listen(s, SOMAXCONN) != 0 ||
      rename(temp.c_str(), path.c_str()) != 0) {
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

int Serve(const std::string &socketPath, const std::string &stateDir, bool detach, bool testing,
          int idleMs) {
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
  if (!MakeDirs(sockDir, 0755)) {
    fprintf(stderr, "zorcored: cannot create %s: %s\n", sockDir.c_str(), strerror(errno));
    return 1;
  }
  RaiseDescriptorLimit();
  int listenFd = Listen(socketPath);
  if (listenFd < 0) return 1;
  struct stat ours;
  bool haveInode = stat(socketPath.c_str(), &ours) == 0;

  if (detach && !Detach()) return 1;

  zorcored::Kernel kernel(&store);
  int rc;
  {
    zorcored::Server server(&kernel, listenFd, testing, idleMs);
    rc = server.Run();
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

  std::string socketPath = zor::chan::DEFAULT_SOCKET_PATH;
  std::string stateDir = kDefaultStateDir;
  bool detach = false;
  bool testing = false;
  int idleMs = zorcored::IDLE_TIMEOUT_MS_DEFAULT;
  static const struct option longOpts[] = {
      {"socket", required_argument, nullptr, 's'},
      {"state-dir", required_argument, nullptr, 'd'},
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
        socketPath = optarg;
        break;
      case 'd':
        stateDir = optarg;
        break;
      case 'D':
        detach = true;
        break;
      case 't':
        testing = true;
        break;
      case 'i': {
        char *end = nullptr;
        long seconds = strtol(optarg, &end, 10);
        if (end == optarg || *end || seconds < 1 || seconds > 86400) {
          fprintf(stderr, "zorcored: --idle-timeout takes 1 to 86400 seconds\n");
          return 2;
        }
        idleMs = static_cast<int>(seconds * 1000);
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
  if (optind < argc || socketPath.empty() || stateDir.empty()) {
    PrintUsage(stderr);
    return 2;
  }
  return Serve(socketPath, stateDir, detach, testing, idleMs);
}
