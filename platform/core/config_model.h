/*
 * config_model.h --
 *
 *    A whole switch configuration: switches with their global and host
 *    property lists and their ports. The configuration state of the
 *    library (DVSState) is one of these per process; zorcored keeps one as
 *    the kernel's switch state. Switches, ports and every property list
 *    keep insertion order, and serialisation preserves it.
 */

#ifndef PLATFORM_CORE_CONFIG_MODEL_H
#define PLATFORM_CORE_CONFIG_MODEL_H

#include <stdint.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "data_tree.h"
#include "state/dvslib.h"
#include "wire.h"

namespace zor {

/* The key of a switch's alias on its global list. */
inline constexpr const char *ALIAS_KEY = "com.corvane.common.alias";
/* A switch whose global value of this key is 1 is left out of persistent state. */
inline constexpr const char *NOPERSIST_KEY = "com.corvane.common.volatile.nopersist";

struct SwitchObj;

struct PortObj : DVSPort {
  PortObj() : DVSPort{} {}
  ~PortObj() {
    if (data != &list) TreeFree(data);
  }
  PortObj(const PortObj &) = delete;
  PortObj &operator=(const PortObj &) = delete;
  std::string_view Name() const { return name; }

  /* The property list of a loaded port lives here (data points at it); added ports bring their own.
   */
  DVSData list;
  /* Where the port's storage comes from: its own allocation, or its switch's block of ports. */
  bool inBlock = false;
};

struct SwitchObj : DVSSwitch {
  SwitchObj() : DVSSwitch{} {}
  SwitchObj(const SwitchObj &) = delete;
  SwitchObj &operator=(const SwitchObj &) = delete;
  ~SwitchObj();

  char id[DVS_SWITCH_ID_BUF_LEN + 1] = {}; /* ID text, zero padded */
  char className[DVS_CLASS_NAME_LEN] = {};
  int32_t maxPorts = 0;
  DVSData *global = nullptr;
  DVSData *host = nullptr;

  std::string_view Id() const { return id; }

  /*
   * The ports of a loaded switch stay a view of their encoded section in
   * the model's image until first used, so that a command that touches one
   * switch of a large configuration builds the ports of that switch only.
   * EnsurePorts decodes them (false when memory runs out); Ports() and
   * FindPort() call it.
   */
  bool EnsurePorts() const;
  size_t PortCount() const { return portsImage_ ? portsImageCount_ : ports_.size(); }
  /* The ports in order; empty when decoding them ran out of memory. */
  const std::vector<PortObj *> &Ports() const;
  PortObj *FindPort(std::string_view port) const;
  /* Adds a port whose name is set; takes it unless memory runs out (false, nothing changed). */
  bool InsertPort(std::unique_ptr<PortObj> &p);
  /* Removes a port of this switch. */
  void ErasePort(PortObj *p);
  /* Lets the ports view an encoded section (count ports, len bytes) of a validated image. */
  void SetPortsImage(const uint8_t *section, uint32_t len, uint32_t count) {
    portsImage_ = section;
    portsImageLen_ = len;
    portsImageCount_ = count;
  }
  /* The encoded port section while the ports are still a view, else null. */
  const uint8_t *PortsImage(uint32_t *len) const {
    *len = portsImageLen_;
    return portsImage_;
  }

 private:
  /* Deletes a port of this switch, whichever storage it has. */
  static void DeletePort(PortObj *p);

  mutable std::vector<PortObj *> ports_; /* owned: see DeletePort */
  /* The ports decoded from the image, in one huge-page friendly block. */
  mutable PortObj *block_ = nullptr;
  mutable std::unordered_map<std::string_view, PortObj *> portIndex_; /* views into names */
  mutable bool indexed_ = false; /* portIndex_ holds every port */
  mutable uint32_t walks_ = 0;   /* lookups made by walking the ports */
  mutable const uint8_t *portsImage_ = nullptr;
  mutable uint32_t portsImageLen_ = 0;
  mutable uint32_t portsImageCount_ = 0;
};

/* Longest switch ID text accepted, NUL excluded. */
#define DVS_SWITCH_ID_MAX (DVS_SWITCH_ID_BUF_LEN - 1)

class ConfigModel {
 public:
  ConfigModel() = default;
  ~ConfigModel() {
    Reset();
    free(image_);
  }
  ConfigModel(const ConfigModel &) = delete;
  ConfigModel &operator=(const ConfigModel &) = delete;

