// SPDX-License-Identifier: Apache-2.0
/*
 * events.h --
 *
 *    Posting switch events, the event listener (-g), the configuration
 *    daemon (-Z) and the property data self-test (-T).
 */

#ifndef APPS_NET_DVS_EVENTS_EVENTS_H
#define APPS_NET_DVS_EVENTS_EVENTS_H

#include <stdint.h>

#include <string>
#include <vector>

#include "dvslib.h"

/* Event types the tool posts itself. */
#define EVENT_HOST_STATUS 8u
#define EVENT_PERSIST 22u
#define EVENT_PORT_FEATURE 23u

/*
 * Builds and posts one event. switchIdText and portName may be null: a
 * missing switch ID gives 16 zero bytes, a missing port "portX". data is
 * copied by the library and stays the caller's. Failures are reported on
 * standard output only.
 */
void Event_Post(uint32_t type, const char *switchIdText, const char *portName, const void *data,
                uint32_t length);
/* One event held back: what Event_Post is given, with copies of its texts and data. */
struct PendingEvent {
  uint32_t type;
  bool hasSwitch;
  std::string switchIdText;
  bool hasPort;
  std::string portName;
  std::vector<uint8_t> data;
};

/* Events held back, in the order in which the commands posted them. */
struct EventQueue {
  std::vector<PendingEvent> pending;
};

/*
 * Posts one event as Event_Post does, or, when queue is not null, keeps a
 * copy of it there for Event_Flush. Commands post through here, so that a
 * batch in file mode can hold their events until its configuration is
 * saved.
 */
void Event_Submit(EventQueue *queue, uint32_t type, const char *switchIdText, const char *portName,
                  const void *data, uint32_t length);
/* Posts the events of queue in order and empties it. */
void Event_Flush(EventQueue &queue);

/*
 * Reads a switch ID text (16 hexadecimal numbers separated by blanks, a
 * '-' between the eighth and ninth) into id, keeping each number's low 8
 * bits. Reading stops at the end of the text or at the first place where no
 * number can be read; the bytes not read are left as they were.
 */
void Event_SwitchIdFromText(const char *text, uint8_t id[16]);
/* The printed name of an event type; "unknown" for 0 and types above 12. */
const char *Event_TypeName(uint32_t type);
/*
 * Prints one received event message on standard output: its type name,
 * the switch ID bytes and the part that depends on the type. Reads nothing
 * past the message or its data block.
 */
void Event_PrintMsg(const DVSEventMsg *msg);
/*
 * The -g listener: prints every event as it arrives and never returns,
 * unless the host refuses the registration, which it prints before it
 * returns.
 */
void Event_Listen();
/*
 * The -Z daemon on the configuration of path (the store when null):
 * returns 255 after a message when the configuration cannot be pushed to
 * the kernel, 0 when detaching fails, and otherwise never returns.
 */
int Config_Daemon(const char *path);
/* The -T self-test; returns 0 when every step succeeds, else -1. */
int DataSelfTest();

#endif  // APPS_NET_DVS_EVENTS_EVENTS_H
