// How two pins connect, fail to connect, and part.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "baseclasses/fakes.h"
#include "platform/result.h"

using namespace vantor::test;
using vantor::ComPtr;

namespace {

class Connection : public PinPair {
 protected:
  // The peer and type that a pin tells the outside.
  static IPin* PeerOf(IPin* pin) {
    ComPtr<IPin> peer;
    return pin->ConnectedTo(peer.Out()) == S_OK ? peer.Get() : nullptr;
  }
  static std::string TypeOf(IPin* pin) {
    AM_MEDIA_TYPE mt;
    if (pin->ConnectionMediaType(&mt) != S_OK) return "none";
    std::string name = TypeName(CMediaType(mt));
    FreeMediaType(mt);
    return name;
  }
};

TEST_F(Connection, GoesThroughItsStepsInOrder) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(log.Take(), (Calls{"out.CheckMediaType A", "in.CheckMediaType A", "in.CompleteConnect",
                               "out.CompleteConnect", "out.DecideBufferSize", "in.NotifyAllocator"}));
  EXPECT_EQ(PeerOf(out), in);
  EXPECT_EQ(PeerOf(in), out);
  EXPECT_EQ(TypeOf(out), "A");
  EXPECT_EQ(TypeOf(in), "A");
  EXPECT_NE(out->Allocator(), nullptr);
  EXPECT_EQ(out->Allocator(), in->Allocator());
  EXPECT_EQ(out->CurrentMediaType(), MakeType(kTypeA));
}

TEST_F(Connection, GoesFromTheOutputPinToTheInputPinOnly) {
  const CMediaType mt = MakeType(kTypeA);
  in->offered = {mt};
  EXPECT_EQ(out->ReceiveConnection(in, &mt), E_UNEXPECTED);
  EXPECT_EQ(in->Connect(out, nullptr), E_UNEXPECTED);
  EXPECT_EQ(in->Connect(out, &mt), E_UNEXPECTED);
  EXPECT_EQ(log.Take(), Calls{});
  ExpectNothingConnected();
  EXPECT_EQ(out->ReceiveConnection(nullptr, &mt), E_POINTER);
  EXPECT_EQ(out->ReceiveConnection(in, nullptr), E_POINTER);
  EXPECT_EQ(in->Connect(nullptr, nullptr), E_POINTER);
  EXPECT_EQ(Connect(), S_OK);
}

TEST_F(Connection, OnAnOwnWorkerOfTheFilterItIsNeitherMadeNorEnded) {
  const CMediaType mt = MakeType(kTypeA);
  source->m_OnOwnWorker = true;
  sink->m_OnOwnWorker = true;
  EXPECT_EQ(Connect(), VFW_E_WRONG_STATE);
  EXPECT_EQ(out->ReceiveConnection(in, &mt), VFW_E_WRONG_STATE);
  EXPECT_EQ(in->ReceiveConnection(out, &mt), VFW_E_WRONG_STATE);
  EXPECT_EQ(in->Disconnect(), VFW_E_WRONG_STATE);
  EXPECT_EQ(out->Connect(nullptr, nullptr), E_POINTER);
  EXPECT_EQ(in->ReceiveConnection(nullptr, &mt), E_POINTER);
  EXPECT_EQ(log.Take(), Calls{});
  ExpectNothingConnected();
  source->m_OnOwnWorker = sink->m_OnOwnWorker = false;
  EXPECT_EQ(Connect(), S_OK);
  source->m_OnOwnWorker = true;
  EXPECT_EQ(out->Disconnect(), VFW_E_WRONG_STATE);
  EXPECT_EQ(PeerOf(out), in);
  source->m_OnOwnWorker = false;
}

TEST_F(Connection, DuringThePeersReceiveConnectionThisPinAlreadyAnswers) {
  in->complete = [&](IPin* pPeer) {
    EXPECT_EQ(PeerOf(pPeer), in);
    EXPECT_EQ(TypeOf(pPeer), "A");
    EXPECT_EQ(PeerOf(in), out);
    EXPECT_EQ(TypeOf(in), "A");
    return S_OK;
  };
  EXPECT_EQ(Connect(), S_OK);
}

