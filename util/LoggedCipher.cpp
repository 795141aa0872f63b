// What goes wrong at the beginning is kept until the end, where the content's reader expects it.
#include "util/LoggedCipher.h"

#include "util/ErrorLog.h"

namespace ztp {

bool LoggedCipher::update(std::span<std::uint8_t> blocks) {
  return cipher_ && cipher_->update(blocks);
}

bool LoggedCipher::finish(Data& last) {
  const MaybeError failure = cipher_ ? cipher_->finish(last) : cipher_.error();
  if (failure) logError(*failure);
  return !failure;
}

}  // namespace ztp
