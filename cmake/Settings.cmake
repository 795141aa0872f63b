# ztp_settings: how everything here is compiled and linked (language, hardening, sanitizers).
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_library(ztp_settings INTERFACE)
target_compile_features(ztp_settings INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
target_include_directories(ztp_settings INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")

if(ZTP_SANITIZE)
  target_compile_options(ztp_settings INTERFACE -fsanitize=${ZTP_SANITIZE} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
  target_link_options(ztp_settings INTERFACE -fsanitize=${ZTP_SANITIZE})
else()
  # The program holds a private key and reads bytes from strangers.
  target_compile_options(ztp_settings INTERFACE
    -fstack-protector-strong $<$<NOT:$<PLATFORM_ID:Darwin>>:-fstack-clash-protection>)
  target_compile_definitions(ztp_settings INTERFACE
    "$<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>" "$<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>")
endif()
if(NOT APPLE)
  target_link_options(ztp_settings INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack,--as-needed)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()

# Where the installed program finds its archiver, seen from the folder of the program.
file(RELATIVE_PATH ZTP_ARCHIVER_FROM_BINDIR "${CMAKE_INSTALL_FULL_BINDIR}"
     "${CMAKE_INSTALL_FULL_LIBEXECDIR}/ZanburyToolProxy/ZanburyArchiver")

if(ZTP_BUILD_FUZZERS)
  target_compile_options(ztp_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
