#include "platform/shared_words.h"

#include <map>
#include <mutex>
#include <string>

#include "platform/never_destroyed.h"

namespace vantor::platform {
namespace {

struct Opened {
  std::mutex mutex;
  std::map<std::string, std::weak_ptr<SharedWords>> words;
};

}  // namespace

std::shared_ptr<SharedWords> OpenSharedWords(const char* name) {
  static NeverDestroyed<Opened> opened;
  const std::lock_guard<std::mutex> lock(opened->mutex);
  std::weak_ptr<SharedWords>& entry = opened->words[name];
  std::shared_ptr<SharedWords> words = entry.lock();
  if (words == nullptr) {
    words = std::make_shared<SharedWords>();
    entry = words;
  }
  return words;
}

}  // namespace vantor::platform
