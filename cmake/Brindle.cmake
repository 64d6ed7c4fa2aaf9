# The build's helpers: one library per source layer, the unit tests of a layer, and
# the command front ends.

# brindle_layer(NAME [LAYER...] [LIBS LIB...] [PROGRAMS]): one static library,
# brindle_NAME, made of every .cc file under src/NAME (subdirectories included), that
# may use the layers named after it and the libraries after LIBS.  With PROGRAMS each
# .cc file is instead the main of a program named after it, built on those layers.  List every layer it may use, not only
# the nearest: tools/check_layers.py reads these lines to check the includes of
# src/ and tests/unit/, and the build enforces the same order, for a layer sees no
# header but its own and those of the layers it links.
#
# Each layer's headers are seen through an include root of its own in the build tree,
# LAYERS/NAME/NAME -> src/NAME, so that "NAME/header.h" resolves there and nowhere
# else.  Globbing keeps layers independent: adding a file needs no edit here.
function(brindle_layer name)
  cmake_parse_arguments(L "PROGRAMS" "" "LIBS" ${ARGN})
  set(_root ${PROJECT_BINARY_DIR}/layers/${name})
  file(MAKE_DIRECTORY ${_root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${_root}/${name} SYMBOLIC)
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  # A program's main (NAME_main.cc) stays out of its layer's library.
  list(FILTER _srcs EXCLUDE REGEX "_main\\.cc$")
  if(_srcs AND NOT L_PROGRAMS)
    set(_kind STATIC)
    set(_scope PUBLIC)
  else()  # a layer not yet written
    set(_kind INTERFACE)
    set(_scope INTERFACE)
  endif()
  if(_kind STREQUAL STATIC)
    add_library(brindle_${name} STATIC ${_srcs})
  else()
    add_library(brindle_${name} INTERFACE)
  endif()
  target_include_directories(brindle_${name} ${_scope} ${_root})
  set(_deps)
  foreach(_layer ${L_UNPARSED_ARGUMENTS})
    string(REGEX REPLACE "^brindle_" "" _layer ${_layer})  # either spelling
    list(APPEND _deps brindle_${_layer})
  endforeach()
  target_link_libraries(brindle_${name} ${_scope} ${_deps} ${L_LIBS})
  if(L_PROGRAMS)
    foreach(_main ${_srcs})
      get_filename_component(_n ${_main} NAME_WE)
      brindle_program(${_n} SOURCES ${_main} LIBS brindle_${name})
    endforeach()
  endif()
endfunction()

# brindle_unit_tests(LAYER): one test program per tests/unit/LAYER/*_test.cc, linked
# with the layer's library (which brings the layers below it) and the test support
# library, so a test links only the objects it uses and sees no header above its
# layer.  Every program works in a directory of its own (tests/support/unit_process.cc).
function(brindle_unit_tests layer)
  file(GLOB _tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cc)
  file(GLOB _helpers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_helpers.cc)
  set(_defs BRINDLE_SOURCE_DIR="${PROJECT_SOURCE_DIR}" BRINDLE_BINARY_DIR="${PROJECT_BINARY_DIR}")
  # A layer's own helpers are compiled once per layer, not once per test program.
  set(_helper_lib)
  if(_helpers)
    set(_helper_lib unit_${layer}_helpers)
    add_library(${_helper_lib} STATIC ${_helpers})
    target_include_directories(${_helper_lib} PUBLIC ${PROJECT_SOURCE_DIR}/tests/unit)
    target_link_libraries(${_helper_lib} PUBLIC brindle_${layer} brindle_test_support)
    target_compile_definitions(${_helper_lib} PRIVATE ${_defs})
  endif()
  foreach(_t ${_tests})
    get_filename_component(_n ${_t} NAME_WE)
    set(_exe unit_${layer}_${_n})
    add_executable(${_exe} ${_t} ${PROJECT_SOURCE_DIR}/tests/support/unit_process.cc)
    target_include_directories(${_exe} PRIVATE ${PROJECT_SOURCE_DIR}/tests/unit)
    target_link_libraries(${_exe} PRIVATE ${_helper_lib} brindle_${layer} brindle_test_support
                                          GTest::gtest_main GTest::gtest)
    target_compile_definitions(${_exe} PRIVATE ${_defs})
    add_dependencies(${_exe} brindle_catalogs)
    gtest_discover_tests(${_exe} DISCOVERY_TIMEOUT 60
      PROPERTIES ENVIRONMENT "BRINDLE_BIN=${PROJECT_BINARY_DIR}/bin")
  endforeach()
endfunction()

# brindle_program(NAME SOURCES... LIBS libs...)
function(brindle_program name)
  cmake_parse_arguments(P "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${P_SOURCES})
  target_link_libraries(${name} PRIVATE ${P_LIBS})
  add_dependencies(${name} brindle_catalogs)
endfunction()
