# The same source gives the same bytes, whatever folder it is built in: nothing that ends up in a
# file that is shipped names a folder or a time. The other half is `scripts/package`, which gives the
# package's files one time.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(
        -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
endif()
# From the second on, the format holds the time at which each file was changed.
set(CMAKE_AUTORCC_OPTIONS --format-version 1)
