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
