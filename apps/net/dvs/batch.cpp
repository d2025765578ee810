// SPDX-License-Identifier: Apache-2.0
/*
 * batch.cpp --
 *
 *    --batch FILE: many commands, one transaction. Each line of FILE is
 *    one command in brakk's own syntax, split into words as a shell would
 *    split it (quotes and backslashes, no expansion).
 *
 *    First every line is read and checked as the front end checks a single
 *    command: its options, its switch argument and what its row of the
 *    command table requires. A line that fails prints "batch line N: " and
 *    what the single command would have printed, and the batch ends with
 *    that command's status before anything has run.
 *
 *    Then the commands run in order on one loaded configuration: in file
 *    mode the file, loaded (and locked) once and saved once when every
 *    command has succeeded, so that a failing command leaves the file as
 *    it was; in kernel mode the kernel's state, with every change going to
 *    the kernel through a KernelJournal, which takes the changes back when
 *    a command fails. Events wait, in file mode, until the save.
 */

#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/command.h"
#include "events/events.h"
#include "frontend.h"
#include "state/config.h"
#include "state/kernel_journal.h"
#include "state/state_ops.h"

namespace {

/* The limits of a batch file. */
constexpr size_t BATCH_MAX_BYTES = 16u << 20;
constexpr size_t BATCH_MAX_LINES = 65536;
constexpr size_t BATCH_MAX_LINE_BYTES = 65536;

/* The status of a batch that cannot be read or holds a command that no batch may hold. */
constexpr int BATCH_REFUSED = 1;

/* ======================================================================
 * Reading and splitting
 * ====================================================================== */

/*
 * Reads the batch file (standard input for "-") into text, at most
 * BATCH_MAX_BYTES. Prints why and returns false when it cannot.
 */
bool ReadBatchFile(const char *path, std::string &text) {
  const bool standardInput = strcmp(path, "-") == 0;
  FILE *f = standardInput ? stdin : fopen(path, "rb");
  if (f == nullptr) {
    fprintf(stderr, "cannot read batch file %s: %s\n", path, strerror(errno));
    return false;
  }
  char block[65536];
  size_t n;
  while ((n = fread(block, 1, sizeof block, f)) > 0) {
    if (text.size() + n > BATCH_MAX_BYTES) {
      fprintf(stderr, "batch file %s is larger than %zu bytes\n", path, BATCH_MAX_BYTES);
      if (!standardInput) fclose(f);
      return false;
    }
    text.append(block, n);
  }
  const bool failed = ferror(f) != 0;
  const int error = errno;
  if (!standardInput) fclose(f);
  if (failed) {
    fprintf(stderr, "cannot read batch file %s: %s\n", path, strerror(error));
    return false;
  }
  return true;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

/*
 * Splits line into words as a POSIX shell splits a simple command's
 * words, without expanding anything: blanks separate words; a backslash
 * keeps the next character as it is; '...' keeps everything up to the
 * next quote; "..." keeps everything up to the next unescaped quote, where
 * a backslash escapes only $, `, " and \. An unquoted # that begins a word
 * begins a comment. Every other character (; | & $ * and so on) is an
 * ordinary character. Returns null, or why the line cannot be split.
 */
const char *SplitWords(std::string_view line, std::vector<std::string> &words) {
  size_t i = 0;
  while (true) {
    while (i < line.size() && IsBlank(line[i])) i++;
    if (i == line.size() || line[i] == '#') return nullptr;
    std::string word;
    while (i < line.size() && !IsBlank(line[i])) {
      const char c = line[i++];
      if (c == '\\') {
        if (i == line.size()) return "ends in a backslash";
        word += line[i++];
      } else if (c == '\'') {
        const size_t close = line.find('\'', i);
        if (close == std::string_view::npos) return "has an unterminated quote";
        word.append(line.substr(i, close - i));
        i = close + 1;
      } else if (c == '"') {
        while (true) {
          if (i == line.size()) return "has an unterminated quote";
          const char d = line[i++];
          if (d == '"') break;
          if (d == '\\' && i < line.size() && strchr("$`\"\\", line[i]) != nullptr) {
            word += line[i++];
          } else {
            word += d;
          }
        }
      } else {
        word += c;
      }
    }
    words.push_back(std::move(word));
  }
}

/*
 * One command of the batch: where it stands, where its words are in the
 * batch's words, the switch ID that its switch name resolved to, and what
 * reading its options printed, if anything.
 */
struct BatchLine {
  unsigned number = 0;
  int switchId = -1; /* index in BatchIds, or -1: the line names no switch */
  uint32_t wordsAt = 0, wordsLen = 0;
  int printed = -1; /* index in Batch::printed, or -1: its options printed nothing */
};

/* The switch IDs that the lines resolved to, each kept once. */
struct BatchIds {
  std::vector<std::string> texts;
  std::unordered_map<std::string, int> index;
  /* What each switch argument resolved to, by the argument ("n" or "a" for ID or name first). */
  std::unordered_map<std::string, int> byArgument;
  int Add(const std::string &id) {
    const auto [it, added] = index.emplace(id, static_cast<int>(texts.size()));
    if (added) texts.push_back(id);
    return it->second;
  }
};

/* What reading a line's options printed (a range option prints its ranges). */
struct Printed {
  std::string out, err;
};

/*
 * The batch's commands: the words of every line ("brakk" first, each
 * ended by a NUL) one after the other in one string, the lines, the
 * switch IDs they name, and once checked, each line's options (which
 * point into the words) and what reading them printed. A line's options
 * are read once: reading them again when the line runs would cost as
 * much as the rest of a line's run.
 */
struct Batch {
  std::string words;
  std::vector<BatchLine> lines;
  BatchIds ids;
  std::vector<Invocation> options; /* one per line, once checked */
  std::vector<Printed> printed;
};

/*
 * A line's words as an argument vector for getopt, which reorders the
 * pointers but leaves the words as they are. One serves every line in
 * turn, so that its storage is reused.
 */
struct LineArgs {
  std::vector<char *> argv;
  void Take(Batch &batch, const BatchLine &line) {
    argv.clear();
    char *words = batch.words.data() + line.wordsAt;
    for (size_t at = 0; at < line.wordsLen; at += strlen(words + at) + 1) {
      argv.push_back(words + at);
    }
    argv.push_back(nullptr);
  }
  int Count() const { return static_cast<int>(argv.size()) - 1; }
};

/*
 * Splits text into its command lines (blank lines and comments left out)
 * and appends them to lines. Prints why and returns false when a line is
 * too long, holds a NUL byte or cannot be split, when the file holds too
 * many lines, or no command at all.
 */
bool ReadLines(const char *path, const std::string &text, Batch &batch) {
  size_t start = 0;
  unsigned number = 0;
  std::vector<std::string> words;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    number++;
    if (number > BATCH_MAX_LINES) {
      fprintf(stderr, "batch file %s has more than %zu lines\n", path, BATCH_MAX_LINES);
      return false;
    }
    std::string_view line(text.data() + start, end - start);
    start = end + 1;
    if (line.size() > BATCH_MAX_LINE_BYTES) {
      fprintf(stderr, "batch line %u is longer than %zu bytes\n", number, BATCH_MAX_LINE_BYTES);
      return false;
    }
    if (line.find('\0') != std::string_view::npos) {
      fprintf(stderr, "batch line %u holds a NUL byte\n", number);
      return false;
    }
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1); /* a line ended by CR LF */
    words.assign({"brakk"});
    if (const char *why = SplitWords(line, words)) {
      fprintf(stderr, "batch line %u %s\n", number, why);
      return false;
    }
    if (words.size() == 1) continue;
    BatchLine &command = batch.lines.emplace_back();
    command.number = number;
    command.wordsAt = static_cast<uint32_t>(batch.words.size());
    for (const std::string &word : words) batch.words.append(word.c_str(), word.size() + 1);
    command.wordsLen = static_cast<uint32_t>(batch.words.size() - command.wordsAt);
  }
  if (batch.lines.empty()) {
    fprintf(stderr, "batch file %s holds no command\n", path);
    return false;
  }
  return true;
}

