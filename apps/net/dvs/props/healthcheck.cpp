/*
 * healthcheck.cpp --
 *
 *    The health-check family: the VLAN range bitmap parser.
 */

#include "props/healthcheck.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

/*
 * Reads one decimal int at text as the "%d" conversion of sscanf does
 * (leading blanks, an optional sign, digits; the value keeps its low 32
 * bits). Returns false when no number stands there.
 */
bool ScanInt(const char *text, int *value, const char **end) {
  char *stop = nullptr;
  long parsed = strtol(text, &stop, 10);
  if (stop == text) return false;
  *value = static_cast<int>(static_cast<unsigned long>(parsed));
  *end = stop;
  return true;
}

/*
 * The "%d-%d" scan of one item: returns the number of conversions (0, 1
 * or 2). The '-' must follow the first number directly.
 */
int ScanRange(const char *item, int *low, int *high) {
  const char *rest = nullptr;
  if (!ScanInt(item, low, &rest)) return 0;
  if (*rest != '-') return 1;
  return ScanInt(rest + 1, high, &rest) ? 2 : 1;
}

void SetBits(uint8_t *bitmap, int low, int high) {
  for (int vlan = low; vlan <= high; vlan++) {
    bitmap[vlan / 8] |= static_cast<uint8_t>(1u << (vlan % 8));
  }
}

}  // namespace

int VlanBitmap_Parse(const char *text, uint8_t *bitmap) {
  memset(bitmap, 0, VLAN_BITMAP_LEN);
  const char *pos = text;
  while (*pos != '\0') {
    int low = 0;
    int high = 0;
    int converted = ScanRange(pos, &low, &high);
    if (converted == 0) {
      fprintf(stderr, "Bad vlan range string: %s\n", pos);
      return -1;
    }
    if (converted == 1) high = low;
    if (low < 0 || high > VLAN_BITMAP_MAX_VLAN || low > high) {
      fprintf(stderr, "Bad vlan range: from %d to %d\n", low, high);
      return -1;
    }
    printf("set vlan %d - %d.\n", low, high);
    SetBits(bitmap, low, high);
    const char *comma = strchr(pos, ',');
    if (comma == nullptr) break;
    pos = comma + 1;
  }
  return 0;
}
