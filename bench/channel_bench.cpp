// SPDX-License-Identifier: Apache-2.0
/*
 * channel_bench.cpp --
 *
 *    Costs of the kernel channel against a running zorcored (found through
 *    ZORCORE_SOCKET): the round trip of one small call, the transfer of the
 *    whole kernel state, and event delivery from one poster to one
 *    listener. Run by bench/kernel_bench.sh, which starts the daemon.
 */

#include <benchmark/benchmark.h>
#include <poll.h>
#include <stdlib.h>

#include "dvslib.h"

namespace {

const char *kSwitch = "62 65 6e 63 68 00 00 00-00 00 00 00 00 00 00 00";

/* Adds the switch the round-trip benchmark reads, once. */
bool EnsureSwitch() {
  static const bool ready = [] {
    ZOR_ReturnStatus st = DVSZOR_SwitchAdd(kSwitch, "cswitch", 8, 6);
    if (st != ZOR_OK && st != ZOR_ALREADY_EXISTS) return false;
    uint32_t v = 6;
    return DVSZOR_GlobalPropSet(kSwitch, "com.corvane.common.version", &v, 4, PROP_CONFIG) ==
           ZOR_OK;
  }();
  return ready;
}

void BM_RoundTrip(benchmark::State &state) {
  if (!EnsureSwitch()) {
    state.SkipWithError("no daemon");
    return;
  }
  for (auto _ : state) {
    void *data = nullptr;
    uint32_t len = 0;
    if (DVSZOR_GlobalPropGet(kSwitch, "com.corvane.common.version", &data, &len) != ZOR_OK) {
      state.SkipWithError("get failed");
      break;
    }
    DVSZOR_DataFree(data);
  }
}

void BM_StateGet(benchmark::State &state) {
  int64_t bytes = 0;
  for (auto _ : state) {
    void *data = nullptr;
    uint32_t len = 0;
    if (DVSZOR_StateGet(&data, &len) != ZOR_OK) {
      state.SkipWithError("state get failed");
      break;
    }
    bytes += len;
    DVSZOR_DataFree(data);
  }
  state.SetBytesProcessed(bytes);
}

/* Posts a batch of events and reads them all back on a registered listener. */
void BM_EventDelivery(benchmark::State &state) {
  int fd = -1;
  if (DVSEvent_Register(&fd) != ZOR_OK) {
    state.SkipWithError("register failed");
    return;
  }
  const int batch = static_cast<int>(state.range(0));
  const uint8_t uuid[16] = {1};
  uint32_t word = 5;
  for (auto _ : state) {
    for (int i = 0; i < batch; i++) {
      DVSEventMsg *msg = DVSEvent_Alloc(5, uuid, "7", &word, 4);
      DVSEvent_PostMsg(msg);
      DVSEvent_Free(msg);
    }
    for (int got = 0; got < batch;) {
      pollfd p = {fd, POLLIN, 0};
      if (poll(&p, 1, 5000) <= 0) {
        state.SkipWithError("event lost");
        return;
      }
      DVSEventMsg *msg = nullptr;
      if (DVSEvent_GetMsg(fd, &msg) == ZOR_OK) {
        DVSEvent_Free(msg);
        got++;
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * batch);
}

BENCHMARK(BM_RoundTrip)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StateGet)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EventDelivery)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
