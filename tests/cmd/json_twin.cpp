// SPDX-License-Identifier: Apache-2.0
/*
 * json_twin.cpp --
 *
 *    The JSON twin of every listing in the transcripts (json_twin.h).
 */

#include "json_twin.h"

#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

namespace transcript {
namespace {

using nlohmann::json;

/* The repository's root: two levels above this file. */
std::string SourceRoot() {
  std::string file = __FILE__;
  return file.substr(0, file.rfind("/tests/cmd/"));
}

/* Where the documents of one test are kept. */
std::string TwinDir(const std::string &dir) {
  return dir + "/.json-twins";
}

std::vector<uint8_t> BytesOf(const std::string &hex) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

/*
 * The line that the text listing's hex dump shows for key with bytes:
 * "0x%2x" for the first byte, ".%2x" for each further one up to the last
 * nonzero byte, then the trailing zeros folded.
 */
std::string DumpLine(const std::string &key, const std::vector<uint8_t> &bytes) {
  if (bytes.empty()) return "\t\t" + key + " = <empty>\n";
  size_t last = bytes.size() - 1;
  while (last > 0 && bytes[last] == 0) last--;
  char cell[8];
  snprintf(cell, sizeof cell, "0x%2x", bytes[0]);
  std::string line = "\t\t" + key + " = " + cell;
  for (size_t i = 1; i <= last; i++) {
    snprintf(cell, sizeof cell, ".%2x", bytes[i]);
    line += cell;
  }
  const size_t zeros = bytes.size() - 1 - last;
  if (zeros == 1) line += ". 0";
  if (zeros >= 2) line += ". 0 <repeats " + std::to_string(zeros) + " times>";
  return line + "\n";
}

/*
 * Follows the text listing through the document: each switch and port
 * line in order, and for each property whose value the document leaves
 * undecoded (or decodes as a text) the line that shows its bytes, between
 * its port's line and the next.
 */
class TextCursor {
 public:
  explicit TextCursor(const std::string &text) : text_(text) {}

  /* Moves past the next line that begins with head; false when there is none. */
  bool NextLine(const std::string &head) {
    const size_t at = FindLine(head, pos_);
    if (at == std::string::npos) return false;
    const size_t end = text_.find('\n', at);
    pos_ = end == std::string::npos ? text_.size() : end + 1;
    return true;
  }

  /* Checks the bytes of property p where the text shows them as a dump or a text. */
  void Property(const json &p, size_t end) {
    const std::string key = p.at("key");
    const std::vector<uint8_t> bytes = BytesOf(p.at("hex"));
    EXPECT_EQ(bytes.size(), p.at("length").get<size_t>()) << key;
    std::string shown;
    if (p.at("value").is_null()) {
      shown = DumpLine(key, bytes);
    } else if (p.at("value").contains("text") && p.at("value").size() == 1) {
      shown = "\t\t" + key + " = " + p.at("value").at("text").get<std::string>() + " , \t";
    } else {
      return;
    }
    const size_t at = text_.find(shown, pos_);
    EXPECT_TRUE(at != std::string::npos && at < end)
        << "the text does not show " << key << " as " << shown;
    if (at != std::string::npos && at < end) pos_ = at + shown.size();
  }

  /*
   * Checks the properties of list, which lie before the next line that
   * begins with one of the heads that may follow them.
   */
  void Properties(const json &list, std::initializer_list<const char *> heads) {
    size_t end = text_.size();
    for (const char *head : heads) end = std::min(end, FindLine(head, pos_));
    for (const json &p : list) Property(p, end);
  }

  size_t Size() const { return text_.size(); }

 private:
  /* Where the first line at or after from that begins with head starts, or npos. */
  size_t FindLine(const std::string &head, size_t from) const {
    for (size_t at = text_.find(head, from); at != std::string::npos;
         at = text_.find(head, at + 1)) {
      if (at == 0 || text_[at - 1] == '\n') return at;
    }
    return std::string::npos;
  }

