// SPDX-License-Identifier: Apache-2.0
/*
 * files.cpp --
 *
 *    Whole-file reads and crash-safe replacement (temporary file, fsync,
 *    rename, fsync of the directory).
 */

#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zor {

namespace {

/* Writes all n bytes of p to fd. Returns 0 or the errno value of the failed write. */
int WriteAll(int fd, const void *p, size_t n) {
  const uint8_t *at = static_cast<const uint8_t *>(p);
  while (n > 0) {
    ssize_t put = write(fd, at, n);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return errno;
    if (put == 0) return EIO;
    at += put;
    n -= static_cast<size_t>(put);
  }
  return 0;
}

}  // namespace

bool ReadFull(int fd, void *p, size_t n) {
  uint8_t *at = static_cast<uint8_t *>(p);
  size_t got = 0;
  while (got < n) {
    ssize_t r = pread(fd, at + got, n - got, static_cast<off_t>(got));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    got += static_cast<size_t>(r);
  }
  return true;
}

std::string ParentDir(const std::string &path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

int ReplaceFile(const std::string &path, const void *data, size_t len, mode_t mode,
                const std::string &tempPath, uid_t owner, gid_t group) {
  std::string temp = tempPath;
  int fd;
  if (temp.empty()) {
    temp = path + ".XXXXXX";
    fd = mkostemp(temp.data(), O_CLOEXEC);
  } else {
    unlink(temp.c_str());
    fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  }
  if (fd < 0) return errno;

  /*
   * Owner first: a change of owner clears the set-ID bits that fchmod then
   * sets. Only root may give the file away; anyone else keeps at least the
   * group when they belong to it, and otherwise the new file is theirs.
   */
  if ((owner != static_cast<uid_t>(-1) || group != static_cast<gid_t>(-1)) &&
      fchown(fd, owner, group) != 0 && fchown(fd, static_cast<uid_t>(-1), group) != 0) {
    /* Neither could be kept: the new file belongs to its writer, as a new file would. */
  }
  int err = fchmod(fd, mode) != 0 ? errno : 0;
  if (!err) err = WriteAll(fd, data, len);
  if (!err && fsync(fd) != 0) err = errno;
  if (close(fd) != 0 && !err) err = errno;
  if (!err && rename(temp.c_str(), path.c_str()) != 0) err = errno;
  if (err) {
    unlink(temp.c_str());
    return err;
  }
  int dfd = open(ParentDir(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dfd >= 0) {
    fsync(dfd);
    close(dfd);
  }
  return 0;
}

}  // namespace zor
