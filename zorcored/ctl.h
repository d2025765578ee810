// SPDX-License-Identifier: Apache-2.0
/*
 * ctl.h --
 *
 *    "zorcored ctl": the control interface through which people and tests
 *    change what a real host's switch module would change by itself
 *    (runtime and volatile properties, port states, uplink statistics),
 *    post events, and make kernel operations fail on purpose.
 */

#ifndef ZORCORED_CTL_H
#define ZORCORED_CTL_H

#include <stdint.h>

#include <string>
#include <string_view>

#include "core/wire.h"

namespace zorcored {

/*
 * Runs "ctl [--socket PATH] COMMAND ARGS..." (argv[0] is "ctl"). Returns
 * the process's exit status: 0 on success, 1 when the daemon refuses or
 * cannot be reached, 2 for a usage error.
 */
int CtlMain(int argc, char **argv);

/*
 * Builds a value from its control-interface text: comma-separated items
 * "u8:N", "u16:N", "u32:N", "i32:N", "u64:N" (little-endian), "hex:HEXDIGITS",
 * "zero:N" (N zero bytes) and "str:TEXT" (the rest of the text, commas
 * included, and a NUL). An empty text is an empty value. Returns false and
 * sets *error when the text is malformed.
 */
bool CtlParseValue(std::string_view text, zor::ByteBuf *out, std::string *error);

/* Reads a flags word: a number (any base prefix) or names such as "RUNTIME|VOLATILE". */
bool CtlParseFlags(std::string_view text, int32_t *flags);

/* Reads a port state: a number or INVALID, NORMAL, SHADOW, ZOMBIE, LOCAL_CACHE ("LOCAL CACHE"). */
bool CtlParseState(std::string_view text, uint32_t *state);

}  // namespace zorcored

#endif  // ZORCORED_CTL_H
