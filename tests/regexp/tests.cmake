# The regular expression engine's fuzz smoke run (fuzz/fuzz_regexp.cpp).
# With clang++ available: the libFuzzer target (ASan + UBSan), built by a
# direct clang++ call independent of this build's compiler and flags, run for
# 20 seconds. Without it: a replay driver built with this build's compiler,
# over the seeds and a fixed set of pseudo-random inputs.
set(_re_fuzz_dir ${PROJECT_SOURCE_DIR}/fuzz)
file(GLOB _re_fuzz_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/regexp/*.cpp)
file(GLOB _re_fuzz_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/regexp/*.h)
set(_re_fuzz_runtime ${PROJECT_SOURCE_DIR}/src/foundation/Runtime.cpp)
# The budget on one match's work changes the engine's class layout: the
# fuzz builds compile the engine's sources themselves, never ide_regexp.
set(_re_fuzz_budget IDE_REGEXP_STEP_BUDGET=200000)

find_program(IDE_CLANGXX NAMES clang++ clang++-14)
if(IDE_CLANGXX)
  set(_re_fuzz_bin ${CMAKE_CURRENT_BINARY_DIR}/fuzz_regexp)
  add_custom_command(
    OUTPUT ${_re_fuzz_bin}
    COMMAND ${IDE_CLANGXX} -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined
            -D${_re_fuzz_budget} -I${PROJECT_SOURCE_DIR}/src
            ${_re_fuzz_dir}/fuzz_regexp.cpp ${_re_fuzz_sources} ${_re_fuzz_runtime} -o ${_re_fuzz_bin}
    DEPENDS ${_re_fuzz_dir}/fuzz_regexp.cpp ${_re_fuzz_sources} ${_re_fuzz_headers} ${_re_fuzz_runtime}
            ${PROJECT_SOURCE_DIR}/src/foundation/Runtime.h
    COMMENT "Building the regular expression fuzzer with clang++"
    VERBATIM)
  add_custom_target(regexp_fuzzer ALL DEPENDS ${_re_fuzz_bin})
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/fuzz_regexp_corpus)
  add_test(NAME regexp_fuzz
           COMMAND ${_re_fuzz_bin} -max_total_time=20 -max_len=300 -timeout=10
                   ${CMAKE_CURRENT_BINARY_DIR}/fuzz_regexp_corpus ${_re_fuzz_dir}/seeds)
  set_tests_properties(regexp_fuzz PROPERTIES ENVIRONMENT "ASAN_OPTIONS=detect_leaks=1" TIMEOUT 300)
else()
  add_executable(regexp_fuzz_replay ${_re_fuzz_dir}/replay_main.cpp ${_re_fuzz_dir}/fuzz_regexp.cpp
                                    ${_re_fuzz_sources} ${_re_fuzz_runtime})
  target_include_directories(regexp_fuzz_replay PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(regexp_fuzz_replay PRIVATE ${_re_fuzz_budget})
  add_test(NAME regexp_fuzz COMMAND regexp_fuzz_replay 20000 ${_re_fuzz_dir}/seeds)
  set_tests_properties(regexp_fuzz PROPERTIES TIMEOUT 300)
endif()
