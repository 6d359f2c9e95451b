# What shortens the builds that nobody ships. Those that are shipped and worked on compile each file by
# itself, so that each includes what it needs.
option(TANDREL_UNITY "Compile sources of the program and the tools eight at a time: most of a file's time goes into headers" OFF)
option(TANDREL_FAST_LINKER "Link with lld where it is installed: there are some two hundred test programs" OFF)

if(TANDREL_FAST_LINKER)
    find_program(TANDREL_LLD ld.lld)
    if(TANDREL_LLD)
        add_link_options(-fuse-ld=lld)
    endif()
endif()

# tandrel_allow_unity(): from here on, in this folder and those in it.
macro(tandrel_allow_unity)
    if(TANDREL_UNITY)
        set(CMAKE_UNITY_BUILD ON)
        set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # It takes an included source for a header, in which a class must not use what is the file's own.
            add_compile_options(-Wno-subobject-linkage)
        endif()
    endif()
endmacro()
