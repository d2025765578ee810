// SPDX-License-Identifier: Apache-2.0
/*
 * dvslib.h --
 *
 *    The operations of the host's switch-state library that brakk uses.
 *    This header is the only way the tool reaches switch state: the
 *    configuration state (DVSState), the kernel's switch state (DVSZOR),
 *    property data trees (DVSData), serialised configuration storage
 *    (DVSFile), switch events (DVSEvent), host facts (DVSMisc), accessors
 *    on switch and port handles (DVS) and a few utility routines.
 *
 *    Every operation that can fail returns a ZOR_ReturnStatus, 0 on success.
 *    Blocks returned by the DVSZOR family are released with DVSZOR_DataFree;
 *    serialised blocks from DVSState_ConfigSerialize, DVSData_Serialize and
 *    the DVSFile readers are released with free() (for the readers: the
 *    data pointer minus the reported offset).
 */

#ifndef APPS_NET_DVS_STATE_INCLUDE_DVSLIB_H
#define APPS_NET_DVS_STATE_INCLUDE_DVSLIB_H

#include <stddef.h>
#include <stdint.h>

extern "C" {

typedef uint32_t ZOR_ReturnStatus;

/* Statuses the tool produces or tests. */
#define ZOR_OK 0u
#define ZOR_FAILURE 0xbad0001u
#define ZOR_NOT_FOUND 0xbad0003u
#define ZOR_BAD_PARAM 0xbad0007u
#define ZOR_NO_MEMORY 0xbad0014u
#define ZOR_NO_RESOURCES 0xbad0017u
#define ZOR_NOT_SUPPORTED 0xbad0020u
#define ZOR_INVALID_DATA 0xbad00d7u

/* Statuses only the library produces; the tool prints them as text. */
#define ZOR_ALREADY_EXISTS 0xbad0004u
#define ZOR_NO_KERNEL 0xbad0101u         /* no kernel switch module reachable */
#define ZOR_TIMEOUT 0xbad0102u           /* the kernel channel stopped answering */
#define ZOR_CHANNEL_ERROR 0xbad0103u     /* the kernel channel broke mid-request */
#define ZOR_NOT_A_CONFIG 0xbad0104u      /* foreign data: wrong magic */
#define ZOR_BAD_VERSION 0xbad0105u       /* serialised with an unknown format version */
#define ZOR_TRUNCATED 0xbad0106u         /* serialised data ends early */
#define ZOR_BAD_CHECKSUM 0xbad0107u      /* serialised data does not match its checksum */
#define ZOR_IO_ERROR 0xbad0108u          /* a read, write, flush or rename failed */
#define ZOR_TOO_LARGE 0xbad0109u         /* a name, value or block exceeds its limit */
#define ZOR_PERMISSION_DENIED 0xbad010au /* the file or channel refused access */
#define ZOR_NOT_REGULAR_FILE 0xbad010bu  /* a configuration path names a FIFO, directory, device */
#define ZOR_LOCKED 0xbad010cu            /* another process kept the configuration locked */

/* Property flags (PropFlags). */
#define PROP_VOLATILE 0x04
#define PROP_POLICY 0x08
#define PROP_CONFIG 0x10
#define PROP_RUNTIME 0x20
#define PROP_NO_REPLICATE 0x40
#define PROP_NO_SET_LOCAL_CALLBACK 0x80
#define PROP_NO_SYNC ((int32_t)0x80000000u)

/* Port states, as held in a port record. */
#define DVS_PORT_STATE_INVALID 0u
#define DVS_PORT_STATE_NORMAL 1u
#define DVS_PORT_STATE_SHADOW 2u
#define DVS_PORT_STATE_ZOMBIE 3u
#define DVS_PORT_STATE_LOCAL_CACHE 4u

/* Width of a port name field, NUL included. */
#define DVS_PORT_NAME_LEN 81
/* Length of a switch ID text, NUL included, and of the readable ID buffer. */
#define DVS_SWITCH_ID_TEXT_LEN 48
#define DVS_SWITCH_ID_BUF_LEN 64
/* Width of a switch's class name field, NUL included. */
#define DVS_CLASS_NAME_LEN 128

/*
 * Pseudo port names: as a property target they select the switch's global
 * or host property list instead of a port (whole-text comparison).
 */
#define DVS_TARGET_GLOBAL_LIST "globalPropList"
#define DVS_TARGET_HOST_LIST "hostPropList"

/* Runtime items of an uplink port: the item type of DVSZOR_UplinkDataSet/Get. */
enum DVSUplinkItem : uint32_t {
  UPLINK_DATA_RESET = 2,      /* set: no data */
  UPLINK_DATA_CAPABILITY = 4, /* set and get: u64 capability word */
  UPLINK_DATA_STATES = 5,     /* get: a block the tool does not interpret */
  UPLINK_DATA_VLAN = 6,       /* set: u32 VLAN ID */
  UPLINK_DATA_STATISTICS = 7, /* get: 26 u32 counters */
};
/* Number of u32 counters in the statistics item. */
#define UPLINK_STATISTICS_COUNT 26

typedef struct DVSData DVSData;         /* property data tree (opaque) */
typedef struct DVSDataNode DVSDataNode; /* one property of a tree (opaque) */

typedef void *(*DVSData_AllocFn)(size_t size);
typedef void (*DVSData_FreeFn)(void *ptr);

/*
 * Public head of the library's switch record. Handles are owned by the
 * configuration state and stay valid until the next DVSState_ConfigReset.
 */
typedef struct DVSSwitch {
  uint32_t version; /* switch version number; above 99 is the newer layout */
} DVSSwitch;

/*
 * Public head of the library's port record. Its storage begins with the
 * NUL-terminated port name.
 */
typedef struct DVSPort {
  char name[DVS_PORT_NAME_LEN];
  uint32_t state; /* DVS_PORT_STATE_* */
  DVSData *data;  /* the port's properties */
  DVSSwitch *dvs; /* the owning switch */
} DVSPort;

/*
 * An event message as DVSEvent_GetMsg hands it out. The type at offset 0
 * and the dynamic event identifier at offset 92 are read directly; the
 * rest through the accessors.
 */
#define DVS_EVENT_ID_LEN 128
typedef struct DVSEventMsg {
  uint32_t type;                  /* offset 0 */
  uint32_t dataLength;            /* offset 4 */
  uint8_t dvsUuid[16];            /* offset 8 */
  uint8_t reserved[68];           /* offset 24 */
  char eventId[DVS_EVENT_ID_LEN]; /* offset 92: NUL-terminated (types 11, 12) */
  char portId[DVS_PORT_NAME_LEN]; /* offset 220: NUL-terminated port name */
  uint8_t pad[3];
  uint8_t *data; /* dataLength bytes, or null */
} DVSEventMsg;
static_assert(offsetof(DVSEventMsg, type) == 0, "event type at offset 0");
static_assert(offsetof(DVSEventMsg, eventId) == 92, "dynamic event identifier at offset 92");

typedef bool (*DVSState_SwitchVisitor)(DVSSwitch *h, void *context);
typedef int (*DVSState_PortVisitor)(DVSPort *p, void *context);
typedef int (*DVSState_PropVisitor)(DVSDataNode *node, void *context);

/* Configuration state. */
ZOR_ReturnStatus DVSState_ConfigDeserialize(const void *data, uint32_t len);
ZOR_ReturnStatus DVSState_ConfigSerialize(void **data, uint32_t *len);
ZOR_ReturnStatus DVSState_ConfigReset(void);
ZOR_ReturnStatus DVSState_SwitchAdd(const char *sw, const char *className, int32_t maxPorts,
                                    int32_t version);
ZOR_ReturnStatus DVSState_SwitchRemove(const char *sw);
DVSSwitch *DVSState_SwitchFind(const char *sw);
DVSSwitch *DVSState_SwitchFindByAlias(const char *alias);
void DVSState_SwitchForEach(DVSState_SwitchVisitor visitor, void *context);
ZOR_ReturnStatus DVSState_SwitchSetVersion(const char *sw, uint32_t version);
ZOR_ReturnStatus DVSState_PortAdd(const char *sw, const char *port, DVSData *tree);
ZOR_ReturnStatus DVSState_PortRemove(const char *sw, const char *port);
DVSPort *DVSState_PortFind(const char *sw, const char *port);
void DVSState_PortForEach(DVSSwitch *h, DVSState_PortVisitor visitor, void *context);
ZOR_ReturnStatus DVSState_PortDataSet(DVSPort *p, const char *key, const void *data, uint32_t len,
                                      int32_t flags);
ZOR_ReturnStatus DVSState_PortDataClear(DVSPort *p, const char *key);
void DVSState_PortDataForEach(DVSPort *p, DVSState_PropVisitor visitor, void *context);
ZOR_ReturnStatus DVSState_GlobalPropSet(const char *sw, const char *key, const void *data,
                                        uint32_t len, int32_t flags);
ZOR_ReturnStatus DVSState_GlobalPropClear(const char *sw, const char *key);
void DVSState_GlobalPropForEach(DVSSwitch *h, DVSState_PropVisitor visitor, void *context);
ZOR_ReturnStatus DVSState_HostPropSet(const char *sw, const char *key, const void *data,
                                      uint32_t len, int32_t flags);
ZOR_ReturnStatus DVSState_HostPropClear(const char *sw, const char *key);
ZOR_ReturnStatus DVSState_HostPropRead(DVSSwitch *h, const char *key, const void **data,
                                       uint32_t *len);
void DVSState_HostPropForEach(DVSSwitch *h, DVSState_PropVisitor visitor, void *context);

/* Kernel switch state, addressed by switch ID text and port name. */
ZOR_ReturnStatus DVSZOR_StateGet(void **data, uint32_t *len);
ZOR_ReturnStatus DVSZOR_PersistentStateGet(void **data, uint32_t *len);
ZOR_ReturnStatus DVSZOR_StateInit(const void *data, uint32_t len);
ZOR_ReturnStatus DVSZOR_StateCleanup(void);
ZOR_ReturnStatus DVSZOR_SwitchAdd(const char *sw, const char *className, int32_t maxPorts,
                                  int32_t version);
ZOR_ReturnStatus DVSZOR_SwitchRemove(const char *sw);
ZOR_ReturnStatus DVSZOR_SwitchAssociate(const char *sw);
ZOR_ReturnStatus DVSZOR_SwitchDissociate(const char *sw);
ZOR_ReturnStatus DVSZOR_SwitchSetMaxPorts(const char *sw, int32_t maxPorts);
ZOR_ReturnStatus DVSZOR_SwitchSetVersion(const char *sw, uint32_t version);
ZOR_ReturnStatus DVSZOR_PortAdd(const char *sw, const char *port, const void *tree, uint32_t len);
ZOR_ReturnStatus DVSZOR_PortRemove(const char *sw, const char *port);
ZOR_ReturnStatus DVSZOR_PortDataSet(const char *sw, const char *port, const char *key,
                                    const void *data, uint32_t len, int32_t flags);
ZOR_ReturnStatus DVSZOR_PortDataGet(const char *sw, const char *port, const char *key, void **data,
                                    uint32_t *len);
ZOR_ReturnStatus DVSZOR_PortDataClear(const char *sw, const char *port, const char *key);
ZOR_ReturnStatus DVSZOR_GlobalPropSet(const char *sw, const char *key, const void *data,
                                      uint32_t len, int32_t flags);
ZOR_ReturnStatus DVSZOR_GlobalPropGet(const char *sw, const char *key, void **data, uint32_t *len);
ZOR_ReturnStatus DVSZOR_GlobalPropClear(const char *sw, const char *key);
ZOR_ReturnStatus DVSZOR_HostPropSet(const char *sw, const char *key, const void *data, uint32_t len,
                                    int32_t flags);
ZOR_ReturnStatus DVSZOR_HostPropGet(const char *sw, const char *key, void **data, uint32_t *len);
ZOR_ReturnStatus DVSZOR_HostPropClear(const char *sw, const char *key);
ZOR_ReturnStatus DVSZOR_UplinkDataSet(const char *sw, const char *port, uint32_t type,
                                      const void *data, uint32_t len, int32_t flags);
ZOR_ReturnStatus DVSZOR_UplinkDataGet(const char *sw, const char *port, uint32_t type, void **data,
                                      uint32_t *len);
ZOR_ReturnStatus DVSZOR_CmdExec(const char *sw, const char *command, const char *arg,
                                uint32_t argLen, void **result, uint32_t *resultLen);
void DVSZOR_DataFree(void *data);

/* Property data trees. */
ZOR_ReturnStatus DVSData_Alloc(DVSData **tree, DVSData_AllocFn alloc, DVSData_FreeFn release);
ZOR_ReturnStatus DVSData_Update(DVSData *tree, const char *name, const void *data, uint32_t len,
                                int32_t flags);
ZOR_ReturnStatus DVSData_Lookup(DVSData *tree, const char *name, DVSDataNode **node);
uint32_t DVSData_Data(DVSDataNode *node, void **data);
const char *DVSData_Name(DVSDataNode *node);
int32_t DVSData_PropType(DVSDataNode *node);
ZOR_ReturnStatus DVSData_Serialize(DVSData *tree, void **data, uint32_t *len, uint32_t format);
ZOR_ReturnStatus DVSData_Deserialize(DVSData **tree, const void *data, uint32_t len,
                                     DVSData_AllocFn alloc, DVSData_FreeFn release);
void DVSData_Free(DVSData *tree);

/* Serialised configuration storage. */
ZOR_ReturnStatus DVSFile_Read(const char *path, void **data, uint32_t *len, int32_t *offset);
ZOR_ReturnStatus DVSFile_ReadClassical(const char *path, void **data, uint32_t *len,
                                       int32_t *offset);
ZOR_ReturnStatus DVSFile_Write(const char *path, const void *data, uint32_t len);
ZOR_ReturnStatus DVSFile_WriteClassical(const char *path, const void *data, uint32_t len,
                                        uint32_t mode);

/* Switch events. */
ZOR_ReturnStatus DVSEvent_Register(int *fd);
ZOR_ReturnStatus DVSEvent_GetMsg(int fd, DVSEventMsg **msg);
const uint8_t *DVSEvent_DvsUUID(const DVSEventMsg *msg);
const char *DVSEvent_PortId(const DVSEventMsg *msg);
/* Sets *data to the event's data block and returns its length in bytes. */
uint32_t DVSEvent_Data(const DVSEventMsg *msg, const void **data);
DVSEventMsg *DVSEvent_Alloc(uint32_t type, const uint8_t dvsUuid[16], const char *portId,
                            const void *data, uint32_t len);
ZOR_ReturnStatus DVSEvent_PostMsg(DVSEventMsg *msg);
void DVSEvent_Free(DVSEventMsg *msg);

/* Host facts. */
ZOR_ReturnStatus DVSMisc_GetMemorySize(uint64_t *kilobytes);
ZOR_ReturnStatus DVSMisc_GetCpuPackages(uint32_t *count);
ZOR_ReturnStatus DVSMisc_GetCpuCores(uint32_t *count);
ZOR_ReturnStatus DVSMisc_GetZornicIpv4Addr(const char *name, uint8_t addr[4]);

/* Accessors on handles. */
const char *DVS_SwitchId(DVSSwitch *h);
const char *DVS_ClassName(DVSSwitch *h);
uint32_t DVS_GetMaxPorts(DVSSwitch *h);
const char *DVS_PortId(DVSPort *p);

/* Utilities. */
const char *ZOR_ReturnStatusToString(ZOR_ReturnStatus status);
ZOR_ReturnStatus FeatureState_Init(void);
/* Copy or append src into dst of dstSize bytes, truncating; dst stays NUL-terminated. */
void Str_Strcpy(char *dst, const char *src, size_t dstSize);
void Str_Strcat(char *dst, const char *src, size_t dstSize);
/* Copy a text into a fixed field of size bytes; false when it does not fit with its NUL
   or is not UTF-8. */
bool Unicode_CopyBytes(void *dst, const char *src, size_t size, int encoding, int flags);

}  // extern "C"

#endif  // APPS_NET_DVS_STATE_INCLUDE_DVSLIB_H
