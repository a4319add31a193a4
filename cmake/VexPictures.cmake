# Files of pictures: vex_png and vex_tiff. Natively they are Debian's; cross builds compile Debian's sources, with the
# compressions that need nothing but zlib.
if(NOT CMAKE_CROSSCOMPILING)
    find_package(PNG REQUIRED)
    find_package(TIFF REQUIRED)
    add_library(vex_png INTERFACE)
    target_link_libraries(vex_png INTERFACE PNG::PNG)
    add_library(vex_tiff INTERFACE)
    target_link_libraries(vex_tiff INTERFACE TIFF::TIFF)
    return()
endif()

set(made ${CMAKE_BINARY_DIR}/pictures)

configure_file(${VEX_DEPS}/png/scripts/pnglibconf.h.prebuilt ${made}/png/pnglibconf.h COPYONLY)
set(png_sources png pngerror pngget pngmem pngpread pngread pngrio pngrtran pngrutil pngset pngtrans pngwio pngwrite pngwtran
    pngwutil)
list(TRANSFORM png_sources REPLACE "(.+)" "${VEX_DEPS}/png/\\1.c")
add_library(vex_png STATIC EXCLUDE_FROM_ALL ${png_sources})
target_include_directories(vex_png SYSTEM PUBLIC ${VEX_DEPS}/png ${made}/png)
target_link_libraries(vex_png PUBLIC vex_zlib)

# the answers that its own configuration would find out
function(vex_configure_tiff)
    foreach(yes IN ITEMS HAVE_ASSERT_H HAVE_FCNTL_H HAVE_IO_H HAVE_SETMODE HAVE_STRINGS_H HAVE_SYS_TYPES_H HAVE_UNISTD_H
            HAVE_IEEEFP USE_WIN32_FILEIO LZW_SUPPORT PACKBITS_SUPPORT ZIP_SUPPORT SUBIFD_SUPPORT CHUNKY_STRIP_READ_SUPPORT
            DEFER_STRILE_LOAD DEFAULT_EXTRASAMPLE_AS_ALPHA STRIPCHOP_DEFAULT)
        set(${yes} 1)
    endforeach()
    foreach(bits IN ITEMS 8 16 32 64)
        set(TIFF_INT${bits}_T int${bits}_t)
        set(TIFF_UINT${bits}_T uint${bits}_t)
    endforeach()
    set(TIFF_SSIZE_T intptr_t)
    set(HOST_FILLORDER FILLORDER_LSB2MSB)
    set(HOST_BIG_ENDIAN 0)
    set(SIZEOF_SIZE_T ${CMAKE_SIZEOF_VOID_P})
    set(STRIP_SIZE_DEFAULT 8192)
    set(TIFF_MAX_DIR_COUNT 1048576)
    set(PACKAGE_NAME tiff)
    configure_file(${VEX_DEPS}/tiff/libtiff/tif_config.h.cmake.in ${made}/tiff/tif_config.h)
    configure_file(${VEX_DEPS}/tiff/libtiff/tiffconf.h.cmake.in ${made}/tiff/tiffconf.h)
endfunction()
vex_configure_tiff()
set(tiff_sources aux close codec color compress dir dirinfo dirread dirwrite dumpmode error extension flush getimage hash_set
    lzw open packbits predict print read strip swab tile version warning win32 write zip)
list(TRANSFORM tiff_sources REPLACE "(.+)" "${VEX_DEPS}/tiff/libtiff/tif_\\1.c")
add_library(vex_tiff STATIC EXCLUDE_FROM_ALL ${tiff_sources})
target_include_directories(vex_tiff SYSTEM PUBLIC ${VEX_DEPS}/tiff/libtiff ${made}/tiff)
target_link_libraries(vex_tiff PUBLIC vex_zlib)
foreach(library IN ITEMS vex_png vex_tiff)
    # their messages name source files; where the checkout stands must not show in what is built
    target_compile_options(${library} PRIVATE -w -ffile-prefix-map=${VEX_DEPS}=deps -ffile-prefix-map=${made}=pictures)
endforeach()
