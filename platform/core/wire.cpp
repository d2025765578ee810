// SPDX-License-Identifier: Apache-2.0
/*
 * wire.cpp --
 *
 *    Byte blocks and the CRC-32C checksum of serialised data.
 */

#include "wire.h"

#include <stdlib.h>

#include "big_alloc.h"

namespace zor {

bool ByteBuf::Reserve(size_t n) {
  if (cap_ - len_ >= n) return true;
  if (n > SIZE_MAX / 2 - len_) return false;
  size_t want = len_ + n;
  /* The first reservation is exact (callers that know the size ask once); growth doubles. */
  size_t cap = cap_ ? cap_ : want;
  while (cap < want) cap *= 2;
  void *p = data_ ? realloc(data_, cap) : BigAlloc(cap);
  if (!p) return false;
  data_ = static_cast<uint8_t *>(p);
  cap_ = cap;
  return true;
}

namespace {

constexpr uint32_t kPoly = 0x82f63b78u; /* CRC-32C, reflected */

struct CrcTable {
  uint32_t t[256];
  CrcTable() {
    for (uint32_t i = 0; i < 256; i++) {
      uint32_t c = i;
      for (int k = 0; k < 8; k++) c = (c & 1) ? (c >> 1) ^ kPoly : c >> 1;
      t[i] = c;
    }
  }
};

uint32_t CrcSoftware(const uint8_t *p, size_t len, uint32_t crc) {
  static const CrcTable table;
  while (len--) crc = (crc >> 8) ^ table.t[(crc ^ *p++) & 0xff];
  return crc;
}

#if defined(__x86_64__)
/*
 * The processor's CRC32 instruction, eight bytes at a time. An edit
 * checksums the whole configuration when loading and when saving it; with
 * the byte table instead, the edit of 16 x 1024 ports takes 2.8 times as
 * long (bench/techniques.sh, docs/performance.md).
 */
__attribute__((target("sse4.2"))) uint32_t CrcHardware(const uint8_t *p, size_t len, uint32_t crc) {
  uint64_t c = crc;
  while (len >= 8) {
    uint64_t v = 0;
    GetU64(p, len, 0, &v); /* the instruction takes the first byte as the lowest */
    c = __builtin_ia32_crc32di(c, v);
    p += 8;
    len -= 8;
  }
  uint32_t c32 = static_cast<uint32_t>(c);
  while (len--) c32 = __builtin_ia32_crc32qi(c32, *p++);
  return c32;
}

bool HaveHardwareCrc() {
  static const bool have = __builtin_cpu_supports("sse4.2");
  return have;
}
#endif

}  // namespace

uint32_t Crc32(const void *data, size_t len, uint32_t crc) {
  const uint8_t *p = static_cast<const uint8_t *>(data);
  crc = ~crc;
#if defined(__x86_64__)
  if (HaveHardwareCrc()) return ~CrcHardware(p, len, crc);
#endif
  return ~CrcSoftware(p, len, crc);
}

/* Exposed for the test that both paths agree. */
uint32_t Crc32Software(const void *data, size_t len, uint32_t crc) {
  return ~CrcSoftware(static_cast<const uint8_t *>(data), len, ~crc);
}

}  // namespace zor
