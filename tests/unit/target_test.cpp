// SPDX-License-Identifier: Apache-2.0
/*
 * target_test.cpp --
 *
 *    The property target layer on the configuration state's operations:
 *    which list a target name reaches, the flags words it writes and
 *    reading a value back.
 */

#include "state/target.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "state/state_ops.h"

namespace {

const char SW[] = "74 67 74 00 00 00 00 00-00 00 00 00 00 00 00 00";
const StateOps &S = CONFIG_STATE_OPS;

struct Prop {
  std::string key;
  std::vector<uint8_t> value;
  int32_t flags;
  bool operator==(const Prop &) const = default;
};

int Collect(DVSDataNode *node, void *context) {
  void *data = nullptr;
  const uint32_t len = DVSData_Data(node, &data);
  const uint8_t *bytes = static_cast<const uint8_t *>(data);
  static_cast<std::vector<Prop> *>(context)->push_back(
      {DVSData_Name(node), std::vector<uint8_t>(bytes, bytes + len), DVSData_PropType(node)});
  return 0;
}

class TargetFileMode : public ::testing::Test {
 protected:
  void SetUp() override {
    DVSState_ConfigReset();
    ASSERT_EQ(DVSState_SwitchAdd(SW, "vswitch", 8, 6), ZOR_OK);
    DVSData *tree = nullptr;
    ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
    ASSERT_EQ(DVSState_PortAdd(SW, "7", tree), ZOR_OK);
  }
  void TearDown() override { DVSState_ConfigReset(); }
  std::vector<Prop> Global() {
    std::vector<Prop> props;
    DVSState_GlobalPropForEach(DVSState_SwitchFind(SW), Collect, &props);
    return props;
  }
  std::vector<Prop> Host() {
    std::vector<Prop> props;
    DVSState_HostPropForEach(DVSState_SwitchFind(SW), Collect, &props);
    return props;
  }
  std::vector<Prop> Port(const char *name) {
    std::vector<Prop> props;
    DVSState_PortDataForEach(DVSState_PortFind(SW, name), Collect, &props);
    return props;
  }
};

TEST_F(TargetFileMode, TargetNamesSelectTheLists) {
  const uint8_t one[] = {1};
  EXPECT_EQ(Target_SetProp(S, SW, DVS_TARGET_GLOBAL_LIST, "g", one, 1), ZOR_OK);
  EXPECT_EQ(Target_SetProp(S, SW, DVS_TARGET_HOST_LIST, "h", one, 1), ZOR_OK);
  EXPECT_EQ(Target_SetProp(S, SW, "7", "p", one, 1), ZOR_OK);
  /* Anything that is not exactly a list name is a port name. */
  EXPECT_EQ(Target_SetProp(S, SW, "globalPropList1", "x", one, 1), ZOR_NOT_FOUND);
  EXPECT_EQ(Target_SetProp(S, SW, "HostPropList", "x", one, 1), ZOR_NOT_FOUND);
  EXPECT_EQ(Target_SetProp(S, SW, "globalProp", "x", one, 1), ZOR_NOT_FOUND);

  EXPECT_EQ(Global(), (std::vector<Prop>{{"g", {1}, PROP_CONFIG}}));
  EXPECT_EQ(Host(), (std::vector<Prop>{{"h", {1}, PROP_CONFIG}}));
  EXPECT_EQ(Port("7"), (std::vector<Prop>{{"p", {1}, PROP_CONFIG}}));

  /* Each value reads back from where it went; a missing key or port is not found. */
  const std::pair<const char *, const char *> written[] = {
      {DVS_TARGET_GLOBAL_LIST, "g"}, {DVS_TARGET_HOST_LIST, "h"}, {"7", "p"}};
  PropValue value;
  for (const auto &[target, key] : written) {
    SCOPED_TRACE(target);
    EXPECT_EQ(Target_GetProp(S, SW, target, key, value), ZOR_OK);
    EXPECT_EQ(value, PropValue{1});
    EXPECT_EQ(Target_GetProp(S, SW, target, "none", value), ZOR_NOT_FOUND);
  }
  EXPECT_EQ(Target_GetProp(S, SW, "8", "p", value), ZOR_NOT_FOUND);

  EXPECT_EQ(Target_ClearProp(S, SW, "7", "p"), ZOR_OK);
  EXPECT_EQ(Target_ClearProp(S, SW, "7", "p"), ZOR_NOT_FOUND);
  EXPECT_EQ(Target_ClearProp(S, SW, "8", "p"), ZOR_NOT_FOUND);
  EXPECT_EQ(Target_ClearProp(S, SW, DVS_TARGET_HOST_LIST, "h"), ZOR_OK);
  EXPECT_EQ(Target_ClearProp(S, SW, DVS_TARGET_GLOBAL_LIST, "g"), ZOR_OK);
  EXPECT_TRUE(Global().empty());
  EXPECT_TRUE(Host().empty());
  EXPECT_TRUE(Port("7").empty());
}

}  // namespace
