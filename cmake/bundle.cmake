# Both programs lie in one bundle, laid out alike on macOS and Linux: the window finds the engine by that layout.
set(window_folder Contents/MacOS)
set(engine_folder quirelle/Contents)

set(QUIRELLE_BUNDLE "${PROJECT_BINARY_DIR}/Quirelle.app")
set(QUIRELLE_WINDOW_DIR "${QUIRELLE_BUNDLE}/${window_folder}")
set(QUIRELLE_ENGINE_DIR "${QUIRELLE_BUNDLE}/${engine_folder}/MacOS")

# Where it is installed, below the prefix.
if(APPLE)
  set(QUIRELLE_INSTALLED_BUNDLE Quirelle.app)
else()
  set(QUIRELLE_INSTALLED_BUNDLE lib/quirelle/Quirelle.app)
endif()
set(QUIRELLE_INSTALLED_WINDOW_DIR "${QUIRELLE_INSTALLED_BUNDLE}/${window_folder}")
set(QUIRELLE_INSTALLED_ENGINE_DIR "${QUIRELLE_INSTALLED_BUNDLE}/${engine_folder}/MacOS")
