// SPDX-License-Identifier: Apache-2.0
/*
 * print_seeds.cpp --
 *
 *    Turns configuration files into seeds for the printer, configuration
 *    and client reply targets: "print_seeds OUTDIR CONFIG..." loads each
 *    configuration and writes, under OUTDIR/print_fuzz, one seed for every
 *    distinct property value it holds (its printer table row, the
 *    high-version byte, its flags and its bytes), under
 *    OUTDIR/config_fuzz each port's property tree as a DVSData_Deserialize
 *    seed, and under OUTDIR/reply_fuzz the configuration as the kernel's
 *    state reply. Seed files are named by a hash of their content.
 *    Returns 0, or 1 when a file cannot be read or written.
 */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "dvslib.h"
#include "listing/listing.h"

namespace {

std::string g_out;
std::set<std::string> g_written;
bool g_failed = false;
bool g_highVersion = false;

/* FNV-1a of the seed's bytes, for a file name that the same seed always gets. */
std::string Name(const std::string &bytes) {
  uint64_t h = 1469598103934665603ull;
  for (unsigned char c : bytes) h = (h ^ c) * 1099511628211ull;
  char text[17];
  snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(h));
  return text;
}

void Write(const std::string &dir, const std::string &bytes) {
  const std::string path = g_out + "/" + dir + "/" + Name(bytes);
  if (!g_written.insert(path).second) return;
  std::ofstream f(path, std::ios::binary);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!f) g_failed = true;
}

std::string U32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; i++) s[i] = static_cast<char>(v >> (8 * i));
  return s;
}

int SeedProperty(DVSDataNode *node, void *) {
  const char *key = DVSData_Name(node);
  const std::span<const PropPrinterRow> table = Prop_PrinterTable();
  size_t row = table.size() - 1; /* the key of no row */
  for (size_t i = 0; i + 1 < table.size(); i++) {
    if (strcmp(table[i].key, key) == 0) row = i;
  }
  void *value = nullptr;
  const uint32_t length = DVSData_Data(node, &value);
  std::string seed(1, static_cast<char>(row));
  seed += static_cast<char>(g_highVersion ? 1 : 0);
  seed += U32(static_cast<uint32_t>(DVSData_PropType(node)));
  seed.append(static_cast<const char *>(value), length);
  Write("print_fuzz", seed);
  return 0;
}

int SeedPort(DVSPort *p, void *) {
  g_highVersion = p->dvs->version > 99;
  DVSState_PortDataForEach(p, SeedProperty, nullptr);
  void *tree = nullptr;
  uint32_t len = 0;
  if (DVSData_Serialize(p->data, &tree, &len, 0) == 0) {
    Write("config_fuzz", std::string(1, '\1') + std::string(static_cast<char *>(tree), len));
    free(tree);
  }
  return 0;
}

bool SeedSwitch(DVSSwitch *h, void *) {
  g_highVersion = h->version > 99;
  DVSState_GlobalPropForEach(h, SeedProperty, nullptr);
  DVSState_HostPropForEach(h, SeedProperty, nullptr);
  DVSState_PortForEach(h, SeedPort, nullptr);
  return false;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: print_seeds OUTDIR CONFIG...\n");
    return 1;
  }
  g_out = argv[1];
  for (int i = 2; i < argc; i++) {
    std::ifstream f(argv[i], std::ios::binary);
    const std::string blob((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    DVSState_ConfigReset();
    if (!f.good() && !f.eof()) return 1;
    if (DVSState_ConfigDeserialize(blob.data(), static_cast<uint32_t>(blob.size())) != 0) {
      fprintf(stderr, "print_seeds: %s is not a configuration\n", argv[i]);
      return 1;
    }
    DVSState_SwitchForEach(SeedSwitch, nullptr);
    /* The kernel's state reply (operation 0), well framed with status 0. */
    std::string reply = std::string(1, '\0') + '\0' + '\0' + U32(0);
    if (blob.size() <= 0xffff) {
      reply += static_cast<char>(blob.size() & 0xff);
      reply += static_cast<char>(blob.size() >> 8);
      Write("reply_fuzz", reply + blob);
    }
  }
  return g_failed ? 1 : 0;
}
