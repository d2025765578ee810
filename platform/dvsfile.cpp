// SPDX-License-Identifier: Apache-2.0
/*
 * dvsfile.cpp --
 *
 *    Plain configuration files.
 *
 *    Writes are crash-safe (ReplaceFile of core/files.h): the new content
 *    goes to a temporary file in the same directory, is flushed to disk and
 *    renamed over the old file, and the directory is flushed; a crash, a
 *    kill or a full disk leaves the old or the new file, never a torn one.
 *    Readers therefore never see a torn file and need no lock.
 *
 *    Concurrent processes editing one file lose no update: the first read
 *    or write of a file takes an exclusive flock on the file itself, and
 *    the process keeps it until its write of that file has completed or
 *    the process ends, so a process's read-modify-write cycle runs alone.
 *    A writer replaces the file by rename, so an editor that was waiting
 *    for the lock may be granted it on a file that is no longer at the
 *    path; it notices by comparing inodes and locks the new file instead.
 *    The wait is bounded (CONFIG_LOCK_WAIT_MS), so that nobody who can
 *    open the file, a mere reader included, can hold its editors up for
 *    ever.
 *
 *    Hostile paths: only regular files are read (a FIFO, directory or
 *    device is refused before anything waits on it); a file above
 *    CONFIG_FILE_MAX is refused before it is read, and a foreign header
 *    is handed over alone. A symlinked path is edited where it points,
 *    so the link stays. While the lock is held, the temporary file of a
 *    save has the fixed name PATH.tmp beside the target: a save that was
 *    killed leaves it behind, and the next save of the file removes it.
 *    A rewritten file keeps its owner, group and mode. Nothing but the
 *    file itself is ever left beside it.
 */

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "core/big_alloc.h"
#include "core/config_model.h"
#include "core/files.h"
#include "core/wire.h"
#include "dvslib.h"

namespace {

/*
 * The file this process holds locked, if any: the path it was opened by,
 * the file that path resolved to (symlinks followed) and its descriptor.
 */
struct HeldLock {
  std::string path;
  std::string target;
  int fd = -1;
};

HeldLock &Held() {
  static HeldLock held;
  return held;
}

void Unlock() {
  HeldLock &held = Held();
  if (held.fd >= 0) close(held.fd);
  held.fd = -1;
  held.path.clear();
  held.target.clear();
}

/* The file that path names once its symlinks are followed, or path itself when that fails. */
std::string ResolvedPath(const char *path) {
  char *real = realpath(path, nullptr);
  if (!real) return path;
  std::string out = real;
  free(real);
  return out;
}

int64_t NowMs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

/*
 * Takes an exclusive flock on f, trying until deadlineMs (monotonic).
 * Polled rather than blocking so that the wait can end; the pauses grow
 * from 1 to 20 ms. Returns 0, ZOR_LOCKED when the deadline passed, or
 * the status of a failed flock.
 */
ZOR_ReturnStatus LockBy(int f, int64_t deadlineMs) {
  long pauseUs = 1000;
  for (;;) {
    if (flock(f, LOCK_EX | LOCK_NB) == 0) return 0;
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return ZOR_IO_ERROR;
    if (NowMs() >= deadlineMs) return ZOR_LOCKED;
    timespec pause = {0, pauseUs * 1000};
    nanosleep(&pause, nullptr);
    pauseUs = pauseUs * 2 > 20000 ? 20000 : pauseUs * 2;
  }
}

ZOR_ReturnStatus StatusFromErrno(int err) {
  switch (err) {
    case ENOENT:
    case ENOTDIR:
      return ZOR_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
      return ZOR_PERMISSION_DENIED;
    case ENOMEM:
      return ZOR_NO_MEMORY;
    case ENOSPC:
      return ZOR_NO_RESOURCES;
    case ENAMETOOLONG:
      return ZOR_TOO_LARGE;
    default:
      return ZOR_IO_ERROR;
  }
}

/*
 * Opens the regular file at path and locks it exclusively, retrying until
 * the locked file is still the one that path names, for at most
 * CONFIG_LOCK_WAIT_MS in all. Returns 0 with the descriptor in *fd and
 * its attributes in *st; ZOR_NOT_FOUND when path does not exist (nothing
 * is created), ZOR_NOT_REGULAR_FILE when it is not a regular file,
 * ZOR_LOCKED when the wait ran out, or the open's status. The caller
 * owns *fd.
 */
ZOR_ReturnStatus OpenLocked(const char *path, int *fd, struct stat *st) {
  const int64_t deadline = NowMs() + zor::CONFIG_LOCK_WAIT_MS;
  for (;;) {
    /* O_NONBLOCK: opening a FIFO must not wait for a writer; regular files ignore it. */
    int f = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (f < 0) return StatusFromErrno(errno);
    if (fstat(f, st) != 0) {
      close(f);
      return ZOR_IO_ERROR;
    }
    if (!S_ISREG(st->st_mode)) {
      close(f);
      return ZOR_NOT_REGULAR_FILE;
    }
    ZOR_ReturnStatus locked = LockBy(f, deadline);
    if (locked) {
      close(f);
      return locked;
    }
    struct stat now;
    if (stat(path, &now) != 0) {
      int err = errno;
      close(f);
      return StatusFromErrno(err);
    }
    /* A concurrent editor may have renamed a new file over path while we waited. */
    if (now.st_dev == st->st_dev && now.st_ino == st->st_ino) {
      *fd = f;
      return 0;
    }
    close(f);
  }
}

/*
 * Makes this process hold the lock of path, taking it unless it is held
 * already; a lock on another file is released first. Returns 0 with the
 * locked descriptor in *fd and its current attributes in *st, or the
 * status of OpenLocked.
 */
ZOR_ReturnStatus HoldLock(const char *path, int *fd, struct stat *st) {
  HeldLock &held = Held();
  if (held.fd >= 0 && held.path == path) {
    if (fstat(held.fd, st) != 0) return ZOR_IO_ERROR;
    *fd = held.fd;
    return 0;
  }
  Unlock();
  ZOR_ReturnStatus status = OpenLocked(path, fd, st);
  if (status) return status;
  held.path = path;
  held.target = ResolvedPath(path);
  held.fd = *fd;
  return 0;
}

}  // namespace

