#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""usage: json_schema_test.py LINDRA SCHEMAS GOLDEN DATA

What `lindra dump --json` prints is what the installed schemas describe, and they refuse what is not.
"""
import copy
import json
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

import jsonschema

LINDRA, SCHEMAS, GOLDEN, DATA = sys.argv[1:]
EVERY_TYPE = pathlib.Path(GOLDEN) / 'netcdf_every_type/input.nc'
WITHOUT_ANYTHING = b'CDF\1' + bytes(28)


def dumped(path):
    run = subprocess.run([LINDRA, 'dump', '--json', path], capture_output=True, check=True)
    return json.loads(run.stdout)


def dumped_bytes(content):
    with tempfile.NamedTemporaryFile() as file:
        file.write(content)
        file.flush()
        return dumped(file.name)


def validator(name):
    schema = json.loads((pathlib.Path(SCHEMAS) / name).read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    return jsonschema.Draft7Validator(schema)


def attribute(document, kind):
    everything = document['attributes'] + [one for variable in document['variables'] for one in variable['attributes']]
    return next(one for one in everything if one['type'] == kind)


class NetcdfSchema(unittest.TestCase):
    validator = validator('dump-netcdf.schema.json')

    def test_every_type_is_as_described(self):
        document = dumped(EVERY_TYPE)
        self.validator.validate(document)
        for kind in ('byte', 'char', 'short', 'int', 'float', 'double'):
            attribute(document, kind)

    def test_file_without_anything_is_as_described(self):
        document = dumped_bytes(WITHOUT_ANYTHING)
        self.validator.validate(document)
        self.assertEqual(document['variables'], [])

    def test_real_files_are_as_described(self):
        files = sorted(pathlib.Path(DATA).glob('maps/lindra/*.cdf'))
        self.assertEqual(len(files), 2)
        for file in files:
            self.validator.validate(dumped(file))

    def test_numbers_that_json_lacks_are_texts(self):
        document = dumped(EVERY_TYPE)
        attribute(document, 'float')['values'] = ['NaN', 'Infinity', '-Infinity', 1.5]
        self.validator.validate(document)

    def test_broken_documents_are_refused(self):
        sound = dumped(EVERY_TYPE)
        for name, breaking in BROKEN.items():
            with self.subTest(name):
                document = copy.deepcopy(sound)
                breaking(document)
                self.assertNotEqual(json.dumps(document), json.dumps(sound))
                self.assertFalse(self.validator.is_valid(document))

    def test_every_missing_fact_is_noticed(self):
        sound = dumped(EVERY_TYPE)
        places = [[], ['dimensions', 0], ['attributes', 0], ['variables', 0], ['variables', 0, 'attributes', 0]]
        for place in places:
            for key in member(sound, place):
                with self.subTest(place=place, key=key):
                    document = copy.deepcopy(sound)
                    del member(document, place)[key]
                    self.assertFalse(self.validator.is_valid(document))


POINTS, MULTIPOINTS, MULTIPATCH = {1, 11, 21}, {8, 18, 28}, 31
TYPES = {0, 1, 3, 5, 8, 11, 13, 15, 18, 21, 23, 25, 28, 31}


def shape(kind):
    """The contents of a record with two points, in one part where the type has parts."""
    has_z = kind in {11, 13, 15, 18, 31}
    has_m = has_z or kind > 20
    if kind == 0:
        return struct.pack('<i', 0)
    if kind in POINTS:
        return struct.pack(f'<i{2 + has_z + has_m}d', kind, *range(2 + has_z + has_m))
    content = struct.pack('<i4d', kind, 0, 0, 1, float('nan'))
    content += struct.pack('<i', 2) if kind in MULTIPOINTS else struct.pack('<3i', 1, 2, 0)
    content += struct.pack('<i', 2) if kind == MULTIPATCH else b''
    return content + struct.pack('<4d', 0, 0, 1, 1) + struct.pack('<4d', 0, 9, 0, 9) * (has_z + has_m)


def shapefile(kind, records):
    content = b''.join(struct.pack('>2i', i + 1, len(one) // 2) + one for i, one in enumerate(records))
    head = struct.pack('>7i', 9994, 0, 0, 0, 0, 0, 50 + len(content) // 2) + struct.pack('<2i8d', 1000, kind, *range(8))
    return head + content


class ShapefileSchema(unittest.TestCase):
    validator = validator('dump-shapefile.schema.json')

    def test_every_type_is_as_described(self):
        for kind in TYPES:
            with self.subTest(kind=kind):
                document = dumped_bytes(shapefile(kind, [shape(kind), shape(0)]))
                self.validator.validate(document)
                self.assertEqual([one['shape_type'] for one in document['records']], [kind, 0])

    def test_file_without_records_is_as_described(self):
        document = dumped_bytes(shapefile(5, []))
        self.validator.validate(document)
        self.assertEqual(document['records'], [])

    def test_every_missing_fact_is_noticed(self):
        for kind in TYPES:
            sound = dumped_bytes(shapefile(kind, [shape(kind)]))
            for place in [[], ['header'], ['records', 0]]:
                for key in member(sound, place):
                    with self.subTest(kind=kind, place=place, key=key):
                        document = copy.deepcopy(sound)
                        del member(document, place)[key]
                        self.assertFalse(self.validator.is_valid(document))

    def test_facts_of_another_type_are_refused(self):
        facts = dumped_bytes(shapefile(31, [shape(31)]))['records'][0]
        point = dumped_bytes(shapefile(1, [shape(1)]))
        for key in ('parttypes', 'points', 'zarray', 'marray'):
            with self.subTest(key):
                document = copy.deepcopy(point)
                document['records'][0][key] = facts[key]
                self.assertFalse(self.validator.is_valid(document))

    def test_broken_documents_are_refused(self):
        sound = dumped_bytes(shapefile(5, [shape(5)]))
        for name, key, value in [('a point of three', 'points', [[0, 0, 0]]), ('a box of three', 'bbox', [0, 0, 0]),
                                 ('a text as number', 'bbox', [0, 0, 0, 'big']), ('a part that is no integer', 'parts', [0.5]),
                                 ('an offset in the header', 'offset', 99), ('a number as name', 'shape_name', 5)]:
            with self.subTest(name):
                document = copy.deepcopy(sound)
                document['records'][0][key] = value
                self.assertFalse(self.validator.is_valid(document))


TABLE = (struct.pack('<4BIHH20x', 3, 126, 11, 20, 2, 65, 5) + struct.pack('<11sc4xBB14x', b'NAME', b'C', 4, 0)
         + b'\r' + b' Oslo*\xc5bo \x1a')


class DbaseSchema(unittest.TestCase):
    validator = validator('dump-dbase.schema.json')

    def test_table_is_as_described(self):
        document = dumped_bytes(TABLE)
        self.validator.validate(document)
        self.assertEqual([one['text'] for one in document['records']], ['Oslo*', '\ufffdbo \x1a'])

    def test_every_missing_fact_is_noticed(self):
        sound = dumped_bytes(TABLE)
        for place in [[], ['header'], ['fields', 0], ['records', 0]]:
            for key in member(sound, place):
                with self.subTest(place=place, key=key):
                    document = copy.deepcopy(sound)
                    del member(document, place)[key]
                    self.assertFalse(self.validator.is_valid(document))

    def test_broken_documents_are_refused(self):
        sound = dumped_bytes(TABLE)
        for place, key, value in [([], 'level', 7), (['header'], 'langid', 256), (['header'], 'date_update', [1, 2]),
                                  (['fields', 0], 'type', 'CC'), (['fields', 0], 'offset', 31), (['records', 0], 'text', 1)]:
            with self.subTest(place=place, key=key):
                document = copy.deepcopy(sound)
                member(document, place)[key] = value
                self.assertFalse(self.validator.is_valid(document))


TEXTURE = b'DDS ' + struct.pack('<7I', 124, 0x21007, 4, 8, 0, 0, 2) + bytes(44) + struct.pack(
    '<2I4s', 32, 4, b'DXT1') + bytes(20) + struct.pack('<I', 0x401008) + bytes(16) + struct.pack('<HHI', 0xf800, 0, 0) * 3


class DdsSchema(unittest.TestCase):
    validator = validator('dump-dds.schema.json')

    def test_texture_is_as_described(self):
        document = dumped_bytes(TEXTURE)
        self.validator.validate(document)
        self.assertEqual([(one['width'], one['height'], one['offset'], one['size']) for one in document['images']],
                         [(8, 4, 128, 16), (4, 2, 144, 8)])
        self.assertEqual(document['images'][1]['pixels'], ['ffff0000'] * 8)

    def test_texture_without_images_is_as_described(self):
        document = dumped_bytes(TEXTURE.replace(b'DXT1', b'D\0\xff5'))
        self.validator.validate(document)
        self.assertEqual(document['images'], [])
        self.assertEqual(document['header']['ddspf']['dwFourCC'], 'D\0\ufffd5')

    def test_every_missing_fact_is_noticed(self):
        sound = dumped_bytes(TEXTURE)
        for place in [[], ['header'], ['header', 'ddspf'], ['images', 0]]:
            for key in member(sound, place):
                with self.subTest(place=place, key=key):
                    document = copy.deepcopy(sound)
                    del member(document, place)[key]
                    self.assertFalse(self.validator.is_valid(document))

    def test_broken_documents_are_refused(self):
        sound = dumped_bytes(TEXTURE)
        for place, key, value in [(['header'], 'dwReserved', [0] * 10), (['header'], 'flags', ['DSD_NONE']),
                                  (['header'], 'dwWidth', -1), (['images', 0], 'pixels', ['0xff']),
                                  (['images', 0], 'pixels', ['ffffffff'] * 11), (['images', 0], 'offset', 0)]:
            with self.subTest(place=place, key=key):
                document = copy.deepcopy(sound)
                member(document, place)[key] = value
                self.assertFalse(self.validator.is_valid(document))


def member(document, place):
    for step in place:
        document = document[step]
    return document


BROKEN = {
    'another format': lambda it: it.update(format='netCDF'),
    'a fact of its own': lambda it: it.update(extra=1),
    'records that are no number': lambda it: it.update(records='2'),
    'dimensions that are no list': lambda it: it.update(dimensions={}),
    'a length that is no integer': lambda it: it['dimensions'][0].update(length=1.5),
    'an offset inside the magic number': lambda it: it['dimensions'][0].update(offset=4),
    'a name that is a number': lambda it: it['variables'][0].update(name=1),
    'a dimension by its name': lambda it: it['variables'][0].update(dimensions=['time']),
    'a negative dimension': lambda it: it['variables'][0].update(dimensions=[-1]),
    'fixed as a number': lambda it: it['variables'][0].update(fixed=1),
    'a type that no file has': lambda it: it['variables'][0].update(type='long'),
    'an attribute of a type that no file has': lambda it: it['attributes'][0].update(type='string'),
    'a text where numbers belong': lambda it: attribute(it, 'int').update(values='1'),
    'numbers where a text belongs': lambda it: attribute(it, 'char').update(values=[65]),
    'a byte above 255': lambda it: attribute(it, 'byte').update(values=[256]),
    'a byte with a sign': lambda it: attribute(it, 'byte').update(values=[-1]),
    'a fraction among integers': lambda it: attribute(it, 'short').update(values=[0.5]),
    'a text among floats': lambda it: attribute(it, 'float').update(values=['one']),
    'a negative count': lambda it: attribute(it, 'double').update(count=-1),
}

if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
