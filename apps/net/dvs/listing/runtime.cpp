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
#include <utility>
#include <vector>

#include "base/json.h"
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

/* What the walk of a service text met, in order. */
enum class ServiceToken { HEADING, ELEMENT, ELEMENT_END, KEY, VALUE, EMPTY, END, RAW };

/*
 * A service text as its walk reads it: the tokens it met, in order, with
 * the key or value text of KEY and VALUE. A walk that ends in RAW could
 * not read the text, which is then shown as it is; one that ends in
 * neither END, EMPTY nor RAW never does (the walk always ends in one).
 */
struct ServiceValue {
  std::string_view whole;
  std::vector<std::pair<ServiceToken, std::string>> tokens;
};

ServiceValue DecodeService(const void *value, uint32_t length, const ServiceWords &words) {
  const ByteReader r(value, length);
  ServiceText service{r.Text(0, length).value_or(std::string_view())};
  ServiceValue decoded{service.text, {}};
  for (;;) {
    std::string tag;
    std::string text;
    bool ok = service.ReadTag(tag);
    if (ok && tag == "k") {
      ok = service.ReadText(text);
      if (ok) decoded.tokens.emplace_back(ServiceToken::KEY, std::move(text));
    } else if (ok && tag == "v") {
      ok = service.ReadText(text);
      if (ok) decoded.tokens.emplace_back(ServiceToken::VALUE, std::move(text));
    }
    if (!ok) {
      decoded.tokens.emplace_back(ServiceToken::RAW, std::string());
      return decoded;
    }
    if (tag == words.listTag) {
      decoded.tokens.emplace_back(ServiceToken::HEADING, std::string());
    } else if (tag == "od") {
      decoded.tokens.emplace_back(ServiceToken::ELEMENT, std::string());
    } else if (tag == "/od") {
      decoded.tokens.emplace_back(ServiceToken::ELEMENT_END, std::string());
    } else if (tag == words.closingTag) {
      decoded.tokens.emplace_back(ServiceToken::END, std::string());
      return decoded;
    } else if (tag == words.emptyTag) {
      decoded.tokens.emplace_back(ServiceToken::EMPTY, std::string());
      return decoded;
    }
  }
}

/* Prints a service text with words, as its walk decoded it. */
void PrintService(const char *key, const void *value, uint32_t length, int32_t flags,
                  const ServiceWords &words) {
  const ServiceValue service = DecodeService(value, length, words);
  printf("\t\t\t%s:\n", key);
  int element = 0;
  for (const auto &[token, text] : service.tokens) {
    switch (token) {
      case ServiceToken::HEADING:
        PutLine(words.listHeading);
        break;
      case ServiceToken::ELEMENT:
        printf(words.elementHeading, element + 1);
        break;
      case ServiceToken::ELEMENT_END:
        element++;
        break;
      case ServiceToken::KEY:
        printf("\t\t\t\t%s = ", text.c_str());
        break;
      case ServiceToken::VALUE:
        PutLine(text);
        break;
      case ServiceToken::EMPTY:
        PutLine(words.emptyText);
        break;
      case ServiceToken::RAW:
        PutLine(service.whole);
        break;
      case ServiceToken::END:
        break;
    }
  }
  Prop_PrintFlagsLine(flags);
}

/*
 * Writes a service text as {listName: [element, ...]}, each element an
 * array of {"key", "value"} in text order (a value without a key has key
 * null). A text that the walk cannot read is {"text": the whole text}.
 */
