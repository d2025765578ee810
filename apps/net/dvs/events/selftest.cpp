// SPDX-License-Identifier: Apache-2.0
/*
 * selftest.cpp --
 *
 *    The -T command: a round trip through the library's property data
 *    routines. Builds a tree of three properties, serialises it, frees it,
 *    rebuilds a tree from the bytes and checks two of the values.
 */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "dvslib.h"
#include "events/events.h"

namespace {

struct TreeDeleter {
  void operator()(DVSData *tree) const { DVSData_Free(tree); }
};
using TreePtr = std::unique_ptr<DVSData, TreeDeleter>;

struct BlockDeleter {
  void operator()(void *block) const { free(block); }
};
using BlockPtr = std::unique_ptr<void, BlockDeleter>;

/* The values written, as little-endian bytes. */
const char nameValue[] = "value";
const uint8_t xValue[4] = {1, 0, 0, 0};
const uint8_t arrayValue[16] = {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0};

const struct {
  const char *name;
  const void *value;
  uint32_t length;
} testProps[] = {
    {"name", nameValue, sizeof nameValue},
    {"x", xValue, sizeof xValue},
    {"array", arrayValue, sizeof arrayValue},
};

/* Format word of DVSData_Serialize. */
constexpr uint32_t SERIALIZE_FORMAT = 4;

}  // namespace

/*
 * DataSelfTest --
 *
 *    Runs the round trip, printing progress on standard output and the
 *    first failure on standard error. Returns 0 when every step succeeds,
 *    -1 at the first failure. Every tree and block it makes is released.
 */
int DataSelfTest() {
  printf("Testing DVSData routines...\n");

  DVSData *raw = nullptr;
  ZOR_ReturnStatus status = DVSData_Alloc(&raw, malloc, free);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSData_Alloc failed: %s\n", ZOR_ReturnStatusToString(status));
    return -1;
  }
  TreePtr tree(raw);

  for (const auto &prop : testProps) {
    status = DVSData_Update(tree.get(), prop.name, prop.value, prop.length, PROP_CONFIG);
    if (status != ZOR_OK) {
      fprintf(stderr, "DVSData_Update failed: %s\n", ZOR_ReturnStatusToString(status));
      return -1;
    }
  }

  void *bytes = nullptr;
  uint32_t length = 0;
  status = DVSData_Serialize(tree.get(), &bytes, &length, SERIALIZE_FORMAT);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSData_Serialize failed: %s\n", ZOR_ReturnStatusToString(status));
    return -1;
  }
  BlockPtr serialized(bytes);
  tree.reset();
  printf("DVSData serialization succeeded.\n");

  raw = nullptr;
  status = DVSData_Deserialize(&raw, serialized.get(), length, malloc, free);
  if (status != ZOR_OK) {
    fprintf(stderr, "DVSData_Deserialize failed: %s\n", ZOR_ReturnStatusToString(status));
    return -1;
  }
  tree.reset(raw);
  printf("DVSData deserialization succeeded.\n");
  serialized.reset();

  DVSDataNode *node = nullptr;
  if (DVSData_Lookup(tree.get(), "name", &node) != ZOR_OK) {
    fprintf(stderr, "DVSData_Lookup failed to find name\n");
    return -1;
  }
  void *value = nullptr;
  uint32_t valueLength = DVSData_Data(node, &value);
  // The text found ends at its NUL or at the end of the value.
  const char *text = static_cast<const char *>(value);
  const size_t textLength = text != nullptr ? strnlen(text, valueLength) : 0;
  if (textLength != strlen(nameValue) || memcmp(text, nameValue, textLength) != 0) {
    fprintf(stderr, "Incorrect data, expected: value, actual %.*s\n", static_cast<int>(textLength),
            textLength > 0 ? text : "");
    return -1;
  }

  if (DVSData_Lookup(tree.get(), "array", &node) != ZOR_OK) {
    fprintf(stderr, "DVSData_Lookup failed to find array\n");
    return -1;
  }
  valueLength = DVSData_Data(node, &value);
  if (valueLength != sizeof arrayValue) {
    fprintf(stderr, "Incorrect data size of array, expected: %zu, actual %d\n", sizeof arrayValue,
            static_cast<int>(valueLength));
    return -1;
  }
  if (value == nullptr || memcmp(value, arrayValue, sizeof arrayValue) != 0) {
    fprintf(stderr, "Incorrect data value in array.\n");
    return -1;
  }

  printf("DVSData deserialization succeeded.\n");
  return 0;
}
