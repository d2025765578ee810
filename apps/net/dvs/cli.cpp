// SPDX-License-Identifier: Apache-2.0
/*
 * cli.cpp --
 *
 *    The command language of brakk: what each option does to the
 *    invocation record (optionTable), one row per command code with what
 *    its checks require, how it runs and its handler (commandTable), and
 *    the checks themselves. The single command (brakk.cpp) and the batch
 *    (batch.cpp) both read their commands through here.
 */

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <iterator>
#include <memory>
#include <vector>

#include "base/command.h"
#include "events/events.h"
#include "frontend.h"
#include "listing/listing.h"
#include "props/healthcheck.h"
#include "props/ipfix.h"
#include "props/lacp.h"
#include "props/lag.h"
#include "props/mirror.h"
#include "props/overlay.h"
#include "props/portpolicy.h"
#include "props/respool.h"
#include "props/shaping.h"
#include "props/uplink.h"
#include "props/vlan.h"
#include "state/config.h"
#include "switch_cmds.h"
#include "uplink_cmds.h"

namespace {

/* ======================================================================
 * Options
 * ====================================================================== */

/* The short options, exactly as getopt_long receives them. */
constexpr char shortOptions[] =
    "aAb:B:cCdDe:Ef:F:gGhH:ij:k:K:lL:m:M:nN:o:O:p:P:r:RSs:Tt:u:U:v:V:XyYz:Z";

/* Marks an option that selects no command. */
constexpr int NO_COMMAND = -1;
/* What an option's effect returns when parsing goes on. */
constexpr int CONTINUE = -1;

/* What an option does to the invocation record; returns an exit status to stop with, or -1. */
typedef int (*OptionApply)(Invocation &inv, const char *arg);

/*
 * One option: its short letter (0 for long-only options) or long name,
 * whether a long option takes an argument, the command it selects and
 * what it does to the invocation record.
 */
struct OptionRow {
  int letter;
  const char *longName;
  int hasArg;
  int command;
  OptionApply apply;
};

/* A number in an option: strtol base 10, taken as is (no check of trailing text or range). */
int32_t Number(const char *arg) {
  return static_cast<int32_t>(strtol(arg, nullptr, 10));
}

/* What the options do to the invocation record, one small function each. */
int SetCommandArg(Invocation &inv, const char *arg) {
  inv.commandArg = arg;
  return CONTINUE;
}
int SetCdpFlags(Invocation &inv, const char *arg) {
  inv.cdpFlags = static_cast<int32_t>(strtol(arg, nullptr, 0)); /* "0x10003" is accepted */
  return CONTINUE;
}
int SetTeamingFlag(Invocation &inv, const char *) {
  inv.teamingFlag = true;
  return CONTINUE;
}
int SetCreateAllPorts(Invocation &inv, const char *) {
  inv.createAllPorts = true;
  return CONTINUE;
}
int SetEventType(Invocation &inv, const char *arg) {
  inv.eventType = Number(arg);
  return CONTINUE;
}
int SetConfigFile(Invocation &inv, const char *arg) {
  inv.configFilePath = arg;
  return CONTINUE;
}
int SetUplinkNames(Invocation &inv, const char *arg) {
  inv.uplinkNames = arg;
  return CONTINUE;
}
int SetMirrorSpec(Invocation &inv, const char *arg) {
  inv.mirrorSpec = arg;
  return CONTINUE;
}
int SetArgIsSwitchId(Invocation &inv, const char *) {
  inv.argIsSwitchId = true;
  return CONTINUE;
}
int SetOverlaySpec(Invocation &inv, const char *arg) {
  inv.overlaySpec = arg;
  return CONTINUE;
}
int SetSwitchVersion(Invocation &inv, const char *arg) {
  inv.switchVersion = Number(arg);
  return CONTINUE;
}
int SetPortName(Invocation &inv, const char *arg) {
  inv.portName = arg;
  return CONTINUE;
}
int SetMaxPorts(Invocation &inv, const char *arg) {
  inv.maxPorts = Number(arg);
  return CONTINUE;
}
int SetTeamPolicyType(Invocation &inv, const char *arg) {
  inv.teamPolicyType = Number(arg);
  return CONTINUE;
}
int SetUplinkCount(Invocation &inv, const char *arg) {
  inv.uplinkCount = Number(arg);
  return CONTINUE;
}
int SetVlanSpec(Invocation &inv, const char *arg) {
  inv.vlanSpec = arg;
  return CONTINUE;
}
int SetPvlanSpec(Invocation &inv, const char *arg) {
  inv.pvlanSpec = arg;
  return CONTINUE;
}
int ReadAndDiscardNumber(Invocation &, const char *arg) {
  (void)Number(arg);
  return CONTINUE;
}
int SetCapValue(Invocation &inv, const char *arg) {
  inv.capValue = Number(arg);
  return CONTINUE;
}
int SetZornicName(Invocation &inv, const char *arg) {
  inv.zornicName = arg;
  return CONTINUE;
}
int SetExecCommand(Invocation &inv, const char *arg) {
  inv.execCommand = arg;
  return CONTINUE;
}
int SetExecArg(Invocation &inv, const char *arg) {
  inv.execArg = arg;
  return CONTINUE;
}
int SetCheckInterval(Invocation &inv, const char *arg) {
  inv.checkInterval = Number(arg);
  return CONTINUE;
}
int SetTeamchkParam(Invocation &inv, const char *arg) {
  inv.teamchkParam = static_cast<uint8_t>(Number(arg));
  return CONTINUE;
}
int SetSinkEnable(Invocation &inv, const char *arg) {
  inv.sinkEnable = static_cast<uint8_t>(Number(arg));
  return CONTINUE;
}
int SetDvsVersion(Invocation &inv, const char *arg) {
  inv.dvsVersion = Number(arg);
  return CONTINUE;
}
int SetDvsId(Invocation &inv, const char *arg) {
  inv.commandArg = arg;
  inv.dvsIdLength = static_cast<uint32_t>(strlen(arg) + 1);
  return CONTINUE;
}
int SetBatchFile(Invocation &inv, const char *arg) {
  inv.batchFile = arg;
  return CONTINUE;
}
int SetBatchCheck(Invocation &inv, const char *) {
  inv.batchCheck = true;
  return CONTINUE;
}
int SetJson(Invocation &inv, const char *) {
  inv.json = true;
  return CONTINUE;
}
int SetClassName(Invocation &inv, const char *arg) {
  inv.className = arg;
  return CONTINUE;
}

/* --vlanMTUChkParam and --qeltVLMChkParam: the range text is parsed at once; a bad one ends here.
 */
int ParseVlanRanges(Invocation &inv, const char *arg) {
  /* Kept apart from the invocation, which a batch holds one of per line. */
  std::shared_ptr<uint8_t[]> bitmap = std::make_shared<uint8_t[]>(VLAN_RANGE_PARAM_LEN);
  if (VlanBitmap_Parse(arg, bitmap.get()) != 0) return 1;
  inv.vlanRangeParam = std::move(bitmap);
  return CONTINUE;
}

/* -E ends the parse: the options after it are not read. */
int RefuseConfigStoreOption(Invocation &, const char *) {
  fprintf(stderr, "Unsupported operation: -E\n");
  return 1;
}

// clang-format off
constexpr OptionRow optionTable[] = {
  /* letter, long name, argument, command selected, effect */
  {'a', nullptr, 0, CMD_ADD_SWITCH,        nullptr},
  {'A', nullptr, 0, CMD_ADD_PORT,          nullptr},
  {'b', nullptr, 0, CMD_SET_SHAPING,       SetCommandArg},
  {'B', nullptr, 0, CMD_SET_CDP,           SetCdpFlags},
  {'c', nullptr, 0, NO_COMMAND,            SetTeamingFlag},
  {'C', nullptr, 0, NO_COMMAND,            SetCreateAllPorts},
  {'d', nullptr, 0, CMD_DELETE_SWITCH,     nullptr},
  {'D', nullptr, 0, CMD_DELETE_PORT,       nullptr},
  {'e', nullptr, 0, CMD_POST_EVENT,        SetEventType},
  {'E', nullptr, 0, NO_COMMAND,            RefuseConfigStoreOption},
  {'f', nullptr, 0, NO_COMMAND,            SetConfigFile},
  {'F', nullptr, 0, CMD_SET_DVFILTER,      SetCommandArg},
  {'g', nullptr, 0, CMD_LISTEN_EVENTS,     nullptr},
  {'G', nullptr, 0, CMD_GET_PERSISTENT,    nullptr},
  {'H', nullptr, 0, CMD_SET_HOST_STATUS,   SetCommandArg},
  {'i', nullptr, 0, CMD_INIT_DB,           nullptr},
  {'j', nullptr, 0, CMD_SET_RESPOOL_SCHED, SetCommandArg},
  {'k', nullptr, 0, CMD_SET_RESPOOL_LIST,  SetCommandArg},
  {'K', nullptr, 0, CMD_SET_RESPOOL_CFG,   SetCommandArg},
  {'l', nullptr, 0, CMD_LIST,              nullptr},
  {'L', nullptr, 0, CMD_SET_TEAMING,       SetUplinkNames},
  {'m', nullptr, 0, CMD_SET_MIRROR,        SetMirrorSpec},
  {'M', nullptr, 0, CMD_SET_LINK_STATUS,   SetCommandArg},
  {'n', nullptr, 0, NO_COMMAND,            SetArgIsSwitchId},
  {'N', nullptr, 0, CMD_SET_IPFIX,         SetCommandArg},
  {'o', nullptr, 0, CMD_SET_OVERLAY,       SetOverlaySpec},
  {'O', nullptr, 0, NO_COMMAND,            SetSwitchVersion},
  {'p', nullptr, 0, NO_COMMAND,            SetPortName},
  {'P', nullptr, 0, NO_COMMAND,            SetMaxPorts},
  {'r', nullptr, 0, CMD_GET_PROP,          SetCommandArg},
  {'R', nullptr, 0, CMD_RESET_KERNEL,      nullptr},
  {'S', nullptr, 0, CMD_SET_KERNEL,        nullptr},
  {'s', nullptr, 0, CMD_SET_PROP,          SetCommandArg},
  {'T', nullptr, 0, CMD_SELF_TEST,         nullptr},
  {'t', nullptr, 0, NO_COMMAND,            SetTeamPolicyType},
  {'u', nullptr, 0, CMD_UNSET_PROP,        SetCommandArg},
  {'U', nullptr, 0, CMD_ADD_UPLINKS,       SetUplinkCount},
  {'v', nullptr, 0, CMD_SET_VLAN,          SetVlanSpec},
  {'V', nullptr, 0, CMD_SET_PVLAN_MAP,     SetPvlanSpec},
  {'X', nullptr, 0, CMD_DELETE_UPLINK,     nullptr},
  {'y', nullptr, 0, CMD_ASSOCIATE,         nullptr},
  {'Y', nullptr, 0, CMD_DISSOCIATE,        nullptr},
  {'z', nullptr, 0, CMD_SET_RESPOOL_ASSOC, SetCommandArg},
  {'Z', nullptr, 0, CMD_DAEMON,            nullptr},
  /* Long options, in the order getopt_long is given them. */
  {0, "mtu",              required_argument, CMD_SET_MTU,           ReadAndDiscardNumber},
  {0, "cap",              required_argument, CMD_UPLINK_SET_CAP,    SetCapValue},
  {0, "reset",            no_argument,       CMD_UPLINK_RESET,      nullptr},
  {0, "states",           no_argument,       CMD_UPLINK_STATES,     nullptr},
  {0, "stats",            no_argument,       CMD_UPLINK_STATS,      nullptr},
  {0, "vlan",             required_argument, CMD_UPLINK_VLAN,       SetCommandArg},
  {0, "getCap",           no_argument,       CMD_UPLINK_GET_CAP,    nullptr},
  {0, "setMaxPorts",      required_argument, CMD_SET_MAX_PORTS,     SetMaxPorts},
  {0, "miscInfo",         no_argument,       CMD_MISC_INFO,         nullptr},
  {0, "zornicIp",         required_argument, CMD_ZORNIC_IP,         SetZornicName},
  {0, "cmdExec",          required_argument, CMD_CMD_EXEC,          SetExecCommand},
  {0, "cmdArg",           required_argument, NO_COMMAND,            SetExecArg},
  {0, "teamchkDeploy",    required_argument, CMD_TEAMCHK_DEPLOY,    SetCheckInterval},
  {0, "teamchkRemove",    no_argument,       CMD_TEAMCHK_REMOVE,    nullptr},
  {0, "teamchkParam",     required_argument, CMD_TEAMCHK_PARAM,     SetTeamchkParam},
  {0, "vlanMTUChkDeploy", required_argument, CMD_VLANMTUCHK_DEPLOY, SetCheckInterval},
  {0, "vlanMTUChkRemove", no_argument,       CMD_VLANMTUCHK_REMOVE, nullptr},
  {0, "vlanMTUChkParam",  required_argument, CMD_VLANMTUCHK_PARAM,  ParseVlanRanges},
  {0, "qeltVLMChkDeploy", required_argument, CMD_QELTVLMCHK_DEPLOY, SetCheckInterval},
  {0, "qeltVLMChkRemove", no_argument,       CMD_QELTVLMCHK_REMOVE, nullptr},
  {0, "qeltVLMChkParam",  required_argument, CMD_QELTVLMCHK_PARAM,  ParseVlanRanges},
  {0, "enableSink",       required_argument, CMD_ENABLE_SINK,       SetSinkEnable},
  {0, "setLACP",          required_argument, CMD_SET_LACP,          SetCommandArg},
  {0, "configLAG",        required_argument, CMD_CONFIG_LAG,        SetCommandArg},
  {0, "setVersion",       required_argument, CMD_SET_VERSION,       SetDvsVersion},
  {0, "setDVSID",         required_argument, CMD_SET_DVSID,         SetDvsId},
  {0, "className",        required_argument, NO_COMMAND,            SetClassName},
  {0, "persist",          no_argument,       CMD_PERSIST,           nullptr},
  {0, "nopersist",        required_argument, CMD_NOPERSIST,         SetCommandArg},
  /* Extensions of the command language, documented apart from the usage text. */
  {0, "batch",            required_argument, NO_COMMAND,            SetBatchFile},
  {0, "check",            no_argument,       NO_COMMAND,            SetBatchCheck},
  {0, "json",             no_argument,       NO_COMMAND,            SetJson},
};
// clang-format on

/* Every letter of shortOptions but 'h' has a row, and every row's letter is in shortOptions. */
constexpr bool LettersMatchShortOptions() {
  size_t rows = 0;
  for (const OptionRow &row : optionTable) rows += row.letter != 0 ? 1 : 0;
  size_t letters = 0;
  for (const char *p = shortOptions; *p != '\0'; p++) {
    if (*p == ':' || *p == 'h') continue;
    letters++;
    bool found = false;
    for (const OptionRow &row : optionTable) found = found || row.letter == *p;
    if (!found) return false;
  }
  return rows == letters;
}
static_assert(LettersMatchShortOptions(), "optionTable and shortOptions list the same letters");

/* The getopt_long table: every row with a long name, in table order, then the end marker. */
const std::vector<option> &LongOptions() {
  /* Built once: a batch parses thousands of command lines. */
  static const std::vector<option> options = [] {
    std::vector<option> built;
    for (const OptionRow &row : optionTable) {
      if (row.longName != nullptr) built.push_back({row.longName, row.hasArg, nullptr, 0});
    }
    built.push_back({nullptr, 0, nullptr, 0});
    return built;
  }();
  return options;
}

/* The row of a short option letter, or null when the letter has none. */
const OptionRow *FindLetter(int letter) {
  static const std::array<const OptionRow *, 128> byLetter = [] {
    std::array<const OptionRow *, 128> built{};
    for (const OptionRow &row : optionTable) {
      if (row.letter > 0 && row.letter < 128 && built[row.letter] == nullptr) {
        built[row.letter] = &row;
      }
    }
    return built;
  }();
  return letter > 0 && letter < 128 ? byLetter[letter] : nullptr;
}

const OptionRow *FindLongName(const char *name) {
  for (const OptionRow &row : optionTable) {
    if (row.longName != nullptr && strcmp(row.longName, name) == 0) return &row;
  }
  return nullptr;
}

/* ======================================================================
 * Commands
 * ====================================================================== */

int Run_InitDb(const CommandContext &ctx) {
  return Config_Save(false, ctx.inv.configFilePath);
}

int Run_GetPersistent(const CommandContext &ctx) {
  if (Config_Load(LOAD_KERNEL_PERSISTENT, nullptr) != ZOR_OK) return 1;
  return Config_Save(false, ctx.inv.configFilePath);
}

int Run_SetKernel(const CommandContext &ctx) {
  if (Config_Load(LOAD_FILE, ctx.inv.configFilePath) != ZOR_OK) return 1;
  return Config_Save(true, ctx.inv.configFilePath);
}

int Run_ResetKernel(const CommandContext &) {
  return static_cast<int>(DVSZOR_StateCleanup());
}

int Run_List(const CommandContext &ctx) {
  if (ctx.inv.json) {
    List_Json(ctx.sw);
    return 0;
  }
  DVSState_SwitchForEach(List_Switch, const_cast<char *>(ctx.sw));
  return 0;
}

int Run_SelfTest(const CommandContext &) {
  return DataSelfTest();
}

int Run_Daemon(const CommandContext &ctx) {
  return Config_Daemon(ctx.inv.configFilePath);
}

int Run_ListenEvents(const CommandContext &) {
  Event_Listen(); /* returns only when the host refuses the registration */
  Panic("NOT_REACHED %s:%d\n", "apps/net/dvs/brakk", 662);
}

int Run_PostEvent(const CommandContext &ctx) {
  Event_Submit(ctx.events, static_cast<uint32_t>(ctx.inv.eventType), ctx.sw, ctx.inv.portName,
               nullptr, 0);
  return 0;
}

using enum Needs;
using enum Flow;
using enum InBatch;

// clang-format off
constexpr CommandRow commandTable[] = {
  /* code, option, checks before dispatch, flow, in a batch, what runs it */
  {CMD_INIT_DB,           "-i",                 NOTHING,          AT_ONCE,     NO,          Run_InitDb},
  {CMD_GET_PERSISTENT,    "-G",                 NOTHING,          AT_ONCE,     NO,          Run_GetPersistent},
  {CMD_SET_KERNEL,        "-S",                 NOTHING,          AT_ONCE,     NO,          Run_SetKernel},
  {CMD_RESET_KERNEL,      "-R",                 NOTHING,          AT_ONCE,     NO,          Run_ResetKernel},
  {CMD_LIST,              "-l",                 NOTHING,          LOADED,      YES,         Run_List},
  {CMD_ADD_SWITCH,        "-a",                 SWITCH,           NO_LOOKUP,   YES,         Cmd_AddSwitch},
  {CMD_DELETE_SWITCH,     "-d",                 SWITCH,           SWITCH_FLOW, YES,         Cmd_DeleteSwitch},
  {CMD_ADD_PORT,          "-A",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_AddPort},
  {CMD_DELETE_PORT,       "-D",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_DeletePort},
  {CMD_GET_PROP,          "-r",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_GetProp},
  {CMD_SET_PROP,          "-s",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetProp},
  {CMD_UNSET_PROP,        "-u",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_UnsetProp},
  {CMD_SELF_TEST,         "-T",                 NOTHING,          AT_ONCE,     NO,          Run_SelfTest},
  {CMD_DAEMON,            "-Z",                 NOTHING,          AT_ONCE,     NO,          Run_Daemon},
  {CMD_POST_EVENT,        "-e",                 NOTHING,          AT_ONCE,     YES,         Run_PostEvent},
  {CMD_LISTEN_EVENTS,     "-g",                 NOTHING,          AT_ONCE,     NO,          Run_ListenEvents},
  {CMD_ADD_UPLINKS,       "-U",                 UNCHECKED,        SWITCH_FLOW, YES,         Cmd_AddUplinks},
  {CMD_DELETE_UPLINK,     "-X",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_DeleteUplink},
  {CMD_SET_TEAMING,       "-L",                 TEAM_SWITCH,      SWITCH_FLOW, YES,         Cmd_SetTeaming},
  {CMD_SET_SHAPING,       "-b",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetShaping},
  {CMD_SET_CDP,           "-B",                 SWITCH,           SWITCH_FLOW, YES,         Cmd_SetCdp},
  {CMD_ASSOCIATE,         "-y",                 SWITCH,           SWITCH_FLOW, KERNEL_ONLY, Cmd_Associate},
  {CMD_DISSOCIATE,        "-Y",                 SWITCH,           SWITCH_FLOW, KERNEL_ONLY, Cmd_Dissociate},
  {CMD_SET_VLAN,          "-v",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetVlan},
  {CMD_SET_PVLAN_MAP,     "-V",                 SWITCH,           SWITCH_FLOW, YES,         Cmd_SetPvlanMap},
  {CMD_SET_IPFIX,         "-N",                 SWITCH,           SWITCH_FLOW, YES,         Cmd_SetIpfix},
  {CMD_SET_MIRROR,        "-m",                 SWITCH,           SWITCH_FLOW, YES,         Cmd_SetMirror},
  {CMD_SET_OVERLAY,       "-o",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetOverlay},
  {CMD_SET_LINK_STATUS,   "-M",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetLinkStatus},
  {CMD_SET_DVFILTER,      "-F",                 PORT_TEAM_SWITCH, SWITCH_FLOW, YES,         Cmd_SetDvfilter},
  {CMD_SET_RESPOOL_LIST,  "-k",                 UNCHECKED,        SWITCH_FLOW, KERNEL_ONLY, Cmd_SetRespoolList},
  {CMD_SET_RESPOOL_SCHED, "-j",                 UNCHECKED,        SWITCH_FLOW, KERNEL_ONLY, Cmd_SetRespoolScheduling},
  {CMD_SET_RESPOOL_CFG,   "-K",                 PORT_ONCE_FOUND,  SWITCH_FLOW, KERNEL_ONLY, Cmd_SetRespoolConfig},
  {CMD_SET_RESPOOL_ASSOC, "-z",                 PORT_ONCE_FOUND,  SWITCH_FLOW, KERNEL_ONLY, Cmd_SetRespoolAssociation},
  {CMD_SET_HOST_STATUS,   "-H",                 SWITCH,           SWITCH_FLOW, KERNEL_ONLY, Cmd_SetHostStatus},
  {CMD_SET_MTU,           "--mtu",              SWITCH,           SWITCH_FLOW, NO,          Cmd_SetMtu},
  {CMD_UPLINK_RESET,      "--reset",            PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkReset},
  {CMD_UPLINK_SET_CAP,    "--cap",              PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkSetCap},
  {CMD_UPLINK_STATES,     "--states",           PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkStates},
  {CMD_UPLINK_STATS,      "--stats",            PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkStats},
  {CMD_UPLINK_VLAN,       "--vlan",             PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkVlan},
  {CMD_UPLINK_GET_CAP,    "--getCap",           PORT_TEAM_SWITCH, SWITCH_FLOW, NO,          Cmd_UplinkGetCap},
  {CMD_SET_MAX_PORTS,     "--setMaxPorts",      SWITCH,           SWITCH_FLOW, YES,         Cmd_SetMaxPorts},
  {CMD_MISC_INFO,         "--miscInfo",         NOTHING,          AT_ONCE,     NO,          Cmd_MiscInfo},
  {CMD_ZORNIC_IP,         "--zornicIp",         NOTHING,          AT_ONCE,     NO,          Cmd_ZornicIp},
  {CMD_CMD_EXEC,          "--cmdExec",          SWITCH,           AT_ONCE,     NO,          Cmd_CmdExec},
  {CMD_TEAMCHK_DEPLOY,    "--teamchkDeploy",    UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckDeploy},
  {CMD_TEAMCHK_REMOVE,    "--teamchkRemove",    UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckRemove},
  {CMD_TEAMCHK_PARAM,     "--teamchkParam",     UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckParam},
  {CMD_VLANMTUCHK_DEPLOY, "--vlanMTUChkDeploy", UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckDeploy},
  {CMD_VLANMTUCHK_REMOVE, "--vlanMTUChkRemove", UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckRemove},
  {CMD_VLANMTUCHK_PARAM,  "--vlanMTUChkParam",  UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckParam},
  {CMD_QELTVLMCHK_DEPLOY, "--qeltVLMChkDeploy", UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckDeploy},
  {CMD_QELTVLMCHK_REMOVE, "--qeltVLMChkRemove", UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckRemove},
  {CMD_QELTVLMCHK_PARAM,  "--qeltVLMChkParam",  UNCHECKED,        SWITCH_FLOW, YES,         Cmd_CheckParam},
  {CMD_ENABLE_SINK,       "--enableSink",       SWITCH_AND_PORT,  SWITCH_FLOW, YES,         Cmd_EnableSink},
  {CMD_SET_LACP,          "--setLACP",          UNCHECKED,        SWITCH_FLOW, KERNEL_ONLY, Cmd_SetLacp},
  {CMD_CONFIG_LAG,        "--configLAG",        UNCHECKED,        SWITCH_FLOW, YES,         Cmd_ConfigLag},
  {CMD_SET_VERSION,       "--setVersion",       UNCHECKED,        SWITCH_FLOW, YES,         Cmd_SetVersion},
  {CMD_SET_DVSID,         "--setDVSID",         UNCHECKED,        SWITCH_FLOW, KERNEL_ONLY, Cmd_SetDvsId},
  {CMD_PERSIST,           "--persist",          UNCHECKED,        NO_LOOKUP,   YES,         Cmd_Persist},
  {CMD_NOPERSIST,         "--nopersist",        UNCHECKED,        SWITCH_FLOW, KERNEL_ONLY, Cmd_NoPersist},};
// clang-format on

constexpr bool TableIsComplete() {
  if (std::size(commandTable) != CMD_COUNT) return false;
  for (size_t i = 0; i < std::size(commandTable); i++) {
    const CommandRow &row = commandTable[i];
    if (row.code != static_cast<CommandCode>(i)) return false;
    if ((row.flow == AT_ONCE || row.flow == LOADED) != row.action.atOnce) return false;
  }
  return true;
}
static_assert(TableIsComplete(),
              "one row per command code, in code order, run the way its flow says");

/* Prints message on standard error; the usage text follows (status 0). */
Stop RefuseArguments(const char *message) {
  fputs(message, stderr);
  return Stop{0, true};
}

std::optional<Stop> RequireSwitch(const char *sw) {
  if (sw == nullptr) return RefuseArguments("switch name not specified.\n");
  return std::nullopt;
}

std::optional<Stop> RequireTeamPolicyType(const Invocation &inv) {
  if (static_cast<uint32_t>(inv.teamPolicyType) > 5) {
    fprintf(stderr, "invalid team policy type %d\n", inv.teamPolicyType);
    return Stop{0, true};
  }
  return std::nullopt;
}

}  // namespace