TEST_F(Connection, BeforeAndAfterNothingIsAnswered) {
  IPin* peer = out;
  AM_MEDIA_TYPE mt = {};
  mt.majortype = MEDIATYPE_Video;
  EXPECT_EQ(out->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(peer, nullptr);
  mt.cbFormat = 5;
  EXPECT_EQ(out->ConnectionMediaType(&mt), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(mt.cbFormat, 0u);
  EXPECT_TRUE(vantor::SameGuid(mt.majortype, GUID_NULL));
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(out->Disconnect(), S_OK);
  EXPECT_EQ(out->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(out->CurrentMediaType(), CMediaType());
}

TEST_F(Connection, NullArgumentsAreRefused) {
  EXPECT_EQ(out->Connect(nullptr, nullptr), E_POINTER);
  const CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(in->ReceiveConnection(nullptr, &mt), E_POINTER);
  EXPECT_EQ(in->ReceiveConnection(out, nullptr), E_POINTER);
  EXPECT_EQ(out->ConnectedTo(nullptr), E_POINTER);
  EXPECT_EQ(out->ConnectionMediaType(nullptr), E_POINTER);
  EXPECT_EQ(out->QueryAccept(nullptr), E_POINTER);
}

TEST_F(Connection, TheReceivingPinsTypesAreTriedFirst) {
  out->offered = {MakeType(kTypeA)};
  in->offered = {MakeType(kTypeB), MakeType(kTypeC)};
  out->accepted = {kTypeA, kTypeC};
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(TypeOf(out), "C");
}

TEST_F(Connection, OwnTypesAreTriedFirstWhereThePinSaysSo) {
  out->TryMyTypesFirst();
  in->offered = {MakeType(kTypeB)};
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(TypeOf(out), "A");
}

TEST_F(Connection, OwnTypesFollowWhenNoneOfThePeersWillDo) {
  in->offered = {MakeType(kTypeB), MakeType(kTypeC)};
  out->accepted = {kTypeA};
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(TypeOf(in), "A");
}

TEST_F(Connection, AFullTypeIsTheOnlyOneTried) {
  const CMediaType mt = MakeType(kTypeB);
  in->accepted = {kTypeA};
  EXPECT_EQ(Connect(&mt), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(log.Take(), (Calls{"out.CheckMediaType B", "in.CheckMediaType B", "in.BreakConnect", "out.BreakConnect"}));
  in->accepted = {kTypeB};
  EXPECT_EQ(Connect(&mt), S_OK);
  EXPECT_EQ(TypeOf(in), "B");
}

TEST_F(Connection, APartialTypeSelectsAmongThoseOffered) {
  out->offered = {MakeType(kTypeA), MakeType(kTypeB), MakeType(kTypeC)};
  CMediaType partial(&MEDIATYPE_Video);
  partial.SetSubtype(&kTypeB);
  EXPECT_EQ(Connect(&partial), S_OK);
  EXPECT_EQ(TypeOf(out), "B");
}

TEST_F(Connection, APartialTypeThatNoneMatchesConnectsNothing) {
  const CMediaType partial(&MEDIATYPE_Audio);
  EXPECT_EQ(Connect(&partial), VFW_E_NO_ACCEPTABLE_TYPES);
  EXPECT_EQ(log.Take(), Calls{});
  ExpectNothingConnected();
}

TEST_F(Connection, WithoutAnyTypeThereIsNoConnection) {
  out->offered.clear();
  EXPECT_EQ(Connect(), VFW_E_NO_ACCEPTABLE_TYPES);
  ExpectNothingConnected();
}

TEST_F(Connection, AFailureThatSaysMoreThanRefusalIsReported) {
  out->offered = {MakeType(kTypeA), MakeType(kTypeB), MakeType(kTypeC)};
  const HRESULT failures[] = {E_FAIL, VFW_E_NO_TRANSPORT, E_ACCESSDENIED};
  int attempt = 0;
  in->complete = [&](IPin*) { return failures[attempt++]; };
  EXPECT_EQ(Connect(), VFW_E_NO_TRANSPORT);
  EXPECT_EQ(attempt, 3);
  ExpectNothingConnected();
}

TEST_F(Connection, PlainFailuresOfEveryTypeMeanNoAcceptableType) {
  out->offered = {MakeType(kTypeA), MakeType(kTypeB)};
  out->complete = [](IPin*) { return E_FAIL; };
  EXPECT_EQ(Connect(), VFW_E_NO_ACCEPTABLE_TYPES);
  ExpectNothingConnected();
}

TEST_F(Connection, TwoPinsOfOneDirectionDoNotConnect) {
  FakeOutputPin* other = sink->Add(new FakeOutputPin(sink.Get(), OLESTR("Other")));
  const CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(out->Connect(other, &mt), VFW_E_INVALID_DIRECTION);
  EXPECT_EQ(out->Connect(other, nullptr), VFW_E_INVALID_DIRECTION);
  FakeInputPin* another = source->Add(new FakeInputPin(source.Get(), OLESTR("Another")));
  EXPECT_EQ(another->ReceiveConnection(in, &mt), VFW_E_INVALID_DIRECTION);
  ExpectNothingConnected();
}

TEST_F(Connection, AConnectedPinRefusesASecondConnection) {
  EXPECT_EQ(Connect(), S_OK);
  log.Take();
  FakeInputPin* other = sink->Add(new FakeInputPin(sink.Get(), OLESTR("Other")));
  EXPECT_EQ(out->Connect(other, nullptr), VFW_E_ALREADY_CONNECTED);
  FakeOutputPin* second = source->Add(new FakeOutputPin(source.Get(), OLESTR("Second")));
  const CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(second->Connect(in, &mt), VFW_E_ALREADY_CONNECTED);
  EXPECT_FALSE(second->IsConnected());
  EXPECT_EQ(PeerOf(in), out);
  EXPECT_EQ(log.Take(), Calls{});
}

TEST_F(Connection, AFilterThatIsNotStoppedNeitherConnectsNorDisconnects) {
  const CMediaType mt = MakeType(kTypeA);
  source->Pause();
  EXPECT_EQ(Connect(), VFW_E_NOT_STOPPED);
  source->Stop();
  sink->Pause();
  EXPECT_EQ(Connect(&mt), VFW_E_NOT_STOPPED);
  ExpectNothingConnected();
  sink->Stop();
  EXPECT_EQ(Connect(), S_OK);
  source->Pause();
  EXPECT_EQ(out->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_TRUE(out->IsConnected());
  source->Stop();
  EXPECT_EQ(out->Disconnect(), S_OK);
}

TEST_F(Connection, DisconnectIsForOneEndAndFalseTheSecondTime) {
  EXPECT_EQ(Connect(), S_OK);
  log.Take();
  EXPECT_EQ(out->Disconnect(), S_OK);
  EXPECT_EQ(log.Take(), (Calls{"out.BreakConnect"}));
  EXPECT_TRUE(in->IsConnected());
  EXPECT_EQ(out->Disconnect(), S_FALSE);
  EXPECT_EQ(in->Disconnect(), S_OK);
  ExpectNothingConnected();
}

TEST_F(Connection, AFailedBreakKeepsThePinConnected) {
  EXPECT_EQ(Connect(), S_OK);
  out->break_result = E_ACCESSDENIED;
  EXPECT_EQ(out->Disconnect(), E_ACCESSDENIED);
  EXPECT_TRUE(out->IsConnected());
  out->break_result = S_OK;
}

TEST_F(Connection, WhenThePeerCannotCompleteBothAreAsBefore) {
  in->complete = [](IPin*) { return E_ACCESSDENIED; };
  EXPECT_EQ(Connect(), E_ACCESSDENIED);
  EXPECT_EQ(log.Take(), (Calls{"out.CheckMediaType A", "in.CheckMediaType A", "in.CompleteConnect", "in.BreakConnect",
                               "out.BreakConnect"}));
  ExpectNothingConnected();
}

TEST_F(Connection, WhenThisPinCannotCompleteThePeerIsDisconnected) {
  out->complete = [](IPin*) { return E_ACCESSDENIED; };
  EXPECT_EQ(Connect(), E_ACCESSDENIED);
  EXPECT_EQ(log.Take(), (Calls{"out.CheckMediaType A", "in.CheckMediaType A", "in.CompleteConnect",
                               "out.CompleteConnect", "in.BreakConnect", "out.BreakConnect"}));
  ExpectNothingConnected();
}

TEST_F(Connection, AnExceptionInAStepFailsTheConnectionWhole) {
  in->complete = [](IPin*) -> HRESULT { throw std::bad_alloc(); };
  EXPECT_EQ(Connect(), E_OUTOFMEMORY);
  ExpectNothingConnected();
  in->complete = [](IPin*) -> HRESULT { throw vantor::ResultError(E_ACCESSDENIED); };
  EXPECT_EQ(Connect(), E_ACCESSDENIED);
  ExpectNothingConnected();
  in->complete = [](IPin*) { return S_OK; };
  out->complete = [](IPin*) -> HRESULT { throw std::runtime_error("step"); };
  EXPECT_EQ(Connect(), E_UNEXPECTED);
  ExpectNothingConnected();
}

TEST_F(Connection, AfterAFailureItCanBeMade) {
  in->complete = [](IPin*) { return E_FAIL; };
  EXPECT_EQ(Connect(), VFW_E_NO_ACCEPTABLE_TYPES);
  in->complete = [](IPin*) { return S_OK; };
  EXPECT_EQ(Connect(), S_OK);
}

TEST_F(Connection, WhicheverStepRunsOutOfMemoryBothAreAsBefore) {
  const CMediaType mt = MakeType(kTypeA);
  int steps_left = 0;
  out->before_step = in->before_step = [&] {
    if (--steps_left == 0) throw std::bad_alloc();
  };
  HRESULT hr = E_FAIL;
  int step = 0;
  while (FAILED(hr)) {
    steps_left = ++step;
    hr = Connect(&mt);
    if (SUCCEEDED(hr)) break;
    EXPECT_EQ(hr, E_OUTOFMEMORY) << "step " << step;
    ExpectNothingConnected();
    ASSERT_LT(step, 100);
  }
  EXPECT_EQ(step, 7);  // one more than a connection has steps
  out->before_step = in->before_step = [] {};
}

TEST_F(Connection, ThePeersAllocatorIsPreferred) {
  EXPECT_EQ(Connect(), S_OK);
  ComPtr<IMemAllocator> peers;
  EXPECT_EQ(in->GetAllocator(peers.Out()), S_OK);
  EXPECT_EQ(out->Allocator(), peers.Get());
  ALLOCATOR_PROPERTIES properties = {};
  peers->GetProperties(&properties);
  EXPECT_EQ(properties.cBuffers, 2);
  EXPECT_EQ(properties.cbBuffer, 100);
}

TEST_F(Connection, ThePeersRequirementsReachDecideBufferSize) {
  in->required = {7, 8, 16, 4};
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(out->request.cBuffers, 7);
  EXPECT_EQ(out->request.cbBuffer, 8);
  EXPECT_EQ(out->request.cbAlign, 16);
  EXPECT_EQ(out->request.cbPrefix, 4);
}

TEST_F(Connection, WithoutRequirementsTheAlignmentIsOne) {
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(out->request.cBuffers, 0);
  EXPECT_EQ(out->request.cbAlign, 1);
}

TEST_F(Connection, AnOwnAllocatorServesAPeerWithoutOne) {
  in->get_allocator = VFW_E_NO_ALLOCATOR;
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_NE(out->Allocator(), nullptr);
  EXPECT_EQ(out->Allocator(), in->Allocator());
}

TEST_F(Connection, AnOwnAllocatorFollowsOneThatThePeerRefuses) {
  in->refused_allocators = 1;
  EXPECT_EQ(Connect(), S_OK);
  EXPECT_EQ(log.Take(),
            (Calls{"out.CheckMediaType A", "in.CheckMediaType A", "in.CompleteConnect", "out.CompleteConnect",
                   "out.DecideBufferSize", "in.NotifyAllocator", "out.DecideBufferSize", "in.NotifyAllocator"}));
}

TEST_F(Connection, WithoutAnAllocatorThereIsNoConnection) {
  in->refused_allocators = 2;
  const CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(Connect(&mt), E_FAIL);
  ExpectNothingConnected();
  out->decide = VFW_E_SIZENOTSET;
  EXPECT_EQ(Connect(&mt), VFW_E_SIZENOTSET);
  ExpectNothingConnected();
}

TEST_F(Connection, QueryAcceptAnswersYesOrNo) {
  CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(out->QueryAccept(&mt), S_OK);
  out->accepted.clear();
  EXPECT_EQ(out->QueryAccept(&mt), S_FALSE);
  out->refusal = E_FAIL;
  EXPECT_EQ(out->QueryAccept(&mt), S_FALSE);
}

}  // namespace
