# ztp_warnings: what the compilers are asked to object to. A warning is an error.
add_library(ztp_warnings INTERFACE)
target_compile_options(ztp_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wcast-qual -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wimplicit-fallthrough
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>)
