# Both programs lie in one bundle, laid out alike on macOS and Linux: the window finds the engine by that layout.
set(QUIRELLE_BUNDLE "${PROJECT_BINARY_DIR}/Quirelle.app")
set(QUIRELLE_WINDOW_DIR "${QUIRELLE_BUNDLE}/Contents/MacOS")
set(QUIRELLE_ENGINE_DIR "${QUIRELLE_BUNDLE}/quirelle/Contents/MacOS")
