#!/usr/bin/python3
"""Finds tray icons in a screenshot of the bar, with ImageMagick (no imaging module needed).

  picture.py locate SHOT          prints "X Y W H" of everything that is not bar background;
                                  exit 1 when the bar is empty
  picture.py match SHOT PNG       exit 0 when the bar shows PNG (drawn over the bar's
                                  background, scaled to the size it has in the bar); prints the
                                  difference (0 same, 1 opposite)
  picture.py differ A B           exit 0 when the two screenshots differ
  picture.py find SHOT PNG        prints "X Y W H" of PNG, drawn at its own size, among the
                                  other icons of the bar; exit 1 when it is not there

The background is the colour of the top-left pixel; icons are told apart from it by their
bounding box, so the bar must show nothing but the tray; "find" alone allows other icons.
"""

import os
import re
import subprocess
import sys
import tempfile

# Root-mean-square difference below which a picture counts as shown: scaling and the bar's
# blending move a few edge pixels, another icon moves far more.
MATCH_LIMIT = 0.08


def magick(*args):
    # ImageMagick warns on stderr about plain images; only the output counts.
    return subprocess.run(args, check=True, capture_output=True, text=True).stdout.strip()


def background(shot):
    return magick("convert", shot, "-format", "%[pixel:p{0,0}]", "info:")


def bounding_box(image, colour=None):
    """(x, y, w, h) of what differs from the border colour (the corner pixel unless COLOUR is
    given), or None for a plain image."""
    args = ["convert", image]
    if colour:
        args += ["-bordercolor", colour, "-border", "1"]
    args += ["-fuzz", "3%", "-format", "%@", "info:"]
    geometry = magick(*args)
    found = re.fullmatch(r"(\d+)x(\d+)\+(-?\d+)\+(-?\d+)", geometry)
    if not found:
        return None
    w, h, x, y = (int(v) for v in found.groups())
    if w == 0 or h == 0:
        return None
    if colour:
        x, y = x - 1, y - 1
    return x, y, w, h


def cmd_locate(shot):
    box = bounding_box(shot)
    if box is None:
        return 1
    print("%d %d %d %d" % box)
    return 0


def on_bar_background(shot, png, tmp):
    """The box of what the bar shows, PNG flattened onto the bar's background in tmp, and the
    box of the picture in it; None with a reason on stderr when either is blank."""
    box = bounding_box(shot)
    if box is None:
        print("the bar is empty", file=sys.stderr)
        return None
    flat = os.path.join(tmp, "expected.png")
    bg = background(shot)
    magick("convert", png, "-background", bg, "-flatten", flat)
    inner = bounding_box(flat, bg)
    if inner is None:
        print("%s is blank" % png, file=sys.stderr)
        return None
    return box, flat, inner


def difference(shot, png):
    """How far what the bar shows is from PNG (0 same, 1 opposite), or None with a reason on
    stderr."""
    with tempfile.TemporaryDirectory() as tmp:
        prepared = on_bar_background(shot, png, tmp)
        if prepared is None:
            return None
        box, flat, inner = prepared
        x, y, w, h = box
        shown = os.path.join(tmp, "shown.png")
        magick("convert", shot, "-crop", "%dx%d+%d+%d" % (w, h, x, y), "+repage", shown)
        ix, iy, iw, ih = inner
        expected = os.path.join(tmp, "scaled.png")
        magick(
            "convert", flat, "-crop", "%dx%d+%d+%d" % (iw, ih, ix, iy), "+repage",
            "-resize", "%dx%d!" % (w, h), expected,
        )
        result = subprocess.run(
            ["compare", "-metric", "RMSE", shown, expected, "null:"],
            capture_output=True, text=True,
        )
    found = re.search(r"\(([0-9.eE+-]+)\)", result.stderr)
    if not found:
        print("compare failed: %s" % result.stderr.strip(), file=sys.stderr)
        return None
    return float(found.group(1))


def cmd_match(shot, png):
    value = difference(shot, png)
    if value is None:
        return 1
    print("%.4f" % value)
    return 0 if value < MATCH_LIMIT else 1


def cmd_find(shot, png):
    with tempfile.TemporaryDirectory() as tmp:
        prepared = on_bar_background(shot, png, tmp)
        if prepared is None:
            return 1
        box, flat, inner = prepared
        # The tray draws pictures at their own size: search the icons' part of the bar, widened
        # by one picture on each side, at full height.
        width, height = (int(v) for v in magick("identify", "-format", "%w %h", flat).split())
        bar_width, bar_height = (
            int(v) for v in magick("identify", "-format", "%w %h", shot).split()
        )
        x, _, w, _ = box
        left = max(0, x - width)
        right = min(bar_width, x + w + width)
        if right - left < width or bar_height < height:
            print("no room for %s in the bar" % png, file=sys.stderr)
            return 1
        region = os.path.join(tmp, "region.png")
        magick("convert", shot, "-crop", "%dx%d+%d+0" % (right - left, bar_height, left),
               "+repage", region)
        result = subprocess.run(
            ["compare", "-metric", "RMSE", "-dissimilarity-threshold", "1", "-subimage-search",
             region, flat, "null:"],
            capture_output=True, text=True,
        )
    found = re.search(r"\(([0-9.eE+-]+)\) @ (\d+),(\d+)", result.stderr)
    if not found:
        print("compare failed: %s" % result.stderr.strip(), file=sys.stderr)
        return 1
    difference = float(found.group(1))
    if difference >= MATCH_LIMIT:
        print("%s not found; closest difference %.4f" % (png, difference), file=sys.stderr)
        return 1
    ix, iy, iw, ih = inner
    print("%d %d %d %d" % (left + int(found.group(2)) + ix, int(found.group(3)) + iy, iw, ih))
    return 0


def cmd_differ(a, b):
    result = subprocess.run(
        ["compare", "-metric", "AE", a, b, "null:"], capture_output=True, text=True
    )
    # AE prints the number of differing pixels; exit status 1 means "different".
    return 0 if result.returncode == 1 else 1


def main():
    commands = {"locate": (cmd_locate, 1), "match": (cmd_match, 2), "differ": (cmd_differ, 2),
                "find": (cmd_find, 2)}
    if len(sys.argv) < 2 or sys.argv[1] not in commands:
        print(__doc__, file=sys.stderr)
        return 2
    run, count = commands[sys.argv[1]]
    if len(sys.argv) != 2 + count:
        print(__doc__, file=sys.stderr)
        return 2
    return run(*sys.argv[2:])


if __name__ == "__main__":
    sys.exit(main())
