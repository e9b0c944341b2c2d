#include "Tavrin/Mpv/Internal/MpvSettings.hpp"

namespace tavrin {

namespace {

constexpr MpvSetting settings[] = {
    // Nothing of the user's own player is read, run or written. The built-in scripts are also what
    // makes a handle slow to create.
    {"config", "no"},
    {"load-scripts", "no"},
    {"osc", "no"},
    {"ytdl", "no"},
    {"load-stats-overlay", "no"},
    {"load-osd-console", "no"},
    {"load-auto-profiles", "no"},
    {"load-select", "no", true},
    {"load-positioning", "no", true},
    {"load-commands", "no", true},
    {"load-context-menu", "no", true},
    {"resume-playback", "no"},
    {"save-position-on-quit", "no"},
    {"terminal", "no"},
    {"input-default-bindings", "no"},
    {"input-builtin-bindings", "no"},
    {"input-vo-keyboard", "no"},
    {"input-cursor", "no"},
    {"input-media-keys", "no"},
    {"stop-screensaver", "no"},
    {"osd-level", "0"},

    // A file may not lead to other files. One demuxer library reads everything, and of its formats
    // only containers of pictures and sound: no playlist, cue sheet, list of parts or still image.
    {"demuxer", "lavf"},
    {"demuxer-lavf-o", "format_whitelist=[mov,mp4,matroska,webm,mpegts,mpeg,avi,flv,ogg]"},
    // Bytes come from the readers alone: libmpv opens no address, not even one that a file names.
    {"stream-lavf-o", "protocol_whitelist=none"},
    {"access-references", "no"},
    {"ordered-chapters", "no"},
    {"load-unsafe-playlists", "no"},
    {"autoload-files", "no"},
    {"audio-file-auto", "no"},
    {"cover-art-auto", "no"},
    {"audio-display", "no"},
    {"sub", "no"},
    {"sub-auto", "no"},

    // A load ends in its last picture, from where a seek plays it again.
    {"idle", "yes"},
    {"keep-open", "yes"},
    {"keep-open-pause", "no"},

    // Bytes. The item holds the body already, so little is kept here; the pause for the cache is
    // what tells of a stall.
    {"cache", "yes"},
    {"cache-pause", "yes"},
    {"cache-pause-wait", "0.2"},
    {"demuxer-seekable-cache", "yes"},
    {"demuxer-max-bytes", "16MiB"},
    {"demuxer-max-back-bytes", "8MiB"},
    // A blocked read must not hold up the end of a load; its reader is cancelled instead.
    {"demuxer-termination-timeout", "0"},

    // Pictures are drawn by the host. They are handed over when they are due, not before.
    {"vo", "libmpv"},
    {"video-timing-offset", "0"},
    // libmpv's software renderer says that it turns pictures, and does not: we do.
    {"video-rotate", "no"},
    // What decodes is chosen for each clip, once it is known how large it is.
    {"hwdec", "no"},
    {"vd-lavc-threads", "1"},

    // A missing sound device leaves the picture.
    {"audio-fallback-to-null", "yes"},
};

}  // namespace

std::span<const MpvSetting> mpvSettings() { return settings; }

}  // namespace tavrin
