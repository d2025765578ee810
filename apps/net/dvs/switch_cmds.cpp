/*
 * switch_cmds.cpp --
 *
 *    Commands on switches and ports, and the initial properties of a new
 *    port. Every handler works on the configuration state in file mode and
 *    on the kernel in kernel mode, except where a command always talks to
 *    the kernel (association, DVS ID, no-persist, reading a property).
 */

#include "switch_cmds.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "events/events.h"
#include "listing/listing.h"
#include "props/vlan.h"
#include "state/config.h"
#include "state/kernel_reply.h"
#include "state/target.h"

namespace {

/* ---- Small helpers ---------------------------------------------------- */

std::array<uint8_t, 4> Le32(uint32_t value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8),
          static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 24)};
}

bool StartsWith(const char *text, const char *prefix) {
  return strncmp(text, prefix, strlen(prefix)) == 0;
}

uint32_t TextSize(const char *text) {
  return static_cast<uint32_t>(strlen(text) + 1);
}

struct DataTreeDeleter {
  void operator()(DVSData *tree) const { DVSData_Free(tree); }
};
using DataTreePtr = std::unique_ptr<DVSData, DataTreeDeleter>;

/* ---- Port_Init -------------------------------------------------------- */

/* Adds the initial properties of a port to tree; failures of single updates are not reported. */
void AddInitialProperties(DVSData *tree, const char *portName, bool uplink, bool withLongProp,
                          SwitchClass cls) {
  static const char blockValue[] = "false";
  const std::array<uint8_t, 4> connectId = Le32(1);
  const std::vector<uint8_t> vlan = VlanPolicy_BuildInitial(uplink);

  DVSData_Update(tree, KEY_PORT_ALIAS, portName, TextSize(portName), PROP_CONFIG);
  DVSData_Update(tree, KEY_PORT_CONNECTID, connectId.data(), connectId.size(), PROP_CONFIG);
  DVSData_Update(tree, KEY_PORT_BLOCK, blockValue, sizeof(blockValue), PROP_CONFIG);
  DVSData_Update(tree, VlanPolicy_Key(cls), vlan.data(), static_cast<uint32_t>(vlan.size()),
                 PROP_CONFIG);
  if (withLongProp) {
    std::vector<uint8_t> longValue(1024, 'x');
    longValue.back() = '\0';
    DVSData_Update(tree, KEY_LONG_PROP, longValue.data(), static_cast<uint32_t>(longValue.size()),
                   PROP_CONFIG);
  }
}

/* Kernel mode: sends the serialised tree to the kernel as the new port. */
ZOR_ReturnStatus SendPortToKernel(const char *sw, const char *portName, DataTreePtr tree) {
  void *block = nullptr;
  uint32_t len = 0;
  ZOR_ReturnStatus status = DVSData_Serialize(tree.get(), &block, &len, 4);
  tree.reset();
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSData_Serialize failed: %s\n", ZOR_ReturnStatusToString(status));
    return status;
  }
  std::unique_ptr<void, decltype(&free)> owned(block, &free);
  status = DVSZOR_PortAdd(sw, portName, block, len);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSZOR_PortAdd failed: %s\n", ZOR_ReturnStatusToString(status));
  }
  return status;
}

/* ---- Add switch ------------------------------------------------------- */

/* What -a passes to the switch-add operation, chosen from --className and -O. */
struct SwitchKind {
  char className[DVS_CLASS_NAME_LEN] = {};
  SwitchClass index = SWITCH_CLASS_CSWITCH;
  int32_t version = 6;
};

SwitchKind ChooseSwitchKind(const Invocation &inv) {
  SwitchKind kind;
  const bool versionGiven = inv.switchVersion != -1;
  if (inv.className != nullptr && versionGiven) {
    /* Both: the name only selects the index; the switch gets no class and no version. */
    kind.index =
        StartsWith(inv.className, "vswitch") ? SWITCH_CLASS_VSWITCH : SWITCH_CLASS_ETHERSWITCH;
    kind.version = -1;
  } else if (inv.className != nullptr) {
    Str_Strcpy(kind.className, inv.className, sizeof(kind.className));
    if (StartsWith(inv.className, "vswitch")) {
      kind.index = SWITCH_CLASS_VSWITCH;
    } else if (StartsWith(inv.className, "cswitch")) {
      kind.index = SWITCH_CLASS_CSWITCH;
    } else {
      kind.index = SWITCH_CLASS_ETHERSWITCH;
    }
    kind.version = kind.index == SWITCH_CLASS_CSWITCH ? 6 : 5;
  } else if (versionGiven && inv.switchVersion <= 5) {
    Str_Strcpy(kind.className, "etherswitch", sizeof(kind.className));
    kind.index = SWITCH_CLASS_ETHERSWITCH;
    kind.version = 5;
  } else {
    Str_Strcpy(kind.className, "cswitch", sizeof(kind.className));
  }
  return kind;
}

