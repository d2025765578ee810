// SPDX-License-Identifier: Apache-2.0
/*
 * data_tree.cpp --
 *
 *    Property data trees: ordered named values in one arena per tree, and
 *    their encoding inside serialised blocks.
 */

#include "data_tree.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <deque>
#include <new>
#include <optional>
#include <unordered_map>

namespace zor {

namespace {

/* Bytes of one encoded node besides its name and value. */
constexpr uint32_t kNodeOverhead = 4 + 2 + 4;

/*
 * Compacts the arena once most of it is garbage, so that a long-lived tree
 * (the daemon's) does not grow with every replaced value.
 */
void MaybeCompact(DVSData *tree) {
  if (tree->garbage < 4096 || tree->garbage * 2 < tree->arena.size()) return;
  std::string fresh;
  fresh.reserve(tree->arena.size() - tree->garbage);
  for (DVSDataNode &n : tree->nodes) {
    if (!n.nameShared) {
      uint32_t nameOff = static_cast<uint32_t>(fresh.size());
      fresh.append(tree->arena.data() + n.nameOff, n.nameLen + 1);
      n.nameOff = nameOff;
    }
    uint32_t dataOff = static_cast<uint32_t>(fresh.size());
    fresh.append(tree->arena.data() + n.dataOff, n.dataLen);
    n.dataOff = dataOff;
  }
  tree->arena.swap(fresh);
  tree->garbage = 0;
}

/*
 * The names that decoded trees share. A configuration names the same few
 * dozen keys on every port, and a command that changes thousands of ports
 * (a batch) keeps each changed port's list decoded until its save: with
 * each tree's names in its own arena, they are most of that memory. Names
 * are added and never removed, so the table is bounded; once it is full,
 * names go to the trees' arenas as before. Like the rest of the library,
 * it is used from one thread.
 */
class NameTable {
 public:
  /* The id of name, added if there is room; nothing when the table is full. */
  std::optional<uint32_t> Intern(std::string_view name) {
    if (const auto it = index_.find(name); it != index_.end()) return it->second;
    if (bytes_ + name.size() + 1 > kMaxBytes) return std::nullopt;
    names_.emplace_back(name);
    bytes_ += name.size() + 1;
    const uint32_t id = static_cast<uint32_t>(names_.size() - 1);
    index_.emplace(names_.back(), id);
    return id;
  }
  const char *Name(uint32_t id) const { return names_[id].c_str(); }

