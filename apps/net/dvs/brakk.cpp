// SPDX-License-Identifier: Apache-2.0
/*
 * brakk.cpp --
 *
 *    The front end of brakk for one command: reads the options into the
 *    invocation record, resolves the switch argument into a switch ID
 *    text, checks that the command has what its row in the command table
 *    requires, loads the configuration around it and turns the handler's
 *    result into the process's exit status. --batch hands over to
 *    batch.cpp. The command language itself is in cli.cpp.
 */

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <new>

#include "base/command.h"
#include "frontend.h"
#include "state/config.h"
#include "state/state_ops.h"

namespace {

/* ======================================================================
 * The switch argument
 * ====================================================================== */

/* The switch ID text of the invocation and the storage behind it. */
struct SwitchId {
  const char *text = nullptr;                /* null: no switch argument */
  std::unique_ptr<char[]> aliasMatch;        /* the ID of a switch found by alias */
  char derived[DVS_SWITCH_ID_TEXT_LEN] = {}; /* the ID derived from the name */
  bool kernelStateLoaded = false;            /* the lookup left the kernel's state loaded */
};

/*
 * Looks name up as the alias of a switch in the kernel's state, which it
 * loads (and notes in id). Returns true and fills id.aliasMatch when
 * found. A kernel state that cannot be loaded counts as no match (the
 * loader has printed why).
 */
bool FindByAlias(const char *name, SwitchId &id) {
  if (Config_Load(LOAD_KERNEL_STATE, nullptr) != ZOR_OK) return false;
  id.kernelStateLoaded = true;
  DVSSwitch *h = DVSState_SwitchFindByAlias(name);
  if (h == nullptr) return false;
  id.aliasMatch.reset(new (std::nothrow) char[DVS_SWITCH_ID_BUF_LEN + 1]());
  if (!id.aliasMatch) Brakk_Exit(static_cast<int>(ZOR_NO_MEMORY));
  memcpy(id.aliasMatch.get(), DVS_SwitchId(h), DVS_SWITCH_ID_BUF_LEN);
  id.text = id.aliasMatch.get();
  return true;
}

/*
 * Takes the first argument left after the options as the switch name and
 * resolves its ID. In kernel mode the kernel's state that the lookup
 * loaded stays loaded for the command, which works on that state anyway;
 * in file mode it is emptied, as the command works on the file.
 */
void ResolveSwitchArgument(int argc, char **argv, Invocation &inv, SwitchId &id) {
  if (optind >= argc) return;
  inv.switchArgument = argv[optind];
  if (inv.argIsSwitchId) {
    id.text = inv.switchArgument;
    return;
  }
  if (!FindByAlias(inv.switchArgument, id)) {
    Cli_DeriveSwitchId(inv.switchArgument, id.derived);
    id.text = id.derived;
  }
  if (inv.configFilePath == nullptr && id.kernelStateLoaded) return;
  id.kernelStateLoaded = false;
  DVSState_ConfigReset();
}

/* ======================================================================
 * The switch flow and the finish
 * ====================================================================== */

/*
 * Loads the configuration that the command works on in its mode: the file
 * in file mode, the kernel's state in kernel mode (unless the switch's
 * alias lookup has left it loaded). Returns the loader's status; the
 * loader has printed why it failed.
 */
ZOR_ReturnStatus LoadCommandState(const Invocation &inv, const SwitchId &id) {
  if (inv.configFilePath != nullptr) return Config_Load(LOAD_FILE, inv.configFilePath);
  if (id.kernelStateLoaded) return ZOR_OK;
  return Config_Load(LOAD_KERNEL_STATE, nullptr);
}

/* Ends the process as stop says, when there is one. */
void StopOn(const std::optional<Stop> &stop) {
  if (!stop) return;
  if (stop->usage) Usage_Print();
  Brakk_Exit(stop->status);
}

[[noreturn]] void FailFrontEnd(const char *message) {
  fputs(message, stderr);
  Brakk_Exit(-1);
}

/*
 * The switch flow: loads the configuration that the command works on
 * (the file in file mode, the kernel's state in kernel mode, where the
 * alias lookup may have loaded it already), finds the switch and leaves
 * the state loaded for the handler, which edits it in file mode and reads
 * the switch's ports from it where it must. Ends the process (255) when
 * --className was given, nothing loads, or the switch is missing.
 * Returns the handle.
 */
DVSSwitch *EnterSwitchFlow(const Invocation &inv, const SwitchId &id) {
  const char *sw = id.text;
  StopOn(Cli_CheckClassName(inv));
  if (LoadCommandState(inv, id) != ZOR_OK) FailFrontEnd("Failed to load config.\n");
  StopOn(Cli_CheckSwitchId(sw));
  DVSSwitch *h = DVSState_SwitchFind(sw);
  if (h == nullptr) {
    DVSState_ConfigReset();
    fprintf(stderr, "Switch handle not found by id %s\n", sw);
    Brakk_Exit(-1);
  }
  return h;
}

/*
 * Ends the process the way the handler's result asks: a failed status is
 * reported, a successful one saves the file in file mode; the exit status
 * is the command's.
 */
[[noreturn]] void Finish(const Invocation &inv, const CommandResult &result) {
  ZOR_ReturnStatus status = result.status;
  switch (result.end) {
    case CommandEnd::USAGE:
      if (result.usageLine != nullptr) fputs(result.usageLine, stderr);
      Usage_Print();
    case CommandEnd::EXIT:
      Brakk_Exit(result.exitStatus);
    case CommandEnd::SAVE_STATUS:
      status = static_cast<ZOR_ReturnStatus>(Config_Save(false, inv.configFilePath));
      break;
    case CommandEnd::STATUS:
      break;
  }
  if (status != ZOR_OK) {
    fprintf(stderr, "Operation failed: status = 0x%x\n", status);
    Brakk_Exit(static_cast<int>(status));
  }
  Brakk_Exit(inv.configFilePath != nullptr ? Config_Save(false, inv.configFilePath) : 0);
}

}  // namespace

