#include "host/component.h"

#include <gtest/gtest.h>

#include "host/fake_splitter.h"
#include "host/graph_manager.h"
#include "host/host_test.h"
#include "platform/com_ptr.h"

namespace vantor::test {
namespace {

class ComponentTest : public HostTest {};

TEST_F(ComponentTest, MakesAFilterThroughItsEntryPoints) {
  const Component component(ToyGetClassObject, ToyCanUnloadNow);
  EXPECT_TRUE(component.CanUnloadNow());
  ComPtr<IBaseFilter> filter;
  ASSERT_EQ(component.CreateFilter(FakeSplitter::kClassId, filter.Out()), S_OK);
  CLSID classId = {};
  EXPECT_EQ(filter->GetClassID(&classId), S_OK);
  EXPECT_TRUE(SameGuid(classId, FakeSplitter::kClassId));
  EXPECT_FALSE(component.CanUnloadNow());
  filter.Reset();
  EXPECT_TRUE(component.CanUnloadNow());
}

TEST_F(ComponentTest, AMissingLibraryIsNamedInTheMessage) {
  std::string error;
  EXPECT_EQ(Component::Load("/no/such/component.so", error), nullptr);
  EXPECT_NE(error.find("component.so"), std::string::npos) << error;
}

TEST_F(ComponentTest, ALibraryWithoutEntryPointsIsNoComponent) {
  for (const char* library : {"libc.so.6", "kernel32.dll"}) {
    std::string error;
    EXPECT_EQ(Component::Load(library, error), nullptr);
    EXPECT_FALSE(error.empty());
  }
}

class ManagerTest : public HostTest {
 protected:
  ComPtr<GraphManager> manager_ = GraphManager::Create();
};

TEST_F(ManagerTest, ListsItsFiltersInOrder) {
  const auto first = FakeSplitter::Create();
  const auto second = FakeSplitter::Create();
  ASSERT_EQ(manager_->AddFilter(first.Get(), OLESTR("One")), S_OK);
  ASSERT_EQ(manager_->AddFilter(second.Get(), OLESTR("Two")), S_OK);
  ComPtr<IEnumFilters> filters;
  ASSERT_EQ(manager_->EnumFilters(filters.Out()), S_OK);
  ComPtr<IBaseFilter> next;
  EXPECT_EQ(filters->Next(1, next.Out(), nullptr), S_OK);
  EXPECT_EQ(next.Get(), first.Get());
  ComPtr<IEnumFilters> copy;
  EXPECT_EQ(filters->Clone(copy.Out()), S_OK);
  EXPECT_EQ(copy->Next(1, next.Out(), nullptr), S_OK);
  EXPECT_EQ(next.Get(), second.Get());
  ULONG fetched = 9;
  EXPECT_EQ(copy->Next(1, next.Out(), &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(copy->Reset(), S_OK);
  EXPECT_EQ(copy->Skip(2), S_OK);
  EXPECT_EQ(copy->Skip(1), S_FALSE);
  IBaseFilter* two[2] = {};
  EXPECT_EQ(copy->Next(2, two, nullptr), E_INVALIDARG);
  EXPECT_EQ(manager_->RemoveFilter(first.Get()), S_OK);
  EXPECT_EQ(manager_->RemoveFilter(second.Get()), S_OK);
}

TEST_F(ManagerTest, FindsFiltersByTheNameTheyJoinedUnder) {
  const auto filter = FakeSplitter::Create();
  ASSERT_EQ(manager_->AddFilter(filter.Get(), OLESTR("Toy")), S_OK);
  ComPtr<IBaseFilter> found;
  EXPECT_EQ(manager_->FindFilterByName(OLESTR("Toy"), found.Out()), S_OK);
  EXPECT_EQ(found.Get(), filter.Get());
  EXPECT_EQ(manager_->FindFilterByName(OLESTR("toy"), found.Out()), VFW_E_NOT_FOUND);
  EXPECT_EQ(manager_->RemoveFilter(filter.Get()), S_OK);
  EXPECT_EQ(manager_->RemoveFilter(filter.Get()), VFW_E_NOT_FOUND);
}

TEST_F(ManagerTest, HandsEventsToItsOwner) {
  std::vector<LONG> codes;
  manager_->OnEvent([&](const GraphEvent& event) { codes.push_back(event.code); });
  ComPtr<IMediaEventSink> sink;
  ASSERT_EQ(manager_->QueryInterface(IID_IMediaEventSink, sink.Void()), S_OK);
  EXPECT_EQ(sink->Notify(EC_USERABORT, 1, 2), S_OK);
  ASSERT_EQ(manager_->Events().size(), 1u);
  EXPECT_EQ(manager_->Events()[0].event.param2, 2);
  EXPECT_EQ(codes, std::vector<LONG>{EC_USERABORT});
}

TEST_F(ManagerTest, CountsEqualEventsAndKeepsThemInOrder) {
  ComPtr<IMediaEventSink> sink;
  ASSERT_EQ(manager_->QueryInterface(IID_IMediaEventSink, sink.Void()), S_OK);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(sink->Notify(EC_STREAM_ERROR_STILLPLAYING, 1, 0), S_OK);
  EXPECT_EQ(sink->Notify(EC_STREAM_ERROR_STILLPLAYING, 0, 7), S_OK);
  EXPECT_EQ(sink->Notify(EC_ERRORABORT, 5, 0), S_OK);
  const std::vector<CountedEvent> events = manager_->Events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].event, (GraphEvent{EC_ERRORABORT, 5, 0}));
  EXPECT_EQ(events[1].event, (GraphEvent{EC_STREAM_ERROR_STILLPLAYING, 0, 7}));
  EXPECT_EQ(events[2].event, (GraphEvent{EC_STREAM_ERROR_STILLPLAYING, 1, 0}));
  EXPECT_EQ(events[2].count, 1000u);
}

TEST_F(ManagerTest, AnswersOnlyItsOwnInterfaces) {
  void* object = this;
  EXPECT_EQ(manager_->QueryInterface(IID_IBaseFilter, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
}

}  // namespace
}  // namespace vantor::test
