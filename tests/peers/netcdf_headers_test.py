#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""usage: netcdf_headers_test.py LINDRA SCHEMA DIRECTORY SAMPLE

What `lindra dump` and `lindra dump --json` say of every netCDF file in the Debian packages of the directory,
against `ncdump -h` (package netcdf-bin). Classic files must agree in every dimension, attribute and variable.
The others must be answered with the command that converts them, and that command must do it.

What ncdump leaves out, so that it is not compared:
- where the data of a variable begin;
- the number of zero bytes that close a text;
- the global attribute _NCProperties, which the netCDF library keeps to itself.
What it tells otherwise:
- a byte is signed; lindra gives its bits, 0xFF for -1;
- the size of a variable's data follows from its shape, padded to four bytes ("The NetCDF Classic Format
  Specification", Unidata, 2011).

SAMPLE is a classic file that shows whether the comparison sees a difference: lindra prints it, ncdump prints
copies of it with one bit changed.
"""
import collections
import gzip
import json
import math
import os
import pathlib
import re
import subprocess
import sys
import tarfile
import tempfile

import jsonschema

import ncdump_header

SIZES = {'byte': 1, 'char': 1, 'short': 2, 'int': 4, 'float': 4, 'double': 8}
KINDS = {b'CDF\1': 'classic', b'CDF\2': '64-bit offsets', b'CDF\5': '64-bit data', b'\x89HDF': 'HDF5'}
HIDDEN = '_NCProperties'
CONVERSION = re.compile(r'^lindra: .* is an? .*; convert it with `(nccopy -k classic .* OUT)` \(package netcdf-bin\)\n$')


# --- The files

def unpacked(member, stream):
    head = stream.read(4)
    if head[:2] == b'\x1f\x8b' and re.search(r'\.(nc|cdf|grd)\.gz$', member.name):
        return gzip.decompress(head + stream.read())
    return head + stream.read() if head in KINDS else b''


def netcdf_files(package):
    """Names and bytes of the netCDF files of a Debian package, by their first bytes, compressed ones too."""
    with subprocess.Popen(['dpkg-deb', '--fsys-tarfile', package], stdout=subprocess.PIPE) as process:
        with tarfile.open(fileobj=process.stdout, mode='r|') as archive:
            for member in archive:
                if member.isfile():
                    data = unpacked(member, archive.extractfile(member))
                    if data[:4] in KINDS:
                        yield member.name, data
        process.stdout.read()
    if process.returncode != 0:
        raise OSError(f'{package} is no Debian package')


# --- What lindra is to say

def as_json_text(data):
    return data.decode('utf-8', 'replace')


def as_json_number(kind, value):
    if kind == 'byte':
        return value & 0xFF
    if isinstance(value, float) and not math.isfinite(value):
        return 'NaN' if math.isnan(value) else 'Infinity' if value > 0 else '-Infinity'
    return value


def expected_attribute(attribute, said):
    """said: what lindra says of it, from which the closing zero bytes are taken."""
    if attribute.type == 'char':
        text = as_json_text(attribute.values)
        zeros = len(said['values']) - len(said['values'].rstrip('\0'))
        values, count = text + zeros * '\0', len(attribute.values) + zeros
    else:
        values = [as_json_number(attribute.type, value) for value in attribute.values]
        count = len(values)
    return {'name': as_json_text(attribute.name), 'type': attribute.type, 'count': count, 'values': values}


def expected_attributes(attributes, said):
    return [expected_attribute(*pair) for pair in zip(attributes, said, strict=True)]


def expected_size(variable, lengths):
    shape = [lengths[name] for name in variable.dimensions]
    if shape and shape[0] == 0:
        del shape[0]
    return (math.prod(shape) * SIZES[variable.type] + 3) // 4 * 4


def expected_variable(header, variable, said):
    names = [dimension.name for dimension in header.dimensions]
    lengths = {dimension.name: dimension.length for dimension in header.dimensions}
    return {
        'name': as_json_text(variable.name),
        'type': variable.type,
        'vsize': expected_size(variable, lengths),
        'fixed': all(lengths[name] for name in variable.dimensions),
        'dimensions': [names.index(name) for name in variable.dimensions],
        'attributes': expected_attributes(variable.attributes, said['attributes']),
    }


def expected_facts(header, said):
    return {
        'format': 'netCDF classic',
        'records': header.records,
        'dimensions': [{'name': as_json_text(one.name), 'length': one.length} for one in header.dimensions],
        'attributes': expected_attributes(header.attributes, said['attributes']),
        'variables': [expected_variable(header, *pair)
                      for pair in zip(header.variables, said['variables'], strict=True)],
    }


def without_places(said):
    """What ncdump says nothing of."""
    if isinstance(said, list):
        return [without_places(one) for one in said]
    if isinstance(said, dict):
        return {key: without_places(one) for key, one in said.items() if key not in ('offset', 'begin')}
    return said


def listed_number(kind, value):
    if kind == 'byte':
        return '0x%2.2X' % (value & 0xFF)
    return ('%f' % value)[:31] if kind in ('float', 'double') else str(value)


def listed_values(prefix, attribute, count):
    yield b'%svalues.type  =  %s' % (prefix, attribute.type.encode())
    yield b'%svalues.n     =  %d' % (prefix, count)
    if attribute.type == 'char':
        yield b'%svalues.values[..]  =  %s' % (prefix, attribute.values.replace(b'\0', b''))
        return
    for i, value in enumerate(attribute.values):
        yield b'%svalues.values[%2.2d]  =  %s' % (prefix, i, listed_number(attribute.type, value).encode())


def listed_attributes(prefix, attributes, said):
    for i, (attribute, fact) in enumerate(zip(attributes, said, strict=True)):
        yield b'%sattrs[%2.2d].name  =  %s' % (prefix, i, attribute.name)
        yield from listed_values(b'%sattrs[%2.2d].' % (prefix, i), attribute, fact['count'])


def listed_variable(i, header, variable, fact):
    lengths = {dimension.name: dimension.length for dimension in header.dimensions}
    prefix = b'vars[%2.2d].' % i
    yield prefix + b'name   =  ' + variable.name
    yield prefix + b'type   =  ' + variable.type.encode()
    yield prefix + b'vsize  =  %d' % fact['vsize']
    yield prefix + b'begin  =  %d' % fact['begin']
    yield prefix + b'fixed  =  %d' % fact['fixed']
    yield prefix + b'dims_n =  %d' % len(variable.dimensions)
    for j, name in enumerate(variable.dimensions):
        yield prefix + b'dims[%2.2d].name   =  %s (%d)' % (j, name, lengths[name])
    yield prefix + b'attrs_n=  %d' % len(variable.attributes)
    yield from listed_attributes(prefix, variable.attributes, fact['attributes'])


def expected_listing(header, said):
    yield b'numrecs  =  %d' % header.records
    yield b'dims_n   =  %d' % len(header.dimensions)
    for i, dimension in enumerate(header.dimensions):
        yield b'dims[%2.2d].name   =  %s' % (i, dimension.name)
        yield b'dims[%2.2d].value  =  %d' % (i, dimension.length)
    yield b'attrs_n  =  %d' % len(header.attributes)
    yield from listed_attributes(b'', header.attributes, said['attributes'])
    yield b'vars_n   =  %d' % len(header.variables)
    for i, (variable, fact) in enumerate(zip(header.variables, said['variables'], strict=True)):
        yield from listed_variable(i, header, variable, fact)


def with_hidden(header, said):
    """ncdump's header with the attribute that it keeps back, from lindra."""
    for i, fact in enumerate(said['attributes']):
        if fact['name'] == HIDDEN:
            header.attributes.insert(i, ncdump_header.Attribute(HIDDEN.encode(), 'char', fact['values'].encode()))
    return header


