// SPDX-License-Identifier: Apache-2.0
/*
 * common.h --
 *
 *    What every fuzz target shares: a private scratch directory that is
 *    removed when the process ends (also after a crash report), the
 *    switches of the baseline configuration that the argument and client
 *    targets work on, and small readers of the fuzzer's input.
 */

#ifndef FUZZ_COMMON_H
#define FUZZ_COMMON_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace fuzz {

/*
 * Creates the scratch directory (under /dev/shm when it exists, so that
 * the files the targets write cost no disk flushes), points the kernel
 * channel at a socket path inside it that nothing listens on unless the
 * target serves it, sends standard output to /dev/null and arranges for
 * the directory to be removed at exit. Returns the directory's path.
 */
const std::string &Setup();

/*
 * Reports a fault that the sanitizers cannot see (a broken invariant, a
 * hang) on the standard error that the process started with, which the
 * fuzzer's -close_fd_mask leaves alone, and aborts so that the input is
 * kept as a crash.
 */
[[noreturn]] void Fail(const char *what);

/* Switch ID texts of the baseline configuration and their switches' class and version. */
struct BaseSwitch {
  const char *id;
  const char *className;
  uint32_t version;
};
extern const BaseSwitch BASE_SWITCHES[3];
/* Ports that every baseline switch has (the last ones are uplinks). */
extern const char *const BASE_PORTS[4];

/*
 * Builds the baseline configuration in the library's configuration state:
 * the three BASE_SWITCHES, each with BASE_PORTS, serialised into blob.
 * Returns false when the library refuses any step.
 */
bool BuildBaseline(std::vector<uint8_t> *blob);

/* Reads the fuzzer's input from the front: one byte, or 0 once it is used up. */
struct Input {
  const uint8_t *p;
  size_t n;
  uint8_t Byte() {
    if (n == 0) return 0;
    n--;
    return *p++;
  }
  /* The rest of the input as a text (stops at a NUL, which the text does not keep). */
  std::string Text() const {
    size_t len = 0;
    while (len < n && p[len] != 0) len++;
    return std::string(reinterpret_cast<const char *>(p), len);
  }
};

}  // namespace fuzz

#endif  // FUZZ_COMMON_H
