#include "baseclasses/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "baseclasses/unknown.h"

namespace {

enum Command : DWORD { CMD_ECHO, CMD_LOOP, CMD_EXIT, CMD_END_WITHOUT_REPLY, CMD_THROW, CMD_WAIT };

class Worker : public CAMThread {
 public:
  ~Worker() override { Close(); }

  CAMEvent looping;
  CAMEvent ended;
  CAMEvent let_go;
  std::atomic<int> rounds{0};
  std::function<void()> on_exit = [] {};

 protected:
  DWORD ThreadProc() override {
    for (;;) {
      const DWORD request = GetRequest();
      EXPECT_EQ(GetRequestParam(), request);
      EXPECT_TRUE(IsCurrentThread());
      switch (request) {
        case CMD_ECHO:
          Reply(100);
          break;
        case CMD_LOOP: {
          Reply(S_OK);
          EXPECT_FALSE(CheckRequest(nullptr));
          looping.Set();
          DWORD pending = 0;
          while (!CheckRequest(&pending)) ++rounds;
          EXPECT_EQ(pending, static_cast<DWORD>(CMD_EXIT));
          break;
        }
        case CMD_EXIT:
          on_exit();
          Reply(S_OK);
          ended.Set();
          return 7;
        case CMD_WAIT:
          let_go.Wait();
          Reply(200);
          break;
        case CMD_THROW:
          throw std::runtime_error("out of the thread procedure");
        default:
          return 8;
      }
    }
  }
};

TEST(Thread, ARequestIsAnsweredByTheWorker) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
  EXPECT_EQ(worker.CallWorker(CMD_EXIT), static_cast<DWORD>(S_OK));
  worker.Close();
  EXPECT_EQ(worker.GetExitCode(), 7u);
}

TEST(Thread, APendingRequestIsSeenWithoutBeingTaken) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_LOOP), static_cast<DWORD>(S_OK));
  worker.looping.Wait();
  EXPECT_EQ(worker.CallWorker(CMD_EXIT), static_cast<DWORD>(S_OK));
  worker.Close();
  EXPECT_EQ(worker.GetExitCode(), 7u);
}

TEST(Thread, ItExistsFromCreateToClose) {
  Worker worker;
  EXPECT_FALSE(worker.ThreadExists());
  ASSERT_TRUE(worker.Create());
  EXPECT_TRUE(worker.ThreadExists());
  EXPECT_FALSE(worker.Create());
  worker.CallWorker(CMD_EXIT);
  worker.ended.Wait();
  EXPECT_TRUE(worker.ThreadExists());
  worker.Close();
  EXPECT_FALSE(worker.ThreadExists());
  worker.Close();
}

TEST(Thread, AfterCloseItCanBeCreatedAgain) {
  Worker worker;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(worker.Create());
    EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
    worker.CallWorker(CMD_EXIT);
    worker.Close();
  }
}

TEST(Thread, WithoutAThreadACallFails) {
  Worker worker;
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), static_cast<DWORD>(E_FAIL));
  ASSERT_TRUE(worker.Create());
  worker.CallWorker(CMD_EXIT);
  worker.Close();
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), static_cast<DWORD>(E_FAIL));
}

TEST(Thread, AThreadThatEndsWithoutAReplyFailsTheCall) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_END_WITHOUT_REPLY), static_cast<DWORD>(E_FAIL));
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), static_cast<DWORD>(E_FAIL));
  worker.Close();
  EXPECT_EQ(worker.GetExitCode(), 8u);
}

TEST(Thread, AnExceptionDoesNotLeaveTheThread) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_THROW), static_cast<DWORD>(E_FAIL));
  worker.Close();
  EXPECT_EQ(worker.GetExitCode(), static_cast<DWORD>(E_UNEXPECTED));
}

TEST(Thread, ARunningThreadCountsAsAnObject) {
  const LONG before = CBaseObject::ObjectsActive();
  Worker worker;
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
  EXPECT_EQ(CBaseObject::ObjectsActive(), before + 1);
  worker.CallWorker(CMD_EXIT);
  worker.Close();
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Thread, OnlyTheWorkerIsTheCurrentThread) {
  Worker worker;
  EXPECT_FALSE(worker.IsCurrentThread());
  ASSERT_TRUE(worker.Create());
  worker.CallWorker(CMD_ECHO);
  EXPECT_FALSE(worker.IsCurrentThread());
  worker.CallWorker(CMD_EXIT);
  worker.Close();
  EXPECT_FALSE(worker.IsCurrentThread());
}

