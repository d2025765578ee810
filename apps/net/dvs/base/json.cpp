// SPDX-License-Identifier: Apache-2.0
/*
 * json.cpp --
 *
 *    The shapes that every family's JSON writer shares.
 */

#include "base/json.h"

std::string_view Json_Name(std::string_view printed) {
  while (!printed.empty() && (printed.front() == ' ' || printed.front() == ';')) {
    printed.remove_prefix(1);
  }
  while (!printed.empty() && (printed.back() == ' ' || printed.back() == ';')) {
    printed.remove_suffix(1);
  }
  return printed;
}

void Json_Enum(JsonOut &out, std::string_view key, const char *name, uint64_t number) {
  out.Key(key);
  out.BeginObject();
  out.Key("name");
  if (name != nullptr) {
    out.String(Json_Name(name));
  } else {
    out.Null();
  }
  Json_Uint(out, "number", number);
  out.EndObject();
}
