// SPDX-License-Identifier: Apache-2.0
/*
 * mirror.cpp --
 *
 *    The mirror family: the -m session syntax, the session table layout,
 *    the list of participating dvPorts, clearing and pushing the per-dvPort
 *    tables, and the printer of session tables.
 */

#include "props/mirror.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>

#include "base/json.h"
#include "base/print.h"
#include "state/state_ops.h"

size_t MirrorEntity_Len(bool wide) {
  return wide ? MIRROR_ENTITY_WIDE_LEN : MIRROR_ENTITY_LEN;
}

namespace {

/* ======================================================================
 * Value-name tables, shared by the parser and the printer
 * ====================================================================== */

const ValueName sessionTypeNames[] = {
    {MIRROR_SESSION_MIXDST, "MIXDST"},
    {MIRROR_SESSION_DVPORT, "DVPORT"},
    {MIRROR_SESSION_RMIRROR_SRC, "RMIRROR_SRC"},
    {MIRROR_SESSION_RMIRROR_DST, "RMIRROR_DST"},
    {MIRROR_SESSION_ERMIRROR_SRC, "ERMIRROR_SRC"},
};

const ValueName encapTypeNames[] = {
    {MIRROR_ENCAP_GRE_ONLY, "GRE_ONLY"},
    {MIRROR_ENCAP_ERSPAN2, "ERSPAN2"},
    {MIRROR_ENCAP_ERSPAN3, "ERSPAN3"},
};

/* Session flags: the listing's word of each bit, in bit order. */
const ValueName sessionFlagWords[] = {
    {MIRROR_FLAG_DST_NO_OUTPUT, "DST_NO_OUTPUT "},
    {MIRROR_FLAG_DST_NO_INPUT, "DST_NO_INPUT "},
    {MIRROR_FLAG_DST_ORIG_VLAN, "DST_ORIG_VLAN "},
    {MIRROR_FLAG_DST_ENCAP, "DST_ENCAP "},
    {MIRROR_FLAG_LEGACY, "LEGACY "},
    {MIRROR_FLAG_DISABLED, "DISABLED "},
};

/* Session flags: the letter that sets each bit in the command's text (either case). */
const struct {
  uint32_t bit;
  char letter;
} sessionFlagLetters[] = {
    {MIRROR_FLAG_DST_NO_OUTPUT, 'o'}, {MIRROR_FLAG_DST_NO_INPUT, 'i'},
    {MIRROR_FLAG_DST_ORIG_VLAN, 'v'}, {MIRROR_FLAG_DST_ENCAP, 'e'},
    {MIRROR_FLAG_LEGACY, 'l'},        {MIRROR_FLAG_DISABLED, 'd'},
};

const char *EncapTypeName(uint32_t value) {
  return NameOf(encapTypeNames, value, "NO_SUPPORT_TYPE");
}

/* ======================================================================
 * Parser
 * ====================================================================== */

/* The version prefix "v2*" or "v3*", and what each version's sessions hold. */
constexpr size_t PREFIX_LEN = 3;
constexpr size_t V2_FIELDS = 10;
constexpr size_t V3_FIELDS = 14;

/* A decimal field: strtol base 10, an empty or unreadable field is 0, wide values keep low bits. */
long Decimal(const std::string &field) {
  return strtol(field.c_str(), nullptr, 10);
}

/* Hands out the ';'-terminated fields of one session's text in turn. */
struct FieldReader {
  std::string_view rest;
  std::string Next() {
    const size_t end = rest.find(';');
    std::string field(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return field;
  }
};

/* One session as its text describes it, before it goes into the table. */
struct Session {
  std::string sid;
  std::string dname;
  uint32_t type = 0;
  uint32_t encapType = 0;
  uint16_t erspanId = 0;
  uint8_t erspanCos = 0;
  uint8_t erspanGra = 0;
  uint32_t snapLen = 0;
  uint16_t encapVlan = 0;
  uint32_t flags = 0;
  uint32_t samplingRate = 0;
  uint32_t startIdx = 0;
  uint32_t dst = 0;
  uint32_t srcIn = 0;
  uint32_t srcOut = 0;
};

/* Checks a dvPort item against the name field and records the port; prints why it fails. */
ZOR_ReturnStatus ParseDvPortItem(MirrorPortList &ports, const char *item, uint32_t sessionIndex,
                                 ByteWriter &entity, bool wide) {
  const size_t width = wide ? MIRROR_ENTITY_WIDE_DVPORT_NAME_LEN : MIRROR_ENTITY_DVPORT_NAME_LEN;
  if (strlen(item) > width) {
    fprintf(stderr, "dvPort name %s is longer than %zu bytes\n", item, width);
    return ZOR_BAD_PARAM;
  }
  const ZOR_ReturnStatus status = Mirror_AddPortSession(ports, item, sessionIndex, wide);
  if (status != ZOR_OK) {
    fprintf(stderr, "Failed to create session config for dvPort %s\n", item);
    return status;
  }
  entity.PutU32(MIRROR_ENTITY_OFF_KIND, MIRROR_ENTITY_DVPORT);
  entity.PutBytes(MIRROR_ENTITY_OFF_NAME, item, strlen(item));
  return ZOR_OK;
}

ZOR_ReturnStatus ParseUplinkItem(const char *item, ByteWriter &entity) {
  if (strlen(item) > MIRROR_ENTITY_UPLINK_NAME_LEN) {
    fprintf(stderr, "Uplink name %s is longer than %d bytes\n", item,
            MIRROR_ENTITY_UPLINK_NAME_LEN);
    return ZOR_BAD_PARAM;
  }
  entity.PutU32(MIRROR_ENTITY_OFF_KIND, MIRROR_ENTITY_UPLINK);
  entity.PutBytes(MIRROR_ENTITY_OFF_NAME, item, strlen(item));
  return ZOR_OK;
}

/* An IPv4 address when the item holds a '.', else IPv6 when it holds a ':'. */
ZOR_ReturnStatus ParseIpItem(const char *item, ByteWriter &entity) {
  if (strchr(item, '.') != nullptr) {
    in_addr v4;
    if (inet_aton(item, &v4) == 0) {
      fprintf(stderr, "IPv4 address error\n");
      return ZOR_BAD_PARAM;
    }
    entity.PutU8(MIRROR_ENTITY_OFF_FAMILY, MIRROR_IP_FAMILY_V4);
    entity.PutBytes(MIRROR_ENTITY_OFF_ADDR, &v4, sizeof v4);
  } else if (strchr(item, ':') != nullptr) {
    in6_addr v6;
    if (inet_pton(AF_INET6, item, &v6) != 1) {
      fprintf(stderr, "IPv6 address error\n");
      return ZOR_BAD_PARAM;
    }
    entity.PutU8(MIRROR_ENTITY_OFF_FAMILY, MIRROR_IP_FAMILY_V6);
    entity.PutBytes(MIRROR_ENTITY_OFF_ADDR, &v6, sizeof v6);
  } else {
    return ZOR_BAD_PARAM;
  }
  entity.PutU32(MIRROR_ENTITY_OFF_KIND, MIRROR_ENTITY_IP);
  return ZOR_OK;
}

/*
 * Reads the fields of a session up to and including samplerate, in text
 * order. Returns 0, or ZOR_BAD_PARAM after printing why a field is wrong.
 */
ZOR_ReturnStatus ParseSessionHead(FieldReader &fields, uint32_t formatVersion, Session &s) {
  s.sid = fields.Next();
  if (s.sid.empty()) {
    fprintf(stderr, "Session ID can't be empty\n");
    return ZOR_BAD_PARAM;
  }
  if (s.sid.size() > MIRROR_SID_MAX) {
    fprintf(stderr, "Session ID can't be longer than %zu\n", static_cast<size_t>(MIRROR_SID_MAX));
    return ZOR_BAD_PARAM;
  }
  s.dname = fields.Next();
  if (s.dname.empty()) {
    fprintf(stderr, "Session name can't be empty\n");
    return ZOR_BAD_PARAM;
  }
  if (s.dname.size() > MIRROR_DNAME_MAX) {
    fprintf(stderr, "Session name can't be longer than %zu\n",
            static_cast<size_t>(MIRROR_DNAME_MAX));
    return ZOR_BAD_PARAM;
  }
  const std::string stype = fields.Next();
  const std::optional<uint32_t> type = ValueOf(sessionTypeNames, stype);
  if (!type) {
    fprintf(stderr, "Unsupported session type %s.", stype.c_str());
    return ZOR_BAD_PARAM;
  }
  s.type = *type;

  if (formatVersion == 3) {
    const std::optional<uint32_t> encap = ValueOf(encapTypeNames, fields.Next());
    if (!encap) return ZOR_BAD_PARAM;
    s.encapType = *encap;
    s.erspanId = static_cast<uint16_t>(Decimal(fields.Next()));
    s.erspanCos = static_cast<uint8_t>(Decimal(fields.Next()));
    s.erspanGra = static_cast<uint8_t>(Decimal(fields.Next()));
  }

  const std::string snapLen = fields.Next();
  s.snapLen = snapLen.empty() ? 60 : static_cast<uint32_t>(Decimal(snapLen));
  s.encapVlan = static_cast<uint16_t>(Decimal(fields.Next()));
  for (const char c : fields.Next()) {
    const auto *flag = std::find_if(std::begin(sessionFlagLetters), std::end(sessionFlagLetters),
                                    [c](const auto &f) { return f.letter == (c | 0x20); });
    if (flag == std::end(sessionFlagLetters)) {
      fprintf(stderr, "Bad session flag: %c\n", c);
      return ZOR_BAD_PARAM;
    }
    s.flags |= flag->bit;
  }
  const std::string samplingRate = fields.Next();
  s.samplingRate = samplingRate.empty() ? 1 : static_cast<uint32_t>(Decimal(samplingRate));
  return ZOR_OK;
}

/* The source table while it is filled: the bytes, where entities start, and how many fit. */
struct SourceTable {
  ByteWriter bytes;
  uint32_t sessions;
  uint32_t capacity;
  size_t entityLen;
  size_t EntityOffset(uint32_t index) const {
    return MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * sessions +
           entityLen * index;
  }
};

typedef ZOR_ReturnStatus (*EntityParser)(MirrorPortList &ports, uint32_t sessionType,
                                         const char *item, uint32_t sessionIndex,
                                         ByteWriter &entity, bool wide);

/*
 * Parses one ','-separated list into the table from entity number *next
 * on, skipping empty items; counts the entities in *count and *next.
 * Returns 0, or the failing item's status after printing which list failed.
 */
ZOR_ReturnStatus ParseList(MirrorPortList &ports, const std::string &list, EntityParser parse,
                           const char *failure, const Session &s, uint32_t sessionIndex, bool wide,
                           SourceTable &table, uint32_t *next, uint32_t *count) {
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    const std::string item = list.substr(start, end - start);
    start = end + 1;
    if (item.empty()) continue;

    ByteWriter entity(table.entityLen);
    ZOR_ReturnStatus status = parse(ports, s.type, item.c_str(), sessionIndex, entity, wide);
    /* The capacity counts every item the text can hold, so this only guards the bound. */
    if (status == ZOR_OK && *next >= table.capacity) status = ZOR_FAILURE;
    if (status == ZOR_OK &&
        !table.bytes.PutBytes(table.EntityOffset(*next), entity.Data(), entity.Length())) {
      status = ZOR_FAILURE;
    }
    if (status != ZOR_OK) {
      fputs(failure, stderr);
      return status;
    }
    (*next)++;
    (*count)++;
  }
  return ZOR_OK;
}

void PutSessionRecord(ByteWriter &table, size_t at, const Session &s) {
  table.PutText(at + MIRROR_SESSION_OFF_SID, MIRROR_SESSION_SID_LEN, s.sid.c_str());
  table.PutText(at + MIRROR_SESSION_OFF_DNAME, MIRROR_SESSION_DNAME_LEN, s.dname.c_str());
  table.PutU32(at + MIRROR_SESSION_OFF_TYPE, s.type);
  table.PutU32(at + MIRROR_SESSION_OFF_SNAPLEN, s.snapLen);
  table.PutU32(at + MIRROR_SESSION_OFF_FLAGS, s.flags);
  table.PutU16(at + MIRROR_SESSION_OFF_ENCAP_VLAN, s.encapVlan);
  table.PutU32(at + MIRROR_SESSION_OFF_SAMPLING_RATE, s.samplingRate);
  table.PutU32(at + MIRROR_SESSION_OFF_ENCAP_TYPE, s.encapType);
  table.PutU16(at + MIRROR_SESSION_OFF_ERSPAN_ID, s.erspanId);
  table.PutU8(at + MIRROR_SESSION_OFF_ERSPAN_COS, s.erspanCos);
  table.PutU8(at + MIRROR_SESSION_OFF_ERSPAN_GRA, s.erspanGra);
  table.PutU32(at + MIRROR_SESSION_OFF_DST, s.dst);
  table.PutU32(at + MIRROR_SESSION_OFF_SRC_IN, s.srcIn);
  table.PutU32(at + MIRROR_SESSION_OFF_SRC_OUT, s.srcOut);
  table.PutU32(at + MIRROR_SESSION_OFF_START_IDX, s.startIdx);
}

void PrintSession(const Session &s, uint32_t formatVersion) {
  printf("%s(%s): snap=%u, flags=0x%x, encap=%u, startIdx=%u dst=%u, srcIn=%u, srcOut=%u\n",
         s.sid.c_str(), s.dname.c_str(), s.snapLen, s.flags, s.encapVlan, s.startIdx, s.dst,
         s.srcIn, s.srcOut);
  printf("sessionType=%u, samplingRate=%u\n", s.type, s.samplingRate);
  if (formatVersion == 3) {
    printf("encapType:%s ", EncapTypeName(s.encapType));
    printf("erspanID:%u, erspanCOS:%u, erspanGra:%u\n", s.erspanId, s.erspanCos, s.erspanGra);
  }
}

/*
 * Parses session number index from its text into the table; *next is the
 * running entity count. Prints the session on success. Returns 0 or the
 * status of the first failure, after printing its message.
 */
ZOR_ReturnStatus ParseSession(MirrorPortList &ports, std::string_view text, uint32_t index,
                              uint32_t formatVersion, bool wide, SourceTable &table,
                              uint32_t *next) {
  FieldReader fields{text};
  Session s;
  ZOR_ReturnStatus status = ParseSessionHead(fields, formatVersion, s);
  if (status != ZOR_OK) return status;

  s.startIdx = *next;
  const char dstFailure[] = "Failed to read session DstEntities\n";
  const char srcFailure[] = "Failed to read session SrcEntities\n";
  status = ParseList(ports, fields.Next(), Mirror_ParseDstEntity, dstFailure, s, index, wide, table,
                     next, &s.dst);
  if (status == ZOR_OK) {
    status = ParseList(ports, fields.Next(), Mirror_ParseSrcEntity, srcFailure, s, index, wide,
                       table, next, &s.srcIn);
  }
  if (status == ZOR_OK) {
    status = ParseList(ports, fields.Next(), Mirror_ParseSrcEntity, srcFailure, s, index, wide,
                       table, next, &s.srcOut);
  }
  if (status != ZOR_OK) return status;

  PutSessionRecord(table.bytes,
                   MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * index, s);
  PrintSession(s, formatVersion);
  return ZOR_OK;
}

/*
 * The counting pass: the number of sessions in body (the text after the
 * prefix), each of which must hold exactly fieldCount ';'. Returns false
 * after printing the message when a session holds another number.
 */
bool CountSessions(std::string_view body, size_t fieldCount, uint32_t *sessions) {
  size_t semicolons = 0;
  uint32_t count = 0;
  bool ok = true;
  for (const char c : body) {
    if (c == ';') {
      semicolons++;
    } else if (c == '*') {
      count++;
      ok = semicolons == fieldCount;
      if (!ok) break;
      semicolons = 0;
    }
  }
  /* A session that the text ends without a '*' counts too; nothing after the last '*' is none. */
  if (ok && semicolons != 0) {
    count++;
    ok = semicolons == fieldCount;
  }
  if (!ok) {
    fprintf(stderr, "Each session should have %zu fields.\n", fieldCount);
    return false;
  }
  *sessions = count;
  return true;
}

/* A zeroed block of length bytes, or nothing when memory runs out. */
std::optional<ByteWriter> NewBlock(size_t length) {
  try {
    return ByteWriter(length);
  } catch (const std::bad_alloc &) {
    return std::nullopt;
  }
}

/* ======================================================================
 * Clearing and pushing
 * ====================================================================== */

struct ClearWalk {
  const StateOps *state;
  MirrorPortList *ports;
  const char *key;
};

/*
 * Port visitor of the clear: a port of the list keeps its table (it gets a
 * new one) and has its handle noted; any other port loses its table. The
 * result of a clear is not looked at.
 */
int ClearUnnamedPort(DVSPort *p, void *context) {
  const ClearWalk *walk = static_cast<const ClearWalk *>(context);
  const char *name = DVS_PortId(p);
  const auto named = walk->ports->index.find(name);
  if (named != walk->ports->index.end()) {
    walk->ports->nodes[named->second].port = p;
    return 0;
  }
  DVSDataNode *node = nullptr;
  if (p->data == nullptr || DVSData_Lookup(p->data, walk->key, &node) != ZOR_OK) return 0;
  /* The configuration state is edited through the handle in hand, the kernel by name. */
  if (walk->state->fileMode) {
    DVSState_PortDataClear(p, walk->key);
  } else {
    walk->state->portClear(DVS_SwitchId(p->dvs), name, walk->key);
  }
  return 0;
}

/* A session record of the source table: where it lies and its entity run. */
struct SessionRun {
  size_t offset;
  uint32_t startIdx;
  uint32_t entities;
};

std::optional<SessionRun> RunOf(const ByteReader &table, uint32_t session) {
  const size_t at = MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * session;
  const std::optional<uint32_t> start = table.U32(at + MIRROR_SESSION_OFF_START_IDX);
  const std::optional<uint32_t> dst = table.U32(at + MIRROR_SESSION_OFF_DST);
  const std::optional<uint32_t> srcIn = table.U32(at + MIRROR_SESSION_OFF_SRC_IN);
  const std::optional<uint32_t> srcOut = table.U32(at + MIRROR_SESSION_OFF_SRC_OUT);
  if (!start || !dst || !srcIn || !srcOut) return std::nullopt;
  return SessionRun{at, *start, *dst + *srcIn + *srcOut};
}

/*
 * Builds the table of one dvPort: its sessions copied from the source
 * table in list order, each with its entity run moved behind the previous
 * one and startIdx rewritten. Returns nothing when the source table does
 * not hold what its records say (it always does, as the parser built it)
 * or memory runs out.
 */
std::optional<ByteWriter> BuildPortTable(const ByteReader &source, const MirrorPortNode &node,
                                         bool wide, uint32_t formatVersion) {
  const size_t entityLen = MirrorEntity_Len(wide);
  const std::optional<uint32_t> sourceSessions = source.U32(MIRROR_TABLE_OFF_SESSIONS);
  if (!sourceSessions) return std::nullopt;
  const size_t sourceEntities =
      MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * *sourceSessions;

  std::vector<SessionRun> runs;
  uint32_t entities = 0;
  for (const uint32_t session : node.sessions) {
    const std::optional<SessionRun> run = RunOf(source, session);
    if (!run) return std::nullopt;
    runs.push_back(*run);
    entities += run->entities;
  }
  const uint32_t sessions = static_cast<uint32_t>(runs.size());
  std::optional<ByteWriter> table =
      NewBlock(MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * sessions +
               entityLen * entities);
  if (!table) return std::nullopt;
  table->PutU32(MIRROR_TABLE_OFF_MAGIC, MIRROR_TABLE_MAGIC);
  table->PutU32(MIRROR_TABLE_OFF_FORMAT, formatVersion);
  table->PutU32(MIRROR_TABLE_OFF_SESSIONS, sessions);
  table->PutU32(MIRROR_TABLE_OFF_ENTITIES, entities);

  const size_t entityBase =
      MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * sessions;
  uint32_t position = 0;
  for (uint32_t i = 0; i < sessions; i++) {
    const SessionRun &run = runs[i];
    const size_t at = MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * i;
    const uint8_t *record = source.Bytes(run.offset, MIRROR_SESSION_LEN);
    const size_t runLen = entityLen * run.entities;
    const uint8_t *entityRun = source.Bytes(sourceEntities + entityLen * run.startIdx, runLen);
    if (record == nullptr || entityRun == nullptr) return std::nullopt;
    table->PutBytes(at, record, MIRROR_SESSION_LEN);
    table->PutU32(at + MIRROR_SESSION_OFF_START_IDX, position);
    table->PutBytes(entityBase + entityLen * position, entityRun, runLen);
    position += run.entities;
  }
  if (!table->Ok()) return std::nullopt;
  return table;
}

/* ======================================================================
 * Printer
 * ====================================================================== */

/* How the entities of one list are shown. */
enum class EntityShow { NAME, IP, VLAN, NOTHING };

/* Entity kinds as the document names them. */
const ValueName entityKindNames[] = {
    {MIRROR_ENTITY_DVPORT, "DVPORT"},
    {MIRROR_ENTITY_UPLINK, "UPLINK"},
    {MIRROR_ENTITY_VLAN, "VLAN"},
    {MIRROR_ENTITY_IP, "IP"},
};

/* One entity as its list shows it: a name, an address (empty: none shown) or a VLAN. */
struct EntityValue {
  uint32_t kind;
  std::string text;
  uint16_t vlan = 0;
};

/* One entity list: the entities that lie inside the value, and whether all that it counts do. */
struct EntityList {
  uint32_t count = 0;
  EntityShow show = EntityShow::NOTHING;
  std::vector<EntityValue> entities;
  bool whole = true;
};

/* One session record, with the entity lists that the value holds. */
struct SessionValue {
  std::string_view sid;
  std::string_view dname;
  uint32_t type;
  uint32_t flags;
  uint32_t snapLen;
  uint16_t encapVlan;
  int32_t samplingRate;
  uint32_t encapType;
  uint16_t erspanId;
  uint8_t erspanCos;
  uint8_t erspanGra;
  EntityList lists[3]; /* dst, srcIn, srcOut; a list after one that is not whole is absent */
  size_t listCount = 0;
  bool Whole() const { return listCount == 3 && lists[2].whole; }
};

/* A session table: the sessions that lie inside the value, up to and with the first that does not.
 */
struct MirrorTableValue {
  bool hasHeader = false;
  uint32_t formatVersion = 0;
  uint32_t sessionCount = 0;
  std::vector<SessionValue> sessions;
  bool whole = true;
};

/* The address of an IP entity as the listing shows it; empty for an unknown family or a short
 * value. */
std::string IpEntityText(const ByteReader &value, size_t at) {
  const std::optional<uint8_t> family = value.U8(at + MIRROR_ENTITY_OFF_FAMILY);
  if (family == MIRROR_IP_FAMILY_V4) {
    const uint8_t *a = value.Bytes(at + MIRROR_ENTITY_OFF_ADDR, 4);
    if (a == nullptr) return std::string();
    in_addr v4;
    memcpy(&v4, a, sizeof v4);
    return inet_ntoa(v4);
  }
  if (family == MIRROR_IP_FAMILY_V6) {
    const uint8_t *a = value.Bytes(at + MIRROR_ENTITY_OFF_ADDR, 16);
    if (a == nullptr) return std::string();
    char text[40];
    snprintf(text, sizeof text,
             "%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x", a[0], a[1],
             a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11], a[12], a[13], a[14],
             a[15]);
    return text;
  }
  return std::string();
}

