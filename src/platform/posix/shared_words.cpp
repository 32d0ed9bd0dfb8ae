#include "platform/shared_words.h"

#include <map>
#include <string>

#include "platform/lock.h"
#include "platform/never_destroyed.h"

namespace vantor::platform {
namespace {

struct Opened {
  Lock lock{LockRank::SharedWords};
  std::map<std::string, std::weak_ptr<SharedWords>> words VANTOR_GUARDED_BY(lock);
};

}  // namespace

std::shared_ptr<SharedWords> OpenSharedWords(const char* name) {
  static NeverDestroyed<Opened> all;
  Opened& opened = *all;
  const LockScope hold(opened.lock);
  std::weak_ptr<SharedWords>& entry = opened.words[name];
  std::shared_ptr<SharedWords> words = entry.lock();
  if (words == nullptr) {
    words = std::make_shared<SharedWords>();
    entry = words;
  }
  return words;
}

}  // namespace vantor::platform
