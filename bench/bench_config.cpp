// SPDX-License-Identifier: Apache-2.0
/*
 * bench_config.cpp --
 *
 *    Large configurations for the benchmarks.
 */

#include "bench_config.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "dvslib.h"

std::string DerivedSwitchId(const std::string &name) {
  unsigned char b[16] = {};
  memcpy(b, name.data(), name.size() < 15 ? name.size() : 15);
  char text[48];
  snprintf(text, sizeof text,
           "%02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx-%02hhx %02hhx %02hhx %02hhx "
           "%02hhx %02hhx %02hhx %02hhx",
           b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
           b[14], b[15]);
  return text;
}

namespace {

/* Port properties in the shapes the tool writes: texts, integers, packed records. */
struct BenchProp {
  const char *key;
  uint32_t len;
};
const BenchProp kPortProps[] = {
    {"com.corvane.common.port.alias", 0}, /* the port name with its NUL */
    {"com.corvane.common.port.connectid", 4},      {"com.corvane.common.port.block", 6},
    {"com.corvane.etherswitch.port.vlan", 12},     {"com.corvane.common.port.linkstatus", 4},
    {"com.corvane.common.port.speed", 4},          {"com.corvane.common.port.shaper.input", 24},
    {"com.corvane.etherswitch.port.security", 12},
};

}  // namespace

bool BuildBenchConfig(int switches, int ports, int propsPerPort) {
  uint8_t value[64] = {};
  for (int s = 0; s < switches; s++) {
    std::string name = "dvs" + std::to_string(s);
    std::string id = DerivedSwitchId(name);
    if (DVSState_SwitchAdd(id.c_str(), "etherswitch", ports, 6) != ZOR_OK) return false;
    if (DVSState_GlobalPropSet(id.c_str(), "com.corvane.common.alias", name.c_str(),
                               static_cast<uint32_t>(name.size() + 1), PROP_CONFIG) != ZOR_OK) {
      return false;
    }
    for (int p = 0; p < ports; p++) {
      std::string port = std::to_string(p);
      DVSData *tree = nullptr;
      if (DVSData_Alloc(&tree, malloc, free) != ZOR_OK) return false;
      for (int k = 0; k < propsPerPort; k++) {
        const BenchProp &prop = kPortProps[k % 8];
        std::string key = k < 8 ? prop.key : std::string(prop.key) + "." + std::to_string(k);
        value[0] = static_cast<uint8_t>(p);
        value[1] = static_cast<uint8_t>(k);
        const void *data = value;
        uint32_t len = prop.len;
        if (len == 0) {
          data = port.c_str();
          len = static_cast<uint32_t>(port.size() + 1);
        }
        DVSData_Update(tree, key.c_str(), data, len, PROP_CONFIG);
      }
      if (DVSState_PortAdd(id.c_str(), port.c_str(), tree) != ZOR_OK) {
        DVSData_Free(tree);
        return false;
      }
    }
  }
  return true;
}