/* Reads count entities from entity number *r on; stops at one that does not lie inside the value.
 */
EntityList DecodeEntityList(const ByteReader &value, size_t entityBase, bool wide, uint32_t count,
                            EntityShow show, uint32_t *r) {
  EntityList list;
  list.count = count;
  list.show = show;
  const size_t entityLen = MirrorEntity_Len(wide);
  const size_t dvPortWidth =
      wide ? MIRROR_ENTITY_WIDE_DVPORT_NAME_LEN : MIRROR_ENTITY_DVPORT_NAME_LEN;
  for (uint32_t n = 1; n <= count; n++, (*r)++) {
    const size_t at = entityBase + entityLen * *r;
    if (!value.Has(at, entityLen)) {
      list.whole = false;
      break;
    }
    EntityValue &entity = list.entities.emplace_back();
    entity.kind = *value.U32(at + MIRROR_ENTITY_OFF_KIND);
    switch (show) {
      case EntityShow::NAME: {
        const bool uplink = entity.kind == MIRROR_ENTITY_UPLINK;
        entity.text = value
                          .Text(at + MIRROR_ENTITY_OFF_NAME,
                                uplink ? MIRROR_ENTITY_UPLINK_NAME_LEN : dvPortWidth)
                          .value_or(std::string_view());
        break;
      }
      case EntityShow::IP:
        entity.text = IpEntityText(value, at);
        break;
      case EntityShow::VLAN:
        entity.vlan = value.U16(at + MIRROR_ENTITY_OFF_VLAN).value_or(0);
        break;
      case EntityShow::NOTHING:
        break;
    }
  }
  return list;
}

