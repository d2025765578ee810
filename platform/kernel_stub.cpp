/*
 * kernel_stub.cpp --
 *
 *    The kernel half of the library on a host without the kernel switch
 *    module: every kernel operation, store access and event registration
 *    answers ZOR_NO_KERNEL. Replaced by the kernel channel client.
 */

#include <stdlib.h>

#include "state/dvslib.h"

ZOR_ReturnStatus DVSZOR_StateGet(void **, uint32_t *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_PersistentStateGet(void **, uint32_t *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_StateInit(const void *, uint32_t) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_StateCleanup(void) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_SwitchAdd(const char *, const char *, int32_t, int32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_SwitchRemove(const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_SwitchAssociate(const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_SwitchDissociate(const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_SwitchSetMaxPorts(const char *, int32_t) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_SwitchSetVersion(const char *, uint32_t) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_PortAdd(const char *, const char *, const void *, uint32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_PortRemove(const char *, const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_PortDataSet(const char *, const char *, const char *, const void *,
                                    uint32_t, int32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_PortDataGet(const char *, const char *, const char *, void **,
                                    uint32_t *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_PortDataClear(const char *, const char *, const char *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_GlobalPropSet(const char *, const char *, const void *, uint32_t,
                                      int32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_GlobalPropGet(const char *, const char *, void **, uint32_t *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_GlobalPropClear(const char *, const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_HostPropSet(const char *, const char *, const void *, uint32_t,
                                    int32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_HostPropGet(const char *, const char *, void **, uint32_t *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_HostPropClear(const char *, const char *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSZOR_UplinkDataSet(const char *, const char *, uint32_t, const void *,
                                      uint32_t, int32_t) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_UplinkDataGet(const char *, const char *, uint32_t, void **,
                                      uint32_t *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSZOR_CmdExec(const char *, const char *, const char *, uint32_t, void **,
                                uint32_t *) {
  return ZOR_NO_KERNEL;
}
void DVSZOR_DataFree(void *data) { free(data); }

ZOR_ReturnStatus DVSFile_Read(const char *, void **, uint32_t *, int32_t *) {
  return ZOR_NO_KERNEL;
}
ZOR_ReturnStatus DVSFile_Write(const char *, const void *, uint32_t) { return ZOR_NO_KERNEL; }

ZOR_ReturnStatus DVSEvent_Register(int *) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSEvent_GetMsg(int, DVSEventMsg **) { return ZOR_NO_KERNEL; }
ZOR_ReturnStatus DVSEvent_PostMsg(DVSEventMsg *) { return ZOR_NO_KERNEL; }

ZOR_ReturnStatus DVSMisc_GetMemorySize(uint64_t *) { return ZOR_NOT_SUPPORTED; }
ZOR_ReturnStatus DVSMisc_GetCpuPackages(uint32_t *) { return ZOR_NOT_SUPPORTED; }
ZOR_ReturnStatus DVSMisc_GetCpuCores(uint32_t *) { return ZOR_NOT_SUPPORTED; }
ZOR_ReturnStatus DVSMisc_GetZornicIpv4Addr(const char *, uint8_t *) { return ZOR_NOT_SUPPORTED; }
