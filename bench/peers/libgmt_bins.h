/* SPDX-License-Identifier: MIT */
/*
 * libgmt without its module: the functions that the headers for writers of modules declare (gmt_dev.h), which
 * read the coast, borders and rivers bin by bin and hand out the lines of each. Faster than the module coast,
 * which keeps or writes them besides.
 */
#ifndef BENCH_PEERS_LIBGMT_BINS_H
#define BENCH_PEERS_LIBGMT_BINS_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct GmtBinsSum {
    double lines, points;
} GmtBinsSum;

/* session: from GMT_Create_Session; wesn: west, east, south, north, degrees. Full resolution. Returns 0, or
 * -1 when the files cannot be read. */
int gmt_bins_coast(void *session, double wesn[4], GmtBinsSum *sum);
int gmt_bins_rivers(void *session, double wesn[4], GmtBinsSum *sum);

#ifdef __cplusplus
}
#endif

#endif