/* Reads session record number i and its entities; nothing when the record does not fit. */
std::optional<SessionValue> DecodeSession(const ByteReader &value, uint32_t i, size_t entityBase,
                                          bool wide, uint32_t *r) {
  const size_t at = MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * i;
  if (!value.Has(at, MIRROR_SESSION_LEN)) return std::nullopt;
  SessionValue s;
  s.sid = *value.Text(at + MIRROR_SESSION_OFF_SID, MIRROR_SESSION_SID_LEN);
  s.dname = *value.Text(at + MIRROR_SESSION_OFF_DNAME, MIRROR_SESSION_DNAME_LEN);
  s.type = *value.U32(at + MIRROR_SESSION_OFF_TYPE);
  s.flags = *value.U32(at + MIRROR_SESSION_OFF_FLAGS);
  s.snapLen = *value.U32(at + MIRROR_SESSION_OFF_SNAPLEN);
  s.encapVlan = *value.U16(at + MIRROR_SESSION_OFF_ENCAP_VLAN);
  s.samplingRate = *value.I32(at + MIRROR_SESSION_OFF_SAMPLING_RATE);
  s.encapType = *value.U32(at + MIRROR_SESSION_OFF_ENCAP_TYPE);
  s.erspanId = *value.U16(at + MIRROR_SESSION_OFF_ERSPAN_ID);
  s.erspanCos = *value.U8(at + MIRROR_SESSION_OFF_ERSPAN_COS);
  s.erspanGra = *value.U8(at + MIRROR_SESSION_OFF_ERSPAN_GRA);

  EntityShow dstShow = EntityShow::NOTHING;
  if (s.type == MIRROR_SESSION_ERMIRROR_SRC) {
    dstShow = EntityShow::IP;
  } else if (s.type <= MIRROR_SESSION_RMIRROR_DST) {
    dstShow = EntityShow::NAME;
  }
  const EntityShow srcShow =
      s.type == MIRROR_SESSION_RMIRROR_DST ? EntityShow::VLAN : EntityShow::NAME;
  const uint32_t counts[3] = {*value.U32(at + MIRROR_SESSION_OFF_DST),
                              *value.U32(at + MIRROR_SESSION_OFF_SRC_IN),
                              *value.U32(at + MIRROR_SESSION_OFF_SRC_OUT)};
  /* An entity past the value's end ends the lists and the value. */
  for (size_t l = 0; l < 3; l++) {
    s.lists[l] =
        DecodeEntityList(value, entityBase, wide, counts[l], l == 0 ? dstShow : srcShow, r);
    s.listCount = l + 1;
    if (!s.lists[l].whole) break;
  }
  return s;
}

