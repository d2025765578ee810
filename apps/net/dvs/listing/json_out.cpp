/*
 * json_out.cpp --
 *
 *    JsonOut over the SAX writer of RapidJSON and its FILE stream: tokens
 *    are formatted into a fixed buffer and written out whenever it fills.
 */

#include "listing/json_out.h"

#include <rapidjson/filewritestream.h>
#include <rapidjson/writer.h>

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
  explicit RapidJsonOut(FILE *stream)
      : stream_(stream, buffer_, sizeof buffer_), writer_(stream_) {}

  void BeginObject() override { writer_.StartObject(); }
  void EndObject() override { writer_.EndObject(); }
  void BeginArray() override { writer_.StartArray(); }
  void EndArray() override { writer_.EndArray(); }
  void Key(std::string_view name) override {
    if (IsAscii(name)) {
      writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    } else {
      const std::string valid = ValidUtf8(name);
      writer_.Key(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    }
  }
  void String(std::string_view text) override {
    if (IsAscii(text)) {
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

  /* Ends the document with a newline and writes out what the buffer holds. */
  void Finish() {
    stream_.Put('\n');
    stream_.Flush();
  }

 private:
  char buffer_[64 * 1024];
  rapidjson::FileWriteStream stream_;
  rapidjson::Writer<rapidjson::FileWriteStream> writer_;
};

}  // namespace

void Json_WriteDocument(FILE *stream, const std::function<void(JsonOut &)> &write) {
  /* The writer and its buffer live on the heap: 64 KiB is much for a stack frame. */
  auto out = std::make_unique<RapidJsonOut>(stream);
  write(*out);
  out->Finish();
  fflush(stream);
}
