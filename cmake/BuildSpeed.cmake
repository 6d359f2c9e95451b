# What shortens the builds that nobody ships. Those that are shipped and worked on compile each file by
# itself, so that each includes what it needs.
option(TANDREL_UNITY "Compile the program's sources eight at a time: most of a file's time goes into headers" OFF)
option(TANDREL_FAST_LINKER "Link with lld where it is installed: there are some two hundred test programs" OFF)

if(TANDREL_FAST_LINKER)
    find_program(TANDREL_LLD ld.lld)
    if(TANDREL_LLD)
        add_link_options(-fuse-ld=lld)
    endif()
endif()
