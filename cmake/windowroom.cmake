# Everything of the window but main, in one library: what programs and tests link. The members of MainWindow lie in
# several rooms, none of which is whole without the others, so it has the objects of all.
add_library(quirelle_app STATIC)
set_target_properties(quirelle_app PROPERTIES LINKER_LANGUAGE CXX)
target_link_libraries(quirelle_app PUBLIC Qt6::Widgets quirelle_usage)

# quirelle_window_room(NAME SOURCES … [USES FOLDER…]): a room of the window; see quirelle_room.
function(quirelle_window_room name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  set(room quirelle_${name})
  quirelle_room(${name} SOURCES ${ARG_SOURCES} USES ${ARG_USES} LIBRARIES Qt6::Widgets)
  if(ARG_SOURCES MATCHES "\\.ui(;|$)")
    set_target_properties(${room} PROPERTIES AUTOMOC ON AUTOUIC ON AUTOUIC_OPTIONS "--connections;string")
    # The generated form classes, for those who look at the window's controls.
    set(forms "${CMAKE_CURRENT_BINARY_DIR}/${room}_autogen/include")
    target_include_directories(${room} PUBLIC "${forms}")
    target_include_directories(quirelle_app INTERFACE "${forms}")
  endif()
  target_sources(quirelle_app PRIVATE $<TARGET_OBJECTS:${room}>)
endfunction()
