// SPDX-License-Identifier: Apache-2.0
/*
 * mirror.h --
 *
 *    The mirror family: port mirroring sessions. -m replaces the whole
 *    mirroring configuration of a switch: every dvPort named in a session
 *    receives a session table that holds exactly the sessions it takes
 *    part in, and every other port loses its table. Keys, then the packed
 *    value layout, then the value-name tables, the parser, the handler and
 *    the printer.
 */

#ifndef APPS_NET_DVS_PROPS_MIRROR_H
#define APPS_NET_DVS_PROPS_MIRROR_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "base/command.h"
#include "base/family.h"
#include "base/json.h"
#include "props/bytes.h"

/* The per-dvPort session table; the class of the switch chooses one. */
#define MIRROR_KEY_ETHERSWITCH_PORT "com.corvane.etherswitch.port.mirrorSessions"
#define MIRROR_KEY_VSWITCH_PORT "com.corvane.vswitch.port.mirrorSessions"
/* A switch-wide session table on the global list; listed, never written here. */
#define MIRROR_KEY_VSWITCH "com.corvane.vswitch.mirrorSessions"

/* The per-dvPort session table's key, by the class of the switch. */
inline constexpr ClassKey MIRROR_PORT_KEY = {MIRROR_KEY_ETHERSWITCH_PORT, MIRROR_KEY_VSWITCH_PORT};

/* The family's printer rows and usage entry (-m). */
extern const PropFamily MIRROR_FAMILY;

/*
 * Mirror session table, packed, little-endian: a 20-byte header, S session
 * records of 232 bytes, then E entity records of 36 bytes (switches below
 * version 100) or 52 bytes (version 100 and above).
 *
 * Header
 *   offset 0   u32       magic MIRROR_TABLE_MAGIC
 *   offset 4   u32       format version: 2 or 3, the syntax that built it
 *   offset 8   u32       S, session records
 *   offset 12  u32       E, entity records
 *   offset 16  u32       reserved, 0
 *
 * Session record
 *   offset 0   char[32]  sid, NUL-terminated
 *   offset 32  char[81]  dname, NUL-terminated
 *   offset 113 3 bytes   padding, 0
 *   offset 116 u32       session type (MIRROR_SESSION_*)
 *   offset 120 u32       snapLen; 0xffffffff is the full frame
 *   offset 124 u32       flags (MIRROR_FLAG_*)
 *   offset 128 u16       encapVlan
 *   offset 130 6 bytes   reserved, 0
 *   offset 136 u32       samplingRate
 *   offset 140 u32       encapType (MIRROR_ENCAP_*; 0 in format version 2)
 *   offset 144 u16       erspanID
 *   offset 146 u8        erspanCOS
 *   offset 147 u8        erspanGra
 *   offset 148 68 bytes  reserved, 0
 *   offset 216 u32       dst: destination entities
 *   offset 220 u32       srcIn: ingress source entities
 *   offset 224 u32       srcOut: egress source entities
 *   offset 228 u32       startIdx: the session's first entity in the entity array
 *
 * A session's entities follow one another from startIdx: its dst, then
 * its srcIn, then its srcOut entities.
 *
 * Entity record (bytes not listed are 0)
 *   offset 0   u32       kind (MIRROR_ENTITY_*)
 *   offset 4   char[16] or char[48]  DVPORT: dvPort name (16 bytes in 36-byte
 *                        records, 48 in 52-byte records), NUL-padded, with no
 *                        terminator when the name fills the field
 *   offset 4   char[32]  UPLINK: uplink name, NUL-padded the same way
 *   offset 4   u16       VLAN: VLAN ID
 *   offset 4   u8        IP: address family (MIRROR_IP_FAMILY_*)
 *   offset 8   4 or 16 bytes  IP: the address in network byte order
 */
#define MIRROR_TABLE_MAGIC 0xFACEBEEFu
#define MIRROR_TABLE_OFF_MAGIC 0
#define MIRROR_TABLE_OFF_FORMAT 4
#define MIRROR_TABLE_OFF_SESSIONS 8
#define MIRROR_TABLE_OFF_ENTITIES 12
#define MIRROR_TABLE_OFF_RESERVED 16
#define MIRROR_TABLE_HEADER_LEN 20

