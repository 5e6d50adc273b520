# The project's target functions. Every target names its sources; the DEPS
# lines of the libraries are the dependency graph of the subsystems.
#
#   ide_library(<name> [QT] SOURCES ... DEPS ...)     src/<name>/  -> ide_<name>, alias ide::<name>
#   ide_gtest(<suite> SOURCES ... DEPS ...)            one GoogleTest executable, one ctest entry
#   ide_qtest(<name> SOURCES ... DEPS ...)             one Qt Test executable (moc on), offscreen
#   ide_bench(<name> SOURCES ... DEPS ...)             a benchmark with the shared ratio table main
#   ide_fuzz(<name> SOURCES ... DEPS ... SEEDS <dir>)  a fuzz target; see fuzz/CMakeLists.txt
#
# QT turns on moc for a library; nothing else runs it. Warnings are per
# target (PRIVATE), and IDE_WERROR makes them errors for our targets only.
#
# Every library is installed with its headers (include/ideshell/<folder>/)
# into the export set IdeShellTargets, which the top-level CMakeLists.txt
# turns into the package IdeShell (find_package(IdeShell CONFIG), targets
# ide::<name>). So a library's DEPS are ide:: libraries or imported targets;
# an imported target of a new package needs a find_dependency() line in
# cmake/IdeShellConfig.cmake.in.

include(GNUInstallDirs)
set(IDE_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/ideshell)

function(ide_target_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(IDE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

function(_ide_check_args fn)
  if(ARGN)
    message(FATAL_ERROR "${fn}: unparsed arguments ${ARGN}")
  endif()
endfunction()

function(ide_library name)
  cmake_parse_arguments(ARG "QT" "" "SOURCES;DEPS" ${ARGN})
  _ide_check_args("ide_library ${name}" ${ARG_UNPARSED_ARGUMENTS})
  # A source file in the folder that no list names is an error, not a file
  # silently left out of the build.
  file(GLOB _found RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  foreach(_f IN LISTS _found)
    if(NOT _f IN_LIST ARG_SOURCES)
      message(FATAL_ERROR "Found unknown source file ${CMAKE_CURRENT_SOURCE_DIR}/${_f}: add it to ide_library(${name})")
    endif()
  endforeach()
  add_library(ide_${name} STATIC ${ARG_SOURCES})
  add_library(ide::${name} ALIAS ide_${name})
  target_include_directories(ide_${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
                                                $<INSTALL_INTERFACE:${IDE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(ide_${name} PUBLIC ${ARG_DEPS})
  set(_moc OFF)
  if(ARG_QT)
    set(_moc ON)
  endif()
  set_target_properties(ide_${name} PROPERTIES AUTOMOC ${_moc} EXPORT_NAME ${name})
  ide_target_options(ide_${name})
  # Headers keep their path below src/, as code includes them.
  file(RELATIVE_PATH _folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  foreach(_f IN LISTS ARG_SOURCES)
    if(_f MATCHES "\\.h$")
      get_filename_component(_sub ${_f} DIRECTORY)
      install(FILES ${_f} DESTINATION ${IDE_INSTALL_INCLUDEDIR}/${_folder}/${_sub})
    endif()
  endforeach()
  install(TARGETS ide_${name} EXPORT IdeShellTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

function(ide_gtest suite)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  _ide_check_args("ide_gtest ${suite}" ${ARG_UNPARSED_ARGUMENTS})
  add_executable(tests_${suite} ${ARG_SOURCES})
  target_link_libraries(tests_${suite} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock GTest::gtest_main)
  ide_target_options(tests_${suite})
  add_test(NAME ${suite} COMMAND tests_${suite})
  set_tests_properties(${suite} PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

function(ide_qtest name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  _ide_check_args("ide_qtest ${name}" ${ARG_UNPARSED_ARGUMENTS})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} Qt6::Test Qt6::Widgets)
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  ide_target_options(${name})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

function(ide_bench name)
  cmake_parse_arguments(ARG "QT" "" "SOURCES;DEPS" ${ARGN})
  _ide_check_args("ide_bench ${name}" ${ARG_UNPARSED_ARGUMENTS})
  add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/bench/RatioMain.cpp)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench)
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} benchmark::benchmark)
  if(ARG_QT)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
  endif()
  ide_target_options(${name})
endfunction()

# A fuzz target: <name>.cpp defines LLVMFuzzerTestOneInput.
# - IDE_FUZZ=ON (`make fuzz`, clang++): a libFuzzer binary <name>.
# - Otherwise: <name>_replay, the target under fuzz/replay_main.cpp, run by
#   ctest over the seed folder and a fixed set of mutations of each seed
#   (REPLAY_MUTATIONS per seed, default 200), so `make test` replays every
#   reader's corpus on every run.
function(ide_fuzz name)
  cmake_parse_arguments(ARG "" "SEEDS;REPLAY_MUTATIONS" "SOURCES;DEPS" ${ARGN})
  _ide_check_args("ide_fuzz ${name}" ${ARG_UNPARSED_ARGUMENTS})
  if(NOT DEFINED ARG_REPLAY_MUTATIONS)
    set(ARG_REPLAY_MUTATIONS 200)
  endif()
  if(IDE_FUZZ)
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_DEPS})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND PROPERTY IDE_FUZZ_TARGETS "${name}:${ARG_SEEDS}")
  else()
    add_executable(${name}_replay ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
    target_link_libraries(${name}_replay PRIVATE ${ARG_DEPS})
    ide_target_options(${name}_replay)
    if(IDE_BUILD_TESTS)
      add_test(NAME ${name}_replay COMMAND ${name}_replay ${ARG_REPLAY_MUTATIONS} ${ARG_SEEDS})
      set_tests_properties(${name}_replay PROPERTIES TIMEOUT 300 ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
    endif()
  endif()
endfunction()
