// SPDX-License-Identifier: Apache-2.0
/*
 * families.h --
 *
 *    The list of property families: every family and printer module that
 *    declares printer rows or usage entries (base/family.h). The printer
 *    table, its lookup and the usage text are built from it.
 */

#ifndef APPS_NET_DVS_LISTING_FAMILIES_H
#define APPS_NET_DVS_LISTING_FAMILIES_H

#include <span>

#include "base/family.h"

/* Every family, in the order in which their rows stand in the printer table. */
std::span<const PropFamily *const> Prop_Families();

#endif  // APPS_NET_DVS_LISTING_FAMILIES_H
