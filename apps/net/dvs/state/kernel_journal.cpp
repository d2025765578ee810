// SPDX-License-Identifier: Apache-2.0
/*
 * kernel_journal.cpp --
 *
 *    The kernel as a batch sees it: changes that are kept so that they can
 *    be taken back (KernelJournal), or refused (KernelReader).
 */

#include "state/kernel_journal.h"

#include <stdlib.h>
#include <string.h>

#include <memory>
#include <optional>
#include <utility>

namespace {

/* A value of the kernel's image (the configuration state) as it was, with its flags. */
struct OldValue {
  bool present = false;
  std::vector<uint8_t> data;
  int32_t flags = 0;
};

OldValue ValueOfNode(DVSDataNode *node) {
  void *data = nullptr;
  const uint32_t len = DVSData_Data(node, &data);
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  return {true, std::vector<uint8_t>(bytes, bytes != nullptr ? bytes + len : bytes),
          DVSData_PropType(node)};
}

OldValue PortValue(const char *sw, const char *port, const char *key) {
  DVSPort *p = DVSState_PortFind(sw, port);
  DVSDataNode *node = nullptr;
  if (p == nullptr || p->data == nullptr || DVSData_Lookup(p->data, key, &node) != ZOR_OK) {
    return {};
  }
  return ValueOfNode(node);
}

/* What a walk of a switch's list looks for, and what it found. */
struct ListSearch {
  const char *key;
  OldValue found;
};

int FindInList(DVSDataNode *node, void *context) {
  ListSearch *search = static_cast<ListSearch *>(context);
  if (search->found.present || strcmp(DVSData_Name(node), search->key) != 0) return 0;
  search->found = ValueOfNode(node);
  return 1;
}

/* The value of key on the global list (or the host list) of switch sw, as the image has it. */
OldValue ListValue(const char *sw, const char *key, bool host) {
  DVSSwitch *h = DVSState_SwitchFind(sw);
  if (h == nullptr) return {};
  ListSearch search = {key, {}};
  if (host) {
    DVSState_HostPropForEach(h, FindInList, &search);
  } else {
    DVSState_GlobalPropForEach(h, FindInList, &search);
  }
  return search.found;
}

/* A port's properties as the serialised tree that adds it again, or nothing. */
std::optional<std::vector<uint8_t>> PortTree(const char *sw, const char *port) {
  DVSPort *p = DVSState_PortFind(sw, port);
  if (p == nullptr || p->data == nullptr) return std::nullopt;
  void *block = nullptr;
  uint32_t len = 0;
  if (DVSData_Serialize(p->data, &block, &len, 4) != ZOR_OK) return std::nullopt;
  std::unique_ptr<void, decltype(&free)> owned(block, &free);
  const uint8_t *bytes = static_cast<const uint8_t *>(block);
  return std::vector<uint8_t>(bytes, bytes + len);
}

/* A tree read back from its serialised form, or null. */
DVSData *TreeOf(const std::vector<uint8_t> &bytes) {
  DVSData *tree = nullptr;
  if (DVSData_Deserialize(&tree, bytes.data(), static_cast<uint32_t>(bytes.size()), malloc, free) !=
      ZOR_OK) {
    return nullptr;
  }
  return tree;
}

/* Writes old back to a target with set, or clears the key with clear when it was absent. */
template <typename Set, typename Clear>
ZOR_ReturnStatus PutBack(const OldValue &old, Set set, Clear clear) {
  if (!old.present) return clear();
  return set(old.data.data(), static_cast<uint32_t>(old.data.size()), old.flags);
}

}  // namespace

void KernelJournal::Keep(std::string what, std::function<ZOR_ReturnStatus()> run) const {
  undo_.push_back({line_, std::move(what), std::move(run)});
}

std::vector<RestoreProblem> KernelJournal::Restore() {
  std::vector<RestoreProblem> problems;
  for (auto undo = undo_.rbegin(); undo != undo_.rend(); ++undo) {
    if (!undo->run) {
      problems.push_back({undo->line, undo->what, ZOR_OK});
      continue;
    }
    const ZOR_ReturnStatus status = undo->run();
    if (status != ZOR_OK) problems.push_back({undo->line, undo->what, status});
  }
  undo_.clear();
  return problems;
}

