// SPDX-License-Identifier: Apache-2.0
/*
 * mkconfig.cpp --
 *
 *    mkconfig PATH SWITCHES PORTS PROPS: writes a plain configuration file
 *    with that many switches, ports per switch and properties per port,
 *    for the end-to-end benchmark scripts.
 */

#include <stdio.h>
#include <stdlib.h>

#include "bench_config.h"
#include "dvslib.h"

int main(int argc, char **argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: mkconfig PATH SWITCHES PORTS PROPS\n");
    return 2;
  }
  if (!BuildBenchConfig(atoi(argv[2]), atoi(argv[3]), atoi(argv[4]))) {
    fprintf(stderr, "mkconfig: building the configuration failed\n");
    return 1;
  }
  void *data = nullptr;
  uint32_t len = 0;
  ZOR_ReturnStatus status = DVSState_ConfigSerialize(&data, &len);
  if (status == ZOR_OK) status = DVSFile_WriteClassical(argv[1], data, len, 1);
  free(data);
  if (status != ZOR_OK) {
    fprintf(stderr, "mkconfig: %s\n", ZOR_ReturnStatusToString(status));
    return 1;
  }
  printf("%u\n", len);
  return 0;
}
