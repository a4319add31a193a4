# How a folder of wrapper classes and a test through COM are declared. Windows builds only.

# vex_wrappers(FOLDER [SOURCES file...] [DEPS module...]): the wrapper classes of a folder; the DLL takes them in. A class
# also needs its header named in server/classes.txt; one whose members only forward has no source.
function(vex_wrappers folder)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    set(name wrappers_${folder})
    if(ARG_SOURCES)
        add_library(${name} STATIC ${ARG_SOURCES})
        target_link_libraries(${name} PUBLIC vex_server_frame ${ARG_DEPS})
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE vex_server_frame ${ARG_DEPS})
    endif()
    set_property(GLOBAL APPEND PROPERTY VEX_WRAPPERS ${name})
endfunction()

# vex_com_test(NAME SOURCES file... [DEPS module...] [TIMEOUT seconds] [LABELS label...]): a GoogleTest program that uses
# the server as a client does. The test DLL is registered in the prefix WINEPREFIX names before the first of them runs.
function(vex_com_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;DEPS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    vex_test(${name}
        SOURCES ${ARG_SOURCES} DEPS vex_com_harness ${ARG_DEPS} HEADERS vex_test_headers_com TIMEOUT ${ARG_TIMEOUT}
        LABELS com ${ARG_LABELS})
    add_dependencies(${name} VexKamCOMWrapper)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED com_server)
endfunction()