/* Decodes a session table; entity records are wide for a switch of the newer layout. */
MirrorTableValue DecodeMirrorTable(const ByteReader &table, bool wide) {
  MirrorTableValue v;
  v.hasHeader = table.Has(0, MIRROR_TABLE_HEADER_LEN);
  v.sessionCount = table.U32(MIRROR_TABLE_OFF_SESSIONS).value_or(0);
  v.formatVersion = table.U32(MIRROR_TABLE_OFF_FORMAT).value_or(0);
  const size_t entityBase =
      MIRROR_TABLE_HEADER_LEN + static_cast<size_t>(MIRROR_SESSION_LEN) * v.sessionCount;
  uint32_t r = 0;
  for (uint32_t i = 0; i < v.sessionCount; i++) {
    std::optional<SessionValue> session = DecodeSession(table, i, entityBase, wide, &r);
    if (!session) {
      v.whole = false;
      break;
    }
    v.sessions.push_back(std::move(*session));
    if (!v.sessions.back().Whole()) {
      v.whole = false;
      break;
    }
  }
  return v;
}

/* Prints the entities of one list, seven on the first line and eight on each further one. */
void PrintEntityList(const EntityList &list) {
  uint32_t n = 0;
  for (const EntityValue &entity : list.entities) {
    n++;
    switch (list.show) {
      case EntityShow::NAME:
        printf("%s ", entity.text.c_str());
        break;
      case EntityShow::IP:
        if (!entity.text.empty()) printf("%s ", entity.text.c_str());
        break;
      case EntityShow::VLAN:
        printf("%u ", static_cast<unsigned>(entity.vlan));
        break;
      case EntityShow::NOTHING:
        break;
    }
    if (n % 8 == 7 && n < list.count) printf("\n\t\t\t\t");
  }
}

