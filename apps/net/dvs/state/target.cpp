// SPDX-License-Identifier: Apache-2.0
/*
 * target.cpp --
 *
 *    Property targets: a port name, the switch's global list or its host
 *    list, in the state the caller hands in. The property families write
 *    through here so that neither choice leaks into them.
 */

#include "state/target.h"

#include <string.h>

namespace {

enum class TargetKind { PORT, GLOBAL_LIST, HOST_LIST };

/* Only the exact pseudo port names select a list; anything else is a port. */
TargetKind KindOf(const char *target) {
  if (strcmp(target, DVS_TARGET_GLOBAL_LIST) == 0) return TargetKind::GLOBAL_LIST;
  if (strcmp(target, DVS_TARGET_HOST_LIST) == 0) return TargetKind::HOST_LIST;
  return TargetKind::PORT;
}

}  // namespace

ZOR_ReturnStatus Target_SetProp(const StateOps &state, const char *sw, const char *target,
                                const char *key, const void *data, uint32_t len) {
  switch (KindOf(target)) {
    case TargetKind::GLOBAL_LIST:
      return state.globalSet(sw, key, data, len, PROP_CONFIG);
    case TargetKind::HOST_LIST:
      return state.hostSet(sw, key, data, len, PROP_CONFIG);
    case TargetKind::PORT:
      break;
  }
  return state.portSet(sw, target, key, data, len, PROP_CONFIG);
}

ZOR_ReturnStatus Target_ClearProp(const StateOps &state, const char *sw, const char *target,
                                  const char *key) {
  switch (KindOf(target)) {
    case TargetKind::GLOBAL_LIST:
      return state.globalClear(sw, key);
    case TargetKind::HOST_LIST:
      return state.hostClear(sw, key);
    case TargetKind::PORT:
      break;
  }
  return state.portClear(sw, target, key);
}

ZOR_ReturnStatus Target_GetProp(const StateOps &state, const char *sw, const char *target,
                                const char *key, PropValue &value) {
  switch (KindOf(target)) {
    case TargetKind::GLOBAL_LIST:
      return state.globalGet(sw, key, value);
    case TargetKind::HOST_LIST:
      return state.hostGet(sw, key, value);
    case TargetKind::PORT:
      break;
  }
  return state.portGet(sw, target, key, value);
}
