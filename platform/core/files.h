/*
 * files.h --
 *
 *    Whole-file reads and crash-safe file replacement, shared by the plain
 *    configuration files of the library and the configuration store of
 *    zorcored.
 */

#ifndef PLATFORM_CORE_FILES_H
#define PLATFORM_CORE_FILES_H

#include <stddef.h>
#include <sys/types.h>

#include <string>

namespace zor {

/*
 * Reads exactly n bytes at offset 0 of the open file fd into p, retrying
 * interrupted and short reads; the file position is not used. Returns true
 * when all n bytes arrived, false on an error or an early end of file.
 */
bool ReadFull(int fd, void *p, size_t n);

/* The directory part of path: "." when it has no slash, "/" for a name in the root. */
std::string ParentDir(const std::string &path);

/*
 * Replaces the file at path with the len bytes of data so that a crash, a
 * kill or a full disk leaves the old file or the new one, never a torn
 * one: the bytes go to a temporary file in the same directory, which gets
 * mode, is flushed to disk and renamed over path; then the directory is
 * flushed so that the rename itself is durable. The temporary file is
 * tempPath (created or truncated; it must be in path's directory), or,
 * when tempPath is empty, a new file with the unique name path.XXXXXX. It
 * is removed again when a step fails. Returns 0, or the errno value of the
 * step that failed.
 */
int ReplaceFile(const std::string &path, const void *data, size_t len, mode_t mode,
                const std::string &tempPath = std::string());

}  // namespace zor

#endif  // PLATFORM_CORE_FILES_H
