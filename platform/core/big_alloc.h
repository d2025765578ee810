// SPDX-License-Identifier: Apache-2.0
/*
 * big_alloc.h --
 *
 *    Blocks for whole configurations, file contents and serialised states,
 *    placed so that filling them costs few page faults.
 */

#ifndef PLATFORM_CORE_BIG_ALLOC_H
#define PLATFORM_CORE_BIG_ALLOC_H

#include <stddef.h>

namespace zor {

/*
 * Allocates a block of n bytes for a whole configuration, a file's bytes or
 * a serialised state; the caller releases it with free(). Blocks of a
 * megabyte or more are whole 2 MiB pages, aligned and advised to use huge
 * pages, because on the virtual machines this runs on a small-page fault
 * costs some 12 us: filling a 7 MB block in small pages takes longer than
 * a whole edit does with huge pages (docs/performance.md has the figures).
 * Returns null when memory runs out.
 */
void *BigAlloc(size_t n);

}  // namespace zor

#endif  // PLATFORM_CORE_BIG_ALLOC_H