ZOR_ReturnStatus DVSFile_ReadClassical(const char *path, void **data, uint32_t *len,
                                       int32_t *offset) {
  if (!path || !*path || !data || !len) return ZOR_BAD_PARAM;
  int fd;
  struct stat st;
  ZOR_ReturnStatus status = HoldLock(path, &fd, &st);
  if (status) return status;
  if (static_cast<uint64_t>(st.st_size) > zor::CONFIG_FILE_MAX) return ZOR_TOO_LARGE;
  size_t size = static_cast<size_t>(st.st_size);
  /*
   * A foreign magic or another format version is all the deserialiser
   * needs to see to refuse a file, with the same status as for the whole
   * file: hand over the header alone rather than read a file that cannot
   * be a configuration.
   */
  uint8_t header[zor::HEADER_LEN];
  if (size > sizeof(header) && zor::ReadFull(fd, header, sizeof(header))) {
    zor::WireReader r(header, sizeof(header));
    const uint32_t magic = r.U32();
    const uint16_t version = r.U16();
    if (magic != zor::CONFIG_MAGIC || version != zor::FORMAT_VERSION) size = sizeof(header);
  }
  uint8_t *buf = static_cast<uint8_t *>(zor::BigAlloc(size));
  if (!buf) return ZOR_NO_MEMORY;
  if (!zor::ReadFull(fd, buf, size)) {
    free(buf);
    return ZOR_IO_ERROR;
  }
  *data = buf;
  *len = static_cast<uint32_t>(size);
  if (offset) *offset = 0;
  return ZOR_OK;
}

ZOR_ReturnStatus DVSFile_WriteClassical(const char *path, const void *data, uint32_t len,
                                        uint32_t) {
  if (!path || !*path || (!data && len)) return ZOR_BAD_PARAM;
  /*
   * An existing file is locked (if a read has not done so already), so
   * that this write does not land in the middle of another process's
   * cycle. A file that does not exist yet, or that this user may not
   * read, has no lock to take; it is written all the same.
   */
  int fd;
  struct stat st;
  ZOR_ReturnStatus status = HoldLock(path, &fd, &st);
  mode_t mode;
  uid_t owner = static_cast<uid_t>(-1);
  gid_t group = static_cast<gid_t>(-1);
  if (status == 0 ||
      ((status == ZOR_NOT_FOUND || status == ZOR_PERMISSION_DENIED) && stat(path, &st) == 0)) {
    /* A replaced file keeps its mode, and its owner and group where this user may keep them. */
    mode = st.st_mode & 07777;
    if (st.st_uid != geteuid()) owner = st.st_uid;
    if (st.st_gid != getegid()) group = st.st_gid;
  } else if (status == ZOR_NOT_FOUND || status == ZOR_PERMISSION_DENIED) {
    mode_t mask = umask(0); /* a new file gets 0644 less the umask */
    umask(mask);
    mode = 0644 & ~mask;
  } else {
    return status;
  }
  /*
   * Locked: the file the path resolves to is replaced (a symlink stays a
   * symlink) through the fixed temporary name, so that a killed save's
   * leftover is removed by the next. Unlocked (a new or unreadable file):
   * a uniquely named temporary file beside the path, as no lock keeps
   * other writers away.
   */
  int err;
  if (status == 0) {
    const std::string target = Held().target;
    err = zor::ReplaceFile(target, data, len, mode, target + ".tmp", owner, group);
  } else {
    err = zor::ReplaceFile(path, data, len, mode, std::string(), owner, group);
  }
  if (err) return StatusFromErrno(err);
  /* The read-modify-write cycle of this process is complete. */
  Unlock();
  return ZOR_OK;
}