# --- The comparison

class Comparison:
    def __init__(self, lindra, schema, scratch):
        self.lindra, self.scratch = lindra, pathlib.Path(scratch)
        self.validator = jsonschema.Draft7Validator(schema)
        self.counts = collections.Counter()
        self.differences = []

    def dump(self, *arguments):
        return subprocess.run([self.lindra, 'dump', *arguments], capture_output=True)

    def differ(self, name, what):
        self.differences.append(f'{name}: {what}')

    def compare(self, name, data):
        path = self.scratch / 'file'
        path.write_bytes(data)
        kind = KINDS[data[:4]]
        self.counts[kind] += 1
        if kind == 'classic':
            self.compare_classic(name, path)
        else:
            self.compare_other(name, path)

    def compare_classic(self, name, path):
        as_json, as_listing = self.dump('--json', path), self.dump(path)
        if as_json.returncode or as_listing.returncode:
            return self.differ(name, as_json.stderr.decode())
        said = json.loads(as_json.stdout)
        header = with_hidden(ncdump_header.read(path), said)
        for error in self.validator.iter_errors(said):
            self.differ(name, f'the schema refuses {error.json_path}: {error.message}')
        for difference in json_difference(said, header), listing_difference(as_listing.stdout, said, header):
            if difference:
                self.differ(name, difference)

    def compare_other(self, name, path):
        answer = self.dump(path)
        advice = CONVERSION.match(answer.stderr.decode())
        if answer.returncode != 1 or answer.stdout or not advice:
            return self.differ(name, f'exit status {answer.returncode}, {answer.stderr}')
        converted = self.scratch / 'OUT'
        run = subprocess.run(advice[1], shell=True, cwd=self.scratch, capture_output=True)
        if run.returncode == 0:
            self.counts['converted'] += 1
            self.compare_classic(name + ', converted', converted)
        elif self.is_64_bit(path):
            self.differ(name, f'{advice[1]} failed: {run.stderr.decode()}')

    @staticmethod
    def is_64_bit(path):
        """These are always convertible; an HDF5 file need not be netCDF, or may use what the classic form lacks."""
        with open(path, 'rb') as stream:
            return stream.read(3) == b'CDF'


