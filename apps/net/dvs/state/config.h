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
  LOAD_FILE = 0,              /* the store or file that configFilePath selects */
  LOAD_KERNEL_STATE = 1,      /* the kernel's current switch state */
  LOAD_KERNEL_PERSISTENT = 2, /* the kernel's persistent switch state */
};

/*
 * Fills the configuration state from source. Prints the reason on standard
 * error and returns the status when the read or deserialisation fails.
 */
ZOR_ReturnStatus Config_Load(int32_t source);

/*
 * Serialises the configuration state and writes it to the kernel (toKernel)
 * or to the store or file. Returns 0, -1 when serialising or writing fails,
 * or the kernel's status when loading into the kernel fails.
 */
int32_t Config_Save(bool toKernel);

#endif  // APPS_NET_DVS_STATE_CONFIG_H
