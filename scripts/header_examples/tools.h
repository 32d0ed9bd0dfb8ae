// What the examples in the headers of src/tools take as given.
#pragma once
#include "tools/check/block_findings.h"
#include "tools/check/block_walk.h"
#include "tools/command_line.h"
#include "tools/file_extras.h"
#include "tools/file_facts.h"
#include "tools/forms/track_writer.h"
#include "tools/opened_file.h"
#include "tools/play_counter.h"
#include "tools/sample_log.h"
#include "tools/session.h"

int Fail(const std::string& reason);
extern const AM_MEDIA_TYPE& type;
extern OutputBytes& output;
extern std::unique_ptr<TrackWriter>& writer;
extern const TrackForm& form;
extern std::span<const std::uint8_t> payload, sequenceHeader;
extern int argc;
extern char** argv;
void Print(const std::string& text);
template <typename... Values>
void Use(const Values&... values);
bool Print(const LogRecord& record);
int Incomplete();
extern std::shared_ptr<ByteStore> store;
extern const Options& options;
extern Graph& graph;
extern CMkvFileRoot& root;
extern OpenedFile& opened;
extern MkvElement& element;
extern BlockWalk& walk;
extern const FileExtras& extras;
extern const TrackPins& tracks;
extern const TrackPin& track;
extern const FileFacts& facts;
extern Session& session;
extern const FileShape& shape;
extern const FilterSummary& summary;
extern Findings& findings;
extern std::uint64_t total;
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
