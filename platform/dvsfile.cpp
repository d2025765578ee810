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
 *    Nothing but the file itself is ever left beside it.
 */

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "core/files.h"
#include "core/wire.h"
#include "state/dvslib.h"

namespace {

/* The file this process holds locked, if any: the path it was opened by and its descriptor. */
struct HeldLock {
  std::string path;
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
 * the locked file is still the one that path names. Returns 0 with the
 * descriptor in *fd and its attributes in *st; ZOR_NOT_FOUND when path
 * does not exist (nothing is created), ZOR_IO_ERROR when it is not a
 * regular file, or the open's status. The caller owns *fd.
 */
ZOR_ReturnStatus OpenLocked(const char *path, int *fd, struct stat *st) {
  for (;;) {
    /* O_NONBLOCK: opening a FIFO must not wait for a writer; regular files ignore it. */
    int f = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (f < 0) return StatusFromErrno(errno);
    if (fstat(f, st) != 0 || !S_ISREG(st->st_mode)) {
      close(f);
      return ZOR_IO_ERROR;
    }
    int rc;
    while ((rc = flock(f, LOCK_EX)) != 0 && errno == EINTR) {
    }
    struct stat now;
    if (rc != 0 || stat(path, &now) != 0) {
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
  if (static_cast<uint64_t>(st.st_size) > UINT32_MAX) return ZOR_TOO_LARGE;
  size_t size = static_cast<size_t>(st.st_size);
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
  if (status == 0 ||
      ((status == ZOR_NOT_FOUND || status == ZOR_PERMISSION_DENIED) && stat(path, &st) == 0)) {
    mode = st.st_mode & 07777; /* a replaced file keeps its mode */
  } else if (status == ZOR_NOT_FOUND || status == ZOR_PERMISSION_DENIED) {
    mode_t mask = umask(0); /* a new file gets 0644 less the umask */
    umask(mask);
    mode = 0644 & ~mask;
  } else {
    return status;
  }
  int err = zor::ReplaceFile(path, data, len, mode);
  if (err) return StatusFromErrno(err);
  /* The read-modify-write cycle of this process is complete. */
  Unlock();
  return ZOR_OK;
}
