// SPDX-License-Identifier: Apache-2.0
/*
 * family.h --
 *
 *    How a property family declares itself, once: the printer-table rows
 *    of the keys it shows and the entries of the usage text it owns. The
 *    listing builds the printer table and its lookup from the list of
 *    families (listing/families.cpp), and the front end builds the usage
 *    text from it; nothing else spells a family's keys again.
 */

#ifndef APPS_NET_DVS_BASE_FAMILY_H
#define APPS_NET_DVS_BASE_FAMILY_H

#include <span>

#include "base/command.h"
#include "base/print.h"

/*
 * A key that depends on the class of the switch: class 0 (etherswitch)
 * takes the etherswitch key, classes 1 and 2 (vswitch, cswitch) the
 * vswitch key.
 */
struct ClassKey {
  const char *etherswitch;
  const char *vswitch;
  constexpr const char *For(SwitchClass cls) const {
    return cls == SWITCH_CLASS_ETHERSWITCH ? etherswitch : vswitch;
  }
};

/* One entry of the usage text: its place (1 is the first entry) and its text. */
struct UsageEntry {
  int place;
  const char *text;
};

/* A property family: its name, the printer rows of its keys and its usage entries. */
struct PropFamily {
  const char *name;
  std::span<const PropPrinterRow> printers;
  std::span<const UsageEntry> usage;
};

#endif  // APPS_NET_DVS_BASE_FAMILY_H
