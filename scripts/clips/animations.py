"""Animations that are drawn by hand, byte by byte, and what a browser shows of each.

An animation is a canvas and frames that may lie anywhere on it. `frames_shown` is the model: it knows
nothing of any format. The writers put the same animation into a GIF, a PNG or a WebP.
"""
import dataclasses
import struct
import subprocess
import zlib

KEEP, CLEAR, RESTORE = "keep", "clear", "restore"


@dataclasses.dataclass
class Frame:
    width: int
    height: int
    pixels: bytes  # red, green, blue, alpha
    delay: int = 100  # in ms
    x: int = 0
    y: int = 0
    disposal: str = KEEP
    blended: bool = True


@dataclasses.dataclass
class Animation:
    width: int
    height: int
    frames: list
    plays: int = 0  # 0 for without end


def plain(width, height, color, **options):
    return Frame(width, height, bytes(color) * (width * height), **options)


def over(below, above):
    """Puts one pixel over another; alpha is not premultiplied."""
    if above[3] == 255 or below[3] == 0:
        return bytes(above) if above[3] else bytes(below)
    rest = below[3] * (255 - above[3]) / 255
    alpha = above[3] + rest
    mix = [round((a * above[3] + b * rest) / alpha) for a, b in zip(above[:3], below[:3])]
    return bytes([*mix, round(alpha)])


def frames_shown(animation):
    """The whole canvas after each frame, transparent where nothing has been drawn."""
    size = animation.width * animation.height
    canvas = [bytes(4)] * size
    shown = []
    for frame in animation.frames:
        before = list(canvas)
        places = []
        for row in range(frame.height):
            for column in range(frame.width):
                x, y = frame.x + column, frame.y + row
                if 0 <= x < animation.width and 0 <= y < animation.height:
                    places.append((y * animation.width + x, (row * frame.width + column) * 4))
        for place, at in places:
            pixel = frame.pixels[at:at + 4]
            canvas[place] = over(canvas[place], pixel) if frame.blended else pixel
        shown.append(b"".join(canvas))
        if frame.disposal == RESTORE:
            canvas = before
        if frame.disposal == CLEAR:
            for place, _ in places:
                canvas[place] = bytes(4)
    return shown


def delays_shown(animation):
    return [100 if frame.delay <= 10 else frame.delay for frame in animation.frames]


# --- GIF -----------------------------------------------------------------------------------------

def gif_codes(indices, bits):
    """Every pixel as a code of its own: a clear code comes before codes would grow."""
    clear, width = 1 << bits, bits + 1
    stream, count, out = 0, 0, bytearray()

    def put(code):
        nonlocal stream, count
        stream |= code << count
        count += width
        while count >= 8:
            out.append(stream & 255)
            stream >>= 8
            count -= 8

    for at, index in enumerate(indices):
        if at % ((1 << bits) - 2) == 0:
            put(clear)
        put(index)
    put(clear + 1)
    if count:
        out.append(stream & 255)
    return bytes(out)


def gif_blocks(data):
    parts = [data[at:at + 255] for at in range(0, len(data), 255)]
    return b"".join(bytes([len(part)]) + part for part in parts) + b"\0"


