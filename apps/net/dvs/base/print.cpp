// SPDX-License-Identifier: Apache-2.0
/*
 * print.cpp --
 *
 *    The words of the property flags word and the line that shows them.
 */

#include "base/print.h"

#include <string.h>

#include "dvslib.h"

namespace {

/* Flag bits with a name, in the order in which their words are appended. */
const ValueName propFlagWords[] = {
    {PROP_CONFIG, "CONFIG "},                                // 0x10
    {PROP_RUNTIME, "RUNTIME "},                              // 0x20
    {PROP_VOLATILE, "VOLATILE "},                            // 0x04
    {PROP_POLICY, "POLICY "},                                // 0x08
    {PROP_NO_REPLICATE, "NO_REPLICATE "},                    // 0x40
    {PROP_NO_SET_LOCAL_CALLBACK, "NO_SET_LOCAL_CALLBACK "},  // 0x80
    {static_cast<uint32_t>(PROP_NO_SYNC), "NO_SYNC"},        // 0x80000000, the sign bit
};

}  // namespace

void Prop_FlagsToString(int32_t flags, char *text) {
  if (text == nullptr) return;
  text[0] = '\0';
  const uint32_t bits = static_cast<uint32_t>(flags);
  for (const ValueName &flag : propFlagWords) {
    if ((bits & flag.value) != 0) Str_Strcat(text, flag.name, PROP_FLAGS_TEXT_LEN);
  }
}

void Prop_PrintFlagsLine(int32_t flags, const char *lead) {
  char text[PROP_FLAGS_TEXT_LEN];
  Prop_FlagsToString(flags, text);
  /* One write of the assembled line: a listing prints one for nearly every property. */
  static const char word[] = "propType = ";
  char line[32 + sizeof word + PROP_FLAGS_TEXT_LEN];
  const size_t leadLen = strnlen(lead, 32);
  const size_t textLen = strlen(text);
  memcpy(line, lead, leadLen);
  memcpy(line + leadLen, word, sizeof word - 1);
  memcpy(line + leadLen + sizeof word - 1, text, textLen);
  line[leadLen + sizeof word - 1 + textLen] = '\n';
  fwrite(line, 1, leadLen + sizeof word + textLen, stdout);
}
