/*
 * brakk.h --
 *
 *    The invocation record that option parsing fills, the command codes,
 *    the process-wide values the command handlers read, and the two ways
 *    the front end ends a process early (usage and panic).
 */

#ifndef APPS_NET_DVS_BRAKK_H
#define APPS_NET_DVS_BRAKK_H

#include <stdint.h>

#include "dvslib.h"
#include "state/state_ops.h"

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
 * One per process, filled by option parsing. Text fields point into the
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
  uint8_t vlanRangeParam[VLAN_RANGE_PARAM_LEN] = {};
  const char *zornicName = nullptr;
  const char *execCommand = nullptr;
  const char *execArg = nullptr;
};

/* The -f path: the configuration that file mode loads and saves; null in kernel mode. */
extern const char *configFilePath;
/* -c: read only by the teaming command. */
extern bool teamingFlag;
/* The switch name as typed (first non-option argument), or null. */
extern const char *switchArgument;

/*
 * What a command handler receives: the switch ID text (null where the
 * command allows no switch), the class of the resolved switch, the
 * invocation record and the state the command edits (the configuration
 * state in file mode, the kernel in kernel mode; chosen once by main).
 * Handlers return a status; 0 is success.
 */
struct CommandContext {
  const char *sw;
  SwitchClass cls;
  const Invocation &inv;
  const StateOps &state;
};

typedef ZOR_ReturnStatus (*CommandHandler)(const CommandContext &ctx);

/*
 * Ends the process with status after flushing standard output. Every path
 * that ends a command early goes through here.
 */
[[noreturn]] void Brakk_Exit(int status);
/* Prints the usage text on standard output and ends the process with 0. */
[[noreturn]] void Usage_Print();
/* Prints a formatted message on standard error and ends the process with 255. */
[[noreturn]] void Panic(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif  // APPS_NET_DVS_BRAKK_H
