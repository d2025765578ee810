/*
 * printing.h --
 *
 *    What the unit tests share to run printers and parsers: captured
 *    standard output and error, and a printer run on an exactly sized copy
 *    of a value, so that the sanitizer build catches any read past it.
 */

#ifndef TESTS_UNIT_PRINTING_H
#define TESTS_UNIT_PRINTING_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "listing/listing.h"

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

/* Returns what printer prints for value (copied to a buffer of its exact size) under key. */
inline std::string Print(PropPrinter printer, const Bytes &value, int32_t flags = PROP_CONFIG,
                         const char *key = "k") {
  const Bytes exact(value);
  return Stdout([&] {
    printer(key, exact.empty() ? nullptr : exact.data(), static_cast<uint32_t>(exact.size()),
            flags);
  });
}

}  // namespace printing

#endif  // TESTS_UNIT_PRINTING_H
