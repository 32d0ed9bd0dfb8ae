#include "parser/track_entry.h"

#include <utility>

#include "parser/content_encoding.h"
#include "parser/element_table.h"

namespace vantor {

namespace {

// Whether the element had a child.
bool ReadVideo(const MkvElement& element, MkvVideoSettings& video) {
  return ReadChildren(element, {
                                   {0x9A, video.FlagInterlaced},
                                   {0x53B8, video.StereoMode},
                                   {0xB0, video.PixelWidth},
                                   {0xBA, video.PixelHeight},
                                   {0x54B0, video.DisplayWidth},
                                   {0x54BA, video.DisplayHeight},
                                   {0x54B2, video.DisplayUnit},
                                   {0x54B3, video.AspectRatioType},
                                   {0x2EB524, video.ColourSpace},
                                   {0x2FB523, video.GammaValue},
                                   {0x2383E3, video.FrameRate},
                               }) == S_OK;
}

bool ReadAudio(const MkvElement& element, MkvAudioSettings& audio) {
  return ReadChildren(element, {
                                   {0xB5, audio.SamplingFrequency},
                                   {0x78B5, audio.OutputSamplingFrequency},
                                   {0x9F, audio.Channels},
                                   {0x7D7B, audio.ChannelPositions},
                                   {0x6264, audio.BitDepth},
                               }) == S_OK;
}

void ReadTrackEntry(const MkvElement& element, MkvTrackEntry& track) {
  ReadRecord(element,
             {
                 {0xD7, track.TrackNumber},
                 {0x73C5, track.TrackUID},
                 {0x83, track.TrackType},
                 {0xB9, track.FlagEnabled},
                 {0x88, track.FlagDefault},
                 {0x9C, track.FlagLacing},
                 {0x6DE7, track.MinCache},
                 {0x6DF8, track.MaxCache},
                 {0x536E, track.Name},
                 {0x22B59C, track.Language},
                 {0x86, track.CodecID},
                 {0x63A2, track.CodecPrivate},
                 {0x258688, track.CodecName},
                 {0x3A9697, track.CodecSettings},
                 {0x3B4040, track.CodecInfoURL},
                 {0x26B240, track.CodecDownloadURL},
                 {0xAA, track.CodecDecodeAll},
                 {0x6FAB, track.TrackOverlay},
                 {0x23E383, track.DefaultDuration},
                 // The identifier of a Video's FrameRate, which is a float. Directly in a TrackEntry it has always
                 // been taken for the other, its payload's bits for nanoseconds.
                 {0x2383E3, track.DefaultDuration},
                 {0x23314F, track.TrackTimecodeScale},
                 {0xE0,
                  [&](const MkvElement& child) {
                    if (ReadVideo(child, track.video)) track.sections |= MkvTrackEntry::kHasVideo;
                  }},
                 {0xE1,
                  [&](const MkvElement& child) {
                    if (ReadAudio(child, track.audio)) track.sections |= MkvTrackEntry::kHasAudio;
                  }},
                 {0x6D80, [&](const MkvElement& child) { ReadContentEncodings(child, track.contentEncodings); }},
             });
}

// Writers that pad it, or count its end in, mean the codec all the same.
void TrimZeros(Bytes& codecId) {
  while (!codecId.empty() && codecId.back() == 0) codecId.pop_back();
}

}  // namespace

HRESULT ReadTracks(const MkvElement& tracks, MkvTrackList& list, std::size_t limit) {
  if (!tracks) return E_POINTER;
  ReadRecord(tracks, {
                         {0xAE,
                          [&](const MkvElement& child) {
                            if (list.size() >= limit || !child.file->recordRoom.Take(sizeof(MkvTrackEntry))) {
                              return child.NotePassedOver(Tolerated::kTrackOverLimit);
                            }
                            auto track = std::make_unique<MkvTrackEntry>();
                            ReadTrackEntry(child, *track);
                            if (child.file->Policy().trimCodecIds) TrimZeros(track->CodecID);
                            list.push_back(std::move(track));
                          }},
                     });
  return S_OK;
}

}  // namespace vantor