std::optional<Stop> Cli_ParseOptions(int argc, char **argv, Invocation &inv) {
  const std::vector<option> &longOptions = LongOptions();
  int longIndex = 0;
  int c;
  optind = 0; /* getopt starts afresh, for every command line it is given */
  while ((c = getopt_long(argc, argv, shortOptions, longOptions.data(), &longIndex)) != -1) {
    const OptionRow *row = nullptr;
    if (c == 0) {
      row = FindLongName(longOptions[longIndex].name);
    } else if (c > 0 && c <= 'z') {
      row = FindLetter(c);
    }
    if (row == nullptr) return Stop{0, true, c == 'h'};
    if (row->command != NO_COMMAND) inv.command = static_cast<CommandCode>(row->command);
    if (row->apply != nullptr) {
      const int stop = row->apply(inv, optarg);
      if (stop != CONTINUE) return Stop{stop, false};
    }
  }
  return std::nullopt;
}

const CommandRow &Cli_CommandRow(CommandCode code) {
  return commandTable[code];
}

std::optional<Stop> Cli_CheckArguments(Needs needs, const char *sw, const Invocation &inv) {
  std::optional<Stop> stop;
  switch (needs) {
    case Needs::SWITCH:
      return RequireSwitch(sw);
    case Needs::SWITCH_AND_PORT:
      if ((stop = RequireSwitch(sw))) return stop;
      return Cli_CheckPortOnceFound(inv);
    case Needs::PORT_TEAM_SWITCH:
      if ((stop = Cli_CheckPortOnceFound(inv))) return stop;
      if ((stop = RequireTeamPolicyType(inv))) return stop;
      return RequireSwitch(sw);
    case Needs::TEAM_SWITCH:
      if ((stop = RequireTeamPolicyType(inv))) return stop;
      return RequireSwitch(sw);
    case Needs::NOTHING:
    case Needs::UNCHECKED:
    case Needs::PORT_ONCE_FOUND:
      break;
  }
  return std::nullopt;
}

