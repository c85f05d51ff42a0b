#!/usr/bin/python3
"""Draws the fingerprint pictures that stand beside this script: tile.bmp, prompt.png and prompt2.png.

    /usr/bin/python3 resources/draw.py [FOLDER]

The pictures are checked in, so that building needs no Python; run this only to change them. It uses the standard
library alone. A ridge is a polyline drawn as a chain of round-ended strokes whose coverage is computed from the
distance to the stroke, which gives smooth edges without drawing anything larger than it ends up.
"""

import math
import os
import struct
import sys
import zlib

NIGHT_TOP, NIGHT_BOTTOM = (30, 41, 92), (11, 14, 38)
SCREEN_TOP, SCREEN_BOTTOM = (11, 14, 38), (15, 17, 45)  # the logon screen around the prompt
RING_WIDTH = 2.0
KEY = (255, 0, 255)  # what the prompt window does not show
COOL = ((94, 234, 212), (96, 165, 250), (167, 139, 250))  # ridge colours from top to bottom
LEAF_TOP, LEAF_BOTTOM = (16, 106, 88), (4, 41, 48)
LEAF = ((236, 253, 245), (167, 243, 208), (94, 234, 176))


def mix(a, b, t):
    return tuple(x + (y - x) * t for x, y in zip(a, b))


def ramp(stops, t):
    """The colour at t (0..1) of evenly spaced stops."""
    t = min(max(t, 0.0), 1.0) * (len(stops) - 1)
    i = min(int(t), len(stops) - 2)
    return mix(stops[i], stops[i + 1], t - i)


# The print itself, in a frame where it is 2 units high, x to the right and y down.

CORE_Y = -0.02
HALF_WIDTH, HALF_HEIGHT = 0.74, 1.0


def inside(x, y):
    """Within the oval of the finger's pad."""
    return (abs(x) / HALF_WIDTH) ** 2.3 + (abs(y) / HALF_HEIGHT) ** 2.3 < 1.0


def ridge(radius):
    """One ridge as closely spaced points: up the left side, over the core, down the right side. The sides lean to
    the left the lower they come, which makes the pattern a loop rather than a set of arches."""
    points = []
    leg = [i / 100 for i in range(125, 0, -1)]

    def side(sign, v):
        return (sign * radius * 0.86 - 0.20 * v * v, CORE_Y + v)

    points += [side(-1, v) for v in leg]
    for i in range(181):
        a = math.pi * (1.0 - i / 180)
        points.append((radius * 0.86 * math.cos(a), CORE_Y - radius * math.sin(a)))
    points += [side(1, v) for v in reversed(leg)]
    return points


def cut(points, gaps, gap_length):
    """Splits a ridge into the pieces that lie on the pad, and leaves it open at the given places (fractions of its
    length)."""
    pad, run = [], []
    for p in points:
        if inside(*p):
            run.append(p)
        elif run:
            pad.append(run)
            run = []
    if run:
        pad.append(run)
    pieces = []
    for run in pad:
        lengths = [0.0]
        for (x0, y0), (x1, y1) in zip(run, run[1:]):
            lengths.append(lengths[-1] + math.hypot(x1 - x0, y1 - y0))
        total, piece = lengths[-1], []
        for p, at in zip(run, lengths):
            if any(abs(at - gap * total) < gap_length / 2 for gap in gaps):
                if len(piece) > 1:
                    pieces.append(piece)
                piece = []
            else:
                piece.append(p)
        if len(piece) > 1:
            pieces.append(piece)
    return pieces


def fingerprint(spacing, gaps):
    """All strokes of the print. gaps holds one tuple of gap places for each ridge, from the core outwards."""
    strokes = []
    for index, places in enumerate(gaps):
        strokes += cut(ridge(spacing * (index + 0.5)), places, spacing * 1.05)
    return strokes


class Canvas:
    """Rows of floating-point RGB with a coverage mask to draw into."""

    def __init__(self, size, paint):
        self.size = size
        self.rows = [[paint(x + 0.5, y + 0.5) for x in range(size)] for y in range(size)]

    def stroke_mask(self, strokes, place, half_width, soft=0.5):
        """Coverage of all strokes; soft widens the edge, for a glow."""
        mask = [[0.0] * self.size for _ in range(self.size)]
        reach = half_width + soft
        for stroke in strokes:
            points = [place(*p) for p in stroke]
            for (x0, y0), (x1, y1) in zip(points, points[1:]):
                dx, dy = x1 - x0, y1 - y0
                length2 = dx * dx + dy * dy or 1e-9
                for py in range(max(0, int(min(y0, y1) - reach)), min(self.size, int(max(y0, y1) + reach) + 2)):
                    row = mask[py]
                    for px in range(max(0, int(min(x0, x1) - reach)), min(self.size, int(max(x0, x1) + reach) + 2)):
                        cx, cy = px + 0.5 - x0, py + 0.5 - y0
                        t = min(max((cx * dx + cy * dy) / length2, 0.0), 1.0)
                        d = math.hypot(cx - t * dx, cy - t * dy)
                        c = (half_width + soft - d) / (2 * soft)
                        if c > row[px]:
                            row[px] = min(c, 1.0)
        return mask

    def blend(self, mask, colour, strength=1.0):
        for y in range(self.size):
            for x in range(self.size):
                if mask[y][x] > 0:
                    self.rows[y][x] = mix(self.rows[y][x], colour(x + 0.5, y + 0.5), mask[y][x] * strength)

    def byte_rows(self):
        return [[tuple(min(255, max(0, round(c))) for c in pixel) for pixel in row] for row in self.rows]