void WriteService(const void *value, uint32_t length, JsonOut &out, const ServiceWords &words,
                  std::string_view listName) {
  const ServiceValue service = DecodeService(value, length, words);
  out.BeginObject();
  if (service.tokens.back().first == ServiceToken::RAW) {
    Json_Text(out, "text", service.whole);
    out.EndObject();
    return;
  }
  out.Key(listName);
  out.BeginArray();
  bool inElement = false;
  bool keyOpen = false;
  const auto closePair = [&] {
    if (!keyOpen) return;
    out.Key("value");
    out.Null();
    out.EndObject();
    keyOpen = false;
  };
  for (const auto &[token, text] : service.tokens) {
    if (token == ServiceToken::ELEMENT || token == ServiceToken::ELEMENT_END ||
        token == ServiceToken::END || token == ServiceToken::EMPTY) {
      closePair();
      if (inElement) out.EndArray();
      inElement = false;
    }
    if (token == ServiceToken::ELEMENT) {
      out.BeginArray();
      inElement = true;
    } else if (token == ServiceToken::KEY || token == ServiceToken::VALUE) {
      if (!inElement) {
        out.BeginArray();
        inElement = true;
      }
      if (token == ServiceToken::KEY) {
        closePair();
        out.BeginObject();
        Json_Text(out, "key", text);
        keyOpen = true;
      } else {
        if (!keyOpen) {
          out.BeginObject();
          out.Key("key");
          out.Null();
        }
        Json_Text(out, "value", text);
        out.EndObject();
        keyOpen = false;
      }
    }
  }
  out.EndArray();
  out.EndObject();
}

const PropPrinterRow runtimePrinters[] = {
    {KEY_PORT_CONNECTID, Prop_PrintInt, Prop_JsonInt},
    {RUNTIME_KEY_PORT_STATUS, Prop_PrintPortStatus, Prop_JsonPortStatus},
    {RUNTIME_KEY_PASSTHRU_STATUS, Prop_PrintPassthruStatus, Prop_JsonPassthruStatus},
    {RUNTIME_KEY_STATISTICS, Prop_PrintStatistics, Prop_JsonStatistics},
    {RUNTIME_KEY_UPGRADE, Prop_PrintUpgrade, Prop_JsonUpgrade},
    {KEY_PORT_LINKSTATUS, Prop_PrintLinkStatus, Prop_JsonLinkStatus},
    {RUNTIME_KEY_PORTSET_MTU, Prop_PrintInt, Prop_JsonInt},
    {RUNTIME_KEY_VSWITCH_MTU, Prop_PrintInt, Prop_JsonInt},
    {RUNTIME_KEY_SERVICE_INSTANCE, Prop_PrintServiceInstances, Prop_JsonServiceInstances},
    {RUNTIME_KEY_SERVICE_PROFILE, Prop_PrintServiceProfiles, Prop_JsonServiceProfiles},
    {RUNTIME_KEY_CLEANUP_BARRIER, Prop_PrintInt, Prop_JsonInt},
};

}  // namespace

const PropFamily RUNTIME_FAMILY = {"runtime", runtimePrinters, {}};

/* ---- Decodes ------------------------------------------------------------ */

