// A worker thread with a channel of requests: the owner calls CallWorker, which waits for the worker's Reply.
//
//     owner                          worker, in ThreadProc
//     Create()
//     CallWorker(CMD_RUN)  ------->  GetRequest() == CMD_RUN
//                          <-------  Reply(S_OK)
//     CallWorker(CMD_EXIT) ------->  CheckRequest(nullptr) in its loop, GetRequest(), Reply(S_OK), return 0
//     Close()                        waits for the thread's end
#pragma once

#include <memory>
#include <thread>

#include "baseclasses/sync.h"
#include "platform/com.h"

class CAMThread {
 public:
  CAMThread();
  // Waits for the thread as Close does; by then the derived part is gone, so derived classes end their thread before.
  virtual ~CAMThread();
  CAMThread(const CAMThread&) = delete;
  CAMThread& operator=(const CAMThread&) = delete;

  // Starts the thread; FALSE when there is one already or the system refuses. The thread counts as an object of this
  // module while it runs, and is prepared for COM.
  BOOL Create();
  // Waits without limit for the thread's end. Called on the thread itself it does not wait: the thread then ends on
  // its own and must not touch this object after leaving ThreadProc.
  void Close();
  // Between Create and Close, whether or not ThreadProc has returned.
  BOOL ThreadExists() const;
  bool IsCurrentThread() const;

  // Hands the request over and returns the worker's reply. E_FAIL when there is no thread, when it ended without a
  // reply, and on the thread itself. Calls from several threads take turns.
  DWORD CallWorker(DWORD dwParam);

  // CallWorker in two steps, for a caller that cannot wait without limit. PostRequest hands the request over; none may
  // be unanswered. WaitForReply waits for the answer to it: kEnded when the thread ended without one. After kTimeout
  // the request stays pending for the worker, and the wait may be taken up again.
  enum class Answer { kReplied, kEnded, kTimeout };
  void PostRequest(DWORD dwParam);
  Answer WaitForReply(DWORD dwMilliseconds, DWORD* pReply);

  // What ThreadProc returned; E_UNEXPECTED when an exception left it. Valid after Close.
  DWORD GetExitCode() const;

 protected:
  virtual DWORD ThreadProc() = 0;

  // For the worker. A request stays pending until Reply.
  DWORD GetRequest();
  // Whether a request is pending, and which; does not take it. Costs one atomic load, so it can be asked per sample.
  BOOL CheckRequest(DWORD* pParam) const;
  void Reply(DWORD dwReply);
  // The request last handed over.
  DWORD GetRequestParam() const;

 private:
  struct Channel;

  CCritSec m_AccessLock{LockRank::ThreadCall};  // one caller at a time
  std::thread m_Thread;
  std::shared_ptr<Channel> m_pChannel;  // shared with the thread, which may outlive this object
};
