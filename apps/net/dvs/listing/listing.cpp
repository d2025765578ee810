/*
 * listing.cpp --
 *
 *    The -l listing: every switch of the loaded configuration state (or
 *    the one asked for) with its global list, its host list and its ports,
 *    each property shown by the printer that propPrinterTable gives for its
 *    key. Also the default printers (hex dump, text) and the rendering of
 *    the property flags word.
 */

#include "listing/listing.h"

#include <stdio.h>
#include <string.h>

#include <iterator>
#include <string_view>
#include <unordered_map>

#include "listing/runtime.h"
#include "props/healthcheck.h"
#include "props/ipfix.h"
#include "props/lacp.h"
#include "props/lag.h"
#include "props/mirror.h"
#include "props/overlay.h"
#include "props/portpolicy.h"
#include "props/respool.h"
#include "props/shaping.h"
#include "props/uplink.h"
#include "props/vlan.h"

/*
 * Key to printer. The one place that decides how a property is shown;
 * Prop_Print searches the keyed rows in order, and the last row (no key)
 * catches every other key.
 *
 * Rows whose family printer is not built yet show their value with the
 * hex dump; the comment above such a row names the printer that takes it
 * over, so adding a family only swaps the printer in.
 */
const PropPrinterRow propPrinterTable[] = {
    {"com.corvane.common.port.connectid", Prop_PrintInt},
    {"com.corvane.common.port.volatile.status", Prop_PrintPortStatus},
    {"com.corvane.common.port.volatile.ptstatus", Prop_PrintPassthruStatus},
    {"com.corvane.common.port.statistics", Prop_PrintStatistics},
    {"com.corvane.common.host.volatile.status", Prop_PrintHostStatus},
    {"com.corvane.common.host.volatile.dvsID", Prop_PrintString},
    {"com.corvane.common.host.volatile.overlay.status", Prop_PrintHostStatus},
    {"com.corvane.common.uplinkPorts", Prop_PrintUplinkPorts},
    {"com.corvane.common.host.uplinkPorts", Prop_PrintHostUplinkPorts},
    {"com.corvane.common.overlay", Prop_PrintOverlayInstances},
    {"com.corvane.common.port.overlay", Prop_PrintPortOverlay},
    {"com.corvane.etherswitch.port.teaming", Prop_PrintTeamingPolicy},
    {"com.corvane.vswitch.teaming", Prop_PrintTeamingPolicy},
    {"com.corvane.vswitch.port.teaming.policy", Prop_PrintTeamingPolicy},
    {"com.corvane.vswitch.logicalswitch.teaming", Prop_PrintLogicalSwitchTeaming},
    {"com.corvane.common.port.volatile.vlan", Prop_PrintVolatileVlan},
    {"com.corvane.etherswitch.port.vlan", Prop_PrintPortVlan},
    {"com.corvane.vswitch.port.vlan", Prop_PrintPortVlan},
    {"com.corvane.etherswitch.pvlanMap", Prop_PrintPvlanMap},
    {"com.corvane.vswitch.pvlanMap", Prop_PrintPvlanMap},
    {"com.corvane.common.port.shaper.input", Prop_PrintShaper},
    {"com.corvane.common.port.shaper.output", Prop_PrintShaper},
    {"com.corvane.common.port.shaper.broadcast", Prop_PrintShaper},
    {"com.corvane.etherswitch.ipfix", Prop_PrintIpfix},
    {"com.corvane.etherswitch.ipv4addr", Prop_PrintIpv4Addr},
    {"com.corvane.common.upgrade", Prop_PrintUpgrade},
    {"com.corvane.vswitch.mirrorSessions", Prop_PrintMirrorSessions},
    {"com.corvane.etherswitch.port.mirrorSessions", Prop_PrintMirrorSessions},
    {"com.corvane.vswitch.port.mirrorSessions", Prop_PrintMirrorSessions},
    {"com.corvane.common.port.linkstatus", Prop_PrintLinkStatus},
    {"com.corvane.etherswitch.port.security", Prop_PrintSecurity},
    {"com.corvane.vswitch.port.security", Prop_PrintSecurity},
    {"com.corvane.vswitch.port.macManagement", Prop_PrintMacManagement},
    {"com.corvane.common.portset.mtu", Prop_PrintInt},
    {"com.corvane.vswitch.mtu", Prop_PrintInt},
    {"com.corvane.etherswitch.cdp", Prop_PrintDiscovery},
    {"com.corvane.common.port.dvfilter", Prop_PrintDvfilter},
    {"com.corvane.common.port.respools.cfg", Prop_PrintRespoolsCfg},
    {"com.corvane.common.port.respool.assoc", Prop_PrintRespoolAssoc},
    {"com.corvane.common.respools.list", Prop_PrintRespoolsList},
    {"com.corvane.common.respools.cfg", Prop_PrintRespoolsCfg},
    {"com.corvane.common.respools.sched", Prop_PrintRespoolsSched},
    {"com.corvane.common.port.volatile.vlanchkresult", Prop_PrintVlanCheckResult},
    {"com.corvane.common.port.volatile.mtuchkresult", Prop_PrintMtuCheckResult},
    {"com.corvane.common.vlanmtucheck.deploy", Prop_PrintCheckDeploy},
    {"com.corvane.vswitch.vlanmtucheck.deploy", Prop_PrintCheckDeploy},
    {"com.corvane.common.teamcheck.deploy", Prop_PrintCheckDeploy},
    {"com.corvane.fenn.vlanmtucheck.param", Prop_PrintVlanRanges},
    {"com.corvane.vswitch.vlanmtucheck.param", Prop_PrintVlanRanges},
    {"com.corvane.fenn.teamcheck.param", Prop_PrintTeamCheckParam},
    {"com.corvane.etherswitch.port.extraEthFRP", Prop_PrintExtraEthFRP},
    {"com.corvane.vswitch.port.extraEthFRP", Prop_PrintExtraEthFRP},
    {"com.corvane.etherswitch.port.lacp", Prop_PrintPortLacp},
    {"com.corvane.etherswitch.lacp", Prop_PrintLacpGroups},
    {"com.corvane.common.host.lacp.extraconfig", Prop_PrintLagExtraConfig},
    {"com.corvane.common.serviceinstance", Prop_PrintServiceInstances},
    {"com.corvane.common.port.serviceprofile", Prop_PrintServiceProfiles},
    {"com.corvane.common.port.volatile.cleanupBarrier", Prop_PrintInt},
    {nullptr, Prop_PrintHexDump},
};