namespace {

/* An integer value (i32), or an upgrade state (u8); nothing when the value is too short. */
struct IntValue {
  std::optional<int64_t> number;
};

/* A link status: each field once the value holds it. */
struct LinkStatusValue {
  std::optional<uint8_t> up;
  std::optional<uint16_t> code;
};

LinkStatusValue DecodeLinkStatus(const ByteReader &r) {
  return {r.U8(LINK_STATUS_OFF_UP), r.U16(LINK_STATUS_OFF_SPEED)};
}

/* A port status; a port not in use has nothing past its bits. */
struct PortStatusValue {
  std::optional<uint64_t> bits;
  std::optional<uint32_t> portId;
  std::optional<std::string_view> name;
  bool InUse() const { return bits && (*bits & PORT_STATUS_IN_USE) != 0; }
};

PortStatusValue DecodePortStatus(const ByteReader &r) {
  PortStatusValue v;
  v.bits = r.U64(PORT_STATUS_OFF_BITS);
  if (!v.InUse()) return v;
  v.portId = r.U32(PORT_STATUS_OFF_PORT_ID);
  /* The name runs to its NUL or to the end of the value. */
  if (v.portId) v.name = r.Text(PORT_STATUS_OFF_NAME, r.Length());
  return v;
}

/* A passthrough status: its bits, and the reason when passthrough is not active. */
struct PassthruValue {
  bool hasBits = false;
  bool active = false;
  bool hasReason = false;
  uint64_t reason = 0;
};

PassthruValue DecodePassthru(const ByteReader &r) {
  PassthruValue v;
  const std::optional<uint8_t> bits = r.U8(PASSTHRU_STATUS_OFF_BITS);
  v.hasBits = bits.has_value();
  v.active = (bits.value_or(0) & PASSTHRU_STATUS_ACTIVE) != 0;
  const std::optional<uint64_t> reason = r.U64(PASSTHRU_STATUS_OFF_REASON);
  v.hasReason = v.hasBits && !v.active && reason.has_value();
  v.reason = v.hasReason ? *reason : 0;
  return v;
}

/* The counters that the value holds, in order, up to the first that it does not. */
struct StatisticsValue {
  uint64_t counters[PORT_STATISTICS_COUNT];
  uint32_t count = 0;
};

StatisticsValue DecodeStatistics(const ByteReader &r) {
  StatisticsValue v;
  for (uint32_t i = 0; i < PORT_STATISTICS_COUNT; i++) {
    const std::optional<uint64_t> counter = r.U64(8 * static_cast<size_t>(i));
    if (!counter) break;
    v.counters[v.count++] = *counter;
  }
  return v;
}

/* The state bits that the document names, the in-use bit among them. */
const ValueName portStatusNames[] = {
    {PORT_STATUS_IN_USE, "inUse"},
    {PORT_STATUS_LINK_UP, "linkUp"},
    {PORT_STATUS_BLOCKED, "blocked"},
};

/* Writes {"number": n} or, for a value too short for it, {"truncated": true}. */
void WriteNumber(const IntValue &v, JsonOut &out) {
  out.BeginObject();
  if (v.number) Json_Int(out, "number", *v.number);
  Json_Truncated(out, !v.number);
  out.EndObject();
}

}  // namespace

/* ---- Printers and JSON writers -------------------------------------------- */

void Prop_PrintInt(const PrintContext &, const char *key, const void *value, uint32_t length,
                   int32_t flags) {
  const IntValue v{ByteReader(value, length).I32(0)};
  printf("\t\t%s = ", key);
  if (!v.number) {
    printf("\n");
    return;
  }
  printf("%d", static_cast<int32_t>(*v.number));
  Prop_PrintFlagsLine(flags, " , \t");
}

void Prop_JsonInt(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  WriteNumber(IntValue{ByteReader(value, length).I32(0)}, out);
}

void Prop_PrintUpgrade(const PrintContext &, const char *key, const void *value, uint32_t length,
                       int32_t flags) {
  const IntValue v{ByteReader(value, length).U8(0)};
  printf("\t\t%s = ", key);
  if (!v.number) {
    printf("\n");
    return;
  }
  printf("%d", static_cast<int>(*v.number));
  Prop_PrintFlagsLine(flags, ", \t");
}

void Prop_JsonUpgrade(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  WriteNumber(IntValue{ByteReader(value, length).U8(0)}, out);
}

