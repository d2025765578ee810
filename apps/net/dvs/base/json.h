// SPDX-License-Identifier: Apache-2.0
/*
 * json.h --
 *
 *    What a family's JSON writer writes to: a stream of JSON tokens
 *    (JsonOut), implemented by the listing over a JSON library, and the
 *    few helpers that give every family's decoded values the same shape:
 *    numbers, texts, booleans, an enumeration as {"name", "number"}, a
 *    word of flag bits as {"names", "number"}, and "truncated" for a value
 *    shorter than its layout.
 *
 *    Field names are the labels that the family's text printer prints, in
 *    camelCase ("average bandwidth" is "averageBandwidth"), so that the
 *    text listing and the document name a field alike.
 */

#ifndef APPS_NET_DVS_BASE_JSON_H
#define APPS_NET_DVS_BASE_JSON_H

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "base/print.h"

/*
 * A writer of JSON tokens. Calls must form one well-formed value: a Key
 * before each member of an object, Begin and End in pairs. Texts need not
 * be UTF-8; the implementation replaces what is not.
 */
class JsonOut {
 public:
  virtual void BeginObject() = 0;
  virtual void EndObject() = 0;
  virtual void BeginArray() = 0;
  virtual void EndArray() = 0;
  virtual void Key(std::string_view name) = 0;
  virtual void String(std::string_view text) = 0;
  virtual void Uint(uint64_t number) = 0;
  virtual void Int(int64_t number) = 0;
  virtual void Bool(bool value) = 0;
  virtual void Null() = 0;
  /* A text of the bytes as lowercase hex digits, two to a byte. */
  virtual void Hex(const void *bytes, size_t length) = 0;

 protected:
  ~JsonOut() = default;
};

/* A member of the open object: key and a text, an unsigned, a signed number or a boolean. */
inline void Json_Text(JsonOut &out, std::string_view key, std::string_view text) {
  out.Key(key);
  out.String(text);
}
inline void Json_Uint(JsonOut &out, std::string_view key, uint64_t number) {
  out.Key(key);
  out.Uint(number);
}
inline void Json_Int(JsonOut &out, std::string_view key, int64_t number) {
  out.Key(key);
  out.Int(number);
}
inline void Json_Bool(JsonOut &out, std::string_view key, bool value) {
  out.Key(key);
  out.Bool(value);
}

/* "truncated": true when the value ended before its layout did; nothing otherwise. */
inline void Json_Truncated(JsonOut &out, bool truncated) {
  if (truncated) Json_Bool(out, "truncated", true);
}

/*
 * A printed name as the document shows it: without the blanks and the
 * ';' that the text listing sets around it (" link state up;" is "link
 * state up").
 */
std::string_view Json_Name(std::string_view printed);

/*
 * An enumeration: key: {"name": the printed name (null when the printer
 * shows the number alone), "number": number}.
 */
void Json_Enum(JsonOut &out, std::string_view key, const char *name, uint64_t number);

/* An enumeration whose name is read from table, with fallback for a value that has no row. */
template <size_t N>
void Json_EnumOf(JsonOut &out, std::string_view key, const ValueName (&table)[N], uint32_t value,
                 const char *fallback) {
  Json_Enum(out, key, NameOf(table, value, fallback), value);
}

/*
 * A word of flag bits: key: {"names": [the names of the bits that table
 * names, in table order], "number": bits}. Bits without a name show only
 * in the number.
 */
template <size_t N>
void Json_Bits(JsonOut &out, std::string_view key, const ValueName (&table)[N], uint64_t bits) {
  out.Key(key);
  out.BeginObject();
  out.Key("names");
  out.BeginArray();
  for (const ValueName &row : table) {
    if ((bits & row.value) != 0) out.String(Json_Name(row.name));
  }
  out.EndArray();
  Json_Uint(out, "number", bits);
  out.EndObject();
}

#endif  // APPS_NET_DVS_BASE_JSON_H
