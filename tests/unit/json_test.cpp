// SPDX-License-Identifier: Apache-2.0
/*
 * json_test.cpp --
 *
 *    The JSON side of every printer row: a value laid out by hand at
 *    literal offsets decodes to the expected fields, and the same value
 *    cut short decodes what fits and says "truncated" (the value is an
 *    exactly sized copy, so the sanitizer build catches a read past it).
 *    Then the property object and the document around the values.
 */

#include <stdio.h>
#include <stdlib.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "listing/json_out.h"
#include "listing/listing.h"
#include "printing.h"

namespace {

using nlohmann::json;
using printing::Bytes;
using printing::Put;
using printing::PutText;

/* What write writes, parsed. */
json Document(const std::function<void(JsonOut &)> &write) {
  char *buffer = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&buffer, &size);
  Json_WriteDocument(stream, write);
  fclose(stream);
  const std::string text(buffer, size);
  free(buffer);
  return json::parse(text);
}

/* The decoded value of key for value (copied to a buffer of its exact size). */
json Decoded(const std::string &key, const Bytes &value, bool highVersion = false) {
  const Bytes exact(value);
  PrintContext pc;
  pc.highVersion = highVersion;
  return Document([&](JsonOut &out) {
    Prop_WriteValueJson(pc, key.c_str(), exact.empty() ? nullptr : exact.data(),
                        static_cast<uint32_t>(exact.size()), out);
  });
}

Bytes Zeros(size_t n) {
  return Bytes(n, 0);
}

/* Writes bytes at b[at], in order. */
void PutBytes(Bytes &b, size_t at, std::initializer_list<uint8_t> bytes) {
  for (const uint8_t byte : bytes) b.at(at++) = byte;
}

/* One row's value laid out by hand, what it decodes to, and what its first cut bytes decode to. */
struct Case {
  std::string key;
  Bytes value;
  json decoded;
  size_t cut;
  json cutDecoded;
};

