// A trial on two blocks of every 64, and its outcome for the others once it must be known.
#include "archiver/EffortChoice.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t kCycle = 64;
constexpr std::size_t kThoroughTurn = 0;  // first: most files have no second block
constexpr std::size_t kQuickTurn = 1;
constexpr std::size_t kFirstDecided = EffortChoice::mostUnderWay + kQuickTurn;

/// A thorough block takes four to six times as long. For less than a twelfth of the size that is
/// more, on two cores, than an upload of 50 Mbit/s gains by it.
bool isWorthIt(std::size_t thorough, std::size_t quick) {
  return quick - quick / 13 > thorough;
}

}  // namespace

Effort EffortChoice::next() {
  const std::size_t turn = begun_++ % kCycle;
  if (turn == kThoroughTurn) return Effort::thorough;
  if (turn == kQuickTurn) return Effort::quick;
  if (turn == kFirstDecided) {
    choice_ =
        isWorthIt(trial_[kThoroughTurn], trial_[kQuickTurn]) ? Effort::thorough : Effort::quick;
  }
  return choice_;
}

void EffortChoice::measured(std::size_t outputSize) {
  const std::size_t turn = measured_++ % kCycle;
  if (turn < trial_.size()) trial_[turn] = outputSize;
}

}  // namespace ztp::archiver
