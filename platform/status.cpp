// SPDX-License-Identifier: Apache-2.0
/*
 * status.cpp --
 *
 *    Status texts and the small text utilities of the library.
 */

#include <string.h>

#include "dvslib.h"

namespace {

struct StatusName {
  ZOR_ReturnStatus status;
  const char *text;
};

/* One fixed text per status; docs/statuses.md lists the same table. */
const StatusName kStatusNames[] = {
    {ZOR_OK, "Success"},
    {ZOR_FAILURE, "Failure"},
    {ZOR_NOT_FOUND, "Not found"},
    {ZOR_ALREADY_EXISTS, "Already exists"},
    {ZOR_BAD_PARAM, "Bad parameter"},
    {ZOR_NO_MEMORY, "Out of memory"},
    {ZOR_NO_RESOURCES, "Out of resources"},
    {ZOR_NOT_SUPPORTED, "Not supported"},
    {ZOR_INVALID_DATA, "Invalid data"},
    {ZOR_NO_KERNEL, "No kernel switch module on this host"},
    {ZOR_TIMEOUT, "Kernel channel timed out"},
    {ZOR_CHANNEL_ERROR, "Kernel channel error"},
    {ZOR_NOT_A_CONFIG, "Not a switch configuration"},
    {ZOR_BAD_VERSION, "Unsupported configuration format version"},
    {ZOR_TRUNCATED, "Truncated data"},
    {ZOR_BAD_CHECKSUM, "Checksum mismatch"},
    {ZOR_IO_ERROR, "I/O error"},
    {ZOR_TOO_LARGE, "Too large"},
    {ZOR_PERMISSION_DENIED, "Permission denied"},
    {ZOR_NOT_REGULAR_FILE, "Not a regular file"},
    {ZOR_LOCKED, "Configuration is locked by another process"},
};

}  // namespace

const char *ZOR_ReturnStatusToString(ZOR_ReturnStatus status) {
  for (const StatusName &s : kStatusNames) {
    if (s.status == status) return s.text;
  }
  return "Unknown status";
}

/* Called once at process start; this library has nothing to set up. */
ZOR_ReturnStatus FeatureState_Init(void) {
  return ZOR_OK;
}

void Str_Strcpy(char *dst, const char *src, size_t dstSize) {
  if (!dst || dstSize == 0) return;
  size_t n = src ? strnlen(src, dstSize - 1) : 0;
  if (n) memcpy(dst, src, n);
  dst[n] = '\0';
}

void Str_Strcat(char *dst, const char *src, size_t dstSize) {
  if (!dst || dstSize == 0 || !src) return;
  size_t used = strnlen(dst, dstSize);
  if (used >= dstSize) return; /* not terminated within dstSize: leave it alone */
  size_t n = strnlen(src, dstSize - 1 - used);
  memcpy(dst + used, src, n);
  dst[used + n] = '\0';
}

/*
 * Whether the n bytes at s are well-formed UTF-8: no overlong forms, no
 * surrogates (U+D800..U+DFFF), nothing above U+10FFFF.
 */
static bool IsUtf8(const unsigned char *s, size_t n) {
  size_t i = 0;
  while (i < n) {
    const unsigned char c = s[i];
    size_t more;
    unsigned long cp;
    if (c < 0x80) {
      i++;
      continue;
    } else if (c >= 0xc2 && c <= 0xdf) {
      more = 1, cp = c & 0x1f;
    } else if (c >= 0xe0 && c <= 0xef) {
      more = 2, cp = c & 0x0f;
    } else if (c >= 0xf0 && c <= 0xf4) {
      more = 3, cp = c & 0x07;
    } else {
      return false;
    }
    if (n - i <= more) return false;
    for (size_t k = 1; k <= more; k++) {
      if ((s[i + k] & 0xc0) != 0x80) return false;
      cp = (cp << 6) | (s[i + k] & 0x3f);
    }
    if ((more == 2 && cp < 0x800) || (more == 3 && cp < 0x10000) || cp > 0x10ffff ||
        (cp >= 0xd800 && cp <= 0xdfff)) {
      return false;
    }
    i += more + 1;
  }
  return true;
}

/*
 * Copies src with its NUL into the field of size bytes at dst. Refuses
 * (returns false, dst untouched) a text that does not fit the field with
 * its NUL, or that is not well-formed UTF-8; the encoding and flags
 * arguments are not used. docs/text-fields.md states the rule.
 */
bool Unicode_CopyBytes(void *dst, const char *src, size_t size, int, int) {
  if (!dst || !src) return false;
  size_t n = strlen(src);
  if (n >= size) return false;
  if (!IsUtf8(reinterpret_cast<const unsigned char *>(src), n)) return false;
  memcpy(dst, src, n + 1);
  return true;
}