json Enum(const char *name, uint64_t number) {
  return {{"name", name}, {"number", number}};
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const auto add = [&](const std::string &key, const Bytes &value, const json &decoded, size_t cut,
                       const json &cutDecoded) {
    cases.push_back({key, value, decoded, cut, cutDecoded});
  };

  /* ---- run-time values ---- */
  Bytes v = Zeros(4);
  Put(v, 0, 0xfffffffe, 4);
  for (const char *key :
       {"com.corvane.common.port.connectid", "com.corvane.common.portset.mtu",
        "com.corvane.vswitch.mtu", "com.corvane.common.port.volatile.cleanupBarrier"}) {
    add(key, v, {{"number", -2}}, 3, {{"truncated", true}});
  }
  add("com.corvane.common.upgrade", {7}, {{"number", 7}}, 0, {{"truncated", true}});
  v = Zeros(4);
  Put(v, 0, 1, 1);
  Put(v, 2, 64, 2);
  add("com.corvane.common.port.linkstatus", v,
      {{"link", Enum("link up", 1)}, {"speedDuplex", Enum("1000 Mb/s, full duplex", 64)}}, 2,
      {{"link", Enum("link up", 1)}, {"truncated", true}});
  v = Zeros(24);
  Put(v, 0, 0x7, 8);
  Put(v, 16, 42, 4);
  PutText(v, 20, "vm1");
  add("com.corvane.common.port.volatile.status", v,
      {{"state", {{"names", {"inUse", "linkUp", "blocked"}}, {"number", 7}}},
       {"portID", 42},
       {"name", "vm1"}},
      19,
      {{"state", {{"names", {"inUse", "linkUp", "blocked"}}, {"number", 7}}}, {"truncated", true}});
  v = Zeros(16);
  Put(v, 8, 5, 8);
  add("com.corvane.common.port.volatile.ptstatus", v,
      {{"passthru", false}, {"noPassthruReason", 5}}, 15,
      {{"passthru", false}, {"truncated", true}});
  v = Zeros(128);
  for (int i = 0; i < 16; i++) Put(v, 8 * i, 100 + i, 8);
  add("com.corvane.common.port.statistics", v,
      {{"pktsInUnicast", 100},
       {"bytesInUnicast", 101},
       {"pktsInMulticast", 102},
       {"bytesInMulticast", 103},
       {"pktsInBroadcast", 104},
       {"bytesInBroadcast", 105},
       {"pktsOutUnicast", 106},
       {"bytesOutUnicast", 107},
       {"pktsOutMulticast", 108},
       {"bytesOutMulticast", 109},
       {"pktsOutBroadcast", 110},
       {"bytesOutBroadcast", 111},
       {"pktsInDropped", 112},
       {"pktsOutDropped", 113},
       {"pktsInException", 114},
       {"pktsOutException", 115}},
      16, {{"pktsInUnicast", 100}, {"bytesInUnicast", 101}, {"truncated", true}});
  const std::string profiles =
      "<serviceprofiles><od><k>rate</k><v>10</v><k>burst</k><v>2</v></od><od><k>a</k><v>b</v>"
      "</od></serviceprofiles>";
  v = Zeros(profiles.size() + 1);
  PutText(v, 0, profiles);
  add("com.corvane.common.port.serviceprofile", v,
      {{"serviceProfiles",
        {{{{"key", "rate"}, {"value", "10"}}, {{"key", "burst"}, {"value", "2"}}},
         {{{"key", "a"}, {"value", "b"}}}}}},
      27, {{"text", profiles.substr(0, 27)}});
  const std::string instances = "<serviceinstances/>";
  v = Zeros(instances.size() + 1);
  PutText(v, 0, instances);
  add("com.corvane.common.serviceinstance", v, {{"serviceInstances", json::array()}}, 5,
      {{"text", "<serv"}});

  /* ---- VLAN ---- */
  v = Zeros(16);
  Put(v, 0, 0x1, 2);
  Put(v, 6, 2, 2);
  Put(v, 8, 100, 2);
  Put(v, 10, 200, 2);
  Put(v, 12, 300, 2);
  Put(v, 14, 300, 2);
  const json trunk = {{"mode", Enum("Guest VLAN tagging", 1)},
                      {"vlanId", 0},
                      {"ranges", {{{"low", 100}, {"high", 200}}, {{"low", 300}, {"high", 300}}}}};
  for (const char *key : {"com.corvane.etherswitch.port.vlan", "com.corvane.vswitch.port.vlan"}) {
    add(key, v, trunk, 15,
        {{"mode", Enum("Guest VLAN tagging", 1)},
         {"vlanId", 0},
         {"ranges", {{{"low", 100}, {"high", 200}}}},
         {"truncated", true}});
  }
  v = Zeros(16);
  Put(v, 0, 10, 2);
  Put(v, 2, 20, 2);
  Put(v, 4, 3, 1);
  Put(v, 8, 10, 2);
  Put(v, 10, 21, 2);
  Put(v, 12, 9, 1);
  for (const char *key : {"com.corvane.etherswitch.pvlanMap", "com.corvane.vswitch.pvlanMap"}) {
    add(key, v,
        {{"entries",
          {{{"primary", 10}, {"secondary", 20}, {"type", Enum("community", 3)}},
           {{"primary", 10}, {"secondary", 21}, {"type", Enum("unknown", 9)}}}}},
        12,
        {{"entries", {{{"primary", 10}, {"secondary", 20}, {"type", Enum("community", 3)}}}},
         {"truncated", true}});
  }
  v = Zeros(8);
  Put(v, 0, 30, 2);
  Put(v, 2, 1, 2);
  Put(v, 4, 5, 2);
  Put(v, 6, 6, 2);
  add("com.corvane.common.port.volatile.vlan", v,
      {{"vlanId", 30}, {"ranges", {{{"low", 5}, {"high", 6}}}}}, 4,
      {{"vlanId", 30}, {"ranges", json::array()}, {"truncated", true}});

  /* ---- shaping ---- */
  v = Zeros(24);
  Put(v, 0, 1000, 8);
  Put(v, 8, 2000, 8);
  Put(v, 16, 300, 8);
  for (const char *key :
       {"com.corvane.common.port.shaper.input", "com.corvane.common.port.shaper.output",
        "com.corvane.common.port.shaper.broadcast"}) {
    add(key, v, {{"averageBandwidth", 1000}, {"peakBandwidth", 2000}, {"burstSize", 300}}, 23,
        {{"averageBandwidth", 1000}, {"peakBandwidth", 2000}, {"truncated", true}});
  }

  /* ---- IPFIX ---- */
  v = Zeros(36);
  Put(v, 0, 20, 4);
  Put(v, 4, 30, 4);
  PutBytes(v, 8, {10, 112, 120, 121});
  Put(v, 24, 9660, 2);
  Put(v, 26, 4096, 4);
  Put(v, 30, 1, 1);
  Put(v, 32, 101, 4);
  add("com.corvane.etherswitch.ipfix", v,
      {{"idleTimeout", 20},
       {"activeTimeout", 30},
       {"samplingRate", 4096},
       {"collector", {{"address", "10.112.120.121"}, {"port", 9660}}},
       {"internalFlowsOnly", true},
       {"obsDomainID", 101}},
      32,
      {{"idleTimeout", 20},
       {"activeTimeout", 30},
       {"samplingRate", 4096},
       {"collector", {{"address", "10.112.120.121"}, {"port", 9660}}},
       {"internalFlowsOnly", true},
       {"truncated", true}});
  add("com.corvane.etherswitch.ipv4addr", {10, 0, 0, 140}, {{"address", "10.0.0.140"}}, 3,
      {{"truncated", true}});

  /* ---- port policy ---- */
  for (const char *key :
       {"com.corvane.etherswitch.port.security", "com.corvane.vswitch.port.security"}) {
    add(key, {5, 0, 0, 0},
        {{"promiscuous", Enum("deny", 1)},
         {"macChange", Enum("allow", 0)},
         {"forgedFrames", Enum("deny", 4)}},
        3, {{"truncated", true}});
  }
  v = Zeros(11);
  Put(v, 0, 1, 1);
  Put(v, 2, 1, 1);
  Put(v, 3, 4096, 4);
  Put(v, 7, 1, 4);
  add("com.corvane.vswitch.port.macManagement", v,
      {{"allowMacChange", true},
       {"macLearning", false},
       {"unknownUnicastFlooding", true},
       {"macLimit", 4096},
       {"macLimitPolicy", Enum("DROP", 1)}},
      2, {{"allowMacChange", true}, {"macLearning", false}, {"truncated", true}});
  add("com.corvane.etherswitch.cdp", {1, 3},
      {{"protocol", Enum("LLDP", 1)}, {"mode", Enum("advertise & listen", 3)}}, 1,
      {{"protocol", Enum("LLDP", 1)}, {"truncated", true}});
  v = Zeros(18);
  Put(v, 0, 0x10002, 4);
  Put(v, 4, 2, 2);
  PutBytes(v, 6, {0x01, 0x00, 0x5e, 0x00, 0x00, 0x01});
  PutBytes(v, 12, {0x33, 0x33, 0x00, 0x00, 0x00, 0x01});
  const json sinkFlags = {{"names", {"MULTICAST", "SINK"}}, {"number", 0x10002}};
  for (const char *key :
       {"com.corvane.etherswitch.port.extraEthFRP", "com.corvane.vswitch.port.extraEthFRP"}) {
    add(key, v,
        {{"flags", sinkFlags}, {"multicastAddr", {"01:00:5e:00:00:01", "33:33:00:00:00:01"}}}, 17,
        {{"flags", sinkFlags}, {"multicastAddr", {"01:00:5e:00:00:01"}}, {"truncated", true}});
  }

  /* ---- resource pools and host status ---- */
  v = Zeros(260);
  Put(v, 0, 2, 4);
  PutText(v, 4, "disk full");
  for (const char *key : {"com.corvane.common.host.volatile.status",
                          "com.corvane.common.host.volatile.overlay.status"}) {
    add(key, v, {{"colour", Enum("red", 2)}, {"message", "disk full"}}, 8,
        {{"colour", Enum("red", 2)}, {"message", "disk"}, {"truncated", true}});
  }
  v = Zeros(4 + 212);
  Put(v, 0, 1, 4);
  PutText(v, 4, "pool1");
  Put(v, 4 + 128, 3, 1);
  Put(v, 4 + 129, 100, 4);
  Put(v, 4 + 200, 50, 4);
  Put(v, 4 + 204, 0xffffffff, 4);
  const json pool = {
      {"id", "pool1"}, {"reservation", 100}, {"shares", 50}, {"limit", -1}, {"tag", 3}};
  for (const char *key :
       {"com.corvane.common.port.respools.cfg", "com.corvane.common.respools.cfg"}) {
    add(key, v, {{"pools", {pool}}}, 4 + 207, {{"pools", json::array()}, {"truncated", true}});
  }
  v = Zeros(4 + 516);
  Put(v, 0, 1, 4);
  PutText(v, 4, "pool2");
  add("com.corvane.common.port.respool.assoc", v, {{"id", "pool2"}}, 3, {{"truncated", true}});
  v = Zeros(4 + 2 * 200);
  Put(v, 0, 2, 4);
  PutText(v, 4, "a");
  PutText(v, 204, "b");
  add("com.corvane.common.respools.list", v, {{"pools", {"a", "b"}}}, 204,
      {{"pools", {"a"}}, {"truncated", true}});
  add("com.corvane.common.respools.sched", {1}, {{"scheduling", Enum("active", 1)}}, 0,
      {{"truncated", true}});

  /* ---- health checks ---- */
  v = Zeros(5);
  Put(v, 0, 1, 1);
  Put(v, 1, 15, 4);
  for (const char *key :
       {"com.corvane.common.vlanmtucheck.deploy", "com.corvane.vswitch.vlanmtucheck.deploy",
        "com.corvane.common.teamcheck.deploy"}) {
    add(key, v, {{"status", Enum("Enabled", 1)}, {"interval", 15}}, 4,
        {{"status", Enum("Enabled", 1)}, {"truncated", true}});
  }
  add("com.corvane.fenn.teamcheck.param", {1}, {{"param", Enum("IPHASH", 1)}}, 0,
      {{"param", Enum("NonIPHASH", 0)}, {"truncated", true}});
  v = Zeros(512);
  Put(v, 0, 0x0e, 1);   /* VLANs 1-3 */
  Put(v, 511, 0x40, 1); /* VLAN 4094 */
  for (const char *key :
       {"com.corvane.fenn.vlanmtucheck.param", "com.corvane.vswitch.vlanmtucheck.param"}) {
    add(key, v, {{"ranges", {{{"low", 1}, {"high", 3}}, {{"low", 4094}, {"high", 4094}}}}}, 1,
        {{"ranges", {{{"low", 1}, {"high", 3}}}}, {"truncated", true}});
  }
  v = Zeros(12);
  Put(v, 0, 1, 2);
  Put(v, 2, 1, 2);
  Put(v, 4, 1, 2);
  Put(v, 6, 100, 2);
  Put(v, 8, 200, 2);
  Put(v, 10, 200, 2);
  add("com.corvane.common.port.volatile.vlanchkresult", v,
      {{"trunkedVlan", {{{"low", 1}, {"high", 100}}}},
       {"untrunkedVlan", {{{"low", 200}, {"high", 200}}}}},
      11, {{"bad", true}});
  add("com.corvane.common.port.volatile.mtuchkresult", v,
      {{"allowedMtu", {{{"low", 1}, {"high", 100}}}},
       {"disallowedMtu", {{{"low", 200}, {"high", 200}}}}},
      3, {{"bad", true}});

  /* ---- overlay and DVFilter ---- */
  v = Zeros(4 + 2 * 36);
  Put(v, 0, 2, 4);
  Put(v, 4, 1, 4);
  PutText(v, 8, "vxlan");
  Put(v, 40, 2, 4);
  PutText(v, 44, "geneve");
  add("com.corvane.common.overlay", v,
      {{"instances",
        {{{"className", "vxlan"}, {"depth", 1}}, {{"className", "geneve"}, {"depth", 2}}}}},
      75, {{"instances", {{{"className", "vxlan"}, {"depth", 1}}}}, {"truncated", true}});
  v = Zeros(4 + 12);
  Put(v, 0, 1, 4);
  Put(v, 4, 3, 4);
  Put(v, 8, 0xabc, 8);
  add("com.corvane.common.port.overlay", v, {{"params", {{{"value", 0xabc}, {"depth", 3}}}}}, 4,
      {{"params", json::array()}, {"truncated", true}});
  v = Zeros(4 + 52 + 260);
  Put(v, 0, 1, 4);
  Put(v, 4, 2, 4);
  PutText(v, 8, "fw");
  Put(v, 48, 1, 4);
  Put(v, 52, 1, 4);
  Put(v, 56, 0, 4);
  PutText(v, 60, "on");
  add("com.corvane.common.port.dvfilter", v,
      {{"filters",
        {{{"slot", 2},
          {"name", "fw"},
          {"onFailure", Enum("open", 1)},
          {"params", {{{"index", 0}, {"value", "on"}}}}}}}},
      100,
      {{"filters",
        {{{"slot", 2}, {"name", "fw"}, {"onFailure", Enum("open", 1)}, {"params", json::array()}}}},
       {"truncated", true}});

  /* ---- uplinks and teaming ---- */
  v = Zeros(4 + 2 * 81);
  Put(v, 0, 2, 4);
  PutText(v, 4, "uplink0");
  PutText(v, 85, "uplink1");
  add("com.corvane.common.uplinkPorts", v, {{"uplinks", {"uplink0", "uplink1"}}}, 84,
      {{"uplinks", {"uplink0"}}, {"truncated", true}});
  v = Zeros(4 + 48);
  Put(v, 0, 1, 4);
  PutText(v, 4, "uplink0");
  add("com.corvane.common.host.uplinkPorts", v, {{"uplinks", {"uplink0"}}}, 20,
      {{"uplinks", {"uplink0"}}, {"truncated", true}});
  v = Zeros(24 + 2 * 81);
  Put(v, 0, 3, 4);
  Put(v, 4, 0xa0, 4);
  Put(v, 12, 0x24, 4);
  Put(v, 16, 1, 4);
  Put(v, 20, 1, 4);
  PutText(v, 24, "uplink0");
  PutText(v, 105, "uplink1");
  const json policy = {
      {"loadBalancing", Enum("source virtual port id", 3)},
      {"linkSelection", {{"names", {"link state up", "beacon state ok"}}, {"number", 0xa0}}},
      {"linkBehavior", {{"names", {"notify switch", "best effort on failure"}}, {"number", 0x24}}},
      {"active", {"uplink0"}},
      {"standby", {"uplink1"}}};
  for (const char *key : {"com.corvane.etherswitch.port.teaming", "com.corvane.vswitch.teaming",
                          "com.corvane.vswitch.port.teaming.policy"}) {
    add(key, v, policy, 8,
        {{"loadBalancing", Enum("source virtual port id", 3)},
         {"linkSelection", {{"names", {"link state up", "beacon state ok"}}, {"number", 0xa0}}},
         {"truncated", true}});
  }
  v = Zeros(4 + 156 + 2 * 81);
  Put(v, 0, 1, 4);
  PutText(v, 4, "ls1");
  Put(v, 4 + 136, 1, 4);
  Put(v, 4 + 152, 0, 4);
  Put(v, 4 + 148, 1, 4);
  PutText(v, 4 + 156, "uplink0");
  add("com.corvane.vswitch.logicalswitch.teaming", v,
      {{"policies",
        {{{"policyName", "ls1"},
          {"loadBalancing", Enum("source ip address", 1)},
          {"linkSelection", {{"names", json::array()}, {"number", 0}}},
          {"linkBehavior", {{"names", json::array()}, {"number", 0}}},
          {"active", {"uplink0"}},
          {"standby", json::array()}}}}},
      4 + 138, {{"policies", {{{"policyName", "ls1"}}}}, {"truncated", true}});

  /* ---- LACP and LAG ---- */
  v = Zeros(4 + 2 * 93);
  Put(v, 0, 2, 4);
  PutText(v, 4, "lag1");
  PutText(v, 4 + 65, "10");
  Put(v, 4 + 81, 1, 4);
  Put(v, 4 + 85, 3, 4);
  Put(v, 4 + 89, 2, 4);
  PutText(v, 97, "lag2");
  PutText(v, 97 + 65, "20");
  Put(v, 97 + 81, 2, 4);
  Put(v, 97 + 85, 99, 4);
  Put(v, 97 + 89, 0, 4);
  const json lag1 = {{"lagName", "lag1"},         {"lagKey", "10"},
                     {"mode", Enum("active", 1)}, {"loadBalancePolicy", Enum("Src and dst mac", 3)},
                     {"lagPortNumber", 2},        {"members", {"lag1-0", "lag1-1"}}};
  add("com.corvane.etherswitch.lacp", v,
      {{"lags",
        {lag1,
         {{"lagName", "lag2"},
          {"lagKey", "20"},
          {"mode", Enum("passive", 2)},
          {"loadBalancePolicy", Enum("none", 99)},
          {"lagPortNumber", 0},
          {"members", json::array()}}}}},
      97 + 70,
      {{"lags", {lag1, {{"lagName", "lag2"}, {"lagKey", "20"}, {"truncated", true}}}},
       {"truncated", true}});
  v = Zeros(8);
  Put(v, 0, 1, 1);
  Put(v, 4, 2, 4);
  add("com.corvane.etherswitch.port.lacp", v,
      {{"status", Enum("enabled", 1)}, {"mode", Enum("passive", 2)}}, 7,
      {{"status", Enum("enabled", 1)}, {"truncated", true}});
  v = Zeros(4 + 85 + 8 + 4 + 8 + 85);
  Put(v, 0, 1, 4);
  PutText(v, 4, "lag1");
  Put(v, 4 + 81, 2, 4);
  Put(v, 89, 1, 4);
  Put(v, 93, 4, 4);
  Put(v, 97, 1, 4);
  Put(v, 101, 2, 4);
  Put(v, 105, 85, 4);
  PutText(v, 109, "lag1-0");
  Put(v, 109 + 81, 2, 4);
  add("com.corvane.common.host.lacp.extraconfig", v,
      {{"lags",
        {{{"lagName", "lag1"},
          {"items",
           {{{"type", 1}, {"lagTimeout", Enum("fast", 1)}},
            {{"type", 2}, {"port", "lag1-0"}, {"portTimeout", Enum("slow", 2)}}}}}}}},
      150,
      {{"lags",
        {{{"lagName", "lag1"}, {"items", {{{"type", 1}, {"lagTimeout", Enum("fast", 1)}}}}}}},
       {"unknownConfigItemType", true},
       {"truncated", true}});

  /* ---- mirror sessions: one ERSPAN session of format 3 and one remote-destination session ---- */
  v = Zeros(20 + 2 * 232 + 3 * 36);
  Put(v, 0, 0xFACEBEEF, 4);
  Put(v, 4, 3, 4);
  Put(v, 8, 2, 4);
  Put(v, 12, 3, 4);
  size_t s = 20;
  PutText(v, s, "s1");
  PutText(v, s + 32, "first");
  Put(v, s + 116, 4, 4);
  Put(v, s + 120, 0xffffffff, 4);
  Put(v, s + 124, 0x08, 4);
  Put(v, s + 128, 7, 2);
  Put(v, s + 136, 1, 4);
  Put(v, s + 140, 2, 4);
  Put(v, s + 144, 300, 2);
  Put(v, s + 146, 5, 1);
  Put(v, s + 147, 1, 1);
  Put(v, s + 216, 1, 4);
  Put(v, s + 220, 1, 4);
  s = 252;
  PutText(v, s, "s2");
  Put(v, s + 116, 3, 4);
  Put(v, s + 124, 0x01, 4);
  Put(v, s + 136, 1, 4);
  Put(v, s + 220, 1, 4);
  size_t e = 484;
  Put(v, e, 3, 4);
  Put(v, e + 4, 0, 1);
  PutBytes(v, e + 8, {10, 0, 0, 9});
  e += 36;
  Put(v, e, 0, 4);
  PutText(v, e + 4, "dvport-17");
  e += 36;
  Put(v, e, 2, 4);
  Put(v, e + 4, 99, 2);
  const json s1 = {{"sid", "s1"},
                   {"dname", "first"},
                   {"flags", {{"names", {"DST_ENCAP"}}, {"number", 8}}},
                   {"snapLen", -1},
                   {"encapVlan", 7},
                   {"type", Enum("ERMIRROR_SRC", 4)},
                   {"samplingRate", 1},
                   {"encapType", Enum("ERSPAN3", 2)},
                   {"erspanID", 300},
                   {"erspanCOS", 5},
                   {"erspanGra", 1},
                   {"dstEntities", {{{"kind", Enum("IP", 3)}, {"address", "10.0.0.9"}}}},
                   {"srcInEntities", {{{"kind", Enum("DVPORT", 0)}, {"name", "dvport-17"}}}},
                   {"srcOutEntities", json::array()}};
  json s1Cut = s1;
  s1Cut["srcInEntities"] = json::array();
  s1Cut.erase("srcOutEntities");
  for (const char *key :
       {"com.corvane.vswitch.mirrorSessions", "com.corvane.etherswitch.port.mirrorSessions",
        "com.corvane.vswitch.port.mirrorSessions"}) {
    add(key, v,
        {{"formatVersion", 3},
         {"sessions",
          {s1,
           {{"sid", "s2"},
            {"dname", ""},
            {"flags", {{"names", {"DST_NO_OUTPUT"}}, {"number", 1}}},
            {"snapLen", 0},
            {"encapVlan", 0},
            {"type", Enum("RMIRROR_DST", 3)},
            {"samplingRate", 1},
            {"dstEntities", json::array()},
            {"srcInEntities", {{{"kind", Enum("VLAN", 2)}, {"vlan", 99}}}},
            {"srcOutEntities", json::array()}}}}},
        530, {{"formatVersion", 3}, {"sessions", {s1Cut}}, {"truncated", true}});
  }

  /* ---- the listing's own row ---- */
  add("com.corvane.common.host.volatile.dvsID", {'i', 'd', '7', 0, 'x'}, {{"text", "id7"}}, 2,
      {{"text", "id"}});
  return cases;
}

