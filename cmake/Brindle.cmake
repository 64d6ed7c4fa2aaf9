# brindle_layer(NAME DEPS...): one static library per source layer, made of every
# .cc file in src/NAME.  Globbing keeps layers independent: adding a file needs no
# edit here.
function(brindle_layer name)
  file(GLOB _srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  if(_srcs)
    set(_kind STATIC)
    set(_scope PUBLIC)
  else()  # a layer not yet written
    set(_kind INTERFACE)
    set(_scope INTERFACE)
  endif()
  add_library(brindle_${name} ${_kind} ${_srcs})
  target_include_directories(brindle_${name} ${_scope} ${PROJECT_SOURCE_DIR}/src
                                                       ${PROJECT_BINARY_DIR}/src)
  target_link_libraries(brindle_${name} ${_scope} ${ARGN})
endfunction()

# brindle_unit_tests(LAYER LIBS...): one test program per tests/unit/LAYER/*.cc, so a
# test links only the objects it uses.
function(brindle_unit_tests layer)
  file(GLOB _tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cc)
  file(GLOB _helpers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_helpers.cc)
  set(_defs BRINDLE_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
            BRINDLE_BINARY_DIR="${PROJECT_BINARY_DIR}"
            BRINDLE_DATA_DIR="${PROJECT_SOURCE_DIR}/../shared/data")
  # The helpers are compiled once per layer, not once per test program.
  set(_helper_lib)
  if(_helpers)
    set(_helper_lib unit_${layer}_helpers)
    add_library(${_helper_lib} STATIC ${_helpers})
    target_include_directories(${_helper_lib} PUBLIC ${PROJECT_SOURCE_DIR}/tests/unit)
    target_link_libraries(${_helper_lib} PUBLIC ${ARGN} GTest::gtest)
    target_compile_definitions(${_helper_lib} PRIVATE ${_defs})
  endif()
  foreach(_t ${_tests})
    get_filename_component(_n ${_t} NAME_WE)
    set(_exe unit_${layer}_${_n})
    add_executable(${_exe} ${_t})
    target_include_directories(${_exe} PRIVATE ${PROJECT_SOURCE_DIR}/tests/unit)
    # Helpers are linked whole: some install start-up hooks that no test calls.
    if(_helper_lib)
      target_link_libraries(${_exe} PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,${_helper_lib}>")
    endif()
    target_link_libraries(${_exe} PRIVATE ${ARGN} GTest::gtest_main GTest::gtest)
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
