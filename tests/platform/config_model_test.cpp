// SPDX-License-Identifier: Apache-2.0
// Tests of the emulated library's configuration state: data trees, the
// configuration model, serialisation round trips and the refusal of
// damaged blocks.

#include "core/config_model.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "core/data_tree.h"
#include "dvslib.h"

namespace {

const char *kSw = "64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00";

std::vector<std::string> Names(DVSData *tree) {
  std::vector<std::string> out;
  EXPECT_TRUE(zor::TreeMaterialize(tree));
  for (DVSDataNode &n : tree->nodes) out.emplace_back(DVSData_Name(&n));
  return out;
}

std::string Value(DVSData *tree, const char *name) {
  DVSDataNode *node = nullptr;
  if (DVSData_Lookup(tree, name, &node) != ZOR_OK) return "<absent>";
  void *data = nullptr;
  uint32_t len = DVSData_Data(node, &data);
  return std::string(static_cast<char *>(data), len);
}

// Serialises a model into a std::string for tampering.
std::string Blob(const zor::ConfigModel &m, bool persistentOnly = false) {
  zor::ByteBuf out;
  EXPECT_EQ(m.Serialize(&out, persistentOnly), ZOR_OK);
  return std::string(reinterpret_cast<char *>(out.Data()), out.Size());
}

void BuildSample(zor::ConfigModel &m) {
  ASSERT_EQ(m.AddSwitch(kSw, "etherswitch", 64, 6), ZOR_OK);
  ASSERT_EQ(m.AddSwitch("second", "vswitch", 8, 100), ZOR_OK);
  DVSData *global = nullptr;
  ASSERT_EQ(m.ListFor(kSw, 1, nullptr, &global), ZOR_OK);
  zor::TreeSet(global, zor::ALIAS_KEY, "dvs0", 5, PROP_CONFIG);
  zor::TreeSet(global, "volatileThing", "x", 1, PROP_VOLATILE);
  for (const char *port : {"7", "3", "uplink1"}) {
    DVSData *tree = zor::TreeNew();
    zor::TreeSet(tree, "com.corvane.common.port.alias", port, strlen(port) + 1, PROP_CONFIG);
    zor::TreeSet(tree, "empty", "", 0, PROP_CONFIG);
    ASSERT_EQ(m.AddPort(kSw, port, tree), ZOR_OK);
  }
}

TEST(DataTree, KeepsInsertionOrderAndPlaceOnReplace) {
  DVSData *tree = nullptr;
  ASSERT_EQ(DVSData_Alloc(&tree, malloc, free), ZOR_OK);
  uint32_t one = 1;
  EXPECT_EQ(DVSData_Update(tree, "b", &one, 4, PROP_CONFIG), ZOR_OK);
  EXPECT_EQ(DVSData_Update(tree, "a", "text", 5, PROP_CONFIG), ZOR_OK);
  EXPECT_EQ(DVSData_Update(tree, "c", "", 0, PROP_RUNTIME), ZOR_OK);
  // A replacement of another length keeps the node's place and flags word.
  EXPECT_EQ(DVSData_Update(tree, "b", "longer value", 13, PROP_VOLATILE), ZOR_OK);
  EXPECT_EQ(Names(tree), (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_EQ(Value(tree, "b"), std::string("longer value", 13));
  DVSDataNode *node = nullptr;
  ASSERT_EQ(DVSData_Lookup(tree, "b", &node), ZOR_OK);
  EXPECT_EQ(DVSData_PropType(node), PROP_VOLATILE);
  // A zero-length value is a value.
  EXPECT_EQ(Value(tree, "c"), "");
  EXPECT_EQ(DVSData_Lookup(tree, "missing", &node), ZOR_NOT_FOUND);
  EXPECT_EQ(zor::TreeRemove(tree, "a"), ZOR_OK);
  EXPECT_EQ(zor::TreeRemove(tree, "a"), ZOR_NOT_FOUND);
  EXPECT_EQ(Names(tree), (std::vector<std::string>{"b", "c"}));
  DVSData_Free(tree);
}

TEST(DataTree, RefusesBadNamesAndValues) {
  DVSData *tree = zor::TreeNew();
  EXPECT_EQ(DVSData_Update(tree, "", "x", 1, 0), ZOR_BAD_PARAM);
  EXPECT_EQ(DVSData_Update(tree, std::string(2000, 'k').c_str(), "x", 1, 0), ZOR_BAD_PARAM);
  EXPECT_EQ(DVSData_Update(tree, "k", nullptr, 3, 0), ZOR_BAD_PARAM);
  EXPECT_TRUE(tree->nodes.empty());
  zor::TreeFree(tree);
}

TEST(DataTree, ArenaStaysBoundedUnderRepeatedReplacement) {
  DVSData *tree = zor::TreeNew();
  std::string big(1000, 'v');
  for (int i = 0; i < 10000; i++) {
    ASSERT_EQ(zor::TreeSet(tree, "key", big.data(), 500 + (i % 2), 0), ZOR_OK);
  }
  EXPECT_LT(tree->arena.size(), 16384u);
  EXPECT_EQ(Value(tree, "key"), big.substr(0, 501));
  zor::TreeFree(tree);
}

// Long names fill the table that decoded trees share names from; the rest
// stay in the tree. Removals compact the arena; every name and value
// survives a round trip.
TEST(DataTree, NamesBeyondTheSharedTableSurviveCompactionAndRoundTrip) {
  DVSData *tree = zor::TreeNew();
  std::vector<std::string> kept;
  for (int i = 0; i < 400; i++) {
    const std::string name = std::to_string(i) + std::string(1000, 'n');
    /* Appended: GCC 12 at -O3 takes "v" + std::to_string(i) for an overlapping copy. */
    std::string value = "v";
    value += std::to_string(i);
    ASSERT_EQ(zor::TreeSet(tree, name, value.data(), static_cast<uint32_t>(value.size()), 0),
              ZOR_OK);
    if (i % 4 == 3) kept.push_back(name);
  }
  for (int i = 0; i < 400; i++) {
    if (i % 4 == 3) continue;
    ASSERT_EQ(zor::TreeRemove(tree, std::to_string(i) + std::string(1000, 'n')), ZOR_OK);
  }
  EXPECT_LT(tree->arena.size(), 100u * 1001); /* compacted */
  void *blob = nullptr;
  uint32_t len = 0;
  ASSERT_EQ(DVSData_Serialize(tree, &blob, &len, 4), ZOR_OK);
  DVSData *back = nullptr;
  ASSERT_EQ(DVSData_Deserialize(&back, blob, len, malloc, free), ZOR_OK);
  EXPECT_EQ(Names(back), kept);
  EXPECT_EQ(Value(back, kept.back().c_str()), "v399");
  DVSData_Free(back);
  free(blob);
  zor::TreeFree(tree);
}

TEST(DataTree, SerialiseRoundTripAndDamage) {
  DVSData *tree = zor::TreeNew();
  uint32_t arr[4] = {2, 3, 4, 5};
  zor::TreeSet(tree, "name", "value", 6, PROP_CONFIG);
  zor::TreeSet(tree, "array", arr, sizeof arr, PROP_CONFIG | PROP_NO_SYNC);
  void *blob = nullptr;
  uint32_t len = 0;
  ASSERT_EQ(DVSData_Serialize(tree, &blob, &len, 4), ZOR_OK);
  EXPECT_EQ(DVSData_Serialize(tree, &blob, &len, 3), ZOR_NOT_SUPPORTED);
  DVSData *back = nullptr;
  ASSERT_EQ(DVSData_Deserialize(&back, blob, len, malloc, free), ZOR_OK);
  EXPECT_EQ(Names(back), (std::vector<std::string>{"name", "array"}));
  EXPECT_EQ(Value(back, "array"), std::string(reinterpret_cast<char *>(arr), sizeof arr));
  DVSDataNode *node = nullptr;
  DVSData_Lookup(back, "array", &node);
  EXPECT_EQ(DVSData_PropType(node), PROP_CONFIG | PROP_NO_SYNC);
  DVSData_Free(back);

  // Every truncation is refused, never read past.
  for (uint32_t cut = 0; cut < len; cut++) {
    EXPECT_NE(DVSData_Deserialize(&back, blob, cut, malloc, free), ZOR_OK) << cut;
    EXPECT_EQ(back, nullptr);
  }
  // A flipped bit anywhere in the body fails the checksum.
  std::string copy(static_cast<char *>(blob), len);
  copy[len - 1] ^= 0x01;
  EXPECT_EQ(DVSData_Deserialize(&back, copy.data(), len, malloc, free), ZOR_BAD_CHECKSUM);
  // A configuration block is not a tree block.
  zor::ConfigModel m;
  std::string cfg = Blob(m);
  EXPECT_EQ(DVSData_Deserialize(&back, cfg.data(), static_cast<uint32_t>(cfg.size()), malloc, free),
            ZOR_NOT_A_CONFIG);
  free(blob);
  zor::TreeFree(tree);
}

TEST(ConfigModel, ObjectsAndStatuses) {
  zor::ConfigModel m;
  BuildSample(m);
  EXPECT_EQ(m.AddSwitch(kSw, "cswitch", 1, 1), ZOR_ALREADY_EXISTS);
  EXPECT_EQ(m.AddPort(kSw, "7", nullptr), ZOR_ALREADY_EXISTS);
  EXPECT_EQ(m.AddPort("nosuch", "1", nullptr), ZOR_NOT_FOUND);
  EXPECT_EQ(m.AddPort(kSw, "", nullptr), ZOR_BAD_PARAM);
  EXPECT_EQ(m.AddPort(kSw, std::string(81, 'p').c_str(), nullptr), ZOR_BAD_PARAM);
  EXPECT_EQ(m.AddPort(kSw, std::string(80, 'p').c_str(), nullptr), ZOR_OK);
  EXPECT_EQ(m.AddSwitch(std::string(64, 'i').c_str(), "x", 1, 1), ZOR_BAD_PARAM);
  EXPECT_EQ(m.RemovePort(kSw, "nosuch"), ZOR_NOT_FOUND);
  EXPECT_EQ(m.RemoveSwitch("nosuch"), ZOR_NOT_FOUND);

  zor::PortObj *p = m.FindPort(kSw, "3");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->state, DVS_PORT_STATE_NORMAL);
  EXPECT_STREQ(p->name, "3");
  EXPECT_EQ(p->dvs, m.FindSwitch(kSw));
  ASSERT_EQ(m.RemovePort(kSw, "3"), ZOR_OK);
  EXPECT_EQ(m.FindPort(kSw, "3"), nullptr);
  EXPECT_NE(m.FindPort(kSw, "uplink1"), nullptr);
}

// Switch sizes are bounded: maxPorts from 0 to MAX_PORTS, and no switch
// holds more than MAX_PORTS ports, whatever its own maxPorts says.
TEST(ConfigModel, SwitchSizesAreBounded) {
  zor::ConfigModel m;
  const int32_t max = zor::MAX_PORTS;
  EXPECT_EQ(m.AddSwitch("big", "x", max + 1, 1), ZOR_BAD_PARAM);
  EXPECT_EQ(m.AddSwitch("big", "x", -1, 1), ZOR_BAD_PARAM);
  ASSERT_EQ(m.AddSwitch("big", "x", 0, 1), ZOR_OK);
  EXPECT_EQ(m.SetMaxPorts("big", 2000000000), ZOR_BAD_PARAM);
  EXPECT_EQ(m.SetMaxPorts("big", max), ZOR_OK);
  for (int32_t i = 0; i < max; i++) {
    ASSERT_EQ(m.AddPort("big", std::to_string(i).c_str(), nullptr), ZOR_OK) << i;
  }
  EXPECT_EQ(m.AddPort("big", "one more", nullptr), ZOR_NO_RESOURCES);
  ASSERT_EQ(m.RemovePort("big", "0"), ZOR_OK);
  EXPECT_EQ(m.AddPort("big", "one more", nullptr), ZOR_OK);
}

TEST(ConfigModel, AliasFollowsTheCurrentGlobalValue) {
  zor::ConfigModel m;
  BuildSample(m);
  EXPECT_EQ(m.FindSwitchByAlias("dvs0"), m.FindSwitch(kSw));
  EXPECT_EQ(m.FindSwitchByAlias("dvs"), nullptr);
  DVSData *global = nullptr;
  m.ListFor(kSw, 1, nullptr, &global);
  zor::TreeSet(global, zor::ALIAS_KEY, "renamed", 8, PROP_CONFIG);
  EXPECT_EQ(m.FindSwitchByAlias("dvs0"), nullptr);
  EXPECT_EQ(m.FindSwitchByAlias("renamed"), m.FindSwitch(kSw));
}

TEST(ConfigModel, RoundTripKeepsEverythingInOrder) {
  zor::ConfigModel m;
  BuildSample(m);
  m.FindPort(kSw, "3")->state = DVS_PORT_STATE_LOCAL_CACHE;
  std::string blob = Blob(m);

  zor::ConfigModel back;
  ASSERT_EQ(back.Deserialize(blob.data(), static_cast<uint32_t>(blob.size())), ZOR_OK);
  EXPECT_EQ(Blob(back), blob);
  ASSERT_EQ(back.Switches().size(), 2u);
  zor::SwitchObj &s = *back.Switches()[0];
  EXPECT_STREQ(s.id, kSw);
  EXPECT_STREQ(s.className, "etherswitch");
  EXPECT_EQ(s.maxPorts, 64);
  EXPECT_EQ(s.version, 6u);
  EXPECT_EQ(back.Switches()[1]->version, 100u);
  std::vector<std::string> ports;
  for (const auto &p : s.Ports()) ports.emplace_back(p->name);
  EXPECT_EQ(ports, (std::vector<std::string>{"7", "3", "uplink1"}));
  EXPECT_EQ(s.Ports()[1]->state, DVS_PORT_STATE_LOCAL_CACHE);
  EXPECT_EQ(Value(s.Ports()[0]->data, "empty"), "");

  // Loading into a state that is not empty replaces it.
  ASSERT_EQ(back.Deserialize(blob.data(), static_cast<uint32_t>(blob.size())), ZOR_OK);
  EXPECT_EQ(back.Switches().size(), 2u);
}

// A loaded configuration keeps untouched lists as views of the loaded bytes;
// edited and untouched lists must serialise side by side, also in the
// persistent form.
TEST(ConfigModel, EditsAfterLoadSerialiseWithUntouchedLists) {
  zor::ConfigModel m;
  BuildSample(m);
  std::string blob = Blob(m);
  zor::ConfigModel loaded;
  ASSERT_EQ(loaded.Deserialize(blob.data(), static_cast<uint32_t>(blob.size())), ZOR_OK);
  blob.assign(blob.size(), '\0');  // the loaded model owns its own copy
  DVSData *port = nullptr;
  ASSERT_EQ(loaded.ListFor(kSw, 0, "3", &port), ZOR_OK);
  // Values of another length and new names are overrides beside the encoded list.
  ASSERT_EQ(zor::TreeSet(port, "empty", "now", 4, PROP_VOLATILE), ZOR_OK);
  ASSERT_EQ(zor::TreeSet(port, "added", "", 0, PROP_VOLATILE), ZOR_OK);
  ASSERT_EQ(zor::TreeSet(port, "empty", "now set", 8, PROP_CONFIG), ZOR_OK);
  EXPECT_EQ(Value(port, "empty"), std::string("now set", 8));
  EXPECT_TRUE(port->image != nullptr && port->nodes.size() == 2u);
  DVSData *uplink = nullptr;
  ASSERT_EQ(loaded.ListFor(kSw, 0, "uplink1", &uplink), ZOR_OK);
  ASSERT_EQ(zor::TreeSet(uplink, "com.corvane.common.port.alias", "U", 2, PROP_VOLATILE), ZOR_OK);
  // A value of the same length is replaced where it lies, flags and all.
  DVSData *seven = nullptr;
  ASSERT_EQ(loaded.ListFor(kSw, 0, "7", &seven), ZOR_OK);
  ASSERT_EQ(zor::TreeSet(seven, "com.corvane.common.port.alias", "X", 2, PROP_VOLATILE), ZOR_OK);
  EXPECT_NE(seven->image, nullptr);
  EXPECT_EQ(Value(seven, "com.corvane.common.port.alias"), std::string("X", 2));

  zor::ConfigModel again;
  std::string out = Blob(loaded);
  ASSERT_EQ(again.Deserialize(out.data(), static_cast<uint32_t>(out.size())), ZOR_OK);
  EXPECT_EQ(Value(again.FindPort(kSw, "3")->data, "empty"), std::string("now set", 8));
  EXPECT_EQ(Value(again.FindPort(kSw, "7")->data, "com.corvane.common.port.alias"),
            std::string("X", 2));
  EXPECT_EQ(Value(again.FindPort(kSw, "uplink1")->data, "com.corvane.common.port.alias"),
            std::string("U", 2));
  EXPECT_EQ(Names(again.FindPort(kSw, "3")->data),
            (std::vector<std::string>{"com.corvane.common.port.alias", "empty", "added"}));

  std::string persistent = Blob(loaded, true);
  ASSERT_EQ(again.Deserialize(persistent.data(), static_cast<uint32_t>(persistent.size())), ZOR_OK);
  EXPECT_EQ(Value(again.FindPort(kSw, "3")->data, "added"), "<absent>");
  EXPECT_EQ(Value(again.FindPort(kSw, "7")->data, "com.corvane.common.port.alias"), "<absent>");
  EXPECT_EQ(Names(again.FindPort(kSw, "uplink1")->data), (std::vector<std::string>{"empty"}));
  // Decoding merges the overrides in their places; removing one decodes the list.
  EXPECT_EQ(Names(port),
            (std::vector<std::string>{"com.corvane.common.port.alias", "empty", "added"}));
  ASSERT_EQ(zor::TreeRemove(uplink, "com.corvane.common.port.alias"), ZOR_OK);
  EXPECT_EQ(Names(uplink), (std::vector<std::string>{"empty"}));
  EXPECT_EQ(Names(again.FindSwitch(kSw)->global), (std::vector<std::string>{zor::ALIAS_KEY}));
}

// Ports of a loaded switch are decoded one at a time as they are looked up.
// Whatever mix of decoded, removed, added and untouched ports results must
// keep handles stable, keep the order and serialise to the same ports.
TEST(ConfigModel, PortsTakenOneByOneFromALoadedSwitch) {
  zor::ConfigModel m;
  BuildSample(m);
  std::string blob = Blob(m);
  zor::ConfigModel loaded;
  ASSERT_EQ(loaded.Deserialize(blob.data(), static_cast<uint32_t>(blob.size())), ZOR_OK);
  zor::SwitchObj *s = loaded.FindSwitch(kSw);
  zor::PortObj *seven = s->FindPort("7");
  ASSERT_NE(seven, nullptr);
  EXPECT_EQ(s->FindPort("7"), seven);
  EXPECT_EQ(seven->dvs, s);
  ASSERT_EQ(loaded.RemovePort(kSw, "3"), ZOR_OK);
  EXPECT_EQ(s->FindPort("3"), nullptr);
  EXPECT_EQ(loaded.RemovePort(kSw, "3"), ZOR_NOT_FOUND);
  ASSERT_EQ(loaded.AddPort(kSw, "3", nullptr), ZOR_OK);
  EXPECT_EQ(s->PortCount(), 3u);

  zor::ConfigModel again;
  std::string out = Blob(loaded);
  ASSERT_EQ(again.Deserialize(out.data(), static_cast<uint32_t>(out.size())), ZOR_OK);
  std::vector<std::string> names;
  for (const auto &p : again.FindSwitch(kSw)->Ports()) names.emplace_back(p->name);
  EXPECT_EQ(names, (std::vector<std::string>{"7", "uplink1", "3"}));
  EXPECT_EQ(Value(again.FindPort(kSw, "3")->data, "empty"), "<absent>");

  // Walking every port keeps the handle of the port decoded before.
  names.clear();
  for (const auto &p : s->Ports()) names.emplace_back(p->name);
  EXPECT_EQ(names, (std::vector<std::string>{"7", "uplink1", "3"}));
  EXPECT_EQ(s->Ports()[0].get(), seven);
  EXPECT_EQ(Blob(loaded), out);
}

// Ports taken in any order serialise in the section's order, whether the
// load indexed the section (new bytes) or its second search did (the same
// bytes again, loaded unchecked).
TEST(ConfigModel, PortsTakenOutOfOrderKeepTheSectionsOrder) {
  zor::ConfigModel m;
  BuildSample(m);
  const std::string blob = Blob(m);
  zor::ConfigModel loaded;
  for (const char *load : {"checked", "unchecked"}) {
    SCOPED_TRACE(load);
    ASSERT_EQ(loaded.Deserialize(blob.data(), static_cast<uint32_t>(blob.size())), ZOR_OK);
    zor::SwitchObj *s = loaded.FindSwitch(kSw);
    std::vector<zor::PortObj *> taken;
    for (const char *name : {"uplink1", "3", "7"}) {
      taken.push_back(s->FindPort(name));
      ASSERT_NE(taken.back(), nullptr);
      ASSERT_EQ(zor::TreeSet(taken.back()->data, "n", name, strlen(name), PROP_CONFIG), ZOR_OK);
    }
    EXPECT_EQ(s->FindPort("uplink1"), taken[0]);
    ASSERT_EQ(loaded.RemovePort(kSw, "3"), ZOR_OK);
    EXPECT_EQ(s->FindPort("3"), nullptr);
    const std::string out = Blob(loaded);
    zor::ConfigModel again;
    ASSERT_EQ(again.Deserialize(out.data(), static_cast<uint32_t>(out.size())), ZOR_OK);
    std::vector<std::string> names;
    for (const auto &p : again.FindSwitch(kSw)->Ports()) {
      names.emplace_back(p->name);
      EXPECT_EQ(Value(p->data, "n"), names.back());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"7", "uplink1"}));
  }
}

