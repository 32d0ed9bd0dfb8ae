#include "baseclasses/thread.h"

#include <atomic>
#include <cassert>
#include <system_error>

#include "baseclasses/unknown.h"
#include "platform/result.h"

struct CAMThread::Channel {
  vantor::Lock lock{LockRank::ThreadChannel};
  vantor::Condition changed;
  // Written with the lock held; the worker looks at both without it, before every sample.
  std::atomic<bool> pending{false};
  std::atomic<DWORD> request{0};
  bool replied VANTOR_GUARDED_BY(lock) = false;
  bool ended VANTOR_GUARDED_BY(lock) = false;
  DWORD reply VANTOR_GUARDED_BY(lock) = 0;
  DWORD exitCode VANTOR_GUARDED_BY(lock) = 0;
  std::atomic<std::thread::id> id{};  // read by any thread, without the lock

  void End(DWORD code) VANTOR_EXCLUDES(lock) {
    const vantor::LockScope hold(lock);
    exitCode = code;
    ended = true;
    pending.store(false, std::memory_order_relaxed);
    id = std::thread::id();  // the system may give it to another thread
    changed.NotifyAll();
  }
};

CAMThread::CAMThread() = default;

CAMThread::~CAMThread() { Close(); }

BOOL CAMThread::Create() {
  CAutoLock lock(&m_AccessLock);
  if (ThreadExists()) return FALSE;
  const auto pEnded = m_pChannel;
  const HRESULT hr = vantor::Guarded([this] {
    // Shared with the thread, which may outlive this object and then ends on its channel alone.
    auto pChannel = std::make_shared<Channel>();
    m_pChannel = pChannel;
    m_Thread = std::thread([this, pChannel] {
      const CBaseObject alive(OLESTR("worker thread"));
      pChannel->id = std::this_thread::get_id();
      const HRESULT hrCom = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
      DWORD code = 0;
      const HRESULT hrThread = vantor::Guarded([&] {
        code = ThreadProc();
        return S_OK;
      });
      if (SUCCEEDED(hrCom)) CoUninitialize();  // one that was refused must not be balanced
      pChannel->End(FAILED(hrThread) ? static_cast<DWORD>(E_UNEXPECTED) : code);
    });
    return S_OK;
  });
  if (FAILED(hr)) m_pChannel = pEnded;  // on the new one nobody would ever answer
  return SUCCEEDED(hr);
}

void CAMThread::Close() {
  if (!m_Thread.joinable()) return;
  if (IsCurrentThread()) {
    m_Thread.detach();
  } else {
    m_Thread.join();
  }
}

BOOL CAMThread::ThreadExists() const { return m_Thread.joinable(); }

bool CAMThread::IsCurrentThread() const { return m_pChannel && m_pChannel->id.load() == std::this_thread::get_id(); }

DWORD CAMThread::CallWorker(DWORD dwParam) {
  if (IsCurrentThread()) return static_cast<DWORD>(E_FAIL);
  CAutoLock access(&m_AccessLock);
  if (!ThreadExists()) return static_cast<DWORD>(E_FAIL);
  {
    // The worker would take this request for the one that it is still to answer.
    const vantor::LockScope hold(m_pChannel->lock);
    while (m_pChannel->pending.load(std::memory_order_relaxed)) m_pChannel->changed.Wait(m_pChannel->lock);
  }
  PostRequest(dwParam);
  DWORD reply = 0;
  return WaitForReply(INFINITE, &reply) == Answer::kReplied ? reply : static_cast<DWORD>(E_FAIL);
}

void CAMThread::PostRequest(DWORD dwParam) {
  if (!m_pChannel) return;
  Channel& channel = *m_pChannel;
  const vantor::LockScope hold(channel.lock);
  channel.replied = false;
  if (channel.ended) return;
  assert(!channel.pending);
  channel.request.store(dwParam, std::memory_order_relaxed);
  channel.pending.store(true, std::memory_order_release);
  channel.changed.NotifyAll();
}

CAMThread::Answer CAMThread::WaitForReply(DWORD dwMilliseconds, DWORD* pReply) {
  assert(!IsCurrentThread());
  if (!m_pChannel) return Answer::kEnded;
  const vantor::Deadline limit(dwMilliseconds);
  Channel& channel = *m_pChannel;
  const vantor::LockScope hold(channel.lock);
  while (!channel.replied && !channel.ended) {
    const bool noticed = channel.changed.WaitFor(channel.lock, limit.Left());
    if (!noticed && !channel.replied && !channel.ended) return Answer::kTimeout;
  }
  if (!channel.replied) return Answer::kEnded;
  if (pReply) *pReply = channel.reply;
  return Answer::kReplied;
}

bool CAMThread::IsUnanswered() const { return CheckRequest(nullptr) != FALSE; }

DWORD CAMThread::GetExitCode() const {
  if (!m_pChannel) return 0;
  const vantor::LockScope hold(m_pChannel->lock);
  return m_pChannel->exitCode;
}

DWORD CAMThread::GetRequest() {
  Channel& channel = *m_pChannel;
  const vantor::LockScope hold(channel.lock);
  while (!channel.pending.load(std::memory_order_acquire)) channel.changed.Wait(channel.lock);
  return channel.request.load(std::memory_order_relaxed);
}

BOOL CAMThread::CheckRequest(DWORD* pParam) const {
  if (!m_pChannel || !m_pChannel->pending.load(std::memory_order_acquire)) return FALSE;
  if (pParam) *pParam = m_pChannel->request.load(std::memory_order_relaxed);
  return TRUE;
}

void CAMThread::Reply(DWORD dwReply) {
  Channel& channel = *m_pChannel;
  const vantor::LockScope hold(channel.lock);
  channel.reply = dwReply;
  channel.replied = true;
  channel.pending.store(false, std::memory_order_relaxed);
  channel.changed.NotifyAll();
}

DWORD CAMThread::GetRequestParam() const { return m_pChannel->request.load(std::memory_order_relaxed); }
