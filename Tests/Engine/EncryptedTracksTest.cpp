#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>

#include "Tavrin/Mpv/Internal/EncryptedTracks.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> 8 * i & 255);
  return text;
}

std::string box(const std::string& type, const std::string& contents) {
  return number(8 + contents.size(), 4) + type + contents;
}

std::string longBox(const std::string& type, const std::string& contents) {
  return number(1, 4) + type + number(16 + contents.size(), 8) + contents;
}

std::string track(const std::string& kinds) {
  const auto table = box("stbl", box("stsd", number(0, 4) + number(1, 4) + kinds) + number(0, 4));
  return box("trak", box("tkhd", std::string(84, '\0')) + box("mdia", box("minf", table)));
}

std::string kind(const std::string& type, const std::string& boxes = "") {
  return box(type, std::string(78, '\0') + boxes);
}

std::string file(const std::string& tracks) {
  return box("ftyp", "isom") + longBox("mdat", std::string(300, 'm')) +
         box("moov", box("mvhd", std::string(100, '\0')) + tracks);
}

// One letter for each of three tracks: "e" for one that is encrypted.
std::string seen(const std::string& bytes, std::size_t step) {
  EncryptedTracks tracks;
  for (std::size_t at = 0; at < bytes.size(); at += step) {
    const auto count = std::min(step, bytes.size() - at);
    tracks.see(static_cast<std::int64_t>(at), std::as_bytes(std::span(bytes).subspan(at, count)));
  }
  std::string letters;
  for (const std::int64_t each : {0, 1, 2}) letters += tracks.has(each) ? 'e' : '-';
  return letters;
}

TEST(EncryptedTracks, AreThoseWhoseSamplesAreSaidToBe) {
  const auto plain = track(kind("avc1", box("avcC", "abc"))), encrypted = track(kind("encv"));
  const struct {
    std::string tracks, seen;
  } cases[] = {
      {plain + encrypted + plain, "-e-"},
      {plain + plain, "---"},
      {encrypted + plain + track(kind("enca")), "e-e"},
      {track(kind("avc1") + kind("encv")), "e--"},
      {track(kind("avc1", box("pasp", "12345678") + box("sinf", "frma"))), "e--"},
      {plain + track(kind("avc1", number(7, 4) + "sinf")) + encrypted, "--e"},  // is no box
      {box("udta", kind("encv")) + plain, "---"},
  };
  for (const auto& each : cases) {
    for (const std::size_t step : std::initializer_list<std::size_t>{1, 7, 64, 100000}) {
      EXPECT_EQ(seen(file(each.tracks), step), each.seen) << each.seen << ", " << step;
    }
  }
}

TEST(EncryptedTracks, AreFoundNeitherInGarbageNorBehindTheLastTrackThatCounts) {
  std::string many;
  for (int i = 0; i < 1001; ++i) many += track(kind("encv"));
  EXPECT_EQ(seen(file(many), 4096), "eee");
  for (const auto& head :
       {number(0, 4), number(7, 4), number(0xFFFFFFFF, 4), std::string("RIFF")}) {
    EXPECT_EQ(seen(head + file(track(kind("encv"))), 64), "---");
  }
  EXPECT_EQ(seen(number(1, 4) + "moov" + std::string(8, '\xff') + track(kind("encv")), 64), "---");
}

}  // namespace

}  // namespace tavrin::testing
