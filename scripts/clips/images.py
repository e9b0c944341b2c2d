"""The images that scripts/check-clips draws, with what has to be seen of each."""
import dataclasses
import subprocess

from animations import (CLEAR, RESTORE, Animation, Frame, delays_shown, exif, frames_shown, gif, jpeg_with_exif,
                        plain, png, png_with_exif, webp, webp_still, webp_with_exif)

RED, GREEN, BLUE, HALF, NONE = (255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255), (0, 0, 255, 128), (0, 0, 0, 0)


@dataclasses.dataclass
class Image:
    name: str
    data: bytes
    size: tuple = ()
    frames: list = None   # what has to be seen of each; absent: whatever ffmpeg makes of it
    plays: int = 1
    delays: list = None
    refused: str = ""
    reason: str = ""


def ffmpeg(words, data=b""):
    drawn = subprocess.run(["ffmpeg", "-v", "error", *words.split(), "-"], input=data, capture_output=True,
                           check=True).stdout
    if drawn.startswith(b"RIFF"):  # into a pipe it cannot write the length of the whole afterwards
        drawn = drawn[:4] + (len(drawn) - 8).to_bytes(4, "little") + drawn[8:]
    return drawn


def animations():
    yield "covers all", Animation(8, 6, [plain(8, 6, RED), plain(8, 6, GREEN, delay=50)])
    yield "a part that stays", Animation(8, 6, [plain(8, 6, RED), plain(2, 2, GREEN, x=2, y=2), plain(2, 2, BLUE, x=4, y=2)])
    yield "cleared", Animation(8, 6, [plain(8, 6, RED), plain(4, 2, GREEN, x=2, y=2, disposal=CLEAR), plain(2, 2, BLUE)])
    yield "restored", Animation(8, 6, [plain(8, 6, RED), plain(4, 2, GREEN, x=2, y=2, disposal=RESTORE), plain(2, 2, BLUE)])
    yield "an open canvas", Animation(8, 6, [plain(8, 6, NONE), plain(4, 2, GREEN, x=2, y=2)])
    yield "holes", Animation(8, 6, [plain(8, 6, RED), Frame(8, 6, bytes(GREEN + NONE) * 24)])
    yield "half seen through", Animation(8, 6, [plain(8, 6, RED), plain(4, 4, HALF, x=2, y=2)])
    yield "in place of", Animation(8, 6, [plain(8, 6, RED), plain(4, 4, NONE, x=2, y=2, blended=False)])
    yield "delays", Animation(8, 6, [plain(8, 6, RED, delay=d) for d in (0, 10, 20, 90, 1000)])
    yield "two rounds", Animation(8, 6, [plain(8, 6, RED), plain(8, 6, BLUE)], plays=2)
    yield "one round", Animation(8, 6, [plain(8, 6, RED), plain(8, 6, BLUE)], plays=1)


def drawn(kind, writer, can):
    for name, animation in animations():
        if can(animation):
            yield Image(f"{kind}: {name}", writer(animation), (animation.width, animation.height),
                        frames_shown(animation), animation.plays, delays_shown(animation))


def outside():
    animation = Animation(8, 6, [plain(8, 6, RED), plain(9, 9, GREEN, x=4, y=4), plain(2, 2, BLUE, x=20, y=20)])
    yield Image("gif: frames outside the canvas", gif(animation), (8, 6), frames_shown(animation), 0,
                delays_shown(animation))
    poster = plain(8, 6, BLUE)
    animation = Animation(8, 6, [plain(8, 6, RED), plain(8, 6, GREEN)])
    yield Image("png: a poster in front", png(animation, poster), (8, 6), frames_shown(animation), 0,
                delays_shown(animation))


def turned(number, width, height, pixels):
    """The picture as it is stored that is upright by this orientation."""
    out = []
    wide, high = (height, width) if number >= 5 else (width, height)
    for row in range(high):
        for column in range(wide):
            x, y = {1: (column, row), 2: (width - 1 - column, row), 3: (width - 1 - column, height - 1 - row),
                    4: (column, height - 1 - row), 5: (row, column), 6: (width - 1 - row, column),
                    7: (width - 1 - row, height - 1 - column), 8: (row, height - 1 - column)}[number]
            out.append(pixels[4 * (y * width + x):4 * (y * width + x) + 4])
    return wide, high, b"".join(out)


