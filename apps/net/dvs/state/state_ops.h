/*
 * state_ops.h --
 *
 *    The switch state that a command edits, as one table of operations:
 *    the configuration state of the library (file mode, the DVSState
 *    family) or the kernel's switch state (kernel mode, the DVSZOR
 *    family). Both tables take the same arguments, switches by ID text
 *    and ports by name, so a handler is written once for both modes.
 *
 *    main chooses the table once, from -f, and hands it to every handler
 *    in its CommandContext. Handlers whose command always talks to the
 *    kernel use KERNEL_STATE_OPS by name.
 */

#ifndef APPS_NET_DVS_STATE_STATE_OPS_H
#define APPS_NET_DVS_STATE_STATE_OPS_H

#include <stdint.h>

#include <vector>

#include "dvslib.h"

/* A property value read back from either state; the reader owns its copy. */
typedef std::vector<uint8_t> PropValue;

struct StateOps {
  /* True for the configuration state: the command runs on a loaded file and is saved after. */
  bool fileMode;

  ZOR_ReturnStatus (*switchAdd)(const char *sw, const char *className, int32_t maxPorts,
                                int32_t version);
  ZOR_ReturnStatus (*switchRemove)(const char *sw);
  ZOR_ReturnStatus (*switchSetVersion)(const char *sw, uint32_t version);

  /*
   * Adds port with the properties of tree. Takes the tree in every case:
   * the configuration state keeps it, the kernel receives it serialised
   * (a failure there prints "DVSData_Serialize failed: %s" or
   * "DVSZOR_PortAdd failed: %s").
   */
  ZOR_ReturnStatus (*portAdd)(const char *sw, const char *port, DVSData *tree);
  ZOR_ReturnStatus (*portRemove)(const char *sw, const char *port);

  /*
   * One property of a port, of the switch's global list or of its host
   * list. Sets copy the value. A port that the configuration state does
   * not have is ZOR_NOT_FOUND; the kernel reports unknown ports itself.
   */
  ZOR_ReturnStatus (*portSet)(const char *sw, const char *port, const char *key, const void *data,
                              uint32_t len, int32_t flags);
  ZOR_ReturnStatus (*portClear)(const char *sw, const char *port, const char *key);
  ZOR_ReturnStatus (*portGet)(const char *sw, const char *port, const char *key, PropValue &value);
  ZOR_ReturnStatus (*globalSet)(const char *sw, const char *key, const void *data, uint32_t len,
                                int32_t flags);
  ZOR_ReturnStatus (*globalClear)(const char *sw, const char *key);
  ZOR_ReturnStatus (*globalGet)(const char *sw, const char *key, PropValue &value);
  ZOR_ReturnStatus (*hostSet)(const char *sw, const char *key, const void *data, uint32_t len,
                              int32_t flags);
  ZOR_ReturnStatus (*hostClear)(const char *sw, const char *key);
  ZOR_ReturnStatus (*hostGet)(const char *sw, const char *key, PropValue &value);
};

/* The library's configuration state (what -f loads and saves). */
extern const StateOps CONFIG_STATE_OPS;
/* The kernel's switch state. */
extern const StateOps KERNEL_STATE_OPS;

#endif  // APPS_NET_DVS_STATE_STATE_OPS_H
