"""The clips that scripts/check-clips plays: what ffmpeg is told to draw each with.

A clip is a name, the file's ending, ffmpeg's words, and the size that it is to be shown in. `fails`
is a part of the error of one that has no picture or is cut; `reason` says why its pictures differ
from ffmpeg's.
"""
import base64
import dataclasses
import struct
import typing

SOURCE = "testsrc2=s={size}:r={rate}:d={length}"


@dataclasses.dataclass
class Clip:
    name: str
    ending: str
    encode: str
    size: str = "160x120"  # as it is coded
    shown: str = ""        # as it is shown, when that differs
    rate: str = "25"
    length: str = "0.6"
    sound: bool = False
    inputs: str = ""       # words for further inputs
    also: str = ""         # the size of a second part, drawn alike and put behind the first
    changed: typing.Callable[[bytes], bytes] = None  # what becomes of its bytes
    cut: float = 1.0       # the share of the bytes that is left
    filter: str = ""       # ffmpeg's, for the frames that have to be seen of a clip that it would turn
    fails: str = ""
    reason: str = ""


def text_of(seconds):
    """An input: a subtitle that ends after so many seconds."""
    lines = f"1\n00:00:00,000 --> 00:00:{seconds:02},000\nHello\n".encode()
    return f"-f srt -i data:text/plain;base64,{base64.b64encode(lines).decode()}"


def with_matrix(*rows):
    """Changes how an MP4's track lies on the screen: two rows of a matrix, and where its corner goes."""
    def change(data):
        at = data.index(b"tkhd") + 44
        fixed = [round(number * 65536) for number in rows]
        matrix = struct.pack(">9i", fixed[0], fixed[1], 0, fixed[2], fixed[3], 0, fixed[4], fixed[5], 1 << 30)
        return data[:at] + matrix + data[at + 36:]
    return change


def turned(degrees, width=160, height=120):
    """Has an MP4's track stand turned clockwise. ffmpeg's own words for this differ from version to version."""
    return with_matrix(*{90: (0, 1, -1, 0, height, 0), 180: (-1, 0, 0, -1, width, height),
                         270: (0, -1, 1, 0, 0, width)}[degrees])


def with_declared_length(data):
    """As cameras do that do not know it: the largest number there is."""
    at = data.index(b"mvhd") + 20
    return data[:at] + b"\xff\xff\xff\xff" + data[at + 4:]


def with_garbage(data):
    """The pictures of an MP4 are overwritten, and nothing else."""
    at = data.index(b"mdat") + 4
    length = int.from_bytes(data[at - 8:at - 4], "big") - 8
    return data[:at] + bytes(i * 37 % 256 for i in range(length)) + data[at + length:]


def with_kind(kind, other):
    """One kind of an MP4's samples has another's name."""
    def change(data):
        at = data.index(kind, data.index(b"stsd"))
        return data[:at] + other + data[at + 4:]
    return change


