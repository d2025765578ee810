// SPDX-License-Identifier: Apache-2.0
/*
 * config.h --
 *
 *    Loading the configuration state from the configuration store, a plain
 *    configuration file or the kernel, and saving it back.
 */

#ifndef APPS_NET_DVS_STATE_CONFIG_H
#define APPS_NET_DVS_STATE_CONFIG_H

#include <stdint.h>

#include "dvslib.h"

/* The path that names the host configuration store rather than a plain file. */
extern const char *const DEFAULT_CONFIG_PATH;

enum LoadSource : int32_t {
  LOAD_FILE = 0,              /* the store or the file that the path selects */
  LOAD_KERNEL_STATE = 1,      /* the kernel's current switch state */
  LOAD_KERNEL_PERSISTENT = 2, /* the kernel's persistent switch state */
};

/*
 * Fills the configuration state from source. LOAD_FILE reads the
 * configuration store when path is null or DEFAULT_CONFIG_PATH, else the
 * plain configuration file at path; the kernel sources ignore path.
 * Prints the reason on standard error and returns the status when the
 * read or deserialisation fails.
 */
ZOR_ReturnStatus Config_Load(int32_t source, const char *path);

/*
 * Serialises the configuration state and writes it to the kernel (toKernel)
 * or to the store or file that path selects (as for Config_Load). Returns
 * 0, -1 when serialising or writing fails, or the kernel's status when
 * loading into the kernel fails.
 */
int32_t Config_Save(bool toKernel, const char *path);

#endif  // APPS_NET_DVS_STATE_CONFIG_H
