#!/usr/bin/env python3
"""Draws the pictures of the CorvaneOstrel resource bundle at @2x and @3x.

Each picture is a few shapes given by distance functions, sampled 4 x 4 per pixel for smooth
edges and written as an RGBA PNG with the standard library only. Run it again after changing a
shape: ./scripts/draw-resources.py
"""
import math
import os
import struct
import zlib

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "CorvaneOstrel.bundle")


def png(path, width, height, pixels):
    raw = b"".join(b"\x00" + bytes(pixels[y * width * 4:(y + 1) * width * 4]) for y in range(height))

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        f.write(chunk(b"IEND", b""))


def circle(cx, cy, r):
    return lambda x, y: math.hypot(x - cx, y - cy) - r


def ring(cx, cy, r, w):
    return lambda x, y: abs(math.hypot(x - cx, y - cy) - r) - w / 2


def segment(ax, ay, bx, by, w):
    def d(x, y):
        px, py, vx, vy = x - ax, y - ay, bx - ax, by - ay
        t = max(0.0, min(1.0, (px * vx + py * vy) / (vx * vx + vy * vy)))
        return math.hypot(px - vx * t, py - vy * t) - w / 2
    return d


def polyline(points, w):
    parts = [segment(*points[i], *points[i + 1], w) for i in range(len(points) - 1)]
    return lambda x, y: min(p(x, y) for p in parts)


def rounded_box(x0, y0, x1, y1, r):
    def d(x, y):
        qx = max(x0 + r - x, 0, x - (x1 - r))
        qy = max(y0 + r - y, 0, y - (y1 - r))
        inside = max(min(x - x0, x1 - x, y - y0, y1 - y), 0)
        return math.hypot(qx, qy) - r if (qx or qy) else -inside
    return d


def draw(name, size, layers):
    """`layers`: (distance function over the unit square, (r, g, b, a)), painted in order."""
    for scale in (2, 3):
        n = size * scale
        pixels = [0] * (n * n * 4)
        for py in range(n):
            for px in range(n):
                r = g = b = a = 0.0
                for shape, (cr, cg, cb, ca) in layers:
                    cover = 0
                    for sy in range(4):
                        for sx in range(4):
                            u = (px + (sx + 0.5) / 4) / n
                            v = (py + (sy + 0.5) / 4) / n
                            cover += shape(u, v) <= 0
                    alpha = ca * cover / 16
                    if alpha == 0:
                        continue
                    out = alpha + a * (1 - alpha)
                    r = (cr * alpha + r * a * (1 - alpha)) / out
                    g = (cg * alpha + g * a * (1 - alpha)) / out
                    b = (cb * alpha + b * a * (1 - alpha)) / out
                    a = out
                i = (py * n + px) * 4
                pixels[i:i + 4] = [round(r), round(g), round(b), round(a * 255)]
        png(os.path.join(OUT, f"{name}@{scale}x.png"), n, n, pixels)


WHITE, GREY, DARK = (255, 255, 255, 1), (68, 68, 68, 1), (51, 51, 51, 1)


def X(w, m=0.34):
    """The two strokes of a cross, inset by `m`."""
    return polyline([(m, m), (1 - m, 1 - m)], w), polyline([(1 - m, m), (m, 1 - m)], w)



os.makedirs(OUT, exist_ok=True)
# Below a picture or web page: a dark disc with a white rim and cross.
draw("ot_close", 30, [(circle(.5, .5, .46), (0, 0, 0, .45)), (ring(.5, .5, .44, .05), WHITE),
                      (X(.07)[0], WHITE), (X(.07)[1], WHITE)])
# On the corner of a card: a white disc with a grey cross.
draw("ot_close_white", 30, [(circle(.5, .5, .46), WHITE), (ring(.5, .5, .44, .04), (210, 210, 210, 1)),
                            (X(.07)[0], GREY), (X(.07)[1], GREY)])
draw("ot_webview_back", 36, [(polyline([(.58, .28), (.36, .5), (.58, .72)], .07), DARK)])
draw("ot_webview_close", 36, [(X(.07, .3)[0], DARK), (X(.07, .3)[1], DARK)])
draw("ot_tag", 24, [(rounded_box(.12, .22, .88, .78, .12), (30, 136, 229, 1)), (circle(.3, .5, .07), WHITE),
                    (polyline([(.45, .5), (.76, .5)], .08), WHITE)])
draw("ot_submit_success", 48, [(circle(.5, .5, .46), (46, 160, 67, 1)),
                               (polyline([(.28, .52), (.44, .67), (.73, .36)], .08), WHITE)])
draw("ot_submit_fail", 48, [(circle(.5, .5, .46), (211, 47, 47, 1)), (X(.08)[0], WHITE), (X(.08)[1], WHITE)])
