// SPDX-License-Identifier: Apache-2.0
/*
 * dvsstate.cpp --
 *
 *    DVSState: the process's configuration state, one ConfigModel, and the
 *    DVS accessors on its handles.
 */

#include <stdlib.h>
#include <string.h>

#include "core/config_model.h"
#include "dvslib.h"

namespace {

/*
 * The process's configuration state. It is never destroyed: the process
 * ends right after its command, and freeing every object at exit would only
 * cost time.
 */
zor::ConfigModel &State() {
  static zor::ConfigModel *state = new zor::ConfigModel;
  return *state;
}

zor::SwitchObj *AsSwitch(DVSSwitch *h) {
  return static_cast<zor::SwitchObj *>(h);
}

ZOR_ReturnStatus ListSet(int which, const char *sw, const char *key, const void *data, uint32_t len,
                         int32_t flags) {
  if (!key) return ZOR_BAD_PARAM;
  DVSData *list = nullptr;
  ZOR_ReturnStatus status = State().ListFor(sw, which, nullptr, &list);
  return status == ZOR_OK ? zor::TreeSet(list, key, data, len, flags) : status;
}

ZOR_ReturnStatus ListClear(int which, const char *sw, const char *key) {
  if (!key) return ZOR_BAD_PARAM;
  DVSData *list = nullptr;
  ZOR_ReturnStatus status = State().ListFor(sw, which, nullptr, &list);
  return status == ZOR_OK ? zor::TreeRemove(list, key) : status;
}

/*
 * Visits the properties of a list. A list that is still a view of the
 * loaded bytes (and has no overrides) is decoded into a scratch tree for
 * the walk and stays a view, so that listing a whole configuration holds one decoded list at a
 * time. Nodes are valid only during the visitor call.
 */
void ListForEach(DVSData *list, DVSState_PropVisitor visitor, void *context) {
  if (!list || !visitor) return;
  DVSData *walk = list;
  if (zor::TreeIsView(list)) {
    walk = zor::TreeFromImage(list->image, list->imageLen);
    if (!walk || !zor::TreeMaterialize(walk, false)) {
      zor::TreeFree(walk);
      return;
    }
  } else if (!zor::TreeMaterialize(list)) { /* a list with overrides: decoded for good */
    return;
  }
  for (size_t i = 0; i < walk->nodes.size(); i++) {
    if (visitor(&walk->nodes[i], context) != 0) break;
  }
  if (walk != list) zor::TreeFree(walk);
}

constexpr int kGlobal = 1;
constexpr int kHost = 2;

}  // namespace

ZOR_ReturnStatus DVSState_ConfigDeserialize(const void *data, uint32_t len) {
  return State().Deserialize(data, len);
}

ZOR_ReturnStatus DVSState_ConfigSerialize(void **data, uint32_t *len) {
  if (!data || !len) return ZOR_BAD_PARAM;
  zor::ByteBuf out;
  ZOR_ReturnStatus status = State().Serialize(&out);
  if (status != ZOR_OK) return status;
  *len = static_cast<uint32_t>(out.Size());
  *data = out.Release();
  return ZOR_OK;
}

ZOR_ReturnStatus DVSState_ConfigReset(void) {
  State().Reset();
  return ZOR_OK;
}

ZOR_ReturnStatus DVSState_SwitchAdd(const char *sw, const char *className, int32_t maxPorts,
                                    int32_t version) {
  return State().AddSwitch(sw, className, maxPorts, version);
}

ZOR_ReturnStatus DVSState_SwitchRemove(const char *sw) {
  return State().RemoveSwitch(sw);
}

DVSSwitch *DVSState_SwitchFind(const char *sw) {
  return sw ? State().FindSwitch(sw) : nullptr;
}

DVSSwitch *DVSState_SwitchFindByAlias(const char *alias) {
  return alias ? State().FindSwitchByAlias(alias) : nullptr;
}

