// SPDX-License-Identifier: Apache-2.0
/*
 * command.h --
 *
 *    The vocabulary that every command shares: the command codes, the
 *    switch class, the invocation record that option parsing fills, what a
 *    handler receives (the command context) and what it gives back (the
 *    command result). The front end, the commands, the property families,
 *    the state layer, the listing and the events all speak it; it includes
 *    nothing of theirs.
 */

#ifndef APPS_NET_DVS_BASE_COMMAND_H
#define APPS_NET_DVS_BASE_COMMAND_H

#include <stdint.h>

#include <memory>

#include "dvslib.h"

/* Command codes; the numbers show in "Class name is not require for command %d." */
enum CommandCode : int32_t {
  CMD_INIT_DB = 0,
  CMD_GET_PERSISTENT = 1,
  CMD_SET_KERNEL = 2,
  CMD_RESET_KERNEL = 3,
  CMD_LIST = 4,
  CMD_ADD_SWITCH = 5,
  CMD_DELETE_SWITCH = 6,
  CMD_ADD_PORT = 7,
  CMD_DELETE_PORT = 8,
  CMD_GET_PROP = 9,
  CMD_SET_PROP = 10,
  CMD_UNSET_PROP = 11,
  CMD_SELF_TEST = 12,
  CMD_DAEMON = 13,
  CMD_POST_EVENT = 14,
  CMD_LISTEN_EVENTS = 15,
  CMD_ADD_UPLINKS = 16,
  CMD_DELETE_UPLINK = 17,
  CMD_SET_TEAMING = 18,
  CMD_SET_SHAPING = 19,
  CMD_SET_CDP = 20,
  CMD_ASSOCIATE = 21,
  CMD_DISSOCIATE = 22,
  CMD_SET_VLAN = 23,
  CMD_SET_PVLAN_MAP = 24,
  CMD_SET_IPFIX = 25,
  CMD_SET_MIRROR = 26,
  CMD_SET_OVERLAY = 27,
  CMD_SET_LINK_STATUS = 28,
  CMD_SET_DVFILTER = 29,
  CMD_SET_RESPOOL_LIST = 30,
  CMD_SET_RESPOOL_SCHED = 31,
  CMD_SET_RESPOOL_CFG = 32,
  CMD_SET_RESPOOL_ASSOC = 33,
  CMD_SET_HOST_STATUS = 34,
  CMD_SET_MTU = 35,
  CMD_UPLINK_RESET = 36,
  CMD_UPLINK_SET_CAP = 37,
  CMD_UPLINK_STATES = 38,
  CMD_UPLINK_STATS = 39,
  CMD_UPLINK_VLAN = 40,
  CMD_UPLINK_GET_CAP = 41,
  CMD_SET_MAX_PORTS = 42,
  CMD_MISC_INFO = 43,
  CMD_ZORNIC_IP = 44,
  CMD_CMD_EXEC = 45,
  CMD_TEAMCHK_DEPLOY = 46,
  CMD_TEAMCHK_REMOVE = 47,
  CMD_TEAMCHK_PARAM = 48,
  CMD_VLANMTUCHK_DEPLOY = 49,
  CMD_VLANMTUCHK_REMOVE = 50,
  CMD_VLANMTUCHK_PARAM = 51,
  CMD_QELTVLMCHK_DEPLOY = 52,
  CMD_QELTVLMCHK_REMOVE = 53,
  CMD_QELTVLMCHK_PARAM = 54,
  CMD_ENABLE_SINK = 55,
  CMD_SET_LACP = 56,
  CMD_CONFIG_LAG = 57,
  CMD_SET_VERSION = 58,
  CMD_SET_DVSID = 59,
  CMD_PERSIST = 60,
  CMD_NOPERSIST = 61,
  CMD_COUNT = 62,
};

/* Class index chosen from a switch's class name; selects a family's key. */
enum SwitchClass : int32_t {
  SWITCH_CLASS_NONE = -1,
  SWITCH_CLASS_ETHERSWITCH = 0,
  SWITCH_CLASS_VSWITCH = 1,
  SWITCH_CLASS_CSWITCH = 2,
};

#define VLAN_RANGE_PARAM_LEN 512

/*
 * One per command, filled by option parsing. Text fields point into the
 * argument vector; null means "not given".
 */
