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
  BOOL Create() VANTOR_EXCLUDES(m_AccessLock);
  // Waits without limit for the thread's end. Called on the thread itself it does not wait: the thread then ends on
  // its own and must not touch this object after leaving ThreadProc.
  void Close();
  // Between Create and Close, whether or not ThreadProc has returned.
  BOOL ThreadExists() const;
  bool IsCurrentThread() const;

  // Hands the request over and returns the worker's reply. E_FAIL when there is no thread, when it ended without a
  // reply, and on the thread itself. Calls from several threads take turns, and wait for the answer to a request whose
  // own wait timed out.
  DWORD CallWorker(DWORD dwParam) VANTOR_EXCLUDES(m_AccessLock);

  // The two halves of CallWorker, for an owner that tells several workers before it waits for the first, or that does
  // not wait for good. Such an owner's calls take turns by its own lock.
  //
  // Hands the request over and does not wait. None may be unanswered.
  void PostRequest(DWORD dwParam);
  enum class Answer { kReplied, kEnded, kTimeout };
  // Waits (INFINITE for no limit) for the reply to the last request; not on the thread itself. kEnded when the thread
  // is over, or never was, without a reply. After kTimeout the request stays with the worker: wait again, or leave it,
  // and its late reply is dropped.
  Answer WaitForReply(DWORD dwMilliseconds, DWORD* pReply);
  // Whether a request is with the worker. Costs one atomic load.
  bool IsUnanswered() const;

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
