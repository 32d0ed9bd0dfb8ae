// What the examples in the headers of src/parser take as given.
#pragma once
#include "parser/cues.h"
#include "parser/element_ids.h"
#include "parser/file_root.h"

extern IAsyncReader* reader;
extern CMkvFile& file;
extern const MkvElement element, cluster, point;
extern MkvCuePoint& record;
void ReadTrackPosition(const MkvElement& child, MkvCuePoint& record);
extern const MkvTrackEntry& track;
extern FrameBytes& frame;
void Use(std::uint64_t value);
void Use(const FrameBytes& frame);
void Play(const std::vector<MkvCueList>& cues);
extern std::uint64_t size;
extern MkvCueList& list;