std::optional<Stop> Cli_CheckPortOnceFound(const Invocation &inv) {
  if (inv.portName == nullptr) return RefuseArguments("port name not specified.\n");
  return std::nullopt;
}

std::optional<Stop> Cli_CheckJson(const Invocation &inv) {
  if (!inv.json) return std::nullopt;
  if (inv.batchFile == nullptr && (inv.command == CMD_LIST || inv.command == CMD_GET_PROP)) {
    return std::nullopt;
  }
  fputs("--json goes only with -l and -r\n", stderr);
  return Stop{1, false};
}

std::optional<Stop> Cli_CheckClassName(const Invocation &inv) {
  if (inv.className == nullptr) return std::nullopt;
  fprintf(stderr, "Class name is not require for command %d.\n", inv.command);
  return Stop{-1, false};
}

std::optional<Stop> Cli_CheckSwitchId(const char *sw) {
  if (sw != nullptr) return std::nullopt;
  fputs("Switch ID is not specified.\n", stderr);
  return Stop{-1, false};
}

/*
 * Derives a switch ID from a name: its first 15 characters, zero padded
 * to 16 bytes, printed as the switch ID text.
 */
void Cli_DeriveSwitchId(const char *name, char *text) {
  uint8_t b[16] = {};
  for (size_t i = 0; i < sizeof(b) - 1 && name[i] != '\0'; i++) {
    b[i] = static_cast<uint8_t>(name[i]);
  }
  snprintf(text, DVS_SWITCH_ID_TEXT_LEN,
           "%02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx-"
           "%02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx %02hhx",
           b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
           b[14], b[15]);
}

/* The class index of a switch from its class name. */
SwitchClass Cli_ClassOf(DVSSwitch *h) {
  const char *name = DVS_ClassName(h);
  if (name != nullptr && strcmp(name, "vswitch") == 0) return SWITCH_CLASS_VSWITCH;
  if (name != nullptr && strcmp(name, "cswitch") == 0) return SWITCH_CLASS_CSWITCH;
  return SWITCH_CLASS_ETHERSWITCH;
}
