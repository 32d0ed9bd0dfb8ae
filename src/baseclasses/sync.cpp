#include "baseclasses/sync.h"

using vantor::LockScope;

void CAMEvent::Set() {
  const LockScope hold(m_Lock);
  m_Set = true;
  if (m_ManualReset) {
    m_Changed.NotifyAll();
  } else {
    m_Changed.NotifyOne();
  }
}

void CAMEvent::Reset() {
  const LockScope hold(m_Lock);
  m_Set = false;
}

BOOL CAMEvent::Wait(DWORD dwTimeout) {
  const vantor::Deadline limit(dwTimeout);
  const LockScope hold(m_Lock);
  while (!m_Set) {
    if (!m_Changed.WaitFor(m_Lock, limit.Left()) && !m_Set) return FALSE;
  }
  if (!m_ManualReset) m_Set = false;
  return TRUE;
}
