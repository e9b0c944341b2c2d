"""The clips that scripts/check-clips plays: what ffmpeg is told to draw each with.

A clip is a name, the file's ending, ffmpeg's words, and the size that it is to be shown in. `fails`
holds for one that has no picture or is cut; `reason` says why its pictures differ from ffmpeg's.
"""
import dataclasses

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
    then: str = ""         # a second run over the file: words for a copy
    cut: float = 1.0       # the share of the bytes that is left
    fails: bool = False
    reason: str = ""


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
    yield Clip("wmv, which is not among the containers", "wmv", "-c:v wmv2 -q:v 3", fails=True)
    yield Clip("mjpeg in avi", "avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p")
    yield Clip("prores in mov", "mov", "-c:v prores_ks")
    for angle in (90, 180, 270):
        shown = "160x120" if angle == 180 else "120x160"
        yield Clip(f"turned by {angle}", "mp4", X264, shown=shown, then=f"-metadata:s:v:0 rotate={angle}")
    yield Clip("square, turned by 90", "mp4", X264, size="128x128", then="-metadata:s:v:0 rotate=90")
    for size in ("16x16", "34x18"):
        yield Clip(f"{size} pixels", "mp4", X264, size=size, reason="all colour edges, which ffmpeg smooths otherwise")
    for size in ("162x90", "176x144", "320x180", "90x160", "640x16"):
        yield Clip(f"{size} pixels", "mp4", X264, size=size)
    yield Clip("anamorphic 4:3", "mp4", X264 + " -vf setsar=4/3", size="120x120", shown="160x120")
    yield Clip("anamorphic 1:2", "mkv", X264 + " -vf setsar=1/2", size="160x60", shown="80x60",
               reason="ffmpeg shrinks by another filter")
    for rate in ("1", "5", "23.976", "50", "60", "120"):
        yield Clip(f"{rate} pictures a second", "mp4", X264, rate=rate, length="2" if rate == "1" else "0.6")
    yield Clip("one picture", "mp4", X264, length="0.04")
    yield Clip("a variable rate", "mkv", X264 + " -vf select='mod(n\\,3)' -vsync vfr")
    yield Clip("a time offset of an hour", "mkv", X264 + " -output_ts_offset 3600")
    yield Clip("a time offset in ts", "ts", X264 + " -output_ts_offset 1000")
    yield Clip("video that begins late", "mkv", f"{X264} {SOUND}", sound=True)
    for transfer, kind in (("smpte2084", "PQ"), ("arib-std-b67", "HLG")):
        yield Clip(f"HDR, {kind}", "mp4", "-c:v libx265 -preset ultrafast -pix_fmt yuv420p10le -tag:v hvc1 "
                   f"-color_trc {transfer} -color_primaries bt2020 -colorspace bt2020nc -x265-params log-level=none",
                   reason="ffmpeg does not map tones")
    yield Clip("full range", "mp4", X264 + " -color_range pc")
    yield Clip("BT.709", "mp4", X264 + " -vf scale=out_color_matrix=bt709 -colorspace bt709 -color_primaries bt709 -color_trc bt709")
    for share in (0.0, 0.02, 0.3):
        yield Clip(f"cut to {share:.0%}, index last", "mp4", X264, cut=share, fails=True)
    yield Clip("cut to 40%, index first", "mp4", X264 + " -g 5 -movflags faststart", cut=0.4, fails=True, length="4")
    yield Clip("sound alone", "m4a", "-vn -c:a aac", sound=True, fails=True)
    yield Clip("encrypted mp4", "mp4", X264 + " -encryption_scheme cenc-aes-ctr -encryption_key "
               "76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8", fails=True)
    for name, ending in (("webm as mp4", "mp4"), ("mp4 as webm", "webm")):
        yield Clip(name, ending, "-f matroska -c:v libvpx -b:v 500k" if ending == "mp4" else "-f mp4 " + X264)


QUICK = {"h264 in mp4, index last", "h264 with sound", "vp9 in webm", "anamorphic 4:3",
         "cut to 30%, index last", "sound alone"}