// Loading the same bytes again reuses the checks of the first load; edits
// made in between must not leak into the reload, and other bytes must still
// be checked in full.
TEST(ConfigModel, ReloadingTheSameBytesGivesTheSameConfiguration) {
  zor::ConfigModel m;
  BuildSample(m);
  const std::string a = Blob(m);
  m.AddSwitch("third", "cswitch", 1, 6);
  const std::string b = Blob(m);

  zor::ConfigModel loaded;
  ASSERT_EQ(loaded.Deserialize(a.data(), static_cast<uint32_t>(a.size())), ZOR_OK);
  DVSData *port = nullptr;
  ASSERT_EQ(loaded.ListFor(kSw, 0, "7", &port), ZOR_OK);
  ASSERT_EQ(zor::TreeSet(port, "edited", "1", 2, PROP_CONFIG), ZOR_OK);
  ASSERT_EQ(loaded.RemovePort(kSw, "3"), ZOR_OK);
  loaded.Reset();
  ASSERT_EQ(loaded.Deserialize(a.data(), static_cast<uint32_t>(a.size())), ZOR_OK);
  EXPECT_EQ(Blob(loaded), a);
  // Without a reset in between, too.
  ASSERT_EQ(loaded.Deserialize(a.data(), static_cast<uint32_t>(a.size())), ZOR_OK);
  EXPECT_EQ(Blob(loaded), a);
  ASSERT_EQ(loaded.Deserialize(b.data(), static_cast<uint32_t>(b.size())), ZOR_OK);
  EXPECT_EQ(loaded.Switches().size(), 3u);
  EXPECT_EQ(Blob(loaded), b);
  // A damaged copy of the cached bytes is still refused.
  std::string bad = b;
  bad[bad.size() - 3] ^= 1;
  EXPECT_EQ(loaded.Deserialize(bad.data(), static_cast<uint32_t>(bad.size())), ZOR_BAD_CHECKSUM);
  EXPECT_EQ(Blob(loaded), b);
}

