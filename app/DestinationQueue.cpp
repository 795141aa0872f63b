// One text for all destinations.
#include "app/DestinationQueue.h"

#include "platform/Text.h"

namespace ztp {

void DestinationQueue::push(const std::vector<std::string>& destinations) {
  for (auto item = destinations.rbegin(); item != destinations.rend(); ++item) {
    const auto text = trimmed(*item);
    if (!text.empty()) text_.append(",").append(text);
  }
}

std::string DestinationQueue::takeFirst() {
  const auto comma = text_.rfind(',');
  std::string first = text_.substr(comma + 1);
  text_.resize(comma);
  return first;
}

}  // namespace ztp
