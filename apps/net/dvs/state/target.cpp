/*
 * target.cpp --
 *
 *    Property targets: a port name, the switch's global list or its host
 *    list, in the configuration state (file mode) or in the kernel (kernel
 *    mode). The property families write through here so that neither
 *    choice leaks into them.
 */

#include "state/target.h"

#include <string.h>

#include <array>

#include "brakk.h"

const char *const TARGET_GLOBAL_LIST = "globalPropList";
const char *const TARGET_HOST_LIST = "hostPropList";

namespace {

enum class TargetKind { PORT, GLOBAL_LIST, HOST_LIST };

/* Only the exact pseudo port names select a list; anything else is a port. */
TargetKind KindOf(const char *target) {
  if (strcmp(target, TARGET_GLOBAL_LIST) == 0) return TargetKind::GLOBAL_LIST;
  if (strcmp(target, TARGET_HOST_LIST) == 0) return TargetKind::HOST_LIST;
  return TargetKind::PORT;
}

ZOR_ReturnStatus GlobalSet(const char *sw, const char *key, const void *data, uint32_t len,
                           int32_t flags) {
  return InFileMode() ? DVSState_GlobalPropSet(sw, key, data, len, flags)
                      : DVSZOR_GlobalPropSet(sw, key, data, len, flags);
}

ZOR_ReturnStatus GlobalClear(const char *sw, const char *key) {
  return InFileMode() ? DVSState_GlobalPropClear(sw, key) : DVSZOR_GlobalPropClear(sw, key);
}

}  // namespace

ZOR_ReturnStatus Target_SetProp(const char *sw, const char *target, const char *key,
                                const void *data, uint32_t len) {
  switch (KindOf(target)) {
    case TargetKind::GLOBAL_LIST:
      return GlobalSet(sw, key, data, len, PROP_CONFIG);
    case TargetKind::HOST_LIST:
      return InFileMode() ? DVSState_HostPropSet(sw, key, data, len, PROP_CONFIG)
                          : DVSZOR_HostPropSet(sw, key, data, len, PROP_CONFIG);
    case TargetKind::PORT:
      break;
  }
  if (!InFileMode()) return DVSZOR_PortDataSet(sw, target, key, data, len, PROP_CONFIG);
  DVSPort *port = DVSState_PortFind(sw, target);
  if (port == nullptr) return ZOR_NOT_FOUND;
  return DVSState_PortDataSet(port, key, data, len, PROP_CONFIG);
}

ZOR_ReturnStatus Target_ClearProp(const char *sw, const char *target, const char *key) {
  switch (KindOf(target)) {
    case TargetKind::GLOBAL_LIST:
      return GlobalClear(sw, key);
    case TargetKind::HOST_LIST:
      return InFileMode() ? DVSState_HostPropClear(sw, key) : DVSZOR_HostPropClear(sw, key);
    case TargetKind::PORT:
      break;
  }
  if (!InFileMode()) return DVSZOR_PortDataClear(sw, target, key);
  DVSPort *port = DVSState_PortFind(sw, target);
  if (port == nullptr) return ZOR_NOT_FOUND;
  return DVSState_PortDataClear(port, key);
}

ZOR_ReturnStatus Global_SetDeploy(const char *sw, uint32_t interval, const char *key) {
  /*
   * Deploy record: u8 enabled (always 1), then the u32 interval,
   * little-endian, packed. A fixed block, so the allocation cannot fail.
   */
  std::array<uint8_t, 5> record{};
  record[0] = 1;
  for (int i = 0; i < 4; i++) record[1 + i] = static_cast<uint8_t>(interval >> (8 * i));
  return GlobalSet(sw, key, record.data(), static_cast<uint32_t>(record.size()), PROP_CONFIG);
}

ZOR_ReturnStatus Global_SetParamBlock(const char *sw, const uint8_t *block, const char *key) {
  return GlobalSet(sw, key, block, VLAN_RANGE_PARAM_LEN, PROP_POLICY);
}

ZOR_ReturnStatus Global_ClearPair(const char *sw, const char *key1, const char *key2) {
  ZOR_ReturnStatus first = GlobalClear(sw, key1);
  ZOR_ReturnStatus second = GlobalClear(sw, key2);
  if (first == ZOR_NOT_FOUND && second == ZOR_NOT_FOUND) return ZOR_NOT_FOUND;
  if (first == ZOR_OK || second == ZOR_OK) return ZOR_OK;
  return ZOR_FAILURE;
}
