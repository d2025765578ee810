/*
 * healthcheck.h --
 *
 *    The health-check family: the VLAN range bitmap that the VLAN-and-MTU
 *    check takes as its parameter, and the parser that builds it from a
 *    range text while the options are read.
 */

#ifndef APPS_NET_DVS_PROPS_HEALTHCHECK_H
#define APPS_NET_DVS_PROPS_HEALTHCHECK_H

#include <stdint.h>

#include "brakk.h"

/*
 * VlanBitmap: one bit per VLAN ID 0..4095; VLAN v is bit (v % 8) of byte
 * v / 8, bit 0 the least significant. Exactly VLAN_RANGE_PARAM_LEN bytes.
 */
#define VLAN_BITMAP_LEN VLAN_RANGE_PARAM_LEN
static_assert(VLAN_BITMAP_LEN * 8 == 4096, "one bit per VLAN ID 0..4095");

/* Highest VLAN ID a range may name. */
#define VLAN_BITMAP_MAX_VLAN 4094

/*
 * Clears bitmap (VLAN_BITMAP_LEN bytes) and sets the bits of the ranges in
 * text ("low[-high][,low[-high]...]"), printing "set vlan %d - %d.\n" on
 * standard output for each. Returns 0, or -1 after printing the reason on
 * standard error when an item does not parse or a range is out of order
 * or outside 0..4094. Text after a range that is not a ',' is ignored.
 */
int VlanBitmap_Parse(const char *text, uint8_t *bitmap);

#endif  // APPS_NET_DVS_PROPS_HEALTHCHECK_H
