/*
 * store.cpp --
 *
 *    The configuration store file: whole-file reads and crash-safe
 *    replacement (temporary file, fsync, rename, fsync of the directory).
 */

#include "store.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "core/config_model.h"
#include "core/protocol.h"

namespace zorcored {

namespace {

/* Writes all n bytes; false on any error. */
bool WriteAll(int fd, const void *p, size_t n) {
  const uint8_t *at = static_cast<const uint8_t *>(p);
  while (n > 0) {
    ssize_t put = write(fd, at, n);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    at += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

}  // namespace

Store::Store(std::string dir)
    : dir_(std::move(dir)),
      path_(dir_ + "/" + STORE_FILE_NAME),
      temp_(dir_ + "/" + STORE_FILE_NAME + ".tmp") {}

void Store::RemoveStaleTemp() {
  unlink(temp_.c_str());
}

ZOR_ReturnStatus Store::Read(zor::ByteBuf *out) const {
  out->Clear();
  int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? ZOR_NOT_FOUND : ZOR_IO_ERROR;
  struct stat st;
  if (fstat(fd, &st) != 0) {
    close(fd);
    return ZOR_IO_ERROR;
  }
  if (static_cast<uint64_t>(st.st_size) > zor::chan::FRAME_BODY_MAX) {
    close(fd);
    return ZOR_TOO_LARGE;
  }
  size_t size = static_cast<size_t>(st.st_size);
  if (!out->Reserve(size)) {
    close(fd);
    return ZOR_NO_MEMORY;
  }
  uint8_t chunk[64 * 1024];
  for (;;) {
    ssize_t got = read(fd, chunk, sizeof(chunk));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      close(fd);
      out->Clear();
      return ZOR_IO_ERROR;
    }
    if (got == 0) break;
    if (out->Size() + static_cast<size_t>(got) > zor::chan::FRAME_BODY_MAX ||
        !out->Append(chunk, static_cast<size_t>(got))) {
      close(fd);
      out->Clear();
      return ZOR_TOO_LARGE;
    }
  }
  close(fd);
  return 0;
}

ZOR_ReturnStatus Store::Write(const void *data, size_t len) {
  if (len > zor::chan::FRAME_BODY_MAX) return ZOR_TOO_LARGE;
  zor::WireReader body(nullptr, 0);
  ZOR_ReturnStatus check =
      zor::OpenBlock(data, static_cast<uint32_t>(len), zor::CONFIG_MAGIC, &body);
  if (check) return check;

  int fd = open(temp_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return ZOR_IO_ERROR;
  bool ok = WriteAll(fd, data, len) && fsync(fd) == 0;
  ok = (close(fd) == 0) && ok;
  if (!ok || rename(temp_.c_str(), path_.c_str()) != 0) {
    unlink(temp_.c_str());
    return ZOR_IO_ERROR;
  }
  /* The rename is durable only once the directory is on disk too. */
  int dfd = open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dfd >= 0) {
    fsync(dfd);
    close(dfd);
  }
  return 0;
}

}  // namespace zorcored
