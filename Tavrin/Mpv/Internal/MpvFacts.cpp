#include "Tavrin/Mpv/Internal/MpvFacts.hpp"

#include <mpv/client.h>

#include <algorithm>
#include <string_view>

namespace tavrin {

namespace {

// Of the codecs that people meet, those that have no more than eight bits, or are never used so.
constexpr std::string_view plainCodecs[] = {"h264", "vp8",    "mpeg4", "mpeg2video", "mpeg1video",
                                            "h263", "theora", "mjpeg", "flv1"};

const mpv_node* member(const mpv_node& node, std::string_view name) {
  if (node.format != MPV_FORMAT_NODE_MAP) return nullptr;
  const auto& list = *node.u.list;
  for (int i = 0; i < list.num; ++i) {
    if (list.keys[i] == name) return &list.values[i];
  }
  return nullptr;
}

std::int64_t number(const mpv_node& node, std::string_view name, std::int64_t missing = 0) {
  const auto* value = member(node, name);
  return value && value->format == MPV_FORMAT_INT64 ? value->u.int64 : missing;
}

double real(const mpv_node& node, std::string_view name) {
  const auto* value = member(node, name);
  return value && value->format == MPV_FORMAT_DOUBLE ? value->u.double_ : 0;
}

bool isSet(const mpv_node& node, std::string_view name) {
  const auto* value = member(node, name);
  return value && value->format == MPV_FORMAT_FLAG && value->u.flag != 0;
}

std::string_view text(const mpv_node& node, std::string_view name) {
  const auto* value = member(node, name);
  return value && value->format == MPV_FORMAT_STRING ? value->u.string : "";
}

std::int64_t placeOf(const mpv_node& track) { return number(track, "ff-index", -1); }

}  // namespace

TrackFacts TrackFacts::of(const mpv_node& track) {
  TrackFacts facts;
  facts.place = placeOf(track);
  facts.width = number(track, "demux-w");
  facts.height = number(track, "demux-h");
  facts.turn = turnOfDegrees(static_cast<double>(number(track, "demux-rotation")));
  facts.rate = real(track, "demux-fps");
  facts.isOfPlainCodec =
      std::ranges::find(plainCodecs, text(track, "codec")) != std::end(plainCodecs);
  return facts;
}

std::vector<TrackFacts> TrackFacts::ofVideos(const mpv_node& tracks) {
  std::vector<TrackFacts> videos;
  if (tracks.format != MPV_FORMAT_NODE_ARRAY) return videos;
  for (int i = 0; i < tracks.u.list->num; ++i) {
    const auto& track = tracks.u.list->values[i];
    if (text(track, "type") == "video" && !isSet(track, "albumart")) videos.push_back(of(track));
  }
  return videos;
}

std::vector<std::int64_t> TrackFacts::placesOfSounds(const mpv_node& tracks) {
  std::vector<std::int64_t> places;
  if (tracks.format != MPV_FORMAT_NODE_ARRAY) return places;
  for (int i = 0; i < tracks.u.list->num; ++i) {
    const auto& track = tracks.u.list->values[i];
    if (text(track, "type") == "audio") places.push_back(placeOf(track));
  }
  return places;
}

PictureFacts PictureFacts::of(const mpv_node& parameters) {
  const auto gamma = text(parameters, "gamma");
  return {number(parameters, "w"), number(parameters, "h"), gamma == "pq" || gamma == "hlg"};
}

}  // namespace tavrin
