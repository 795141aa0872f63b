// ThreadDictionary: the date formatters that belong to one thread, each under its key. A formatter
// in it is made at most once a thread, is never handed to another thread, and goes with its thread.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "calendar/DateFormatter.h"
#include "calendar/Export.h"

namespace ztp {

/// The dictionary of one thread. Entries are added and never replaced or removed, so a reference
/// to a formatter in it holds until its thread ends. It is gone when the
/// destructors of thread-local and static objects run: not for use by them.
class ZANBURY_CALENDAR_API ThreadDictionary {
 public:
  ThreadDictionary() = default;
  ThreadDictionary(const ThreadDictionary&) = delete;
  ThreadDictionary& operator=(const ThreadDictionary&) = delete;

  /// The dictionary of the calling thread.
  [[nodiscard]] static ThreadDictionary& current();

  /// The formatter under the key, or a null pointer.
  [[nodiscard]] std::shared_ptr<const DateFormatter> find(std::string_view key) const;

  /// The formatter under the key, which `make` makes when there is none.
  const DateFormatter& findOrMake(std::string_view key, const std::function<DateFormatter()>& make);

  /// How many formatters the thread has made.
  [[nodiscard]] std::size_t size() const { return formatters_.size(); }

 private:
  std::map<std::string, std::shared_ptr<const DateFormatter>, std::less<>> formatters_;
};

}  // namespace ztp