#define MIRROR_SESSION_OFF_SID 0
#define MIRROR_SESSION_SID_LEN 32
#define MIRROR_SESSION_OFF_DNAME 32
#define MIRROR_SESSION_DNAME_LEN 81
#define MIRROR_SESSION_OFF_TYPE 116
#define MIRROR_SESSION_OFF_SNAPLEN 120
#define MIRROR_SESSION_OFF_FLAGS 124
#define MIRROR_SESSION_OFF_ENCAP_VLAN 128
#define MIRROR_SESSION_OFF_SAMPLING_RATE 136
#define MIRROR_SESSION_OFF_ENCAP_TYPE 140
#define MIRROR_SESSION_OFF_ERSPAN_ID 144
#define MIRROR_SESSION_OFF_ERSPAN_COS 146
#define MIRROR_SESSION_OFF_ERSPAN_GRA 147
#define MIRROR_SESSION_OFF_DST 216
#define MIRROR_SESSION_OFF_SRC_IN 220
#define MIRROR_SESSION_OFF_SRC_OUT 224
#define MIRROR_SESSION_OFF_START_IDX 228
#define MIRROR_SESSION_LEN 232

#define MIRROR_ENTITY_OFF_KIND 0
#define MIRROR_ENTITY_OFF_NAME 4
#define MIRROR_ENTITY_OFF_VLAN 4
#define MIRROR_ENTITY_OFF_FAMILY 4
#define MIRROR_ENTITY_OFF_ADDR 8
#define MIRROR_ENTITY_DVPORT_NAME_LEN 16
#define MIRROR_ENTITY_WIDE_DVPORT_NAME_LEN 48
#define MIRROR_ENTITY_UPLINK_NAME_LEN 32
#define MIRROR_ENTITY_LEN 36
#define MIRROR_ENTITY_WIDE_LEN 52

/* Switches from this version number on take the wide entity records. */
#define MIRROR_WIDE_VERSION 100
/* Switches up to this version number cannot take per-dvPort session tables. */
#define MIRROR_MAX_UNSUPPORTED_VERSION 3

/* Longest sid and dname, without their NUL. */
#define MIRROR_SID_MAX 31
#define MIRROR_DNAME_MAX 80

enum MirrorSessionType : uint32_t {
  MIRROR_SESSION_MIXDST = 0,
  MIRROR_SESSION_DVPORT = 1,
  MIRROR_SESSION_RMIRROR_SRC = 2,
  MIRROR_SESSION_RMIRROR_DST = 3,
  MIRROR_SESSION_ERMIRROR_SRC = 4,
};

enum MirrorEncapType : uint32_t {
  MIRROR_ENCAP_GRE_ONLY = 0,
  MIRROR_ENCAP_ERSPAN2 = 1,
  MIRROR_ENCAP_ERSPAN3 = 2,
};

#define MIRROR_FLAG_DST_NO_OUTPUT 0x01
#define MIRROR_FLAG_DST_NO_INPUT 0x02
#define MIRROR_FLAG_DST_ORIG_VLAN 0x04
#define MIRROR_FLAG_DST_ENCAP 0x08
#define MIRROR_FLAG_LEGACY 0x10
#define MIRROR_FLAG_DISABLED 0x20

enum MirrorEntityKind : uint32_t {
  MIRROR_ENTITY_DVPORT = 0,
  MIRROR_ENTITY_UPLINK = 1,
  MIRROR_ENTITY_VLAN = 2,
  MIRROR_ENTITY_IP = 3,
};

#define MIRROR_IP_FAMILY_V4 0
#define MIRROR_IP_FAMILY_V6 1

/* Length of one entity record: 52 bytes for wide records, else 36. */
size_t MirrorEntity_Len(bool wide);

/*
 * The dvPorts that take part in the sessions of one -m, in the order
 * in which each was first named, each with the indices (from 0, in text
 * order) of its sessions in the order it was first named in them. A
 * (dvPort, session) pair is held once. Names are whole: a name longer
 * than the entity name field is refused before it gets here.
 */
struct MirrorPortNode {
  std::string name;
  std::vector<uint32_t> sessions;
  DVSPort *port = nullptr; /* its handle in the configuration state, once the clear found it */
};
struct MirrorPortList {
  std::vector<MirrorPortNode> nodes;
  std::unordered_map<std::string, size_t> index; /* name to position in nodes */
};