/* ---- Set property ----------------------------------------------------- */

bool AllDigits(const char *text) {
  for (; *text != '\0'; text++) {
    if (!isdigit(static_cast<unsigned char>(*text))) return false;
  }
  return true;
}

/*
 * The value of -s: a text made only of digits is a u32 (low 32 bits of
 * its value; an empty text is 0), anything else the text with its NUL.
 */
std::vector<uint8_t> EncodeSetValue(const char *text) {
  if (AllDigits(text)) {
    const std::array<uint8_t, 4> number = Le32(static_cast<uint32_t>(strtoull(text, nullptr, 10)));
    return std::vector<uint8_t>(number.begin(), number.end());
  }
  return std::vector<uint8_t>(text, text + strlen(text) + 1);
}

/* Tells the host that a port feature changed, passing the port's external ID when known. */
void PostPortFeatureEvent(const char *sw, const char *port) {
  KernelReply externalId;
  if (DVSZOR_PortDataGet(sw, port, KEY_VNIC_EXTERNAL_ID, &externalId.data, &externalId.len) ==
      ZOR_OK) {
    Event_Post(EVENT_PORT_FEATURE, sw, port, externalId.data, externalId.len);
  } else {
    Event_Post(EVENT_PORT_FEATURE, sw, port, nullptr, 0);
  }
}

/* ---- Get property ----------------------------------------------------- */

ZOR_ReturnStatus KernelGet(const char *sw, const char *target, const char *key,
                           KernelReply &reply) {
  if (strcmp(target, TARGET_GLOBAL_LIST) == 0) {
    return DVSZOR_GlobalPropGet(sw, key, &reply.data, &reply.len);
  }
  if (strcmp(target, TARGET_HOST_LIST) == 0) {
    return DVSZOR_HostPropGet(sw, key, &reply.data, &reply.len);
  }
  return DVSZOR_PortDataGet(sw, target, key, &reply.data, &reply.len);
}

/* Whether the kernel's copy of the switch has a version above 99 (the newer layout). */
bool KernelSwitchIsHighVersion(const char *sw) {
  KernelReply version;
  if (DVSZOR_GlobalPropGet(sw, KEY_SWITCH_VERSION, &version.data, &version.len) != ZOR_OK ||
      version.data == nullptr || version.len < 4) {
    return false;
  }
  const uint8_t *bytes = static_cast<const uint8_t *>(version.data);
  uint32_t value =
      bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
  return value > 99;
}

/* ---- Link status ------------------------------------------------------ */

/* Speed in Mb/s and the speed-and-duplex code of LinkStatus. */
struct LinkSpeedRow {
  long speed;
  uint16_t code;
};

const LinkSpeedRow linkSpeedTable[] = {
    {0, 1},       {10, 4},       {100, 16},     {1000, 64},      {2500, 128},
    {10000, 512}, {20000, 1024}, {40000, 4096}, {100000, 32768},
};

/* LinkStatus (4 bytes, packed): u8 link up, u8 reserved 0, u16 LE speed-and-duplex code. */
std::array<uint8_t, 4> BuildLinkStatus(bool up, uint16_t code) {
  return {static_cast<uint8_t>(up ? 1 : 0), 0, static_cast<uint8_t>(code),
          static_cast<uint8_t>(code >> 8)};
}

/* ---- Versions --------------------------------------------------------- */

bool IsValidSwitchVersion(int32_t version) {
  return (version >= 4 && version <= 10) || version == 100 || (version >= 107 && version <= 110);
}

}  // namespace

ZOR_ReturnStatus Port_Init(const char *sw, const char *portName, bool uplink, bool withLongProp,
                           SwitchClass cls) {
  DVSData *raw = nullptr;
  ZOR_ReturnStatus status = DVSData_Alloc(&raw, malloc, free);
  if (status != ZOR_OK) return status;
  DataTreePtr tree(raw);

  AddInitialProperties(tree.get(), portName, uplink, withLongProp, cls);
  if (!InFileMode()) return SendPortToKernel(sw, portName, std::move(tree));

  status = DVSState_PortAdd(sw, portName, tree.get());
  if (status == ZOR_OK) tree.release(); /* the configuration state owns it now */
  return status;
}

