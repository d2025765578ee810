// SPDX-License-Identifier: Apache-2.0
/*
 * target.h --
 *
 *    Property targets: one layer that reads, writes and clears a property
 *    on a port, on a switch's global list or on its host list, in the
 *    state that the caller hands in (the command's state, or the kernel).
 *    A target is a port name or one of the pseudo port names
 *    DVS_TARGET_GLOBAL_LIST and DVS_TARGET_HOST_LIST, matched as whole
 *    texts; nothing is printed here, every status goes to the caller.
 */

#ifndef APPS_NET_DVS_STATE_TARGET_H
#define APPS_NET_DVS_STATE_TARGET_H

#include <stdint.h>

#include "dvslib.h"
#include "state/state_ops.h"

/* Writes key = data/len to target with flags CONFIG; returns the library's status. */
ZOR_ReturnStatus Target_SetProp(const StateOps &state, const char *sw, const char *target,
                                const char *key, const void *data, uint32_t len);
/* Removes key from target; returns the library's status. */
ZOR_ReturnStatus Target_ClearProp(const StateOps &state, const char *sw, const char *target,
                                  const char *key);
/* Reads key of target into value (the caller's copy); returns the library's status. */
ZOR_ReturnStatus Target_GetProp(const StateOps &state, const char *sw, const char *target,
                                const char *key, PropValue &value);

#endif  // APPS_NET_DVS_STATE_TARGET_H