TEST(JsonDecode, EveryRowDecodesItsFieldsAndSaysWhenItIsCutShort) {
  std::set<std::string> covered;
  for (const Case &c : Cases()) {
    SCOPED_TRACE(c.key);
    covered.insert(c.key);
    EXPECT_EQ(Decoded(c.key, c.value), c.decoded);
    const Bytes cut(c.value.begin(), c.value.begin() + static_cast<long>(c.cut));
    EXPECT_EQ(Decoded(c.key, cut), c.cutDecoded) << "cut to " << c.cut << " bytes";
    /* Every shorter value decodes without reading past it, to a document that parses. */
    for (size_t n = 0; n < c.value.size(); n += 1 + n / 8) {
      EXPECT_NO_THROW(
          Decoded(c.key, Bytes(c.value.begin(), c.value.begin() + static_cast<long>(n))));
    }
  }
  /* A row that joins the table gets a case here. */
  for (const PropPrinterRow &row : Prop_PrinterTable()) {
    if (row.key == nullptr) continue;
    EXPECT_TRUE(covered.count(row.key)) << "no case for " << row.key;
  }
}

TEST(JsonDecode, HexDumpedKeysAreNullAndTextsAreText) {
  EXPECT_EQ(Decoded("no.such.key", {1, 0, 2}), nullptr);
  EXPECT_EQ(Decoded("no.such.key", {}), nullptr);
  EXPECT_EQ(Decoded("no.such.key", {'o', 'n', 0}), json({{"text", "on"}}));
  /* A newer switch dumps its vswitch keys, which older switches decode. */
  const Bytes policy = {0, 0, 10, 0, 0, 0, 0, 0};
  EXPECT_EQ(Decoded("com.corvane.vswitch.port.vlan", policy, true), nullptr);
  EXPECT_EQ(Decoded("com.corvane.vswitch.port.vlan", policy)["vlanId"], 10);
}

