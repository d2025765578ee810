// SPDX-License-Identifier: Apache-2.0
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
 * Limits of plain configuration files. A configuration file larger than
 * CONFIG_FILE_MAX is refused before it is read (the kernel channel could
 * not carry it either). An editor waits at most CONFIG_LOCK_WAIT_MS for
 * another process's lock on the file before giving up.
 */
inline constexpr size_t CONFIG_FILE_MAX = 256u << 20;
inline constexpr int CONFIG_LOCK_WAIT_MS = 5000;

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
 * owner and group (unless they are -1) and mode, is flushed to disk and
 * renamed over path; then the directory is flushed so that the rename
 * itself is durable.
 *
 * The temporary file is tempPath (it must be in path's directory), or,
 * when tempPath is empty, a new file with the unique name path.XXXXXX. A
 * fixed tempPath is for callers that hold a lock excluding every other
 * writer of path: whatever is found under that name (a leftover of a
 * killed writer, or a link someone planted) is unlinked, never followed,
 * and the file is created afresh. The temporary file is removed again when
 * a step fails. Returns 0, or the errno value of the step that failed.
 */
int ReplaceFile(const std::string &path, const void *data, size_t len, mode_t mode,
                const std::string &tempPath = std::string(), uid_t owner = static_cast<uid_t>(-1),
                gid_t group = static_cast<gid_t>(-1));

}  // namespace zor

#endif  // PLATFORM_CORE_FILES_H
