// SPDX-License-Identifier: Apache-2.0
/*
 * usage.cpp --
 *
 *    The usage text and the one way a process ends. The usage text is
 *    assembled from the entries that the front end owns (the commands on
 *    switches, ports, configurations and the kernel's uplinks) and those
 *    that each property family declares, printed in the order of their
 *    places.
 */

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "base/family.h"
#include "frontend.h"
#include "listing/families.h"

namespace {

/* The front end's entries of the usage text; the families hold the others. */
const UsageEntry frontEndUsage[] = {
    {1,
     "Warning: This is an unsupported command. Use at your own risk.\n"
     "         DVS config is persisted in configstore by default instead\n"
     "         of in file /etc/corvane/dvsdata.db"},
    {2,
     "brakk -a [--className className] [ -P maxPorts] switch_name\n"
     "                                              add a new dvswitch"},
    {3, "brakk -d switch_name                        delete a dvswitch"},
    {4, "brakk [ -A | -D ] -p port switch_name       add/delete a port from a dvswitch"},
    {5,
     "brakk [ -s name=value | -u name ] -p port switch_name\n"
     "                                              set/unset key/value pair property for dvport"},
    {6, "brakk -r name -p port switch_name          get value for dvport property specified"},
    {7, "brakk -l [ switch_name ]                    list dvs information"},
    {8, "brakk -i                                    init database"},
    {9,
     "brakk [-S | -R | -G ]                       set zorcore state from config file/reset \n"
     "                                              zorcore state/get dvs state from zorcore \n"
     "                                              to config file"},
    {10, "brakk -T                                    test dvsdata"},
    {21,
     "brakk [ -y | -Y ] switch_name               associate/disassociate a dvswitch with its proxy "
     "portset"},
    {24, "brakk --vlan vlanID -p dvport switch_name   set uplink vlan"},
    {25, "brakk --reset -p dvport switch_name         reset port state"},
    {26,
     "brakk --cap cap_value -p dvport switch_name\n"
     "                                              set uplink port capability"},
    {27, "brakk --states -p dvport switch_name        get uplink states"},
    {28, "brakk --miscInfo                            dump cpu/meminfo"},
    {29, "brakk --zornicIp <zornic>                   display IPv4 address on <zornic>"},
    {42,
     "brakk --persist                             persist DVS config to configstore immediately"},
    {43,
     "brakk --nopersist [true|false] switch_name    don't persist the dvs data for one specified "
     "dvs"},
    {45, "brakk --setVersion <version> switch_name    set DVS version"},
    {46, "brakk --setDVSID  \"dvsID\" switch_name     change DVS ID"},
    {49,
     "brakk -E [other params]                     Use configstore as config source/destination. "
     "\"-f\" will be invalid if set both of them\n"
     "\tExpamle:\n"
     "\t\tbrakk -E -l                 list dvs informations from configstore."},
};

}  // namespace

void Brakk_Exit(int status) {
  fflush(stdout);
  exit(status);
}

void Usage_Write() {
  std::vector<UsageEntry> entries(std::begin(frontEndUsage), std::end(frontEndUsage));
  for (const PropFamily *family : Prop_Families()) {
    entries.insert(entries.end(), family->usage.begin(), family->usage.end());
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const UsageEntry &a, const UsageEntry &b) { return a.place < b.place; });
  for (const UsageEntry &entry : entries) puts(entry.text);
}

void Usage_Print() {
  Usage_Write();
  Brakk_Exit(0);
}

void Panic(const char *format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
  Brakk_Exit(-1);
}