const size_t propPrinterTableSize = std::size(propPrinterTable);

static_assert(std::size(propPrinterTable) == 59, "58 keyed rows and the default row");

bool listingHighVersion = false;

/* Key prefixes that a switch of the newer layout always shows as a hex dump. */
static const char *const highVersionDumpPrefixes[] = {
    "com.corvane.qel.",
    "com.corvane.vswitch.",
};

/* Flag bits with a name, in the order in which their words are appended. */
static const struct {
  uint32_t bit;
  const char *word;
} propFlagWords[] = {
    {PROP_CONFIG, "CONFIG "},                                // 0x10
    {PROP_RUNTIME, "RUNTIME "},                              // 0x20
    {PROP_VOLATILE, "VOLATILE "},                            // 0x04
    {PROP_POLICY, "POLICY "},                                // 0x08
    {PROP_NO_REPLICATE, "NO_REPLICATE "},                    // 0x40
    {PROP_NO_SET_LOCAL_CALLBACK, "NO_SET_LOCAL_CALLBACK "},  // 0x80
    {static_cast<uint32_t>(PROP_NO_SYNC), "NO_SYNC"},        // 0x80000000, the sign bit
};

/* Port state tags; a state beyond the table is shown as unknown. */
static const char *const portStateTags[] = {
    " (INVALID)",     // DVS_PORT_STATE_INVALID
    "",               // DVS_PORT_STATE_NORMAL
    " (SHADOW)",      // DVS_PORT_STATE_SHADOW
    " (ZOMBIE)",      // DVS_PORT_STATE_ZOMBIE
    "(LOCAL CACHE)",  // DVS_PORT_STATE_LOCAL_CACHE
};
static const char *const portStateUnknownTag = " (UNKNOWN)";