ZOR_ReturnStatus Cmd_AddSwitch(const CommandContext &ctx) {
  if (ctx.sw == nullptr || switchArgument == nullptr) return ZOR_BAD_PARAM;
  const SwitchKind kind = ChooseSwitchKind(ctx.inv);
  ZOR_ReturnStatus status;
  if (InFileMode()) {
    if (Config_Load(LOAD_FILE) != ZOR_OK) Brakk_Exit(-1);
    status = DVSState_SwitchAdd(ctx.sw, kind.className, ctx.inv.maxPorts, kind.version);
  } else {
    status = DVSZOR_SwitchAdd(ctx.sw, kind.className, ctx.inv.maxPorts, kind.version);
  }
  if (status != ZOR_OK) return status;

  /* The name as typed becomes the alias by which later commands find the switch. */
  Target_SetProp(ctx.sw, TARGET_GLOBAL_LIST, KEY_SWITCH_ALIAS, switchArgument,
                 TextSize(switchArgument));

  if (ctx.inv.createAllPorts) {
    for (int32_t i = 0; i < ctx.inv.maxPorts; i++) {
      status = Port_Init(ctx.sw, std::to_string(i).c_str(), false, true, kind.index);
      if (status != ZOR_OK) return status;
    }
  }
  return ZOR_OK;
}

ZOR_ReturnStatus Cmd_DeleteSwitch(const CommandContext &ctx) {
  return InFileMode() ? DVSState_SwitchRemove(ctx.sw) : DVSZOR_SwitchRemove(ctx.sw);
}

ZOR_ReturnStatus Cmd_AddPort(const CommandContext &ctx) {
  return Port_Init(ctx.sw, ctx.inv.portName, false, false, ctx.cls);
}

ZOR_ReturnStatus Cmd_DeletePort(const CommandContext &ctx) {
  return InFileMode() ? DVSState_PortRemove(ctx.sw, ctx.inv.portName)
                      : DVSZOR_PortRemove(ctx.sw, ctx.inv.portName);
}

ZOR_ReturnStatus Cmd_GetProp(const CommandContext &ctx) {
  const char *key = ctx.inv.commandArg;
  KernelReply value;
  ZOR_ReturnStatus status =
      InFileMode() ? ZOR_NOT_SUPPORTED : KernelGet(ctx.sw, ctx.inv.portName, key, value);
  if (status != ZOR_OK) {
    fprintf(stderr, "Failed to get port data: %s\n", ZOR_ReturnStatusToString(status));
    return status;
  }
  listingHighVersion = KernelSwitchIsHighVersion(ctx.sw);
  Prop_Print(key, value.data, value.len, PROP_CONFIG);
  return ZOR_OK;
}

ZOR_ReturnStatus Cmd_SetProp(const CommandContext &ctx) {
  const char *arg = ctx.inv.commandArg;
  const char *target = ctx.inv.portName;
  const char *equals = strchr(arg, '=');
  const std::string key = equals != nullptr ? std::string(arg, equals) : std::string(arg);
  const std::vector<uint8_t> value = EncodeSetValue(equals != nullptr ? equals + 1 : "true");

  ZOR_ReturnStatus status = Target_SetProp(ctx.sw, target, key.c_str(), value.data(),
                                           static_cast<uint32_t>(value.size()));
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSState_PortDataSet failed\n");
    return status;
  }
  if (strstr(arg, PORT_FEATURE_KEY_PART) != nullptr) PostPortFeatureEvent(ctx.sw, target);
  return ZOR_OK;
}

ZOR_ReturnStatus Cmd_UnsetProp(const CommandContext &ctx) {
  return Target_ClearProp(ctx.sw, ctx.inv.portName, ctx.inv.commandArg);
}

ZOR_ReturnStatus Cmd_Associate(const CommandContext &ctx) {
  return DVSZOR_SwitchAssociate(ctx.sw);
}

ZOR_ReturnStatus Cmd_Dissociate(const CommandContext &ctx) {
  return DVSZOR_SwitchDissociate(ctx.sw);
}

