/* SPDX-License-Identifier: MIT */
/* The public header read by a C99 compiler, and a few calls through it. */

#include <lindra/lindra.h>

#include <stdio.h>
#include <string.h>

int main(void) {
    char expected[64];
    GshhsMap *map = NULL;
    Dbptr nowhere = {0, LINDRA_DB_ALL, LINDRA_DB_ALL, LINDRA_DB_ALL};
    int status;

    snprintf(expected, sizeof expected, "%d.%d.%d", LINDRA_VERSION_MAJOR, LINDRA_VERSION_MINOR,
             LINDRA_VERSION_PATCH);
    if (strcmp(lindra_version(), expected) != 0) return 1;
    if (dbgetv(nowhere, NULL, (char *)0) != -1) return 1;
    if (dblookup(nowhere, NULL, "filename", "fileid", "17").record != LINDRA_DB_NO_RECORD) return 1;
    status = gshhsmap_open(&map);
    lindra_free_gshhsmap(map);
    return status == 0 && map ? 0 : 1;
}
