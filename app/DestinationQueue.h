// The destinations that are still to be tried.
#pragma once

#include <string>
#include <vector>

namespace ztp {

/// A queue of destinations; new ones go to its front. It takes as much memory as their texts have
/// bytes: a server that redirects decides how many there are. The destinations hold no comma, at
/// which the lists of them are split.
class DestinationQueue {
 public:
  /// Puts the destinations, trimmed and without the empty ones, in the given order ahead of what is
  /// queued already.
  void push(const std::vector<std::string>& destinations);
  [[nodiscard]] bool isEmpty() const noexcept { return text_.empty(); }
  /// Takes the first one out of the queue, which must not be empty.
  std::string takeFirst();

 private:
  // Each behind a comma, the first one last: both ends of what changes are the end of the text.
  std::string text_;
};

}  // namespace ztp
