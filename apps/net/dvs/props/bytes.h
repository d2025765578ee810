// SPDX-License-Identifier: Apache-2.0
/*
 * bytes.h --
 *
 *    The one way property values are built and read: packed little-endian
 *    fields at fixed offsets of a byte block, every access checked against
 *    the block's length.
 *
 *    A family documents its value layout once, as offset constants beside
 *    the layout's size, and builds and reads the value only through these
 *    two types:
 *
 *    - ByteWriter owns a zeroed block of a given length. A put names the
 *      field's offset; a field that would end past the block is refused,
 *      the block stays as it was and the writer remembers the failure
 *      (Ok() turns false), so a builder may check once at the end.
 *
 *    - ByteReader views a value that someone else owns. A get returns an
 *      empty optional when the field does not lie wholly inside the value
 *      (a "short value"), so a printer prints the fields that fit and
 *      stops where the value ends; it never reads past it.
 */

#ifndef APPS_NET_DVS_PROPS_BYTES_H
#define APPS_NET_DVS_PROPS_BYTES_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <optional>
#include <string_view>
#include <vector>

class ByteWriter {
 public:
  /* A zeroed block of length bytes. */
  explicit ByteWriter(size_t length) : bytes_(length, 0) {}

  bool PutU8(size_t offset, uint8_t value) { return PutLe(offset, value, 1); }
  bool PutU16(size_t offset, uint16_t value) { return PutLe(offset, value, 2); }
  bool PutU32(size_t offset, uint32_t value) { return PutLe(offset, value, 4); }
  bool PutU64(size_t offset, uint64_t value) { return PutLe(offset, value, 8); }
  bool PutI32(size_t offset, int32_t value) {
    return PutLe(offset, static_cast<uint32_t>(value), 4);
  }

  /* Copies length bytes of data to offset. */
  bool PutBytes(size_t offset, const void *data, size_t length) {
    if (!Fits(offset, length)) return false;
    if (length > 0) memcpy(bytes_.data() + offset, data, length);
    return true;
  }

  /*
   * Writes text into the fixed field of width bytes at offset: at most
   * width - 1 characters, then zeros to the end of the field, so the field
   * always holds a NUL. A longer text is cut; parsers that must refuse it
   * check TextFits first. Returns false only when the field does not lie
   * inside the block.
   */
  bool PutText(size_t offset, size_t width, const char *text) {
    if (width == 0 || !Fits(offset, width)) return false;
    const size_t n = strnlen(text, width - 1);
    memcpy(bytes_.data() + offset, text, n);
    memset(bytes_.data() + offset + n, 0, width - n);
    return true;
  }

  /* Whether text and its NUL fit a field of width bytes. */
  static bool TextFits(const char *text, size_t width) { return strnlen(text, width) < width; }

  /* Makes the block length bytes long; new bytes are zero. */
  void Resize(size_t length) { bytes_.resize(length, 0); }

  /* False once any put has been refused. */
  bool Ok() const { return ok_; }
  const uint8_t *Data() const { return bytes_.data(); }
  uint32_t Length() const { return static_cast<uint32_t>(bytes_.size()); }
  /* Hands the block over; the writer is empty afterwards. */
  std::vector<uint8_t> Take() { return std::move(bytes_); }

 private:
  bool Fits(size_t offset, size_t width) {
    if (offset <= bytes_.size() && width <= bytes_.size() - offset) return true;
    ok_ = false;
    return false;
  }

  bool PutLe(size_t offset, uint64_t value, size_t width) {
    if (!Fits(offset, width)) return false;
    for (size_t i = 0; i < width; i++) bytes_[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    return true;
  }

  std::vector<uint8_t> bytes_;
  bool ok_ = true;
};

class ByteReader {
 public:
  /* A view of length bytes at data; a null data is an empty value. */
  ByteReader(const void *data, uint32_t length)
      : bytes_(static_cast<const uint8_t *>(data)), length_(data != nullptr ? length : 0) {}

  uint32_t Length() const { return length_; }

  /* Whether the field of width bytes at offset lies wholly inside the value. */
  bool Has(size_t offset, size_t width) const {
    return offset <= length_ && width <= length_ - offset;
  }

  std::optional<uint8_t> U8(size_t offset) const { return Get<uint8_t>(offset, 1); }
  std::optional<uint16_t> U16(size_t offset) const { return Get<uint16_t>(offset, 2); }
  std::optional<uint32_t> U32(size_t offset) const { return Get<uint32_t>(offset, 4); }
  std::optional<uint64_t> U64(size_t offset) const { return Get<uint64_t>(offset, 8); }
  std::optional<int32_t> I32(size_t offset) const {
    std::optional<uint32_t> v = U32(offset);
    if (!v) return std::nullopt;
    return static_cast<int32_t>(*v);
  }

  /* The width bytes at offset, or null when they do not all lie inside the value. */
  const uint8_t *Bytes(size_t offset, size_t width) const {
    return Has(offset, width) ? bytes_ + offset : nullptr;
  }

  /*
   * The text of the fixed field of width bytes at offset: the bytes up to
   * the first NUL of the field, or up to the field's end, or up to the
   * value's end where the value stops inside the field. Empty optional
   * when the field starts at or past the value's end.
   */
  std::optional<std::string_view> Text(size_t offset, size_t width) const {
    if (offset >= length_) return std::nullopt;
    const size_t room = length_ - offset < width ? length_ - offset : width;
    const char *text = reinterpret_cast<const char *>(bytes_ + offset);
    return std::string_view(text, strnlen(text, room));
  }

 private:
  template <typename T>
  std::optional<T> Get(size_t offset, size_t width) const {
    if (!Has(offset, width)) return std::nullopt;
    uint64_t value = 0;
    for (size_t i = 0; i < width; i++)
      value |= static_cast<uint64_t>(bytes_[offset + i]) << (8 * i);
    return static_cast<T>(value);
  }

  const uint8_t *bytes_;
  uint32_t length_;
};

#endif  // APPS_NET_DVS_PROPS_BYTES_H