struct Invocation {
  CommandCode command = CMD_LIST;
  const char *commandArg = nullptr;
  const char *portName = nullptr;
  const char *className = nullptr;
  int32_t maxPorts = 64;
  int32_t switchVersion = -1;
  int32_t dvsVersion = -1;
  int32_t eventType = -1;
  int32_t teamPolicyType = 3;
  int32_t capValue = 0;
  int32_t uplinkCount = 0;
  int32_t checkInterval = 0;
  uint8_t teamchkParam = 0;
  uint8_t sinkEnable = 0;
  int32_t cdpFlags = 0;
  uint32_t dvsIdLength = 0;
  bool createAllPorts = false;
  bool argIsSwitchId = false;
  const char *vlanSpec = nullptr;
  const char *pvlanSpec = nullptr;
  const char *mirrorSpec = nullptr;
  const char *overlaySpec = nullptr;
  const char *uplinkNames = nullptr;
  /* --vlanMTUChkParam, --qeltVLMChkParam: the ranges as a bitmap of VLAN_RANGE_PARAM_LEN bytes. */
  std::shared_ptr<const uint8_t[]> vlanRangeParam;
  const char *zornicName = nullptr;
  const char *execCommand = nullptr;
  const char *execArg = nullptr;
  /* -f: the configuration that file mode loads and saves; null in kernel mode. */
  const char *configFilePath = nullptr;
  /* -c: beacon probing, read only by the teaming command. */
  bool teamingFlag = false;
  /* The switch name as typed (the first argument left after the options), or null. */
  const char *switchArgument = nullptr;
  /* --batch: the file of commands to run as one batch; null for a single command. */
  const char *batchFile = nullptr;
  /* --check: run (file mode) or check (kernel mode) the batch, but keep nothing. */
  bool batchCheck = false;
  /* --json: -l and -r print one JSON document instead of the text. */
  bool json = false;
};

/* The table of state operations a command edits through (state/state_ops.h). */
struct StateOps;
/* Events held back until a batch's configuration is saved (events/events.h). */
struct EventQueue;

/*
 * What a handler receives. The switch flow fills in the switch it found
 * in the configuration state that it loaded (the file in file mode, the
 * kernel's state in kernel mode) and leaves that state loaded while the
 * handler runs; the handle stays valid until the handler returns.
 * Commands outside the switch flow get no handle, no version and
 * SWITCH_CLASS_NONE.
 */
struct CommandContext {
  const char *sw;         /* the switch ID text; null where the command allows no switch */
  SwitchClass cls;        /* the class of the switch */
  DVSSwitch *handle;      /* the switch in the loaded configuration state, or null */
  uint32_t version;       /* the switch's version number, or 0 */
  const Invocation &inv;  /* the options */
  const StateOps &state;  /* what the command edits: the configuration state or the kernel */
  const StateOps &kernel; /* the kernel, for the commands that always talk to it */
  EventQueue *events;     /* null: events are posted at once; else held here (Event_Submit) */
};

/* How the front end ends a command once its handler has returned. */
enum class CommandEnd : uint8_t {
  STATUS,      /* 0: the usual finish (save in file mode); else "Operation failed" */
  USAGE,       /* print usageLine (if any) on standard error, then the usage text; exit 0 */
  EXIT,        /* end with exitStatus at once: nothing is printed or saved */
  SAVE_STATUS, /* save the configuration and take the save's result as the status */
};

/*
 * What a handler gives back. Most return a status, which converts to a
 * result of the usual kind; the other kinds serve the few commands whose
 * end is not the usual one.
 */
struct CommandResult {
  CommandEnd end = CommandEnd::STATUS;
  ZOR_ReturnStatus status = ZOR_OK;
  const char *usageLine = nullptr;
  int exitStatus = 0;

  CommandResult(ZOR_ReturnStatus s) : status(s) {}

  /* Bad arguments: line (a whole line with its newline, or null) and the usage text. */
  static CommandResult Usage(const char *line) {
    CommandResult r(ZOR_OK);
    r.end = CommandEnd::USAGE;
    r.usageLine = line;
    return r;
  }
  /* The command has printed why it stops; the process ends with exitStatus. */
  static CommandResult Exit(int exitStatus) {
    CommandResult r(ZOR_OK);
    r.end = CommandEnd::EXIT;
    r.exitStatus = exitStatus;
    return r;
  }
  /* The command's status is that of saving the configuration now. */
  static CommandResult SaveStatus() {
    CommandResult r(ZOR_OK);
    r.end = CommandEnd::SAVE_STATUS;
    return r;
  }
};

typedef CommandResult (*CommandHandler)(const CommandContext &ctx);

#endif  // APPS_NET_DVS_BASE_COMMAND_H
