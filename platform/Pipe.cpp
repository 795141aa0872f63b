// Makes pipes, wide where the system allows it.
#include "platform/Pipe.h"

#include <array>

#include <fcntl.h>
#include <unistd.h>

#include "platform/Error.h"
#include "platform/System.h"

namespace ztp {

Pipe Pipe::create() {
  std::array<int, 2> ends{-1, -1};
  if (::pipe(ends.data()) != 0) throw PlatformException(Error::fromErrno("pipe"));
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  system::enlargePipe(ends[1]);
  return {FileHandle(ends[0]), FileHandle(ends[1])};
}

}  // namespace ztp
