// SPDX-License-Identifier: Apache-2.0
/*
 * config_bench.cpp --
 *
 *    In-process costs of a large configuration (16 switches x 1024 ports x
 *    8 properties by default): deserialise (load), load the same bytes
 *    again, serialise, and save (serialise, write, flush and rename). Sizes scale with the range
 *    arguments to show that the costs are linear.
 */

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "bench_config.h"
#include "dvslib.h"

namespace {

/*
 * Serialised form of a configuration of the given size. variant makes the
 * bytes differ, so that alternating loads are each checked in full rather
 * than recognised as a repeat of the previous load.
 */
std::string Blob(int switches, int ports, int variant = 0) {
  DVSState_ConfigReset();
  BuildBenchConfig(switches, ports, 8);
  DVSState_GlobalPropSet(DerivedSwitchId("dvs0").c_str(), "variant", &variant, 4, PROP_CONFIG);
  void *data = nullptr;
  uint32_t len = 0;
  DVSState_ConfigSerialize(&data, &len);
  std::string blob(static_cast<char *>(data), len);
  free(data);
  DVSState_ConfigReset();
  return blob;
}

void BM_Load(benchmark::State &state) {
  const std::string blobs[2] = {Blob(16, static_cast<int>(state.range(0)), 0),
                                Blob(16, static_cast<int>(state.range(0)), 1)};
  const std::string &blob = blobs[0];
  int next = 0;
  for (auto _ : state) {
    const std::string &b = blobs[next ^= 1];
    if (DVSState_ConfigDeserialize(b.data(), static_cast<uint32_t>(b.size())) != ZOR_OK) {
      state.SkipWithError("deserialise failed");
    }
    state.PauseTiming();
    DVSState_ConfigReset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(blob.size()));
  state.counters["bytes"] = static_cast<double>(blob.size());
}

/*
 * Loads of the same bytes again, as a file-mode command by switch alias makes while the
 * kernel holds the same configuration: the file after the kernel's state.
 */
void BM_Reload(benchmark::State &state) {
  const std::string blob = Blob(16, static_cast<int>(state.range(0)));
  DVSState_ConfigDeserialize(blob.data(), static_cast<uint32_t>(blob.size()));
  for (auto _ : state) {
    DVSState_ConfigReset();
    if (DVSState_ConfigDeserialize(blob.data(), static_cast<uint32_t>(blob.size())) != ZOR_OK) {
      state.SkipWithError("deserialise failed");
    }
  }
  DVSState_ConfigReset();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(blob.size()));
}

void BM_Serialize(benchmark::State &state) {
  std::string blob = Blob(16, static_cast<int>(state.range(0)));
  DVSState_ConfigDeserialize(blob.data(), static_cast<uint32_t>(blob.size()));
  for (auto _ : state) {
    void *data = nullptr;
    uint32_t len = 0;
    DVSState_ConfigSerialize(&data, &len);
    free(data);
  }
  DVSState_ConfigReset();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(blob.size()));
}

void BM_Save(benchmark::State &state) {
  std::string blob = Blob(16, static_cast<int>(state.range(0)));
  DVSState_ConfigDeserialize(blob.data(), static_cast<uint32_t>(blob.size()));
  char dir[] = "/tmp/config_bench.XXXXXX";
  if (!mkdtemp(dir)) {
    state.SkipWithError("mkdtemp failed");
    return;
  }
  std::string path = std::string(dir) + "/dvs.db";
  for (auto _ : state) {
    void *data = nullptr;
    uint32_t len = 0;
    DVSState_ConfigSerialize(&data, &len);
    DVSFile_WriteClassical(path.c_str(), data, len, 1);
    free(data);
  }
  DVSState_ConfigReset();
  unlink(path.c_str());
  unlink((path + ".lock").c_str());
  rmdir(dir);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(blob.size()));
}

BENCHMARK(BM_Load)->Arg(256)->Arg(512)->Arg(1024)->Arg(2048)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Reload)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Serialize)->Arg(256)->Arg(512)->Arg(1024)->Arg(2048)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Save)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
