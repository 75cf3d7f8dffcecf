# quirelle_room(NAME [NO_QT] SOURCES … [USES FOLDER…] [LIBRARIES …] [PRIVATE …]): makes the static library quirelle_NAME
# from the sources of this folder. It may include headers of its own folder and of the folders that it USES (paths from
# the repository's root), and links their libraries; any other include of the project fails the build. LIBRARIES are
# linked PUBLIC, PRIVATE ones PRIVATE.
function(quirelle_room name)
  cmake_parse_arguments(ARG "NO_QT" "" "SOURCES;USES;LIBRARIES;PRIVATE" ${ARGN})
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
  # The library of app/ is called quirelle_window, because quirelle_app is the whole window.
  list(TRANSFORM ARG_USES REPLACE "^quirelle_app$" "quirelle_window")
  target_link_libraries(quirelle_${name}
    PUBLIC ${ARG_USES} ${ARG_LIBRARIES} $<$<NOT:$<BOOL:${ARG_NO_QT}>>:Qt6::Core> quirelle_usage
    PRIVATE ${ARG_PRIVATE} quirelle_flags)
endfunction()
