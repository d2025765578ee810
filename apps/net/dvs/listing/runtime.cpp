// SPDX-License-Identifier: Apache-2.0
/*
 * runtime.cpp --
 *
 *    Printers of the run-time state values of switches and ports. All
 *    values are read through a ByteReader, so a value shorter than its
 *    layout prints the fields it holds and nothing past its end is read.
 */

#include "listing/runtime.h"

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <optional>
#include <string>
#include <string_view>

#include "props/bytes.h"
#include "props/common.h"

namespace {

/* ---- Link status -------------------------------------------------------- */

/* The line printed for each speed and duplex code. */
const ValueName linkSpeedLines[] = {
    {1, " auto negotiation"},        {2, " 10 Mb/s, half duplex"},
    {4, " 10 Mb/s, full duplex"},    {8, " 100 Mb/s, half duplex"},
    {16, " 100 Mb/s, full duplex"},  {32, " 1000 Mb/s, half duplex"},
    {64, " 1000 Mb/s, full duplex"}, {128, " 2500 Mb/s, full duplex"},
    {512, " 10 Gb/s, full duplex"},  {1024, " 20 Gb/s, full duplex"},
    {4096, " 40 Gb/s, full duplex"}, {32768, " 100 Gb/s, full duplex"},
};

/* ---- Port status -------------------------------------------------------- */

/* The state bits of a port in use that the listing names, in the order it names them. */
const ValueName portStatusWords[] = {
    {PORT_STATUS_LINK_UP, " linkUp"},
    {PORT_STATUS_BLOCKED, " blocked"},
};

/* ---- Statistics --------------------------------------------------------- */

/* Counter names in the order of the value. */
const char *const statisticsNames[PORT_STATISTICS_COUNT] = {
    "pktsInUnicast",    "bytesInUnicast",    "pktsInMulticast",  "bytesInMulticast",
    "pktsInBroadcast",  "bytesInBroadcast",  "pktsOutUnicast",   "bytesOutUnicast",
    "pktsOutMulticast", "bytesOutMulticast", "pktsOutBroadcast", "bytesOutBroadcast",
    "pktsInDropped",    "pktsOutDropped",    "pktsInException",  "pktsOutException",
};

/* ---- Service profiles and instances ------------------------------------- */

/* The words that tell the two kinds of service text apart. */
struct ServiceWords {
  const char *listTag;
  const char *closingTag;
  const char *emptyTag;
  const char *listHeading;
  const char *elementHeading; /* printf format with the element number */
  const char *emptyText;
};

const ServiceWords profileWords = {
    "serviceprofiles",        "/serviceprofiles",    "serviceprofiles/",
    "\t\t\tService Profiles", "\t\t\tProfile %d:\n", "\t\t\tempty",
};
const ServiceWords instanceWords = {
    "serviceinstances",        "/serviceinstances",    "serviceinstances/",
    "\t\t\tService Instances", "\t\t\tInstance %d:\n", "\t\t\tEmpty Configuration",
};

/* A position in a service text and the two readers that move it. */
struct ServiceText {
  std::string_view text;
  size_t pos = 0;

  /*
   * Reads the next tag name: skips newlines, blanks and '<', collects every
   * other character up to the next '>' and moves past it; the end of the
   * text also ends a name. Returns false when the text ends before any
   * character of a name, or when the name reaches SERVICE_TAG_MAX_CHARS + 1
   * characters.
   */
  bool ReadTag(std::string &tag) {
    for (; pos < text.size(); pos++) {
      const char c = text[pos];
      if (c == '>') {
        pos++;
        return true;
      }
      if (c == '\n' || c == ' ' || c == '<') continue;
      tag.push_back(c);
      if (tag.size() > SERVICE_TAG_MAX_CHARS) return false;
    }
    return !tag.empty();
  }

  /*
   * Reads a key or value text: skips newlines and blanks and collects every
   * other character up to the next '<', where it stops. Returns false at a
   * '>' (moving past it), at the end of the text, and when the text grows
   * past SERVICE_TEXT_MAX_CHARS characters.
   */
  bool ReadText(std::string &out) {
    for (; pos < text.size(); pos++) {
      const char c = text[pos];
      if (c == '<') return true;
      if (c == '>') {
        pos++;
        return false;
      }
      if (c == '\n' || c == ' ') continue;
      out.push_back(c);
      if (out.size() > SERVICE_TEXT_MAX_CHARS) return false;
    }
    return false;
  }
};

void PutLine(std::string_view text) {
  Prop_PutText(text);
  putchar('\n');
}

/* Walks a service text and prints its elements with words. */
void PrintService(const char *key, const void *value, uint32_t length, int32_t flags,
                  const ServiceWords &words) {
  const ByteReader r(value, length);
  ServiceText service{r.Text(0, length).value_or(std::string_view())};
  printf("\t\t\t%s:\n", key);
  int element = 0;
  for (;;) {
    std::string tag;
    std::string text;
    bool ok = service.ReadTag(tag);
    if (ok && tag == "k") {
      ok = service.ReadText(text);
      if (ok) printf("\t\t\t\t%s = ", text.c_str());
    } else if (ok && tag == "v") {
      ok = service.ReadText(text);
      if (ok) PutLine(text);
    }
    if (!ok) {
      PutLine(service.text);
      Prop_PrintFlagsLine(flags);
      return;
    }
    if (tag == words.listTag) {
      PutLine(words.listHeading);
    } else if (tag == "od") {
      printf(words.elementHeading, element + 1);
    } else if (tag == "/od") {
      element++;
    } else if (tag == words.closingTag) {
      Prop_PrintFlagsLine(flags);
      return;
    } else if (tag == words.emptyTag) {
      PutLine(words.emptyText);
      Prop_PrintFlagsLine(flags);
      return;
    }
  }
}

const PropPrinterRow runtimePrinters[] = {
    {KEY_PORT_CONNECTID, Prop_PrintInt},
    {RUNTIME_KEY_PORT_STATUS, Prop_PrintPortStatus},
    {RUNTIME_KEY_PASSTHRU_STATUS, Prop_PrintPassthruStatus},
    {RUNTIME_KEY_STATISTICS, Prop_PrintStatistics},
    {RUNTIME_KEY_UPGRADE, Prop_PrintUpgrade},
    {KEY_PORT_LINKSTATUS, Prop_PrintLinkStatus},
    {RUNTIME_KEY_PORTSET_MTU, Prop_PrintInt},
    {RUNTIME_KEY_VSWITCH_MTU, Prop_PrintInt},
    {RUNTIME_KEY_SERVICE_INSTANCE, Prop_PrintServiceInstances},
    {RUNTIME_KEY_SERVICE_PROFILE, Prop_PrintServiceProfiles},
    {RUNTIME_KEY_CLEANUP_BARRIER, Prop_PrintInt},
};

}  // namespace

