/* SPDX-License-Identifier: MIT */
#include "libgmt_bins.h"

#include <gmt_dev.h>

static void add_lines(struct GMT_CTRL *gmt, struct GMT_GSHHS_POL *lines, int count, GmtBinsSum *sum) {
    if (count <= 0) return;
    for (int i = 0; i < count; i++)
        sum->points += lines[i].n;
    sum->lines += count;
    gmt_free_shore_polygons(gmt, lines, (unsigned)count);
    gmt_M_free(gmt, lines);
}

static void add_coast(struct GMT_CTRL *gmt, struct GMT_SHORE *shore, const double wesn[4], GmtBinsSum *sum) {
    struct GMT_GSHHS_POL *lines = NULL;
    for (int i = 0; i < shore->nb; i++) {
        if (gmt_get_shore_bin(gmt, (unsigned)i, shore) != 0) continue;
        if (shore->ns > 0) {
            const int count = gmt_assemble_shore(gmt, shore, 1, false, wesn[0], wesn[1], &lines);
            add_lines(gmt, lines, count, sum);
        }
        gmt_free_shore(gmt, shore);
    }
}

int gmt_bins_coast(void *session, double wesn[4], GmtBinsSum *sum) {
    struct GMT_CTRL *gmt = ((struct GMTAPI_CTRL *)session)->GMT;
    struct GMT_SHORE_SELECT select = {.high = GSHHS_MAX_LEVEL, .antarctica_mode = GSHHS_ANTARCTICA_GROUND};
    struct GMT_SHORE shore = {0};
    *sum = (GmtBinsSum){0, 0};
    if (gmt_init_shore(gmt, 'f', &shore, wesn, &select) != 0) return -1;
    add_coast(gmt, &shore, wesn, sum);
    gmt_shore_cleanup(gmt, &shore);
    return 0;
}

/* Every level but 0, which is left out of the masks of levels. */
static void add_rivers(struct GMT_CTRL *gmt, struct GMT_BR *rivers, const double wesn[4], GmtBinsSum *sum) {
    unsigned levels[GSHHS_N_RLEVELS - 1];
    for (unsigned i = 0; i < GSHHS_N_RLEVELS - 1; i++)
        levels[i] = i + 1;
    struct GMT_GSHHS_POL *lines = NULL;
    const double edge = wesn[0] + 180;
    for (int i = 0; i < rivers->nb; i++) {
        if (gmt_get_br_bin(gmt, (unsigned)i, rivers, levels, GSHHS_N_RLEVELS - 1) != 0) continue;
        if (rivers->ns > 0) {
            const int count = gmt_assemble_br(gmt, rivers, false, edge, &lines);
            add_lines(gmt, lines, count, sum);
        }
        gmt_free_br(gmt, rivers);
    }
}

int gmt_bins_rivers(void *session, double wesn[4], GmtBinsSum *sum) {
    struct GMT_CTRL *gmt = ((struct GMTAPI_CTRL *)session)->GMT;
    struct GMT_BR rivers = {0};
    *sum = (GmtBinsSum){0, 0};
    if (gmt_init_br(gmt, 'r', 'f', &rivers, wesn) != 0) return -1;
    add_rivers(gmt, &rivers, wesn, sum);
    gmt_br_cleanup(gmt, &rivers);
    return 0;
}
