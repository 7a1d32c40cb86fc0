#include <lindra/lindra.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
    GshhsMap *map = NULL;
    float *lon = NULL, *lat = NULL;
    char type[4];
    int n, capacity = 0, level, inside;

    if (gshhsmap_open(&map) < 0 || gshhsmap_select(map, "c:1", "crude", -15, 40, 34, 72, 0, 0) < 0) return 1;
    while (gshhsmap_nextseg(map, &n, &capacity, &lon, &lat, type, &level, &inside) == 1)
        for (int i = 0; i < n; i++)
            printf("%s%.4f %.4f\n", i == 0 ? ">\n" : "", lon[i], lat[i]);
    lindra_free_gshhsmap(map);
    free(lon);
    free(lat);
    return 0;
}