  const std::string &text_;
  size_t pos_ = 0;
};

void CheckListing(const json &doc, const std::string &text) {
  TextCursor cursor(text);
  for (const json &sw : doc.at("switches")) {
    const std::string head =
        "switch " + sw.at("id").get<std::string>() + " (" + sw.at("class").get<std::string>() + ")";
    ASSERT_TRUE(cursor.NextLine(head)) << "no line " << head;
    ASSERT_TRUE(cursor.NextLine("\tmax ports: " + std::to_string(sw.at("maxPorts").get<int>())));
    ASSERT_TRUE(cursor.NextLine("\tglobal properties:"));
    cursor.Properties(sw.at("globalProperties"), {"\thost properties:"});
    ASSERT_TRUE(cursor.NextLine("\thost properties:"));
    cursor.Properties(sw.at("hostProperties"), {"\tport ", "switch "});
    for (const json &port : sw.at("ports")) {
      const std::string line = "\tport " + port.at("name").get<std::string>();
      ASSERT_TRUE(cursor.NextLine(line)) << "no line " << line;
      cursor.Properties(port.at("properties"), {"\tport ", "switch "});
    }
  }
  EXPECT_FALSE(cursor.NextLine("switch ")) << "the text lists more switches";
}

}  // namespace

bool PrintsListing(const std::vector<std::string> &words) {
  bool lists = false;
  for (const std::string &word : words) {
    if (word == "--json" || word.rfind("--batch", 0) == 0) return false;
    lists = lists || word == "-l" || word == "-r";
  }
  return lists;
}

void CheckJsonTwin(const std::vector<std::string> &words, const RunOptions &options,
                   const RunResult &text, const std::string &dir) {
  SCOPED_TRACE("the same with --json");
  std::vector<std::string> args = words;
  args.push_back("--json");
  RunOptions twinOptions = options;
  if (twinOptions.cwd.empty()) twinOptions.cwd = dir;
  const RunResult r = Run(args, twinOptions);
  /* A later option chose another command than -l or -r: no listing to compare. */
  if (r.exitStatus == 1 && r.err == "--json goes only with -l and -r\n") return;
  EXPECT_EQ(r.exitStatus, text.exitStatus);
  /* The usage text (and what stands before it) is the same with --json. */
  if (text.out.find("Warning: This is an unsupported command.") != std::string::npos) {
    EXPECT_EQ(r.out, text.out);
    return;
  }
  EXPECT_EQ(r.err, text.err);
  const json doc = json::parse(r.out, nullptr, false);
  ASSERT_FALSE(doc.is_discarded()) << "not JSON: " << r.out.substr(0, 400);
  if (doc.contains("switches")) {
    CheckListing(doc, text.out);
  } else {
    TextCursor cursor(text.out);
    cursor.Property(doc, cursor.Size());
  }

  std::filesystem::create_directories(TwinDir(dir));
  static int serial = 0;
  std::ofstream(TwinDir(dir) + "/" + std::to_string(++serial) + ".json") << r.out;
}

void ValidateJsonTwins(const std::string &dir) {
  const std::string twins = TwinDir(dir);
  if (!std::filesystem::exists(twins)) return;
  RunOptions python;
  python.program = "/usr/bin/python3";
  python.argv0 = "python3";
  /* Debian's python3 and python3-jsonschema (scripts/deps.sh), whatever python3 the PATH gives. */
  const RunResult r =
      Run({"-c",
           "import json, sys, glob, jsonschema\n"
           "schema = json.load(open(sys.argv[1]))\n"
           "v = jsonschema.Draft202012Validator(schema)\n"
           "bad = 0\n"
           "for f in sorted(glob.glob(sys.argv[2] + '/*.json')):\n"
           "    for e in v.iter_errors(json.load(open(f))):\n"
           "        bad += 1\n"
           "        print(f, '/'.join(map(str, e.absolute_path)), e.message[:300])\n"
           "sys.exit(1 if bad else 0)\n",
           SourceRoot() + "/docs/listing.schema.json", twins},
          python);
  EXPECT_EQ(r.exitStatus, 0) << "documents that break docs/listing.schema.json:\n"
                             << r.out << r.err;
}

}  // namespace transcript
