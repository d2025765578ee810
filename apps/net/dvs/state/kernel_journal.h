// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_journal.h --
 *
 *    The kernel as a batch of commands sees it. The kernel has no
 *    transactions, so a batch in kernel mode goes through a KernelJournal:
 *    every operation goes to the kernel as KERNEL_STATE_OPS sends it, and
 *    every change that the kernel accepts is also made in the configuration
 *    state, which the batch loaded from the kernel before its first command
 *    and which so stays the kernel's image: later commands find there the
 *    switches, ports and values that earlier ones made. Before a change,
 *    what it will overwrite or remove is read from that image and kept,
 *    with the change's line, so that Restore can write it back.
 *
 *    A batch in file mode cannot take back a change of the kernel; it
 *    reaches the kernel through a KernelReader, which reads and refuses
 *    every change.
 */

#ifndef APPS_NET_DVS_STATE_KERNEL_JOURNAL_H
#define APPS_NET_DVS_STATE_KERNEL_JOURNAL_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "dvslib.h"
#include "state/state_ops.h"

/* A change that Restore could not take back: its line and what it was ("the addition of port 5").
 */
struct RestoreProblem {
  unsigned line;
  std::string what;
  ZOR_ReturnStatus status; /* the restoring write's status; 0 when the change has no inverse */
};

class KernelJournal final : public StateOps {
 public:
  KernelJournal() : StateOps(false) {}

  /* The batch line whose changes are kept from now on. */
  void SetLine(unsigned line) { line_ = line; }
  /* Whether any change has been kept. */
  bool Changed() const { return !undo_.empty(); }
  /*
   * Takes back every change kept, the newest first, through the kernel.
   * Returns what could not be taken back: changes with no inverse and
   * restoring writes that failed, in the order they were met.
   */
  std::vector<RestoreProblem> Restore();

  ZOR_ReturnStatus switchAdd(const char *sw, const char *className, int32_t maxPorts,
                             int32_t version) const override;
  ZOR_ReturnStatus switchRemove(const char *sw) const override;
  ZOR_ReturnStatus switchSetVersion(const char *sw, uint32_t version) const override;
  ZOR_ReturnStatus portAdd(const char *sw, const char *port, DVSData *tree) const override;
  ZOR_ReturnStatus portRemove(const char *sw, const char *port) const override;
  ZOR_ReturnStatus portSet(const char *sw, const char *port, const char *key, const void *data,
                           uint32_t len, int32_t flags) const override;
  ZOR_ReturnStatus portClear(const char *sw, const char *port, const char *key) const override;
  ZOR_ReturnStatus portGet(const char *sw, const char *port, const char *key,
                           PropValue &value) const override;
  ZOR_ReturnStatus globalSet(const char *sw, const char *key, const void *data, uint32_t len,
                             int32_t flags) const override;
  ZOR_ReturnStatus globalClear(const char *sw, const char *key) const override;
  ZOR_ReturnStatus globalGet(const char *sw, const char *key, PropValue &value) const override;
  ZOR_ReturnStatus hostSet(const char *sw, const char *key, const void *data, uint32_t len,
                           int32_t flags) const override;
  ZOR_ReturnStatus hostClear(const char *sw, const char *key) const override;
  ZOR_ReturnStatus hostGet(const char *sw, const char *key, PropValue &value) const override;
  ZOR_ReturnStatus switchAssociate(const char *sw) const override;
  ZOR_ReturnStatus switchDissociate(const char *sw) const override;
  ZOR_ReturnStatus switchSetMaxPorts(const char *sw, int32_t maxPorts) const override;

 private:
  /* How one change is taken back; a null run marks a change with no inverse. */
  struct Undo {
    unsigned line;
    std::string what;
    std::function<ZOR_ReturnStatus()> run;
  };
  /* Keeps undo, for a change that the kernel has accepted. */
  void Keep(std::string what, std::function<ZOR_ReturnStatus()> run) const;

  mutable std::vector<Undo> undo_;
  unsigned line_ = 0;
};

/* The kernel, for reading only: every change is refused with ZOR_NOT_SUPPORTED. */
class KernelReader final : public StateOps {
 public:
  KernelReader() : StateOps(false) {}
  ZOR_ReturnStatus switchAdd(const char *, const char *, int32_t, int32_t) const override;
  ZOR_ReturnStatus switchRemove(const char *) const override;
  ZOR_ReturnStatus switchSetVersion(const char *, uint32_t) const override;
  ZOR_ReturnStatus portAdd(const char *, const char *, DVSData *tree) const override;
  ZOR_ReturnStatus portRemove(const char *, const char *) const override;
  ZOR_ReturnStatus portSet(const char *, const char *, const char *, const void *, uint32_t,
                           int32_t) const override;
  ZOR_ReturnStatus portClear(const char *, const char *, const char *) const override;
  ZOR_ReturnStatus portGet(const char *sw, const char *port, const char *key,
                           PropValue &value) const override;
  ZOR_ReturnStatus globalSet(const char *, const char *, const void *, uint32_t,
                             int32_t) const override;
  ZOR_ReturnStatus globalClear(const char *, const char *) const override;
  ZOR_ReturnStatus globalGet(const char *sw, const char *key, PropValue &value) const override;
  ZOR_ReturnStatus hostSet(const char *, const char *, const void *, uint32_t,
                           int32_t) const override;
  ZOR_ReturnStatus hostClear(const char *, const char *) const override;
  ZOR_ReturnStatus hostGet(const char *sw, const char *key, PropValue &value) const override;
  ZOR_ReturnStatus switchAssociate(const char *) const override;
  ZOR_ReturnStatus switchDissociate(const char *) const override;
  ZOR_ReturnStatus switchSetMaxPorts(const char *, int32_t) const override;
};

#endif  // APPS_NET_DVS_STATE_KERNEL_JOURNAL_H