def write_bmp(path, canvas):
    """24 bits, bottom-up, uncompressed, 40-byte header; the header's size field counts the padded rows."""
    size = canvas.size
    padding = bytes(-size * 3 % 4)
    pixels = b"".join(
        b"".join(bytes((b, g, r)) for r, g, b in row) + padding for row in reversed(canvas.byte_rows()))
    header = struct.pack("<IiiHHIIiiII", 40, size, size, 1, 24, 0, len(pixels), 3780, 3780, 0, 0)
    with open(path, "wb") as out:
        out.write(struct.pack("<2sIHHI", b"BM", 14 + len(header) + len(pixels), 0, 0, 14 + len(header)))
        out.write(header + pixels)


def write_png(path, canvas):
    """RGBA, opaque throughout: see badge()."""
    raw = b"".join(b"\0" + b"".join(bytes(pixel) + b"\xff" for pixel in row) for row in canvas.byte_rows())

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", canvas.size, canvas.size, 8, 6, 0, 0, 0)))
        out.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        out.write(chunk(b"IEND", b""))


def tile():
    """The large picture: a fine print, glowing a little, on a night sky. Kept within the inscribed circle, because
    newer logon screens crop the tile to one."""
    size = 266

    def sky(x, y):
        glow = math.hypot(x - size / 2, y - size * 0.46) / (size * 0.72)
        return mix(mix(NIGHT_TOP, (52, 66, 148), 0.55), NIGHT_BOTTOM, min(1.0, glow) ** 1.1)

    canvas = Canvas(size, sky)
    gaps = (
        (0.42,), (0.68,), (0.23, 0.80), (0.55,), (0.36, 0.74), (0.16, 0.60), (0.45, 0.86), (0.28, 0.66),
        (0.52, 0.12), (0.35, 0.78), (0.60,), (0.40,),
    )
    spacing, scale = 0.0845, 104.0

    def place(x, y):
        return (size / 2 + x * scale, size / 2 + y * scale)

    strokes = fingerprint(spacing, gaps)

    def light(_x, y):
        return ramp(COOL, (y / size - 0.5) * size / (2 * scale) + 0.5)

    half = spacing * scale * 0.29
    canvas.blend(canvas.stroke_mask(strokes, place, half, soft=7.0), light, 0.30)
    canvas.blend(canvas.stroke_mask(strokes, place, half), light)
    return canvas


def enlarged(rows, size):
    """The rows as GDI+ draws them at that size: between neighbours, from the top left corner on. Right and bottom edge
    are drawn between the last pixel and what is beyond it, the colour key."""
    step = len(rows) / size
    at = [(int(i * step), i * step % 1) for i in range(size)]
    lines = [[mix(line[i], line[i + 1], t) for i, t in at] for line in (row + [KEY] for row in rows)] + [[KEY] * size]
    return [[mix(a, b, t) for a, b in zip(lines[i], lines[i + 1])] for i, t in at]


def reduced(canvas, size):
    """The picture of that size which comes nearest to the canvas once it is enlarged: it starts from what lies there,
    and takes away a part of what is still wrong after enlarging, twice over."""
    big, result = canvas.size, Canvas(size, lambda x, y: (0.0, 0.0, 0.0))
    places = [min(big - 1, round(i * big / size)) for i in range(size)]
    for _ in range(2):
        wrong = [[tuple(t - s for t, s in zip(target, shown)) for target, shown in zip(*lines)]
                 for lines in zip(canvas.rows, enlarged(result.rows, big))]
        for y, big_y in enumerate(places):
            for x, big_x in enumerate(places):
                pixel = (a + d for a, d in zip(result.rows[y][x], wrong[big_y][big_x]))
                result.rows[y][x] = tuple(min(255.0, max(0.0, c)) for c in pixel)
    return result


def badge(top, bottom, ridges):
    """The small picture: a bold print in a ring. The prompt window draws it at 80 x 80 on magenta, its colour key, and
    enlarging blends an opaque pixel with an absent neighbour: on a transparent edge magenta would show. So no pixel is
    transparent, and what is smooth is smoothed over the dark of the logon screen, in which the corners vanish."""
    size, drawn = 72, 80
    centre = drawn / 2
    radius = centre - 3.5

    def paint(x, y):
        d = math.hypot(x - centre, y - centre)
        night = mix(SCREEN_TOP, SCREEN_BOTTOM, y / drawn)
        face = mix(top, bottom, min(1.0, math.hypot(x - centre, y - drawn * 0.3) / (drawn * 0.62)))
        ring = ramp(ridges, y / drawn)
        return mix(mix(night, face, min(max(radius - d + 0.5, 0.0), 1.0)),
                   ring, 0.8 * min(max(RING_WIDTH / 2 + 0.5 - abs(d - radius), 0.0), 1.0))

    canvas = Canvas(drawn, paint)
    gaps = ((0.40,), (0.70,), (0.27,), (0.60,), (0.38, 0.80), (0.55,))
    spacing, scale = 0.165, 30.5

    def place(x, y):
        return (centre + x * scale, centre + y * scale)

    mask = canvas.stroke_mask(fingerprint(spacing, gaps), place, spacing * scale * 0.27)
    canvas.blend(mask, lambda _x, y: ramp(ridges, ((y - centre) / scale + 1) / 2))
    return reduced(canvas, size)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    write_bmp(os.path.join(folder, "tile.bmp"), tile())
    write_png(os.path.join(folder, "prompt.png"), badge(NIGHT_TOP, NIGHT_BOTTOM, COOL))
    write_png(os.path.join(folder, "prompt2.png"), badge(LEAF_TOP, LEAF_BOTTOM, LEAF))


main()
