// SPDX-License-Identifier: Apache-2.0
/*
 * json_twin.h --
 *
 *    Every listing that a transcript prints is also printed as a JSON
 *    document and held against the text: TranscriptTest::Check runs each
 *    successful -l or -r row again with --json, which must end alike,
 *    print the same standard error and a document that parses, that names
 *    the same switches and ports in the same order, and whose hex-dumped
 *    and text-shown properties carry exactly the bytes that the text
 *    shows. The documents are kept in the test's directory and checked
 *    against docs/listing.schema.json once, when the test ends.
 */

#ifndef TESTS_CMD_JSON_TWIN_H
#define TESTS_CMD_JSON_TWIN_H

#include <string>

#include "transcript.h"

namespace transcript {

/* Whether the command line's words run -l or -r, outside a batch, without --json already. */
bool PrintsListing(const std::vector<std::string> &words);

/*
 * Runs words again with --json (with options) and checks the document
 * against text, the transcript's run of the same words. The document is
 * kept as a file in dir for ValidateJsonTwins.
 */
void CheckJsonTwin(const std::vector<std::string> &words, const RunOptions &options,
                   const RunResult &text, const std::string &dir);

/* Checks every document that CheckJsonTwin kept in dir against the schema, in one run. */
void ValidateJsonTwins(const std::string &dir);

}  // namespace transcript

#endif  // TESTS_CMD_JSON_TWIN_H