int main(int argc, char **argv) {
  FeatureState_Init();
  Invocation inv;
  StopOn(Cli_ParseOptions(argc, argv, inv));
  StopOn(Cli_CheckJson(inv));
  if (inv.batchFile != nullptr) Brakk_Exit(Batch_Run(inv));
  /* The mode is fixed once the options are read: -f edits a configuration, else the kernel. */
  const bool fileMode = inv.configFilePath != nullptr;
  const StateOps &state = fileMode ? CONFIG_STATE_OPS : KERNEL_STATE_OPS;

  SwitchId id;
  ResolveSwitchArgument(argc, argv, inv, id);

  const CommandRow &row = Cli_CommandRow(inv.command);
  StopOn(Cli_CheckArguments(row.needs, id.text, inv));

  CommandContext ctx{id.text, SWITCH_CLASS_NONE, nullptr, 0, inv, state, KERNEL_STATE_OPS, nullptr};
  switch (row.flow) {
    case Flow::AT_ONCE:
      Brakk_Exit(row.action.run(ctx));
    case Flow::LOADED:
      if (LoadCommandState(inv, id) != ZOR_OK) Brakk_Exit(1);
      Brakk_Exit(row.action.run(ctx));
    case Flow::NO_LOOKUP:
      /* The switch need not exist; in file mode the command edits the loaded file. */
      if (fileMode && Config_Load(LOAD_FILE, inv.configFilePath) != ZOR_OK) Brakk_Exit(-1);
      Finish(inv, row.action.handler(ctx));
    case Flow::SWITCH_FLOW: {
      ctx.handle = EnterSwitchFlow(inv, id);
      ctx.cls = Cli_ClassOf(ctx.handle);
      ctx.version = ctx.handle->version;
      if (row.needs == Needs::PORT_ONCE_FOUND) StopOn(Cli_CheckPortOnceFound(inv));
      Finish(inv, row.action.handler(ctx));
    }
  }
  return 0;
}
