// What the examples in the headers of tests/support take as given.
#pragma once
#include "filter/registration.h"
#include "parser/block.h"
#include "parser/file_root.h"
#include "support/fake_sink.h"

extern MkvBlock& block;
extern const MkvElement& element;
extern IAsyncReader* reader;
extern IPin *pin, *input;
extern const Raw& bytes;
extern FakeSink* sink;
extern const ClassRegistrar& classes;