void DVSState_SwitchForEach(DVSState_SwitchVisitor visitor, void *context) {
  if (!visitor) return;
  for (const auto &s : State().Switches()) {
    if (visitor(s.get(), context)) break;
  }
}

ZOR_ReturnStatus DVSState_SwitchSetVersion(const char *sw, uint32_t version) {
  return State().SetVersion(sw, version);
}

ZOR_ReturnStatus DVSState_PortAdd(const char *sw, const char *port, DVSData *tree) {
  if (!tree) return ZOR_BAD_PARAM;
  return State().AddPort(sw, port, tree);
}

ZOR_ReturnStatus DVSState_PortRemove(const char *sw, const char *port) {
  return State().RemovePort(sw, port);
}

DVSPort *DVSState_PortFind(const char *sw, const char *port) {
  return State().FindPort(sw, port);
}

void DVSState_PortForEach(DVSSwitch *h, DVSState_PortVisitor visitor, void *context) {
  if (!h || !visitor) return;
  for (const auto &p : AsSwitch(h)->Ports()) {
    if (visitor(p.get(), context) != 0) break;
  }
}

ZOR_ReturnStatus DVSState_PortDataSet(DVSPort *p, const char *key, const void *data, uint32_t len,
                                      int32_t flags) {
  if (!p || !key) return ZOR_BAD_PARAM;
  return zor::TreeSet(p->data, key, data, len, flags);
}

ZOR_ReturnStatus DVSState_PortDataClear(DVSPort *p, const char *key) {
  if (!p || !key) return ZOR_BAD_PARAM;
  return zor::TreeRemove(p->data, key);
}

void DVSState_PortDataForEach(DVSPort *p, DVSState_PropVisitor visitor, void *context) {
  if (p) ListForEach(p->data, visitor, context);
}

ZOR_ReturnStatus DVSState_GlobalPropSet(const char *sw, const char *key, const void *data,
                                        uint32_t len, int32_t flags) {
  return ListSet(kGlobal, sw, key, data, len, flags);
}

ZOR_ReturnStatus DVSState_GlobalPropClear(const char *sw, const char *key) {
  return ListClear(kGlobal, sw, key);
}

void DVSState_GlobalPropForEach(DVSSwitch *h, DVSState_PropVisitor visitor, void *context) {
  if (h) ListForEach(AsSwitch(h)->global, visitor, context);
}

ZOR_ReturnStatus DVSState_HostPropSet(const char *sw, const char *key, const void *data,
                                      uint32_t len, int32_t flags) {
  return ListSet(kHost, sw, key, data, len, flags);
}

ZOR_ReturnStatus DVSState_HostPropClear(const char *sw, const char *key) {
  return ListClear(kHost, sw, key);
}

ZOR_ReturnStatus DVSState_HostPropRead(DVSSwitch *h, const char *key, const void **data,
                                       uint32_t *len) {
  if (!h || !key || !data || !len) return ZOR_BAD_PARAM;
  zor::SwitchObj *s = AsSwitch(h);
  DVSDataNode *n = zor::TreeFind(s->host, key);
  if (!n) return ZOR_NOT_FOUND;
  *data = s->host->Value(*n);
  *len = n->dataLen;
  return ZOR_OK;
}

void DVSState_HostPropForEach(DVSSwitch *h, DVSState_PropVisitor visitor, void *context) {
  if (h) ListForEach(AsSwitch(h)->host, visitor, context);
}

const char *DVS_SwitchId(DVSSwitch *h) {
  return AsSwitch(h)->id;
}

const char *DVS_ClassName(DVSSwitch *h) {
  return AsSwitch(h)->className;
}

uint32_t DVS_GetMaxPorts(DVSSwitch *h) {
  return static_cast<uint32_t>(AsSwitch(h)->maxPorts);
}

const char *DVS_PortId(DVSPort *p) {
  return p->name;
}
