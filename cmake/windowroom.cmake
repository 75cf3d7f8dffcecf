# Everything of the window but main, in one library: what programs and tests link.
add_library(quirelle_app STATIC)
set_target_properties(quirelle_app PROPERTIES LINKER_LANGUAGE CXX)
target_link_libraries(quirelle_app PUBLIC Qt6::Widgets quirelle_usage)

# quirelle_window_room(NAME SOURCES … USES …): the library quirelle_NAME of one folder of the window, which may include
# the rooms named after USES. The members of MainWindow lie in several rooms, so no program links single ones of these;
# quirelle_app takes the objects of all.
function(quirelle_window_room name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  set(room quirelle_${name})
  add_library(${room} STATIC ${ARG_SOURCES})
  list(TRANSFORM ARG_USES PREPEND quirelle_)
  target_link_libraries(${room} PUBLIC Qt6::Widgets quirelle_usage ${ARG_USES} PRIVATE quirelle_flags)
  if(ARG_SOURCES MATCHES "\\.ui(;|$)")
    set_target_properties(${room} PROPERTIES AUTOMOC ON AUTOUIC ON AUTOUIC_OPTIONS "--connections;string")
    # The generated form classes, for those who look at the window's controls.
    set(forms "${CMAKE_CURRENT_BINARY_DIR}/${room}_autogen/include")
    target_include_directories(${room} PUBLIC "${forms}")
    target_include_directories(quirelle_app INTERFACE "${forms}")
  endif()
  target_sources(quirelle_app PRIVATE $<TARGET_OBJECTS:${room}>)
endfunction()
