// SPDX-License-Identifier: Apache-2.0
/*
 * uplink_cmds.cpp --
 *
 *    Uplink runtime commands, the switch module's command execution, and
 *    the host facts. Kernel replies are read only as far as their reported
 *    length goes.
 */

#include "uplink_cmds.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <iterator>
#include <optional>

#include "props/bytes.h"
#include "state/kernel_reply.h"
#include "state/state_ops.h"

namespace {

ZOR_ReturnStatus SetCapability(const CommandContext &ctx, uint64_t word) {
  ByteWriter value(8);
  value.PutU64(0, word);
  return DVSZOR_UplinkDataSet(ctx.sw, ctx.inv.portName, UPLINK_DATA_CAPABILITY, value.Data(),
                              value.Length(), PROP_CONFIG);
}

/* UplinkStatistics: 26 consecutive u32 counters, printed in this order. */
const char *const uplinkStatisticsFormats[] = {
    "\t\t Rx Packets: %d\n",
    "\t\t Tx Packets: %d\n",
    "\t\t Rx Bytes: %d\n",
    "\t\t Tx Bytes: %d\n",
    "\t\t Rx Errors: %d\n",
    "\t\t Tx Errors: %d\n",
    "\t\t Rx Dropped: %d\n",
    "\t\t Tx Dropped: %d\n",
    "\t\t Multicast: %d\n",
    "\t\t Collisions: %d\n",
    "\t\t Rx Length Errors: %d\n",
    "\t\t Rx Over Errors: %d\n",
    "\t\t Rx CRC Errors: %d\n",
    "\t\t Rx Frame Errors: %d\n",
    "\t\t Rx Fifo Errors: %d\n",
    "\t\t Rx Missed Errors: %d\n",
    "\t\t Tx Aborted Errors: %d\n",
    "\t\t Tx Carrier Errors: %d\n",
    "\t\t Tx Fifo Errors: %d\n",
    "\t\t Tx Heartbeat Errors: %d\n",
    "\t\t Tx Window Errors: %d\n",
    "\t\t Module Interface Rx packets: %d\n",
    "\t\t Module Interface Tx packets: %d\n",
    "\t\t Module Interface Rx dropped: %d\n",
    "\t\t Module Interface Tx dropped: %d\n",
    "\t\t Module Interface packets completed: %d\n",
};
static_assert(std::size(uplinkStatisticsFormats) == UPLINK_STATISTICS_COUNT,
              "one format per statistics counter");

}  // namespace

void PrintUplinkStatistics(const void *reply, uint32_t len) {
  const ByteReader counters(reply, len);
  printf("\t\t -- General Statistics\n");
  for (size_t i = 0; i < std::size(uplinkStatisticsFormats); i++) {
    const std::optional<uint32_t> counter = counters.U32(4 * i);
    if (!counter) break; /* a short reply stops the list */
    printf(uplinkStatisticsFormats[i], static_cast<int>(*counter));
  }
}

CommandResult Cmd_UplinkReset(const CommandContext &ctx) {
  if (ctx.state.fileMode) return ZOR_FAILURE;
  return DVSZOR_UplinkDataSet(ctx.sw, ctx.inv.portName, UPLINK_DATA_RESET, nullptr, 0, PROP_CONFIG);
}

CommandResult Cmd_UplinkSetCap(const CommandContext &ctx) {
  /* File mode: nothing to do in the file; the status is that of rewriting it. */
  if (ctx.state.fileMode) return CommandResult::SaveStatus();
  return SetCapability(ctx, static_cast<uint64_t>(static_cast<int64_t>(ctx.inv.capValue)));
}

CommandResult Cmd_UplinkGetCap(const CommandContext &ctx) {
  if (ctx.state.fileMode) return ZOR_FAILURE;
  KernelReply reply;
  ZOR_ReturnStatus status = DVSZOR_UplinkDataGet(ctx.sw, ctx.inv.portName, UPLINK_DATA_CAPABILITY,
                                                 &reply.data, &reply.len);
  if (status != ZOR_OK) return status;
  const std::optional<uint64_t> word = ByteReader(reply.data, reply.len).U64(0);
  if (!word) return ZOR_INVALID_DATA; /* a short reply has no word to print */
  printf("\t\t Capability 0x%lx\n", static_cast<unsigned long>(*word));
  return ZOR_OK;
}

