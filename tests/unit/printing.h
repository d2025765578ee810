// SPDX-License-Identifier: Apache-2.0
/*
 * printing.h --
 *
 *    What the unit tests share to run printers and parsers: captured
 *    standard output and error, a printer run on an exactly sized copy of
 *    a value, so that the sanitizer build catches any read past it, and
 *    the writers of values laid out by hand at literal offsets.
 */

#ifndef TESTS_UNIT_PRINTING_H
#define TESTS_UNIT_PRINTING_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "listing/listing.h"
#include "props/bytes.h"

namespace printing {

using Bytes = std::vector<uint8_t>;

/* Runs f with standard output captured; returns what it printed. */
inline std::string Stdout(const std::function<void()> &f) {
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

/* Runs f with standard error captured; returns what it printed. */
inline std::string Stderr(const std::function<void()> &f) {
  testing::internal::CaptureStderr();
  f();
  return testing::internal::GetCapturedStderr();
}

/*
 * Returns what printer prints for value (copied to a buffer of its exact
 * size) under key, for a switch of the newer layout when highVersion.
 */
inline std::string Print(PropPrinter printer, const Bytes &value, int32_t flags = PROP_CONFIG,
                         const char *key = "k", bool highVersion = false) {
  const Bytes exact(value);
  PrintContext pc;
  pc.highVersion = highVersion;
  return Stdout([&] {
    printer(pc, key, exact.empty() ? nullptr : exact.data(), static_cast<uint32_t>(exact.size()),
            flags);
  });
}

/* The bytes a ByteWriter has built. */
inline Bytes Of(const ByteWriter &w) {
  return Bytes(w.Data(), w.Data() + w.Length());
}

/* Writes value as width little-endian bytes at b[at]; out of range throws. */
inline void Put(Bytes &b, size_t at, uint64_t value, size_t width) {
  for (size_t i = 0; i < width; i++) b.at(at + i) = static_cast<uint8_t>(value >> (8 * i));
}

/* Writes text's characters, without a NUL, at b[at]; out of range throws. */
inline void PutText(Bytes &b, size_t at, const std::string &text) {
  for (size_t i = 0; i < text.size(); i++) b.at(at + i) = static_cast<uint8_t>(text[i]);
}

}  // namespace printing

#endif  // TESTS_UNIT_PRINTING_H
