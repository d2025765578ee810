// SPDX-License-Identifier: Apache-2.0
/*
 * store.h --
 *
 *    The host configuration store that zorcored keeps for the library's
 *    DVSFile_Read and DVSFile_Write: one serialised configuration in a
 *    file of the state directory, replaced crash-safe on every write.
 */

#ifndef ZORCORED_STORE_H
#define ZORCORED_STORE_H

#include <stddef.h>

#include <string>

#include "core/wire.h"
#include "dvslib.h"

namespace zorcored {

class Store {
 public:
  /* The store lives in dir as STORE_FILE_NAME. */
  explicit Store(std::string dir);

  /* Removes a temporary file that a write interrupted by a crash left behind. */
  void RemoveStaleTemp();
  /*
   * Reads the stored configuration into out. Returns 0, ZOR_NOT_FOUND when
   * nothing has been stored yet, ZOR_TOO_LARGE or ZOR_IO_ERROR.
   */
  ZOR_ReturnStatus Read(zor::ByteBuf *out) const;
  /*
   * Replaces the stored configuration with data, which must be a whole
   * serialised configuration (its header and checksum are checked; the
   * refusal status is returned otherwise). The bytes go to a temporary
   * file that is flushed to disk and renamed over the store, and the
   * directory is flushed, so a crash leaves the old or the new store.
   * Returns 0 or ZOR_IO_ERROR.
   */
  ZOR_ReturnStatus Write(const void *data, size_t len);

  const std::string &Path() const { return path_; }

 private:
  std::string dir_;
  std::string path_;
  std::string temp_;
};

inline constexpr const char *STORE_FILE_NAME = "dvsdata.db";

}  // namespace zorcored

#endif  // ZORCORED_STORE_H
