"""Pictures of the screen, and what is to be seen in parts of them."""

import collections
import re
import struct
import zlib

# so much apart, over red, green and blue together, is what is written from what it is written on
CONTRAST = 180


class Region(collections.namedtuple("Region", "x y width height")):
    """A rectangle of the screen, in pixels."""

    @property
    def right(self):
        return self.x + self.width

    @property
    def bottom(self):
        return self.y + self.height

    def at(self, x, y):
        """A point by its share of width and height."""
        return int(self.x + self.width * x), int(self.y + self.height * y)

    def part(self, left, top, right, bottom):
        """The rectangle between two points given by their shares."""
        x, y = self.at(left, top)
        end_x, end_y = self.at(right, bottom)
        return Region(x, y, end_x - x, end_y - y)

    def inner(self, margin):
        return Region(self.x + margin, self.y + margin, self.width - 2 * margin, self.height - 2 * margin)


def around(point, margin):
    return Region(point[0] - margin, point[1] - margin, 2 * margin + 1, 2 * margin + 1)


class Picture:
    def __init__(self, width, height, pixels):
        self.width = width
        self.height = height
        self._pixels = pixels

    @classmethod
    def from_ppm(cls, data):
        """A picture of the kind P6 with 8 bits a colour."""
        header = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", data)
        if header is None:
            raise ValueError(f"no picture: {data[:20]!r}")
        width, height = int(header[1]), int(header[2])
        pixels = data[header.end() :]
        if len(pixels) != width * height * 3:
            raise ValueError(f"a picture of {width} x {height} pixels with {len(pixels)} bytes")
        return cls(width, height, pixels)

    def at(self, x, y):
        begin = (y * self.width + x) * 3
        return tuple(self._pixels[begin : begin + 3])

    def _rows(self, region):
        left, right = max(region.x, 0), min(region.right, self.width)
        for y in range(max(region.y, 0), min(region.bottom, self.height)):
            yield self._pixels[(y * self.width + left) * 3 : (y * self.width + right) * 3]

    def colors(self, region):
        """How often each colour is in a region."""
        found = collections.Counter()
        for row in self._rows(region):
            found.update(zip(row[0::3], row[1::3], row[2::3]))
        return found

    def is_plain(self, region, color=None):
        """Whether a region has one colour everywhere, the stated one or any."""
        wanted = bytes(color if color is not None else self.at(max(region.x, 0), max(region.y, 0)))
        rows = list(self._rows(region))
        return bool(rows) and bool(rows[0]) and all(row == wanted * (len(row) // 3) for row in rows)

    def ground(self, region):
        """The colour that most of a region has."""
        return self.colors(region).most_common(1)[0][0]

    def writing(self, region):
        """How many pixels of a region stand out from what most of it is: letters, and lines around things."""
        colors = self.colors(region)
        ground = colors.most_common(1)[0][0]
        return sum(
            count
            for color, count in colors.items()
            if sum(abs(one - other) for one, other in zip(color, ground)) >= CONTRAST
        )

    def has_text(self, region):
        """Whether something is written in a region: some pixels stand out, and most do not."""
        return 12 <= self.writing(region) <= region.width * region.height // 3

    def differs(self, other, region):
        """Whether a region looks another way in another picture."""
        return list(self._rows(region)) != list(other._rows(region))

    def save_png(self, path, region=None):
        region = region or Region(0, 0, self.width, self.height)
        rows = list(self._rows(region))

        def chunk(kind, data):
            return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

        header = struct.pack(">IIBBBBB", len(rows[0]) // 3, len(rows), 8, 2, 0, 0, 0)
        with open(path, "wb") as file:
            file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header))
            file.write(chunk(b"IDAT", zlib.compress(b"".join(b"\0" + row for row in rows), 6)))
            file.write(chunk(b"IEND", b""))
