// SPDX-License-Identifier: Apache-2.0
/*
 * wire.h --
 *
 *    The platform's one little-endian codec, used by the serialised blocks,
 *    the channel frames and zorcored alike: fixed-offset fields of a
 *    caller's block, an appending writer, a bounds-checked reader, and the
 *    CRC-32C checksum of serialised data.
 */

#ifndef PLATFORM_CORE_WIRE_H
#define PLATFORM_CORE_WIRE_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <string_view>
#include <utility>

namespace zor {

namespace wire_detail {

/*
 * The shifts are spelt out byte by byte (a fold over the byte indices) so
 * that the compiler merges them into one load or store; a loop over the
 * bytes is not always unrolled first, and then stays a loop.
 */
template <typename T, size_t... I>
void Store(uint8_t *p, T v, std::index_sequence<I...>) {
  ((p[I] = static_cast<uint8_t>(v >> (8 * I))), ...);
}

template <typename T, size_t... I>
T Load(const uint8_t *p, std::index_sequence<I...>) {
  return static_cast<T>((... | (static_cast<T>(p[I]) << (8 * I))));
}

template <typename T>
bool Fits(size_t len, size_t off) {
  return off <= len && sizeof(T) <= len - off;
}

template <typename T>
bool Put(void *block, size_t len, size_t off, T v) {
  if (!Fits<T>(len, off)) return false;
  Store(static_cast<uint8_t *>(block) + off, v, std::make_index_sequence<sizeof(T)>());
  return true;
}

template <typename T>
bool Get(const void *block, size_t len, size_t off, T *v) {
  if (!Fits<T>(len, off)) return false;
  *v = Load<T>(static_cast<const uint8_t *>(block) + off, std::make_index_sequence<sizeof(T)>());
  return true;
}

}  // namespace wire_detail

/*
 * Fixed-offset access to the little-endian fields of a caller's block of
 * len bytes, for headers whose fields sit at known offsets. A put writes v
 * at offset off; a get reads the field at off into *v. A field that does
 * not lie wholly inside the block is refused: the call returns false and
 * touches neither the block nor *v. WireWriter and WireReader are built on
 * these, so this is the one place where the platform and zorcored turn
 * numbers into bytes and back.
 */
inline bool PutU16(void *block, size_t len, size_t off, uint16_t v) {
  return wire_detail::Put(block, len, off, v);
}
inline bool PutU32(void *block, size_t len, size_t off, uint32_t v) {
  return wire_detail::Put(block, len, off, v);
}
inline bool PutU64(void *block, size_t len, size_t off, uint64_t v) {
  return wire_detail::Put(block, len, off, v);
}
inline bool GetU16(const void *block, size_t len, size_t off, uint16_t *v) {
  return wire_detail::Get(block, len, off, v);
}
inline bool GetU32(const void *block, size_t len, size_t off, uint32_t *v) {
  return wire_detail::Get(block, len, off, v);
}
inline bool GetU64(const void *block, size_t len, size_t off, uint64_t *v) {
  return wire_detail::Get(block, len, off, v);
}

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
  void U16(uint16_t v) { Field(v); }
  void U32(uint32_t v) { Field(v); }
  void U64(uint64_t v) { Field(v); }
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
  template <typename T>
  void Field(T v) {
    uint8_t b[sizeof(T)];
    wire_detail::Put(b, sizeof b, 0, v);
    Bytes(b, sizeof b);
  }

  ByteBuf *out_;
  size_t count_ = 0;
  bool ok_ = true;
};

/*
 * Reads little-endian values from a byte range. Every read checks the
 * remaining length: a short read consumes nothing and returns 0 (or an
 * empty view), and after it the reader is failed and all later reads fail
 * too, so callers may check Ok() once at the end of a group of reads.
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
  uint16_t U16() { return Field<uint16_t>(); }
  uint32_t U32() { return Field<uint32_t>(); }
  uint64_t U64() { return Field<uint64_t>(); }
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
  /* The next field, or 0 (nothing consumed) when fewer bytes than it needs remain. */
  template <typename T>
  T Field() {
    T v = 0;
    if (!ok_ || !wire_detail::Get(p_, Remaining(), 0, &v)) {
      ok_ = false;
      return 0;
    }
    p_ += sizeof(T);
    return v;
  }
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
