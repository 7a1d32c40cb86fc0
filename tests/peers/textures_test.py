#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""usage: textures_test.py LINDRA PACKAGES

The textures of Debian's packages in PACKAGES, and some made by ImageMagick, show the same pixels here and in Pillow and
ImageMagick (which is asked for the first level of each). Channels between two colours may differ by 1, because the others
round where the blocks' own routine truncates; what the others show transparent in DXT1 is opaque black here. Each level is
compared: it is cut out of the file and given a header of its own, by arithmetic of this script. Every processor takes files.
"""
import collections
import concurrent.futures
import pathlib
import struct
import subprocess
import sys
import tempfile

from PIL import Image, ImageChops

LINDRA, PACKAGES = sys.argv[1:]
BLOCK = {b'DXT1': 8, b'DXT3': 16, b'DXT5': 16}
FOURCC, CUBE, VOLUME = 0x4, 0x200, 0x200000
FEWEST = 100  # files, so that a comparison of nothing is no success

failures = []
seen = collections.Counter()


def fail(what):
    failures.append(what)
    print('FAILED', what)


class Texture:
    """What the header says, read here anew."""

    def __init__(self, path):
        self.bytes = path.read_bytes()
        words = struct.unpack('<31I', self.bytes[4:128])
        self.height, self.width, self.levels = words[2], words[3], max(words[6], 1)
        self.flags, self.kind, self.bits, self.caps2 = words[19], self.bytes[84:88], words[21], words[27]
        if not self.flags & FOURCC:
            self.kind = f'{self.bits} bits'.encode()

    def plain(self):
        """Whether it is an image with its levels and nothing more."""
        return not self.caps2 & (CUBE | VOLUME) and (self.kind in BLOCK or not self.flags & FOURCC)

    def level_size(self, width, height):
        if self.kind in BLOCK:
            return (width + 3) // 4 * ((height + 3) // 4) * BLOCK[self.kind]
        return width * height * self.bits // 8

    def level(self, number):
        """A texture of this level alone."""
        at = 128
        width, height = self.width, self.height
        for _ in range(number):
            at += self.level_size(width, height)
            width, height = max(1, width // 2), max(1, height // 2)
        size = self.level_size(width, height)
        head = bytearray(self.bytes[:128])
        struct.pack_into('<5I', head, 8, 0x1007, height, width, size, 0)
        struct.pack_into('<I', head, 28, 0)
        return bytes(head) + self.bytes[at:at + size]


def by_pillow(path):
    with Image.open(path) as image:
        return image.convert('RGBA')


def by_imagemagick(path, scratch):
    out = scratch / 'magick.png'
    # Compressing what is read again at once would take most of the time.
    stored = ['-define', 'png:compression-level=0']
    subprocess.run(['convert', f'dds:{path}[0]', *stored, f'png32:{out}'], check=True, capture_output=True)
    with Image.open(out) as image:
        return image.convert('RGBA')


def black_where_transparent(image):
    """DXT1 as it is read here."""
    black = Image.new('RGBA', image.size, (0, 0, 0, 255))
    return Image.composite(image, black, image.getchannel('A').point(lambda alpha: 255 if alpha else 0))


def compare(ours, theirs, what, kind):
    if kind == b'DXT1':
        theirs = black_where_transparent(theirs)
    if ours.size != theirs.size:
        return fail(f'{what}: {ours.size} here, {theirs.size} there')
    most = max(high for _, high in ImageChops.difference(ours, theirs).getextrema())
    if most > 1:
        fail(f'{what}: channels differ by {most}')
    seen[what.split()[0], most] += 1


def peers_of(single, scratch, level):
    """What the other programs make of a texture of one image; one that they refuse is counted."""
    peers = [('Pillow', lambda: by_pillow(single))]
    if level == 0:
        peers.append(('ImageMagick', lambda: by_imagemagick(single, scratch)))
    for name, read in peers:
        try:
            yield name, read()
        except (subprocess.CalledProcessError, NotImplementedError, OSError, ValueError, struct.error) as reason:
            seen[name, 'refused'] += 1
            print(f'{name} refuses {single.name}: {str(reason)[:80]}')


def compare_levels(path, scratch):
    """All levels of one file; what they are like is in failures and seen."""
    texture = Texture(path)
    if not texture.plain():
        seen['left out', texture.kind] += 1
        return
    run = subprocess.run([LINDRA, 'texture', path, '--level', 'all', '-o', scratch / 'ours.png'], capture_output=True, text=True)
    if run.returncode != 0:
        return fail(f'{path}: {run.stderr}')
    for level in range(texture.levels):
        ours = scratch / ('ours.png' if texture.levels == 1 else f'ours-level{level}.png')
        single = scratch / f'level{level}-{path.name}'
        single.write_bytes(texture.level(level))
        with Image.open(ours) as image:
            for name, theirs in peers_of(single, scratch, level):
                compare(image.convert('RGBA'), theirs, f'{name} {path} level {level}', texture.kind)
        single.unlink()
    seen['levels', texture.kind] += texture.levels


def compare_file(path):
    """In a process of the pool: what failed and what was seen in this file."""
    failures.clear()
    seen.clear()
    with tempfile.TemporaryDirectory() as scratch:
        compare_levels(path, pathlib.Path(scratch))
    return list(failures), collections.Counter(seen)


def unpacked():
    """The textures of all packages, taken out of them once."""
    for package in sorted(pathlib.Path(PACKAGES).glob('*.deb')):
        directory = package.with_suffix('')
        if directory.is_dir():
            continue
        directory.mkdir()
        tarfile = subprocess.Popen(['dpkg-deb', '--fsys-tarfile', package], stdout=subprocess.PIPE)
        subprocess.run(['tar', '-x', '-C', directory, '--wildcards', '*.dds'], stdin=tarfile.stdout, check=True)
        if tarfile.wait() != 0:
            fail(f'{package} cannot be unpacked')
    return sorted(pathlib.Path(PACKAGES).rglob('*.dds'))


def made(directory):
    """Textures by ImageMagick, of sizes that are no multiple of a block too."""
    for size in ('64x64', '61x37', '3x5', '1x1'):
        for compression in ('dxt1', 'dxt5', 'none'):
            path = directory / f'{compression}-{size}.dds'
            subprocess.run(['convert', '-size', size, 'plasma:red-blue', '-alpha', 'set', '-channel', 'A', '-fx', 'i/w',
                            '-define', f'dds:compression={compression}', path], check=True, capture_output=True)
            yield path


def main():
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        files = unpacked()
        if len(files) < FEWEST:
            fail(f'only {len(files)} textures found in {PACKAGES}')
        with concurrent.futures.ProcessPoolExecutor() as pool:
            for wrong, counted in pool.map(compare_file, [*files, *made(directory)]):
                failures.extend(wrong)
                seen.update(counted)
    for what, count in sorted(seen.items(), key=str):
        print(*what, count)
    for peer in ('Pillow', 'ImageMagick'):
        if not seen[peer, 0] + seen[peer, 1]:
            fail(f'nothing was compared with {peer}')
    return 1 if failures else 0


sys.exit(main())
