/*
 * brakk.cpp --
 *
 *    The front end of brakk: reads the options into one invocation record,
 *    resolves the switch argument into a switch ID text, checks that the
 *    command has what it needs, loads the configuration around it and
 *    turns its status into the process's exit status.
 *
 *    Two tables hold the command language: optionTable (what each option
 *    does to the invocation record) and commandTable (one row per command
 *    code: what its checks require, how it runs and its handler).
 */

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <iterator>
#include <memory>
#include <new>
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
#include "state/state_ops.h"
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

typedef void (*OptionApply)(Invocation &inv, const char *arg);

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
void SetCommandArg(Invocation &inv, const char *arg) {
  inv.commandArg = arg;
}
void SetCdpFlags(Invocation &inv, const char *arg) {
  inv.cdpFlags = static_cast<int32_t>(strtol(arg, nullptr, 0)); /* "0x10003" is accepted */
}
void SetTeamingFlag(Invocation &inv, const char *) {
  inv.teamingFlag = true;
}
void SetCreateAllPorts(Invocation &inv, const char *) {
  inv.createAllPorts = true;
}
void SetEventType(Invocation &inv, const char *arg) {
  inv.eventType = Number(arg);
}
void SetConfigFile(Invocation &inv, const char *arg) {
  inv.configFilePath = arg;
}
void SetUplinkNames(Invocation &inv, const char *arg) {
  inv.uplinkNames = arg;
}
void SetMirrorSpec(Invocation &inv, const char *arg) {
  inv.mirrorSpec = arg;
}
void SetArgIsSwitchId(Invocation &inv, const char *) {
  inv.argIsSwitchId = true;
}
void SetOverlaySpec(Invocation &inv, const char *arg) {
  inv.overlaySpec = arg;
}
void SetSwitchVersion(Invocation &inv, const char *arg) {
  inv.switchVersion = Number(arg);
}
void SetPortName(Invocation &inv, const char *arg) {
  inv.portName = arg;
}
void SetMaxPorts(Invocation &inv, const char *arg) {
  inv.maxPorts = Number(arg);
}
void SetTeamPolicyType(Invocation &inv, const char *arg) {
  inv.teamPolicyType = Number(arg);
}
void SetUplinkCount(Invocation &inv, const char *arg) {
  inv.uplinkCount = Number(arg);
}
void SetVlanSpec(Invocation &inv, const char *arg) {
  inv.vlanSpec = arg;
}
void SetPvlanSpec(Invocation &inv, const char *arg) {
  inv.pvlanSpec = arg;
}
void ReadAndDiscardNumber(Invocation &, const char *arg) {
  (void)Number(arg);
}
void SetCapValue(Invocation &inv, const char *arg) {
  inv.capValue = Number(arg);
}
void SetZornicName(Invocation &inv, const char *arg) {
  inv.zornicName = arg;
}
void SetExecCommand(Invocation &inv, const char *arg) {
  inv.execCommand = arg;
}
void SetExecArg(Invocation &inv, const char *arg) {
  inv.execArg = arg;
}
void SetCheckInterval(Invocation &inv, const char *arg) {
  inv.checkInterval = Number(arg);
}
void SetTeamchkParam(Invocation &inv, const char *arg) {
  inv.teamchkParam = static_cast<uint8_t>(Number(arg));
}
void SetSinkEnable(Invocation &inv, const char *arg) {
  inv.sinkEnable = static_cast<uint8_t>(Number(arg));
}
void SetDvsVersion(Invocation &inv, const char *arg) {
  inv.dvsVersion = Number(arg);
}
void SetDvsId(Invocation &inv, const char *arg) {
  inv.commandArg = arg;
  inv.dvsIdLength = static_cast<uint32_t>(strlen(arg) + 1);
}
void SetClassName(Invocation &inv, const char *arg) {
  inv.className = arg;
}

/* --vlanMTUChkParam and --qeltVLMChkParam: the range text is parsed at once; a bad one ends here.
 */
void ParseVlanRanges(Invocation &inv, const char *arg) {
  if (VlanBitmap_Parse(arg, inv.vlanRangeParam) != 0) Brakk_Exit(1);
}

