// What the examples in the headers of src/tools take as given.
#pragma once
#include "tools/command_line.h"
#include "tools/play_counter.h"
#include "tools/sample_log.h"

extern int argc;
extern char** argv;
void Print(const std::string& text);
bool Print(const LogRecord& record);
int Incomplete();
extern std::shared_ptr<ByteStore> store;
extern const Options& options;
extern Graph& graph;
extern GraphPin& pin;
extern HRESULT hr;
extern LogRecord& record;
extern fmt::memory_buffer& buffer;
extern std::string name, out, path;
extern std::uint8_t* bytes;
extern std::size_t size;
extern SpillFile& spill;
extern Bytes block;
extern std::int64_t position, duration;