def photos():
    width, height = 32, 16
    corner = {(False, False): RED, (True, False): GREEN, (False, True): BLUE, (True, True): (255, 255, 0, 255)}
    upright = b"".join(bytes(corner[x >= 16, y >= 8]) for y in range(height) for x in range(width))
    for number in range(1, 9):
        wide, high, stored = turned(number, width, height, upright)
        raw = f"-f rawvideo -pix_fmt rgba -s {wide}x{high} -i - "
        block = exif(number, ">" if number % 2 else "<")
        jpeg = ffmpeg(raw + "-c:v mjpeg -q:v 1 -pix_fmt yuvj444p -f mjpeg", stored)
        yield Image(f"jpeg: orientation {number}", jpeg_with_exif(jpeg, block), (width, height), [upright], 1, [100])
        if number in (3, 6):
            flat = ffmpeg(raw + "-c:v png -f image2pipe", stored)
            yield Image(f"png: orientation {number}", png_with_exif(flat, block), (width, height), [upright], 1, [100])
            stills = webp_still(Frame(wide, high, stored))
            yield Image(f"webp: orientation {number}", webp_with_exif(wide, high, stills, block), (width, height),
                        [upright], 1, [100])


def stills():
    source = "-f lavfi -i testsrc2=s={}:d=0.04 -frames:v 1 "
    for name, size, words in (("jpeg: 4:2:0", "64x48", "-c:v mjpeg -q:v 2 -pix_fmt yuvj420p -f mjpeg"),
                              ("jpeg: 4:4:4, odd", "62x46", "-c:v mjpeg -q:v 2 -pix_fmt yuvj444p -f mjpeg"),
                              ("jpeg: grey", "64x48", "-c:v mjpeg -q:v 2 -pix_fmt gray -f mjpeg"),
                              ("jpeg: 5000 wide", "5000x3000", "-c:v mjpeg -q:v 2 -pix_fmt yuvj420p -f mjpeg"),
                              ("jpeg: 9000 wide", "9000x2000", "-c:v mjpeg -q:v 2 -pix_fmt yuvj420p -f mjpeg"),
                              ("png: colours", "64x48", "-c:v png -pix_fmt rgb24 -f image2pipe"),
                              ("png: 16 bits", "64x48", "-c:v png -pix_fmt rgba64be -f image2pipe"),
                              ("png: grey", "64x48", "-c:v png -pix_fmt gray -f image2pipe"),
                              ("png: a palette", "64x48", "-c:v png -pix_fmt pal8 -f image2pipe"),
                              ("png: 5000 wide", "5000x1000", "-c:v png -pix_fmt rgb24 -f image2pipe"),
                              ("webp: lossy", "64x48", "-c:v libwebp -q:v 90 -pix_fmt yuv420p -f webp"),
                              ("webp: lossless", "62x46", "-c:v libwebp -lossless 1 -pix_fmt bgra -f webp"),
                              ("webp: 5000 wide", "5000x1000", "-c:v libwebp -compression_level 0 -pix_fmt yuv420p -f webp")):
        width, height = map(int, size.split("x"))
        longer = max(width, height, 4096)
        yield Image(name, ffmpeg(source.format(size) + words), (width * 4096 // longer, height * 4096 // longer),
                    None, 1, [100], reason="libwebp smooths colours between pixels" if name == "webp: lossy" else "")


def refused():
    yield Image("html", b"<html>Not found</html>", refused="no image format")
    yield Image("gif: without frames", b"GIF89a" + bytes(10), refused="no picture")
    yield Image("gif: 65535 a side", b"GIF89a\xff\xff\xff\xff" + bytes(4), refused="more than the limit")


def images():
    yield from drawn("gif", gif, lambda a: all(f.blended for f in a.frames)
                     and all(f.pixels[3::4].strip(b"\0\xff") == b"" for f in a.frames))
    yield from drawn("png", png, lambda a: True)
    yield from drawn("webp", webp, lambda a: all(f.disposal != RESTORE for f in a.frames))
    yield from outside()
    yield from photos()
    yield from stills()
    yield from refused()
