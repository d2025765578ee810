// SPDX-License-Identifier: Apache-2.0
/*
 * json_out.h --
 *
 *    The JSON writer of the listing's documents: a JsonOut (base/json.h)
 *    over a JSON library, streaming to a FILE as it goes, so that a
 *    document of any size takes no more memory than one buffer.
 */

#ifndef APPS_NET_DVS_LISTING_JSON_OUT_H
#define APPS_NET_DVS_LISTING_JSON_OUT_H

#include <stdio.h>

#include <functional>

#include "base/json.h"

/*
 * Runs write with a JsonOut that writes to stream, then ends the document
 * with a newline and flushes stream. write must write exactly one JSON
 * value. Texts that are not UTF-8 are written with U+FFFD in place of
 * each byte that does not belong to a valid sequence.
 */
void Json_WriteDocument(FILE *stream, const std::function<void(JsonOut &)> &write);

#endif  // APPS_NET_DVS_LISTING_JSON_OUT_H
