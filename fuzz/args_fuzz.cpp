// SPDX-License-Identifier: Apache-2.0
/*
 * args_fuzz.cpp --
 *
 *    Every text that the tool reads from its command line: the family
 *    syntaxes (-v, -V, -m, --setLACP, --configLAG, -b, -N, -o, -F, -k,
 *    -K, -z, -j, -H, -L), the VLAN range parser, -M, -s, -u, -B,
 *    --nopersist and --vlan. Each runs through its command handler in
 *    file mode on the baseline configuration, as the switch flow hands it
 *    over, except where the handler reads the kernel before it parses
 *    (--setLACP, --configLAG): those run through the parser that the
 *    handler calls. What was written is then listed, so the printers see
 *    every value a parser can build.
 *
 *    The last row takes the text as a whole batch file (--batch), run in
 *    file mode on a fresh copy of the baseline file, with --check when the
 *    row's flag is set.
 *
 *    Input: byte 0 chooses the row of argTable, byte 1 the switch (bits
 *    0-1), the -p target (bits 2-4) and one flag of the row (bit 5); the
 *    rest, up to a NUL, is the argument text.
 */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "base/command.h"
#include "common.h"
#include "dvslib.h"
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

std::vector<uint8_t> g_baseline;
std::string g_path;
std::string g_batchPath;

/* Writes bytes to path, replacing what it held; aborts when it cannot. */
void WriteFile(const std::string &path, const void *bytes, size_t length) {
  FILE *f = fopen(path.c_str(), "wb");
  if (!f || fwrite(bytes, 1, length, f) != length) abort();
  fclose(f);
}

/* What one row gets: a file-mode command's context and record, the text and the row's flag. */
struct ArgCase {
  const CommandContext &ctx;
  Invocation &inv;
  const char *text;
  bool flag;
};

typedef CommandResult (*ArgRunner)(ArgCase &c);

/* A command that takes the text as it is, in the field where the front end puts it. */
template <const char *Invocation::*Field, CommandHandler Handler>
CommandResult RunText(ArgCase &c) {
  c.inv.*Field = c.text;
  return Handler(c.ctx);
}
template <CommandHandler Handler>
constexpr ArgRunner Arg = RunText<&Invocation::commandArg, Handler>;

/* --setLACP reads the kernel's table before parsing, so its parser is driven directly. */
CommandResult RunLacp(ArgCase &c) {
  const char *lags = strncmp(c.text, "v2", 2) == 0 ? c.text + 2 : c.text;
  uint32_t lagCount = 0;
  ZOR_ReturnStatus status = ValidateLagConfig(lags, 5, &lagCount);
  if (status != ZOR_OK) return status;
  std::vector<uint8_t> table;
  status = LacpGroupTable_Parse(lags, lagCount, table);
  if (status == ZOR_OK) {
    Prop_PrintLacpGroups(PrintContext(), "com.corvane.etherswitch.lacp", table.data(),
                         static_cast<uint32_t>(table.size()), PROP_CONFIG);
  }
  return status;
}

/* --configLAG merges into the kernel's value; the merge and the encoding are driven directly. */
CommandResult RunConfigLag(ArgCase &c) {
  uint32_t lagCount = 0;
  ZOR_ReturnStatus status = ValidateLagConfig(c.text, 3, &lagCount);
  if (status != ZOR_OK) return status;
  std::vector<LagConfigEntry> entries;
  status = LagExtraConfig_Merge(c.text + 1, lagCount, entries);
  if (status != ZOR_OK) return status;
  const ByteWriter value = LagExtraConfig_Encode(entries);
  std::vector<LagConfigEntry> decoded;
  if (LagExtraConfig_Decode(value.Data(), value.Length(), decoded) != ZOR_OK ||
      decoded.size() != entries.size()) {
    fuzz::Fail("a LAG configuration does not decode to what was encoded");
  }
  Prop_PrintLagExtraConfig(PrintContext(), "com.corvane.common.host.lacp.extraconfig", value.Data(),
                           value.Length(), PROP_CONFIG);
  return status;
}

/* -L with -c (the row's flag) for beacon probing. */
CommandResult RunTeaming(ArgCase &c) {
  c.inv.uplinkNames = c.text;
  c.inv.teamingFlag = c.flag;
  return Cmd_SetTeaming(c.ctx);
}

/* --vlanMTUChkParam and --qeltVLMChkParam: the range text, then the command that writes it. */
CommandResult RunVlanRanges(ArgCase &c) {
  std::shared_ptr<uint8_t[]> bitmap = std::make_shared<uint8_t[]>(VLAN_RANGE_PARAM_LEN);
  if (VlanBitmap_Parse(c.text, bitmap.get()) != 0) return ZOR_BAD_PARAM;
  c.inv.vlanRangeParam = std::move(bitmap);
  c.inv.command = c.flag ? CMD_QELTVLMCHK_PARAM : CMD_VLANMTUCHK_PARAM;
  return Cmd_CheckParam(c.ctx);
}

