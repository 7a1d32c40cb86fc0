# SPDX-License-Identifier: MIT
"""What is to be reached: each work with its ratios to peers and to what the machine can do."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Work:
    name: str  # as the programs call it, family/work
    title: str
    peer: str = ""  # the one that faster is about; empty: the best of all
    faster: float | None = None  # times faster than the peer
    limit: float | None = None  # times the limit, at most
    longest: float | None = None  # ms, at most


PEERS = ("libgmt", "libgmt_coast", "ogr", "shapelib", "netcdf_c", "squish")

FAMILIES = {
    "gshhs": "Coastlines (GSHHS, full resolution)",
    "lines": "Rivers (GMT, full resolution)",
    "shapefile": "Shapefiles",
    "dbase": "dBase tables",
    "netcdf": "netCDF headers",
    "s3tc": "Textures",
    "process": "Whole processes",
}

# A texture is to be written at 70 % of the speed of streaming stores.
STORES = 1 / 0.7

WORKS = (
    Work("gshhs/globe", "globe: first select, every nextseg", "libgmt", 40, 3),
    Work("gshhs/window", "5 x 5 degrees, handle warm: select, every nextseg", "libgmt", 20),
    Work("gshhs/window_select", "5 x 5 degrees, handle warm: select alone", longest=0.2),
    Work("gshhs/inland", "5 x 5 degrees within a continent, handle warm: select, every nextseg"),
    Work("gshhs/inland_select", "5 x 5 degrees within a continent: select alone", longest=0.2),
    Work("gshhs/first_select", "first select on a fresh file", limit=1.5),
    Work("lines/globe", "globe", "libgmt", 20, 3),
    Work("lines/europe", "Europe", "libgmt", 15),
    Work("lines/window", "5 x 5 degrees", "libgmt", 15),
    Work("shapefile/polygons_kept", "polygons, C face, all records kept", "shapelib", 1.2, 1.2),
    Work("shapefile/points_kept", "points, C face, all records kept", "shapelib", 3),
    Work("shapefile/polygons_viewed", "polygons, views", "shapelib", 4, 1.5),
    Work("shapefile/points_viewed", "points, views", "shapelib", 20, 1.5),
    Work("dbase/texts", "every field, C face, one array per record", "shapelib", 1),
    Work("dbase/views", "every field, views: numbers by value, texts in place", "shapelib", 6, 3),
    Work("dbase/values", "every field by value, texts in UTF-8"),
    Work("netcdf/variables_100", "100 variables"),
    Work("netcdf/variables_10000", "10,000 variables", "netcdf_c", 6, 2.5),
    Work("netcdf/attributes_5000", "5,000 attributes", "netcdf_c", 50, 2.5),
    Work("netcdf/small", "a small file, opened and cleared", "netcdf_c", 8),
    Work("netcdf/variables_10000_in_memory", "10,000 variables, file in memory"),
    Work("netcdf/attributes_5000_in_memory", "5,000 attributes, file in memory"),
    Work("netcdf/small_in_memory", "a small file, in memory"),
    Work("s3tc/dxt1", "DXT1, 4096 x 4096", "squish", None, STORES),
    Work("s3tc/dxt5", "DXT5, 4096 x 4096", "squish", None, STORES),
    Work("process/draw", "lindra draw, the coast of Europe at full resolution; gmt coast to PNG", "gmt", 3),
    Work("process/dump_shapefile", "lindra dump of a shapefile of 21 MB; shpdump", "shpdump", 5),
    Work("process/dump_header", "lindra dump of a header of 10,000 variables; ncdump -h", "ncdump", 5),
)

# Rows that were asked for and that nothing measures, and why.
MISSING = (
    ("DXT1 and DXT5 1.8 and 2.5 times as fast as the best decoder of one header file",
     "no Debian package has one; squish is the only peer, and streaming stores are the bound"),
)
