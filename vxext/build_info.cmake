# What the version record says about the build. The same sources give the same record: the date is
# SOURCE_DATE_EPOCH, or that of the commit, and place and machine are names that a packager gives.
set(QUILLON_BUILD_LOCATION "quillon" CACHE STRING "Build location in the version record")
set(QUILLON_BUILD_MACHINE "localhost" CACHE STRING "Build machine in the version record")

set(build_epoch "$ENV{SOURCE_DATE_EPOCH}")
if(build_epoch STREQUAL "")
  execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
    OUTPUT_VARIABLE build_epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(build_epoch STREQUAL "")  # sources without their history
  file(TIMESTAMP ${CMAKE_SOURCE_DIR}/CMakeLists.txt build_epoch "%s" UTC)
endif()

set(saved_epoch "$ENV{SOURCE_DATE_EPOCH}")
set(ENV{SOURCE_DATE_EPOCH} ${build_epoch})
string(TIMESTAMP build_time "%s" UTC)
string(TIMESTAMP build_mmddyyyy "%m%d%Y" UTC)
string(TIMESTAMP build_date "%a %b %d %H:%M:%S UTC %Y" UTC)
if(NOT saved_epoch STREQUAL "")
  set(ENV{SOURCE_DATE_EPOCH} ${saved_epoch})
else()
  unset(ENV{SOURCE_DATE_EPOCH})
endif()
string(REGEX REPLACE "^(... ...) 0" "\\1  " build_date "${build_date}")

# Nine characters: "00.001.00" is version 0.1.0.
foreach(part major:2 minor:3 patch:2)
  string(REPLACE ":" ";" part ${part})
  list(GET part 0 name)
  list(GET part 1 width)
  string(TOUPPER ${name} upper)
  string(LENGTH "${PROJECT_VERSION_${upper}}" length)
  math(EXPR missing "${width} - ${length}")
  string(REPEAT "0" ${missing} zeros)
  list(APPEND build_designation "${zeros}${PROJECT_VERSION_${upper}}")
endforeach()
list(JOIN build_designation "." build_designation)

configure_file(${CMAKE_CURRENT_LIST_DIR}/build_info.hpp.in
  ${CMAKE_CURRENT_BINARY_DIR}/include/build_info.hpp)
