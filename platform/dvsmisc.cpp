// SPDX-License-Identifier: Apache-2.0
/*
 * dvsmisc.cpp --
 *
 *    Host facts, read from the running Linux host without the daemon:
 *    memory size from /proc/meminfo, CPU packages and cores from
 *    /proc/cpuinfo, and the IPv4 address of a network interface.
 */

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>
#include <string>
#include <utility>

#include "dvslib.h"

namespace {

/*
 * Reads "name : value" lines of a /proc file, calling visit(name, value)
 * with both trimmed. Returns false when the file cannot be opened.
 */
template <typename Visit>
bool ForEachField(const char *path, Visit visit) {
  FILE *f = fopen(path, "re");
  if (!f) return false;
  char line[512];
  while (fgets(line, sizeof(line), f)) {
    char *colon = strchr(line, ':');
    if (!colon) {
      visit(std::string(), std::string());
      continue;
    }
    std::string name(line, static_cast<size_t>(colon - line));
    std::string value(colon + 1);
    auto trim = [](std::string &s) {
      size_t b = s.find_first_not_of(" \t\r\n");
      size_t e = s.find_last_not_of(" \t\r\n");
      s = b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
    };
    trim(name);
    trim(value);
    visit(name, value);
  }
  fclose(f);
  return true;
}

/* The CPU topology of /proc/cpuinfo: packages and (package, core) pairs. */
struct CpuTopology {
  std::set<std::string> packages;
  std::set<std::pair<std::string, std::string>> cores;
  unsigned processors = 0;
};

bool ReadCpuTopology(CpuTopology *t) {
  std::string package;
  std::string core;
  auto flush = [&]() {
    if (!package.empty() || !core.empty()) t->cores.insert({package, core});
    if (!package.empty()) t->packages.insert(package);
    package.clear();
    core.clear();
  };
  bool ok = ForEachField("/proc/cpuinfo", [&](const std::string &name, const std::string &value) {
    if (name.empty()) {
      flush(); /* a blank line ends one processor's block */
    } else if (name == "processor") {
      t->processors++;
    } else if (name == "physical id") {
      package = value;
    } else if (name == "core id") {
      core = value;
    }
  });
  flush();
  return ok;
}

}  // namespace

ZOR_ReturnStatus DVSMisc_GetMemorySize(uint64_t *kilobytes) {
  if (!kilobytes) return ZOR_BAD_PARAM;
  bool found = false;
  uint64_t kb = 0;
  bool ok = ForEachField("/proc/meminfo", [&](const std::string &name, const std::string &value) {
    if (found || name != "MemTotal") return;
    char *end = nullptr;
    unsigned long long v = strtoull(value.c_str(), &end, 10);
    if (end != value.c_str()) {
      kb = v;
      found = true;
    }
  });
  if (!ok) return ZOR_IO_ERROR;
  if (!found) return ZOR_NOT_FOUND;
  *kilobytes = kb;
  return 0;
}

ZOR_ReturnStatus DVSMisc_GetCpuPackages(uint32_t *count) {
  if (!count) return ZOR_BAD_PARAM;
  CpuTopology t;
  if (!ReadCpuTopology(&t)) return ZOR_IO_ERROR;
  /* Hosts that do not report packages (some virtual machines) have one. */
  *count = t.packages.empty() ? 1u : static_cast<uint32_t>(t.packages.size());
  return 0;
}

ZOR_ReturnStatus DVSMisc_GetCpuCores(uint32_t *count) {
  if (!count) return ZOR_BAD_PARAM;
  CpuTopology t;
  if (!ReadCpuTopology(&t)) return ZOR_IO_ERROR;
  uint32_t n = static_cast<uint32_t>(t.cores.size());
  if (n == 0) n = t.processors;
  if (n == 0) {
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    n = online > 0 ? static_cast<uint32_t>(online) : 1u;
  }
  *count = n;
  return 0;
}

ZOR_ReturnStatus DVSMisc_GetZornicIpv4Addr(const char *name, uint8_t addr[4]) {
  if (!name || !addr) return ZOR_BAD_PARAM;
  struct ifaddrs *list = nullptr;
  if (getifaddrs(&list) != 0) return ZOR_IO_ERROR;
  ZOR_ReturnStatus st = ZOR_NOT_FOUND;
  for (struct ifaddrs *ifa = list; ifa; ifa = ifa->ifa_next) {
    if (!ifa->ifa_addr || ifa->ifa_addr->sa_family != AF_INET || !ifa->ifa_name) continue;
    if (strcmp(ifa->ifa_name, name) != 0) continue;
    const struct sockaddr_in *in = reinterpret_cast<const struct sockaddr_in *>(ifa->ifa_addr);
    memcpy(addr, &in->sin_addr.s_addr, 4); /* network order */
    st = 0;
    break;
  }
  freeifaddrs(list);
  return st;
}
