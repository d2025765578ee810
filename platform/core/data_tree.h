// SPDX-License-Identifier: Apache-2.0
/*
 * data_tree.h --
 *
 *    The property data tree behind DVSData: an ordered list of named
 *    values. Names and values live in one arena per tree; nodes hold
 *    offsets into it, so a tree of many properties costs a few
 *    allocations. Insertion order is kept; replacing a value keeps its
 *    place.
 *
 *    A tree loaded as part of a configuration starts out as a view of its
 *    encoded bytes inside the configuration's image, and stays one while
 *    values are only set in it: a value of the same length is replaced
 *    where it lies, any other is kept in the tree's nodes as an override
 *    of the encoded list (in the place of the value it replaces, or after
 *    the encoded ones when new). Looking a value up decodes the list only
 *    when the name is in it and not overridden; walking or removing
 *    decodes it whole, overrides merged. An untouched list is written back
 *    by copying its bytes; a list with overrides by copying the runs
 *    between them.
 *
 *    Encoded list (inside serialised blocks): u32 count, then per node u32
 *    flags, u16 name length, name bytes, u32 value length, value bytes.
 */

#ifndef PLATFORM_CORE_DATA_TREE_H
#define PLATFORM_CORE_DATA_TREE_H

#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "dvslib.h"
#include "wire.h"

/* Longest property name accepted, NUL excluded. */
#define DVS_PROP_NAME_MAX 1023u
/* Largest property value accepted, in bytes. */
#define DVS_PROP_VALUE_MAX (16u << 20)

namespace zor {
/* A name of the shared name table (see data_tree.cpp), NUL-terminated. */
const char *SharedName(uint32_t id);
}  // namespace zor

struct DVSDataNode {
  DVSData *tree;
  uint32_t nameOff; /* name in the arena, NUL-terminated; or its id in the shared table */
  uint32_t nameLen; /* NUL excluded */
  uint32_t dataOff;
  uint32_t dataLen;
  int32_t flags;
  bool nameShared; /* nameOff is an id of the shared name table */
  bool inImage;    /* an override that replaces a value of the tree's encoded list */
};

struct DVSData {
  DVSData_AllocFn alloc = nullptr;
  DVSData_FreeFn release = nullptr;
  /*
   * While not null, the tree is its encoded list here, and nodes are the
   * overrides of it (see above); once decoded, nodes are the whole list.
   */
  const uint8_t *image = nullptr;
  uint32_t imageLen = 0;
  std::vector<DVSDataNode> nodes;
  std::string arena;
  size_t garbage = 0; /* arena bytes no node refers to any more */

  /* The node's name, NUL-terminated. */
  const char *NameText(const DVSDataNode &n) const {
    return n.nameShared ? zor::SharedName(n.nameOff) : arena.data() + n.nameOff;
  }
  std::string_view Name(const DVSDataNode &n) const {
    return std::string_view(NameText(n), n.nameLen);
  }
  const char *Value(const DVSDataNode &n) const { return arena.data() + n.dataOff; }
};

namespace zor {

/*
 * Creates an empty tree whose own storage comes from alloc and goes back
 * through release; null when memory runs out. The caller releases it with
 * TreeFree.
 */
DVSData *TreeNew(DVSData_AllocFn alloc = malloc, DVSData_FreeFn release = free);
/* Releases a tree made by TreeNew, TreeFromImage or TreeDecodeBlock. */
void TreeFree(DVSData *tree);

/*
 * Creates a tree (malloc/free) that views an encoded list the caller has
 * validated and keeps alive; null when memory runs out.
 */
DVSData *TreeFromImage(const uint8_t *list, uint32_t len);
/* Whether the tree is an encoded list without overrides. */
inline bool TreeIsView(const DVSData *tree) {
  return tree->image != nullptr && tree->nodes.empty();
}
/*
 * Decodes an image-backed tree into nodes, its overrides merged; false
 * when memory runs out (the tree is unchanged). With shareNames, names come from the shared name
 * table where it has room, instead of each tree's arena: the right choice
 * for a tree that lives on; a scratch copy for one walk should not pay for
 * the lookups.
 */
bool TreeMaterialize(DVSData *tree, bool shareNames = true);
/*
 * Validates the encoded list at the reader's position and moves past it,
 * returning where it lies. Returns ZOR_TRUNCATED when the list ends early,
 * ZOR_INVALID_DATA for an empty, over-long or duplicate name or a name with
 * a NUL in it, ZOR_TOO_LARGE for a value over the limit, ZOR_NO_MEMORY.
 */
ZOR_ReturnStatus TreeScan(WireReader &r, const uint8_t **list, uint32_t *len);
/* Moves past an encoded list that TreeScan has accepted, returning where it lies. */
void TreeSkip(WireReader &r, const uint8_t **list, uint32_t *len);

/* The node named name, or null (also when decoding runs out of memory). */
DVSDataNode *TreeFind(DVSData *tree, std::string_view name);
/* Adds or replaces a value (a replaced value keeps its place). */
ZOR_ReturnStatus TreeSet(DVSData *tree, std::string_view name, const void *data, uint32_t len,
                         int32_t flags);
/* Removes a value; ZOR_NOT_FOUND when absent. */
ZOR_ReturnStatus TreeRemove(DVSData *tree, std::string_view name);

/* Writes the tree as an encoded list; skipVolatile leaves out VOLATILE properties. */
void TreeEncode(const DVSData *tree, WireWriter &w, bool skipVolatile = false);
/* Writes a validated encoded list, without its VOLATILE properties when skipVolatile is set. */
void ListEncode(const uint8_t *list, uint32_t len, WireWriter &w, bool skipVolatile);

/* True when two of the names are equal; sorts names in place and allocates nothing. */
bool HasDuplicate(std::vector<std::string_view> &names);

}  // namespace zor

#endif  // PLATFORM_CORE_DATA_TREE_H