/* Prints a session and its entities; the lines end where the value does. */
void PrintSessionRecord(const SessionValue &s, uint32_t formatVersion) {
  printf("\t\t\tsid:\t\t\t%.*s", static_cast<int>(s.sid.size()), s.sid.data());
  printf("\n\t\t\tdname:\t\t\t%.*s", static_cast<int>(s.dname.size()), s.dname.data());
  printf("\n\t\t\tflags:\t\t\t");
  PrintBitNames(sessionFlagWords, s.flags);
  printf("\n\t\t\tsnapLen:\t\t%d%s\n\t\t\tencapVlan:\t\t%d%s\n", static_cast<int32_t>(s.snapLen),
         s.snapLen == 0xFFFFFFFFu ? " (full frame)" : "", static_cast<int>(s.encapVlan),
         (s.flags & MIRROR_FLAG_DST_ENCAP) == 0 ? " (no ENCAP)" : "");
  printf("\t\t\ttype:\t\t\t%s\n\t\t\tsamplingRate:\t\t%d\n",
         NameOf(sessionTypeNames, s.type, "NOT_SUPPORTED_TYPE"), s.samplingRate);
  if (s.type == MIRROR_SESSION_ERMIRROR_SRC && formatVersion == 3) {
    printf("\t\t\tencap-type:\t\t%s\n", EncapTypeName(s.encapType));
    printf("\t\t\terspanID:\t\t%u\n", s.erspanId);
    printf("\t\t\terspanCOS:\t\t%u\n", s.erspanCos);
    if (s.encapType == MIRROR_ENCAP_ERSPAN3) printf("\t\t\terspanGra:\t\t%u\n", s.erspanGra);
  }
  static const char *const heads[3] = {"\n\t\t\tdstEntities\t(%u):\t",
                                       "\n\t\t\tsrcInEntities\t(%u):\t",
                                       "\n\t\t\tsrcOutEntities\t(%u):\t"};
  for (size_t l = 0; l < s.listCount; l++) {
    printf(heads[l], s.lists[l].count);
    PrintEntityList(s.lists[l]);
  }
  printf(s.Whole() ? "\n\n" : "\n");
}