def gif_image(frame):
    colors = sorted({frame.pixels[at:at + 4] for at in range(0, len(frame.pixels), 4)})
    bits = max(2, (len(colors) - 1).bit_length())
    places = {color: at for at, color in enumerate(colors)}
    transparent = next((at for at, color in enumerate(colors) if color[3] == 0), None)
    flags = {KEEP: 1, CLEAR: 2, RESTORE: 3}[frame.disposal] << 2 | (transparent is not None)
    palette = b"".join(color[:3] for color in colors).ljust(3 << bits, b"\0")
    indices = [places[frame.pixels[at:at + 4]] for at in range(0, len(frame.pixels), 4)]
    return (b"\x21\xf9\x04" + struct.pack("<BHB", flags, frame.delay // 10, transparent or 0) + b"\0\x2c" +
            struct.pack("<4HB", frame.x, frame.y, frame.width, frame.height, 0x80 | bits - 1) + palette +
            bytes([bits]) + gif_blocks(gif_codes(indices, bits)))


def gif(animation, background=(200, 0, 0)):
    """`plays` of 1 writes no loop count; others are written less one, as browsers count."""
    loops = b""
    if animation.plays != 1:
        again = max(0, animation.plays - 1)
        loops = b"\x21\xff\x0bNETSCAPE2.0\x03\x01" + struct.pack("<H", again) + b"\0"
    palette = bytes(background) + bytes(9)
    return (b"GIF89a" + struct.pack("<HHBBB", animation.width, animation.height, 0x81, 0, 0) + palette + loops +
            b"".join(gif_image(frame) for frame in animation.frames) + b"\x3b")


# --- PNG -----------------------------------------------------------------------------------------

def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png_data(frame):
    rows = [b"\0" + frame.pixels[at:at + 4 * frame.width] for at in range(0, len(frame.pixels), 4 * frame.width)]
    return zlib.compress(b"".join(rows))


def png_control(number, frame):
    disposal = {KEEP: 0, CLEAR: 1, RESTORE: 2}[frame.disposal]
    return chunk(b"fcTL", struct.pack(">5I2H2B", number, frame.width, frame.height, frame.x, frame.y,
                                      frame.delay, 1000, disposal, frame.blended))


def png(animation, poster=None):
    """The first frame covers the canvas, or a `poster` does that is no part of the animation."""
    out = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", animation.width, animation.height, 8, 6, 0, 0, 0))
    out += chunk(b"acTL", struct.pack(">2I", len(animation.frames), animation.plays))
    if poster:
        out += chunk(b"IDAT", png_data(poster))
    number = 0
    for at, frame in enumerate(animation.frames):
        out += png_control(number, frame)
        number += 1
        if at == 0 and not poster:
            out += chunk(b"IDAT", png_data(frame))
        else:
            out += chunk(b"fdAT", struct.pack(">I", number) + png_data(frame))
            number += 1
    return out + chunk(b"IEND", b"")


# --- WebP ----------------------------------------------------------------------------------------

def riff(kind, data):
    return kind + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def webp_still(frame):
    """The chunks of one lossless picture, drawn by ffmpeg."""
    made = subprocess.run(["ffmpeg", "-v", "error", "-f", "rawvideo", "-pix_fmt", "rgba", "-s",
                           f"{frame.width}x{frame.height}", "-i", "-", "-c:v", "libwebp", "-lossless", "1",
                           "-pix_fmt", "bgra", "-f", "webp", "-"], input=frame.pixels, capture_output=True, check=True)
    at, kept = 12, b""
    while at < len(made.stdout):
        kind, size = made.stdout[at:at + 4], struct.unpack("<I", made.stdout[at + 4:at + 8])[0]
        if kind in (b"VP8L", b"VP8 ", b"ALPH"):
            kept += riff(kind, made.stdout[at + 8:at + 8 + size])
        at += 8 + size + size % 2
    return kept


def three(number):
    return struct.pack("<I", number)[:3]


def webp(animation, background=(0, 0, 200, 255)):
    """Frames lie at even places; none restores."""
    out = riff(b"VP8X", struct.pack("<I", 0x12) + three(animation.width - 1) + three(animation.height - 1))
    out += riff(b"ANIM", bytes(background) + struct.pack("<H", animation.plays))
    for frame in animation.frames:
        flags = (0 if frame.blended else 2) | (frame.disposal == CLEAR)
        out += riff(b"ANMF", three(frame.x // 2) + three(frame.y // 2) + three(frame.width - 1) +
                    three(frame.height - 1) + three(frame.delay) + bytes([flags]) + webp_still(frame))
    return b"RIFF" + struct.pack("<I", len(out) + 4) + b"WEBP" + out


# --- EXIF ----------------------------------------------------------------------------------------

def exif(orientation, order="<"):
    head = {"<": b"II", ">": b"MM"}[order] + struct.pack(order + "HI", 42, 8)
    return head + struct.pack(order + "HHHIHHI", 1, 0x0112, 3, 1, orientation, 0, 0)


def jpeg_with_exif(jpeg, block):
    """Puts the block behind the start of a JPEG."""
    segment = b"Exif\0\0" + block
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(segment) + 2) + segment + jpeg[2:]


def png_with_exif(png_bytes, block):
    return png_bytes[:33] + chunk(b"eXIf", block) + png_bytes[33:]


def webp_with_exif(width, height, stills, block):
    out = riff(b"VP8X", struct.pack("<I", 0x08) + three(width - 1) + three(height - 1)) + stills + riff(b"EXIF", block)
    return b"RIFF" + struct.pack("<I", len(out) + 4) + b"WEBP" + out