void Prop_PrintLinkStatus(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const LinkStatusValue v = DecodeLinkStatus(ByteReader(value, length));
  printf("\t\t%s =\n\t\t\t", key);
  if (!v.up) {
    printf("\n");
    return;
  }
  printf("%s", *v.up != 0 ? "link up;" : "link down;");
  if (!v.code) {
    printf("\n");
    return;
  }
  const char *line = NameOf(linkSpeedLines, *v.code, nullptr);
  if (line != nullptr) {
    printf("%s\n", line);
  } else {
    printf(" unknown speed/duplex %d\n", *v.code);
  }
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonLinkStatus(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const LinkStatusValue v = DecodeLinkStatus(ByteReader(value, length));
  out.BeginObject();
  if (v.up) Json_Enum(out, "link", *v.up != 0 ? "link up" : "link down", *v.up);
  if (v.code) Json_EnumOf(out, "speedDuplex", linkSpeedLines, *v.code, nullptr);
  Json_Truncated(out, !v.code);
  out.EndObject();
}

void Prop_PrintPortStatus(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const PortStatusValue v = DecodePortStatus(ByteReader(value, length));
  printf("\t\t%s =", key);
  if (!v.bits) {
    printf("\n");
    return;
  }
  if (!v.InUse()) {
    printf(" free\n");
    return;
  }
  printf(" inUse");
  PrintBitNames(portStatusWords, static_cast<uint32_t>(*v.bits));
  if (!v.portId) {
    printf("\n");
    return;
  }
  printf(" portID=%u ", *v.portId);
  if (!v.name) {
    printf("\n");
    return;
  }
  Prop_PutText(*v.name);
  Prop_PrintFlagsLine(flags, " ");
}

void Prop_JsonPortStatus(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const PortStatusValue v = DecodePortStatus(ByteReader(value, length));
  out.BeginObject();
  if (v.bits) Json_Bits(out, "state", portStatusNames, *v.bits);
  if (v.portId) Json_Uint(out, "portID", *v.portId);
  if (v.name) Json_Text(out, "name", *v.name);
  Json_Truncated(out, !v.bits || (v.InUse() && !v.name));
  out.EndObject();
}

/*
 * GCC 12 at -O3 warns of a dangling pointer to the decoded value where
 * there is none (the value is a local read by value); the warning is off
 * for this function alone.
 */
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
void Prop_PrintPassthruStatus(const PrintContext &, const char *key, const void *value,
                              uint32_t length, int32_t flags) {
  const ByteReader r(value, length);
  const PassthruValue v = DecodePassthru(r);
  printf("\t\t%s =", key);
  if (!v.hasBits) {
    printf("\n");
    return;
  }
  if (v.active) {
    printf(" passthru, ");
  } else {
    if (!v.hasReason) {
      printf("\n");
      return;
    }
    printf(" noPassthruReason=%" PRIu64 ", ", v.reason);
  }
  Prop_PrintFlagsLine(flags, "\t");
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

void Prop_JsonPassthruStatus(const PrintContext &, const void *value, uint32_t length,
                             JsonOut &out) {
  const PassthruValue v = DecodePassthru(ByteReader(value, length));
  out.BeginObject();
  if (v.hasBits) Json_Bool(out, "passthru", v.active);
  if (v.hasReason) Json_Uint(out, "noPassthruReason", v.reason);
  Json_Truncated(out, !v.hasBits || (!v.active && !v.hasReason));
  out.EndObject();
}

void Prop_PrintStatistics(const PrintContext &, const char *key, const void *value, uint32_t length,
                          int32_t flags) {
  const StatisticsValue v = DecodeStatistics(ByteReader(value, length));
  printf("\t\t%s:\n", key);
  for (uint32_t i = 0; i < v.count; i++) {
    printf("\t\t\t%s = %" PRIu64 "\n", statisticsNames[i], v.counters[i]);
  }
  if (v.count < PORT_STATISTICS_COUNT) return;
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonStatistics(const PrintContext &, const void *value, uint32_t length, JsonOut &out) {
  const StatisticsValue v = DecodeStatistics(ByteReader(value, length));
  out.BeginObject();
  for (uint32_t i = 0; i < v.count; i++) Json_Uint(out, statisticsNames[i], v.counters[i]);
  Json_Truncated(out, v.count < PORT_STATISTICS_COUNT);
  out.EndObject();
}

void Prop_PrintServiceProfiles(const PrintContext &, const char *key, const void *value,
                               uint32_t length, int32_t flags) {
  PrintService(key, value, length, flags, profileWords);
}

void Prop_JsonServiceProfiles(const PrintContext &, const void *value, uint32_t length,
                              JsonOut &out) {
  WriteService(value, length, out, profileWords, "serviceProfiles");
}

void Prop_PrintServiceInstances(const PrintContext &, const char *key, const void *value,
                                uint32_t length, int32_t flags) {
  PrintService(key, value, length, flags, instanceWords);
}

void Prop_JsonServiceInstances(const PrintContext &, const void *value, uint32_t length,
                               JsonOut &out) {
  WriteService(value, length, out, instanceWords, "serviceInstances");
}
