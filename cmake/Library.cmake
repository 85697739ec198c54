# One way to make every target of this project.

# Warnings are errors, for our own code only: a host's build is its own business.
function(qvprj_strict target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive-)
    if(PROJECT_IS_TOP_LEVEL)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow)
    # GCC 12 takes `"text" + std::string` for a copy onto itself when it optimises (its bug 105651, mended in 13).
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
      target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    if(PROJECT_IS_TOP_LEVEL)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

# qvprj_library(NAME ROOT folder HEADERS public... SOURCES file...): the target NAME, as qvprj::NAME for others. Its
# public headers, and no others, are installed; they are found below ROOT, so that the path of an #include begins with
# the namespace.
function(qvprj_library name)
  cmake_parse_arguments(ARG "" "ROOT" "HEADERS;SOURCES" ${ARGN})
  add_library(${name} ${ARG_SOURCES})
  add_library(qvprj::${name} ALIAS ${name})
  qvprj_strict(${name})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${ARG_ROOT} FILES ${ARG_HEADERS})
  target_compile_features(${name} PUBLIC cxx_std_20)
  string(TOUPPER ${name} prefix)
  target_compile_definitions(${name} PRIVATE ${prefix}_BUILDING)
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${name} PUBLIC ${prefix}_STATIC)
  endif()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/contracts)  # for detail/
  if(UNIX AND NOT APPLE)
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN")  # the libraries find each other
  endif()
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()
