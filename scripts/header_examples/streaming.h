// What the examples in the headers of src/streaming take as given.
#pragma once

extern CMkvFile& root;
extern const MkvTrackEntry& track;
extern std::list<MkvBlock>& block;
