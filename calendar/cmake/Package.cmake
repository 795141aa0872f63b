# What other programs need of the library: headers, the package for find_package, and the file for
# pkg-config. All of it finds its place from where it lies, so the installed tree may be moved.
include(CMakePackageConfigHelpers)

set(packageFolder "${CMAKE_INSTALL_LIBDIR}/cmake/ZanburyCalendar")
install(TARGETS ztp_calendar EXPORT ZanburyCalendarTargets COMPONENT calendar)
install(FILES ${ZANBURY_CALENDAR_HEADERS}
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zanbury/calendar" COMPONENT calendar)
install(EXPORT ZanburyCalendarTargets NAMESPACE Zanbury:: DESTINATION "${packageFolder}"
        COMPONENT calendar)

configure_package_config_file(
  cmake/ZanburyCalendarConfig.cmake.in ZanburyCalendarConfig.cmake
  INSTALL_DESTINATION "${packageFolder}")
write_basic_package_version_file(ZanburyCalendarConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/ZanburyCalendarConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/ZanburyCalendarConfigVersion.cmake"
  DESTINATION "${packageFolder}" COMPONENT calendar)

if(NOT ZANBURY_CALENDAR_IS_SHARED)
  set(ZANBURY_CALENDAR_PC_REQUIRES "absl_time")
endif()
file(RELATIVE_PATH prefixFromPcFile "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
     "${CMAKE_INSTALL_PREFIX}")
set(ZANBURY_CALENDAR_PC_PREFIX "\${pcfiledir}/${prefixFromPcFile}")
configure_file(cmake/zanbury-calendar.pc.in zanbury-calendar.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/zanbury-calendar.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT calendar)
