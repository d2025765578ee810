// SPDX-License-Identifier: Apache-2.0
/*
 * respool_test.cpp --
 *
 *    Resource pool and host status values without a switch: the byte
 *    layouts the parsers build, their refusals, and the printers on built,
 *    short and lying values. Values live in exactly sized buffers so that
 *    the sanitizer build catches any read past them.
 */

#include "props/respool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "printing.h"

namespace {

using printing::Bytes;
using printing::Print;
using printing::Put;
using printing::PutText;
typedef ZOR_ReturnStatus (*Parser)(const char *text, Bytes &value);

/* Runs parse on text; returns its status and fills value and the captured standard error. */
ZOR_ReturnStatus Parse(Parser parse, const std::string &text, Bytes &value, std::string &err) {
  ZOR_ReturnStatus status = ZOR_OK;
  err = printing::Stderr([&] { status = parse(text.c_str(), value); });
  return status;
}

TEST(RespoolParse, Layouts) {
  Bytes value;
  std::string err;
  ASSERT_EQ(Parse(Respool_ParseList, "gold;silver", value, err), ZOR_OK);
  Bytes list(404, 0);
  list[0] = 2;
  PutText(list, 4, "gold");
  PutText(list, 204, "silver");
  EXPECT_EQ(value, list);

  ASSERT_EQ(Parse(Respool_ParseConfig, "pool1:100:50:-1:3;p2:4294967297:7:9:258", value, err),
            ZOR_OK);
  Bytes cfg(428, 0);
  cfg[0] = 2;
  PutText(cfg, 4, "pool1");
  cfg[132] = 3;          /* tag */
  Put(cfg, 133, 100, 4); /* reservation, unaligned */
  Put(cfg, 204, 50, 4);  /* shares */
  Put(cfg, 208, ~0u, 4); /* limit -1 */
  PutText(cfg, 216, "p2");
  cfg[344] = 2;        /* 258 keeps its low byte */
  Put(cfg, 345, 1, 4); /* 2^32 + 1 keeps its low 32 bits */
  Put(cfg, 416, 7, 4);
  Put(cfg, 420, 9, 4);
  EXPECT_EQ(value, cfg);

  ASSERT_EQ(Parse(Respool_ParseConfig, "", value, err), ZOR_OK);
  EXPECT_EQ(value, Bytes(4, 0));

  ASSERT_EQ(Parse(Respool_ParseAssociation, "gold", value, err), ZOR_OK);
  Bytes assoc(516, 0);
  assoc[0] = 1;
  PutText(assoc, 4, "gold");
  EXPECT_EQ(value, assoc);

  EXPECT_EQ(Parse(Respool_ParseScheduling, "activated", value, err), ZOR_OK);
  EXPECT_EQ(value, Bytes{1});

  /* A message over 255 characters is cut, and the field is zero after its NUL. */
  ASSERT_EQ(Parse(HostStatus_Parse, "red:a:" + std::string(300, 'm'), value, err), ZOR_OK);
  Bytes status(260, 0);
  status[0] = 2;
  PutText(status, 4, "a:");
  memset(status.data() + 6, 'm', 253);
  EXPECT_EQ(value, status);
  ASSERT_EQ(Parse(HostStatus_Parse, "green", value, err), ZOR_OK);
  EXPECT_EQ(value, Bytes(260, 0));
}

struct RefusalCase {
  Parser parse;
  std::string text;
  ZOR_ReturnStatus status;
  std::string err;
};

TEST(RespoolParse, BadTextsAreRefusedWithTheirMessage) {
  const std::string id127(127, 'i');
  const std::string id128(128, 'i');
  const std::string listTooLong =
      "Incorrect data format. Network resource pool id is too long (max 127).\n";
  const std::string expect = "Incorrect data format. Expect: pool:resv:share:limit:tag;...\n";
  const std::vector<RefusalCase> cases = {
      {Respool_ParseList, "a;" + id128, ZOR_BAD_PARAM, listTooLong},
      {Respool_ParseConfig, id127 + ":1:2:3:4", ZOR_OK, ""},
      {Respool_ParseConfig, id128 + ":1:2:3:4", ZOR_BAD_PARAM,
       "Incorrect data format. Network resource pool id is too long (128, max 127).\n"},
      {Respool_ParseConfig, "pool1:100:50", ZOR_BAD_PARAM, expect},
      {Respool_ParseConfig, "p:1:2:3:4;", ZOR_BAD_PARAM, "Incorrect data format.\n"},
      /* Each entry ends at its ';': the ID's ':' is not looked for in the next one. */
      {Respool_ParseConfig, "p;q:1:2:3:4", ZOR_BAD_PARAM, "Incorrect data format.\n"},
      {Respool_ParseConfig, "p:1:2:3:4;q:5;6:7:8", ZOR_BAD_PARAM, expect},
      {Respool_ParseConfig, "p:99999999999999999999999:2:3:4", ZOR_OK, ""},
      {Respool_ParseAssociation, id127, ZOR_OK, ""},
      {Respool_ParseAssociation, id128, ZOR_BAD_PARAM, listTooLong},
      {Respool_ParseScheduling, "Activate", ZOR_BAD_PARAM,
       "Invalid argument [activate|deactivate] but Activate is passed\n"},
      {HostStatus_Parse, "Red:down", ZOR_BAD_PARAM, "Invalid color: Red\n"},
      {HostStatus_Parse, "greenish", ZOR_BAD_PARAM, "Invalid color: greenish\n"},
  };
  for (const RefusalCase &c : cases) {
    SCOPED_TRACE("text: \"" + c.text + "\"");
    Bytes value = {0xee};
    std::string err;
    EXPECT_EQ(Parse(c.parse, c.text, value, err), c.status);
    EXPECT_EQ(err, c.err);
    if (c.status != ZOR_OK) {
      EXPECT_EQ(value, Bytes{0xee}); /* nothing built */
    }
  }
}

struct PrintCase {
  const char *what;
  PropPrinter print;
  Bytes value;
  std::string out;
};

TEST(RespoolPrint, PrintersReadOnlyWhatTheValueHolds) {
  Bytes cfgLies;
  std::string err;
  ASSERT_EQ(Parse(Respool_ParseConfig, "pool1:100:50:-1:3;p2:1:2:3:255", cfgLies, err), ZOR_OK);
  cfgLies.resize(cfgLies.size() - 212); /* count 2, one entry */
  Bytes listLies;
  ASSERT_EQ(Parse(Respool_ParseList, "gold;silver", listLies, err), ZOR_OK);
  listLies[0] = 9;
  Bytes unknownColour(260, 0);
  unknownColour[0] = 7;

  const std::string head = "\t\tk:\n";
  const std::string type = "\t\t\tpropType = CONFIG \n";
  const std::vector<PrintCase> cases = {
      {"configuration count that lies", Prop_PrintRespoolsCfg, cfgLies,
       head + "\t\t\tpool1:100:50:-1:3\n"},
      {"list count that lies", Prop_PrintRespoolsList, listLies,
       head + "\t\t\tgold\n\t\t\tsilver\n"},
      {"association without its ID", Prop_PrintRespoolAssoc, {1, 0, 0, 0}, head},
      {"host status message without NUL",
       Prop_PrintHostStatus,
       {2, 0, 0, 0, 'a', 'b'},
       "\t\tk = red ab, \tpropType = CONFIG \n"},
      {"scheduling empty", Prop_PrintRespoolsSched, {}, head},
      {"host status colour unknown", Prop_PrintHostStatus, unknownColour,
       "\t\tk = unknown value 7, \tpropType = CONFIG \n"},
      {"host status cut in its colour", Prop_PrintHostStatus, {1}, "\t\tk = \n"},
  };
  for (const PrintCase &c : cases) {
    EXPECT_EQ(Print(c.print, c.value), c.out) << c.what;
  }
}

}  // namespace