/*
 * Prop_FlagsToString --
 *
 *    Writes the words of the named flag bits into text, a buffer of
 *    PROP_FLAGS_TEXT_LEN bytes, emptying it first. Unnamed bits are not
 *    shown. The appends are bounded by the buffer: when every named bit is
 *    set the words do not fit, and the text is cut at 63 characters. A null
 *    text is left alone.
 */
void Prop_FlagsToString(int32_t flags, char *text) {
  if (text == nullptr) {
    return;
  }
  text[0] = '\0';
  const uint32_t bits = static_cast<uint32_t>(flags);
  for (const auto &flag : propFlagWords) {
    if ((bits & flag.bit) != 0) {
      Str_Strcat(text, flag.word, PROP_FLAGS_TEXT_LEN);
    }
  }
}

/*
 * Prop_Print --
 *
 *    Prints one property with the printer that propPrinterTable gives for
 *    its key (exact match, first row wins; the default row otherwise).
 *    While listingHighVersion is set, every key under the vswitch and qel
 *    prefixes is hex-dumped instead, whatever the table says.
 */
void Prop_Print(const char *key, const void *value, uint32_t length, int32_t flags) {
  if (key == nullptr) {
    key = "";
  }
  if (listingHighVersion) {
    for (const char *prefix : highVersionDumpPrefixes) {
      if (strncmp(key, prefix, strlen(prefix)) == 0) {
        Prop_PrintHexDump(key, value, length, flags);
        return;
      }
    }
  }
  /*
   * The keys of the table are unique, so an index built once from it gives
   * the same row as a walk in table order, without 58 comparisons for each
   * of the many properties of a large listing.
   */
  static const std::unordered_map<std::string_view, PropPrinter> index = [] {
    std::unordered_map<std::string_view, PropPrinter> rows;
    for (size_t i = 0; i + 1 < propPrinterTableSize; i++) {
      rows.emplace(propPrinterTable[i].key, propPrinterTable[i].printer);
    }
    return rows;
  }();
  auto row = index.find(key);
  PropPrinter printer =
      row != index.end() ? row->second : propPrinterTable[propPrinterTableSize - 1].printer;
  printer(key, value, length, flags);
}

/* Whether c is a printable character of the POSIX locale. */
static bool IsPrintable(uint8_t c) {
  return c >= 0x20 && c <= 0x7e;
}

/*
 * Prop_PrintHexDump --
 *
 *    The default printer. A value that is a NUL-terminated text of
 *    printable characters goes to Prop_PrintString. Any other value is
 *    printed as hex bytes up to its last nonzero byte, followed by the
 *    count of trailing zero bytes folded into one entry, then a line with
 *    the flags. An empty value (or none) prints "<empty>" in place of the
 *    bytes and reads nothing.
 */
