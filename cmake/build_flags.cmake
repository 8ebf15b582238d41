# What every target of this project is compiled with, and no caller's.
function(meldra3d_own_flags target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion
    $<$<BOOL:${MELDRA3D_WERROR}>:-Werror>
    # The same input must give the same bits everywhere: no fused multiply-add, whose single rounding changes signs.
    -ffp-contract=off)
endfunction()

# Only what is marked MELDRA3D_API leaves the shared library.
function(meldra3d_hide_symbols target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)
endfunction()

# A companion library: objects of the one library, with headers of their own that are installed beside its headers.
function(meldra3d_add_companion name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
  add_library(meldra3d_${name} OBJECT ${arg_SOURCES})
  meldra3d_hide_symbols(meldra3d_${name})
  meldra3d_own_flags(meldra3d_${name})
  target_include_directories(meldra3d_${name} PRIVATE $<TARGET_PROPERTY:meldra3d,INCLUDE_DIRECTORIES>)
  target_include_directories(meldra3d PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_sources(meldra3d PRIVATE $<TARGET_OBJECTS:meldra3d_${name}>)
endfunction()
