# quirelle_room(NAME SOURCES … [USES FOLDER…] [LIBRARIES …] [PRIVATE …]): the static library quirelle_NAME of the sources
# of this folder. It may include headers of its own folder and of those it USES (paths from the repository's root), and
# links their libraries; the build fails at any other include. LIBRARIES are linked publicly, PRIVATE privately.
function(quirelle_room name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBRARIES;PRIVATE" ${ARGN})
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  set(sources ${ARG_SOURCES})
  list(FILTER sources EXCLUDE REGEX "^/")
  set(stamp "${CMAKE_CURRENT_BINARY_DIR}/${name}.includes")
  add_custom_command(OUTPUT "${stamp}"
    COMMAND "${CMAKE_COMMAND}" "-DFOLDER=${folder}" "-DUSES=${ARG_USES}" "-DSOURCES=${sources}" "-DSTAMP=${stamp}"
      -P "${PROJECT_SOURCE_DIR}/cmake/checkincludes.cmake"
    DEPENDS ${sources} "${PROJECT_SOURCE_DIR}/cmake/checkincludes.cmake" CMakeLists.txt
    WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" VERBATIM)
  add_library(quirelle_${name} STATIC ${ARG_SOURCES} "${stamp}")
  set_target_properties(quirelle_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  list(TRANSFORM ARG_USES REPLACE "^.*/" "")
  list(TRANSFORM ARG_USES PREPEND quirelle_)
  # The one room that is not called like its folder: quirelle_app is the whole window.
  list(TRANSFORM ARG_USES REPLACE "^quirelle_app$" "quirelle_window")
  target_link_libraries(quirelle_${name}
    PUBLIC ${ARG_USES} ${ARG_LIBRARIES} Qt6::Core quirelle_usage
    PRIVATE ${ARG_PRIVATE} quirelle_flags)
endfunction()
