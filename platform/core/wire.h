/*
 * wire.h --
 *
 *    Little-endian encoding helpers for serialised blocks and channel
 *    frames: an appending writer, a bounds-checked reader and CRC-32.
 */

#ifndef PLATFORM_CORE_WIRE_H
#define PLATFORM_CORE_WIRE_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <string_view>

namespace zor {

/* CRC-32C (Castagnoli) of len bytes, continuing from crc (0 to start). */
uint32_t Crc32(const void *data, size_t len, uint32_t crc = 0);
/* The same checksum computed without the processor's CRC instruction. */
uint32_t Crc32Software(const void *data, size_t len, uint32_t crc = 0);

/*
 * A growable byte block allocated with malloc, so that a finished block can
 * be handed to a caller who releases it with free().
 */
class ByteBuf {
 public:
  ByteBuf() = default;
  ByteBuf(const ByteBuf &) = delete;
  ByteBuf &operator=(const ByteBuf &) = delete;
  ByteBuf(ByteBuf &&o) noexcept : data_(o.data_), len_(o.len_), cap_(o.cap_) {
    o.data_ = nullptr;
    o.len_ = o.cap_ = 0;
  }
  ~ByteBuf() { free(data_); }

  /* Makes room for at least n more bytes; false when memory runs out. */
  bool Reserve(size_t n);
  /* Appends n bytes; false when memory runs out (the block is unchanged). */
  bool Append(const void *p, size_t n) {
    if (!Reserve(n)) return false;
    if (n) memcpy(data_ + len_, p, n);
    len_ += n;
    return true;
  }
  /* Counts n more bytes that the caller wrote past Size() after a Reserve. */
  void Grow(size_t n) { len_ += n; }
  uint8_t *Data() { return data_; }
  const uint8_t *Data() const { return data_; }
  size_t Size() const { return len_; }
  void Clear() { len_ = 0; }
  /* Hands the block to the caller, who frees it with free(); the buffer empties. */
  uint8_t *Release() {
    uint8_t *p = data_;
    data_ = nullptr;
    len_ = cap_ = 0;
    return p;
  }

 private:
  uint8_t *data_ = nullptr;
  size_t len_ = 0;
  size_t cap_ = 0;
};

/*
 * Appends little-endian values to a ByteBuf. A writer made without one only
 * counts the bytes it is given, so that one encoder can both size a block
 * and fill it. A failed allocation makes the writer failed; check Ok()
 * once at the end.
 */
class WireWriter {
 public:
  explicit WireWriter(ByteBuf *out = nullptr) : out_(out) {}
  bool Ok() const { return ok_; }
  void U8(uint8_t v) { Bytes(&v, 1); }
  void U16(uint16_t v) {
    uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
    Bytes(b, 2);
  }
  void U32(uint32_t v) {
    uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8),
                    static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 24)};
    Bytes(b, 4);
  }
  void U64(uint64_t v) {
    U32(static_cast<uint32_t>(v));
    U32(static_cast<uint32_t>(v >> 32));
  }
  void Bytes(const void *p, size_t n) {
    count_ += n;
    if (out_ && ok_ && !out_->Append(p, n)) ok_ = false;
  }
  /* A u32 length followed by the bytes. */
  void Blob(std::string_view s) {
    U32(static_cast<uint32_t>(s.size()));
    Bytes(s.data(), s.size());
  }
  /* Bytes given to this writer so far. */
  size_t Count() const { return count_; }

 private:
  ByteBuf *out_;
  size_t count_ = 0;
  bool ok_ = true;
};

/*
 * Reads little-endian values from a byte range. Every read checks the
 * remaining length; after the first short read the reader is failed and
 * all later reads fail too, so callers may check Ok() once at the end of a
 * group of reads.
 */
class WireReader {
 public:
  WireReader(const void *data, size_t len)
      : p_(static_cast<const uint8_t *>(data)), end_(p_ + len) {}
  bool Ok() const { return ok_; }
  size_t Remaining() const { return static_cast<size_t>(end_ - p_); }
  const uint8_t *Position() const { return p_; }

  uint8_t U8() {
    if (!Need(1)) return 0;
    return *p_++;
  }
  uint16_t U16() {
    if (!Need(2)) return 0;
    uint16_t v = static_cast<uint16_t>(p_[0] | (p_[1] << 8));
    p_ += 2;
    return v;
  }
  uint32_t U32() {
    if (!Need(4)) return 0;
    uint32_t v = static_cast<uint32_t>(p_[0]) | (static_cast<uint32_t>(p_[1]) << 8) |
                 (static_cast<uint32_t>(p_[2]) << 16) | (static_cast<uint32_t>(p_[3]) << 24);
    p_ += 4;
    return v;
  }
  uint64_t U64() {
    uint64_t lo = U32();
    uint64_t hi = U32();
    return lo | (hi << 32);
  }
  /* Returns a view of the next n bytes, or an empty view when short. */
  std::string_view Bytes(size_t n) {
    if (!Need(n)) return {};
    std::string_view v(reinterpret_cast<const char *>(p_), n);
    p_ += n;
    return v;
  }
  /* A u32 length followed by that many bytes. */
  std::string_view Blob() {
    uint32_t n = U32();
    return Bytes(n);
  }
  void Fail() { ok_ = false; }

 private:
  bool Need(size_t n) {
    if (!ok_ || Remaining() < n) {
      ok_ = false;
      return false;
    }
    return true;
  }
  const uint8_t *p_;
  const uint8_t *end_;
  bool ok_ = true;
};

}  // namespace zor

#endif  // PLATFORM_CORE_WIRE_H
