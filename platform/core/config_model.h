// SPDX-License-Identifier: Apache-2.0
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
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "data_tree.h"
#include "dvslib.h"
#include "wire.h"

namespace zor {

/* The key of a switch's alias on its global list. */
inline constexpr const char *ALIAS_KEY = "com.corvane.common.alias";
/* A switch whose global value of this key is 1 is left out of persistent state. */
inline constexpr const char *NOPERSIST_KEY = "com.corvane.common.volatile.nopersist";

struct PortObj final : DVSPort {
  PortObj() : DVSPort{} {}
  ~PortObj() {
    if (data != &list) TreeFree(data);
  }
  PortObj(const PortObj &) = delete;
  PortObj &operator=(const PortObj &) = delete;
  std::string_view Name() const { return name; }

  /* Port objects come from a pool of large blocks (config_model.cpp); new and delete work as usual.
   */
  static void *operator new(size_t);
  static void operator delete(void *p) noexcept;

  /* The property list of a loaded port lives here (data points at it); added ports bring their own.
   */
  DVSData list;
};

/*
 * The ports of a loaded switch's section by name: an open-addressed table
 * of record offsets, whose names are read where they lie in the section,
 * each with the place of its port object once one is made. The load
 * builds it while it checks the names for duplicates (a hash table costs
 * a twentieth of sorting the names).
 */
class SectionIndex {
 public:
  struct Slot {
    uint32_t hash;
    uint32_t offset; /* of the port's record in the section; EMPTY for a free slot */
    uint32_t taken;  /* the port's place among the decoded ones, plus one; 0 for none */
  };
  static constexpr uint32_t EMPTY = UINT32_MAX;

  /* Makes room for count records of the section, whose names lie within len bytes (throws
   * std::bad_alloc). */
  void Start(const uint8_t *section, size_t len, uint32_t count);
  /* Adds the record at offset, named name; false when a record of that name is there already. */
  bool Add(std::string_view name, uint32_t offset);
  /* The slot of the record named name, or null. */
  Slot *Find(std::string_view name);
  bool Built() const { return !slots_.empty(); }
  void Clear();

 private:
  /* The slot of name, or the free slot where it would go. */
  Slot &Probe(std::string_view name, uint32_t hash);
  const uint8_t *section_ = nullptr;
  size_t len_ = 0;
  std::vector<Slot> slots_;
};

struct SwitchObj : DVSSwitch {
  SwitchObj() : DVSSwitch{} {}
  SwitchObj(const SwitchObj &) = delete;
  SwitchObj &operator=(const SwitchObj &) = delete;
  ~SwitchObj() {
    TreeFree(global);
    TreeFree(host);
  }

  char id[DVS_SWITCH_ID_BUF_LEN + 1] = {}; /* ID text, zero padded */
  char className[DVS_CLASS_NAME_LEN] = {};
  int32_t maxPorts = 0;
  DVSData *global = nullptr;
  DVSData *host = nullptr;

  std::string_view Id() const { return id; }

  /*
   * The ports of a loaded switch stay encoded in the model's image until a
   * command asks for them: FindPort decodes only the port it finds, Ports()
   * decodes them all, and serialising copies the encoded bytes of every
   * port that was never decoded. An edit of one port of a large switch
   * thus builds one port record.
   */
  size_t PortCount() const;
  /* The port named name, or null (also when memory runs out). The switch owns it. */
  PortObj *FindPort(std::string_view name);
  /* Every port in order; empty when decoding them runs out of memory. The switch owns them. */
  const std::vector<std::unique_ptr<PortObj>> &Ports();
  /* Adds a port whose name is set; takes it unless memory runs out (false, nothing changed). */
  bool InsertPort(std::unique_ptr<PortObj> &p);
  /* Removes and deletes a port of this switch. */
  void ErasePort(PortObj *p);
  /*
   * Makes the ports a view of an encoded section (count ports, len bytes)
   * of a validated image, with its index when the load built one.
   */
  void LoadPorts(const uint8_t *section, uint32_t len, uint32_t count, SectionIndex index);
  /* Writes the port count and the ports; persistentOnly leaves out VOLATILE properties. */
  void EncodePorts(WireWriter &w, bool persistentOnly) const;

 private:
  /* A port decoded from the section: where its record lies, and the port (null once removed). */
  struct Taken {
    uint32_t offset;
    uint32_t len;
    std::unique_ptr<PortObj> port;
  };
  /* A new port object for the validated record at record..end of the section. */
  std::unique_ptr<PortObj> DecodePort(const uint8_t *record, const uint8_t *end);
  /* Indexes the section by walking it; false when memory runs out (no index). */
  bool BuildIndex();
  /* The places in taken_, in the order of their records in the section. */
  std::vector<uint32_t> TakenInOrder() const;