// Every damaged block is refused with a status and leaves the loaded
// configuration exactly as it was.
TEST(ConfigModel, DamagedBlocksAreRefusedWhole) {
  zor::ConfigModel m;
  BuildSample(m);
  std::string blob = Blob(m);
  zor::ConfigModel target;
  target.AddSwitch("keep", "cswitch", 1, 6);
  std::string before = Blob(target);
  auto load = [&](const std::string &b) {
    return target.Deserialize(b.data(), static_cast<uint32_t>(b.size()));
  };

  for (size_t cut = 0; cut < blob.size(); cut++) {
    ZOR_ReturnStatus st = load(blob.substr(0, cut));
    EXPECT_TRUE(st == ZOR_TRUNCATED || st == ZOR_NOT_A_CONFIG) << cut << " " << std::hex << st;
  }
  std::string bad = blob;
  bad[0] = 'X';
  EXPECT_EQ(load(bad), ZOR_NOT_A_CONFIG);
  bad = blob;
  bad[4] = 2;
  EXPECT_EQ(load(bad), ZOR_BAD_VERSION);
  bad = blob;
  bad[blob.size() / 2] ^= 0x40;
  EXPECT_EQ(load(bad), ZOR_BAD_CHECKSUM);
  EXPECT_EQ(load(blob + "x"), ZOR_INVALID_DATA);
  EXPECT_EQ(load("ZCFG"), ZOR_TRUNCATED);
  EXPECT_EQ(load(""), ZOR_TRUNCATED);
  EXPECT_EQ(Blob(target), before);
}