/* ======================================================================
 * The checks before anything runs
 * ====================================================================== */

/*
 * What the checks of one line print, caught in memory: while Begin and End
 * stand around them, standard output and error point at two memory
 * streams, which every line uses again.
 */
class Capture {
 public:
  Capture() {
    out_ = open_memstream(&outText_, &outLen_);
    err_ = open_memstream(&errText_, &errLen_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  ~Capture() {
    if (out_ != nullptr) fclose(out_);
    if (err_ != nullptr) fclose(err_);
    free(outText_);
    free(errText_);
  }

  void Begin() {
    if (out_ == nullptr || err_ == nullptr) return; /* without memory the text goes out as it is */
    fflush(stdout);
    fflush(stderr);
    if (held_) { /* most lines print nothing, and an empty stream needs no rewinding */
      rewind(out_);
      rewind(err_);
      held_ = false;
    }
    savedOut_ = stdout;
    savedErr_ = stderr;
    stdout = out_;
    stderr = err_;
  }
  /* Gives standard output and error back and hands over what was caught since Begin. */
  void End(std::string &out, std::string &err) {
    out.clear();
    err.clear();
    if (savedOut_ == nullptr) return;
    stdout = savedOut_;
    stderr = savedErr_;
    savedOut_ = savedErr_ = nullptr;
    Take(out_, outText_, outLen_, out);
    Take(err_, errText_, errLen_, err);
    held_ = !out.empty() || !err.empty();
  }

 private:
  /*
   * The stream's text from its start to where it stands: a flush makes the
   * text valid and sets its length to the stream's position.
   */
  static void Take(FILE *stream, char *const &text, const size_t &length, std::string &into) {
    fflush(stream);
    if (length > 0 && text != nullptr) into.assign(text, length);
  }

  FILE *out_ = nullptr;
  FILE *err_ = nullptr;
  FILE *savedOut_ = nullptr;
  FILE *savedErr_ = nullptr;
  char *outText_ = nullptr;
  char *errText_ = nullptr;
  size_t outLen_ = 0;
  size_t errLen_ = 0;
  bool held_ = false; /* the streams hold text that the next Begin must clear */
};

/*
 * The switches' aliases, looked up in the kernel's state, which is loaded
 * once for the whole batch (and its failure printed once).
 */
class AliasLookup {
 public:
  /* The ID text of the switch whose alias is name, or nothing. */
  std::optional<std::string> Find(const char *name) {
    if (!tried_) {
      tried_ = true;
      loaded_ = Config_Load(LOAD_KERNEL_STATE, nullptr) == ZOR_OK;
    }
    if (!loaded_) return std::nullopt;
    const auto known = found_.find(name);
    if (known != found_.end()) return known->second;
    DVSSwitch *h = DVSState_SwitchFindByAlias(name);
    std::optional<std::string> id;
    if (h != nullptr) id = std::string(DVS_SwitchId(h), strnlen(DVS_SwitchId(h), 64));
    found_.emplace(name, id);
    return id;
  }
  /* Whether the kernel's state is loaded (the lookups have needed it). */
  bool Loaded() const { return loaded_; }

 private:
  bool tried_ = false;
  bool loaded_ = false;
  std::unordered_map<std::string, std::optional<std::string>> found_;
};

/* Why a line was refused: the status, whether the usage follows, and a message of the batch's own.
 */
struct Refusal {
  int status;
  bool usage;
  std::string message; /* empty: the caught text is the message */
};

/*
 * The options of one line and the batch's own refusals: no -f, --batch,
 * --check or --json, no command that a batch cannot hold. Returns a refusal, or
 * nothing.
 */
std::optional<Refusal> ParseLine(LineArgs &args, Invocation &inv, bool fileMode) {
  if (std::optional<Stop> stop = Cli_ParseOptions(args.Count(), args.argv.data(), inv)) {
    if (stop->help) return Refusal{BATCH_REFUSED, false, "-h cannot run in a batch\n"};
    return Refusal{stop->status, stop->usage, ""};
  }
  if (inv.configFilePath != nullptr || inv.batchFile != nullptr || inv.batchCheck) {
    return Refusal{BATCH_REFUSED, false, "-f, --batch and --check belong to the whole batch\n"};
  }
  if (inv.json) return Refusal{BATCH_REFUSED, false, "--json cannot run in a batch\n"};
  const CommandRow &row = Cli_CommandRow(inv.command);
  if (row.batch == InBatch::NO) {
    return Refusal{BATCH_REFUSED, false, std::string(row.option) + " cannot run in a batch\n"};
  }
  if (row.batch == InBatch::KERNEL_ONLY && fileMode) {
    return Refusal{BATCH_REFUSED, false,
                   std::string(row.option) +
                       " changes the kernel, which a batch in file mode cannot take back\n"};
  }
  if (optind < args.Count()) inv.switchArgument = args.argv[optind];
  return std::nullopt;
}

/* The ID text of the line's switch name, by alias or derived from the name; null for none. */
std::optional<std::string> ResolveSwitch(const Invocation &inv, AliasLookup &aliases) {
  if (inv.switchArgument == nullptr) return std::nullopt;
  if (inv.argIsSwitchId) return std::string(inv.switchArgument);
  if (std::optional<std::string> byAlias = aliases.Find(inv.switchArgument)) return byAlias;
  char derived[DVS_SWITCH_ID_TEXT_LEN];
  Cli_DeriveSwitchId(inv.switchArgument, derived);
  return std::string(derived);
}

/* The checks that the line's row of the command table asks for. Returns a refusal, or nothing. */
std::optional<Refusal> CheckLine(const Invocation &inv, const char *sw) {
  const CommandRow &row = Cli_CommandRow(inv.command);
  std::optional<Stop> stop = Cli_CheckArguments(row.needs, sw, inv);
  if (!stop && row.flow == Flow::SWITCH_FLOW) stop = Cli_CheckClassName(inv);
  if (!stop && row.flow == Flow::SWITCH_FLOW) stop = Cli_CheckSwitchId(sw);
  if (stop) return Refusal{stop->status, stop->usage, ""};
  return std::nullopt;
}

/*
 * Prints a refused line: what its checks printed on standard output, then
 * "batch line N: " and the message on standard error, and the usage text
 * where the single command would print it. Returns the status.
 */
int PrintRefusal(unsigned number, const Refusal &refusal, const std::string &out,
                 const std::string &err) {
  fputs(out.c_str(), stdout);
  fflush(stdout);
  fprintf(stderr, "batch line %u: %s", number,
          refusal.message.empty() ? err.c_str() : refusal.message.c_str());
  if (refusal.usage) Usage_Write();
  return refusal.status;
}

/*
 * Checks every line as the front end checks a single command, and notes
 * the switch each names. Returns the status to end the batch with after
 * a refused line (which it prints), or nothing when every line passes.
 */
std::optional<int> CheckLines(Batch &batch, bool fileMode, AliasLookup &aliases) {
  Capture capture;
  std::string out, err;
  LineArgs args;
  batch.options.reserve(batch.lines.size());
  for (BatchLine &line : batch.lines) {
    args.Take(batch, line);
    Invocation &inv = batch.options.emplace_back();
    capture.Begin();
    std::optional<Refusal> refusal = ParseLine(args, inv, fileMode);
    capture.End(out, err);
    if (refusal) return PrintRefusal(line.number, *refusal, out, err);
    if (!out.empty() || !err.empty()) {
      line.printed = static_cast<int>(batch.printed.size());
      batch.printed.push_back(Printed{out, err});
    }
    /* A failed load of the kernel's state for the aliases prints its line, once. */
    if (inv.switchArgument != nullptr) {
      /* Lines name the same few switches again and again: each is resolved once. */
      std::string argument(inv.argIsSwitchId ? "n" : "a");
      argument += inv.switchArgument;
      const auto known = batch.ids.byArgument.find(argument);
      if (known != batch.ids.byArgument.end()) {
        line.switchId = known->second;
      } else if (const std::optional<std::string> id = ResolveSwitch(inv, aliases)) {
        line.switchId = batch.ids.Add(*id);
        batch.ids.byArgument.emplace(std::move(argument), line.switchId);
      }
    }
    const char *id = line.switchId >= 0 ? batch.ids.texts[line.switchId].c_str() : nullptr;
    std::string parseOut = std::move(out);
    capture.Begin();
    refusal = CheckLine(inv, id);
    capture.End(out, err);
    if (refusal) return PrintRefusal(line.number, *refusal, parseOut + out, err);
  }
  return std::nullopt;
}

/* ======================================================================
 * Running
 * ====================================================================== */

/* How the batch goes on after a line. */
struct LineEnd {
  bool ok;
  int status; /* the batch's exit status when not ok */
};

/*
 * Runs line i, checked, on the loaded configuration, the way the single
 * command's flow would once its configuration is loaded: first what
 * reading its options printed (such as range texts), as the single
 * command prints it then. Prints the line's failure with its number.
 */
LineEnd RunLine(const Batch &batch, size_t i, const StateOps &state, const StateOps &kernel,
                EventQueue *events) {
  const BatchLine &line = batch.lines[i];
  const Invocation &inv = batch.options[i];
  if (line.printed >= 0) {
    fputs(batch.printed[line.printed].out.c_str(), stdout);
    fputs(batch.printed[line.printed].err.c_str(), stderr);
  }
  const char *sw = line.switchId >= 0 ? batch.ids.texts[line.switchId].c_str() : nullptr;
  const CommandRow &row = Cli_CommandRow(inv.command);
  CommandContext ctx{sw, SWITCH_CLASS_NONE, nullptr, 0, inv, state, kernel, events};

  if (row.action.atOnce) {
    const int status = row.action.run(ctx);
    if (status == 0) return {true, 0};
    fflush(stdout);
    fprintf(stderr, "batch line %u: ended with status %d\n", line.number, status);
    return {false, status};
  }
  if (row.flow == Flow::SWITCH_FLOW) {
    ctx.handle = DVSState_SwitchFind(sw);
    if (ctx.handle == nullptr) {
      fflush(stdout);
      fprintf(stderr, "batch line %u: Switch handle not found by id %s\n", line.number, sw);
      return {false, -1};
    }
    ctx.cls = Cli_ClassOf(ctx.handle);
    ctx.version = ctx.handle->version;
    if (row.needs == Needs::PORT_ONCE_FOUND && inv.portName == nullptr) {
      fflush(stdout);
      fprintf(stderr, "batch line %u: ", line.number);
      const std::optional<Stop> stop = Cli_CheckPortOnceFound(inv); /* prints its line */
      Usage_Write();
      return {false, stop ? stop->status : 0};
    }
  }

  const CommandResult result = row.action.handler(ctx);
  fflush(stdout);
  switch (result.end) {
    case CommandEnd::USAGE:
      fprintf(stderr, "batch line %u: %s", line.number,
              result.usageLine != nullptr ? result.usageLine : "\n");
      Usage_Write();
      return {false, 0};
    case CommandEnd::EXIT:
      fprintf(stderr, "batch line %u: ended with status %d\n", line.number, result.exitStatus);
      return {false, result.exitStatus};
    case CommandEnd::SAVE_STATUS: /* the batch saves once, at its end */
    case CommandEnd::STATUS:
      break;
  }
  if (result.status == ZOR_OK) return {true, 0};
  fprintf(stderr, "batch line %u: Operation failed: status = 0x%x\n", line.number, result.status);
  return {false, static_cast<int>(result.status)};
}

/* File mode: one load, every command on it, one save; events after the save. */
int RunOnFile(const Invocation &inv, const Batch &batch) {
  DVSState_ConfigReset(); /* the aliases' kernel state, if any */
  if (Config_Load(LOAD_FILE, inv.configFilePath) != ZOR_OK) {
    fputs("Failed to load config.\n", stderr);
    return -1;
  }
  const KernelReader kernel;
  EventQueue events;
  for (size_t i = 0; i < batch.lines.size(); i++) {
    const LineEnd end = RunLine(batch, i, CONFIG_STATE_OPS, kernel, &events);
    if (!end.ok) return end.status; /* nothing is saved: the file stays as it was */
  }
  if (inv.batchCheck) {
    printf("batch: %zu commands ran on the loaded configuration; nothing was saved\n",
           batch.lines.size());
    return 0;
  }
  const int32_t saved = Config_Save(false, inv.configFilePath);
  if (saved != 0) return saved;
  Event_Flush(events);
  return 0;
}

/* Prints how the restore after a failed kernel-mode batch went. */
void PrintRestore(const std::vector<RestoreProblem> &problems, bool changed) {
  if (!changed) {
    fputs("batch: nothing to restore\n", stderr);
    return;
  }
  for (const RestoreProblem &p : problems) {
    if (p.status == ZOR_OK) {
      fprintf(stderr, "batch: line %u: cannot take back %s\n", p.line, p.what.c_str());
    } else {
      fprintf(stderr, "batch: line %u: taking back %s failed: %s\n", p.line, p.what.c_str(),
              ZOR_ReturnStatusToString(p.status));
    }
  }
  fputs(problems.empty() ? "batch: restore complete\n" : "batch: restore incomplete\n", stderr);
}

/* Kernel mode: every command through the journal; a failure takes the changes back. */
int RunOnKernel(const Batch &batch, bool aliasesLoaded) {
  if (!aliasesLoaded && Config_Load(LOAD_KERNEL_STATE, nullptr) != ZOR_OK) {
    fputs("Failed to load config.\n", stderr);
    return -1;
  }
  KernelJournal journal;
  for (size_t i = 0; i < batch.lines.size(); i++) {
    journal.SetLine(batch.lines[i].number);
    const LineEnd end = RunLine(batch, i, journal, journal, nullptr);
    if (end.ok) continue;
    const bool changed = journal.Changed();
    PrintRestore(journal.Restore(), changed);
    return end.status;
  }
  return 0;
}

}  // namespace

int Batch_Run(const Invocation &inv) {
  Batch batch;
  {
    std::string text; /* released once the lines hold their words */
    if (!ReadBatchFile(inv.batchFile, text) || !ReadLines(inv.batchFile, text, batch)) {
      return BATCH_REFUSED;
    }
  }
  /* No command of the batch runs unless every one of them passes its checks. */
  const bool fileMode = inv.configFilePath != nullptr;
  AliasLookup aliases;
  if (std::optional<int> refused = CheckLines(batch, fileMode, aliases)) return *refused;
  if (fileMode) return RunOnFile(inv, batch);
  if (inv.batchCheck) {
    printf("batch: %zu commands checked; nothing was run\n", batch.lines.size());
    return 0;
  }
  return RunOnKernel(batch, aliases.Loaded());
}