/*
 * Records in ports that dvPort portName takes part in session
 * sessionIndex; wide selects the name width (48 bytes, else 16). Returns 0,
 * ZOR_BAD_PARAM when the name is longer than the width, or ZOR_NO_MEMORY
 * (after printing why) when the list cannot grow.
 */
ZOR_ReturnStatus Mirror_AddPortSession(MirrorPortList &ports, const char *portName,
                                       uint32_t sessionIndex, bool wide);

/*
 * Fill entity, a zeroed record of MirrorEntity_Len(wide) bytes, from one
 * list item of a session of type sessionType (the session's index is
 * sessionIndex); dvPorts named are recorded in ports.
 * Mirror_ParseDstEntity reads dst items: a dvPort, an uplink name
 * (RMIRROR_SRC) or an IP address (ERMIRROR_SRC). Mirror_ParseSrcEntity
 * reads srcIn and srcOut items: a VLAN (RMIRROR_DST) or a dvPort. Both
 * return 0 or the failure status after printing the item's own message.
 */
ZOR_ReturnStatus Mirror_ParseDstEntity(MirrorPortList &ports, uint32_t sessionType,
                                       const char *item, uint32_t sessionIndex, ByteWriter &entity,
                                       bool wide);
ZOR_ReturnStatus Mirror_ParseSrcEntity(MirrorPortList &ports, uint32_t sessionType,
                                       const char *item, uint32_t sessionIndex, ByteWriter &entity,
                                       bool wide);

/*
 * -m TEXT on switch switchId of class cls, whose handle h is in the
 * loaded configuration state, editing state: parses TEXT whole (printing
 * each session on standard output), then removes the session table from
 * every port of the switch that takes part in no session, then refuses
 * switches of version 3 and below, then writes each participating dvPort
 * its own table. Returns 0 or the status of the first failure, after
 * printing its message; nothing is written when TEXT does not parse.
 */
ZOR_ReturnStatus Mirror_SetSessions(const StateOps &state, DVSSwitch *h, const char *switchId,
                                    const char *text, SwitchClass cls);

/*
 * Removes the session table from every port of switch h (in the loaded
 * configuration state) that is not in ports: through the port's handle in
 * file mode, through the kernel otherwise. Notes the handle of each port
 * of the list in its node.
 */
void Mirror_ClearPortSessions(const StateOps &state, MirrorPortList &ports, DVSSwitch *h,
                              SwitchClass cls);

/*
 * Writes each dvPort of ports, in list order, the table of its sessions
 * cut from table (the source table that the parser built; null when there
 * are no sessions): in file mode through the handle that
 * Mirror_ClearPortSessions noted (a port without one is not on the switch,
 * ZOR_NOT_FOUND), in kernel mode by name. Stops at the first failed write,
 * printing "Failed to push mirror data to dvPort %s"; ports written before
 * keep their tables. Returns 0 or that status.
 */
ZOR_ReturnStatus Mirror_PushPortSessions(const StateOps &state, const MirrorPortList &ports,
                                         const char *switchId, const ByteWriter *table, bool wide,
                                         SwitchClass cls, uint32_t formatVersion);

/* The -m command: Mirror_SetSessions with the switch the flow found and the invocation's text. */
CommandResult Cmd_SetMirror(const CommandContext &ctx);

/*
 * Printer of the session tables: every session with its fields and its
 * three entity lists, eight entities to a line (seven on the first), then
 * the flags. Entity records are 52 bytes for a switch of the newer layout
 * (pc.highVersion), else 36. Reads only what lies inside the value: a
 * session or entity that does not fit ends the value's lines.
 */
void Prop_PrintMirrorSessions(const PrintContext &pc, const char *key, const void *value,
                              uint32_t length, int32_t flags);
/*
 * Its JSON writer, from the same decode: {"formatVersion", "sessions":
 * [{"sid", "dname", "flags", "snapLen", "encapVlan", "type",
 * "samplingRate", and for ERMIRROR_SRC sessions of format 3 "encapType",
 * "erspanID", "erspanCOS", "erspanGra", then "dstEntities",
 * "srcInEntities", "srcOutEntities": [{"kind", and "name", "address" or
 * "vlan"}]}]}.
 */
void Prop_JsonMirrorSessions(const PrintContext &pc, const void *value, uint32_t length,
                             JsonOut &out);

#endif  // APPS_NET_DVS_PROPS_MIRROR_H
