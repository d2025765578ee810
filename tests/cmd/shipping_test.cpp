// SPDX-License-Identifier: Apache-2.0
/*
 * shipping_test.cpp --
 *
 *    What an installed brakk brings besides its programs must follow the
 *    programs' options: every option of brakk's option table is described in
 *    brakk(1) and completed by the bash completion, and the same holds for
 *    zorcored and zorcored(8). brakk's options are read from the source of
 *    its option table, zorcored's from its own usage text, so a new option
 *    that is not documented or completed fails here.
 */

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "transcript.h"

namespace transcript {
namespace {

/* The repository's root: two levels above this file. */
std::string SourceRoot() {
  std::string file = __FILE__;
  return file.substr(0, file.rfind("/tests/cmd/"));
}

struct Option {
  std::string name; /* "-a" or "--mtu" */
  bool takesArgument;
};

/*
 * brakk's options as its front end gives them to getopt_long: the letters of
 * shortOptions (a ':' after a letter means an argument) and the long names
 * of optionTable's rows, read from apps/net/dvs/cli.cpp.
 */
std::vector<Option> BrakkOptions() {
  const std::string source = ReadFile(SourceRoot() + "/apps/net/dvs/cli.cpp");
  std::vector<Option> options;
  std::smatch match;
  if (std::regex_search(source, match, std::regex(R"re(shortOptions\[\]\s*=\s*"([^"]*)")re"))) {
    const std::string letters = match[1];
    for (size_t i = 0; i < letters.size(); i++) {
      if (letters[i] == ':') continue;
      options.push_back(
          {std::string("-") + letters[i], i + 1 < letters.size() && letters[i + 1] == ':'});
    }
  }
  size_t begin = source.find("optionTable[] = {");
  size_t end = source.find("};", begin);
  if (begin == std::string::npos || end == std::string::npos) return options;
  const std::string table = source.substr(begin, end - begin);
  const std::regex row(R"re(\{0,\s*"(\w+)",\s*(\w+))re");
  for (auto it = std::sregex_iterator(table.begin(), table.end(), row);
       it != std::sregex_iterator(); ++it) {
    options.push_back({"--" + (*it)[1].str(), (*it)[2].str() == "required_argument"});
  }
  return options;
}

/* The words of text that begin with two dashes, as a set. */
std::set<std::string> LongOptionsIn(const std::string &text) {
  std::set<std::string> names;
  const std::regex word(R"(--[a-z][a-z-]*)");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), word); it != std::sregex_iterator();
       ++it) {
    names.insert(it->str());
  }
  return names;
}

/* The lines of text, as a set. */
std::set<std::string> Lines(const std::string &text) {
  std::set<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) lines.insert(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

/*
 * True when the manual page source names the option, with its dashes written
 * as roff writes them ("\-a", "\-\-state\-dir"), and not as a part of a
 * longer option ("\-s" in "\-\-states").
 */
bool ManualNames(const std::string &manual, const std::string &option) {
  std::string pattern = "(^|[^-])";
  for (char c : option) pattern += c == '-' ? std::string("\\\\-") : std::string(1, c);
  return std::regex_search(manual, std::regex(pattern + "([^A-Za-z0-9]|$)"));
}

class Shipping : public TranscriptTest {
 protected:
  /*
   * Sources the completion file, then for every line of commandLines (words
   * split as the shell would; the last word is the one completed, '' for an
   * empty one) prints the completion's replies, one line each, separated by
   * blanks. Runs in the test's directory.
   */
  std::vector<std::string> Complete(const std::string &completionFile, const std::string &function,
                                    const std::vector<std::string> &commandLines) const {
    std::string script = "source '" + SourceRoot() + "/packaging/completion/" + completionFile +
                         "'\n" + "c() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); " + function +
                         "; local IFS=' '; echo \"${COMPREPLY[*]}\"; }\n";
    for (const std::string &line : commandLines) script += "c " + line + "\n";
    RunOptions options;
    options.program = "/bin/bash";
    options.argv0 = "bash";
    options.cwd = Dir();
    RunResult result = transcript::Run({"-c", script}, options);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    std::vector<std::string> replies;
    size_t start = 0;
    while (start < result.out.size()) {
      size_t end = result.out.find('\n', start);
      if (end == std::string::npos) end = result.out.size();
      replies.push_back(result.out.substr(start, end - start));
      start = end + 1;
    }
    EXPECT_EQ(replies.size(), commandLines.size()) << result.out << result.err;
    replies.resize(commandLines.size());
    return replies;
  }
};

// brakk(1) describes every option of the option table.
TEST_F(Shipping, BrakkManualDescribesEveryOption) {
  const std::vector<Option> options = BrakkOptions();
  ASSERT_GE(options.size(), 45u + 29u) << "the option table was not read";
  const std::string manual = ReadFile(SourceRoot() + "/man/brakk.1");
  ASSERT_FALSE(manual.empty());
  for (const Option &option : options) {
    EXPECT_TRUE(ManualNames(manual, option.name)) << option.name << " is not in brakk(1)";
  }
}

// "-" completes to exactly the options of the table, and after every option
// (and its argument, when it takes one) the switch names are offered, which
// shows that the completion knows which options take an argument.
TEST_F(Shipping, BrakkCompletionKnowsEveryOption) {
  const std::vector<Option> options = BrakkOptions();
  ASSERT_GE(options.size(), 45u + 29u) << "the option table was not read";
  MakeFileSwitch({"7"});
  ASSERT_EQ(Brakk("-f $F -a 'my switch'").exitStatus, 0);

  const std::string brakk = BRAKK_BIN;
  std::vector<std::string> lines = {brakk + " -", brakk + " -f ./dvs.db dvs0 -p ''"};
  for (const Option &option : options) {
    lines.push_back(brakk + " -f ./dvs.db " + option.name +
                    (option.takesArgument ? " ./dvs.db" : "") + " ''");
  }
  const std::vector<std::string> replies = Complete("brakk", "_brakk", lines);

  std::set<std::string> offered;
  size_t start = 0;
  const std::string &all = replies[0];
  while (start < all.size()) {
    size_t end = all.find(' ', start);
    if (end == std::string::npos) end = all.size();
    offered.insert(all.substr(start, end - start));
    start = end + 1;
  }
  std::set<std::string> expected;
  for (const Option &option : options) expected.insert(option.name);
  EXPECT_EQ(offered, expected);

  EXPECT_EQ(replies[1], "globalPropList hostPropList 7");
  for (size_t i = 0; i < options.size(); i++) {
    EXPECT_EQ(replies[i + 2], "dvs0 my\\ switch") << "after " << options[i].name;
  }
}

// zorcored(8) and the completion cover the options that zorcored's usage
// names and the commands that "zorcored ctl help" lists.
TEST_F(Shipping, ZorcoredManualAndCompletionFollowTheProgram) {
  RunOptions zorcored;
  zorcored.program = ZORCORED_BIN;
  zorcored.argv0 = "zorcored";
  const RunResult usage = transcript::Run({"--help"}, zorcored);
  const RunResult ctlHelp = transcript::Run({"ctl", "help"}, zorcored);
  ASSERT_EQ(usage.exitStatus, 0);
  ASSERT_EQ(ctlHelp.exitStatus, 0);

  const std::set<std::string> daemonOptions = LongOptionsIn(usage.out);
  std::set<std::string> commands;
  const std::regex commandLine(R"(^  ([a-z-]+))");
  for (const std::string &line : Lines(ctlHelp.out)) {
    std::smatch match;
    if (std::regex_search(line, match, commandLine)) commands.insert(match[1]);
  }
  ASSERT_GE(daemonOptions.size(), 4u) << usage.out;
  ASSERT_GE(commands.size(), 8u) << ctlHelp.out;

  const std::string manual = ReadFile(SourceRoot() + "/man/zorcored.8");
  for (const std::string &option : daemonOptions) {
    EXPECT_TRUE(ManualNames(manual, option)) << option << " is not in zorcored(8)";
  }
  for (const std::string &command : commands) {
    std::string roff = std::regex_replace(command, std::regex("-"), "\\-");
    bool found = manual.find("\n.B " + roff) != std::string::npos ||
                 manual.find("\n.BI " + roff) != std::string::npos;
    EXPECT_TRUE(found) << "ctl " << command << " is not in zorcored(8)";
  }

  const std::string program = ZORCORED_BIN;
  const std::vector<std::string> replies = Complete(
      "zorcored", "_zorcored", {program + " --", program + " ctl ''", program + " ctl fail PortR"});
  EXPECT_EQ(LongOptionsIn(replies[0]), daemonOptions);
  std::set<std::string> completedCommands;
  for (const std::string &word : Lines(std::regex_replace(replies[1], std::regex(" "), "\n"))) {
    if (word != "--socket") completedCommands.insert(word);
  }
  EXPECT_EQ(completedCommands, commands);
  EXPECT_EQ(replies[2], "PortRemove");
}

}  // namespace
}  // namespace transcript