void RefuseConfigStoreOption(Invocation &, const char *) {
  fprintf(stderr, "Unsupported operation: -E\n");
  Brakk_Exit(1);
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
std::vector<option> LongOptions() {
  std::vector<option> options;
  for (const OptionRow &row : optionTable) {
    if (row.longName != nullptr) options.push_back({row.longName, row.hasArg, nullptr, 0});
  }
  options.push_back({nullptr, 0, nullptr, 0});
  return options;
}

/* The row of a short option letter, or null when the letter has none. */
const OptionRow *FindLetter(int letter) {
  for (const OptionRow &row : optionTable) {
    if (row.letter != 0 && row.letter == letter) return &row;
  }
  return nullptr;
}

const OptionRow *FindLongName(const char *name) {
  for (const OptionRow &row : optionTable) {
    if (row.longName != nullptr && strcmp(row.longName, name) == 0) return &row;
  }
  return nullptr;
}

/*
 * Reads every option into inv. -h, an unknown option and a missing
 * argument print the usage text and end the process.
 */
void ParseOptions(int argc, char **argv, Invocation &inv) {
  const std::vector<option> longOptions = LongOptions();
  int longIndex = 0;
  int c;
  while ((c = getopt_long(argc, argv, shortOptions, longOptions.data(), &longIndex)) != -1) {
    const OptionRow *row = nullptr;
    if (c == 0) {
      row = FindLongName(longOptions[longIndex].name);
    } else if (c > 0 && c <= 'z') {
      row = FindLetter(c);
    }
    if (row == nullptr) Usage_Print();
    if (row->command != NO_COMMAND) inv.command = static_cast<CommandCode>(row->command);
    if (row->apply != nullptr) row->apply(inv, optarg);
  }
}

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
 * Derives a switch ID from a name: its first 15 characters, zero padded
 * to 16 bytes, printed as the switch ID text.
 */
void DeriveSwitchId(const char *name, char *text) {
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
    DeriveSwitchId(inv.switchArgument, id.derived);
    id.text = id.derived;
  }
  if (inv.configFilePath == nullptr && id.kernelStateLoaded) return;
  id.kernelStateLoaded = false;
  DVSState_ConfigReset();
}

/* ======================================================================
 * Commands
 * ====================================================================== */

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

struct CommandRow {
  CommandCode code;
  const char *option;
  Needs needs;
  Flow flow;
  CommandAction action;
};

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