ZOR_ReturnStatus Cmd_SetLinkStatus(const CommandContext &ctx) {
  if (ctx.inv.commandArg == nullptr) return ZOR_BAD_PARAM;
  /* strtok works on a copy: the argument vector stays as typed. */
  std::vector<char> text(ctx.inv.commandArg, ctx.inv.commandArg + strlen(ctx.inv.commandArg) + 1);
  char *save = nullptr;
  const char *state = strtok_r(text.data(), ",", &save);
  if (state == nullptr) return ZOR_BAD_PARAM;
  printf("linkup/down = %s\n", state);
  const bool up = strcmp(state, "up") == 0;

  uint16_t code = 1;
  const char *speedText = strtok_r(nullptr, ",", &save);
  if (speedText == nullptr) {
    puts("no speed");
  } else {
    printf("speed = %s\n", speedText);
    const long speed = strtol(speedText, nullptr, 10);
    const LinkSpeedRow *row = nullptr;
    for (const LinkSpeedRow &candidate : linkSpeedTable) {
      if (candidate.speed == speed) row = &candidate;
    }
    if (row == nullptr) {
      fprintf(stderr, "unsupported speed %d\n", static_cast<int>(speed));
      return static_cast<ZOR_ReturnStatus>(-1);
    }
    code = row->code;
  }

  const std::array<uint8_t, 4> value = BuildLinkStatus(up, code);
  if (!InFileMode()) {
    return DVSZOR_PortDataSet(ctx.sw, ctx.inv.portName, KEY_PORT_LINKSTATUS, value.data(),
                              value.size(), PROP_CONFIG);
  }
  DVSPort *port = DVSState_PortFind(ctx.sw, ctx.inv.portName);
  if (port == nullptr) return ZOR_NOT_FOUND;
  return DVSState_PortDataSet(port, KEY_PORT_LINKSTATUS, value.data(), value.size(), PROP_CONFIG);
}

ZOR_ReturnStatus Cmd_SetMaxPorts(const CommandContext &ctx) {
  if (InFileMode()) Brakk_Exit(Config_Save(false)); /* the file has no such setting */
  return DVSZOR_SwitchSetMaxPorts(ctx.sw, ctx.inv.maxPorts);
}

ZOR_ReturnStatus Cmd_SetVersion(const CommandContext &ctx) {
  const int32_t version = ctx.inv.dvsVersion;
  if (!IsValidSwitchVersion(version)) {
    fprintf(stderr, "Wrong parameters for DVS version\n");
    return ZOR_NOT_SUPPORTED;
  }
  ZOR_ReturnStatus status = InFileMode() ? DVSState_SwitchSetVersion(ctx.sw, version)
                                         : DVSZOR_SwitchSetVersion(ctx.sw, version);
  if (status != ZOR_OK) return status;
  const std::array<uint8_t, 4> value = Le32(static_cast<uint32_t>(version));
  Target_SetProp(ctx.sw, TARGET_GLOBAL_LIST, KEY_SWITCH_VERSION, value.data(), value.size());
  return ZOR_OK;
}

ZOR_ReturnStatus Cmd_SetDvsId(const CommandContext &ctx) {
  return DVSZOR_HostPropSet(ctx.sw, KEY_HOST_DVSID, ctx.inv.commandArg, ctx.inv.dvsIdLength,
                            PROP_VOLATILE);
}

ZOR_ReturnStatus Cmd_Persist(const CommandContext &) {
  /* In file mode the loaded configuration is what the front end then saves. */
  if (InFileMode() && Config_Load(LOAD_FILE) != ZOR_OK) Brakk_Exit(-1);
  Event_Post(EVENT_PERSIST, nullptr, nullptr, nullptr, 0);
  return ZOR_OK;
}

ZOR_ReturnStatus Cmd_NoPersist(const CommandContext &ctx) {
  const char *arg = ctx.inv.commandArg;
  uint8_t flag;
  if (StartsWith(arg, "true")) {
    flag = 1;
  } else if (StartsWith(arg, "false")) {
    flag = 0;
  } else {
    fprintf(stderr, "Invalid argument [true|false] but %s is passed\n", arg);
    return ZOR_BAD_PARAM;
  }
  ZOR_ReturnStatus status = DVSZOR_GlobalPropSet(ctx.sw, KEY_NOPERSIST, &flag, 1, PROP_VOLATILE);
  if (status != ZOR_OK) {
    fprintf(stderr, "Fail to set %s to %s", KEY_NOPERSIST, flag ? "true" : "false");
  }
  return status;
}
