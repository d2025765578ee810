// SPDX-License-Identifier: Apache-2.0
/*
 * print.h --
 *
 *    What every property printer shares: the print context it receives,
 *    the printer's form and its row in the printer table, the words of the
 *    flags word and the line that shows them, and the value-name tables
 *    that enum and flag-word printers (and the parsers beside them) read.
 *
 *    Printers are pure: all they read is the value, its length, its flags
 *    and the print context; they print to standard output.
 */

#ifndef APPS_NET_DVS_BASE_PRINT_H
#define APPS_NET_DVS_BASE_PRINT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <optional>
#include <string_view>

/*
 * How the switch that a printed property belongs to lays out its values.
 * A switch whose version number is above 99 takes the wide mirror entity
 * records, and its vswitch and qel keys are shown as hex dumps.
 */
struct PrintContext {
  bool highVersion = false;
};

/* Prints one property: the print context, key, value bytes, value length and flags word. */
typedef void (*PropPrinter)(const PrintContext &pc, const char *key, const void *value,
                            uint32_t length, int32_t flags);

class JsonOut;

/*
 * Writes the decoded value of one property to out as one JSON value (an
 * object, or null where the value is not decoded): the print context,
 * the value bytes and the value length. Reads what the text printer of
 * the same row reads, through the same decode.
 */
typedef void (*PropJsonWriter)(const PrintContext &pc, const void *value, uint32_t length,
                               JsonOut &out);

/*
 * One row of the printer table: a key, the printer that shows its values
 * in the text listing and the writer of the same values in the JSON
 * document (null: the value is written as null).
 */
struct PropPrinterRow {
  const char *key; /* null in the last (default) row */
  PropPrinter printer;
  PropJsonWriter json = nullptr;
};

#define PROP_FLAGS_TEXT_LEN 64

/*
 * Writes the words of the named flag bits into text, a buffer of
 * PROP_FLAGS_TEXT_LEN bytes, emptying it first. Unnamed bits are not
 * shown; a text that would not fit is cut at 63 characters. A null text
 * is left alone.
 */
void Prop_FlagsToString(int32_t flags, char *text);

/*
 * Prints lead, then "propType = ", the words of flags and a newline: the
 * line that ends most printers' output. lead is what stands before it on
 * the line ("\t\t\t" where the line is a line of its own), at most 32
 * characters.
 */
void Prop_PrintFlagsLine(int32_t flags, const char *lead = "\t\t\t");

/* Prints text as it is (it need not end in a NUL). */
inline void Prop_PutText(std::string_view text) {
  if (!text.empty()) fwrite(text.data(), 1, text.size(), stdout);
}

/*
 * One row of a value-name table: a stored value (an enum value, or a flag
 * bit) and the word that shows it. Parsers and printers of a family read
 * the same table.
 */
struct ValueName {
  uint32_t value;
  const char *name;
};

/* The name of value in table, or fallback when no row has it. */
template <size_t N>
const char *NameOf(const ValueName (&table)[N], uint32_t value, const char *fallback) {
  for (const ValueName &row : table) {
    if (row.value == value) return row.name;
  }
  return fallback;
}

/* The value of the row whose name is exactly name, or nothing. */
template <size_t N>
std::optional<uint32_t> ValueOf(const ValueName (&table)[N], std::string_view name) {
  for (const ValueName &row : table) {
    if (name == row.name) return row.value;
  }
  return std::nullopt;
}

/* Prints, in table order, the names of the bits of bits that table names; others are not shown. */
template <size_t N>
void PrintBitNames(const ValueName (&table)[N], uint32_t bits) {
  for (const ValueName &row : table) {
    if ((bits & row.value) != 0) fputs(row.name, stdout);
  }
}

#endif  // APPS_NET_DVS_BASE_PRINT_H