// clang-format off
constexpr CommandRow commandTable[] = {
  /* code, option, checks before dispatch, flow, what runs it */
  {CMD_INIT_DB,           "-i",                NOTHING,          AT_ONCE,     Run_InitDb},
  {CMD_GET_PERSISTENT,    "-G",                NOTHING,          AT_ONCE,     Run_GetPersistent},
  {CMD_SET_KERNEL,        "-S",                NOTHING,          AT_ONCE,     Run_SetKernel},
  {CMD_RESET_KERNEL,      "-R",                NOTHING,          AT_ONCE,     Run_ResetKernel},
  {CMD_LIST,              "-l",                NOTHING,          LOADED,      Run_List},
  {CMD_ADD_SWITCH,        "-a",                SWITCH,           NO_LOOKUP,   Cmd_AddSwitch},
  {CMD_DELETE_SWITCH,     "-d",                SWITCH,           SWITCH_FLOW, Cmd_DeleteSwitch},
  {CMD_ADD_PORT,          "-A",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_AddPort},
  {CMD_DELETE_PORT,       "-D",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_DeletePort},
  {CMD_GET_PROP,          "-r",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_GetProp},
  {CMD_SET_PROP,          "-s",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetProp},
  {CMD_UNSET_PROP,        "-u",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UnsetProp},
  {CMD_SELF_TEST,         "-T",                NOTHING,          AT_ONCE,     Run_SelfTest},
  {CMD_DAEMON,            "-Z",                NOTHING,          AT_ONCE,     Run_Daemon},
  {CMD_POST_EVENT,        "-e",                NOTHING,          AT_ONCE,     Run_PostEvent},
  {CMD_LISTEN_EVENTS,     "-g",                NOTHING,          AT_ONCE,     Run_ListenEvents},
  {CMD_ADD_UPLINKS,       "-U",                UNCHECKED,        SWITCH_FLOW, Cmd_AddUplinks},
  {CMD_DELETE_UPLINK,     "-X",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_DeleteUplink},
  {CMD_SET_TEAMING,       "-L",                TEAM_SWITCH,      SWITCH_FLOW, Cmd_SetTeaming},
  {CMD_SET_SHAPING,       "-b",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetShaping},
  {CMD_SET_CDP,           "-B",                SWITCH,           SWITCH_FLOW, Cmd_SetCdp},
  {CMD_ASSOCIATE,         "-y",                SWITCH,           SWITCH_FLOW, Cmd_Associate},
  {CMD_DISSOCIATE,        "-Y",                SWITCH,           SWITCH_FLOW, Cmd_Dissociate},
  {CMD_SET_VLAN,          "-v",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetVlan},
  {CMD_SET_PVLAN_MAP,     "-V",                SWITCH,           SWITCH_FLOW, Cmd_SetPvlanMap},
  {CMD_SET_IPFIX,         "-N",                SWITCH,           SWITCH_FLOW, Cmd_SetIpfix},
  {CMD_SET_MIRROR,        "-m",                SWITCH,           SWITCH_FLOW, Cmd_SetMirror},
  {CMD_SET_OVERLAY,       "-o",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetOverlay},
  {CMD_SET_LINK_STATUS,   "-M",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetLinkStatus},
  {CMD_SET_DVFILTER,      "-F",                PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_SetDvfilter},
  {CMD_SET_RESPOOL_LIST,  "-k",                UNCHECKED,        SWITCH_FLOW, Cmd_SetRespoolList},
  {CMD_SET_RESPOOL_SCHED, "-j",                UNCHECKED,        SWITCH_FLOW, Cmd_SetRespoolScheduling},
  {CMD_SET_RESPOOL_CFG,   "-K",                PORT_ONCE_FOUND,  SWITCH_FLOW, Cmd_SetRespoolConfig},
  {CMD_SET_RESPOOL_ASSOC, "-z",                PORT_ONCE_FOUND,  SWITCH_FLOW, Cmd_SetRespoolAssociation},
  {CMD_SET_HOST_STATUS,   "-H",                SWITCH,           SWITCH_FLOW, Cmd_SetHostStatus},
  {CMD_SET_MTU,           "--mtu",             SWITCH,           SWITCH_FLOW, Cmd_SetMtu},
  {CMD_UPLINK_RESET,      "--reset",           PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkReset},
  {CMD_UPLINK_SET_CAP,    "--cap",             PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkSetCap},
  {CMD_UPLINK_STATES,     "--states",          PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkStates},
  {CMD_UPLINK_STATS,      "--stats",           PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkStats},
  {CMD_UPLINK_VLAN,       "--vlan",            PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkVlan},
  {CMD_UPLINK_GET_CAP,    "--getCap",          PORT_TEAM_SWITCH, SWITCH_FLOW, Cmd_UplinkGetCap},
  {CMD_SET_MAX_PORTS,     "--setMaxPorts",     SWITCH,           SWITCH_FLOW, Cmd_SetMaxPorts},
  {CMD_MISC_INFO,         "--miscInfo",        NOTHING,          AT_ONCE,     Cmd_MiscInfo},
  {CMD_ZORNIC_IP,         "--zornicIp",        NOTHING,          AT_ONCE,     Cmd_ZornicIp},
  {CMD_CMD_EXEC,          "--cmdExec",         SWITCH,           AT_ONCE,     Cmd_CmdExec},
  {CMD_TEAMCHK_DEPLOY,    "--teamchkDeploy",   UNCHECKED,        SWITCH_FLOW, Cmd_CheckDeploy},
  {CMD_TEAMCHK_REMOVE,    "--teamchkRemove",   UNCHECKED,        SWITCH_FLOW, Cmd_CheckRemove},
  {CMD_TEAMCHK_PARAM,     "--teamchkParam",    UNCHECKED,        SWITCH_FLOW, Cmd_CheckParam},
  {CMD_VLANMTUCHK_DEPLOY, "--vlanMTUChkDeploy", UNCHECKED,        SWITCH_FLOW, Cmd_CheckDeploy},
  {CMD_VLANMTUCHK_REMOVE, "--vlanMTUChkRemove", UNCHECKED,        SWITCH_FLOW, Cmd_CheckRemove},
  {CMD_VLANMTUCHK_PARAM,  "--vlanMTUChkParam", UNCHECKED,        SWITCH_FLOW, Cmd_CheckParam},
  {CMD_QELTVLMCHK_DEPLOY, "--qeltVLMChkDeploy", UNCHECKED,        SWITCH_FLOW, Cmd_CheckDeploy},
  {CMD_QELTVLMCHK_REMOVE, "--qeltVLMChkRemove", UNCHECKED,        SWITCH_FLOW, Cmd_CheckRemove},
  {CMD_QELTVLMCHK_PARAM,  "--qeltVLMChkParam", UNCHECKED,        SWITCH_FLOW, Cmd_CheckParam},
  {CMD_ENABLE_SINK,       "--enableSink",      SWITCH_AND_PORT,  SWITCH_FLOW, Cmd_EnableSink},
  {CMD_SET_LACP,          "--setLACP",         UNCHECKED,        SWITCH_FLOW, Cmd_SetLacp},
  {CMD_CONFIG_LAG,        "--configLAG",       UNCHECKED,        SWITCH_FLOW, Cmd_ConfigLag},
  {CMD_SET_VERSION,       "--setVersion",      UNCHECKED,        SWITCH_FLOW, Cmd_SetVersion},
  {CMD_SET_DVSID,         "--setDVSID",        UNCHECKED,        SWITCH_FLOW, Cmd_SetDvsId},
  {CMD_PERSIST,           "--persist",         UNCHECKED,        NO_LOOKUP,   Cmd_Persist},
  {CMD_NOPERSIST,         "--nopersist",       UNCHECKED,        SWITCH_FLOW, Cmd_NoPersist},
};
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