// Bodies that pass the checksum but lie about their contents: counts
// beyond the data, duplicate names, NULs inside names.
TEST(ConfigModel, ConsistentChecksumWithBadBodyIsRefused) {
  auto seal = [](const std::string &body) {
    zor::ByteBuf out;
    zor::WireWriter w(&out);
    zor::BeginBlock(w, zor::CONFIG_MAGIC);
    w.Bytes(body.data(), body.size());
    zor::FinishBlock(&out, 0);
    return std::string(reinterpret_cast<char *>(out.Data()), out.Size());
  };
  auto body = [](auto fill) {
    zor::ByteBuf b;
    zor::WireWriter w(&b);
    fill(w);
    return std::string(reinterpret_cast<char *>(b.Data()), b.Size());
  };
  auto emptyTree = [](zor::WireWriter &w) { w.U32(0); };
  auto sw = [&](zor::WireWriter &w, const std::string &id) {
    w.U16(static_cast<uint16_t>(id.size()));
    w.Bytes(id.data(), id.size());
    w.U16(0);
    w.U32(1);
    w.U32(6);
    emptyTree(w);
    emptyTree(w);
  };
  zor::ConfigModel m;
  auto load = [&](const std::string &b) {
    std::string sealed = seal(b);
    return m.Deserialize(sealed.data(), static_cast<uint32_t>(sealed.size()));
  };
  EXPECT_EQ(load(body([](zor::WireWriter &w) { w.U32(0xffffffffu); })), ZOR_TRUNCATED);
  EXPECT_EQ(load(body([&](zor::WireWriter &w) {
              w.U32(2);
              sw(w, "a");
              w.U32(0);
              sw(w, "a");
              w.U32(0);
            })),
            ZOR_INVALID_DATA);
  EXPECT_EQ(load(body([&](zor::WireWriter &w) {
              w.U32(1);
              sw(w, std::string("a\0b", 3));
              w.U32(0);
            })),
            ZOR_INVALID_DATA);
  EXPECT_EQ(load(body([&](zor::WireWriter &w) {
              w.U32(1);
              sw(w, "a");
              w.U32(2);
              for (int i = 0; i < 2; i++) {
                w.U16(1);
                w.Bytes("p", 1);
                w.U32(1);
                emptyTree(w);
              }
            })),
            ZOR_INVALID_DATA);
  EXPECT_EQ(load(body([&](zor::WireWriter &w) {
              w.U32(1);
              sw(w, "a");
              w.U32(1);
              w.U16(1);
              w.Bytes("p", 1);
              w.U32(1);
              w.U32(2);
              for (int i = 0; i < 2; i++) {
                w.U32(0);
                w.U16(1);
                w.Bytes("k", 1);
                w.U32(0);
              }
            })),
            ZOR_INVALID_DATA);
  EXPECT_TRUE(m.Empty());
}

TEST(Checksum, HardwareAndTableAgree) {
  std::string data;
  for (int i = 0; i < 1000; i++) data.push_back(static_cast<char>(i * 131 + 7));
  for (size_t n : {0, 1, 7, 8, 9, 63, 1000}) {
    EXPECT_EQ(zor::Crc32(data.data(), n), zor::Crc32Software(data.data(), n)) << n;
  }
  // The standard check value of CRC-32C.
  EXPECT_EQ(zor::Crc32("123456789", 9), 0xe3069283u);
}

}  // namespace
