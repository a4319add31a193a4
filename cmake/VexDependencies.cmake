# Installed libraries as targets: vex_gtest, vex_pugixml, vex_zlib, vex_highway, vex_cli11, vex_json.
#
# Natively they come from Debian's -dev packages. Cross builds compile pugixml and Highway from Debian's source packages
# and see header-only packages through folders of links, because /usr/include must never be on the cross compiler's path.
# `./run` lays these out under VEX_DEPS. The Windows build takes zlib from Debian's package for MinGW.

set(VEX_DEPS ${CMAKE_SOURCE_DIR}/build/deps CACHE PATH "Where ./run lays out sources and headers for cross builds")

if(NOT EXISTS /usr/src/googletest/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources are missing; install the package googletest")
endif()
set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(target IN ITEMS gtest gtest_main gmock gmock_main)
    target_compile_options(${target} PRIVATE -w)
endforeach()
add_library(vex_gtest INTERFACE)
target_link_libraries(vex_gtest INTERFACE gmock gtest_main)

add_library(vex_zlib INTERFACE)
add_library(vex_cli11 INTERFACE)
add_library(vex_json INTERFACE)
if(WIN32)
    target_link_libraries(vex_zlib INTERFACE z)
elseif(NOT VEX_IMAGES_ONLY)
    find_package(ZLIB REQUIRED)
    target_link_libraries(vex_zlib INTERFACE ZLIB::ZLIB)
endif()
if(CMAKE_CROSSCOMPILING)
    add_library(vex_pugixml STATIC ${VEX_DEPS}/pugixml/src/pugixml.cpp)
    target_include_directories(vex_pugixml SYSTEM PUBLIC ${VEX_DEPS}/pugixml/src)
    target_include_directories(vex_cli11 SYSTEM INTERFACE ${VEX_DEPS}/include)
    target_include_directories(vex_json SYSTEM INTERFACE ${VEX_DEPS}/include)
    add_library(vex_highway STATIC ${VEX_DEPS}/highway/hwy/targets.cc ${VEX_DEPS}/highway/hwy/per_target.cc)
    target_include_directories(vex_highway SYSTEM PUBLIC ${VEX_DEPS}/highway)
    target_compile_definitions(vex_highway PUBLIC HWY_STATIC_DEFINE)
    # its messages name source files; where the checkout stands must not show in what is built
    target_compile_options(vex_highway PRIVATE -ffile-prefix-map=${VEX_DEPS}=deps)
else()
    find_package(nlohmann_json REQUIRED)
    target_link_libraries(vex_json INTERFACE nlohmann_json::nlohmann_json)
    find_package(pugixml REQUIRED)
    add_library(vex_pugixml INTERFACE)
    target_link_libraries(vex_pugixml INTERFACE pugixml::pugixml)
    add_library(vex_highway INTERFACE)
    target_link_libraries(vex_highway INTERFACE hwy)
endif()
# the plain code in place of Highway's emulation of vectors, on every compiler, and to be chosen also on processors that
# always have vectors: tests compare with it; and no scalable vectors, whose size the code would have to ask for
set(disabled_targets HWY_SSSE3 HWY_SVE HWY_SVE2 HWY_SVE_256 HWY_SVE2_128)
# sanitizers take long to compile vector code: two sizes of vectors for the memory they touch, one for threads, which do
# the same whatever the instructions
if(VEX_SANITIZE)
    list(APPEND disabled_targets HWY_AVX3 HWY_AVX3_DL)
endif()
if(VEX_SANITIZE STREQUAL "thread")
    list(APPEND disabled_targets HWY_AVX2)
endif()
list(JOIN disabled_targets "|" disabled_targets)
set_property(TARGET vex_highway APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS
    HWY_BROKEN_EMU128=1 HWY_COMPILE_ALL_ATTAINABLE "HWY_DISABLED_TARGETS=(${disabled_targets})")