ZOR_ReturnStatus KernelJournal::switchAdd(const char *sw, const char *className, int32_t maxPorts,
                                          int32_t version) const {
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchAdd(sw, className, maxPorts, version);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.switchAdd(sw, className, maxPorts, version);
  Keep(std::string("the addition of switch ") + sw,
       [s = std::string(sw)] { return KERNEL_STATE_OPS.switchRemove(s.c_str()); });
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::switchRemove(const char *sw) const {
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchRemove(sw);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.switchRemove(sw);
  Keep(std::string("the removal of switch ") + sw, nullptr);
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::switchSetVersion(const char *sw, uint32_t version) const {
  const DVSSwitch *h = DVSState_SwitchFind(sw);
  const std::optional<uint32_t> old = h != nullptr ? std::optional(h->version) : std::nullopt;
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchSetVersion(sw, version);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.switchSetVersion(sw, version);
  Keep(std::string("the version of switch ") + sw,
       old ? std::function([s = std::string(sw), v = *old] {
         return KERNEL_STATE_OPS.switchSetVersion(s.c_str(), v);
       })
           : nullptr);
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::portAdd(const char *sw, const char *port, DVSData *tree) const {
  /* The kernel takes the tree; the image gets a copy of it. */
  void *block = nullptr;
  uint32_t len = 0;
  DVSData *copy = nullptr;
  if (tree != nullptr && DVSData_Serialize(tree, &block, &len, 4) == ZOR_OK) {
    std::unique_ptr<void, decltype(&free)> owned(block, &free);
    const uint8_t *bytes = static_cast<const uint8_t *>(block);
    copy = TreeOf(std::vector<uint8_t>(bytes, bytes + len));
  }
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.portAdd(sw, port, tree);
  if (status != ZOR_OK) {
    if (copy != nullptr) DVSData_Free(copy);
    return status;
  }
  if (copy != nullptr) CONFIG_STATE_OPS.portAdd(sw, port, copy);
  Keep(std::string("the addition of port ") + port, [s = std::string(sw), p = std::string(port)] {
    return KERNEL_STATE_OPS.portRemove(s.c_str(), p.c_str());
  });
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::portRemove(const char *sw, const char *port) const {
  const std::optional<std::vector<uint8_t>> old = PortTree(sw, port);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.portRemove(sw, port);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.portRemove(sw, port);
  std::function<ZOR_ReturnStatus()> run;
  if (old) {
    run = [s = std::string(sw), p = std::string(port), bytes = *old] {
      DVSData *tree = TreeOf(bytes);
      return tree != nullptr ? KERNEL_STATE_OPS.portAdd(s.c_str(), p.c_str(), tree) : ZOR_NO_MEMORY;
    };
  }
  Keep(std::string("the removal of port ") + port, std::move(run));
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::portSet(const char *sw, const char *port, const char *key,
                                        const void *data, uint32_t len, int32_t flags) const {
  const OldValue old = PortValue(sw, port, key);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.portSet(sw, port, key, data, len, flags);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.portSet(sw, port, key, data, len, flags);
  Keep(std::string("the change of ") + key + " on port " + port,
       [s = std::string(sw), p = std::string(port), k = std::string(key), old] {
         return PutBack(
             old,
             [&](const void *d, uint32_t l, int32_t f) {
               return KERNEL_STATE_OPS.portSet(s.c_str(), p.c_str(), k.c_str(), d, l, f);
             },
             [&] { return KERNEL_STATE_OPS.portClear(s.c_str(), p.c_str(), k.c_str()); });
       });
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::portClear(const char *sw, const char *port, const char *key) const {
  const OldValue old = PortValue(sw, port, key);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.portClear(sw, port, key);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.portClear(sw, port, key);
  if (old.present) {
    Keep(std::string("the change of ") + key + " on port " + port,
         [s = std::string(sw), p = std::string(port), k = std::string(key), old] {
           return KERNEL_STATE_OPS.portSet(s.c_str(), p.c_str(), k.c_str(), old.data.data(),
                                           static_cast<uint32_t>(old.data.size()), old.flags);
         });
  }
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::portGet(const char *sw, const char *port, const char *key,
                                        PropValue &value) const {
  return KERNEL_STATE_OPS.portGet(sw, port, key, value);
}

ZOR_ReturnStatus KernelJournal::globalSet(const char *sw, const char *key, const void *data,
                                          uint32_t len, int32_t flags) const {
  const OldValue old = ListValue(sw, key, false);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.globalSet(sw, key, data, len, flags);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.globalSet(sw, key, data, len, flags);
  Keep(std::string("the change of ") + key + " on the global list",
       [s = std::string(sw), k = std::string(key), old] {
         return PutBack(
             old,
             [&](const void *d, uint32_t l, int32_t f) {
               return KERNEL_STATE_OPS.globalSet(s.c_str(), k.c_str(), d, l, f);
             },
             [&] { return KERNEL_STATE_OPS.globalClear(s.c_str(), k.c_str()); });
       });
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::globalClear(const char *sw, const char *key) const {
  const OldValue old = ListValue(sw, key, false);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.globalClear(sw, key);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.globalClear(sw, key);
  if (old.present) {
    Keep(std::string("the change of ") + key + " on the global list",
         [s = std::string(sw), k = std::string(key), old] {
           return KERNEL_STATE_OPS.globalSet(s.c_str(), k.c_str(), old.data.data(),
                                             static_cast<uint32_t>(old.data.size()), old.flags);
         });
  }
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::globalGet(const char *sw, const char *key, PropValue &value) const {
  return KERNEL_STATE_OPS.globalGet(sw, key, value);
}

ZOR_ReturnStatus KernelJournal::hostSet(const char *sw, const char *key, const void *data,
                                        uint32_t len, int32_t flags) const {
  const OldValue old = ListValue(sw, key, true);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.hostSet(sw, key, data, len, flags);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.hostSet(sw, key, data, len, flags);
  Keep(std::string("the change of ") + key + " on the host list",
       [s = std::string(sw), k = std::string(key), old] {
         return PutBack(
             old,
             [&](const void *d, uint32_t l, int32_t f) {
               return KERNEL_STATE_OPS.hostSet(s.c_str(), k.c_str(), d, l, f);
             },
             [&] { return KERNEL_STATE_OPS.hostClear(s.c_str(), k.c_str()); });
       });
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::hostClear(const char *sw, const char *key) const {
  const OldValue old = ListValue(sw, key, true);
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.hostClear(sw, key);
  if (status != ZOR_OK) return status;
  CONFIG_STATE_OPS.hostClear(sw, key);
  if (old.present) {
    Keep(std::string("the change of ") + key + " on the host list",
         [s = std::string(sw), k = std::string(key), old] {
           return KERNEL_STATE_OPS.hostSet(s.c_str(), k.c_str(), old.data.data(),
                                           static_cast<uint32_t>(old.data.size()), old.flags);
         });
  }
  return ZOR_OK;
}

ZOR_ReturnStatus KernelJournal::hostGet(const char *sw, const char *key, PropValue &value) const {
  return KERNEL_STATE_OPS.hostGet(sw, key, value);
}

ZOR_ReturnStatus KernelJournal::switchAssociate(const char *sw) const {
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchAssociate(sw);
  /* The kernel does not tell whether the switch was associated before. */
  if (status == ZOR_OK) Keep(std::string("the association of switch ") + sw, nullptr);
  return status;
}

ZOR_ReturnStatus KernelJournal::switchDissociate(const char *sw) const {
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchDissociate(sw);
  if (status == ZOR_OK) Keep(std::string("the dissociation of switch ") + sw, nullptr);
  return status;
}

ZOR_ReturnStatus KernelJournal::switchSetMaxPorts(const char *sw, int32_t maxPorts) const {
  DVSSwitch *h = DVSState_SwitchFind(sw);
  const std::optional<int32_t> old =
      h != nullptr ? std::optional(static_cast<int32_t>(DVS_GetMaxPorts(h))) : std::nullopt;
  const ZOR_ReturnStatus status = KERNEL_STATE_OPS.switchSetMaxPorts(sw, maxPorts);
  if (status != ZOR_OK) return status;
  /* The image has no port limit to follow; restoring in reverse order still ends at the first. */
  Keep(std::string("the port limit of switch ") + sw,
       old ? std::function([s = std::string(sw), m = *old] {
         return KERNEL_STATE_OPS.switchSetMaxPorts(s.c_str(), m);
       })
           : nullptr);
  return ZOR_OK;
}

/* ---- KernelReader ------------------------------------------------------------ */

ZOR_ReturnStatus KernelReader::switchAdd(const char *, const char *, int32_t, int32_t) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::switchRemove(const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::switchSetVersion(const char *, uint32_t) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::portAdd(const char *, const char *, DVSData *tree) const {
  DVSData_Free(tree); /* a port add takes its tree in every case */
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::portRemove(const char *, const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::portSet(const char *, const char *, const char *, const void *,
                                       uint32_t, int32_t) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::portClear(const char *, const char *, const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::portGet(const char *sw, const char *port, const char *key,
                                       PropValue &value) const {
  return KERNEL_STATE_OPS.portGet(sw, port, key, value);
}
ZOR_ReturnStatus KernelReader::globalSet(const char *, const char *, const void *, uint32_t,
                                         int32_t) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::globalClear(const char *, const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::globalGet(const char *sw, const char *key, PropValue &value) const {
  return KERNEL_STATE_OPS.globalGet(sw, key, value);
}
ZOR_ReturnStatus KernelReader::hostSet(const char *, const char *, const void *, uint32_t,
                                       int32_t) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::hostClear(const char *, const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::hostGet(const char *sw, const char *key, PropValue &value) const {
  return KERNEL_STATE_OPS.hostGet(sw, key, value);
}
ZOR_ReturnStatus KernelReader::switchAssociate(const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::switchDissociate(const char *) const {
  return ZOR_NOT_SUPPORTED;
}
ZOR_ReturnStatus KernelReader::switchSetMaxPorts(const char *, int32_t) const {
  return ZOR_NOT_SUPPORTED;
}
