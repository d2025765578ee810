// SPDX-License-Identifier: Apache-2.0
/*
 * json_out.cpp --
 *
 *    JsonOut over the SAX writer of RapidJSON. Tokens are formatted into
 *    the library's string buffer, which is written to the FILE and emptied
 *    whenever an object or array ends with 64 KiB or more in it: memory
 *    stays at that and the largest object (a port with its properties).
 *    The string buffer stores each character without a check of its own,
 *    and texts that need no escape are copied into it at once; the FILE
 *    stream of the library checks every character, and made the document
 *    take twice the text's time.
 */

#include "listing/json_out.h"

/*
 * RAPIDJSON_SSE2 stays undefined: the 16-byte scan of RapidJSON 1.1.0
 * lets the control characters 0x1a to 0x1f through unescaped (found by
 * print_fuzz). Texts that need no escape are copied at once anyway.
 */
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string.h>

#include <memory>
#include <string>
#include <string_view>

namespace {

/* The length of the valid UTF-8 sequence at the start of s, or 0 when it does not begin one. */
size_t Utf8SequenceLength(std::string_view s) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(s[i]); };
  const uint8_t b0 = byte(0);
  size_t n;
  uint8_t low = 0x80;
  uint8_t high = 0xbf;
  if (b0 < 0x80) return 1;
  if (b0 >= 0xc2 && b0 <= 0xdf) {
    n = 2;
  } else if (b0 >= 0xe0 && b0 <= 0xef) {
    n = 3;
    if (b0 == 0xe0) low = 0xa0;  /* no overlong forms */
    if (b0 == 0xed) high = 0x9f; /* no surrogates */
  } else if (b0 >= 0xf0 && b0 <= 0xf4) {
    n = 4;
    if (b0 == 0xf0) low = 0x90;
    if (b0 == 0xf4) high = 0x8f; /* nothing past U+10FFFF */
  } else {
    return 0;
  }
  if (s.size() < n) return 0;
  if (byte(1) < low || byte(1) > high) return 0;
  for (size_t i = 2; i < n; i++) {
    if (byte(i) < 0x80 || byte(i) > 0xbf) return 0;
  }
  return n;
}

/* Whether text is all 7-bit, the common case, which needs no further look. */
bool IsAscii(std::string_view text) {
  for (const char c : text) {
    if (static_cast<uint8_t>(c) >= 0x80) return false;
  }
  return true;
}

/* Whether text is printable 7-bit with no quote or backslash: the JSON string is the text. */
bool NeedsNoEscape(std::string_view text) {
  bool plain = true;
  for (const char c : text) {
    const uint8_t b = static_cast<uint8_t>(c);
    plain &= b >= 0x20 && b < 0x80 && b != '"' && b != '\\';
  }
  return plain;
}

/* text with U+FFFD in place of each byte that does not belong to a valid UTF-8 sequence. */
std::string ValidUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 8);
  while (!text.empty()) {
    const size_t n = Utf8SequenceLength(text);
    if (n == 0) {
      out += "\xef\xbf\xbd";
      text.remove_prefix(1);
    } else {
      out.append(text.data(), n);
      text.remove_prefix(n);
    }
  }
  return out;
}

class RapidJsonOut final : public JsonOut {
 public:
  explicit RapidJsonOut(FILE *stream) : stream_(stream), writer_(buffer_) {}

  void BeginObject() override { writer_.StartObject(); }
  void EndObject() override {
    writer_.EndObject();
    WriteOutWhenFull();
  }
  void BeginArray() override { writer_.StartArray(); }
  void EndArray() override {
    writer_.EndArray();
    WriteOutWhenFull();
  }
  void Key(std::string_view name) override {
    if (NeedsNoEscape(name)) {
      Quoted(name);
    } else if (IsAscii(name)) {
      writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    } else {
      const std::string valid = ValidUtf8(name);
      writer_.Key(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    }
  }
  void String(std::string_view text) override {
    if (NeedsNoEscape(text)) {
      Quoted(text);
    } else if (IsAscii(text)) {
      writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    } else {
      const std::string valid = ValidUtf8(text);
      writer_.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    }
  }
  void Uint(uint64_t number) override { writer_.Uint64(number); }
  void Int(int64_t number) override { writer_.Int64(number); }
  void Bool(bool value) override { writer_.Bool(value); }
  void Null() override { writer_.Null(); }
  /* Hex digits need no escape: they are written straight into the writer's buffer. */
  void Hex(const void *bytes, size_t length) override {
    static const char hexDigits[] = "0123456789abcdef";
    const uint8_t *b = static_cast<const uint8_t *>(bytes);
    char *at = Quoted(2 * length);
    for (size_t i = 0; i < length; i++) {
      at[2 * i] = hexDigits[b[i] >> 4];
      at[2 * i + 1] = hexDigits[b[i] & 0x0f];
    }
  }

  /* Ends the document with a newline and writes out what the buffer holds. */
  void Finish() {
    buffer_.Put('\n');
    WriteOut();
  }

 private:
  static constexpr size_t WRITE_OUT_AT = 64 * 1024;

  /*
   * A text that needs no escape. The writer places the separator before
   * it, counts it as a string and writes its opening quote; its
   * characters and the closing quote then go into the writer's buffer in
   * one copy, where the writer would store them one by one.
   */
  char *Quoted(size_t length) {
    writer_.RawValue("\"", 1, rapidjson::kStringType);
    char *at = buffer_.Push(length + 1);
    at[length] = '"';
    return at;
  }
  void Quoted(std::string_view text) {
    char *at = Quoted(text.size());
    if (!text.empty()) memcpy(at, text.data(), text.size());
  }

  void WriteOut() {
    if (buffer_.GetSize() > 0) fwrite(buffer_.GetString(), 1, buffer_.GetSize(), stream_);
    buffer_.Clear();
  }
  void WriteOutWhenFull() {
    if (buffer_.GetSize() >= WRITE_OUT_AT) WriteOut();
  }

  FILE *stream_;
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_;
};

}  // namespace

void Json_WriteDocument(FILE *stream, const std::function<void(JsonOut &)> &write) {
  auto out = std::make_unique<RapidJsonOut>(stream);
  write(*out);
  out->Finish();
  fflush(stream);
}
