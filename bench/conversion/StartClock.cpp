// Stands in ssh's place while the start is measured: says when it began, and ends.
// CLOCK_MONOTONIC in nanoseconds, a line on standard error.
#include <cstdio>
#include <ctime>

int main() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  std::fprintf(stderr, "started %lld%09ld\n", static_cast<long long>(now.tv_sec), now.tv_nsec);
  return 1;
}
