set(window_contents "${QUIRELLE_INSTALLED_BUNDLE}/Contents")
set(engine_contents "${QUIRELLE_INSTALLED_BUNDLE}/quirelle/Contents")
configure_file(macos/Info.plist.in "${QUIRELLE_BUNDLE}/Contents/Info.plist" @ONLY)
configure_file(macos/Engine.plist.in "${QUIRELLE_BUNDLE}/quirelle/Contents/Info.plist" @ONLY)
configure_file(macos/Quirelle.icns "${QUIRELLE_BUNDLE}/Contents/Resources/Quirelle.icns" COPYONLY)
install(FILES "${QUIRELLE_BUNDLE}/Contents/Info.plist" DESTINATION "${window_contents}")
install(FILES macos/Quirelle.icns DESTINATION "${window_contents}/Resources")
install(FILES "${QUIRELLE_BUNDLE}/quirelle/Contents/Info.plist" DESTINATION "${engine_contents}")

# Qt's libraries and plugins go into the window's bundle, and the engine takes its own from there.
set_target_properties(Quirelle PROPERTIES INSTALL_RPATH "@executable_path/../Frameworks")
set_target_properties(quirelle_engine_module quirelle_pdf_module PROPERTIES
  INSTALL_RPATH "@loader_path/../../../Contents/Frameworks")
set(script "${CMAKE_CURRENT_BINARY_DIR}/deploy.cmake")
file(GENERATE OUTPUT "${script}" CONTENT "
include(\"${QT_DEPLOY_SUPPORT}\")
qt_deploy_runtime_dependencies(
  EXECUTABLE ${QUIRELLE_INSTALLED_BUNDLE}
  ADDITIONAL_EXECUTABLES ${QUIRELLE_INSTALLED_ENGINE_DIR}/quirelle
  ADDITIONAL_MODULES
    ${QUIRELLE_INSTALLED_ENGINE_DIR}/$<TARGET_FILE_NAME:quirelle_engine_module>
    ${QUIRELLE_INSTALLED_ENGINE_DIR}/$<TARGET_FILE_NAME:quirelle_pdf_module>)
")
install(SCRIPT "${script}")

set(CPACK_GENERATOR DragNDrop)
set(CPACK_DMG_VOLUME_NAME Quirelle)