/* Writes key: [entity, ...], each {"kind", and its "name", "address" or "vlan" as the list shows
 * it}. */
void WriteEntityList(JsonOut &out, std::string_view key, const EntityList &list) {
  out.Key(key);
  out.BeginArray();
  for (const EntityValue &entity : list.entities) {
    out.BeginObject();
    Json_EnumOf(out, "kind", entityKindNames, entity.kind, nullptr);
    switch (list.show) {
      case EntityShow::NAME:
        Json_Text(out, "name", entity.text);
        break;
      case EntityShow::IP:
        if (!entity.text.empty()) Json_Text(out, "address", entity.text);
        break;
      case EntityShow::VLAN:
        Json_Uint(out, "vlan", entity.vlan);
        break;
      case EntityShow::NOTHING:
        break;
    }
    out.EndObject();
  }
  out.EndArray();
}

void WriteSession(JsonOut &out, const SessionValue &s, uint32_t formatVersion) {
  out.BeginObject();
  Json_Text(out, "sid", s.sid);
  Json_Text(out, "dname", s.dname);
  Json_Bits(out, "flags", sessionFlagWords, s.flags);
  Json_Int(out, "snapLen", static_cast<int32_t>(s.snapLen));
  Json_Int(out, "encapVlan", s.encapVlan);
  Json_EnumOf(out, "type", sessionTypeNames, s.type, "NOT_SUPPORTED_TYPE");
  Json_Int(out, "samplingRate", s.samplingRate);
  if (s.type == MIRROR_SESSION_ERMIRROR_SRC && formatVersion == 3) {
    Json_Enum(out, "encapType", EncapTypeName(s.encapType), s.encapType);
    Json_Uint(out, "erspanID", s.erspanId);
    Json_Uint(out, "erspanCOS", s.erspanCos);
    if (s.encapType == MIRROR_ENCAP_ERSPAN3) Json_Uint(out, "erspanGra", s.erspanGra);
  }
  static const char *const names[3] = {"dstEntities", "srcInEntities", "srcOutEntities"};
  for (size_t l = 0; l < s.listCount; l++) WriteEntityList(out, names[l], s.lists[l]);
  out.EndObject();
}

}  // namespace

/* ======================================================================
 * The list of participating dvPorts and the entity parsers
 * ====================================================================== */

ZOR_ReturnStatus Mirror_AddPortSession(MirrorPortList &ports, const char *portName,
                                       uint32_t sessionIndex, bool wide) {
  const size_t width = wide ? MIRROR_ENTITY_WIDE_DVPORT_NAME_LEN : MIRROR_ENTITY_DVPORT_NAME_LEN;
  if (strlen(portName) > width) return ZOR_BAD_PARAM;
  MirrorPortNode *node = nullptr;
  const auto found = ports.index.find(portName);
  if (found != ports.index.end()) {
    node = &ports.nodes[found->second];
  } else {
    try {
      ports.nodes.push_back(MirrorPortNode{portName, {}});
      ports.index.emplace(portName, ports.nodes.size() - 1);
    } catch (const std::bad_alloc &) {
      fprintf(stderr, "Failed to alloc memory for dvPort %s\n", portName);
      return ZOR_NO_MEMORY;
    }
    node = &ports.nodes.back();
  }
  std::vector<uint32_t> &sessions = node->sessions;
  /* Sessions are parsed in order, so a repeat is nearly always the last entry. */
  if (!sessions.empty() &&
      (sessions.back() == sessionIndex ||
       (sessionIndex < sessions.back() &&
        std::find(sessions.begin(), sessions.end(), sessionIndex) != sessions.end()))) {
    return ZOR_OK;
  }
  try {
    sessions.push_back(sessionIndex);
  } catch (const std::bad_alloc &) {
    fprintf(stderr, "Failed to alloc memory for dvPort session\n");
    return ZOR_NO_MEMORY;
  }
  return ZOR_OK;
}

ZOR_ReturnStatus Mirror_ParseDstEntity(MirrorPortList &ports, uint32_t sessionType,
                                       const char *item, uint32_t sessionIndex, ByteWriter &entity,
                                       bool wide) {
  switch (sessionType) {
    case MIRROR_SESSION_MIXDST:
    case MIRROR_SESSION_DVPORT:
    case MIRROR_SESSION_RMIRROR_DST:
      return ParseDvPortItem(ports, item, sessionIndex, entity, wide);
    case MIRROR_SESSION_RMIRROR_SRC:
      return ParseUplinkItem(item, entity);
    default:
      return ParseIpItem(item, entity);
  }
}

