"""The means of the other scenarios, on pictures and layouts made by hand: what they look for is found, and what is not
there is not.
"""

import os
import struct
import zlib

from desktop import windows_of
from pictures import Picture, Region

WHITE, BLACK, GREY = (255, 255, 255), (0, 0, 0), (215, 215, 215)
ALL = Region(0, 0, 40, 20)


def picture(color_at):
    pixels = b"".join(bytes(color_at(x, y)) for y in range(ALL.height) for x in range(ALL.width))
    return Picture.from_ppm(b"P6\n%d %d\n255\n" % (ALL.width, ALL.height) + pixels)


def letters(x, y):
    """Some strokes, 3 pixels apart."""
    return BLACK if 5 <= y < 15 and 4 <= x < 30 and x % 3 == 0 else WHITE


def run(report, desk):
    plain, written = picture(lambda x, y: WHITE), picture(letters)
    faint = picture(lambda x, y: GREY if letters(x, y) == BLACK else WHITE)
    dark = picture(lambda x, y: BLACK if x < 30 else WHITE)
    report.check("a plain picture is plain", plain.is_plain(ALL) and plain.is_plain(ALL, WHITE))
    report.check("of its own colour only", not plain.is_plain(ALL, BLACK))
    report.check("a written one is not", not written.is_plain(ALL))
    report.check("but beside what is written", written.is_plain(Region(31, 0, 9, 20), WHITE))
    report.check("what is written is seen", written.has_text(ALL), f"{written.writing(ALL)} pixels")
    report.check("nothing is not", not plain.has_text(ALL))
    report.check("what can hardly be read is not", not faint.has_text(ALL))
    report.check("an edge is no text", not picture(lambda x, y: BLACK if x < 20 else WHITE).has_text(ALL))
    report.check("the ground is what most of it is", dark.ground(ALL) == BLACK, f"{dark.ground(ALL)}")
    report.check("pictures differ where they do", written.differs(plain, ALL))
    report.check("and nowhere else", not written.differs(plain, Region(31, 0, 9, 20)))

    path = os.path.join(desk.host.folder, "self_check.png")
    written.save_png(path, Region(4, 5, 10, 3))
    with open(path, "rb") as file:
        data = file.read()
    begin = data.index(b"IDAT")
    length = struct.unpack_from(">I", data, begin - 4)[0]
    rows = zlib.decompress(data[begin + 4 : begin + 4 + length])
    wanted = b"\0" + b"".join(bytes(letters(x, 5)) for x in range(4, 14))
    report.check("a part of a picture is saved", struct.unpack_from(">II", data, 16) == (10, 3) and rows == wanted * 3)

    windows = windows_of(
        [
            "window\t1\t2\t30\t40\t5\t6\t20\t30\tKind\tTitle",
            "control\t7\t8\t9\t10\t103\tSysListView32\t",
            "row\t7\t8\t9\t2\t1\tLeft\ta\\\\b",
            "control\t1\t1\t1\t1\t0\tEdit\tone\\r\\ntwo\\\\n",
        ]
    )
    table, edit = windows[0].controls
    good = windows[0].title == "Title" and windows[0].inside == (5, 6, 20, 30) and table.id == 103
    report.check("a layout is understood", good)
    report.check("with the rows of a table", table.rows[0].is_chosen and table.rows[0].cells == ["Left", "a\\b"])
    report.check("and texts of several lines", edit.text == "one\r\ntwo\\n", repr(edit.text))