TEST(JsonDecode, PropertyObjectCarriesEveryByteAndTheFlagNames) {
  const Bytes value = {0x00, 0xff, 0x10};
  const json p = Document([&](JsonOut &out) {
    Prop_WriteJson(PrintContext{}, "k", value.data(), 3, PROP_CONFIG | PROP_NO_SYNC | 0x100, out);
  });
  EXPECT_EQ(p, json({{"key", "k"},
                     {"flags", {"CONFIG", "NO_SYNC"}},
                     {"length", 3},
                     {"hex", "00ff10"},
                     {"value", nullptr}}));
}

TEST(JsonDecode, TextsThatAreNotUtf8AreReplacedNotCopied) {
  const std::string bad = "a\xff\xc3\xa9\xe2\x82";
  const json text = Document([&](JsonOut &out) { out.String(bad); });
  EXPECT_EQ(text, "a\xef\xbf\xbd\xc3\xa9\xef\xbf\xbd\xef\xbf\xbd");
  /* Quotes, backslashes and control characters are escaped, plain texts copied as they are. */
  const json mixed = Document([&](JsonOut &out) {
    out.BeginArray();
    out.String("say \"hi\"\\\x01\n");
    out.String("plain text");
    out.String("\xac control characters past 0x19: \x1a\x1c\x1f, then more text");
    out.Hex("\x00\xab", 2);
    out.EndArray();
  });
  EXPECT_EQ(mixed, json({"say \"hi\"\\\x01\n", "plain text",
                         "\xef\xbf\xbd control characters past 0x19: \x1a\x1c\x1f, then more text",
                         "00ab"}));
}

}  // namespace
