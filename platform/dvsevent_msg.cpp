// SPDX-License-Identifier: Apache-2.0
/*
 * dvsevent_msg.cpp --
 *
 *    Building and reading switch event messages. A message is one malloc
 *    block: the DVSEventMsg followed by its data bytes.
 */

#include <stdlib.h>
#include <string.h>

#include "dvslib.h"

namespace {

/* Event types whose data is a dynamic event identifier text. */
bool IsDynamicEvent(uint32_t type) {
  return type == 11 || type == 12;
}

}  // namespace

DVSEventMsg *DVSEvent_Alloc(uint32_t type, const uint8_t dvsUuid[16], const char *portId,
                            const void *data, uint32_t len) {
  if (len && !data) return nullptr;
  if (len > (1u << 20)) return nullptr; /* events carry small payloads */
  void *mem = calloc(1, sizeof(DVSEventMsg) + len);
  if (!mem) return nullptr;
  DVSEventMsg *msg = static_cast<DVSEventMsg *>(mem);
  msg->type = type;
  if (dvsUuid) memcpy(msg->dvsUuid, dvsUuid, sizeof msg->dvsUuid);
  if (portId) {
    size_t n = strnlen(portId, sizeof msg->portId - 1);
    memcpy(msg->portId, portId, n);
  }
  if (len) {
    msg->data = reinterpret_cast<uint8_t *>(msg + 1);
    memcpy(msg->data, data, len);
    msg->dataLength = len;
  }
  if (IsDynamicEvent(type) && len) {
    const char *text = static_cast<const char *>(data);
    size_t n = strnlen(text, len < sizeof msg->eventId - 1 ? len : sizeof msg->eventId - 1);
    memcpy(msg->eventId, text, n);
  }
  return msg;
}

void DVSEvent_Free(DVSEventMsg *msg) {
  free(msg);
}

const uint8_t *DVSEvent_DvsUUID(const DVSEventMsg *msg) {
  return msg->dvsUuid;
}

const char *DVSEvent_PortId(const DVSEventMsg *msg) {
  return msg->portId;
}

uint32_t DVSEvent_Data(const DVSEventMsg *msg, const void **data) {
  if (data) *data = msg->data;
  return msg->data ? msg->dataLength : 0;
}
