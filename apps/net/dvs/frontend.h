// SPDX-License-Identifier: Apache-2.0
/*
 * frontend.h --
 *
 *    The front end's own pieces, shared by its sources only (brakk.cpp,
 *    cli.cpp, batch.cpp, usage.cpp) and its tests: the command language
 *    (the option table and the command table, cli.cpp), the checks that a
 *    command's row asks for, the batch of commands (batch.cpp), the usage
 *    text and the one way a process ends (usage.cpp). Handlers return a
 *    CommandResult instead of ending the process.
 */

#ifndef APPS_NET_DVS_FRONTEND_H
#define APPS_NET_DVS_FRONTEND_H

#include <optional>

#include "base/command.h"

/* ---- The end of a process (usage.cpp) -------------------------------------- */

/* Ends the process with status after flushing standard output. */
[[noreturn]] void Brakk_Exit(int status);
/* Writes the usage text on standard output. */
void Usage_Write();
/* Prints the usage text on standard output and ends the process with 0. */
[[noreturn]] void Usage_Print();
/* Prints a formatted message on standard error and ends the process with 255. */
[[noreturn]] void Panic(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* ---- The command language (cli.cpp) ------------------------------------------ */

/*
 * Why the front end stops a command before its handler runs. The reason
 * has been printed on standard error; the usage text is still to print
 * when usage is set.
 */
struct Stop {
  int status;        /* the exit status */
  bool usage;        /* the usage text follows */
  bool help = false; /* -h asked for the usage text */
};

/*
 * Reads the options of argv into inv with getopt_long, from argv[1] on
 * (argv[0] names the program in getopt's messages). Returns a Stop after
 * -h, an unknown option or a missing argument (the usage text follows),
 * -E, or a range text of --vlanMTUChkParam or --qeltVLMChkParam that does
 * not parse (status 1); else nothing, with optind at the first argument
 * that is not an option. May be called again for another argv.
 */
std::optional<Stop> Cli_ParseOptions(int argc, char **argv, Invocation &inv);

/* What the checks require of a command. */
enum class Needs {
  NOTHING,          /* runs at once, no check */
  SWITCH,           /* a switch name */
  SWITCH_AND_PORT,  /* a switch name, then -p */
  PORT_TEAM_SWITCH, /* -p, a valid -t, a switch name */
  TEAM_SWITCH,      /* a valid -t, a switch name */
  UNCHECKED,        /* nothing here; the switch flow reports a missing switch */
  PORT_ONCE_FOUND,  /* as UNCHECKED, then -p once the switch flow has found the switch */
};

/* How a command runs once its checks pass. */
enum class Flow {
  AT_ONCE,     /* outside the switch flow; `run` gives the exit status */
  LOADED,      /* as AT_ONCE, once the command's configuration is loaded (else exit 1) */
  NO_LOOKUP,   /* file mode loads the file (kernel mode nothing); `handler`, then the finish */
  SWITCH_FLOW, /* load, find the switch and its class, `handler`, then the finish */
};

/* Whether a command may stand in a batch. */
enum class InBatch {
  YES,         /* in either mode */
  KERNEL_ONLY, /* it changes the kernel in file mode too, which a file-mode batch cannot take back
                */
  NO,          /* it makes no sense in a transaction */
};

/* A command that runs outside the switch flow; returns the process's exit status. */
typedef int (*AtOnceCommand)(const CommandContext &ctx);

/* What runs a command: a handler (NO_LOOKUP, SWITCH_FLOW) or an at-once command (the others). */
struct CommandAction {
  CommandHandler handler = nullptr;
  AtOnceCommand run = nullptr;
  bool atOnce = false;
  constexpr CommandAction(CommandHandler h) : handler(h) {}
  constexpr CommandAction(AtOnceCommand r) : run(r), atOnce(true) {}
};

/* One row of the command table. */
struct CommandRow {
  CommandCode code;
  const char *option;
  Needs needs;
  Flow flow;
  InBatch batch;
  CommandAction action;
};

/* The row of a command code (every code has one). */
const CommandRow &Cli_CommandRow(CommandCode code);

/*
 * The checks before dispatch that needs asks for, on the switch ID text
 * sw (null: no switch argument). A missing argument prints its line on
 * standard error and returns a Stop with the usage text and status 0.
 * PORT_ONCE_FOUND is checked by Cli_CheckPortOnceFound once the switch is found.
 */
std::optional<Stop> Cli_CheckArguments(Needs needs, const char *sw, const Invocation &inv);
/* The -p check of a PORT_ONCE_FOUND command, as Cli_CheckArguments reports it. */
std::optional<Stop> Cli_CheckPortOnceFound(const Invocation &inv);

/*
 * --json: only -l and -r print a document, and not in a batch. Anything
 * else prints "--json goes only with -l and -r" and stops with 1.
 */
std::optional<Stop> Cli_CheckJson(const Invocation &inv);

/*
 * The checks of the switch flow that need no configuration, in its order:
 * --className with another command than -a ("Class name is not require
 * for command %d."), then a missing switch ID ("Switch ID is not
 * specified.") when the configuration has loaded. Each prints its line and
 * stops with 255.
 */
std::optional<Stop> Cli_CheckClassName(const Invocation &inv);
std::optional<Stop> Cli_CheckSwitchId(const char *sw);

/*
 * Derives a switch ID from a name: its first 15 characters, zero padded
 * to 16 bytes, printed as the switch ID text into text
 * (DVS_SWITCH_ID_TEXT_LEN bytes).
 */
void Cli_DeriveSwitchId(const char *name, char *text);
/* The class index of a switch from its class name. */
SwitchClass Cli_ClassOf(DVSSwitch *h);

/* ---- The batch (batch.cpp) ----------------------------------------------------- */

/*
 * Runs the batch of inv.batchFile (--batch; --check with inv.batchCheck)
 * in the mode of inv.configFilePath and returns the process's exit status.
 */
int Batch_Run(const Invocation &inv);

#endif  // APPS_NET_DVS_FRONTEND_H
