# How a module, a test and a fuzz target of this project are declared.

# Warnings are errors on every compiler used; what all targets of the project share.
add_library(vex_options INTERFACE)
target_compile_options(vex_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # clang sees sign conversions where g++ does not; one set of rules for both
    target_compile_options(vex_options INTERFACE -Wno-sign-conversion -Wno-implicit-int-float-conversion)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 sees overlapping and overlong copies inside std::string and std::vector where there are none (GCC bugs
    # 105651, 105329); the sanitizers look for real ones
    target_compile_options(vex_options INTERFACE -Wno-restrict -Wno-array-bounds -Wno-stringop-overflow
        -Wno-stringop-overread)
endif()
target_include_directories(vex_options INTERFACE ${CMAKE_SOURCE_DIR})
if(WIN32)
    target_compile_definitions(vex_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
    # only system DLLs are needed at run time; and no time of linking, so that a commit gives the same bytes each time
    target_link_options(vex_options INTERFACE -static -Wl,--no-insert-timestamp)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # Vector code wants the stack aligned to 16 bytes; 32-bit Windows promises 4 to whatever it calls: members of
        # the server, window procedures, entries of threads.
        add_compile_options(-msse2 -mfpmath=sse -mstackrealign)
    endif()
else()
    find_package(Threads REQUIRED)
    target_link_libraries(vex_options INTERFACE Threads::Threads)
endif()

# Lets ccache see through the precompiled headers of a target.
function(vex_cached_headers name)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${name} PRIVATE -fpch-preprocess)
    endif()
endfunction()

# The address build is clang's and also holds the fuzz targets, which need its coverage instrumentation.
set(VEX_FUZZ OFF)
if(VEX_SANITIZE)
    add_compile_definitions(VEX_SANITIZED)
endif()
if(VEX_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        set(VEX_FUZZ ON)
        add_compile_options(-fsanitize=fuzzer-no-link)
        add_custom_target(fuzzers)
    endif()
elseif(VEX_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()

# The standard headers that nearly every file of sdk/ includes, compiled once. The native build goes without, so that a
# file that forgets to include what it uses is found there.
if(WIN32 OR VEX_SANITIZE)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/vex_sdk_headers.cpp CONTENT "")
    add_library(vex_sdk_headers STATIC ${CMAKE_BINARY_DIR}/vex_sdk_headers.cpp)
    target_link_libraries(vex_sdk_headers PRIVATE vex_options)
    target_precompile_headers(vex_sdk_headers PRIVATE <algorithm> <atomic> <chrono> <condition_variable> <functional>
        <map> <memory> <mutex> <optional> <span> <string> <string_view> <thread> <variant> <vector>)
    vex_cached_headers(vex_sdk_headers)
endif()

# vex_sdk_module(NAME SOURCES file... [DEPS module...]): a static library of sdk/, in the folder of its sources.
function(vex_sdk_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC vex_options ${ARG_DEPS})
    if(TARGET vex_sdk_headers)
        target_precompile_headers(${name} REUSE_FROM vex_sdk_headers)
        vex_cached_headers(${name})
    endif()
endfunction()

# vex_test_headers(NAME DEPS module... HEADERS header...): headers compiled once for the test programs that take NAME as
# their HEADERS. A program, because what reuses it is one too and must be compiled with the same options.
function(vex_test_headers name)
    cmake_parse_arguments(ARG "" "" "DEPS;HEADERS" ${ARGN})
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.cpp CONTENT "int main() {}\n")
    add_executable(${name} EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/${name}.cpp)
    vex_test_options(${name} ${ARG_DEPS})
    target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
endfunction()

# A test's own code is built for quick compiling: what it tests is optimised.
function(vex_test_options name)
    target_compile_options(${name} PRIVATE -O0)
    vex_cached_headers(${name})
    target_link_libraries(${name} PRIVATE vex_options ${ARGN} vex_gtest)
endfunction()

# What tests run and nothing more: for builds that only test.
add_custom_target(checks)

# vex_test(NAME [OPTIMISED] SOURCES file... [DEPS module...] [HEADERS target] [TIMEOUT seconds] [LABELS label...]): a
# GoogleTest program, run as one test; under Windows builds it runs in Wine. OPTIMISED is for tests that compute much
# themselves.
function(vex_test name)
    cmake_parse_arguments(ARG "OPTIMISED" "HEADERS;TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    if(CMAKE_CROSSCOMPILING AND NOT WIN32)
        math(EXPR ARG_TIMEOUT "5 * ${ARG_TIMEOUT}")  # an emulated processor is slow
    endif()
    if(NOT ARG_HEADERS)
        set(ARG_HEADERS vex_test_headers_gtest)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    if(ARG_OPTIMISED)
        target_link_libraries(${name} PRIVATE vex_options ${ARG_DEPS} vex_gtest)
    else()
        vex_test_options(${name} ${ARG_DEPS})
        target_precompile_headers(${name} REUSE_FROM ${ARG_HEADERS})
    endif()
    add_test(NAME ${name} COMMAND ${name})
    add_dependencies(checks ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()

# vex_with_com_ports(TEST): under Wine the test gets the two ends of a serial line as COM ports; elsewhere it makes its own.
function(vex_with_com_ports name)
    if(WIN32 AND CMAKE_CROSSCOMPILING)
        set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR
            "${CMAKE_SOURCE_DIR}/tests/sdk/net/with_com_ports.py;${CMAKE_CROSSCOMPILING_EMULATOR}")
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK com_ports)
    endif()
endfunction()

# vex_fuzz(NAME SOURCES file... [DEPS module...]): a libFuzzer program; only in the address build.
function(vex_fuzz name)
    if(NOT VEX_FUZZ)
        return()
    endif()
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE vex_options ${ARG_DEPS})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    add_dependencies(fuzzers ${name})
endfunction()

# vex_show_version(PROGRAM SOURCE): a program that is packaged; its SOURCE shows VEX_VERSION.
function(vex_show_version name source)
    set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS VEX_VERSION="${PROJECT_VERSION}")
    if(WIN32)
        # as the DLL: without symbols, most of which are the C++ runtime's
        target_link_options(${name} PRIVATE $<$<CONFIG:Release>:-s>)
    endif()
endfunction()
