// What the examples in the headers of src/mediatypes take as given.
#pragma once

extern const char* text;
extern std::size_t length;
extern MkvTrackEntry& track;
void MakePin(const TrackMediaType& type);
