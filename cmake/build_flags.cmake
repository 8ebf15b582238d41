# What every target of this project is compiled with, and no caller's.
function(meldra3d_own_flags target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion
    $<$<BOOL:${MELDRA3D_WERROR}>:-Werror>
    # The same input must give the same bits everywhere: no fused multiply-add, whose single rounding changes signs.
    -ffp-contract=off)
endfunction()

# A part of the library, as objects: meldra3d is made of all parts, and tests of what is inside link the objects, since
# only what is marked MELDRA3D_API leaves the shared library.
function(meldra3d_add_part name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;INCLUDES")
  add_library(meldra3d_${name} OBJECT ${arg_SOURCES})
  set_target_properties(meldra3d_${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)
  meldra3d_own_flags(meldra3d_${name})
  target_include_directories(meldra3d_${name} PRIVATE
    $<TARGET_PROPERTY:meldra3d,INCLUDE_DIRECTORIES> ${PROJECT_SOURCE_DIR}/src)
  target_include_directories(meldra3d PUBLIC $<BUILD_INTERFACE:${arg_INCLUDES}>)
  target_sources(meldra3d PRIVATE $<TARGET_OBJECTS:meldra3d_${name}>)
endfunction()

# Links a test or a benchmark to the library: as callers see it or, with INTERNALS, to its objects, which show what the
# shared library hides.
function(meldra3d_link target internals)
  if(NOT internals)
    target_link_libraries(${target} PRIVATE quorl::meldra3d)
    return()
  endif()
  target_sources(${target} PRIVATE
    $<TARGET_OBJECTS:meldra3d_core> $<TARGET_OBJECTS:meldra3d_lapack> $<TARGET_OBJECTS:meldra3d_meldra>
    $<TARGET_OBJECTS:meldra3d_meldra2d> $<TARGET_OBJECTS:meldra3d_numcore>)
  target_link_libraries(${target} PRIVATE LAPACK::LAPACK)
  target_include_directories(${target} PRIVATE
    $<TARGET_PROPERTY:meldra3d,INCLUDE_DIRECTORIES> ${PROJECT_SOURCE_DIR}/src)
endfunction()