CommandResult Cmd_UplinkVlan(const CommandContext &ctx) {
  const uint32_t vlan = static_cast<uint32_t>(strtol(ctx.inv.commandArg, nullptr, 10));
  if (ctx.state.fileMode || vlan > UPLINK_VLAN_MAX) return ZOR_FAILURE;
  if (SetCapability(ctx, UPLINK_CAP_VLAN) != ZOR_OK) return ZOR_FAILURE;
  ByteWriter value(4);
  value.PutU32(0, vlan);
  return DVSZOR_UplinkDataSet(ctx.sw, ctx.inv.portName, UPLINK_DATA_VLAN, value.Data(),
                              value.Length(), PROP_CONFIG);
}

CommandResult Cmd_UplinkStates(const CommandContext &ctx) {
  if (ctx.state.fileMode) return ZOR_FAILURE;
  KernelReply reply;
  if (DVSZOR_UplinkDataGet(ctx.sw, ctx.inv.portName, UPLINK_DATA_STATES, &reply.data, &reply.len) !=
      ZOR_OK) {
    return ZOR_FAILURE;
  }
  return ZOR_OK;
}

CommandResult Cmd_UplinkStats(const CommandContext &ctx) {
  if (ctx.state.fileMode) return ZOR_FAILURE;
  KernelReply reply;
  ZOR_ReturnStatus status = DVSZOR_UplinkDataGet(ctx.sw, ctx.inv.portName, UPLINK_DATA_STATISTICS,
                                                 &reply.data, &reply.len);
  if (status != ZOR_OK) return status;
  PrintUplinkStatistics(reply.data, reply.len);
  return ZOR_OK;
}

CommandResult Cmd_SetMtu(const CommandContext &) {
  puts("unable to set switch mtu. this command-line option is deprecated.");
  puts("please use tarncfg-vswitch instead");
  return ZOR_NOT_SUPPORTED;
}

int Cmd_CmdExec(const CommandContext &ctx) {
  const char *arg = ctx.inv.execArg;
  const uint32_t argLen = arg != nullptr ? static_cast<uint32_t>(strlen(arg) + 1) : 0;
  KernelReply result;
  ZOR_ReturnStatus status =
      DVSZOR_CmdExec(ctx.sw, ctx.inv.execCommand, arg, argLen, &result.data, &result.len);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSZOR_CmdExec failed: %s\n", ZOR_ReturnStatusToString(status));
    return -1;
  }
  if (result.len > CMD_EXEC_RESULT_MAX) {
    printf("result too large, length: %d\n", static_cast<int>(result.len));
  } else if (result.len == 0 || result.data == nullptr) {
    puts("no result!");
  } else {
    /* The result is text, but it is printed no further than its length. */
    printf("%.*s\n", static_cast<int>(result.len), static_cast<const char *>(result.data));
  }
  return 0;
}

int Cmd_MiscInfo(const CommandContext &) {
  int exitStatus = 0;
  uint64_t kilobytes = 0;
  ZOR_ReturnStatus status = DVSMisc_GetMemorySize(&kilobytes);
  if (status == ZOR_OK) {
    printf("Zorcore memory size: %lu kilobytes\n", static_cast<unsigned long>(kilobytes));
  } else {
    fprintf(stderr, "failed to get memory size: %s\n", ZOR_ReturnStatusToString(status));
    exitStatus = 1;
  }
  uint32_t packages = 0;
  status = DVSMisc_GetCpuPackages(&packages);
  if (status == ZOR_OK) {
    printf("CPU packages: %u\n", packages);
  } else {
    fprintf(stderr, "failed to get CPU packages: %s\n", ZOR_ReturnStatusToString(status));
    exitStatus = 1;
  }
  uint32_t cores = 0;
  status = DVSMisc_GetCpuCores(&cores);
  if (status == ZOR_OK) {
    printf("CPU cores: %u\n", cores);
  } else {
    fprintf(stderr, "failed to get CPU cores: %s\n", ZOR_ReturnStatusToString(status));
    exitStatus = 1;
  }
  return exitStatus;
}

int Cmd_ZornicIp(const CommandContext &ctx) {
  const char *name = ctx.inv.zornicName;
  uint8_t addr[4] = {};
  char text[INET_ADDRSTRLEN + 1] = {};
  ZOR_ReturnStatus status = DVSMisc_GetZornicIpv4Addr(name, addr);
  if (status == ZOR_OK && inet_ntop(AF_INET, addr, text, sizeof(text)) != nullptr) {
    printf("'%s' --> %s\n", name, text);
    return 0;
  }
  fprintf(stderr, "Failed to get IPv4 address for '%s': %s\n", name,
          ZOR_ReturnStatusToString(status));
  return 1;
}