const PropFamily RUNTIME_FAMILY = {"runtime", runtimePrinters, {}};

void Prop_PrintInt(const PrintContext &, const char *key, const void *value, uint32_t length,
                   int32_t flags) {
  const std::optional<int32_t> number = ByteReader(value, length).I32(0);
  printf("\t\t%s = ", key);
  if (!number) {
    printf("\n");
    return;
  }
  printf("%d", *number);
  Prop_PrintFlagsLine(flags, " , \t");
}

void Prop_PrintUpgrade(const PrintContext &, const char *key, const void *value, uint32_t length,
                       int32_t flags) {
  const std::optional<uint8_t> state = ByteReader(value, length).U8(0);
  printf("\t\t%s = ", key);
  if (!state) {
    printf("\n");
    return;
  }
  printf("%d", *state);
  Prop_PrintFlagsLine(flags, ", \t");
}

void Prop_PrintLinkStatus(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s =\n\t\t\t", key);
  const std::optional<uint8_t> up = r.U8(LINK_STATUS_OFF_UP);
  if (!up) {
    printf("\n");
    return;
  }
  printf("%s", *up != 0 ? "link up;" : "link down;");
  const std::optional<uint16_t> code = r.U16(LINK_STATUS_OFF_SPEED);
  if (!code) {
    printf("\n");
    return;
  }
  const char *line = NameOf(linkSpeedLines, *code, nullptr);
  if (line != nullptr) {
    printf("%s\n", line);
  } else {
    printf(" unknown speed/duplex %d\n", *code);
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_PrintPortStatus(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s =", key);
  const std::optional<uint64_t> bits = r.U64(PORT_STATUS_OFF_BITS);
  if (!bits) {
    printf("\n");
    return;
  }
  if ((*bits & PORT_STATUS_IN_USE) == 0) {
    printf(" free\n");
    return;
  }
  printf(" inUse");
  PrintBitNames(portStatusWords, static_cast<uint32_t>(*bits));
  const std::optional<uint32_t> portId = r.U32(PORT_STATUS_OFF_PORT_ID);
  if (!portId) {
    printf("\n");
    return;
  }
  printf(" portID=%u ", *portId);
  /* The name runs to its NUL or to the end of the value. */
  const std::optional<std::string_view> name = r.Text(PORT_STATUS_OFF_NAME, r.Length());
  if (!name) {
    printf("\n");
    return;
  }
  Prop_PutText(*name);
  Prop_PrintFlagsLine(flags, " ");
}

void Prop_PrintPassthruStatus(const PrintContext &, const char *key, const void *value,
                              uint32_t length, int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s =", key);
  const std::optional<uint8_t> bits = r.U8(PASSTHRU_STATUS_OFF_BITS);
  if (!bits) {
    printf("\n");
    return;
  }
  if ((*bits & PASSTHRU_STATUS_ACTIVE) != 0) {
    printf(" passthru, ");
  } else {
    const std::optional<uint64_t> reason = r.U64(PASSTHRU_STATUS_OFF_REASON);
    if (!reason) {
      printf("\n");
      return;
    }
    printf(" noPassthruReason=%" PRIu64 ", ", *reason);
  }
  Prop_PrintFlagsLine(flags, "\t");
}

void Prop_PrintStatistics(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const ByteReader r(value, length);
  printf("\t\t%s:\n", key);
  for (uint32_t i = 0; i < PORT_STATISTICS_COUNT; i++) {
    const std::optional<uint64_t> counter = r.U64(8 * static_cast<size_t>(i));
    if (!counter) return;
    printf("\t\t\t%s = %" PRIu64 "\n", statisticsNames[i], *counter);
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_PrintServiceProfiles(const PrintContext &, const char *key, const void *value,
                               uint32_t length, int32_t flags) {
  PrintService(key, value, length, flags, profileWords);
}

void Prop_PrintServiceInstances(const PrintContext &, const char *key, const void *value,
                                uint32_t length, int32_t flags) {
  PrintService(key, value, length, flags, instanceWords);
}
