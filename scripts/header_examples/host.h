// What the examples in the headers of src/host take as given.
#pragma once
#include "host/byte_store.h"
#include "host/component.h"
#include "host/file_source_pin.h"
#include "host/sample_listener.h"

std::string Describe(FileError error);
extern Component& component;
extern std::shared_ptr<ByteStore> store;
extern unsigned char header[16], first;
extern IAsyncReader* reader;
extern FileSourcePin* pin;
extern IPin *splitterInput, *outputPin;
extern AM_MEDIA_TYPE type;
class MyListener : public SampleListener {};
extern std::shared_ptr<MyListener> listener;
extern EndWatch& watch;
extern ReadStatistics& statistics;
extern std::uint32_t length;
extern SinkGate& gate;
struct Lane {};
extern Lane lanes[];
extern std::size_t laneCount;
