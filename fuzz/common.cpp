// SPDX-License-Identifier: Apache-2.0
/*
 * common.cpp --
 *
 *    The scratch directory, the baseline configuration and the output
 *    redirection of the fuzz targets.
 */

#include "common.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "base/command.h"
#include "dvslib.h"
#include "props/common.h"
#include "state/state_ops.h"

extern "C" void __sanitizer_set_death_callback(void (*callback)(void));

namespace fuzz {

namespace {

std::string g_dir;
int g_reportFd = 2;

void RemoveScratch() {
  if (g_dir.empty()) return;
  std::error_code ec;
  std::filesystem::remove_all(g_dir, ec);
}

}  // namespace

const BaseSwitch BASE_SWITCHES[3] = {
    {"64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00", "etherswitch", 5},
    {"64 76 73 31 00 00 00 00-00 00 00 00 00 00 00 00", "vswitch", 100},
    {"64 76 73 32 00 00 00 00-00 00 00 00 00 00 00 00", "cswitch", 3},
};
const char *const BASE_PORTS[4] = {"5", "6", "uplink0", "uplink1"};

const std::string &Setup() {
  if (!g_dir.empty()) return g_dir;
  struct stat st;
  std::string base = stat("/dev/shm", &st) == 0 && S_ISDIR(st.st_mode) ? "/dev/shm" : "";
  if (base.empty()) {
    const char *tmp = getenv("TMPDIR");
    base = tmp && *tmp ? tmp : "/tmp";
  }
  std::string pattern = base + "/brakk-fuzz-XXXXXX";
  if (!mkdtemp(pattern.data())) {
    perror("fuzz: mkdtemp");
    abort();
  }
  g_dir = pattern;
  g_reportFd = dup(2);
  atexit(RemoveScratch);
  __sanitizer_set_death_callback(RemoveScratch);
  /* A socket path where nothing listens: kernel calls fail at once, with no daemon to wait for. */
  setenv("ZORCORE_SOCKET", (g_dir + "/zorcore.sock").c_str(), 1);
  setenv("ZORCORE_TIMEOUT_MS", "2000", 1);
  /* The code under test prints a lot; libFuzzer and the sanitizers report on standard error. */
  if (!freopen("/dev/null", "w", stdout)) abort();
  return g_dir;
}

void Fail(const char *what) {
  dprintf(g_reportFd, "fuzz: %s\n", what);
  abort();
}

bool BuildBaseline(std::vector<uint8_t> *blob) {
  DVSState_ConfigReset();
  for (const BaseSwitch &sw : BASE_SWITCHES) {
    if (DVSState_SwitchAdd(sw.id, sw.className, 64, static_cast<int32_t>(sw.version)) != 0) {
      return false;
    }
    for (size_t i = 0; i < std::size(BASE_PORTS); i++) {
      SwitchClass cls = static_cast<SwitchClass>(&sw - BASE_SWITCHES);
      if (Port_Init(CONFIG_STATE_OPS, sw.id, BASE_PORTS[i], i >= 2, false, cls) != 0) return false;
    }
  }
  void *data = nullptr;
  uint32_t len = 0;
  if (DVSState_ConfigSerialize(&data, &len) != 0) return false;
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  blob->assign(bytes, bytes + len);
  free(data);
  return true;
}

}  // namespace fuzz