void Prop_PrintHexDump(const char *key, const void *value, uint32_t length, int32_t flags) {
  char flagsText[PROP_FLAGS_TEXT_LEN];
  Prop_FlagsToString(flags, flagsText);

  if (length == 0 || value == nullptr) {
    printf("\t\t%s = <empty>\n", key);
    printf("\t\t\tpropType = %s\n", flagsText);
    return;
  }

  const uint8_t *bytes = static_cast<const uint8_t *>(value);
  uint32_t printable = 0;
  while (printable < length && IsPrintable(bytes[printable])) {
    printable++;
  }
  if (printable == length - 1 && bytes[length - 1] == 0) {
    Prop_PrintString(key, value, length, flags);
    return;
  }

  uint32_t last = length - 1;
  while (last > 0 && bytes[last] == 0) {
    last--;
  }
  printf("\t\t%s = 0x%2x", key, bytes[0]);
  /* Each further byte as ".%2x" would print it, formatted in blocks for speed. */
  static const char hexDigits[] = "0123456789abcdef";
  char block[3 * 256];
  size_t used = 0;
  for (uint32_t i = 1; i <= last; i++) {
    const uint8_t b = bytes[i];
    block[used++] = '.';
    block[used++] = (b >> 4) != 0 ? hexDigits[b >> 4] : ' ';
    block[used++] = hexDigits[b & 0x0f];
    if (used == sizeof block) {
      fwrite(block, 1, used, stdout);
      used = 0;
    }
  }
  fwrite(block, 1, used, stdout);
  const uint32_t zeros = length - 1 - last;
  if (zeros == 1) {
    printf(". 0");
  } else if (zeros >= 2) {
    printf(". 0 <repeats %u times>", zeros);
  }
  printf("\n");
  printf("\t\t\tpropType = %s\n", flagsText);
}

/*
 * Prop_PrintString --
 *
 *    Prints a value as text: the bytes up to the first NUL, or all of them
 *    when the value holds no NUL, never more than length bytes.
 */
void Prop_PrintString(const char *key, const void *value, uint32_t length, int32_t flags) {
  char flagsText[PROP_FLAGS_TEXT_LEN];
  Prop_FlagsToString(flags, flagsText);
  const char *text = static_cast<const char *>(value);
  size_t textLength = 0;
  if (text != nullptr) {
    const void *nul = memchr(text, '\0', length);
    textLength =
        nul != nullptr ? static_cast<size_t>(static_cast<const char *>(nul) - text) : length;
  }
  printf("\t\t%s = ", key);
  if (textLength > 0) {
    fwrite(text, 1, textLength, stdout);
  }
  printf(" , \tpropType = %s\n", flagsText);
}

/*
 * List_Switch --
 *
 *    Switch visitor of the listing. wantedId is the switch ID text to list,
 *    or null for every switch. Prints the switch's head, its global and
 *    host lists and its ports. Returns true (stop the walk) once the wanted
 *    switch is printed, false otherwise.
 */
bool List_Switch(DVSSwitch *h, void *wantedId) {
  const char *wanted = static_cast<const char *>(wantedId);
  if (wanted != nullptr && strcmp(wanted, DVS_SwitchId(h)) != 0) {
    return false;
  }
  printf("switch %s (%s)\n", DVS_SwitchId(h), DVS_ClassName(h));
  printf("\tmax ports: %d\n", static_cast<int>(DVS_GetMaxPorts(h)));

  printf("\tglobal properties:\n");
  listingHighVersion = h->version > 99;
  DVSState_GlobalPropForEach(h, List_Property, nullptr);

  printf("\thost properties:\n");
  DVSState_HostPropForEach(h, List_Property, nullptr);

  DVSState_PortForEach(h, List_Port, nullptr);
  return wanted != nullptr;
}

/*
 * List_Port --
 *
 *    Port visitor of the listing: prints the port's line with its state tag
 *    and then its properties. Always returns 0 (go on).
 */
int List_Port(DVSPort *p, void * /* context */) {
  const char *tag =
      p->state < std::size(portStateTags) ? portStateTags[p->state] : portStateUnknownTag;
  printf("\tport %s%s:\n", DVS_PortId(p), tag);
  listingHighVersion = p->dvs != nullptr && p->dvs->version > 99;
  DVSState_PortDataForEach(p, List_Property, nullptr);
  return 0;
}

/*
 * List_Property --
 *
 *    Property visitor of the listing: prints one property through
 *    Prop_Print. Always returns 0 (go on).
 */
int List_Property(DVSDataNode *node, void * /* context */) {
  void *value = nullptr;
  const uint32_t length = DVSData_Data(node, &value);
  Prop_Print(DVSData_Name(node), value, length, DVSData_PropType(node));
  return 0;
}
