/*
 * wire.cpp --
 *
 *    Byte blocks and the CRC-32C checksum of serialised data. The checksum
 *    uses the processor's CRC32 instruction where it has one, and a
 *    slicing-by-8 table otherwise; both give the same value.
 */

#include "wire.h"

#include <malloc.h>
#include <stdlib.h>
#include <sys/mman.h>

namespace zor {

namespace {
constexpr size_t kHugePage = 2u << 20;
constexpr size_t kBigBlock = 1u << 20;
}  // namespace

void TuneAllocator() {
  /*
   * Blocks of a megabyte or more get their own mappings (a fixed threshold,
   * so that glibc does not move it after the first free), which BigAlloc
   * aligns and backs with huge pages. Freed small blocks stay in the heap
   * for the next load of the same configuration.
   */
  mallopt(M_MMAP_THRESHOLD, static_cast<int>(kBigBlock));
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
}

void *BigAlloc(size_t n, size_t hugeFrom) {
  if (n < hugeFrom) return malloc(n ? n : 1);
  /*
   * A whole number of aligned huge pages: a block that ended inside a huge
   * page would take that last part in small pages, one fault each.
   */
  const size_t size = (n + kHugePage - 1) & ~(kHugePage - 1);
  void *p = nullptr;
  if (posix_memalign(&p, kHugePage, size) != 0) return nullptr;
  /* Advice only: without huge pages the block works the same. */
  madvise(p, size, MADV_HUGEPAGE);
  return p;
}

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

struct CrcTables {
  uint32_t t[8][256];
  CrcTables() {
    for (uint32_t i = 0; i < 256; i++) {
      uint32_t c = i;
      for (int k = 0; k < 8; k++) c = (c & 1) ? (c >> 1) ^ kPoly : c >> 1;
      t[0][i] = c;
    }
    for (uint32_t i = 0; i < 256; i++) {
      for (int s = 1; s < 8; s++) t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xff];
    }
  }
};

const CrcTables &Tables() {
  static const CrcTables tables;
  return tables;
}

uint32_t CrcSoftware(const uint8_t *p, size_t len, uint32_t crc) {
  const CrcTables &tb = Tables();
  while (len >= 8) {
    uint32_t lo = crc ^ (static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24));
    uint32_t hi = static_cast<uint32_t>(p[4]) | (static_cast<uint32_t>(p[5]) << 8) |
                  (static_cast<uint32_t>(p[6]) << 16) | (static_cast<uint32_t>(p[7]) << 24);
    crc = tb.t[7][lo & 0xff] ^ tb.t[6][(lo >> 8) & 0xff] ^ tb.t[5][(lo >> 16) & 0xff] ^
          tb.t[4][lo >> 24] ^ tb.t[3][hi & 0xff] ^ tb.t[2][(hi >> 8) & 0xff] ^
          tb.t[1][(hi >> 16) & 0xff] ^ tb.t[0][hi >> 24];
    p += 8;
    len -= 8;
  }
  while (len--) crc = (crc >> 8) ^ tb.t[0][(crc ^ *p++) & 0xff];
  return crc;
}

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) uint32_t CrcHardware(const uint8_t *p, size_t len, uint32_t crc) {
  uint64_t c = crc;
  while (len >= 8) {
    uint64_t v;
    memcpy(&v, p, 8);
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