  const uint8_t *section_ = nullptr; /* the loaded ports, encoded */
  uint32_t sectionLen_ = 0;
  uint32_t sectionCount_ = 0;
  std::vector<Taken> taken_;        /* in the order they were taken */
  bool takenInOrder_ = true;        /* ... which is also the section's order */
  uint32_t removedFromSection_ = 0; /* taken ports since removed */
  /*
   * A section loaded unchecked (the same bytes again) is indexed by its
   * second search: a command that looks up many ports (a batch) would
   * otherwise walk the section once for each.
   */
  SectionIndex index_;
  uint32_t sectionSearches_ = 0;
  /* The ports after the section: added ones, or all of them once Ports() has decoded it. */
  std::vector<std::unique_ptr<PortObj>> ports_;
  /* ports_ by name, kept once it holds more than a few ports. */
  std::unordered_map<std::string_view, PortObj *> portIndex_;
};

/* Longest switch ID text accepted, NUL excluded. */
#define DVS_SWITCH_ID_MAX (DVS_SWITCH_ID_BUF_LEN - 1)

/* Serialised configuration header: magic "ZCFG", u16 version, u16 0, u32 length, u32 CRC. */
inline constexpr uint32_t CONFIG_MAGIC = 0x4746435au; /* "ZCFG" read as little-endian */
inline constexpr uint32_t TREE_MAGIC = 0x5254445au;   /* "ZDTR" */
inline constexpr uint16_t FORMAT_VERSION = 1;
inline constexpr size_t HEADER_LEN = 16;
/* The largest maxPorts a switch may be given, and the most ports one switch may hold. */
inline constexpr int32_t MAX_PORTS = 16384;

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
   * ZOR_INVALID_DATA, ZOR_TOO_LARGE or ZOR_NO_MEMORY. The model keeps its
   * own copy of the bytes.
   */
  ZOR_ReturnStatus Deserialize(const void *data, uint32_t len);
  /*
   * Appends the serialised configuration to out. persistentOnly leaves out
   * VOLATILE properties and switches whose global nopersist value is 1.
   */
  ZOR_ReturnStatus Serialize(ByteBuf *out, bool persistentOnly = false) const;
  /* Empties the configuration; handles into it become invalid. */
  void Reset();
  bool Empty() const { return switches_.empty(); }

  /* Lookups return objects the model owns, or null. */
  SwitchObj *FindSwitch(std::string_view id) const;
  SwitchObj *FindSwitchByAlias(std::string_view alias) const;
  PortObj *FindPort(const char *id, const char *port) const;
  const std::vector<std::unique_ptr<SwitchObj>> &Switches() const { return switches_; }

  /*
   * Switch sizes: maxPorts must be 0 to MAX_PORTS (else ZOR_BAD_PARAM),
   * and AddPort refuses a port beyond MAX_PORTS on one switch with
   * ZOR_NO_RESOURCES. A switch's own maxPorts is advice that ports may
   * exceed, as they always could. Loaded configurations are taken as
   * they are.
   */
  ZOR_ReturnStatus AddSwitch(const char *id, const char *className, int32_t maxPorts,
                             int32_t version);
  ZOR_ReturnStatus RemoveSwitch(const char *id);
  ZOR_ReturnStatus SetVersion(const char *id, uint32_t version);
  ZOR_ReturnStatus SetMaxPorts(const char *id, int32_t maxPorts);

  /* Adds a port in state normal; takes the tree on success (null: empty tree). */
  ZOR_ReturnStatus AddPort(const char *id, const char *port, DVSData *tree);
  ZOR_ReturnStatus RemovePort(const char *id, const char *port);

  /*
   * The property lists by target: which 0 = port, 1 = global, 2 = host.
   * ZOR_NOT_FOUND for an unknown switch or port.
   */
  ZOR_ReturnStatus ListFor(const char *id, int which, const char *port, DVSData **list) const;

 private:
  std::vector<std::unique_ptr<SwitchObj>> switches_;
  /* The last accepted block: its header and a copy of its body, which untouched lists and
   * ports view; and the byte length of each switch's port records in it. */
  uint8_t header_[HEADER_LEN] = {};
  uint8_t *image_ = nullptr;
  size_t imageLen_ = 0;
  std::vector<uint32_t> portBytes_;
};

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