/* ======================================================================
 * Checks, the switch flow and the finish
 * ====================================================================== */

[[noreturn]] void RefuseArguments(const char *message) {
  fputs(message, stderr);
  Usage_Print();
}

void RequireSwitch(const char *sw) {
  if (sw == nullptr) RefuseArguments("switch name not specified.\n");
}

void RequirePort(const Invocation &inv) {
  if (inv.portName == nullptr) RefuseArguments("port name not specified.\n");
}

void RequireTeamPolicyType(const Invocation &inv) {
  if (static_cast<uint32_t>(inv.teamPolicyType) > 5) {
    fprintf(stderr, "invalid team policy type %d\n", inv.teamPolicyType);
    Usage_Print();
  }
}

/* The checks before dispatch; a missing argument prints why and the usage text (exit 0). */
void CheckArguments(Needs needs, const char *sw, const Invocation &inv) {
  switch (needs) {
    case SWITCH:
      RequireSwitch(sw);
      break;
    case SWITCH_AND_PORT:
      RequireSwitch(sw);
      RequirePort(inv);
      break;
    case PORT_TEAM_SWITCH:
      RequirePort(inv);
      RequireTeamPolicyType(inv);
      RequireSwitch(sw);
      break;
    case TEAM_SWITCH:
      RequireTeamPolicyType(inv);
      RequireSwitch(sw);
      break;
    case NOTHING:
    case UNCHECKED:
    case PORT_ONCE_FOUND:
      break;
  }
}

[[noreturn]] void FailFrontEnd(const char *message) {
  fputs(message, stderr);
  Brakk_Exit(-1);
}

/* The class index of a switch from its class name. */
SwitchClass ClassOf(DVSSwitch *h) {
  const char *name = DVS_ClassName(h);
  if (name != nullptr && strcmp(name, "vswitch") == 0) return SWITCH_CLASS_VSWITCH;
  if (name != nullptr && strcmp(name, "cswitch") == 0) return SWITCH_CLASS_CSWITCH;
  return SWITCH_CLASS_ETHERSWITCH;
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
  if (inv.className != nullptr) {
    fprintf(stderr, "Class name is not require for command %d.\n", inv.command);
    Brakk_Exit(-1);
  }
  if (LoadCommandState(inv, id) != ZOR_OK) FailFrontEnd("Failed to load config.\n");
  if (sw == nullptr) FailFrontEnd("Switch ID is not specified.\n");
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
  ParseOptions(argc, argv, inv);
  /* The mode is fixed once the options are read: -f edits a configuration, else the kernel. */
  const bool fileMode = inv.configFilePath != nullptr;
  const StateOps &state = fileMode ? CONFIG_STATE_OPS : KERNEL_STATE_OPS;

  SwitchId id;
  ResolveSwitchArgument(argc, argv, inv, id);

  const CommandRow &row = commandTable[inv.command];
  CheckArguments(row.needs, id.text, inv);

  CommandContext ctx{id.text, SWITCH_CLASS_NONE, nullptr, 0, inv, state, KERNEL_STATE_OPS, nullptr};
  switch (row.flow) {
    case AT_ONCE:
      Brakk_Exit(row.action.run(ctx));
    case LOADED:
      if (LoadCommandState(inv, id) != ZOR_OK) Brakk_Exit(1);
      Brakk_Exit(row.action.run(ctx));
    case NO_LOOKUP:
      /* The switch need not exist; in file mode the command edits the loaded file. */
      if (fileMode && Config_Load(LOAD_FILE, inv.configFilePath) != ZOR_OK) Brakk_Exit(-1);
      Finish(inv, row.action.handler(ctx));
    case SWITCH_FLOW: {
      ctx.handle = EnterSwitchFlow(inv, id);
      ctx.cls = ClassOf(ctx.handle);
      ctx.version = ctx.handle->version;
      if (row.needs == PORT_ONCE_FOUND) RequirePort(inv);
      Finish(inv, row.action.handler(ctx));
    }
  }
  return 0;
}