/* -B takes its flags with strtol base 0. */
CommandResult RunCdp(ArgCase &c) {
  c.inv.cdpFlags = static_cast<int32_t>(strtol(c.text, nullptr, 0));
  return Cmd_SetCdp(c.ctx);
}

/* --batch: the text is the batch file; the configuration file starts as the baseline again. */
CommandResult RunBatch(ArgCase &c) {
  WriteFile(g_path, g_baseline.data(), g_baseline.size());
  WriteFile(g_batchPath, c.text, strlen(c.text));
  Invocation batch;
  batch.configFilePath = g_path.c_str();
  batch.batchFile = g_batchPath.c_str();
  batch.batchCheck = c.flag;
  const int status = Batch_Run(batch);
  return status == 0 ? ZOR_OK : ZOR_FAILURE;
}

struct ArgRow {
  const char *option;
  ArgRunner run;
  /* The front end checks for -p before this command runs (or the command prints usage without). */
  bool needsPort;
};

const ArgRow argTable[] = {
    {"-v", RunText<&Invocation::vlanSpec, Cmd_SetVlan>, true},
    {"-V", RunText<&Invocation::pvlanSpec, Cmd_SetPvlanMap>, false},
    {"-m", RunText<&Invocation::mirrorSpec, Cmd_SetMirror>, false},
    {"--setLACP", RunLacp, false},
    {"--configLAG", RunConfigLag, false},
    {"-b", Arg<Cmd_SetShaping>, true},
    {"-N", Arg<Cmd_SetIpfix>, false},
    {"-o", RunText<&Invocation::overlaySpec, Cmd_SetOverlay>, true},
    {"-F", Arg<Cmd_SetDvfilter>, true},
    {"-k", Arg<Cmd_SetRespoolList>, false},
    {"-K", Arg<Cmd_SetRespoolConfig>, true},
    {"-z", Arg<Cmd_SetRespoolAssociation>, true},
    {"-j", Arg<Cmd_SetRespoolScheduling>, false},
    {"-H", Arg<Cmd_SetHostStatus>, false},
    {"-L", RunTeaming, false},
    {"--vlanMTUChkParam", RunVlanRanges, false},
    {"-M", Arg<Cmd_SetLinkStatus>, true},
    {"-s", Arg<Cmd_SetProp>, true},
    {"-u", Arg<Cmd_UnsetProp>, true},
    {"-B", RunCdp, false},
    {"--nopersist", Arg<Cmd_NoPersist>, false},
    {"--vlan", Arg<Cmd_UplinkVlan>, true},
    {"--batch", RunBatch, false},
};

/* -p targets: ports of the baseline, the two lists, none, and one that does not exist. */
const char *const targets[] = {"5", "uplink0", "globalPropList", "hostPropList", nullptr, "nope"};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  const std::string &dir = fuzz::Setup();
  if (!fuzz::BuildBaseline(&g_baseline)) abort();
  g_path = dir + "/config";
  g_batchPath = dir + "/batch";
  WriteFile(g_path, g_baseline.data(), g_baseline.size());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input in{data, size};
  const ArgRow &row = argTable[in.Byte() % std::size(argTable)];
  const uint8_t options = in.Byte();
  const fuzz::BaseSwitch &sw = fuzz::BASE_SWITCHES[(options & 3) % 3];
  const std::string text = in.Text();

  DVSState_ConfigReset();
  if (DVSState_ConfigDeserialize(g_baseline.data(), static_cast<uint32_t>(g_baseline.size())) !=
      0) {
    abort();
  }
  DVSSwitch *h = DVSState_SwitchFind(sw.id);
  if (h == nullptr) abort();
  Invocation inv;
  inv.configFilePath = g_path.c_str();
  inv.portName = targets[((options >> 2) & 7) % std::size(targets)];
  if (row.needsPort && inv.portName == nullptr) inv.portName = "5";
  const SwitchClass cls = static_cast<SwitchClass>(&sw - fuzz::BASE_SWITCHES);
  const CommandContext ctx = {sw.id,  cls, h, h->version, inv, CONFIG_STATE_OPS, KERNEL_STATE_OPS,
                              nullptr};
  ArgCase c = {ctx, inv, text.c_str(), (options & 0x20) != 0};
  const CommandResult result = row.run(c);
  if (result.end == CommandEnd::STATUS && result.status == ZOR_OK) {
    /* What the command wrote, through the printers. */
    DVSSwitch *after = DVSState_SwitchFind(sw.id);
    if (after != nullptr) List_Switch(after, const_cast<char *>(sw.id));
  }
  fflush(stdout);
  return 0;
}