def without_first(share):
    """A transport stream from somewhere in its middle."""
    return lambda data: data[int(len(data) // 188 * share) * 188:]


X264 = "-c:v libx264 -preset ultrafast -pix_fmt yuv420p"
SOUND = "-c:a aac"


def clips():
    yield Clip("h264 in mp4, index last", "mp4", X264)
    yield Clip("h264 in mp4, index first", "mp4", X264 + " -movflags faststart")
    yield Clip("h264 in fragmented mp4", "mp4", X264 + " -g 5 -movflags frag_keyframe+empty_moov")
    yield Clip("h264 with sound", "mp4", f"{X264} {SOUND}", sound=True)
    yield Clip("h264 with B frames", "mp4", "-c:v libx264 -preset fast -bf 3 -pix_fmt yuv420p")
    yield Clip("h264, one key picture", "mp4", X264 + " -g 1000")
    yield Clip("h264, 4:4:4", "mp4", "-c:v libx264 -preset ultrafast -pix_fmt yuv444p")
    yield Clip("h264, 10 bits", "mp4", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p10le")
    for ending in ("mkv", "mov", "flv", "ts", "avi", "3gp"):
        yield Clip(f"h264 in {ending}", ending, X264)
    yield Clip("hevc in mp4", "mp4", "-c:v libx265 -preset ultrafast -tag:v hvc1 -x265-params log-level=none")
    yield Clip("hevc, 10 bits", "mp4",
               "-c:v libx265 -preset ultrafast -pix_fmt yuv420p10le -tag:v hvc1 -x265-params log-level=none")
    yield Clip("vp8 in webm", "webm", "-c:v libvpx -deadline realtime -b:v 500k")
    yield Clip("vp9 in webm", "webm", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 500k")
    yield Clip("vp9 in mp4", "mp4", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 500k")
    yield Clip("av1 in webm", "webm", "-c:v libaom-av1 -cpu-used 8 -usage realtime -b:v 500k")
    yield Clip("mpeg4 in mp4", "mp4", "-c:v mpeg4 -q:v 3")
    yield Clip("mpeg2 in ts", "ts", "-c:v mpeg2video -q:v 3")
    yield Clip("mpeg2 in mpg", "mpg", "-c:v mpeg2video -q:v 3")
    yield Clip("theora in ogv", "ogv", "-c:v libtheora -q:v 8")
    yield Clip("wmv, which is not among the containers", "wmv", "-c:v wmv2 -q:v 3", fails="unrecognized")
    yield Clip("mjpeg in avi", "avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p")
    yield Clip("prores in mov", "mov", "-c:v prores_ks")
    for angle in (90, 180, 270):
        shown = "160x120" if angle == 180 else "120x160"
        yield Clip(f"turned by {angle}", "mp4", X264, shown=shown, changed=turned(angle))
    yield Clip("square, turned by 90", "mp4", X264, size="128x128", changed=turned(90, 128, 128))
    for size in ("16x16", "34x18"):
        yield Clip(f"{size} pixels", "mp4", X264, size=size, reason="all colour edges, which ffmpeg smooths otherwise")
    for size in ("162x90", "176x144", "320x180", "90x160", "640x16"):
        yield Clip(f"{size} pixels", "mp4", X264, size=size)
    yield Clip("anamorphic 4:3", "mp4", X264 + " -vf setsar=4/3", size="120x120", shown="160x120")
    yield Clip("anamorphic 1:2", "mkv", X264 + " -vf setsar=1/2", size="160x60", shown="80x60")
    for rate in ("1", "5", "23.976", "50", "60", "120"):
        yield Clip(f"{rate} pictures a second", "mp4", X264, rate=rate, length="2" if rate == "1" else "0.6")
    yield Clip("one picture", "mp4", X264, length="0.04")
    yield Clip("a variable rate", "mkv", X264 + " -vf select='mod(n\\,3)' -vsync vfr")
    yield Clip("a time offset of an hour", "mkv", X264 + " -output_ts_offset 3600")
    yield Clip("a time offset in ts", "ts", X264 + " -output_ts_offset 1000")
    yield Clip("video that begins late", "mkv", f"{X264} {SOUND} -vf setpts=PTS+0.4/TB", sound=True)
    for transfer, kind in (("smpte2084", "PQ"), ("arib-std-b67", "HLG")):
        yield Clip(f"HDR, {kind}", "mp4", "-c:v libx265 -preset ultrafast -pix_fmt yuv420p10le -tag:v hvc1 "
                   f"-color_trc {transfer} -color_primaries bt2020 -colorspace bt2020nc -x265-params log-level=none")
    yield Clip("full range", "mp4", X264 + " -color_range pc")
    yield Clip("BT.709", "mp4", X264 + " -vf scale=out_color_matrix=bt709 -colorspace bt709 -color_primaries bt709 -color_trc bt709")
    yield from lengths()
    yield from clocks()
    yield from layouts()
    yield from shapes()
    yield from broken()


def lengths():
    """Containers that are longer than their pictures, or say so."""
    yield Clip("a subtitle of 4 s", "mkv", f"-map 0 -map 1 {X264}", inputs=text_of(4))
    yield Clip("sound of 2 s", "mp4", f"-map 0 -map 1 {X264} {SOUND}", inputs="-f lavfi -i sine=d=2")
    yield Clip("sound of 0.2 s", "mkv", f"-map 0 -map 1 {X264} {SOUND}", inputs="-f lavfi -i sine=d=0.2")
    yield Clip("a second video of 2 s", "mp4", f"-map 0 -map 1 {X264}", inputs="-f lavfi -i color=s=64x64:d=2")
    fragments = X264 + " -g 5 -movflags frag_keyframe+empty_moov"
    yield Clip("fragments that declare the longest time", "mp4", fragments, changed=with_declared_length)
    yield Clip("an index that declares the longest time", "mp4", X264, changed=with_declared_length)
    yield Clip("a last picture that stays for 3 s", "mkv", X264 + " -vf setpts='PTS+3/TB*gte(N\\,14)' -vsync vfr")
    yield Clip("a picture every 5 s", "mp4", X264, rate="0.2", length="10")


def clocks():
    """Times that begin elsewhere, or rates that nobody expects."""
    yield Clip("an mp4 that begins at 5 s", "mp4", X264 + " -output_ts_offset 5")
    yield Clip("an mp4 whose sound begins first", "mp4", f"{X264} {SOUND} -vf setpts=PTS+0.5/TB", sound=True)
    yield Clip("fragments that begin at an hour", "mp4",
               X264 + " -g 5 -movflags frag_keyframe+empty_moov+frag_discont -output_ts_offset 3600")
    yield Clip("an flv that begins at 100 s", "flv", X264 + " -output_ts_offset 100")
    yield Clip("a clock that wraps around in ts", "ts", X264 + " -g 5 -output_ts_offset 95443.3")
    for rate in ("7.3", "30000/1001", "1000/7", "500"):
        yield Clip(f"{rate} pictures a second", "mp4", X264, rate=rate, length="1.5" if rate == "7.3" else "0.6")


def layouts():
    """What lies beside the pictures, or how they lie."""
    cover = "-f lavfi -i color=c=red:s=200x200:d=0.04 -disposition:v:1 attached_pic -c:v:1 mjpeg -pix_fmt:v:1 yuvj420p"
    yield Clip("cover art beside a video", "mp4", f"-map 0 -map 1 {cover.split('d=0.04 ')[1]} -c:v:0 libx264 "
               "-preset:v:0 ultrafast -pix_fmt:v:0 yuv420p", inputs=cover.split(" -disp")[0])
    yield Clip("cover art alone", "m4a", "-map 0 -map 1 -frames:v 1 -c:v mjpeg -pix_fmt yuvj420p "
               "-disposition:v attached_pic -c:a aac", sound=True, fails="no picture")
    yield Clip("mirrored left to right", "mp4", X264, changed=with_matrix(-1, 0, 0, 1, 160, 0), filter="hflip,vflip")
    yield Clip("mirrored top to bottom", "mp4", X264, changed=with_matrix(1, 0, 0, -1, 0, 120), filter="null")
    for kind, words in (("mov", X264), ("mp4", "-c:v libx264 -preset fast -bf 3 -pix_fmt yuv420p"),
                        ("mp4", "-c:v libx265 -preset ultrafast -tag:v hvc1 -pix_fmt yuv420p10le -x265-params log-level=none")):
        codec = "h265, 10 bits," if "265" in words else "h264 with B frames," if "-bf" in words else "h264"
        yield Clip(f"{codec} in {kind}, turned by 90", kind, words, shown="120x160", changed=turned(90))
    yield Clip("HLG, turned by 90", "mp4", "-c:v libx265 -preset ultrafast -pix_fmt yuv420p10le -tag:v hvc1 "
               "-color_trc arib-std-b67 -color_primaries bt2020 -colorspace bt2020nc -x265-params log-level=none",
               shown="120x160", changed=turned(90))
    yield Clip("interlaced", "ts", "-c:v mpeg2video -q:v 3 -flags +ilme+ildct")
    yield Clip("grey", "mp4", "-c:v libx264 -preset ultrafast -pix_fmt gray")


def shapes():
    """Pictures that are small, or change their size."""
    one = "format=gbrp,crop=1:1:40:40,"
    yield Clip("1x1 pixels", "mp4", f"-vf {one}format=yuv444p -c:v libx264 -preset ultrafast -pix_fmt yuv444p", shown="16x16")
    yield Clip("1x1 pixels in webm", "webm", f"-vf {one}format=yuv420p -c:v libvpx -b:v 100k", shown="16x16")
    yield Clip("2x2 pixels", "mp4", "-vf scale=2:2 " + X264, shown="16x16")
    yield Clip("as wide as can be", "avi", "-vf scale=16384:256,setsar=1 -c:v mjpeg -q:v 9 -pix_fmt yuvj420p", shown="1024x16",
               length="0.2")
    yield Clip("too wide", "avi", "-vf scale=16400:16 -c:v mjpeg -q:v 3 -pix_fmt yuvj420p", fails="too many pixels")
    yield Clip("too many pixels", "avi", "-vf scale=8400:8000 -frames:v 1 -c:v mjpeg -q:v 30 -pix_fmt yuvj420p",
               fails="too many pixels")
    for ending, words in (("ts", X264), ("ts", "-c:v mpeg2video -q:v 3")):
        codec = words.split()[1].removeprefix("lib")
        yield Clip(f"a size that changes, {codec} in {ending}", ending, words, also="320x240")


def broken():
    """What is cut, cannot be decoded, or is no clip."""
    no_index = "cannot be played"
    for share in (0.0, 0.02, 0.3):
        yield Clip(f"cut to {share:.0%}, index last", "mp4", X264, cut=share, fails=no_index)
    yield Clip("cut to 40%, index first", "mp4", X264 + " -g 5 -movflags faststart", cut=0.4, fails="ends before its end", length="4")
    yield Clip("cut to 40%, mkv", "mkv", X264 + " -g 5", cut=0.4, fails="ends before its end", length="4")
    yield Clip("cut to 40% in a fragment", "mp4", X264 + " -g 5 -movflags frag_keyframe+empty_moov", cut=0.4,
               fails="ends before its end", length="4")
    yield Clip("cut to 40%, ts", "ts", X264 + " -g 5", cut=0.4, length="4")
    yield Clip("a ts from its middle", "ts", X264 + " -g 10", changed=without_first(0.25), length="1")
    yield Clip("an mpg from its middle", "ts", "-c:v mpeg2video -q:v 3 -g 10", changed=without_first(0.25), length="1")
    yield Clip("garbage in mp4", "mp4", X264, changed=with_garbage, fails="no picture")
    yield Clip("garbage beside sound", "mp4", X264 + " -movflags faststart", changed=with_garbage, sound=True,
               fails="no picture")
    yield Clip("sound alone", "m4a", "-vn -c:a aac", sound=True, fails="no picture")
    key = "-encryption_scheme cenc-aes-ctr -encryption_key {0} -encryption_kid {0}"
    for number, words in ((1, ""), (2, " -movflags faststart"), (3, " -movflags frag_keyframe+empty_moov"),
                          (4, f" {SOUND}"), (5, " -f mov")):
        yield Clip(f"encrypted mp4, {number}", "mp4", f"{X264}{words} {key.format(str(number) * 32)}", sound=SOUND in words,
                   fails="encrypted")
    yield Clip("pictures that are said to be encrypted", "mp4", X264, changed=with_kind(b"avc1", b"encv"), fails="encrypted")
    yield Clip("sound that is said to be encrypted", "mp4", f"{X264} {SOUND}", changed=with_kind(b"mp4a", b"enca"), sound=True)
    for name, ending in (("webm as mp4", "mp4"), ("mp4 as webm", "webm")):
        yield Clip(name, ending, "-f matroska -c:v libvpx -b:v 500k" if ending == "mp4" else "-f mp4 " + X264)
    yield Clip("a gif as mp4", "mp4", "-f gif", fails="unrecognized")


QUICK = {"h264 in mp4, index last", "h264 with sound", "vp9 in webm", "anamorphic 4:3",
         "cut to 30%, index last", "sound alone", "turned by 90", "square, turned by 90",
         "pictures that are said to be encrypted"}
