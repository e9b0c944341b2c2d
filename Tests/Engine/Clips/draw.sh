#!/bin/sh
# Draws the clips that the engine tests play: one plain colour each, so that a picture tells which
# clip it is of. Needs the ffmpeg program.
set -eu
cd "$(dirname "$0")"
draw() { ffmpeg -hide_banner -loglevel error -y "$@"; }
picture() { printf 'color=c=%s:size=160x120:rate=30:duration=%s' "$1" "$2"; }
tone() { printf 'sine=frequency=440:sample_rate=44100:duration=%s' "$1"; }

for colour in red green blue; do
  draw -f lavfi -i "$(picture $colour 1)" -f lavfi -i "$(tone 1)" -c:v libx264 -preset veryslow \
    -pix_fmt yuv420p -c:a aac -b:a 32k -movflags +faststart -fflags +bitexact -flags +bitexact $colour.mp4
done
draw -f lavfi -i "$(picture red 1)" -f lavfi -i "$(tone 1)" -c:v libvpx-vp9 -b:v 20k -c:a libopus \
  -b:a 24k -fflags +bitexact red.webm
draw -f lavfi -i "testsrc=size=320x240:rate=30:duration=4" -f lavfi -i "$(tone 4)" -c:v libx264 \
  -preset veryslow -pix_fmt yuv420p -g 30 -c:a aac -b:a 32k -movflags +faststart \
  -fflags +bitexact -flags +bitexact long.mp4
draw -f lavfi -i "$(tone 1)" -c:a aac -b:a 32k -movflags +faststart -fflags +bitexact sound.m4a
draw -f lavfi -i "$(picture red 1)" -frames:v 1 -fflags +bitexact still.png

# What people's own clips are like: turned (upright phone videos), of a high dynamic range, longer
# than their pictures, and clips that only look like some.
four='color=red:s=40x30:r=30:d=0.5[a];color=lime:s=40x30:r=30:d=0.5[b];color=blue:s=40x30:r=30:d=0.5[c]
  ;color=white:s=40x30:r=30:d=0.5[d];[a][b]hstack[t];[c][d]hstack[u];[t][u]vstack'
exact="-fflags +bitexact -flags +bitexact"
draw -filter_complex "$four" -c:v libx264 -pix_fmt yuv420p $exact corners.mp4
draw -filter_complex "$four,crop=60:60" -c:v libx264 -pix_fmt yuv420p $exact square.mp4
for degrees in 90 180 270; do
  draw -i corners.mp4 -c copy -metadata:s:v:0 rotate=$degrees $exact turned$degrees.mp4
done
draw -i square.mp4 -c copy -metadata:s:v:0 rotate=90 $exact turned-square.mp4
for transfer in smpte2084 arib-std-b67; do
  draw -f lavfi -i "color=0x808080:s=64x48:r=30:d=0.2" -c:v libx265 -pix_fmt yuv420p10le -tag:v hvc1 \
    -x265-params "log-level=none:colorprim=bt2020:transfer=$transfer:colormatrix=bt2020nc" $exact \
    $transfer.mp4
done
draw -i turned90.mp4 -f lavfi -i "color=blue:s=16x16:r=1:d=9" -map 0 -map 1 -c:v libx264 $exact longer.mp4
draw -i corners.mp4 -f lavfi -i "$(tone 0.5)" -c:v copy -c:a aac $exact -encryption_scheme cenc-aes-ctr \
  -encryption_key 00112233445566778899aabbccddeeff -encryption_kid 0123456789abcdef0123456789abcdef \
  encrypted.mp4
draw -f lavfi -i "color=red:s=64x48:r=30" -frames:v 1 -c:v libx264 -pix_fmt yuv420p $exact one.mp4
draw -f lavfi -i "color=red:s=2x2:r=30:d=0.5,format=yuv444p,crop=1:1" -c:v libvpx-vp9 $exact tiny.webm
draw -f lavfi -i "color=red:s=320x240:r=1000:d=0.1" -c:v libx265 -pix_fmt yuv420p -tag:v hvc1 \
  -x265-params log-level=none $exact quick.mp4
part() {
  draw -f lavfi -i "color=$1:s=$2:r=30:d=0.5" -c:v libx264 -pix_fmt yuv420p -output_ts_offset $3 $exact -f mpegts -
}
{ part red 64x48 0; part blue 96x32 0.5; } > resized.ts
draw -i red.mp4 -c copy -output_ts_offset 143165 $exact offset.mp4
