/*
 * dvsfile.cpp --
 *
 *    Plain configuration files.
 *
 *    Writes are crash-safe: the new content goes to a temporary file in the
 *    same directory, is flushed to disk and renamed over the old file, and
 *    the directory is flushed; a crash, a kill or a full disk leaves the old
 *    or the new file, never a torn one.
 *
 *    Concurrent processes editing one file lose no update: the first read
 *    or write of a file takes an exclusive lock on "<path>.lock" beside it,
 *    and the process keeps it until its write of that file has completed or
 *    the process ends. A process's read-modify-write cycle therefore runs
 *    alone. Readers never see a torn file thanks to the rename.
 */

#include <errno.h>
#include <fcntl.h>
#include <libgen.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "core/wire.h"
#include "state/dvslib.h"

namespace {

/* The lock this process holds, if any: the path it guards and its descriptor. */
struct HeldLock {
  std::string path;
  int fd = -1;
};

HeldLock &Held() {
  static HeldLock held;
  return held;
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
    case ENAMETOOLONG:
      return ZOR_TOO_LARGE;
    default:
      return ZOR_IO_ERROR;
  }
}

/*
 * Takes the exclusive lock for path unless this process holds it already.
 * A lock file that cannot be created (a read-only directory) leaves the
 * file unlocked: such a file cannot be written by anyone here either.
 */
void LockFor(const char *path) {
  HeldLock &held = Held();
  if (held.fd >= 0 && held.path == path) return;
  if (held.fd >= 0) {
    close(held.fd);
    held.fd = -1;
  }
  std::string lockPath = std::string(path) + ".lock";
  int fd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return;
  while (flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) {
      close(fd);
      return;
    }
  }
  held.path = path;
  held.fd = fd;
}

void Unlock() {
  HeldLock &held = Held();
  if (held.fd >= 0) close(held.fd);
  held.fd = -1;
  held.path.clear();
}

bool WriteAll(int fd, const uint8_t *p, size_t n) {
  while (n) {
    ssize_t w = write(fd, p, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

std::string DirName(const char *path) {
  std::string copy(path);
  return dirname(copy.data());
}

}  // namespace

ZOR_ReturnStatus DVSFile_ReadClassical(const char *path, void **data, uint32_t *len,
                                       int32_t *offset) {
  if (!path || !*path || !data || !len) return ZOR_BAD_PARAM;
  LockFor(path);
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return StatusFromErrno(errno);
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return ZOR_IO_ERROR;
  }
  if (static_cast<uint64_t>(st.st_size) > UINT32_MAX) {
    close(fd);
    return ZOR_TOO_LARGE;
  }
  size_t size = static_cast<size_t>(st.st_size);
  uint8_t *buf = static_cast<uint8_t *>(zor::BigAlloc(size));
  if (!buf) {
    close(fd);
    return ZOR_NO_MEMORY;
  }
  size_t got = 0;
  while (got < size) {
    ssize_t r = read(fd, buf + got, size - got);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) break;
    got += static_cast<size_t>(r);
  }
  close(fd);
  if (got != size) {
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
  LockFor(path);
  std::string tmp = std::string(path) + ".XXXXXX";
  int fd = mkostemp(tmp.data(), O_CLOEXEC);
  if (fd < 0) return StatusFromErrno(errno);

  /* Keep the mode of the file being replaced; a new file gets 0644 less the umask. */
  struct stat st;
  mode_t mode;
  if (stat(path, &st) == 0) {
    mode = st.st_mode & 07777;
  } else {
    mode_t mask = umask(0);
    umask(mask);
    mode = 0644 & ~mask;
  }
  int err = 0;
  if (fchmod(fd, mode) != 0 || !WriteAll(fd, static_cast<const uint8_t *>(data), len) ||
      fsync(fd) != 0) {
    err = errno;
  }
  if (close(fd) != 0 && !err) err = errno;
  if (!err && rename(tmp.c_str(), path) != 0) err = errno;
  if (err) {
    unlink(tmp.c_str());
    return err == ENOSPC ? ZOR_NO_RESOURCES : StatusFromErrno(err);
  }
  int dfd = open(DirName(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dfd >= 0) {
    fsync(dfd);
    close(dfd);
  }
  /* The read-modify-write cycle of this process is complete. */
  Unlock();
  return ZOR_OK;
}
