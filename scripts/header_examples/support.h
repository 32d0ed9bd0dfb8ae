// What the examples in the headers of tests/support take as given.
#pragma once
#include "filter/registration.h"
#include "parser/block.h"
#include "parser/file_root.h"
#include "support/control_scene.h"
#include "support/fake_sink.h"
#include "support/misbehaving_sink.h"

extern MkvBlock& block;
extern const MkvElement& element;
extern IAsyncReader* reader;
extern IPin *pin, *input;
extern const Raw& bytes;
extern FakeSink* sink;
extern const ClassRegistrar& classes;
extern IPin *peer, *own;
extern IBaseFilter* filter;
extern LONGLONG position;
extern const std::vector<ControlCell>& cells;
extern const ControlCell& cell;
extern const ComPtr<IFilterGraph>& graph;
extern const ControlScene::MakeFilter& makeFilter;
extern const std::function<ComPtr<IFilterGraph>()>& makeGraph;
extern MisbehavingSink* misbehaving;
