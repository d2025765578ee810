// SPDX-License-Identifier: Apache-2.0
/*
 * print_fuzz.cpp --
 *
 *    Every printer of the property printer table fed value bytes that no
 *    parser built, as a listing meets them in a stored or kernel state:
 *    through Prop_Print with each key of the table, a key that has no row,
 *    and a key under the prefix that newer switches dump as hex, with
 *    a switch of the older and of the newer layout.
 *
 *    The same value goes through the JSON writer of the same row too
 *    (Prop_WriteJson, as -l --json writes it), whose document must parse.
 *
 *    Input: byte 0 chooses the key, byte 1 bit 0 the newer layout,
 *    bytes 2-5 are the flags word; the rest is the value.
 */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <nlohmann/json.hpp>
#include <string_view>

#include "common.h"
#include "listing/json_out.h"
#include "listing/listing.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  fuzz::Setup();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input in{data, size};
  /* The table's keyed rows, then two keys that no row names. */
  const std::span<const PropPrinterRow> table = Prop_PrinterTable();
  const size_t keyed = table.size() - 1;
  const size_t pick = in.Byte() % (keyed + 2);
  const char *key = pick < keyed    ? table[pick].key
                    : pick == keyed ? "com.corvane.fuzz.unknown"
                                    : "com.corvane.vswitch.fuzz.unknown";
  PrintContext pc;
  pc.highVersion = (in.Byte() & 1) != 0;
  uint32_t flags = 0;
  for (int i = 0; i < 4; i++) flags |= static_cast<uint32_t>(in.Byte()) << (8 * i);

  /* An exact-size copy, so that reading one byte past the value is caught. */
  void *value = malloc(in.n ? in.n : 1);
  if (in.n) memcpy(value, in.p, in.n);
  Prop_Print(pc, key, value, static_cast<uint32_t>(in.n), static_cast<int32_t>(flags));
  fflush(stdout);

  char *document = nullptr;
  size_t documentSize = 0;
  FILE *stream = open_memstream(&document, &documentSize);
  if (stream == nullptr) abort();
  Json_WriteDocument(stream, [&](JsonOut &out) {
    Prop_WriteJson(pc, key, value, static_cast<uint32_t>(in.n), static_cast<int32_t>(flags), out);
  });
  fclose(stream);
  if (!nlohmann::json::accept(std::string_view(document, documentSize))) {
    fprintf(stderr, "the JSON document does not parse: %.*s\n", static_cast<int>(documentSize),
            document);
    abort();
  }
  free(document);
  free(value);
  return 0;
}