def first_difference(said, expected, place='$'):
    if isinstance(said, dict) and isinstance(expected, dict) and said.keys() == expected.keys():
        pairs = [(said[key], expected[key], f'{place}.{key}') for key in said]
    elif isinstance(said, list) and isinstance(expected, list) and len(said) == len(expected):
        pairs = [(one, other, f'{place}[{i}]') for i, (one, other) in enumerate(zip(said, expected))]
    else:
        return f'{place} is {said!r}, by ncdump {expected!r}'
    return next(first_difference(*pair) for pair in pairs if pair[0] != pair[1])


def json_difference(said, header):
    """What the two say differently; nothing when they agree."""
    try:
        expected = expected_facts(header, said)
    except (ValueError, AttributeError) as error:  # one side has more items, or numbers for a text
        return f'lists differ: {error}'
    facts = without_places(said)
    return first_difference(facts, expected) if facts != expected else ''


def listing_difference(listing, said, header):
    try:
        lines = list(expected_listing(header, said)) + [b'']
    except ValueError as error:
        return f'lists differ: {error}'
    if listing == b'\n'.join(lines):
        return ''
    return f'lindra and ncdump: {next(pair for pair in zip(listing.splitlines(), lines) if pair[0] != pair[1])}'


def altered_headers(data, path):
    """What ncdump says of copies with one bit changed, where that differs from what it says of the original."""
    path.write_bytes(data)
    original = ncdump_header.read(path)
    for place in range(4, len(data.rstrip(b'\0'))):
        altered = bytearray(data)
        altered[place] ^= 1
        path.write_bytes(altered)
        try:
            header = ncdump_header.read(path, timeout=1)
        except (subprocess.SubprocessError, ValueError, AssertionError):  # the change is damage
            continue
        if repr(header) != repr(original):
            yield place, header


def check_that_differences_are_seen(comparison, sample):
    said = json.loads(comparison.dump('--json', sample).stdout)
    listing = comparison.dump(sample).stdout
    # The names, numbers and types of the header; the data are not printed.
    data = sample.read_bytes()[:min(variable['begin'] for variable in said['variables'])]
    data += bytes(sample.stat().st_size - len(data))
    seen = seen_in_listing = 0
    for place, header in altered_headers(data, comparison.scratch / 'altered'):
        if not json_difference(said, header):
            sys.exit(f'a change at byte {place} is not seen')
        seen += 1
        # Six decimals do not show the last bit of every number.
        seen_in_listing += bool(listing_difference(listing, said, header))
    print(f'{sample}: {seen} changed bits are seen, {seen_in_listing} in the listing too')
    if not seen_in_listing:
        sys.exit(f'{sample} shows nothing')


def main():
    lindra, schema, directory, sample = sys.argv[1:]
    packages = sorted(pathlib.Path(directory).glob('*.deb'))
    with tempfile.TemporaryDirectory() as scratch:
        comparison = Comparison(os.path.abspath(lindra), json.loads(pathlib.Path(schema).read_text()), scratch)
        check_that_differences_are_seen(comparison, pathlib.Path(sample))
        for package in packages:
            before = comparison.counts.copy()
            for name, data in netcdf_files(package):
                comparison.compare(name, data)
            print(package.name, dict(comparison.counts - before))
    print(len(packages), 'packages:', dict(comparison.counts))
    print(*comparison.differences, sep='\n')
    for kind in ('classic', '64-bit offsets', 'HDF5', 'converted'):
        if not comparison.counts[kind]:
            sys.exit(f'no file of this kind was found in {directory}: {kind}; run ./dev peers')
    sys.exit(bool(comparison.differences))


if __name__ == '__main__':
    main()
