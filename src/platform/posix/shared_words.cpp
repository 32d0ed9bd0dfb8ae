#include "platform/shared_words.h"

#include <map>
#include <mutex>
#include <string>

namespace vantor::platform {

std::shared_ptr<SharedWords> OpenSharedWords(const char* name) {
  static std::mutex mutex;
  static std::map<std::string, std::weak_ptr<SharedWords>> opened;
  const std::lock_guard<std::mutex> lock(mutex);
  std::weak_ptr<SharedWords>& entry = opened[name];
  std::shared_ptr<SharedWords> words = entry.lock();
  if (words == nullptr) {
    words = std::make_shared<SharedWords>();
    entry = words;
  }
  return words;
}

}  // namespace vantor::platform