ZOR_ReturnStatus Mirror_ParseSrcEntity(MirrorPortList &ports, uint32_t sessionType,
                                       const char *item, uint32_t sessionIndex, ByteWriter &entity,
                                       bool wide) {
  if (sessionType != MIRROR_SESSION_RMIRROR_DST) {
    return ParseDvPortItem(ports, item, sessionIndex, entity, wide);
  }
  const uint16_t vlan = static_cast<uint16_t>(strtol(item, nullptr, 10));
  if (vlan == 0) {
    fprintf(stderr, "Error src vlan for RMirror Dst Session.\n");
    return ZOR_BAD_PARAM;
  }
  entity.PutU32(MIRROR_ENTITY_OFF_KIND, MIRROR_ENTITY_VLAN);
  entity.PutU16(MIRROR_ENTITY_OFF_VLAN, vlan);
  return ZOR_OK;
}

/* ======================================================================
 * The command
 * ====================================================================== */

void Mirror_ClearPortSessions(const StateOps &state, MirrorPortList &ports, DVSSwitch *h,
                              SwitchClass cls) {
  ClearWalk walk = {&state, &ports, MIRROR_PORT_KEY.For(cls)};
  DVSState_PortForEach(h, ClearUnnamedPort, &walk);
}

ZOR_ReturnStatus Mirror_PushPortSessions(const StateOps &state, const MirrorPortList &ports,
                                         const char *switchId, const ByteWriter *table, bool wide,
                                         SwitchClass cls, uint32_t formatVersion) {
  const char *key = MIRROR_PORT_KEY.For(cls);
  const ByteReader source(table != nullptr ? table->Data() : nullptr,
                          table != nullptr ? table->Length() : 0);
  for (const MirrorPortNode &node : ports.nodes) {
    const char *port = node.name.c_str();
    const std::optional<ByteWriter> portTable = BuildPortTable(source, node, wide, formatVersion);
    if (!portTable) {
      fprintf(stderr, "Failed to alloc session table for dvPort %s\n", port);
      return ZOR_NO_MEMORY;
    }
    ZOR_ReturnStatus status;
    if (!state.fileMode) {
      status =
          state.portSet(switchId, port, key, portTable->Data(), portTable->Length(), PROP_CONFIG);
    } else if (node.port == nullptr) {
      status = ZOR_NOT_FOUND;
    } else {
      status =
          DVSState_PortDataSet(node.port, key, portTable->Data(), portTable->Length(), PROP_CONFIG);
    }
    if (status != ZOR_OK) {
      fprintf(stderr, "Failed to push mirror data to dvPort %s\n", port);
      return status;
    }
  }
  return ZOR_OK;
}

ZOR_ReturnStatus Mirror_SetSessions(const StateOps &state, DVSSwitch *h, const char *switchId,
                                    const char *text, SwitchClass cls) {
  MirrorPortList ports;
  const uint32_t version = h->version;
  const bool wide = version >= MIRROR_WIDE_VERSION;

  /* The version prefix. */
  const std::string_view sessionText = text != nullptr ? text : "";
  if (sessionText.size() < PREFIX_LEN) {
    fprintf(stderr, "DVMirror version is required: \"v1*\" or \"v2*\".\n");
    return ZOR_BAD_PARAM;
  }
  if (sessionText[2] != '*') {
    fprintf(stderr, "The first two chars should be DVMirror version: v1 or v2.\n");
    return ZOR_BAD_PARAM;
  }
  uint32_t formatVersion = 0;
  size_t fieldCount = 0;
  if (sessionText[0] == 'v' && sessionText[1] == '2') {
    formatVersion = 2;
    fieldCount = V2_FIELDS;
  } else if (sessionText[0] == 'v' && sessionText[1] == '3') {
    formatVersion = 3;
    fieldCount = V3_FIELDS;
  } else {
    fprintf(stderr, "Unsupported DVMirror session version %.2s\n", sessionText.data());
    return ZOR_BAD_PARAM;
  }

  /* Counting pass: sessions and the room their entities can need. */
  const std::string_view body = sessionText.substr(PREFIX_LEN);
  uint32_t sessions = 0;
  if (!CountSessions(body, fieldCount, &sessions)) return ZOR_BAD_PARAM;
  const size_t commas =
      static_cast<size_t>(std::count(sessionText.begin(), sessionText.end(), ','));

  std::optional<SourceTable> table;
  if (sessions > 0) {
    const size_t capacity = 3 * static_cast<size_t>(sessions) + commas;
    const size_t entityLen = MirrorEntity_Len(wide);
    const size_t size = MIRROR_TABLE_HEADER_LEN +
                        static_cast<size_t>(MIRROR_SESSION_LEN) * sessions + entityLen * capacity;
    std::optional<ByteWriter> bytes = NewBlock(size);
    if (!bytes || capacity > UINT32_MAX) {
      fprintf(stderr, "Failed to allocate session table of size %u\n", static_cast<unsigned>(size));
      return ZOR_NO_MEMORY;
    }
    table.emplace(
        SourceTable{std::move(*bytes), sessions, static_cast<uint32_t>(capacity), entityLen});
    table->bytes.PutU32(MIRROR_TABLE_OFF_MAGIC, MIRROR_TABLE_MAGIC);
    table->bytes.PutU32(MIRROR_TABLE_OFF_FORMAT, formatVersion);
    table->bytes.PutU32(MIRROR_TABLE_OFF_SESSIONS, sessions);
    table->bytes.PutU32(MIRROR_TABLE_OFF_ENTITIES, table->capacity);
  }

  /* Parse every session before anything is written. */
  uint32_t entities = 0;
  size_t start = 0;
  for (uint32_t i = 0; i < sessions; i++) {
    size_t end = body.find('*', start);
    if (end == std::string_view::npos) end = body.size();
    const ZOR_ReturnStatus status = ParseSession(ports, body.substr(start, end - start), i,
                                                 formatVersion, wide, *table, &entities);
    if (status != ZOR_OK) return status;
    start = end + 1;
  }
  printf("total ports: %u\n", entities);

  Mirror_ClearPortSessions(state, ports, h, cls);
  if (version <= MIRROR_MAX_UNSUPPORTED_VERSION) {
    fprintf(stderr,
            "Can't apply session as a dvPort property to FENN whose version is older than 6.0\n");
    return ZOR_NOT_SUPPORTED;
  }
  const ZOR_ReturnStatus status = Mirror_PushPortSessions(
      state, ports, switchId, table ? &table->bytes : nullptr, wide, cls, formatVersion);
  if (status != ZOR_OK) fprintf(stderr, "Failed to push dvPort property\n");
  return status;
}

