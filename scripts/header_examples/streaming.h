// What the examples in the headers of src/streaming take as given.
#pragma once
#include "baseclasses/output_pin.h"
#include "streaming/block_cursor.h"
#include "streaming/frame_times.h"
#include "streaming/playback.h"
#include "streaming/seek_search.h"
#include "streaming/track_worker.h"

extern CMkvFile& root;
extern const MkvTrackEntry& track;
extern BlockCursor& cursor;
extern StampedBlock& block;
extern std::int64_t lasts;
extern const Playback& playback;
struct MyPin : CBaseOutputPin {
  IMemAllocator* Allocator();
};
extern MyPin& pin;
extern const Patience& patience;
extern const Bytes& frame;
void Deliver(std::int64_t start, std::int64_t stop);
extern TrackWorker& worker;
bool StopPending();
extern CMkvFileClone& clone;
extern const MkvElement& segment;
extern const PlaceInFile& found;
extern LateThreadHolder& holder;
