// What the examples in the headers of src/mediatypes take as given.
#pragma once
#include "mediatypes/codec_id.h"
#include "mediatypes/nal_units.h"
#include "mediatypes/track_media_type.h"
#include "mediatypes/video_builders.h"

extern const char* text;
extern std::size_t length;
extern MkvTrackEntry& track;
extern const VideoCodec kVideoCodecs[2];
extern ByteSpan bytes, rest, unit;
bool Use(ByteSpan unit);
extern const AvcConfigSources& sources;
extern TrackMediaType type;
void MakePin(const TrackMediaType& type);
extern IPin* upstream;
