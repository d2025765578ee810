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

}  // namespace

DVSData *TreeNew() {
  void *mem = malloc(sizeof(DVSData));
  if (!mem) return nullptr;
  DVSData *tree = new (mem) DVSData();
  tree->alloc = malloc;
  tree->release = free;
  return tree;
}

void TreeFree(DVSData *tree) {
  if (!tree) return;
  DVSData_FreeFn release = tree->release ? tree->release : free;
  tree->~DVSData();
  release(tree);
}

DVSData *TreeClone(const DVSData *src) {
  DVSData *tree = TreeNew();
  if (!tree) return nullptr;
  try {
    tree->nodes = src->nodes;
    tree->arena = src->arena;
  } catch (const std::bad_alloc &) {
    TreeFree(tree);
    return nullptr;
  }
  tree->garbage = src->garbage;
  for (DVSDataNode &n : tree->nodes) n.tree = tree;
  return tree;
}

DVSDataNode *TreeFind(DVSData *tree, std::string_view name) {
  for (DVSDataNode &n : tree->nodes) {
    if (n.nameLen == name.size() && memcmp(tree->arena.data() + n.nameOff, name.data(),
                                           name.size()) == 0) {
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
  DVSDataNode *n = TreeFind(tree, name);
  if (!n) return ZOR_NOT_FOUND;
  tree->garbage += n->nameLen + 1 + n->dataLen;
  tree->nodes.erase(tree->nodes.begin() + (n - tree->nodes.data()));
  MaybeCompact(tree);
  return ZOR_OK;
}

size_t TreeEncodedSize(const DVSData *tree, bool skipVolatile) {
  size_t size = 4;
  for (const DVSDataNode &n : tree->nodes) {
    if (skipVolatile && (n.flags & PROP_VOLATILE)) continue;
    size += 4 + 2 + n.nameLen + 4 + n.dataLen;
  }
  return size;
}

void TreeEncode(const DVSData *tree, WireWriter &w, bool skipVolatile) {
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

ZOR_ReturnStatus TreeDecode(WireReader &r, DVSData **out) {
  *out = nullptr;
  uint32_t count = r.U32();
  if (!r.Ok()) return ZOR_TRUNCATED;
  /* Each node takes at least 11 bytes, so a count the data cannot hold is refused early. */
  if (count > r.Remaining() / 11) return ZOR_TRUNCATED;
  DVSData *tree = TreeNew();
  if (!tree) return ZOR_NO_MEMORY;
  ZOR_ReturnStatus status = ZOR_OK;
  try {
    /* Size the arena exactly with a first pass, so that it never grows while decoding. */
    WireReader scan = r;
    size_t arenaSize = 0;
    for (uint32_t i = 0; i < count && scan.Ok(); i++) {
      scan.U32();
      arenaSize += scan.Bytes(scan.U16()).size() + 1;
      arenaSize += scan.Bytes(scan.U32()).size();
    }
    tree->arena.reserve(arenaSize);
    tree->nodes.reserve(count);
    for (uint32_t i = 0; i < count && status == ZOR_OK; i++) {
      int32_t flags = static_cast<int32_t>(r.U32());
      uint16_t nameLen = r.U16();
      std::string_view name = r.Bytes(nameLen);
      uint32_t dataLen = r.U32();
      std::string_view value = r.Bytes(dataLen);
      if (!r.Ok()) {
        status = ZOR_TRUNCATED;
      } else if (nameLen == 0 || nameLen > DVS_PROP_NAME_MAX ||
                 name.find('\0') != std::string_view::npos) {
        status = ZOR_INVALID_DATA;
      } else if (dataLen > DVS_PROP_VALUE_MAX) {
        status = ZOR_TOO_LARGE;
      } else if (count <= 64 ? TreeFind(tree, name) != nullptr : false) {
        status = ZOR_INVALID_DATA;
      } else {
        DVSDataNode node{};
        node.tree = tree;
        node.nameOff = static_cast<uint32_t>(tree->arena.size());
        node.nameLen = nameLen;
        tree->arena.append(name.data(), name.size());
        tree->arena.push_back('\0');
        node.dataOff = static_cast<uint32_t>(tree->arena.size());
        node.dataLen = dataLen;
        tree->arena.append(value.data(), value.size());
        node.flags = flags;
        tree->nodes.push_back(node);
      }
    }
    if (status == ZOR_OK && count > 64) {
      /* Large lists: check names for duplicates with a sort instead of pairwise. */
      std::vector<std::string_view> names;
      names.reserve(count);
      for (const DVSDataNode &n : tree->nodes) names.push_back(tree->Name(n));
      std::sort(names.begin(), names.end());
      if (std::adjacent_find(names.begin(), names.end()) != names.end()) {
        status = ZOR_INVALID_DATA;
      }
    }
  } catch (const std::bad_alloc &) {
    status = ZOR_NO_MEMORY;
  }
  if (status != ZOR_OK) {
    TreeFree(tree);
    return status;
  }
  *out = tree;
  return ZOR_OK;
}

}  // namespace zor
