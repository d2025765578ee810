// SPDX-License-Identifier: Apache-2.0
/*
 * events.cpp --
 *
 *    Switch events: posting one event (-e and the commands that announce
 *    their changes), the listener that prints every event of the host
 *    (-g), and the daemon that pushes the stored configuration into the
 *    kernel and copies the kernel's state back every 30 seconds (-Z).
 */

#include "events/events.h"

#include <ctype.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "base/print.h"
#include "props/bytes.h"
#include "state/config.h"

/* Port name of an event posted without a port. */
static const char *const EVENT_NO_PORT = "portX";

/* Event types with a printed name; 0 and every type above 12 print as "unknown". */
static const ValueName eventTypeNames[] = {
    {1, "LINKUP"},
    {2, "LINKDOWN"},
    {3, "ADD"},
    {4, "REMOVE"},
    {5, "TRANSITION"},
    {6, "BLOCK"},
    {7, "UNBLOCK"},
    {EVENT_HOST_STATUS, "HostStatus change"},
    {9, "ENTER_PASSTHRU"},
    {10, "EXIT_PASSTHRU"},
    {11, "DVS Dynamic Event"},
    {12, "DVS Port Dynamic Event"},
};

/* Event types whose printed line differs from a port event's. */
#define EVENT_DYNAMIC 11u
#define EVENT_PORT_DYNAMIC 12u

/* Seconds between two copies of the kernel's state in the daemon. */
#define DAEMON_PERIOD_SECONDS 30

/* The value of a hexadecimal digit, or -1. */
static int HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

/*
 * Event_SwitchIdFromText --
 *
 *    Reads the printed switch ID back into its 16 bytes. Before each byte
 *    one '-' is skipped, then blanks, then an optional "0x", then the
 *    hexadecimal digits; only the low 8 bits of a longer number are kept.
 *    Every read stops at the text's NUL.
 */
void Event_SwitchIdFromText(const char *text, uint8_t id[16]) {
  if (text == nullptr) {
    return;
  }
  const char *p = text;
  for (int i = 0; i < 16; i++) {
    if (*p == '-') {
      p++;
    }
    while (*p != '\0' && isspace(static_cast<unsigned char>(*p))) {
      p++;
    }
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && HexDigit(p[2]) >= 0) {
      p += 2;
    }
    if (HexDigit(*p) < 0) {
      return;
    }
    uint8_t byte = 0;
    for (; HexDigit(*p) >= 0; p++) {
      byte = static_cast<uint8_t>((byte << 4) | HexDigit(*p));
    }
    id[i] = byte;
  }
}

/*
 * Event_Post --
 *
 *    Builds one event of the given type for the switch and port and posts
 *    it. Allocation and post failures are printed on standard output; the
 *    caller's status is not affected.
 */
void Event_Post(uint32_t type, const char *switchIdText, const char *portName, const void *data,
                uint32_t length) {
  uint8_t switchId[16] = {};
  if (switchIdText != nullptr) {
    Event_SwitchIdFromText(switchIdText, switchId);
  }
  DVSEventMsg *event =
      DVSEvent_Alloc(type, switchId, portName != nullptr ? portName : EVENT_NO_PORT, data, length);
  if (event == nullptr) {
    printf("failed to allocate DVS event\n");
    return;
  }
  ZOR_ReturnStatus status = DVSEvent_PostMsg(event);
  if (status != ZOR_OK) {
    printf("failed to post dvs event: %s\n", ZOR_ReturnStatusToString(status));
  }
  DVSEvent_Free(event);
}

void Event_Submit(EventQueue *queue, uint32_t type, const char *switchIdText, const char *portName,
                  const void *data, uint32_t length) {
  if (queue == nullptr) {
    Event_Post(type, switchIdText, portName, data, length);
    return;
  }
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  queue->pending.push_back(
      {type, switchIdText != nullptr, switchIdText != nullptr ? switchIdText : "",
       portName != nullptr, portName != nullptr ? portName : "",
       std::vector<uint8_t>(bytes, bytes != nullptr ? bytes + length : bytes)});
}

void Event_Flush(EventQueue &queue) {
  for (const PendingEvent &e : queue.pending) {
    Event_Post(e.type, e.hasSwitch ? e.switchIdText.c_str() : nullptr,
               e.hasPort ? e.portName.c_str() : nullptr, e.data.empty() ? nullptr : e.data.data(),
               static_cast<uint32_t>(e.data.size()));
  }
  queue.pending.clear();
}

/*
 * Event_TypeName --
 *
 *    Returns the constant printed name of an event type.
 */
