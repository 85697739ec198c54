# Every library that is not ours, once, with what it is for. ./dev setup installs the same list.

# The libraries' own.
find_package(SQLite3 REQUIRED)          # the SQL engine behind qvsql
find_package(PROJ CONFIG REQUIRED)     # the geodesy engine behind qvmath and the registry of coordinate systems
find_path(QVPRJ_XXHASH_INCLUDE xxhash.h REQUIRED)  # check values of the track file
find_library(QVPRJ_XXHASH xxhash REQUIRED)
include(CheckCXXSymbolExists)
set(CMAKE_REQUIRED_INCLUDES ${QVPRJ_XXHASH_INCLUDE})
set(CMAKE_REQUIRED_LIBRARIES ${QVPRJ_XXHASH})
check_cxx_symbol_exists(XXH3_64bits_dispatch xxh_x86dispatch.h QVPRJ_XXHASH_DISPATCHES)  # by processor
unset(CMAKE_REQUIRED_INCLUDES)
unset(CMAKE_REQUIRED_LIBRARIES)

# What reads the metadata of photos for the program.
if(QVPRJ_BUILD_APPS OR QVPRJ_BUILD_FUZZ)
  find_package(exiv2 CONFIG REQUIRED)   # EXIF and XMP
endif()

# Header-only tools of the program and the examples.
if(QVPRJ_BUILD_APPS OR QVPRJ_BUILD_TESTS)
  find_package(CLI11 REQUIRED)          # command lines
endif()
if(QVPRJ_BUILD_APPS OR QVPRJ_BUILD_TESTS OR QVPRJ_BUILD_BENCH OR QVPRJ_BUILD_FUZZ)
  find_package(nlohmann_json REQUIRED)  # --json, camera files, expected values of tests, a format to compare with
endif()

# Layers for geographic information systems, and the catalogue in a GeoPackage or PostGIS.
if(QVPRJ_BUILD_APPS OR QVPRJ_BUILD_FUZZ)
  find_package(GDAL REQUIRED)
endif()

if(QVPRJ_BUILD_TESTS)
  find_package(GTest REQUIRED)          # tests
  # Another implementation of the transverse Mercator projection, to test against.
  find_path(QVPRJ_GEOGRAPHICLIB_INCLUDE GeographicLib/TransverseMercatorExact.hpp REQUIRED)
  find_library(QVPRJ_GEOGRAPHICLIB GeographicLib REQUIRED)
endif()

if(QVPRJ_BUILD_BENCH)
  find_package(benchmark REQUIRED)      # benchmarks
endif()