TEST(Thread, ClosingItselfDoesNotWaitForItself) {
  Worker worker;
  DWORD self_call = 0;
  worker.on_exit = [&] {
    self_call = worker.CallWorker(CMD_ECHO);
    worker.Close();
  };
  ASSERT_TRUE(worker.Create());
  EXPECT_EQ(worker.CallWorker(CMD_EXIT), static_cast<DWORD>(S_OK));
  worker.ended.Wait();
  EXPECT_FALSE(worker.ThreadExists());
  EXPECT_EQ(self_call, static_cast<DWORD>(E_FAIL));
  while (CBaseObject::ObjectsActive() != 0) std::this_thread::yield();  // the thread's own end
}

TEST(Thread, CallsFromSeveralThreadsTakeTurns) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  std::vector<std::thread> callers;
  callers.reserve(3);
  for (int i = 0; i < 3; ++i) {
    callers.emplace_back([&] {
      for (int n = 0; n < 100; ++n) EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
    });
  }
  for (std::thread& caller : callers) caller.join();
  worker.CallWorker(CMD_EXIT);
}

using Answer = CAMThread::Answer;

TEST(ThreadPost, ARequestMayBeHandedOverNowAndItsReplyWaitedForLater) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  worker.PostRequest(CMD_WAIT);
  EXPECT_TRUE(worker.IsUnanswered());
  worker.let_go.Set();
  DWORD reply = 0;
  EXPECT_EQ(worker.WaitForReply(INFINITE, &reply), Answer::kReplied);
  EXPECT_EQ(reply, 200u);
  EXPECT_FALSE(worker.IsUnanswered());
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
  worker.CallWorker(CMD_EXIT);
}

TEST(ThreadPost, SeveralWorkersAreToldBeforeTheFirstIsWaitedFor) {
  Worker workers[3];
  for (Worker& worker : workers) ASSERT_TRUE(worker.Create());
  for (Worker& worker : workers) worker.PostRequest(CMD_WAIT);
  for (Worker& worker : workers) worker.let_go.Set();
  for (Worker& worker : workers) {
    EXPECT_EQ(worker.WaitForReply(INFINITE, nullptr), Answer::kReplied);
    worker.CallWorker(CMD_EXIT);
  }
}

TEST(ThreadPost, AWaitWithALimitEndsAndMayBeRepeated) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  worker.PostRequest(CMD_WAIT);
  DWORD reply = 1;
  EXPECT_EQ(worker.WaitForReply(0, &reply), Answer::kTimeout);
  EXPECT_EQ(worker.WaitForReply(5, &reply), Answer::kTimeout);
  EXPECT_EQ(reply, 1u);
  EXPECT_TRUE(worker.IsUnanswered());
  worker.let_go.Set();
  EXPECT_EQ(worker.WaitForReply(INFINITE, &reply), Answer::kReplied);
  EXPECT_EQ(reply, 200u);
  worker.CallWorker(CMD_EXIT);
}

TEST(ThreadPost, ALateReplyIsNobodysAndFreesTheChannel) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  worker.PostRequest(CMD_WAIT);
  EXPECT_EQ(worker.WaitForReply(0, nullptr), Answer::kTimeout);
  worker.let_go.Set();
  while (worker.IsUnanswered()) std::this_thread::yield();
  worker.PostRequest(CMD_WAIT);
  EXPECT_EQ(worker.WaitForReply(0, nullptr), Answer::kTimeout);
  worker.let_go.Set();
  EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u);
  worker.CallWorker(CMD_EXIT);
}

TEST(ThreadPost, ACallWaitsForTheAnswerToARequestThatTimedOut) {
  Worker worker;
  ASSERT_TRUE(worker.Create());
  worker.PostRequest(CMD_WAIT);
  EXPECT_EQ(worker.WaitForReply(0, nullptr), Answer::kTimeout);
  std::thread caller([&worker] { EXPECT_EQ(worker.CallWorker(CMD_ECHO), 100u); });
  worker.let_go.Set();
  caller.join();
  worker.CallWorker(CMD_EXIT);
}

TEST(ThreadPost, TheEndOfTheThreadEndsTheWait) {
  Worker worker;
  EXPECT_EQ(worker.WaitForReply(INFINITE, nullptr), Answer::kEnded);
  worker.PostRequest(CMD_ECHO);
  EXPECT_FALSE(worker.IsUnanswered());
  ASSERT_TRUE(worker.Create());
  worker.PostRequest(CMD_END_WITHOUT_REPLY);
  EXPECT_EQ(worker.WaitForReply(INFINITE, nullptr), Answer::kEnded);
  EXPECT_FALSE(worker.IsUnanswered());
  worker.PostRequest(CMD_ECHO);
  EXPECT_EQ(worker.WaitForReply(INFINITE, nullptr), Answer::kEnded);
  worker.Close();
}

}  // namespace
