include(GNUInstallDirs)

# The programs find each other by their paths in the bundle. They resolve symbolic links, so links to them work.
function(install_link name target)
  set(link "${CMAKE_CURRENT_BINARY_DIR}/links/${name}")
  file(RELATIVE_PATH path "/${CMAKE_INSTALL_BINDIR}" "/${target}")
  file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/links")
  file(CREATE_LINK "${path}" "${link}" SYMBOLIC)
  install(FILES "${link}" DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()
install_link(quirelle "${QUIRELLE_INSTALLED_ENGINE_DIR}/quirelle")
install_link(quirelle-window "${QUIRELLE_INSTALLED_WINDOW_DIR}/Quirelle")

# Without names and times, for reproducible builds.
find_program(GZIP gzip REQUIRED)
add_custom_target(compressed ALL)
function(install_compressed source name destination)
  set(compressed "${CMAKE_CURRENT_BINARY_DIR}/${name}.gz")
  add_custom_command(OUTPUT "${compressed}" COMMAND "${GZIP}" -9nc "${source}" > "${compressed}"
    DEPENDS "${source}" VERBATIM)
  add_custom_target(compressed-${name} DEPENDS "${compressed}")
  add_dependencies(compressed compressed-${name})
  install(FILES "${compressed}" DESTINATION "${destination}")
endfunction()

set(id example.quirelle.Quirelle)
foreach(page quirelle.1 quirelle-window.1)
  configure_file(man/${page}.in ${page} @ONLY)
endforeach()
add_custom_command(OUTPUT options/quirelle.1
  COMMAND quirelle_texts man "${CMAKE_CURRENT_BINARY_DIR}/quirelle.1" options/quirelle.1
  DEPENDS "${CMAKE_CURRENT_BINARY_DIR}/quirelle.1" quirelle_texts VERBATIM)
install_compressed("${CMAKE_CURRENT_BINARY_DIR}/options/quirelle.1" quirelle.1 "${CMAKE_INSTALL_MANDIR}/man1")
install_compressed("${CMAKE_CURRENT_BINARY_DIR}/quirelle-window.1" quirelle-window.1 "${CMAKE_INSTALL_MANDIR}/man1")
configure_file(linux/${id}.metainfo.xml.in ${id}.metainfo.xml @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${id}.metainfo.xml" DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
install(FILES linux/${id}.desktop DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")

set(icons "${CMAKE_INSTALL_DATADIR}/icons/hicolor")
foreach(size 16 22 24 32 48 64 128 256 512)
  install(FILES icons/${size}.png DESTINATION "${icons}/${size}x${size}/apps" RENAME quirelle.png)
endforeach()
install(FILES "${PROJECT_SOURCE_DIR}/app/images/svg/Main.svg" DESTINATION "${icons}/scalable/apps" RENAME quirelle.svg)

function(install_completion shell name destination)
  add_custom_command(OUTPUT options/${shell} COMMAND quirelle_texts ${shell} options/${shell}
    DEPENDS quirelle_texts VERBATIM)
  add_custom_target(completion-${shell} ALL DEPENDS options/${shell})
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/options/${shell}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${destination}"
    RENAME ${name})
endfunction()
file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/options")
install_completion(bash quirelle bash-completion/completions)
install_completion(zsh _quirelle zsh/vendor-completions)
install_completion(fish quirelle.fish fish/vendor_completions.d)

set(documents "${CMAKE_INSTALL_DATADIR}/doc/quirelle")
install(FILES debian/copyright DESTINATION "${documents}")
install_compressed("${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog" changelog "${documents}")

set(CPACK_GENERATOR TGZ)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DPKG_SHLIBDEPS)
  list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The browser is run, not linked.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "chromium-headless-shell | chromium | google-chrome-stable, tzdata")
# A sandbox for systems without user namespaces; fonts for pages without their own; hyphens in the most common languages;
# a program that opens PDFs.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
  "chromium-sandbox, fonts-noto-core, fonts-noto-cjk, fonts-noto-color-emoji, \
hyphen-de, hyphen-en-gb, hyphen-en-us, hyphen-es, hyphen-fr, hyphen-it, hyphen-nl, hyphen-pt-br, \
xdg-utils")
# Not recommended: hyphen-pl and hyphen-ru recommend LibreOffice.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "hyphen-hyphenation-patterns, hyphen-pl, hyphen-ru, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
