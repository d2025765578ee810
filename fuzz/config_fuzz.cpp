// SPDX-License-Identifier: Apache-2.0
/*
 * config_fuzz.cpp --
 *
 *    Stored configurations: DVSState_ConfigDeserialize on the raw bytes
 *    (and, when they load, the whole listing of what they hold, and a
 *    serialisation that must load again), DVSData_Deserialize of a
 *    property tree, and Config_Load of a configuration file with these
 *    bytes as its content.
 *
 *    Input: byte 0 chooses the loader; the rest is the serialised data.
 */

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "common.h"
#include "dvslib.h"
#include "listing/listing.h"
#include "state/config.h"

namespace {

std::string g_file;

/* Lists every switch of the loaded state, then checks that it serialises into a loadable form. */
void ListAndReload() {
  DVSState_SwitchForEach(List_Switch, nullptr);
  void *blob = nullptr;
  uint32_t len = 0;
  if (DVSState_ConfigSerialize(&blob, &len) != 0) return;
  if (DVSState_ConfigDeserialize(blob, len) != 0) {
    fuzz::Fail("a loaded configuration does not load again once saved");
  }
  free(blob);
}

void LoadTree(const uint8_t *data, size_t size) {
  DVSData *tree = nullptr;
  if (DVSData_Deserialize(&tree, data, static_cast<uint32_t>(size), malloc, free) != 0) return;
  /* A tree that loads serialises again; its properties are listed as a port's would be. */
  void *blob = nullptr;
  uint32_t len = 0;
  if (DVSData_Serialize(tree, &blob, &len, 0) == 0) free(blob);
  DVSState_ConfigReset();
  const fuzz::BaseSwitch &sw = fuzz::BASE_SWITCHES[0];
  if (DVSState_SwitchAdd(sw.id, sw.className, 64, 5) == 0 &&
      DVSState_PortAdd(sw.id, "5", tree) == 0) {
    DVSState_PortDataForEach(DVSState_PortFind(sw.id, "5"), List_Property, nullptr);
    return;
  }
  DVSData_Free(tree);
}

void LoadFile(const uint8_t *data, size_t size) {
  int fd = open(g_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (fd < 0) abort();
  if (write(fd, data, size) != static_cast<ssize_t>(size)) abort();
  close(fd);
  DVSState_ConfigReset();
  if (Config_Load(LOAD_FILE, g_file.c_str()) == ZOR_OK) ListAndReload();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  g_file = fuzz::Setup() + "/config";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input in{data, size};
  switch (in.Byte() % 3) {
    case 0:
      DVSState_ConfigReset();
      if (DVSState_ConfigDeserialize(in.p, static_cast<uint32_t>(in.n)) == 0) ListAndReload();
      break;
    case 1:
      LoadTree(in.p, in.n);
      break;
    default:
      LoadFile(in.p, in.n);
      break;
  }
  fflush(stdout);
  return 0;
}
