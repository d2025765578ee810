// SPDX-License-Identifier: Apache-2.0
/*
 * families.cpp --
 *
 *    The list of property families. A new family adds its line here.
 */

#include "listing/families.h"

#include "listing/listing.h"
#include "listing/runtime.h"
#include "props/healthcheck.h"
#include "props/ipfix.h"
#include "props/lacp.h"
#include "props/lag.h"
#include "props/mirror.h"
#include "props/overlay.h"
#include "props/portpolicy.h"
#include "props/respool.h"
#include "props/shaping.h"
#include "props/uplink.h"
#include "props/vlan.h"

namespace {

const PropFamily *const propFamilies[] = {
    &RUNTIME_FAMILY,      &LISTING_FAMILY, &RESPOOL_FAMILY,   &UPLINK_FAMILY, &OVERLAY_FAMILY,
    &VLAN_FAMILY,         &SHAPING_FAMILY, &IPFIX_FAMILY,     &MIRROR_FAMILY, &PORT_POLICY_FAMILY,
    &HEALTH_CHECK_FAMILY, &LACP_FAMILY,    &LAG_EXTRA_FAMILY,
};

}  // namespace

std::span<const PropFamily *const> Prop_Families() {
  return propFamilies;
}
