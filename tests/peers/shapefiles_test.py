#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the tolerant shapefile reader with shpdump, dbfdump and GDAL on the shapefiles of Debian packages.

usage: shapefiles_test.py LISTING DIRECTORY

LISTING is the program shapefile_listing. The packages in DIRECTORY, which ./dev peers fetches, are unpacked beside
themselves; nothing of them is installed. $LINDRA_SHAPEFILES names a directory that has shapefiles already.

  shpdump   every coordinate, height, measure and first point of a part, exactly
  dbfdump   every field, byte for byte but for blanks around it, and which rows are deleted
  GDAL      the GeoJSON: rings grouped alike, whichever way they run; attributes by name and value

The reader of the C face is run on the same files; it must give the same bits on all but those of EXPECTED.
"""
import json
import os
import re
import subprocess
import sys
from pathlib import Path

FEWEST = 60  # files, so that a comparison of nothing is no success

# What the reader of the C face does where it differs, and why.
EXPECTED = {
    # Lines with heights and no measures, which the tables end with: the next record is read where the tables end.
    "storms_xyz.shp": "fails",
    "storms_xyz_feature.shp": "fails",
    # Lines with measures in records long enough for heights as well: likewise.
    "storms_xyzm.shp": "fails",
    "storms_xyzm_feature.shp": "fails",
}
REPAIRED = {"multipatch.shp"}  # its header tells a length that leaves out the last record
NO_MEASURE = -1e38
POINTS = (1, 11, 21)
WITH_HEIGHTS = (11, 13, 15, 18, 31)


def run(*command, encoding="utf-8", accepted=(0,)):
    done = subprocess.run([str(part) for part in command], capture_output=True, check=False)
    if done.returncode not in accepted:
        raise RuntimeError(f"{command[0]} ended with {done.returncode}: {done.stderr.decode(errors='replace')}")
    return done.stdout.decode(encoding)


def unpacked(directory):
    """The directory with the files of all packages."""
    if os.environ.get("LINDRA_SHAPEFILES"):
        return Path(os.environ["LINDRA_SHAPEFILES"])
    for package in directory.glob("*.deb"):
        if not package.with_suffix("").is_dir():
            subprocess.run(["dpkg-deb", "-x", package, package.with_suffix("")], check=True)
    return directory


# --- shpdump ---

def dumped_shapes(path):
    """For each shape: its points, as tuples of two to four numbers, and the first points of its parts."""
    shapes = []
    for line in run("shpdump", "-precision", "17", path).splitlines():
        if line.startswith("Shape:"):
            shapes.append(([], []))
        match = re.match(r"^( {3}[ +]) \((.*)\)", line)
        if not match or not shapes:
            continue
        points, parts = shapes[-1]
        if "+" in match.group(1) or not points:
            parts.append(len(points))
        points.append(tuple(float(number) for number in match.group(2).split(",")))
    return shapes


def expected_point(listed, kind, count):
    """A point as shpdump shows it: heights are 0 where there are none, measures are left out then."""
    x, y, z, m = listed
    height = z if kind in WITH_HEIGHTS else 0
    return (x, y, 0 if height is None else height, m)[:count]


def same_point(listed, kind, dumped):
    expected = expected_point(listed, kind, len(dumped))
    return all(a == b or (a is None and b < NO_MEASURE) for a, b in zip(expected, dumped))


def compare_shapes(path, records):
    shapes = dumped_shapes(path)
    if len(shapes) != len(records):
        yield f"shpdump shows {len(shapes)} shapes, not {len(records)}"
    for number, ((points, parts), record) in enumerate(zip(shapes, records)):
        if len(points) != len(record["points"]):
            yield f"shape {number}: shpdump shows {len(points)} points, not {len(record['points'])}"
        elif not all(same_point(a, record["type"], b) for a, b in zip(record["points"], points)):
            yield f"shape {number}: other coordinates than shpdump's"
        elif record["parts"] != parts:
            yield f"shape {number}: parts {record['parts']}, not {parts}"


# --- dbfdump ---

def dumped_rows(path):
    """For each row: whether it is deleted, and its fields without the blanks around them."""
    rows = []
    # It ends with 3 where a table has no fields.
    for line in run("dbfdump", "-m", "-r", path, encoding="latin-1", accepted=(0, 3)).split("\n"):
        if re.match(r"^Record: \d+", line):
            rows.append([False, []])
        elif line.startswith("(DELETED)"):
            rows[-1][0] = True
        elif rows and ": " in line:
            rows[-1][1].append(line.split(": ", 1)[1].strip())
    return rows


def compare_rows(path, records):
    rows = dumped_rows(path)
    if len(rows) != len(records) and any(record["raw"] for record in records):
        yield f"dbfdump shows {len(rows)} rows, not {len(records)}"
    for number, ((deleted, fields), record) in enumerate(zip(rows, records)):
        listed = [text.split("\0", 1)[0].strip() for text in record["raw"]]
        if listed != fields:
            yield f"row {number}: {listed}, not {fields}"
        if deleted != record["deleted"]:
            yield f"row {number}: deleted is {record['deleted']}"


# --- GDAL ---

def canonical_ring(ring):
    """The same for rings that begin elsewhere or run the other way."""
    points = [tuple(point) for point in ring]
    if points[0] == points[-1]:
        points.pop()
    turns = []
    for way in (points, points[::-1]):
        least = min(range(len(way)), key=lambda i: (way[i], way[(i + 1) % len(way)]))
        turns.append(tuple(way[least:] + way[:least]))
    return min(turns)


def canonical(geometry):
    if geometry is None or not geometry["coordinates"]:
        return None
    kind, coordinates = geometry["type"].removeprefix("Multi"), geometry["coordinates"]
    members = coordinates if geometry["type"].startswith("Multi") else [coordinates]
    if kind == "Polygon":
        return kind, sorted((canonical_ring(rings[0]), sorted(map(canonical_ring, rings[1:]))) for rings in members)
    return kind, members


def same_numbers(one, other):
    """Whether the two are alike, numbers to the last digits that GDAL writes."""
    if isinstance(one, (list, tuple)):
        return len(one) == len(other) and all(map(same_numbers, one, other))
    if isinstance(one, (int, float)) and isinstance(other, (int, float)):
        return abs(one - other) <= 1e-15 * max(abs(one), abs(other), 1)
    return one == other


def same_value(one, other):
    if isinstance(one, bool) and isinstance(other, str):
        # GDAL 3.6 shows logical fields as texts.
        return other in ("TtYy" if one else "FfNn")
    if isinstance(one, str) and isinstance(other, str):
        return one.replace("/", "-") == other.replace("/", "-")
    return same_numbers(one, other)


def features(text):
    return json.loads(text)["features"]


def compare_geojson(path, listing, records):
    ours = features(run(listing, "--geojson", path))
    theirs = features(run("ogr2ogr", "-f", "GeoJSON", "/vsistdout/", path, "-lco", "COORDINATE_PRECISION=17",
                          "-lco", "RFC7946=NO"))
    if len(ours) != len(theirs):
        yield f"GDAL has {len(theirs)} features, not {len(ours)}"
    is_patch = any(record["type"] == 31 for record in records)
    for number, (our, their) in enumerate(zip(ours, theirs)):
        # GDAL makes surfaces of patches, which GeoJSON does not have.
        if not is_patch and not same_numbers(canonical(our["geometry"]), canonical(their["geometry"])):
            yield f"feature {number}: another shape than GDAL's"
        mine, other = our["properties"] or {}, their["properties"]
        for name, content in mine.items():
            if name not in other or not same_value(content, other[name]):
                yield f"feature {number}: {name} is {content!r}, not {other.get(name)!r}"


def compare(path, listing):
    head, *records = map(json.loads, run(listing, path).splitlines())
    if head["strict"] != EXPECTED.get(path.name, "same"):
        yield f"the reader of the C face: {head['strict']}"
    if bool(head["repairs"]) != (path.name in REPAIRED):
        yield f"repairs: {head['repairs']}"
    yield from compare_shapes(path, records)
    table = path.with_suffix(".dbf")
    if table.exists():
        yield from compare_rows(table, records)
    yield from compare_geojson(path, listing, records)


def main():
    listing, directory = Path(sys.argv[1]), Path(sys.argv[2])
    paths = sorted(unpacked(directory).rglob("*.shp"))
    wrong = [f"{path}: {text}" for path in paths for text in compare(path, listing)]
    print("\n".join(wrong))
    print(f"{len(paths)} shapefiles compared, {len(wrong)} differences")
    return bool(wrong) or len(paths) < FEWEST


if __name__ == "__main__":
    sys.exit(main())
