#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""usage: json_schema_test.py LINDRA SCHEMA GOLDEN DATA

What `lindra dump --json` prints is what the installed schema describes, and the schema refuses what is not.
"""
import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

LINDRA, SCHEMA, GOLDEN, DATA = sys.argv[1:]
EVERY_TYPE = pathlib.Path(GOLDEN) / 'netcdf_every_type/input.nc'
WITHOUT_ANYTHING = b'CDF\1' + bytes(28)


def dumped(path):
    run = subprocess.run([LINDRA, 'dump', '--json', path], capture_output=True, check=True)
    return json.loads(run.stdout)


def attribute(document, kind):
    everything = document['attributes'] + [one for variable in document['variables'] for one in variable['attributes']]
    return next(one for one in everything if one['type'] == kind)


class Schema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        schema = json.loads(pathlib.Path(SCHEMA).read_text())
        jsonschema.Draft7Validator.check_schema(schema)
        cls.validator = jsonschema.Draft7Validator(schema)

    def test_every_type_is_as_described(self):
        document = dumped(EVERY_TYPE)
        self.validator.validate(document)
        for kind in ('byte', 'char', 'short', 'int', 'float', 'double'):
            attribute(document, kind)

    def test_file_without_anything_is_as_described(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(WITHOUT_ANYTHING)
            file.flush()
            document = dumped(file.name)
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
