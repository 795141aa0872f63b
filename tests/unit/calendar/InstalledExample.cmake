# Installs the calendar library below WORK_DIR, builds the example there as a program of its own with
# find_package, runs it, and looks at what it prints.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE said ERROR_VARIABLE said)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: status ${status}\n${said}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --component calendar --prefix "${prefix}")
# A copy, so that nothing of the source tree beside the example is in reach.
file(COPY "${EXAMPLE_DIR}/" DESTINATION "${WORK_DIR}/source")
run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${WORK_DIR}/source" -B "${WORK_DIR}/build"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${flags}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")

execute_process(COMMAND "${WORK_DIR}/build/business-year" 2022 Europe/Paris
                RESULT_VARIABLE status OUTPUT_VARIABLE said)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "business-year: status ${status}")
endif()
foreach(line IN ITEMS "  2022-06-20  US bank (in lieu), NYSE (in lieu)\n"
                      "  2022-12-27  TSE (in lieu)\n" "  2022-11  20\n"
                      "  2022-01-03  2022-01-05\n" "  2022-07-01  2022-07-06\n"
                      "  Thu 31 Mar 2022 23:00 +0200  2022-03-31T21:00:00Z\n")
  string(FIND "${said}" "${line}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "business-year 2022 does not print \"${line}\" but:\n${said}")
  endif()
endforeach()

execute_process(COMMAND "${WORK_DIR}/build/business-year" 0 RESULT_VARIABLE status ERROR_QUIET)
if(NOT status EQUAL 2)
  message(FATAL_ERROR "business-year 0: status ${status}, not 2")
endif()
