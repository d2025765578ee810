// SPDX-License-Identifier: Apache-2.0
/*
 * store.cpp --
 *
 *    The configuration store file: whole-file reads and crash-safe
 *    replacement through a fixed temporary name, so that a leftover from a
 *    crash is found and removed at start.
 */

#include "store.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "core/config_model.h"
#include "core/files.h"
#include "core/protocol.h"

namespace zorcored {

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
  ZOR_ReturnStatus status = 0;
  if (fstat(fd, &st) != 0) {
    status = ZOR_IO_ERROR;
  } else if (static_cast<uint64_t>(st.st_size) > zor::chan::FRAME_BODY_MAX) {
    status = ZOR_TOO_LARGE;
  } else if (!out->Reserve(static_cast<size_t>(st.st_size))) {
    status = ZOR_NO_MEMORY;
  } else if (!zor::ReadFull(fd, out->Data(), static_cast<size_t>(st.st_size))) {
    /* The store is only ever replaced by rename, so the open file keeps its size. */
    status = ZOR_IO_ERROR;
  } else {
    out->Grow(static_cast<size_t>(st.st_size));
  }
  close(fd);
  return status;
}

ZOR_ReturnStatus Store::Write(const void *data, size_t len) {
  if (len > zor::chan::FRAME_BODY_MAX) return ZOR_TOO_LARGE;
  zor::WireReader body(nullptr, 0);
  ZOR_ReturnStatus check =
      zor::OpenBlock(data, static_cast<uint32_t>(len), zor::CONFIG_MAGIC, &body);
  if (check) return check;
  return zor::ReplaceFile(path_, data, len, 0600, temp_) ? ZOR_IO_ERROR : 0;
}

}  // namespace zorcored
