// SPDX-License-Identifier: Apache-2.0
/*
 * bench_config.h --
 *
 *    Builds a large configuration in the process's configuration state for
 *    the benchmarks: switches named dvs0, dvs1, ... (IDs derived from the
 *    names the way brakk derives them, the name as alias), each with ports
 *    "0", "1", ... and a fixed set of properties per port.
 */

#ifndef BENCH_BENCH_CONFIG_H
#define BENCH_BENCH_CONFIG_H

#include <string>

/* The switch ID text brakk derives from a switch name. */
std::string DerivedSwitchId(const std::string &name);

/* Fills the (reset) configuration state; returns false when a library call fails. */
bool BuildBenchConfig(int switches, int ports, int propsPerPort);

#endif  // BENCH_BENCH_CONFIG_H