const char *Event_TypeName(uint32_t type) {
  return NameOf(eventTypeNames, type, "unknown");
}

/* Length of a text held in a field of size bytes, NUL or not. */
static int FieldTextLength(const char *field, size_t size) {
  return static_cast<int>(strnlen(field, size));
}

/*
 * Event_PrintMsg --
 *
 *    Prints one received event. Dynamic events show their identifier, host
 *    status events only the switch, every other event its port and the
 *    first 32-bit word of its data (0 when the data holds fewer than 4
 *    bytes).
 */
void Event_PrintMsg(const DVSEventMsg *msg) {
  if (msg == nullptr) {
    return;
  }
  printf("received dvs event %s: ", Event_TypeName(msg->type));
  static const uint8_t noId[16] = {};
  const uint8_t *id = DVSEvent_DvsUUID(msg);
  if (id == nullptr) {
    id = noId;
  }
  printf(
      "dvswitch %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx-%02hhx %02hhx %02hhx "
      "%02hhx %02hhx %02hhx %02hhx %02hhx",
      id[0], id[1], id[2], id[3], id[4], id[5], id[6], id[7], id[8], id[9], id[10], id[11], id[12],
      id[13], id[14], id[15]);

  const char *port = DVSEvent_PortId(msg);
  if (port == nullptr) {
    port = "";
  }
  const int portLength = FieldTextLength(port, DVS_PORT_NAME_LEN);
  const int eventIdLength = FieldTextLength(msg->eventId, sizeof msg->eventId);
  if (msg->type == EVENT_DYNAMIC) {
    printf(" dynamic event id: %.*s\n", eventIdLength, msg->eventId);
  } else if (msg->type == EVENT_PORT_DYNAMIC) {
    printf(" dvport %.*s, dynamic event id: %.*s\n", portLength, port, eventIdLength, msg->eventId);
  } else if (msg->type == EVENT_HOST_STATUS) {
    printf("\n");
  } else {
    const void *data = nullptr;
    const uint32_t dataLength = DVSEvent_Data(msg, &data);
    const uint32_t word = ByteReader(data, dataLength).U32(0).value_or(0);
    printf(" dvport %.*s (type %u)\n", portLength, port, word);
  }
}

/*
 * Event_Listen --
 *
 *    The -g command: registers for switch events and prints each one as it
 *    arrives, for ever. A refused registration is printed and returns. The
 *    poll has no timeout, so the wait keeps one processor busy.
 */
void Event_Listen() {
  int handle = -1;
  ZOR_ReturnStatus status = DVSEvent_Register(&handle);
  if (status != ZOR_OK) {
    printf("DVSEvent_Register() failed, %x\n", status);
    if (status == ZOR_NOT_SUPPORTED) {
      printf("Run this command as a userworld\n");
    }
    fflush(stdout);
    return;
  }

  for (;;) {
    struct pollfd pfd = {handle, POLLIN, 0};
    if (poll(&pfd, 1, 0) <= 0) {
      continue;
    }
    printf("poll returned true\n");
    DVSEventMsg *msg = nullptr;
    status = DVSEvent_GetMsg(handle, &msg);
    if (status != ZOR_OK) {
      printf("DVSEvent_GetMsg() failed with %s\n", ZOR_ReturnStatusToString(status));
      continue;
    }
    Event_PrintMsg(msg);
    fflush(stdout);
    DVSEvent_Free(msg);
  }
}

/*
 * Config_Daemon --
 *
 *    The -Z command: loads the stored configuration (the store or the -f
 *    file) into the kernel, detaches, and then every 30 seconds copies the
 *    kernel's state back to the same place. A failed load or push returns
 *    255; detaching that fails returns 0.
 */
int Config_Daemon(const char *path) {
  if (Config_Load(LOAD_FILE, path) != ZOR_OK || Config_Save(true, path) != 0) {
    fprintf(stderr, "LoadConfig failed to load DVS configuration\n");
    return 255;
  }
  DVSState_ConfigReset();
  fprintf(stderr, "starting DVS daemon...\n");

  // The detached child inherits unwritten buffers: write them out first.
  fflush(stdout);
  fflush(stderr);
  if (daemon(0, 0) != 0) {
    perror("StartDaemon");
    fprintf(stderr, "NOTE: fork() is unreliable in UW on regular TARN.\n");
    return 0;
  }

  for (;;) {
    sleep(DAEMON_PERIOD_SECONDS);
    if (Config_Load(LOAD_KERNEL_STATE, nullptr) != ZOR_OK) {
      continue;
    }
    Config_Save(false, path);
    DVSState_ConfigReset();
  }
}
