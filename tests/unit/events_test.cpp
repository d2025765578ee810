// SPDX-License-Identifier: Apache-2.0
/*
 * events_test.cpp --
 *
 *    The listener's printing of one event message and the reading of a
 *    switch ID text.
 *    Messages come from DVSEvent_Alloc, which sizes each block to its data,
 *    so the sanitizer build catches a read past the data.
 */

#include "events/events.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "printing.h"

namespace {

struct MsgDeleter {
  void operator()(DVSEventMsg *msg) const { DVSEvent_Free(msg); }
};
using MsgPtr = std::unique_ptr<DVSEventMsg, MsgDeleter>;

const uint8_t kSwitchId[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                               0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
#define SWITCH_TEXT "dvswitch 00 11 22 33 44 55 66 77-88 99 aa bb cc dd ee ff"

MsgPtr Message(uint32_t type, const char *port, const std::vector<uint8_t> &data) {
  return MsgPtr(DVSEvent_Alloc(type, kSwitchId, port, data.empty() ? nullptr : data.data(),
                               static_cast<uint32_t>(data.size())));
}

std::string Printed(const DVSEventMsg *msg) {
  return printing::Stdout([&] { Event_PrintMsg(msg); });
}

// ---------------------------------------------------------------------------
// Event_PrintMsg

struct PrintCase {
  uint32_t type;
  const char *port;
  std::vector<uint8_t> data;
  const char *output; /* after "received dvs event " */
};

/* The transcripts post and print every kind of event; these are the edges of the data word. */
TEST(EventPrintMsg, PrintsEachKindOfEvent) {
  const PrintCase cases[] = {
      {0, "3", {5, 0, 0, 0}, "unknown: " SWITCH_TEXT " dvport 3 (type 5)\n"},
      {5, "7", {1, 2, 3, 4, 0xff}, "TRANSITION: " SWITCH_TEXT " dvport 7 (type 67305985)\n"},
      {1, "7", {0xff, 0xff, 0xff, 0xff}, "LINKUP: " SWITCH_TEXT " dvport 7 (type 4294967295)\n"},
      {2, "7", {9, 9, 9}, "LINKDOWN: " SWITCH_TEXT " dvport 7 (type 0)\n"},
      {11, "portX", {}, "DVS Dynamic Event: " SWITCH_TEXT " dynamic event id: \n"},
  };
  for (const auto &c : cases) {
    MsgPtr msg = Message(c.type, c.port, c.data);
    ASSERT_NE(msg, nullptr) << c.type;
    EXPECT_EQ(Printed(msg.get()), std::string("received dvs event ") + c.output) << c.type;
  }
}

TEST(EventPrintMsg, StopsAtTheEndOfUnterminatedFields) {
  // A message as it might arrive from outside: no NUL in its text fields.
  DVSEventMsg msg;
  memset(&msg, 0, sizeof msg);
  msg.type = 12;
  memcpy(msg.dvsUuid, kSwitchId, sizeof kSwitchId);
  memset(msg.eventId, 'e', sizeof msg.eventId);
  memset(msg.portId, 'p', sizeof msg.portId);
  memset(msg.pad, 'z', sizeof msg.pad);
  const std::string expected = "received dvs event DVS Port Dynamic Event: " SWITCH_TEXT
                               " dvport " +
                               std::string(sizeof msg.portId, 'p') +
                               ", dynamic event id: " + std::string(sizeof msg.eventId, 'e') + "\n";
  EXPECT_EQ(Printed(&msg), expected);
}

TEST(EventPrintMsg, NamesTheOtherPortEvents) {
  const std::pair<uint32_t, const char *> names[] = {
      {3, "ADD"},     {4, "REMOVE"},         {6, "BLOCK"},
      {7, "UNBLOCK"}, {9, "ENTER_PASSTHRU"}, {10, "EXIT_PASSTHRU"}};
  for (const auto &[type, name] : names) {
    EXPECT_EQ(Printed(Message(type, "7", {}).get()),
              std::string("received dvs event ") + name + ": " SWITCH_TEXT " dvport 7 (type 0)\n");
  }
  EXPECT_EQ(Printed(nullptr), "");
}

// ---------------------------------------------------------------------------
// Event_SwitchIdFromText

TEST(EventSwitchIdFromText, ReadsThePrintedForm) {
  // Expected bytes in hex; 5a marks a byte that was not read.
  const std::pair<const char *, const char *> cases[] = {
      {"00 11 22 33 44 55 66 77-88 99 aa bb cc dd ee ff", "00112233445566778899aabbccddeeff"},
      {"A B C D E F 1 2-3 4 5 6 7 8 9 0", "0a0b0c0d0e0f01020304050607080900"},
      {"123 fff 0x10 00 00 00 00 00-00 00 00 00 00 00 00 01", "23ff1000000000000000000000000001"},
      {"aa bb", "aabb5a5a5a5a5a5a5a5a5a5a5a5a5a5a"},
      {"01 02 zz 04", "01025a5a5a5a5a5a5a5a5a5a5a5a5a5a"},
      {"", "5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a"},
  };
  for (const auto &[text, expected] : cases) {
    // A copy sized to the text, so that a read past its NUL is caught.
    std::vector<char> copy(text, text + strlen(text) + 1);
    uint8_t id[16];
    memset(id, 0x5a, sizeof id);
    Event_SwitchIdFromText(copy.data(), id);
    char hex[33];
    for (int i = 0; i < 16; i++) snprintf(hex + 2 * i, 3, "%02x", id[i]);
    EXPECT_STREQ(hex, expected) << text;
  }
}

}  // namespace
