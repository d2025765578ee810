// SPDX-License-Identifier: Apache-2.0
/*
 * state_ops.h --
 *
 *    The switch state that a command edits, as one interface of operations:
 *    the configuration state of the library (file mode, the DVSState
 *    family) or the kernel's switch state (kernel mode, the DVSZOR
 *    family). Both take the same arguments, switches by ID text
 *    and ports by name, so a handler is written once for both modes.
 *
 *    The front end chooses one once, from -f, and hands it to every
 *    handler in its CommandContext (ctx.state), together with the kernel's
 *    (ctx.kernel), which the commands that always talk to the kernel use.
 *    Other implementations stand between a command and these two, as a
 *    batch does to take a kernel's changes back.
 */

#ifndef APPS_NET_DVS_STATE_STATE_OPS_H
#define APPS_NET_DVS_STATE_STATE_OPS_H

#include <stdint.h>

#include <vector>

#include "dvslib.h"

/* A property value read back from either state; the reader owns its copy. */
typedef std::vector<uint8_t> PropValue;

struct StateOps {
  explicit constexpr StateOps(bool file) : fileMode(file) {}
  virtual ~StateOps() = default;

  /* True for the configuration state: the command runs on a loaded file and is saved after. */
  const bool fileMode;

  virtual ZOR_ReturnStatus switchAdd(const char *sw, const char *className, int32_t maxPorts,
                                     int32_t version) const = 0;
  virtual ZOR_ReturnStatus switchRemove(const char *sw) const = 0;
  virtual ZOR_ReturnStatus switchSetVersion(const char *sw, uint32_t version) const = 0;

  /*
   * Adds port with the properties of tree. Takes the tree in every case:
   * the configuration state keeps it, the kernel receives it serialised
   * (a failure there prints "DVSData_Serialize failed: %s" or
   * "DVSZOR_PortAdd failed: %s").
   */
  virtual ZOR_ReturnStatus portAdd(const char *sw, const char *port, DVSData *tree) const = 0;
  virtual ZOR_ReturnStatus portRemove(const char *sw, const char *port) const = 0;

  /*
   * One property of a port, of the switch's global list or of its host
   * list. Sets copy the value. A port that the configuration state does
   * not have is ZOR_NOT_FOUND; the kernel reports unknown ports itself.
   */
  virtual ZOR_ReturnStatus portSet(const char *sw, const char *port, const char *key,
                                   const void *data, uint32_t len, int32_t flags) const = 0;
  virtual ZOR_ReturnStatus portClear(const char *sw, const char *port, const char *key) const = 0;
  virtual ZOR_ReturnStatus portGet(const char *sw, const char *port, const char *key,
                                   PropValue &value) const = 0;
  virtual ZOR_ReturnStatus globalSet(const char *sw, const char *key, const void *data,
                                     uint32_t len, int32_t flags) const = 0;
  virtual ZOR_ReturnStatus globalClear(const char *sw, const char *key) const = 0;
  virtual ZOR_ReturnStatus globalGet(const char *sw, const char *key, PropValue &value) const = 0;
  virtual ZOR_ReturnStatus hostSet(const char *sw, const char *key, const void *data, uint32_t len,
                                   int32_t flags) const = 0;
  virtual ZOR_ReturnStatus hostClear(const char *sw, const char *key) const = 0;
  virtual ZOR_ReturnStatus hostGet(const char *sw, const char *key, PropValue &value) const = 0;

  /*
   * Settings that only the kernel's copy of a switch has: its association
   * with its proxy portset and its port limit. The configuration state
   * answers ZOR_NOT_SUPPORTED.
   */
  virtual ZOR_ReturnStatus switchAssociate(const char *sw) const = 0;
  virtual ZOR_ReturnStatus switchDissociate(const char *sw) const = 0;
  virtual ZOR_ReturnStatus switchSetMaxPorts(const char *sw, int32_t maxPorts) const = 0;
};

/* The library's configuration state (what -f loads and saves). */
extern const StateOps &CONFIG_STATE_OPS;
/* The kernel's switch state. */
extern const StateOps &KERNEL_STATE_OPS;

#endif  // APPS_NET_DVS_STATE_STATE_OPS_H
