/*
 * config_model.cpp --
 *
 *    The configuration model and its serialised form.
 *
 *    Serialised configuration (all integers little-endian):
 *      header  u32 magic "ZCFG", u16 format version (1), u16 0,
 *              u32 body length, u32 CRC-32C of the body
 *      body    u32 switch count, then per switch:
 *                u16 ID length, ID text; u16 class length, class text;
 *                i32 max ports; u32 version; global list; host list;
 *                u32 port count, then per port:
 *                  u16 name length, name; u32 state; property list
 *      list    as encoded by TreeEncode
 *    Texts carry no NUL. A block is accepted whole or not at all.
 */

#include "config_model.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

namespace zor {

namespace {

bool ValidText(std::string_view s, size_t maxLen) {
  return !s.empty() && s.size() <= maxLen && s.find('\0') == std::string_view::npos;
}

/* Copies a C text into a fixed field; false when it does not fit. */
bool CopyField(char *dst, size_t size, std::string_view src) {
  if (src.size() >= size) return false;
  memcpy(dst, src.data(), src.size());
  dst[src.size()] = '\0';
  return true;
}

std::string_view TextArg(const char *s) {
  return s ? std::string_view(s) : std::string_view();
}

/* The global value of a switch's no-persist flag is one byte, 1 for set. */
bool NoPersist(const SwitchObj &s) {
  DVSDataNode *n = TreeFind(s.global, NOPERSIST_KEY);
  return n && n->dataLen >= 1 && s.global->Value(*n)[0] == 1;
}

std::unique_ptr<SwitchObj> NewSwitch() {
  auto s = std::make_unique<SwitchObj>();
  s->global = TreeNew();
  s->host = TreeNew();
  if (!s->global || !s->host) return nullptr;
  return s;
}

}  // namespace

namespace {

/* Reads one encoded port: its name, state and the extent of its property list. */
ZOR_ReturnStatus ReadPort(WireReader &r, std::string_view *name, uint32_t *state,
                          const uint8_t **list, uint32_t *listLen) {
  *name = r.Bytes(r.U16());
  *state = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  if (!ValidText(*name, DVS_PORT_NAME_LEN - 1)) return ZOR_INVALID_DATA;
  return TreeScan(r, list, listLen);
}

}  // namespace

SwitchObj::~SwitchObj() {
  for (PortObj *p : ports_) DeletePort(p);
  free(block_);
  TreeFree(global);
  TreeFree(host);
}

void SwitchObj::DeletePort(PortObj *p) {
  if (p->inBlock) {
    p->~PortObj(); /* the block's memory goes with the switch */
  } else {
    delete p;
  }
}

bool SwitchObj::EnsurePorts() const {
  if (!portsImage_) return true;
  const size_t count = portsImageCount_;
  std::vector<PortObj *> ports;
  try {
    ports.reserve(count);
  } catch (const std::bad_alloc &) {
    return false;
  }
  /* One block for all ports: a few page faults instead of a few per port. */
  PortObj *block = static_cast<PortObj *>(BigAlloc(count * sizeof(PortObj), 256u << 10));
  if (!block && count) return false;
  WireReader r(portsImage_, portsImageLen_);
  for (size_t i = 0; i < count; i++) {
    PortObj *p = new (&block[i]) PortObj();
    p->inBlock = true;
    /* The section was validated when it was loaded. */
    CopyField(p->name, sizeof p->name, r.Bytes(r.U16()));
    p->state = r.U32();
    const uint8_t *list = nullptr;
    uint32_t listLen = 0;
    TreeSkip(r, &list, &listLen);
    p->list.image = list;
    p->list.imageLen = listLen;
    p->list.alloc = malloc;
    p->list.release = free;
    p->data = &p->list;
    p->dvs = const_cast<SwitchObj *>(this);
    ports.push_back(p);
  }
  ports_.swap(ports);
  portIndex_.clear();
  indexed_ = false;
  block_ = block;
  portsImage_ = nullptr;
  portsImageLen_ = portsImageCount_ = 0;
  return true;
}

const std::vector<PortObj *> &SwitchObj::Ports() const {
  EnsurePorts();
  return ports_;
}

PortObj *SwitchObj::FindPort(std::string_view port) const {
  if (!EnsurePorts()) return nullptr;
  /*
   * A command looks up a port or two: a walk costs less than building an
   * index of thousands of names. Lookups beyond that (the daemon's) build
   * the index once.
   */
  if (!indexed_ && ++walks_ > 2) {
    try {
      portIndex_.reserve(ports_.size());
      for (PortObj *p : ports_) portIndex_.emplace(p->Name(), p);
      indexed_ = true;
    } catch (const std::bad_alloc &) {
      portIndex_.clear();
    }
  }
  if (indexed_) {
    auto it = portIndex_.find(port);
    return it == portIndex_.end() ? nullptr : it->second;
  }
  for (PortObj *p : ports_) {
    if (p->Name() == port) return p;
  }
  return nullptr;
}

bool SwitchObj::InsertPort(std::unique_ptr<PortObj> &p) {
  if (!EnsurePorts()) return false;
  try {
    if (ports_.size() == ports_.capacity()) ports_.reserve(ports_.size() * 2 + 16);
    if (indexed_) portIndex_.emplace(p->Name(), p.get());
  } catch (const std::bad_alloc &) {
    return false;
  }
  p->dvs = this;
  ports_.push_back(p.release());
  return true;
}

void SwitchObj::ErasePort(PortObj *p) {
  if (indexed_) portIndex_.erase(p->Name());
  auto it = std::find(ports_.begin(), ports_.end(), p);
  if (it != ports_.end()) ports_.erase(it);
  DeletePort(p);
}

void BeginBlock(WireWriter &w, uint32_t magic) {
  w.U32(magic);
  w.U16(FORMAT_VERSION);
  w.U16(0);
  w.U32(0);
  w.U32(0);
}

void FinishBlock(ByteBuf *out, size_t start) {
  if (out->Size() < start + HEADER_LEN) return;
  uint8_t *h = out->Data() + start;
  size_t bodyLen = out->Size() - start - HEADER_LEN;
  uint32_t crc = Crc32(h + HEADER_LEN, bodyLen);
  for (int i = 0; i < 4; i++) {
    h[8 + i] = static_cast<uint8_t>(bodyLen >> (8 * i));
    h[12 + i] = static_cast<uint8_t>(crc >> (8 * i));
  }
}

ZOR_ReturnStatus OpenBlock(const void *data, uint32_t len, uint32_t magic, WireReader *body) {
  if (!data && len) return ZOR_BAD_PARAM;
  WireReader r(data, len);
  uint32_t m = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  if (m != magic) return ZOR_NOT_A_CONFIG;
  uint16_t version = r.U16();
  uint16_t reserved = r.U16();
  uint32_t bodyLen = r.U32();
  uint32_t crc = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  if (version != FORMAT_VERSION) return ZOR_BAD_VERSION;
  if (reserved != 0) return ZOR_INVALID_DATA;
  if (bodyLen > r.Remaining()) return ZOR_TRUNCATED;
  if (bodyLen < r.Remaining()) return ZOR_INVALID_DATA;
  if (Crc32(r.Position(), bodyLen) != crc) return ZOR_BAD_CHECKSUM;
  *body = r;
  return ZOR_OK;
}

namespace {

/* The switches of a body, read from image; nothing is kept on failure. */
/* A port name and its hash, for finding duplicate names. */
struct NameHash {
  size_t hash;
  std::string_view name;
};

/*
 * Reads the switches of a body. A body seen before (trusted) has been
 * checked whole already: its lists are only stepped over, and its port
 * sections are skipped by the lengths recorded then (sectionLens); for a
 * new body every list and port is checked and the lengths are recorded.
 */
ZOR_ReturnStatus ReadSwitches(WireReader &r, std::vector<std::unique_ptr<SwitchObj>> *out,
                              std::vector<NameHash> *names, bool trusted,
                              std::vector<uint32_t> *sectionLens) {
  std::vector<std::unique_ptr<SwitchObj>> &loaded = *out;
  ZOR_ReturnStatus status;
  const uint8_t *list = nullptr;
  uint32_t listLen = 0;
  uint32_t switchCount = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  /* A switch takes at least 25 bytes: a count the data cannot hold is refused early. */
  if (switchCount > r.Remaining() / 25) return ZOR_TRUNCATED;
  loaded.reserve(switchCount);
  for (uint32_t i = 0; i < switchCount; i++) {
    auto s = std::make_unique<SwitchObj>();
    std::string_view id = r.Bytes(r.U16());
    std::string_view cls = r.Bytes(r.U16());
    s->maxPorts = static_cast<int32_t>(r.U32());
    s->version = r.U32();
    if (!r.Ok()) return ZOR_TRUNCATED;
    if (!ValidText(id, DVS_SWITCH_ID_MAX) || cls.size() >= DVS_CLASS_NAME_LEN ||
        cls.find('\0') != std::string_view::npos) {
      return ZOR_INVALID_DATA;
    }
    for (const auto &other : loaded) {
      if (other->Id() == id) return ZOR_INVALID_DATA;
    }
    CopyField(s->id, sizeof s->id, id);
    CopyField(s->className, sizeof s->className, cls);
    for (DVSData **tree : {&s->global, &s->host}) {
      if (trusted) {
        TreeSkip(r, &list, &listLen);
      } else if ((status = TreeScan(r, &list, &listLen)) != ZOR_OK) {
        return status;
      }
      if (!(*tree = TreeFromImage(list, listLen))) return ZOR_NO_MEMORY;
    }
    uint32_t portCount = r.U32();
    if (!r.Ok()) return ZOR_TRUNCATED;
    if (trusted) {
      const uint8_t *section = r.Position();
      r.Bytes((*sectionLens)[i]);
      s->SetPortsImage(section, (*sectionLens)[i], portCount);
      loaded.push_back(std::move(s));
      continue;
    }
    /* A port takes at least 11 bytes. */
    if (portCount > r.Remaining() / 11) return ZOR_TRUNCATED;
    /* Every port is checked now; the port objects are built when the switch is first used. */
    const uint8_t *section = r.Position();
    names->clear();
    names->reserve(portCount);
    for (uint32_t j = 0; j < portCount; j++) {
      std::string_view name;
      uint32_t state;
      if ((status = ReadPort(r, &name, &state, &list, &listLen)) != ZOR_OK) return status;
      names->push_back({std::hash<std::string_view>()(name), name});
    }
    /* Duplicate names: sort by hash, compare the names of equal hashes only. */
    std::sort(names->begin(), names->end(),
              [](const NameHash &a, const NameHash &b) { return a.hash < b.hash; });
    for (size_t j = 1; j < names->size(); j++) {
      if ((*names)[j].hash != (*names)[j - 1].hash) continue;
      for (size_t k = j; k-- > 0 && (*names)[k].hash == (*names)[j].hash;) {
        if ((*names)[k].name == (*names)[j].name) return ZOR_INVALID_DATA;
      }
    }
    s->SetPortsImage(section, static_cast<uint32_t>(r.Position() - section), portCount);
    sectionLens->push_back(static_cast<uint32_t>(r.Position() - section));
    loaded.push_back(std::move(s));
  }
  if (r.Remaining() != 0) return ZOR_INVALID_DATA;
  return ZOR_OK;
}

}  // namespace

ZOR_ReturnStatus TreeDecodeBlock(const void *data, uint32_t len, DVSData **out,
                                 DVSData_AllocFn alloc, DVSData_FreeFn release) {
  *out = nullptr;
  WireReader body(nullptr, 0);
  ZOR_ReturnStatus status = OpenBlock(data, len, TREE_MAGIC, &body);
  if (status != ZOR_OK) return status;
  const uint8_t *list = nullptr;
  uint32_t listLen = 0;
  if ((status = TreeScan(body, &list, &listLen)) != ZOR_OK) return status;
  if (body.Remaining() != 0) return ZOR_INVALID_DATA;
  /* The caller's block may go once this returns: decode the list into the tree's own arena. */
  DVSData *tree = TreeNew(alloc, release);
  if (!tree) return ZOR_NO_MEMORY;
  tree->image = list;
  tree->imageLen = listLen;
  if (!TreeMaterialize(tree)) {
    tree->image = nullptr;
    TreeFree(tree);
    return ZOR_NO_MEMORY;
  }
  *out = tree;
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::Deserialize(const void *data, uint32_t len) {
  /*
   * Commands load the same configuration more than once (to find the
   * switch, then to run on it). A block identical to the last one accepted
   * reuses its image and its checks; anything else is checked in full.
   */
  const bool same = image_ && data && len == HEADER_LEN + imageLen_ &&
                    memcmp(data, header_, HEADER_LEN) == 0 &&
                    memcmp(static_cast<const uint8_t *>(data) + HEADER_LEN, image_, imageLen_) == 0;
  ZOR_ReturnStatus status;
  uint8_t *image = image_;
  size_t bodyLen = imageLen_;
  std::vector<uint32_t> sectionLens;
  if (!same) {
    WireReader body(nullptr, 0);
    if ((status = OpenBlock(data, len, CONFIG_MAGIC, &body)) != ZOR_OK) return status;
    /* The trees view a private copy of the body, so the caller may free its block. */
    bodyLen = body.Remaining();
    image = static_cast<uint8_t *>(BigAlloc(bodyLen));
    if (!image) return ZOR_NO_MEMORY;
    memcpy(image, body.Position(), bodyLen);
  }
  WireReader r(image, bodyLen);
  std::vector<std::unique_ptr<SwitchObj>> loaded;
  try {
    std::vector<NameHash> names;
    status = ReadSwitches(r, &loaded, &names, same, same ? &sectionLens_ : &sectionLens);
  } catch (const std::bad_alloc &) {
    status = ZOR_NO_MEMORY;
  }
  if (status != ZOR_OK) {
    loaded.clear();
    if (image != image_) free(image);
    return status;
  }
  switches_.swap(loaded);
  loaded.clear(); /* the previous switches, which may view the previous image */
  if (image != image_) {
    free(image_);
    image_ = image;
    imageLen_ = bodyLen;
    memcpy(header_, data, HEADER_LEN);
    sectionLens_.swap(sectionLens);
  }
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::Serialize(ByteBuf *out, bool persistentOnly) const {
  size_t size = HEADER_LEN + 4;
  for (const auto &s : switches_) {
    if (persistentOnly && NoPersist(*s)) continue;
    size += 2 + s->Id().size() + 2 + strlen(s->className) + 4 + 4 + 4;
    size += TreeEncodedSize(s->global, persistentOnly) + TreeEncodedSize(s->host, persistentOnly);
    uint32_t sectionLen = 0;
    /* The persistent form filters every list, so it needs the ports decoded. */
    if (s->PortsImage(&sectionLen) && !persistentOnly) {
      size += sectionLen;
      continue;
    }
    if (!s->EnsurePorts()) return ZOR_NO_MEMORY;
    for (const auto &p : s->Ports()) {
      size += 2 + p->Name().size() + 4 + TreeEncodedSize(p->data, persistentOnly);
    }
  }
  if (size > UINT32_MAX) return ZOR_TOO_LARGE;
  size_t start = out->Size();
  if (!out->Reserve(size)) return ZOR_NO_MEMORY;

  WireWriter w(out);
  BeginBlock(w, CONFIG_MAGIC);
  uint32_t count = 0;
  for (const auto &s : switches_) count += !(persistentOnly && NoPersist(*s));
  w.U32(count);
  for (const auto &s : switches_) {
    if (persistentOnly && NoPersist(*s)) continue;
    w.U16(static_cast<uint16_t>(s->Id().size()));
    w.Bytes(s->id, s->Id().size());
    size_t clsLen = strlen(s->className);
    w.U16(static_cast<uint16_t>(clsLen));
    w.Bytes(s->className, clsLen);
    w.U32(static_cast<uint32_t>(s->maxPorts));
    w.U32(s->version);
    TreeEncode(s->global, w, persistentOnly);
    TreeEncode(s->host, w, persistentOnly);
    w.U32(static_cast<uint32_t>(s->PortCount()));
    uint32_t sectionLen = 0;
    if (const uint8_t *section = s->PortsImage(&sectionLen)) {
      w.Bytes(section, sectionLen);
      continue;
    }
    for (const auto &p : s->Ports()) {
      w.U16(static_cast<uint16_t>(p->Name().size()));
      w.Bytes(p->name, p->Name().size());
      w.U32(p->state);
      TreeEncode(p->data, w, persistentOnly);
    }
  }
  if (!w.Ok()) return ZOR_NO_MEMORY;
  FinishBlock(out, start);
  return ZOR_OK;
}

void ConfigModel::Reset() {
  /* The image stays as the cache of the last accepted block; nothing views it any more. */
  switches_.clear();
}

SwitchObj *ConfigModel::FindSwitch(std::string_view id) const {
  for (const auto &s : switches_) {
    if (s->Id() == id) return s.get();
  }
  return nullptr;
}

SwitchObj *ConfigModel::FindSwitchByAlias(std::string_view alias) const {
  for (const auto &s : switches_) {
    DVSDataNode *n = TreeFind(s->global, ALIAS_KEY);
    if (!n) continue;
    /* The alias is stored as a text with its NUL; compare up to the first NUL. */
    std::string_view value(s->global->Value(*n), n->dataLen);
    value = value.substr(0, value.find('\0'));
    if (value == alias) return s.get();
  }
  return nullptr;
}

ZOR_ReturnStatus ConfigModel::AddSwitch(const char *id, const char *className, int32_t maxPorts,
                                        int32_t version) {
  std::string_view sid = TextArg(id);
  std::string_view cls = TextArg(className);
  if (!ValidText(sid, DVS_SWITCH_ID_MAX) || cls.size() >= DVS_CLASS_NAME_LEN) {
    return ZOR_BAD_PARAM;
  }
  if (FindSwitch(sid)) return ZOR_ALREADY_EXISTS;
  try {
    std::unique_ptr<SwitchObj> s = NewSwitch();
    if (!s) return ZOR_NO_MEMORY;
    CopyField(s->id, sizeof s->id, sid);
    CopyField(s->className, sizeof s->className, cls);
    s->maxPorts = maxPorts;
    s->version = static_cast<uint32_t>(version);
    switches_.push_back(std::move(s));
  } catch (const std::bad_alloc &) {
    return ZOR_NO_MEMORY;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::RemoveSwitch(const char *id) {
  std::string_view sid = TextArg(id);
  for (auto it = switches_.begin(); it != switches_.end(); ++it) {
    if ((*it)->Id() == sid) {
      switches_.erase(it);
      return ZOR_OK;
    }
  }
  return ZOR_NOT_FOUND;
}

ZOR_ReturnStatus ConfigModel::SetVersion(const char *id, uint32_t version) {
  SwitchObj *s = FindSwitch(TextArg(id));
  if (!s) return ZOR_NOT_FOUND;
  s->version = version;
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::SetMaxPorts(const char *id, int32_t maxPorts) {
  SwitchObj *s = FindSwitch(TextArg(id));
  if (!s) return ZOR_NOT_FOUND;
  s->maxPorts = maxPorts;
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::AddPort(const char *id, const char *port, DVSData *tree) {
  SwitchObj *s = FindSwitch(TextArg(id));
  if (!s) return ZOR_NOT_FOUND;
  std::string_view name = TextArg(port);
  if (!ValidText(name, DVS_PORT_NAME_LEN - 1)) return ZOR_BAD_PARAM;
  if (s->FindPort(name)) return ZOR_ALREADY_EXISTS;
  std::unique_ptr<PortObj> p;
  try {
    p = std::make_unique<PortObj>();
  } catch (const std::bad_alloc &) {
    return ZOR_NO_MEMORY;
  }
  CopyField(p->name, sizeof p->name, name);
  p->state = DVS_PORT_STATE_NORMAL;
  /* The caller's tree is taken only on success. */
  p->data = tree ? tree : TreeNew();
  if (!p->data || !s->InsertPort(p)) {
    if (p && p->data == tree) p->data = nullptr;
    return ZOR_NO_MEMORY;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus ConfigModel::RemovePort(const char *id, const char *port) {
  SwitchObj *s = FindSwitch(TextArg(id));
  if (!s) return ZOR_NOT_FOUND;
  PortObj *p = s->FindPort(TextArg(port));
  if (!p) return ZOR_NOT_FOUND;
  s->ErasePort(p);
  return ZOR_OK;
}

PortObj *ConfigModel::FindPort(const char *id, const char *port) const {
  SwitchObj *s = FindSwitch(TextArg(id));
  return s ? s->FindPort(TextArg(port)) : nullptr;
}

ZOR_ReturnStatus ConfigModel::ListFor(const char *id, int which, const char *port,
                                      DVSData **list) const {
  SwitchObj *s = FindSwitch(TextArg(id));
  if (!s) return ZOR_NOT_FOUND;
  switch (which) {
    case 1:
      *list = s->global;
      return ZOR_OK;
    case 2:
      *list = s->host;
      return ZOR_OK;
    default: {
      PortObj *p = s->FindPort(TextArg(port));
      if (!p) return ZOR_NOT_FOUND;
      *list = p->data;
      return ZOR_OK;
    }
  }
}

}  // namespace zor
