# Options for everything that links the libraries, also from outside this project: link quirelle_usage PUBLIC. Includes
# sanitizers and gcov, because the whole program needs their runtimes.
add_library(quirelle_usage INTERFACE)
target_include_directories(quirelle_usage INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_features(quirelle_usage INTERFACE cxx_std_20)
if(QUIRELLE_SANITIZE)
  target_compile_options(quirelle_usage INTERFACE
    -fsanitize=${QUIRELLE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quirelle_usage INTERFACE -fsanitize=${QUIRELLE_SANITIZE})
endif()
if(QUIRELLE_COVERAGE)
  target_compile_options(quirelle_usage INTERFACE --coverage)
  target_link_options(quirelle_usage INTERFACE --coverage)
endif()

# Options for compiling every target of this project: link quirelle_flags PRIVATE, so that our warnings do not apply to
# others who link a library.
add_library(quirelle_flags INTERFACE)
target_link_libraries(quirelle_flags INTERFACE quirelle_usage)
target_compile_definitions(quirelle_flags INTERFACE
  QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
  QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_compile_options(quirelle_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 has a false positive in std::string::insert (GCC bug 105329).
  target_compile_options(quirelle_flags INTERFACE -Wno-restrict)
endif()
if(QUIRELLE_WARNINGS_AS_ERRORS)
  target_compile_options(quirelle_flags INTERFACE -Werror)
endif()
if(NOT QUIRELLE_SANITIZE)
  # Hardening. Sanitizers have their own checks and do not work with _FORTIFY_SOURCE.
  target_compile_options(quirelle_flags INTERFACE -fstack-protector-strong)
  target_compile_options(quirelle_flags INTERFACE $<$<CONFIG:Release>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=3>)
  if(NOT APPLE)
    target_compile_options(quirelle_flags INTERFACE -fstack-clash-protection)
    target_link_options(quirelle_flags INTERFACE -Wl,-z,relro,-z,now)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i[3-6]86")
      target_compile_options(quirelle_flags INTERFACE -fcf-protection)
    endif()
  endif()
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
