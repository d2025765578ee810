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
#include <new>

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
    uint32_t nameOff = static_cast<uint32_t>(fresh.size());
    fresh.append(tree->arena.data() + n.nameOff, n.nameLen + 1);
    uint32_t dataOff = static_cast<uint32_t>(fresh.size());
    fresh.append(tree->arena.data() + n.dataOff, n.dataLen);
    n.nameOff = nameOff;
    n.dataOff = dataOff;
  }
  tree->arena.swap(fresh);
  tree->garbage = 0;
}

bool ArenaFits(const DVSData *tree, size_t more) {
  return tree->arena.size() + more <= UINT32_MAX;
}

/* One node of an encoded list, as a view. */
struct EncodedNode {
  int32_t flags;
  std::string_view name;
  std::string_view value;
  std::string_view raw; /* the whole encoded node */
};

/* Reads the next node of an encoded list the caller knows to be valid or checks itself. */
EncodedNode ReadNode(WireReader &r) {
  EncodedNode n;
  const uint8_t *start = r.Position();
  n.flags = static_cast<int32_t>(r.U32());
  n.name = r.Bytes(r.U16());
  n.value = r.Bytes(r.U32());
  n.raw = std::string_view(reinterpret_cast<const char *>(start),
                           static_cast<size_t>(r.Position() - start));
  return n;
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

bool TreeMaterialize(DVSData *tree) {
  if (!tree->image) return true;
  WireReader r(tree->image, tree->imageLen);
  uint32_t count = r.U32();
  try {
    std::vector<DVSDataNode> nodes;
    std::string arena;
    nodes.reserve(count);
    /* Names gain a NUL each; the counts and lengths are dropped. */
    arena.reserve(tree->imageLen - 4 - count * (kNodeOverhead - 1));
    for (uint32_t i = 0; i < count; i++) {
      EncodedNode e = ReadNode(r);
      DVSDataNode node{};
      node.tree = tree;
      node.nameOff = static_cast<uint32_t>(arena.size());
      node.nameLen = static_cast<uint32_t>(e.name.size());
      arena.append(e.name.data(), e.name.size());
      arena.push_back('\0');
      node.dataOff = static_cast<uint32_t>(arena.size());
      node.dataLen = static_cast<uint32_t>(e.value.size());
      arena.append(e.value.data(), e.value.size());
      node.flags = e.flags;
      nodes.push_back(node);
    }
    tree->nodes.swap(nodes);
    tree->arena.swap(arena);
  } catch (const std::bad_alloc &) {
    return false;
  }
  tree->image = nullptr;
  tree->imageLen = 0;
  tree->garbage = 0;
  return true;
}

DVSDataNode *TreeFind(DVSData *tree, std::string_view name) {
  if (!TreeMaterialize(tree)) return nullptr;
  for (DVSDataNode &n : tree->nodes) {
    if (n.nameLen == name.size() &&
        memcmp(tree->arena.data() + n.nameOff, name.data(), name.size()) == 0) {
      return &n;
    }
  }
  return nullptr;
}

ZOR_ReturnStatus TreeSet(DVSData *tree, std::string_view name, const void *data, uint32_t len,
                         int32_t flags) {
  if (name.empty() || name.size() > DVS_PROP_NAME_MAX ||
      name.find('\0') != std::string_view::npos) {
    return ZOR_BAD_PARAM;
  }
  if (len > DVS_PROP_VALUE_MAX) return ZOR_TOO_LARGE;
  if (len && !data) return ZOR_BAD_PARAM;
  if (!TreeMaterialize(tree)) return ZOR_NO_MEMORY;
  try {
    DVSDataNode *n = TreeFind(tree, name);
    if (n) {
      n->flags = flags;
      if (n->dataLen == len) {
        if (len) memcpy(&tree->arena[n->dataOff], data, len);
        return ZOR_OK;
      }
      if (!ArenaFits(tree, len)) return ZOR_TOO_LARGE;
      /* A value of another length goes to the end of the arena; the node keeps its place. */
      uint32_t off = static_cast<uint32_t>(tree->arena.size());
      tree->arena.append(static_cast<const char *>(data), len);
      tree->garbage += n->dataLen;
      n->dataOff = off;
      n->dataLen = len;
      MaybeCompact(tree);
      return ZOR_OK;
    }
    if (!ArenaFits(tree, name.size() + 1 + len)) return ZOR_TOO_LARGE;
    DVSDataNode node{};
    node.tree = tree;
    node.nameOff = static_cast<uint32_t>(tree->arena.size());
    node.nameLen = static_cast<uint32_t>(name.size());
    tree->arena.append(name.data(), name.size());
    tree->arena.push_back('\0');
    node.dataOff = static_cast<uint32_t>(tree->arena.size());
    node.dataLen = len;
    tree->arena.append(static_cast<const char *>(data), len);
    node.flags = flags;
    tree->nodes.push_back(node);
  } catch (const std::bad_alloc &) {
    return ZOR_NO_MEMORY;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus TreeRemove(DVSData *tree, std::string_view name) {
  if (!TreeMaterialize(tree)) return ZOR_NO_MEMORY;
  DVSDataNode *n = TreeFind(tree, name);
  if (!n) return ZOR_NOT_FOUND;
  tree->garbage += n->nameLen + 1 + n->dataLen;
  tree->nodes.erase(tree->nodes.begin() + (n - tree->nodes.data()));
  MaybeCompact(tree);
  return ZOR_OK;
}

size_t TreeEncodedSize(const DVSData *tree, bool skipVolatile) {
  if (tree->image && !skipVolatile) return tree->imageLen;
  size_t size = 4;
  if (tree->image) {
    WireReader r(tree->image, tree->imageLen);
    for (uint32_t count = r.U32(); count; count--) {
      EncodedNode e = ReadNode(r);
      if (!(e.flags & PROP_VOLATILE)) size += e.raw.size();
    }
    return size;
  }
  for (const DVSDataNode &n : tree->nodes) {
    if (skipVolatile && (n.flags & PROP_VOLATILE)) continue;
    size += kNodeOverhead + n.nameLen + n.dataLen;
  }
  return size;
}

void TreeEncode(const DVSData *tree, WireWriter &w, bool skipVolatile) {
  if (tree->image) {
    if (!skipVolatile) {
      w.Bytes(tree->image, tree->imageLen);
      return;
    }
    WireReader r(tree->image, tree->imageLen);
    uint32_t count = r.U32();
    uint32_t kept = 0;
    WireReader scan = r;
    for (uint32_t i = 0; i < count; i++) kept += !(ReadNode(scan).flags & PROP_VOLATILE);
    w.U32(kept);
    for (uint32_t i = 0; i < count; i++) {
      EncodedNode e = ReadNode(r);
      if (!(e.flags & PROP_VOLATILE)) w.Bytes(e.raw.data(), e.raw.size());
    }
    return;
  }
  uint32_t count = 0;
  for (const DVSDataNode &n : tree->nodes) {
    if (!(skipVolatile && (n.flags & PROP_VOLATILE))) count++;
  }
  w.U32(count);
  for (const DVSDataNode &n : tree->nodes) {
    if (skipVolatile && (n.flags & PROP_VOLATILE)) continue;
    w.U32(static_cast<uint32_t>(n.flags));
    w.U16(static_cast<uint16_t>(n.nameLen));
    w.Bytes(tree->arena.data() + n.nameOff, n.nameLen);
    w.U32(n.dataLen);
    w.Bytes(tree->arena.data() + n.dataOff, n.dataLen);
  }
}

namespace {

/*
 * A cheap summary of a name: its length with its first and last eight
 * bytes. Equal names have equal fingerprints; names with different
 * fingerprints differ, so only equal fingerprints need a full comparison.
 */
uint64_t Fingerprint(std::string_view name) {
  uint64_t head = 0, tail = 0;
  if (name.size() >= 8) {
    memcpy(&head, name.data(), 8); /* fixed sizes: plain loads, no calls */
    memcpy(&tail, name.data() + name.size() - 8, 8);
  } else {
    for (size_t i = 0; i < name.size(); i++) head = (head << 8) | static_cast<uint8_t>(name[i]);
  }
  return (head * 0x9e3779b97f4a7c15ull) ^ (tail + (static_cast<uint64_t>(name.size()) << 48));
}

}  // namespace

ZOR_ReturnStatus TreeScan(WireReader &r, const uint8_t **list, uint32_t *len) {
  const uint8_t *start = r.Position();
  uint32_t count = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  if (count > r.Remaining() / kNodeOverhead) return ZOR_TRUNCATED;
  /* Names of small lists are checked for duplicates pairwise, larger ones with a sort. */
  constexpr uint32_t kSmall = 16;
  std::string_view small[kSmall];
  uint64_t prints[kSmall];
  std::vector<std::string_view> large;
  try {
    if (count > kSmall) large.reserve(count);
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
    if (count <= kSmall) {
      const uint64_t print = Fingerprint(e.name);
      for (uint32_t j = 0; j < i; j++) {
        if (prints[j] == print && small[j] == e.name) return ZOR_INVALID_DATA;
      }
      small[i] = e.name;
      prints[i] = print;
    } else {
      large.push_back(e.name);
    }
  }
  if (!large.empty()) {
    std::sort(large.begin(), large.end());
    if (std::adjacent_find(large.begin(), large.end()) != large.end()) return ZOR_INVALID_DATA;
  }
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