  /*
   * Replaces the whole configuration with a serialised one. On any failure
   * the configuration is left as it was and the status says why:
   * ZOR_TRUNCATED, ZOR_NOT_A_CONFIG, ZOR_BAD_VERSION, ZOR_BAD_CHECKSUM,
   * ZOR_INVALID_DATA, ZOR_TOO_LARGE or ZOR_NO_MEMORY.
   */
  ZOR_ReturnStatus Deserialize(const void *data, uint32_t len);
  /*
   * Serialises the configuration into out. persistentOnly leaves out
   * VOLATILE properties and switches whose global nopersist value is 1.
   */
  ZOR_ReturnStatus Serialize(ByteBuf *out, bool persistentOnly = false) const;
  void Reset();
  bool Empty() const { return switches_.empty(); }

  SwitchObj *FindSwitch(std::string_view id) const;
  SwitchObj *FindSwitchByAlias(std::string_view alias) const;
  const std::vector<std::unique_ptr<SwitchObj>> &Switches() const { return switches_; }

  ZOR_ReturnStatus AddSwitch(const char *id, const char *className, int32_t maxPorts,
                             int32_t version);
  ZOR_ReturnStatus RemoveSwitch(const char *id);
  ZOR_ReturnStatus SetVersion(const char *id, uint32_t version);
  ZOR_ReturnStatus SetMaxPorts(const char *id, int32_t maxPorts);

  /* Adds a port in state normal; takes the tree on success (null: empty tree). */
  ZOR_ReturnStatus AddPort(const char *id, const char *port, DVSData *tree);
  ZOR_ReturnStatus RemovePort(const char *id, const char *port);
  PortObj *FindPort(const char *id, const char *port) const;

  /*
   * The property lists by target: which 0 = port, 1 = global, 2 = host.
   * ZOR_NOT_FOUND for an unknown switch or port.
   */
  ZOR_ReturnStatus ListFor(const char *id, int which, const char *port, DVSData **list) const;

 private:
  std::vector<std::unique_ptr<SwitchObj>> switches_;
  /* The body of the last accepted block; untouched lists and ports are views into it. */
  uint8_t *image_ = nullptr;
  size_t imageLen_ = 0;
  uint8_t header_[16] = {};           /* that block's header */
  std::vector<uint32_t> sectionLens_; /* that block's port section lengths, by switch */
};

/* Serialised configuration header: magic "ZCFG", u16 version, u16 0, u32 length, u32 CRC. */
inline constexpr uint32_t CONFIG_MAGIC = 0x4746435au; /* "ZCFG" read as little-endian */
inline constexpr uint32_t TREE_MAGIC = 0x5254445au;   /* "ZDTR" */
inline constexpr uint16_t FORMAT_VERSION = 1;
inline constexpr size_t HEADER_LEN = 16;

/*
 * Checks a serialised header (magic, version, length, checksum) and returns
 * a reader over its body, or the status that refuses it.
 */
ZOR_ReturnStatus OpenBlock(const void *data, uint32_t len, uint32_t magic, WireReader *body);
/*
 * Decodes a serialised property tree (DVSData_Serialize's block) into a new
 * tree whose own storage comes from alloc/release. Returns the status of
 * OpenBlock or TreeScan, ZOR_INVALID_DATA for bytes after the tree, or
 * ZOR_NO_MEMORY.
 */
ZOR_ReturnStatus TreeDecodeBlock(const void *data, uint32_t len, DVSData **out,
                                 DVSData_AllocFn alloc = malloc, DVSData_FreeFn release = free);
/* Starts a block of the given magic in out; FinishBlock fills in length and checksum. */
void BeginBlock(WireWriter &w, uint32_t magic);
void FinishBlock(ByteBuf *out, size_t start);

}  // namespace zor

#endif  // PLATFORM_CORE_CONFIG_MODEL_H
