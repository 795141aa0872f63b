// ThreadDictionary: one map a thread.
#include "calendar/ThreadDictionary.h"

namespace ztp {

ThreadDictionary& ThreadDictionary::current() {
  thread_local ThreadDictionary dictionary;
  return dictionary;
}

std::shared_ptr<const DateFormatter> ThreadDictionary::find(std::string_view key) const {
  const auto entry = formatters_.find(key);
  return entry == formatters_.end() ? nullptr : entry->second;
}

const DateFormatter& ThreadDictionary::findOrMake(std::string_view key,
                                                  const std::function<DateFormatter()>& make) {
  auto entry = formatters_.find(key);
  if (entry == formatters_.end()) {
    entry = formatters_.emplace(key, std::make_shared<const DateFormatter>(make())).first;
  }
  return *entry->second;
}

}  // namespace ztp