 private:
  static constexpr size_t kMaxBytes = 256u << 10;
  std::deque<std::string> names_; /* a deque keeps its elements in place */
  std::unordered_map<std::string_view, uint32_t> index_;
  size_t bytes_ = 0;
};

NameTable &Names() {
  static NameTable table;
  return table;
}

bool ArenaFits(const DVSData *tree, size_t more) {
  return tree->arena.size() + more <= UINT32_MAX;
}

/* One node of an encoded list, as views. */
struct EncodedNode {
  int32_t flags;
  std::string_view name;
  std::string_view value;
  std::string_view raw; /* the whole encoded node */
};

/* Reads the next node of an encoded list; a short list fails the reader. */
[[gnu::always_inline]] inline EncodedNode ReadNode(WireReader &r) {
  EncodedNode n;
  const uint8_t *start = r.Position();
  n.flags = static_cast<int32_t>(r.U32());
  n.name = r.Bytes(r.U16());
  n.value = r.Bytes(r.U32());
  n.raw = std::string_view(reinterpret_cast<const char *>(start),
                           static_cast<size_t>(r.Position() - start));
  return n;
}

/*
 * Makes room for more bytes in the arena and more nodes, growing by an
 * eighth instead of doubling: a batch that changes a value on each of
 * thousands of ports keeps thousands of decoded lists until its save, and
 * doubling each one would cost as much memory again as the lists hold.
 * Growth stays geometric, so appending stays cheap. Throws std::bad_alloc
 * as the containers do.
 */
void Grow(DVSData *tree, size_t moreBytes, size_t moreNodes) {
  std::string &arena = tree->arena;
  if (arena.capacity() - arena.size() < moreBytes) {
    std::string grown; /* a string's reserve doubles; a fresh one's is exact */
    grown.reserve(arena.size() + moreBytes + arena.size() / 8);
    grown.append(arena);
    arena.swap(grown);
  }
  std::vector<DVSDataNode> &nodes = tree->nodes;
  if (nodes.capacity() - nodes.size() < moreNodes) {
    nodes.reserve(nodes.size() + moreNodes + nodes.size() / 8);
  }
}

inline void MakeRoom(DVSData *tree, size_t moreBytes, size_t moreNodes) {
  if (tree->arena.capacity() - tree->arena.size() < moreBytes ||
      tree->nodes.capacity() - tree->nodes.size() < moreNodes) {
    Grow(tree, moreBytes, moreNodes);
  }
}

/* Appends a node for name (its id in the shared table, when it has one there) and value. */
void AppendNode(DVSData *tree, std::string_view name, std::string_view value, int32_t flags,
                std::optional<uint32_t> shared) {
  MakeRoom(tree, (shared ? 0 : name.size() + 1) + value.size(), 1);
  DVSDataNode node{};
  node.tree = tree;
  node.nameLen = static_cast<uint32_t>(name.size());
  node.nameShared = shared.has_value();
  if (shared) {
    node.nameOff = *shared;
  } else {
    node.nameOff = static_cast<uint32_t>(tree->arena.size());
    tree->arena.append(name.data(), name.size());
    tree->arena.push_back('\0');
  }
  node.dataOff = static_cast<uint32_t>(tree->arena.size());
  node.dataLen = static_cast<uint32_t>(value.size());
  tree->arena.append(value.data(), value.size());
  node.flags = flags;
  tree->nodes.push_back(node);
}

/* Whether the encoded list of an image-backed tree holds a node named name. */
bool ImageHas(const DVSData *tree, std::string_view name) {
  WireReader r(tree->image, tree->imageLen);
  const uint32_t count = r.U32();
  for (uint32_t i = 0; i < count; i++) {
    if (ReadNode(r).name == name) return true;
  }
  return false;
}

/* What SetInImage found. */
enum class InImage { SET, OTHER_LENGTH, ABSENT };

/*
 * Replaces, where it lies in the encoded list, a value of the same length
 * as the new one, with its flags. A loaded list lies in the
 * configuration's own copy of the loaded bytes, which its model owns and
 * writes back as they are, so a batch that changes one value on each of
 * thousands of ports decodes none of their lists (each decoded list costs
 * memory until the save, and its pages faults). Says whether the list
 * holds the name with a value of another length, or not at all, instead.
 */
InImage SetInImage(DVSData *tree, std::string_view name, const void *data, uint32_t len,
                   int32_t flags) {
  WireReader r(tree->image, tree->imageLen);
  const uint32_t count = r.U32();
  for (uint32_t i = 0; i < count; i++) {
    const EncodedNode e = ReadNode(r);
    if (e.name != name) continue;
    if (e.value.size() != len) return InImage::OTHER_LENGTH;
    uint8_t *node = const_cast<uint8_t *>(reinterpret_cast<const uint8_t *>(e.raw.data()));
    PutU32(node, e.raw.size(), 0, static_cast<uint32_t>(flags));
    if (len) memcpy(const_cast<char *>(e.value.data()), data, len);
    return InImage::SET;
  }
  return InImage::ABSENT;
}

/* The node named name among the tree's nodes (its overrides, while it has an image). */
DVSDataNode *FindNode(DVSData *tree, std::string_view name) {
  for (DVSDataNode &n : tree->nodes) {
    if (tree->Name(n) == name) return &n;
  }
  return nullptr;
}

/* The override that replaces the encoded node named name, or null. */
const DVSDataNode *Override(const DVSData *tree, std::string_view name) {
  for (const DVSDataNode &n : tree->nodes) {
    if (n.inImage && tree->Name(n) == name) return &n;
  }
  return nullptr;
}

/* Writes one node in the encoded form. */
void WriteNode(const DVSData *tree, const DVSDataNode &n, WireWriter &w) {
  w.U32(static_cast<uint32_t>(n.flags));
  w.U16(static_cast<uint16_t>(n.nameLen));
  w.Bytes(tree->NameText(n), n.nameLen);
  w.U32(n.dataLen);
  w.Bytes(tree->arena.data() + n.dataOff, n.dataLen);
}

/*
 * Writes an encoded list with its overrides: the runs of encoded nodes
 * between the replaced ones are copied as they lie, then the added nodes
 * follow.
 */
void OverlayEncode(const DVSData *tree, WireWriter &w, bool skipVolatile) {
  WireReader r(tree->image, tree->imageLen);
  const uint32_t count = r.U32();
  uint32_t replaced = 0;
  uint32_t written = count;
  for (const DVSDataNode &n : tree->nodes) {
    replaced += n.inImage;
    written += !n.inImage;
  }
  if (skipVolatile) {
    written = 0;
    WireReader scan = r;
    for (uint32_t i = 0; i < count; i++) {
      const EncodedNode e = ReadNode(scan);
      const DVSDataNode *o = Override(tree, e.name);
      written += !((o ? o->flags : e.flags) & PROP_VOLATILE);
    }
    for (const DVSDataNode &n : tree->nodes) written += !n.inImage && !(n.flags & PROP_VOLATILE);
  }
  w.U32(written);
  const uint8_t *run = r.Position(); /* encoded nodes kept as they are, up to the one read next */
  uint32_t left = replaced;
  for (uint32_t i = 0; i < count && (left > 0 || skipVolatile); i++) {
    const uint8_t *at = r.Position();
    const EncodedNode e = ReadNode(r);
    const DVSDataNode *o = left > 0 ? Override(tree, e.name) : nullptr;
    left -= o != nullptr;
    const bool keep = !(skipVolatile && ((o ? o->flags : e.flags) & PROP_VOLATILE));
    if (!o && keep) continue;
    w.Bytes(run, static_cast<size_t>(at - run));
    if (o && keep) WriteNode(tree, *o, w);
    run = r.Position();
  }
  w.Bytes(run, static_cast<size_t>(tree->image + tree->imageLen - run));
  for (const DVSDataNode &n : tree->nodes) {
    if (!n.inImage && !(skipVolatile && (n.flags & PROP_VOLATILE))) WriteNode(tree, n, w);
  }
}

/*
 * Decodes an encoded list with overrides into a fresh arena and nodes,
 * each override in its place. Throws std::bad_alloc (the tree unchanged).
 */
void MergeOverrides(DVSData *tree) {
  DVSData merged;
  WireReader r(tree->image, tree->imageLen);
  const uint32_t count = r.U32();
  merged.nodes.reserve(count + tree->nodes.size());
  merged.arena.reserve(tree->imageLen + tree->arena.size());
  for (uint32_t i = 0; i < count; i++) {
    const EncodedNode e = ReadNode(r);
    const std::optional<uint32_t> shared = Names().Intern(e.name);
    if (const DVSDataNode *o = Override(tree, e.name)) {
      AppendNode(&merged, e.name, std::string_view(tree->Value(*o), o->dataLen), o->flags, shared);
    } else {
      AppendNode(&merged, e.name, e.value, e.flags, shared);
    }
  }
  for (const DVSDataNode &n : tree->nodes) {
    if (n.inImage) continue;
    const std::string_view value(tree->Value(n), n.dataLen);
    AppendNode(&merged, tree->Name(n), value, n.flags, Names().Intern(tree->Name(n)));
  }
  for (DVSDataNode &n : merged.nodes) n.tree = tree;
  tree->nodes.swap(merged.nodes);
  tree->arena.swap(merged.arena);
}

}  // namespace

DVSData *TreeNew(DVSData_AllocFn alloc, DVSData_FreeFn release) {
  void *mem = alloc(sizeof(DVSData));
  if (!mem) return nullptr;
  DVSData *tree = new (mem) DVSData();
  tree->alloc = alloc;
  tree->release = release;
  return tree;
}

void TreeFree(DVSData *tree) {
  if (!tree) return;
  DVSData_FreeFn release = tree->release ? tree->release : free;
  tree->~DVSData();
  release(tree);
}

DVSData *TreeFromImage(const uint8_t *list, uint32_t len) {
  DVSData *tree = TreeNew();
  if (!tree) return nullptr;
  tree->image = list;
  tree->imageLen = len;
  return tree;
}

const char *SharedName(uint32_t id) {
  return Names().Name(id);
}

bool TreeMaterialize(DVSData *tree, bool shareNames) {
  if (!tree->image) return true;
  if (!tree->nodes.empty()) {
    try {
      MergeOverrides(tree);
    } catch (const std::bad_alloc &) {
      return false;
    }
    tree->image = nullptr;
    tree->imageLen = 0;
    tree->garbage = 0;
    return true;
  }
  WireReader r(tree->image, tree->imageLen);
  uint32_t count = r.U32();
  try {
    tree->nodes.reserve(count);
    /* The arena holds the values and the names that are not shared, each name with a NUL. */
    size_t bytes = tree->imageLen - 4 - count * (kNodeOverhead - 1);
    /* Each name's id in the shared table, looked up once (a port's few on the stack). */
    constexpr uint32_t kOnStack = 32;
    std::optional<uint32_t> onStack[kOnStack];
    std::vector<std::optional<uint32_t>> onHeap;
    std::optional<uint32_t> *ids = onStack;
    if (shareNames && count > kOnStack) {
      onHeap.resize(count);
      ids = onHeap.data();
    }
    if (shareNames) {
      WireReader names = r;
      for (uint32_t i = 0; i < count; i++) {
        const std::string_view name = ReadNode(names).name;
        ids[i] = Names().Intern(name);
        if (ids[i]) bytes -= name.size() + 1;
      }
    }
    tree->arena.reserve(bytes);
    for (uint32_t i = 0; i < count; i++) {
      EncodedNode e = ReadNode(r);
      AppendNode(tree, e.name, e.value, e.flags, shareNames ? ids[i] : std::nullopt);
    }
  } catch (const std::bad_alloc &) {
    tree->nodes.clear();
    tree->arena.clear();
    return false;
  }
  tree->image = nullptr;
  tree->imageLen = 0;
  tree->garbage = 0;
  return true;
}

DVSDataNode *TreeFind(DVSData *tree, std::string_view name) {
  if (DVSDataNode *n = FindNode(tree, name)) return n;
  /*
   * Looking for a name that an encoded list does not hold leaves it
   * encoded: a walk of every port for one property decodes only the lists
   * that have it, and the others are written back as they were read.
   */
  if (!tree->image || !ImageHas(tree, name)) return nullptr;
  if (!TreeMaterialize(tree)) return nullptr;
  return FindNode(tree, name);
}

ZOR_ReturnStatus TreeSet(DVSData *tree, std::string_view name, const void *data, uint32_t len,
                         int32_t flags) {
  if (name.empty() || name.size() > DVS_PROP_NAME_MAX ||
      name.find('\0') != std::string_view::npos) {
    return ZOR_BAD_PARAM;
  }
  if (len > DVS_PROP_VALUE_MAX) return ZOR_TOO_LARGE;
  if (len && !data) return ZOR_BAD_PARAM;
  std::string_view value(static_cast<const char *>(data), len);
  try {
    DVSDataNode *n = FindNode(tree, name);
    if (!n) {
      /* An encoded list takes the value where it lies, or an override of it. */
      const InImage found =
          tree->image ? SetInImage(tree, name, data, len, flags) : InImage::ABSENT;
      if (found == InImage::SET) return ZOR_OK;
      if (!ArenaFits(tree, name.size() + 1 + len)) return ZOR_TOO_LARGE;
      AppendNode(tree, name, value, flags, Names().Intern(name));
      tree->nodes.back().inImage = found == InImage::OTHER_LENGTH;
      return ZOR_OK;
    }
    n->flags = flags;
    if (n->dataLen == len) {
      if (len) memcpy(&tree->arena[n->dataOff], data, len);
      return ZOR_OK;
    }
    if (!ArenaFits(tree, len)) return ZOR_TOO_LARGE;
    /* A value of another length goes to the end of the arena; the node keeps its place. */
    MakeRoom(tree, len, 0);
    uint32_t off = static_cast<uint32_t>(tree->arena.size());
    tree->arena.append(value.data(), value.size());
    tree->garbage += n->dataLen;
    n->dataOff = off;
    n->dataLen = len;
    MaybeCompact(tree);
  } catch (const std::bad_alloc &) {
    return ZOR_NO_MEMORY;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus TreeRemove(DVSData *tree, std::string_view name) {
  if (tree->image && !FindNode(tree, name) && !ImageHas(tree, name)) return ZOR_NOT_FOUND;
  if (!TreeMaterialize(tree)) return ZOR_NO_MEMORY;
  DVSDataNode *n = FindNode(tree, name);
  if (!n) return ZOR_NOT_FOUND;
  tree->garbage += (n->nameShared ? 0 : n->nameLen + 1) + n->dataLen;
  tree->nodes.erase(tree->nodes.begin() + (n - tree->nodes.data()));
  MaybeCompact(tree);
  return ZOR_OK;
}

void ListEncode(const uint8_t *list, uint32_t len, WireWriter &w, bool skipVolatile) {
  if (!skipVolatile) {
    w.Bytes(list, len);
    return;
  }
  WireReader r(list, len);
  const uint32_t count = r.U32();
  WireReader scan = r;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count; i++) kept += !(ReadNode(scan).flags & PROP_VOLATILE);
  w.U32(kept);
  for (uint32_t i = 0; i < count; i++) {
    EncodedNode e = ReadNode(r);
    if (!(e.flags & PROP_VOLATILE)) w.Bytes(e.raw.data(), e.raw.size());
  }
}

void TreeEncode(const DVSData *tree, WireWriter &w, bool skipVolatile) {
  if (tree->image) {
    if (tree->nodes.empty()) return ListEncode(tree->image, tree->imageLen, w, skipVolatile);
    return OverlayEncode(tree, w, skipVolatile);
  }
  uint32_t count = 0;
  for (const DVSDataNode &n : tree->nodes) count += !(skipVolatile && (n.flags & PROP_VOLATILE));
  w.U32(count);
  for (const DVSDataNode &n : tree->nodes) {
    if (!(skipVolatile && (n.flags & PROP_VOLATILE))) WriteNode(tree, n, w);
  }
}

bool HasDuplicate(std::vector<std::string_view> &names) {
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) != names.end();
}

ZOR_ReturnStatus TreeScan(WireReader &r, const uint8_t **list, uint32_t *len) {
  const uint8_t *start = r.Position();
  uint32_t count = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  if (count > r.Remaining() / kNodeOverhead) return ZOR_TRUNCATED;
  /* Names of short lists are compared pairwise; longer lists are sorted. */
  constexpr uint32_t kShort = 16;
  std::string_view shortNames[kShort];
  std::vector<std::string_view> names;
  try {
    if (count > kShort) names.reserve(count);
  } catch (const std::bad_alloc &) {
    return ZOR_NO_MEMORY;
  }
  for (uint32_t i = 0; i < count; i++) {
    EncodedNode e = ReadNode(r);
    if (!r.Ok()) return ZOR_TRUNCATED;
    if (e.name.empty() || e.name.size() > DVS_PROP_NAME_MAX ||
        memchr(e.name.data(), '\0', e.name.size()) != nullptr) {
      return ZOR_INVALID_DATA;
    }
    if (e.value.size() > DVS_PROP_VALUE_MAX) return ZOR_TOO_LARGE;
    if (count > kShort) {
      names.push_back(e.name);
      continue;
    }
    for (uint32_t j = 0; j < i; j++) {
      if (shortNames[j] == e.name) return ZOR_INVALID_DATA;
    }
    shortNames[i] = e.name;
  }
  if (HasDuplicate(names)) return ZOR_INVALID_DATA;
  *list = start;
  *len = static_cast<uint32_t>(r.Position() - start);
  return ZOR_OK;
}

void TreeSkip(WireReader &r, const uint8_t **list, uint32_t *len) {
  const uint8_t *start = r.Position();
  for (uint32_t count = r.U32(); count && r.Ok(); count--) ReadNode(r);
  *list = start;
  *len = static_cast<uint32_t>(r.Position() - start);
}

}  // namespace zor
