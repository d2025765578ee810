// SPDX-License-Identifier: Apache-2.0
/*
 * kernel.h --
 *
 *    The kernel's switch state as zorcored keeps it: the switches, ports
 *    and properties (a ConfigModel, so the same objects and statuses as
 *    the library's configuration state), which switches are associated
 *    with their proxy portset, the runtime items of uplink ports, the
 *    registry of diagnostic commands and the configuration store. Kernel
 *    turns one decoded request into one reply; it knows nothing of
 *    sockets.
 */

#ifndef ZORCORED_KERNEL_H
#define ZORCORED_KERNEL_H

#include <stdint.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "core/config_model.h"
#include "core/protocol.h"
#include "core/wire.h"
#include "dvslib.h"
#include "store.h"

namespace zorcored {

/* The answer to one request: its status and, for getters, the value bytes. */
struct Reply {
  ZOR_ReturnStatus status = 0;
  zor::ByteBuf body;
  /* When set, the reply's bytes instead of body: a block shared with other replies. */
  std::shared_ptr<const zor::ByteBuf> shared;
};

/* Runtime items of one uplink port (DVSUplinkItem types of DVSZOR_UplinkDataSet/Get). */
struct UplinkRuntime {
  uint64_t capability = 0;
  uint32_t vlan = 0;
  uint32_t resets = 0;
  uint32_t stats[UPLINK_STATISTICS_COUNT] = {};
};

class Kernel {
 public:
  explicit Kernel(Store *store) : store_(store) {}

  /*
   * Carries out one request of a kernel, store or control operation
   * (OP_STATE_GET .. OP_STORE_WRITE, OP_CTL_PROP, OP_CTL_PORT_STATE,
   * OP_CTL_UPLINK_STATS) whose body is body/len, and fills reply. Returns
   * false when the body does not have the operation's layout: the request
   * is malformed and its sender should be dropped. Unknown ops get
   * ZOR_NOT_SUPPORTED.
   */
  bool Handle(uint16_t op, const uint8_t *body, size_t len, Reply *reply);

  /* Number of switches and of ports in the state (for the control interface). */
  size_t SwitchCount() const { return model_.Switches().size(); }
  size_t PortCount() const;

 private:
  using PortKey = std::pair<std::string, std::string>; /* switch ID, port name */

  /* Decoders and handlers of one family of requests; false for a malformed body. */
  bool Prop(uint16_t op, zor::WireReader &r, Reply *reply);
  bool Uplink(uint16_t op, zor::WireReader &r, Reply *reply);
  bool CmdExec(zor::WireReader &r, Reply *reply);
  bool Ctl(uint16_t op, zor::WireReader &r, Reply *reply);

  /* Switch by ID text, else by alias, else by the ID that brakk derives from a name. */
  zor::SwitchObj *ResolveSwitch(const std::string &ref) const;
  /* The runtime items of a port the kernel holds (created on first use), or null. */
  UplinkRuntime *RuntimeFor(const std::string &sw, const std::string &port);
  /* Forgets runtime items and associations of objects that no longer exist. */
  void ForgetSwitch(const std::string &sw);
  void ForgetPort(const std::string &sw, const std::string &port);
  void ForgetAll();

  Store *store_;
  zor::ConfigModel model_;
  /* The serialised state while no request has arrived that may change it. */
  std::shared_ptr<const zor::ByteBuf> stateCache_;
  std::set<std::string> associated_;
  std::map<PortKey, UplinkRuntime> runtime_;
};

/* The switch ID text that brakk derives from a switch name (its first 15 characters). */
std::string DeriveSwitchId(std::string_view name);

}  // namespace zorcored

#endif  // ZORCORED_KERNEL_H
