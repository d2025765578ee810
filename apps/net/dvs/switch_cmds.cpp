// SPDX-License-Identifier: Apache-2.0
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

#include <optional>
#include <string>
#include <vector>

#include "events/events.h"
#include "listing/listing.h"
#include "listing/runtime.h"
#include "props/bytes.h"
#include "props/common.h"
#include "state/state_ops.h"
#include "state/target.h"

namespace {

/* ---- Small helpers ---------------------------------------------------- */

/* A 4-byte little-endian unsigned value. */
ByteWriter U32Value(uint32_t value) {
  ByteWriter w(4);
  w.PutU32(0, value);
  return w;
}

bool StartsWith(const char *text, const char *prefix) {
  return strncmp(text, prefix, strlen(prefix)) == 0;
}

uint32_t TextSize(const char *text) {
  return static_cast<uint32_t>(strlen(text) + 1);
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
ByteWriter EncodeSetValue(const char *text) {
  if (AllDigits(text)) return U32Value(static_cast<uint32_t>(strtoull(text, nullptr, 10)));
  ByteWriter value(TextSize(text));
  value.PutBytes(0, text, value.Length());
  return value;
}

/* Tells the host that a port feature changed, passing the port's external ID when known. */
void PostPortFeatureEvent(const CommandContext &ctx, const char *port) {
  PropValue externalId;
  if (ctx.kernel.portGet(ctx.sw, port, KEY_VNIC_EXTERNAL_ID, externalId) == ZOR_OK) {
    Event_Submit(ctx.events, EVENT_PORT_FEATURE, ctx.sw, port, externalId.data(),
                 static_cast<uint32_t>(externalId.size()));
  } else {
    Event_Submit(ctx.events, EVENT_PORT_FEATURE, ctx.sw, port, nullptr, 0);
  }
}

/* ---- Get property ----------------------------------------------------- */

/* Whether the kernel's copy of the switch has a version above 99 (the newer layout). */
bool KernelSwitchIsHighVersion(const StateOps &kernel, const char *sw) {
  PropValue version;
  if (kernel.globalGet(sw, KEY_SWITCH_VERSION, version) != ZOR_OK) return false;
  const std::optional<uint32_t> number = ByteReader(version.data(), version.size()).U32(0);
  return number && *number > 99;
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

/* A LinkStatus value (layout in listing/runtime.h, beside its printer). */
ByteWriter BuildLinkStatus(bool up, uint16_t code) {
  ByteWriter value(LINK_STATUS_LEN);
  value.PutU8(LINK_STATUS_OFF_UP, up ? 1 : 0);
  value.PutU16(LINK_STATUS_OFF_SPEED, code);
  return value;
}

/* ---- Versions --------------------------------------------------------- */

bool IsValidSwitchVersion(int32_t version) {
  return (version >= 4 && version <= 10) || version == 100 || (version >= 107 && version <= 110);
}

}  // namespace

CommandResult Cmd_AddSwitch(const CommandContext &ctx) {
  const SwitchKind kind = ChooseSwitchKind(ctx.inv);
  ZOR_ReturnStatus status =
      ctx.state.switchAdd(ctx.sw, kind.className, ctx.inv.maxPorts, kind.version);
  if (status != ZOR_OK) return status;

  /* The name as typed becomes the alias by which later commands find the switch. */
  Target_SetProp(ctx.state, ctx.sw, DVS_TARGET_GLOBAL_LIST, KEY_SWITCH_ALIAS,
                 ctx.inv.switchArgument, TextSize(ctx.inv.switchArgument));

  if (ctx.inv.createAllPorts) {
    for (int32_t i = 0; i < ctx.inv.maxPorts; i++) {
      status = Port_Init(ctx.state, ctx.sw, std::to_string(i).c_str(), false, true, kind.index);
      if (status != ZOR_OK) return status;
    }
  }
  return ZOR_OK;
}

CommandResult Cmd_DeleteSwitch(const CommandContext &ctx) {
  return ctx.state.switchRemove(ctx.sw);
}

CommandResult Cmd_AddPort(const CommandContext &ctx) {
  return Port_Init(ctx.state, ctx.sw, ctx.inv.portName, false, false, ctx.cls);
}

CommandResult Cmd_DeletePort(const CommandContext &ctx) {
  return ctx.state.portRemove(ctx.sw, ctx.inv.portName);
}

CommandResult Cmd_GetProp(const CommandContext &ctx) {
  const char *key = ctx.inv.commandArg;
  PropValue value;
  /* Reading a single property is a kernel query; a file is only listed whole. */
  ZOR_ReturnStatus status = ctx.state.fileMode
                                ? ZOR_NOT_SUPPORTED
                                : Target_GetProp(ctx.kernel, ctx.sw, ctx.inv.portName, key, value);
  if (status != ZOR_OK) {
    fprintf(stderr, "Failed to get port data: %s\n", ZOR_ReturnStatusToString(status));
    return status;
  }
  PrintContext pc;
  pc.highVersion = KernelSwitchIsHighVersion(ctx.kernel, ctx.sw);
  if (ctx.inv.json) {
    Prop_PrintJsonDocument(pc, key, value.data(), static_cast<uint32_t>(value.size()), PROP_CONFIG);
  } else {
    Prop_Print(pc, key, value.data(), static_cast<uint32_t>(value.size()), PROP_CONFIG);
  }
  return ZOR_OK;
}

CommandResult Cmd_SetProp(const CommandContext &ctx) {
  const char *arg = ctx.inv.commandArg;
  const char *target = ctx.inv.portName;
  const char *equals = strchr(arg, '=');
  const std::string key = equals != nullptr ? std::string(arg, equals) : std::string(arg);
  const ByteWriter value = EncodeSetValue(equals != nullptr ? equals + 1 : "true");

  ZOR_ReturnStatus status =
      Target_SetProp(ctx.state, ctx.sw, target, key.c_str(), value.Data(), value.Length());
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSState_PortDataSet failed\n");
    return status;
  }
  if (strstr(arg, PORT_FEATURE_KEY_PART) != nullptr) PostPortFeatureEvent(ctx, target);
  return ZOR_OK;
}

CommandResult Cmd_UnsetProp(const CommandContext &ctx) {
  return Target_ClearProp(ctx.state, ctx.sw, ctx.inv.portName, ctx.inv.commandArg);
}

CommandResult Cmd_Associate(const CommandContext &ctx) {
  return ctx.kernel.switchAssociate(ctx.sw);
}

CommandResult Cmd_Dissociate(const CommandContext &ctx) {
  return ctx.kernel.switchDissociate(ctx.sw);
}

CommandResult Cmd_SetLinkStatus(const CommandContext &ctx) {
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

  const ByteWriter value = BuildLinkStatus(up, code);
  return ctx.state.portSet(ctx.sw, ctx.inv.portName, KEY_PORT_LINKSTATUS, value.Data(),
                           value.Length(), PROP_CONFIG);
}

CommandResult Cmd_SetMaxPorts(const CommandContext &ctx) {
  if (ctx.state.fileMode) return ZOR_OK; /* the file has no such setting; it is rewritten */
  return ctx.kernel.switchSetMaxPorts(ctx.sw, ctx.inv.maxPorts);
}

CommandResult Cmd_SetVersion(const CommandContext &ctx) {
  const int32_t version = ctx.inv.dvsVersion;
  if (!IsValidSwitchVersion(version)) {
    fprintf(stderr, "Wrong parameters for DVS version\n");
    return ZOR_NOT_SUPPORTED;
  }
  ZOR_ReturnStatus status = ctx.state.switchSetVersion(ctx.sw, version);
  if (status != ZOR_OK) return status;
  const ByteWriter value = U32Value(static_cast<uint32_t>(version));
  Target_SetProp(ctx.state, ctx.sw, DVS_TARGET_GLOBAL_LIST, KEY_SWITCH_VERSION, value.Data(),
                 value.Length());
  return ZOR_OK;
}

CommandResult Cmd_SetDvsId(const CommandContext &ctx) {
  return ctx.kernel.hostSet(ctx.sw, KEY_HOST_DVSID, ctx.inv.commandArg, ctx.inv.dvsIdLength,
                            PROP_VOLATILE);
}

CommandResult Cmd_Persist(const CommandContext &ctx) {
  Event_Submit(ctx.events, EVENT_PERSIST, nullptr, nullptr, nullptr, 0);
  return ZOR_OK;
}

CommandResult Cmd_NoPersist(const CommandContext &ctx) {
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
  ZOR_ReturnStatus status = ctx.kernel.globalSet(ctx.sw, KEY_NOPERSIST, &flag, 1, PROP_VOLATILE);
  if (status != ZOR_OK) {
    fprintf(stderr, "Fail to set %s to %s", KEY_NOPERSIST, flag ? "true" : "false");
  }
  return status;
}