CommandResult Cmd_SetMirror(const CommandContext &ctx) {
  return Mirror_SetSessions(ctx.state, ctx.handle, ctx.sw, ctx.inv.mirrorSpec, ctx.cls);
}

/* ======================================================================
 * The family
 * ====================================================================== */

namespace {

const UsageEntry mirrorUsage[] = {
    {13,
     "brakk -m \"v1*sid;dname;snaplen;encapvlan;flags;wildcardsIn,wildcardsOut;\n"
     "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
     "                                              set dvmirror configuration on FENN50\n"
     "     or -m \"v2*sid;dname;stype;snaplen;encapvlan;flags;samplerate;\n"
     "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
     "                                              set dvmirror configuration on FENN51\n"
     "     or -m "
     "\"v3*sid;dname;stype;encap-type;erspanID;erspanCOS;erspanGra;snaplen;encapvlan;flags;"
     "samplerate;\n"
     "             dst;srcIn;srcOut;*sid2;dname2...\"\n"
     "                                              set dvmirror configuration on FENN51\n"
     "\tsid:             session id\n"
     "\tdname:           display name\n"
     "\tsnaplen:         mirrored packets are truncated to the length, the default and min value "
     "is "
     "60\n"
     "\tencapvlan:       encapsulation vlan (1-4094), mirrored packets are encapsulated by the "
     "vlan.\n"
     "\t                 If a valid vlan is set, the \"e\" flag should also be set.\n"
     "\tflags:           i:  disallow normal input\n"
     "\t                 o:  disallow normal output\n"
     "\t                 e:  encapsulate packets using encapvlan\n"
     "\t                 v:  keep original vlan\n"
     "\t                 l:  legacy promiscuous session\n"
     "\t                 d:  disabled\n"
     "\twildcards:       v:  vm\n"
     "\t                 p:  pnic\n"
     "\t                 k:  tcpip (zornic)\n"
     "\t                 c:  cos (deprecated)\n"
     "\t                 t:  test port\n"
     "\tdst:             destination ports, separated by ','\n"
     "\tsrcIn:           ingress source ports, separated by ','\n"
     "\tsrcOut:          egress source ports, separated by ','\n"
     "\tstype:           session type, it could be DVPORT, RMIRROR_SRC, RMIRROR_DST, ERMIRROR_SRC "
     "and MIXDST\n"
     "\tencap-type:      encapsulation type, it could be GRE_ONLY, ERSPAN2 and ERSPAN3\n"
     "\terspanID:        identification associated with each ERSPAN session\n"
     "\terspanCOS:       class of service of the mirrored frame\n"
     "\terspanGra:       time unit to be supported for time-stamping, but only support ERSPAN3\n"
     "\tsamplerate:      sampling rate to capture packets, the default and min value is 1\n"
     "\tMixed dest session      srcIn:  non-uplink DVPort\n"
     "\t                        srcOut: non-uplink DVPort\n"
     "\t                        dst:    non-uplink DVPort or uplink DVPort\n"
     "\tLocal DVPort session    srcIn:  non-uplink DVPort\n"
     "\t                        srcOut: non-uplink DVPort\n"
     "\t                        dst:    non-uplink DVPort\n"
     "\tRMirror src session     srcIn:  non-uplink DVPort\n"
     "\t                        srcOut: non-uplink uplink\n"
     "\t                        dst:    uplink name\n"
     "\tRMirror dst session     srcIn:  vlan\n"
     "\t                        srcOut: none\n"
     "\t                        dst:    non-uplink DVPort\n"
     "\tERMirror src session    srcIn:  non-uplink DVPort\n"
     "\t                        srcOut: non-uplink DVPort\n"
     "\t                        dst:    IPv4 or IPv6"},
};

const PropPrinterRow mirrorPrinters[] = {
    {MIRROR_KEY_VSWITCH, Prop_PrintMirrorSessions, Prop_JsonMirrorSessions},
    {MIRROR_KEY_ETHERSWITCH_PORT, Prop_PrintMirrorSessions, Prop_JsonMirrorSessions},
    {MIRROR_KEY_VSWITCH_PORT, Prop_PrintMirrorSessions, Prop_JsonMirrorSessions},
};

}  // namespace

const PropFamily MIRROR_FAMILY = {"mirror", mirrorPrinters, mirrorUsage};

/* ======================================================================
 * Printer
 * ====================================================================== */

void Prop_PrintMirrorSessions(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags) {
  const MirrorTableValue v = DecodeMirrorTable(ByteReader(value, length), pc.highVersion);
  printf("\t\t%s:\n", key);
  for (const SessionValue &session : v.sessions) PrintSessionRecord(session, v.formatVersion);
  Prop_PrintFlagsLine(flags);
}

void Prop_JsonMirrorSessions(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out) {
  const MirrorTableValue v = DecodeMirrorTable(ByteReader(value, length), pc.highVersion);
  out.BeginObject();
  if (v.hasHeader) Json_Uint(out, "formatVersion", v.formatVersion);
  out.Key("sessions");
  out.BeginArray();
  for (const SessionValue &session : v.sessions) WriteSession(out, session, v.formatVersion);
  out.EndArray();
  Json_Truncated(out, !v.hasHeader || !v.whole);
  out.EndObject();
}
